#pragma once
// The frame window MDIForm1: the container in which the pages stand, with the menu bar.

#include <QMainWindow>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

class QMdiArea;
class QMenu;

namespace Ui {
class MDIForm1;
}

namespace vantry {

class OpenPagesNote;
class Page;
class StatusLine;

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    MainWindow();
    ~MainWindow() override;

    QMdiArea* Area() const;
    StatusLine& Status() { return *status_; }
    OpenPagesNote& Note() { return *note_; }

    // What the entries of the menus do that isn't the window's own; set by the program's start.
    struct Actions {
        std::function<void()> create_repository;
        std::function<void()> create_session;
        std::function<void()> show_navigator;
    };
    void SetActions(Actions actions);

    // Shown for the first time: where it was when it was last closed, and no larger than the
    // screen.
    void ShowAtItsPlace();
    void KeepPlace() const;

    // While a run reads the session's state, no other page may change it: all but this one take no
    // input, and the entries that open pages or replace the repository none either. Null: the run
    // has ended.
    void LeaveInputTo(const QWidget* page);

    // Menus whose letter is one of this page's, too, give theirs up, so that Alt and the letter
    // mean one thing; null: all have theirs.
    void YieldLetters(const QWidget* page);

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void KeepPagesCentred();
    void PlaceStatus();
    void BringIntoView(const QWidget& control);
    void ConnectMenus();
    bool SureToExit();

    std::unique_ptr<Ui::MDIForm1> ui_;
    StatusLine* status_;
    OpenPagesNote* note_;
    std::vector<std::pair<QMenu*, QString>> menus_;  // with their titles, letters marked
    Actions actions_;
};

// The program's main window; made at the first call.
MainWindow& TheMainWindow();
// The main window if there is one already.
MainWindow* FindMainWindow();
void CloseMainWindow();

// Ends the process at once, without further clean-up. Tests put in another end.
void EndProgram();
void SetProgramEnd(std::function<void()> end);

// Centres the page in the main window, by the window's outer size, which lies a little low in the
// area below the menus: as far as the page's bottom can be seen, and never above or left of the
// edge. A page stays centred while the main window is resized, unless the user has moved it.
void CenterPage(Page& page);

}  // namespace vantry
