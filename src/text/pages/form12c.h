#pragma once
// Form12c: text files as target: their folder, their form, their extension.

#include "shell/page.h"

#include <memory>
#include <string>

class QButtonGroup;

namespace Ui {
class Form12c;
}

namespace vantry {

class Form12c : public Page {
    Q_OBJECT
public:
    Form12c();
    ~Form12c() override;

    bool QueryUnload() override;
    std::string SideInWords() const override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ConnectControls();
    void FormatChosen(int option);
    void DelimiterChosen(int option);
    void OtherTyped();
    void ChooseFolder();
    void FolderChanged();
    // True unless FName was left with a folder that isn't there, of which a box tells the user.
    bool CheckLeftFolder();
    void CheckLeftFolderSoon();
    void Next();
    void Back();

    std::unique_ptr<Ui::Form12c> ui_;
    std::string delimiter_ = ",";
    char format_letter_ = 'D';  // or F, fixed
    bool folder_left_ = false;  // FName has lost the focus and wasn't looked at since
};

}  // namespace vantry
