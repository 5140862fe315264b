#pragma once
// Form15: the saved sessions, to be run by the runner, edited, looked at through their logs, and
// deleted.

#include "core/session_state.h"
#include "repository/session_list.h"
#include "shell/background_work.h"
#include "shell/page.h"

#include <QTimer>

#include <exception>
#include <functional>
#include <memory>
#include <optional>

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
    // Opens the list anew as soon as no other program holds the repository. False: this page has
    // gone meanwhile. Throws DataError.
    bool OpenList();
    void FillFromList();
    void MarkUnfinished();
    void ShowUnreadable(const std::exception& error);
    void LookForNews();
    // A reading that the clock begins and looks at; `note` is what is said when it succeeds.
    void StartReading(const QString& note);
    void TakeReading();
    void EndReading();  // and forgets what it may bring
    void Note(const QString& text);

    // Does `work` on the repository. False when it failed, which is told behind `failure`.
    bool Change(std::function<void()> work, const char* failure);

    void Run();
    void Edit();
    void ViewLog();
    void Delete();
    void DeleteAll();

    std::unique_ptr<Ui::Form15> ui_;
    SessionList list_;
    QTimer news_;
    std::optional<WorkBeside> reading_;
    std::shared_ptr<UnfinishedSessions> unfinished_;  // what reading_ finds, when it has ended
    QString note_when_read_;
    bool busy_ = false;  // a window that this page has opened is there
};

}  // namespace vantry
