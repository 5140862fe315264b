#pragma once
// Form15: the saved sessions, to be run by the runner, edited, looked at through their logs, and
// deleted.

#include "repository/session_list.h"
#include "shell/page.h"

#include <QTimer>

#include <memory>

namespace Ui {
class Form15;
}

namespace vantry {

class Form15 : public Page {
    Q_OBJECT
public:
    Form15();
    ~Form15() override;

    void OnLoad() override;
    void OnActivate() override;  // unloads a page whose list couldn't be read

private:
    struct Chosen {
        i32 id = 0;
        QString name;
        std::string log;
    };
    // The selected row, if the list has any and still is that of the repository; `title` and `text`
    // tell that there is none.
    bool Choose(Chosen& chosen, const char* title, const char* text);
    // False and told: another repository has taken the place of the one that was read.
    bool IsSameRepository();
    // Reads the repository and fills the grid. The selected session stays so. False, and told in
    // the note, when it can't be read.
    bool ReadAnew();
    void FillFromList();
    void LookForNews();
    void Note(const QString& text);

    void Run();
    void Edit();
    void ViewLog();
    void Delete();
    void DeleteAll();

    std::unique_ptr<Ui::Form15> ui_;
    SessionList list_;
    QTimer news_;
    bool busy_ = false;  // a window that this page has opened is there
};

}  // namespace vantry
