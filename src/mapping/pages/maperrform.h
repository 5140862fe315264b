#pragma once
// The page that shows what the mapping rules say. The caller clears MapErrIgnored, shows the page
// modally and reads MapErrIgnored afterwards.

#include "core/session_state.h"
#include "shell/page.h"

#include <memory>
#include <string>

namespace Ui {
class MapErrForm;
}

namespace vantry {

// True when the user went on in spite of the errors. Rows keep their fields either way.
extern i16 MapErrIgnored;

class MapErrForm : public Page {
    Q_OBJECT
public:
    MapErrForm();
    ~MapErrForm() override;

    // Lines end in CR LF, as the rules write them.
    void SetErrors(const std::string& text);

private:
    std::unique_ptr<Ui::MapErrForm> ui_;
};

// Shows the errors modally and says whether the user ignored them.
bool AskToIgnoreMapErrors(const std::string& errors);

}  // namespace vantry
