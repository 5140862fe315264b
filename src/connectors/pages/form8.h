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
    // Which of the lists and buttons belong to the chosen option.
    void SetEnabled(bool drivers, bool dsns, bool create);
    void Browse();
    void BrowseSystemDatabase();
    // Asks for a name, makes an empty .mdb and connects to it.
    void CreateDatabase();
    void ChooseAceFor(const std::string& file);
    // Puts TargetConnStr together and tries it; ACCStatus says how that went.
    void Load();
    void ReloadIfTried();
    void ShowStatus(const char* text, int red, int green, int blue);
    // Goes on to Form4 if the text of ACCStatus is the good one.
    void Next();

    std::unique_ptr<Ui::Form8> ui_;
    i16 PageConnected = kFalse;  // from the first try on, whether it succeeded or not
};

}  // namespace vantry
