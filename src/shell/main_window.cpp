// The frame around the pages and its menus. What an entry does that isn't the window's own comes in
// from the program's start (Actions): the shell knows no page of another room.
// Easy to get wrong: who has which letter. Menus and pages both have underlined letters, and the
// toolkit cycles between two owners of one. The active page's letters come first, and a menu that
// has the same one gives its own up as long as that page is active (YieldLetters).
#include "shell/main_window.h"

#include "ui_MDIForm1.h"

#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/page_body.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "shell/status_line.h"
#include "shell/window_memory.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QGroupBox>
#include <QKeySequence>
#include <QLabel>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QScreen>
#include <QStatusBar>
#include <QVersionNumber>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <set>

namespace vantry {
namespace {

std::unique_ptr<MainWindow>& Frame() {
    static std::unique_ptr<MainWindow> frame;
    return frame;
}

std::function<void()>& ProgramEnd() {
    static std::function<void()> end = [] {
        std::fflush(nullptr);
        // Without destructors: a run may be in the middle of a row, with its objects in use.
        _exit(0);
    };
    return end;
}

// The property of a page's window that holds where CenterPage put it. A window that stands
// elsewhere was moved by the user, and is left there.
constexpr const char* kCentredAt = "centred_at";

}  // namespace

MainWindow::MainWindow() : ui_(std::make_unique<Ui::MDIForm1>()) {
    ui_->setupUi(this);
    const auto version = QVersionNumber::fromString(QCoreApplication::applicationVersion());
    setWindowTitle(QString("Vantry %1.%2").arg(version.majorVersion()).arg(version.minorVersion()));
    status_ = new StatusLine;
    statusBar()->setSizeGripEnabled(false);
    statusBar()->addWidget(status_, 1);
    note_ = new OpenPagesNote(*ui_->Pages);
    for (auto* const menu : {ui_->mRep, ui_->mSesS, ui_->mWindow, ui_->mHelp}) {
        // With its letter, which YieldLetters takes away and gives back.
        menus_.emplace_back(menu, menu->title());
    }
    ConnectMenus();
    ui_->Pages->viewport()->installEventFilter(this);
    connect(qApp, &QApplication::focusChanged, this, [this](const QWidget*, const QWidget* now) {
        if (now != nullptr) {
            // Styles show the focus only after Tab; whoever came by the mouse goes on by keys, too.
            now->window()->setAttribute(Qt::WA_KeyboardFocusChange);
        }
        // Not for a click: the control would move away under the mouse between press and release.
        if (now != nullptr && QApplication::mouseButtons() == Qt::NoButton) {
            BringIntoView(*now);
        }
    });
}

MainWindow::~MainWindow() = default;

QMdiArea* MainWindow::Area() const {
    return ui_->Pages;
}

void MainWindow::SetActions(Actions actions) {
    actions_ = std::move(actions);
}

void MainWindow::ShowAtItsPlace() {
    constexpr QSize kWindowFrame(12, 36);
    if (const QByteArray place = FramePlace(); !place.isEmpty()) {
        restoreGeometry(place);
    }
    // The screen may have become smaller since.
    if (!isMaximized() && !isFullScreen()) {
        resize(size().boundedTo(screen()->availableGeometry().size() - kWindowFrame));
    }
    show();
}

void MainWindow::KeepPlace() const {
    if (isVisible()) {
        KeepFramePlace(saveGeometry());
    }
}

void MainWindow::LeaveInputTo(const QWidget* page) {
    for (auto* const window : ui_->Pages->subWindowList()) {
        window->setEnabled(page == nullptr || window->widget() == page);
    }
    for (auto* const entry :
         {ui_->mRepNew, ui_->mRepOpen, ui_->mRepStatus, ui_->mOpenSes, ui_->mStatSes}) {
        entry->setEnabled(page == nullptr);
    }
}

void MainWindow::YieldLetters(const QWidget* page) {
    std::set<QKeySequence> taken;
    const auto take = [&](const QString& text) { taken.insert(QKeySequence::mnemonic(text)); };
    if (page != nullptr) {
        for (const auto* const button : page->findChildren<QAbstractButton*>()) {
            take(button->text());
        }
        for (const auto* const label : page->findChildren<QLabel*>()) {
            if (label->buddy() != nullptr) {
                take(label->text());
            }
        }
        for (const auto* const group : page->findChildren<QGroupBox*>()) {
            take(group->title());
        }
    }
    for (const auto& [menu, title] : menus_) {
        const bool yields = taken.contains(QKeySequence::mnemonic(title));
        menu->setTitle(yields ? QString(title).remove('&') : title);
    }
}

void MainWindow::ConnectMenus() {
    const auto run = [this](std::function<void()> Actions::*action) {
        return [this, action] {
            if (actions_.*action) {
                (actions_.*action)();
            }
        };
    };
    const auto show = [](const char* page) { return [page] { ShowPage(page); }; };
    const auto show_modal = [](const char* page) { return [page] { ShowPageModal(page); }; };
    const auto on = [this](QAction* entry, auto action) {
        connect(entry, &QAction::triggered, this, action);
    };
    ui_->mCreateNewSes->setShortcut(QKeySequence::New);
    ui_->mExit->setShortcut(Qt::CTRL | Qt::Key_Q);
    on(ui_->mRepNew, run(&Actions::create_repository));
    on(ui_->mRepOpen, show_modal("BackupRepo"));
    on(ui_->mRepStatus, show_modal("RestoreRepo"));
    on(ui_->mExit, [this] {
        if (SureToExit()) {
            EndProgram();
        }
    });
    on(ui_->mCreateNewSes, run(&Actions::create_session));
    on(ui_->mOpenSes, show("Form15"));
    on(ui_->mStatSes, show_modal("CheckSch"));
    on(ui_->mShowNavigator, run(&Actions::show_navigator));
    on(ui_->mContents, [] { OpenHelp(); });
    on(ui_->mIndex, [] { OpenHelp(); });
    on(ui_->mTakeTour, [] { OpenTour(); });
    on(ui_->mAbout, show("frmAbout"));
    on(ui_->mVYWeb, [] { OpenWebPage(); });
}

bool MainWindow::SureToExit() {
    return AskYesNo("Are you Sure to Exit?", "Exit?");
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // The frame isn't closed by the toolkit: what an open run needs would be gone before
    // EndProgram.
    event->ignore();
    if (SureToExit()) {
        event->accept();
        EndProgram();
    }
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize) {
        FitPages();
        KeepPagesCentred();
        RefreshStatus();
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    PlaceStatus();
}

// On a low screen the largest pages need the height of the status bar: its row stands beside the
// menus there.
void MainWindow::PlaceStatus() {
    constexpr int kLowWindow = 560;
    const bool low = height() < kLowWindow;
    // Neither low nor beside the menus: it stands where it belongs already.
    if (!low && menuBar()->cornerWidget() != status_) {
        return;
    }
    if (low) {
        const auto entries = menuBar()->actions();
        const int menus = menuBar()->actionGeometry(entries.last()).right();
        status_->AskForWidth(std::max(1, width() - menus - 2 * menuBar()->fontMetrics().height()));
        statusBar()->removeWidget(status_);
        menuBar()->setCornerWidget(status_);  // each time: it places the row anew
    } else {
        menuBar()->setCornerWidget(nullptr);
        status_->AskForWidth(0);
        statusBar()->addWidget(status_, 1);
    }
    statusBar()->setVisible(!low);
    status_->show();
}

void MainWindow::KeepPagesCentred() {
    for (auto* const window : ui_->Pages->subWindowList()) {
        auto* const page = qobject_cast<Page*>(window->widget());
        if (page != nullptr && window->property(kCentredAt).toPoint() == window->pos()) {
            CenterPage(*page);
        }
    }
}

// On a small screen a page may reach beyond the area: the keyboard walks there all the same.
void MainWindow::BringIntoView(const QWidget& control) {
    ScrollBodyTo(control);
    const auto* const area = ui_->Pages->viewport();
    if (!area->isAncestorOf(&control)) {
        return;
    }
    ScrollTo(*ui_->Pages, control, 0);
}

MainWindow& TheMainWindow() {
    if (!Frame()) {
        Frame() = std::make_unique<MainWindow>();
    }
    return *Frame();
}

MainWindow* FindMainWindow() {
    return Frame().get();
}

void CloseMainWindow() {
    Frame().reset();
}

void EndProgram() {
    if (const auto* const frame = FindMainWindow()) {
        frame->KeepPlace();
    }
    ProgramEnd()();
}

void SetProgramEnd(std::function<void()> end) {
    ProgramEnd() = std::move(end);
}

void CenterPage(Page& page) {
    auto* const window = qobject_cast<QMdiSubWindow*>(page.parentWidget());
    const MainWindow* const frame = FindMainWindow();
    if (window == nullptr || frame == nullptr || window->isMaximized()) {
        return;
    }
    // By the outer size and not the area's: pages stand where they have always stood, a little low.
    const QSize outer = frame->frameGeometry().size();
    const QSize room = frame->Area()->viewport()->size();
    const auto middle = [](int whole, int seen, int length) {
        return std::max(0, std::min((whole - length) / 2, seen - length));
    };
    window->move(middle(outer.width(), room.width(), window->width()),
                 middle(outer.height(), room.height(), window->height()));
    // What the window really got, which may differ from what was asked for.
    window->setProperty(kCentredAt, window->pos());
}

}  // namespace vantry
