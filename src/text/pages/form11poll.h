#pragma once
// Form11Poll: a folder into which text files with changing names are dropped, set up on one sample.

#include "core/session_state.h"
#include "shell/page.h"
#include "text/pages/format_controls.h"

#include <memory>

namespace Ui {
class Form11Poll;
}

namespace vantry {

class PathField;

class Form11Poll : public Page {
    Q_OBJECT
public:
    Form11Poll();
    ~Form11Poll() override;

    void OnLoad() override;
    bool QueryUnload() override;
    std::string SideInWords() const override;

private:
    void ChooseSample();
    void TakeSample();
    void TellFormat();
    void Next();
    // Writes "Schema.ini" and fills the session; throws DataError.
    void Prepare();

    std::unique_ptr<Ui::Form11Poll> ui_;
    std::string own_format_;      // what "Schema.ini" alone can say of the sample
    bool format_chosen_ = false;  // the user has changed the format here
    FormatControls* format_;
    PathField* sample_;
};

}  // namespace vantry
