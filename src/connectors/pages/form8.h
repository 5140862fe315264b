#pragma once
// Form8: an Access database as target, proven by a connection; a new one can be made here.

#include "core/session_state.h"
#include "shell/page.h"

#include <memory>

namespace Ui {
class Form8;
}

namespace vantry {

class Form8 : public Page {
    Q_OBJECT
public:
    Form8();
    ~Form8() override;

    void OnLoad() override;
    void OnActivate() override;
    bool QueryUnload() override;

private:
    void ConnectOptions();
    void SetEnabled(bool drivers, bool dsns, bool create);
    void Browse();
    void BrowseSystemDatabase();
    void CreateDatabase();
    void Load();
    void ReloadIfTried();
    void ShowStatus(const char* text, int red, int green, int blue);
    void Next();

    std::unique_ptr<Ui::Form8> ui_;
    i16 PageConnected = kFalse;  // from the first try on, whether it succeeded or not
};

}  // namespace vantry
