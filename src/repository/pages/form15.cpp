// The page holds its connection and its rows as long as it is open. Beside it runners write their
// records, other wizards save, and a restore puts another file in the repository's place; so once
// a second the file is looked at, and the list is read anew when somebody has changed it.
// Easy to get wrong: what a number means. In a repository that was replaced, session 5 is another
// one. Before and after each question the file is looked at again, and a replaced one stops what
// was begun. A name that was changed in the editing window is the one exception: the list shows it
// when it is next read, and until then the note tells it.
// Another program may hold the repository for seconds; so whatever waits for it does so on another
// thread, and the window lives on.
#include "repository/pages/form15.h"

#include "ui_Form15.h"

#include "core/data_access.h"
#include "core/folders.h"
#include "core/session_state.h"
#include "repository/pages/ses_edit.h"
#include "repository/pages/session_grid.h"
#include "repository/pages/show_log.h"
#include "repository/repository.h"
#include "repository/saved_session.h"
#include "shell/background_work.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

#include <QHeaderView>
#include <QPointer>
#include <QProcess>
#include <QScopedValueRollback>
#include <QStyle>

#include <optional>
#include <utility>

namespace vantry {
namespace {

constexpr int kIdColumn = 0;
constexpr int kNameColumn = 1;
constexpr int kLogColumn = 5;
// Milliseconds: between looks at the repository, and at a reading that is under way.
constexpr int kBetweenLooks = 1000;
constexpr int kBetweenGlances = 20;

void TellWithInformation(std::string text, std::string title) {
    CurrentDialogs().Show(
        {std::move(text), std::move(title), BoxIcon::Information, BoxButtons::Ok, {}});
}

std::string IdAndName(i32 id, const QString& name) {
    return std::to_string(id) + " Name :" + FromQt(name);
}

}  // namespace

Form15::Form15() : Page("Form15"), ui_(std::make_unique<Ui::Form15>()) {
    ui_->setupUi(this);
    ui_->SesDBGrid->verticalHeader()->hide();
    ui_->SesDBGrid->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    ui_->SesDBGrid->horizontalHeader()->setHighlightSections(false);
    Note({});
    connect(ui_->RunButt, &PlateButton::Click, this, &Form15::Run);
    connect(ui_->EditButt, &PlateButton::Click, this, &Form15::Edit);
    connect(ui_->VLogButt, &PlateButton::Click, this, &Form15::ViewLog);
    connect(ui_->DelButt, &PlateButton::Click, this, &Form15::Delete);
    connect(ui_->DelAll, &PlateButton::Click, this, &Form15::DeleteAll);
    connect(ui_->HLPBUTT, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(ui_->Close, &PlateButton::Click, this, [] {
        UnloadPage("Form15");
        ShowPage("NavForm");
    });
    connect(&news_, &QTimer::timeout, this, &Form15::LookForNews);
}

Form15::~Form15() = default;

// Read by a list of the thread's own: when that could, this one can at once. What needs all of the
// repository is left to that thread.
bool Form15::OpenList() {
    const QPointer<Form15> self(this);
    EndReading();
    auto unfinished = InBackground<UnfinishedSessions>([](const std::function<bool()>&) {
        SessionList().Open();
        return FindUnfinished();
    });
    if (self == nullptr) {
        return false;
    }
    list_.Open(std::move(unfinished));
    return true;
}

// What others change is read while the user may do as he likes: nothing of this waits.
void Form15::StartReading(const QString& note) {
    note_when_read_ = note;
    unfinished_ = std::make_shared<UnfinishedSessions>();
    reading_.emplace([found = unfinished_] {
        SessionList().Open();
        *found = FindUnfinished();
    });
    news_.start(kBetweenGlances);
}

void Form15::EndReading() {
    reading_.reset();
    if (news_.isActive()) {
        news_.start(kBetweenLooks);
    }
}

void Form15::TakeReading() {
    try {
        reading_->Result();
        EndReading();
        list_.Open(std::move(*unfinished_));
    } catch (const std::exception& error) {
        EndReading();
        ShowUnreadable(error);
        return;
    }
    FillFromList();
    Note(note_when_read_);
}

void Form15::OnLoad() {
    try {
        if (!OpenList()) {
            return;
        }
    } catch (const std::exception& error) {
        Tell(std::string("Error Opening Sessions\n") + error.what(), "Error");
        return;
    }
    FillFromList();
    news_.start(kBetweenLooks);
}

void Form15::OnActivate() {
    Page::OnActivate();
    // The clock starts behind a first successful read: so this is a page that never had a list, not
    // one whose repository has gone since.
    if (!list_.IsOpen() && !news_.isActive()) {
        UnloadPage("Form15");
        // Who came from the navigator, which is hidden by now, would be left without a page.
        ShowNavigator();
    }
}

void Form15::FillFromList() {
    ui_->Label4->setText(QString::number(list_.Count()));
    auto& grid = *ui_->SesDBGrid;
    const auto* const former = grid.item(grid.currentRow(), kIdColumn);
    // By its number and not by its row: sessions above it may have come or gone.
    const QString selected = former == nullptr ? QString() : former->text();
    grid.setRowCount(0);
    FillGrid(grid, list_.Rows());
    for (int row = 0; row < grid.rowCount(); ++row) {
        if (grid.item(row, kIdColumn)->text() == selected) {
            grid.setCurrentCell(row, kIdColumn);
        }
    }
    MarkUnfinished();
}

// A save that fails leaves what it has written, and such a session looks like the others.
void Form15::MarkUnfinished() {
    auto& grid = *ui_->SesDBGrid;
    QStringList numbers;
    for (int row = 0; row < grid.rowCount(); ++row) {
        const QString number = grid.item(row, kIdColumn)->text();
        if (!list_.Unfinished().contains(number.toInt())) {
            continue;
        }
        numbers << number;
        grid.item(row, kIdColumn)->setIcon(style()->standardIcon(QStyle::SP_MessageBoxWarning));
        for (int column = 0; column < grid.columnCount(); ++column) {
            grid.item(row, column)
                ->setToolTip(
                    "The saving of this session hasn't come to its end. It can't be run; delete "
                    "it, and save it again.");
        }
    }
    constexpr qsizetype kMostNumbers = 5;
    std::string which = FromQt(numbers.mid(0, kMostNumbers).join(", "));
    if (numbers.size() > kMostNumbers) {
        which += " ...";
    }
    SetNotice(numbers.isEmpty() ? std::string()
                                : "Not saved to the end, and can't be run: session " + which + ".",
              NoticeKind::Warning);
}

bool Form15::ReadAnew() {
    try {
        if (!OpenList()) {
            return false;
        }
    } catch (const std::exception& error) {
        ShowUnreadable(error);
        return false;
    }
    FillFromList();
    return true;
}

// Old rows over a repository that can't be read would promise what isn't there.
void Form15::ShowUnreadable(const std::exception& error) {
    list_.Close();
    ui_->Label4->setText("0");
    ui_->SesDBGrid->setRowCount(0);
    MarkUnfinished();
    Note(QString("The sessions can't be read: ") + error.what());
}

void Form15::LookForNews() {
    if (busy_ || IsWaitingForWork()) {
        return;
    }
    if (reading_) {
        if (reading_->HasEnded()) {
            TakeReading();
        }
        return;
    }
    const auto news = list_.Look();
    if (!list_.IsOpen()) {
        // As long as the file isn't there, the note stays as it is, without a try each second.
        if (news != SessionList::News::Missing) {
            StartReading("The sessions can be read again.");
        }
    } else if (news == SessionList::News::Replaced) {
        StartReading("The repository was replaced by another one: these are its sessions.");
    } else if (news != SessionList::News::None) {
        StartReading({});
    }
}

void Form15::Note(const QString& text) {
    ui_->RepoNote->setText(text);
    ui_->RepoNote->setVisible(!text.isEmpty());
}

bool Form15::IsSameRepository() {
    const auto news = list_.IsOpen() ? list_.Look() : SessionList::News::Missing;
    if (news == SessionList::News::None || news == SessionList::News::Changed) {
        return true;
    }
    if (ReadAnew()) {
        TellStop(
            "The repository was replaced by another one. Its sessions are listed now: choose "
            "again.");
        Note("The repository was replaced by another one: these are its sessions.");
    } else {
        TellStop(FromQt(ui_->RepoNote->text()));
    }
    return false;
}

bool Form15::Choose(Chosen& chosen, const char* title, const char* text) {
    if (ui_->Label4->text().toLongLong() <= 0) {
        Tell(text, title);
        return false;
    }
    if (!IsSameRepository()) {
        return false;
    }
    const auto& grid = *ui_->SesDBGrid;
    const int row = grid.currentRow();
    if (row < 0) {
        Tell(text, title);
        return false;
    }
    chosen.id = grid.item(row, kIdColumn)->text().toInt();
    chosen.name = grid.item(row, kNameColumn)->text();
    chosen.log = FromQt(grid.item(row, kLogColumn)->text());
    return true;
}

// The runner is a program of its own: it goes on when this one ends, and what comes of it stands
// in its window, its log and its exit code.
void Form15::Run() {
    Chosen chosen;
    if (!Choose(chosen, "Run Session", "No Session Exist to Run") ||
        !AskYesNo("Run Session ID:" + IdAndName(chosen.id, chosen.name), "Run Session") ||
        !IsSameRepository()) {
        return;
    }
    const std::string folder = SharedFolder();
    if (!QProcess::startDetached(ToQt(ProgramPath(folder, "VYRun")),
                                 {QString::number(chosen.id), "ShowOutput"},
                                 ToQt(folder))) {
        Tell("Unable to Run Session", "Run");
    }
}

void Form15::Edit() {
    Chosen chosen;
    if (!Choose(chosen, "Edit", "No Session Exist to Edit")) {
        return;
    }
    // The clock goes on while the window is open. It would take the save for news, and read a list
    // that is to show the former name until it is next read.
    const QScopedValueRollback guard(busy_, true);
    bool saved = false;
    try {
        const auto session = InBackground<std::optional<SavedSession>>(
            [id = chosen.id](const std::function<bool()>&) {
                Connection repository;
                repository.Open(RepoConnStr);
                return FindSession(repository, id);
            });
        auto* const window = dynamic_cast<SesEdit*>(LoadPage("SesEdit"));
        if (!session || window == nullptr) {
            throw DataError(kErrNoCurrentRow, "The session is gone.");
        }
        if (!window->Begin(*session, [this] { return IsSameRepository(); })) {
            UnloadPage("SesEdit");  // no kind of schedule that the window could show
            return;
        }
        // The window is unloaded only behind this signal, which ends the wait below: `saved` is
        // still there.
        connect(window, &SesEdit::Saved, this, [&saved] { saved = true; });
        ShowPageModal("SesEdit");
    } catch (const std::exception&) {
        UnloadPage("SesEdit");
        Tell("Error Occurred During Loading of Session Data. Please Try again.", "Error");
        return;
    }
    if (saved) {
        list_.TakeAsRead();
        Note("The list shows changed names and log files when it is read again.");
    }
}

void Form15::ViewLog() {
    Chosen chosen;
    if (!Choose(chosen, "View Log", "No Session Exist")) {
        return;
    }
    if (chosen.log.empty()) {
        Tell("Invalid Log File Name or No logfile Specified.", "Error");
        return;
    }
    try {
        auto* const window = dynamic_cast<ShowLog*>(LoadPage("ShowLog"));
        if (window == nullptr) {
            throw DataError(kErrUnspecified, "no window");
        }
        window->setWindowTitle("Session Log for Session ID:" +
                               ToQt(IdAndName(chosen.id, chosen.name)));
        // Read before it is shown: a log that can't be opened is told in a box, not in an empty
        // window.
        if (window->Read(LogFileAt(chosen.log))) {
            ShowPageModal("ShowLog");
        } else {
            UnloadPage("ShowLog");
        }
    } catch (const std::exception&) {
        UnloadPage("ShowLog");
        Tell("Error Opening Log", "View Log");
    }
}

bool Form15::Change(std::function<void()> work, const char* failure) {
    const QPointer<Form15> self(this);
    try {
        RunToItsEnd(std::move(work), "Waiting for the repository.");
    } catch (const std::exception& error) {
        Tell(failure + std::string(error.what()), "Error");
        return false;
    }
    return self != nullptr;
}

void Form15::Delete() {
    Chosen chosen;
    if (!Choose(chosen, "Delete Session", "No Session Exist to Delete") ||
        !AskYesNo(
            "Are you sure you want to Delete Session ID: " + IdAndName(chosen.id, chosen.name),
            "Delete Session?") ||
        !IsSameRepository()) {
        return;
    }
    if (!Change([id = chosen.id] { DeleteSession(id); }, "Session Cannot be deleted\n")) {
        return;
    }
    TellWithInformation("Session ID :" + std::to_string(chosen.id) + " deleted.",
                        "Session Deleted");
    ReadAnew();
}

void Form15::DeleteAll() {
    if (ui_->Label4->text().toLongLong() <= 0) {
        Tell("No Session Exist to Delete", "Delete Session");
        return;
    }
    // Before the question, and again behind it: the answer may come after a restore.
    if (!IsSameRepository() ||
        !AskYesNo("Are you sure you want to Delete All Sessions", "Delete All Sessions?") ||
        !IsSameRepository()) {
        return;
    }
    if (!Change([folder = SharedFolder()] { DeleteAllSessions(folder); },
                "Sessions Cannot be deleted\n")) {
        return;
    }
    TellWithInformation("All Sessions Deleted", "Deleted");
    ReadAnew();
}

}  // namespace vantry
