// The last question page of the wizard: a name, a log file, a schedule, and what comes next. All
// that is stored is put together below (session_statements, repository); the page brings the texts
// of its controls and shows what went wrong.
// Easy to get wrong: the session number. It is asked for when the page opens, to be shown, and
// again when the session is saved, as another program may have saved meanwhile; the second one is
// stored and shown.
#include "repository/pages/form13.h"

#include "ui_Form13.h"

#include "core/session_state.h"
#include "data/data_error.h"
#include "data/error_text.h"
#include "data/value_text.h"
#include "repository/pages/create_repository.h"
#include "repository/repository.h"
#include "shell/background_work.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

#include <QGuiApplication>
#include <QScopeGuard>

#include <filesystem>
#include <functional>

namespace vantry {
namespace {

// What comes after Next: the run page, the run page without saving, the end of the wizard.
enum After { kSaveAndRun, kRunOnly, kSaveOnly };

// The time that the pickers begin with: a daily session that is saved as proposed first runs
// tomorrow rather than at once.
DateTime OneMinuteBefore(DateTime time) {
    constexpr std::int64_t kMinute = 60 * kNanosPerSecond;
    if (time.nanos >= kMinute) {
        time.nanos -= kMinute;
    } else {
        time.nanos += kNanosPerDay - kMinute;
        --time.day;
    }
    return time;
}

// Another program may hold the repository for as long as a lock is waited for.
i32 AskForNextId() {
    return InBackground<i32>([](const std::function<bool()>&) { return NextSessionID(); });
}

}  // namespace

Form13::Form13() : Page("Form13"), ui_(std::make_unique<Ui::Form13>()) {
    ui_->setupUi(this);
    // The group gives numbers of its own otherwise; Next compares them with `After`.
    QRadioButton* const options[] = {ui_->FreqOpt_0, ui_->FreqOpt_1, ui_->FreqOpt_2};
    for (int i = 0; i < 3; ++i) {
        ui_->FreqOpt->setId(options[i], i);
    }
    // The panel's controls come where the panel stands, not behind the last button. The open lists
    // of combo boxes are windows of their own.
    QWidget* before = ui_->FreqOpt_2;
    for (auto* const control : ui_->Schedule->findChildren<QWidget*>()) {
        if (control->window() == window() && (control->focusPolicy() & Qt::TabFocus) != 0 &&
            !control->objectName().startsWith("qt_")) {
            setTabOrder(before, control);
            before = control;
        }
    }
    connect(ui_->FreqOpt, &QButtonGroup::idToggled, this, [this](int id, bool on) {
        if (on) {
            ui_->Frame1->setEnabled(id != kRunOnly);
        }
    });
    connect(ui_->brow, &PlateButton::Click, this, &Form13::Browse);
    connect(ui_->NXTBUTT, &PlateButton::Click, this, &Form13::Next);
    connect(ui_->BCKBUTT, &PlateButton::Click, this, [] {
        HidePage("Form13");
        ShowPage("Form4");
    });
    connect(ui_->HLPBUTT, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(ui_->CNCLBUTT, &PlateButton::Click, this, [] {
        AskToCancel("Cancel", "Are you sure to you want to cancel this session?");
    });
}

Form13::~Form13() = default;

void Form13::OnLoad() {
    ProposeAnew();
    const DateTime now = Now();
    ui_->Schedule->SetTime(OneMinuteBefore(now), now);
}

void Form13::ProposeAnew() {
    const QString former_name = ui_->SesName->text();
    const QString former_log = ui_->LogName->text();
    ShowNextId();
    const QString name =
        ToQt(SourceType + "To" + TargetType + "SessionID" + FromQt(ui_->SesID->text()));
    // Only over a proposal: what the user has typed stays, also when the menu makes another
    // repository.
    if (former_name == proposed_name_) {
        ui_->SesName->setText(name);
    }
    // Logs hold the data sources' error texts, with names of servers and users: for the owner
    // alone.
    const std::filesystem::path logs = JoinPath(SharedFolder(), "log");
    std::error_code failed;
    if (std::filesystem::create_directory(logs, failed)) {
        std::filesystem::permissions(logs, std::filesystem::perms::owner_all, failed);
    }
    // The log file follows the name as it is now; a name typed later doesn't change it.
    const QString log = ToQt(JoinPath(logs.string(), FromQt(ui_->SesName->text()) + ".log"));
    if (former_log == proposed_log_) {
        ui_->LogName->setText(log);
    }
    proposed_name_ = name;
    proposed_log_ = log;
}

// A session can be run without a repository, so the page stays; saving offers to make one that
// isn't there, and fails with more words where one can't be read.
void Form13::ShowNextId() {
    // What was said of a repository that wasn't there may have become untrue.
    SetNotice(Notice());
    if (!std::filesystem::exists(RepositoryFile(SharedFolder()))) {
        ui_->SesID->setText("1");
        SetNotice("There is no repository for saved sessions yet; Next offers to make it.");
        return;
    }
    try {
        ui_->SesID->setText(QString::number(AskForNextId()));
    } catch (const DataError& error) {
        TellStop(error.Description() +
                     "\nA new repository is made by the menu entry \"Create New Repository...\".",
                 "Error");
    }
}

bool Form13::QueryUnload() {
    return AskToClose();
}

void Form13::Browse() {
    const auto file =
        CurrentDialogs().ChooseFileToSave({"Log File",
                                           "Log File (*.log)|*.log|All Files (*.*)|*.*",
                                           FromQt(ui_->LogName->text()),
                                           "log"});
    if (file && !file->empty()) {
        ui_->LogName->setText(ToQt(*file));
    }
}

void Form13::Next() {
    const int after = ui_->FreqOpt->checkedId();
    if (after != kRunOnly) {
        if (ui_->SesName->text().isEmpty()) {
            Tell("Please Enter the Session Name");
            ui_->SesName->setFocus();
            return;
        }
        if (!Save()) {
            return;
        }
        Tell("Session Saved Successfully");
    }
    // The run reads it: that of a session that isn't saved has no record to write.
    SessionNotSaved = ToI16(after == kRunOnly);
    SessionLogFile = after == kRunOnly ? std::string() : LogFileAt(FromQt(ui_->LogName->text()));
    UnloadPage("Form13");
    if (after == kSaveOnly) {
        CancelSession();
    } else {
        ShowPage("Form14");
    }
}

// Only where none is there: one that can't be read may hold all that the user has.
void Form13::OfferRepository() {
    const std::string folder = SharedFolder();
    if (!std::filesystem::exists(RepositoryFile(folder)) &&
        AskYesNo(
            "There is no repository for saved sessions yet.\nDo you want to create it now in " +
                folder + "?",
            "Create New Repository")) {
        CreateNewRepository(folder);
    }
}

// A session of many tables takes a moment on a slow disk, and another program may hold the
// repository: on a thread of its own.
bool Form13::Save() {
    OfferRepository();
    SessionSave save;
    save.SesName = FromQt(ui_->SesName->text());
    save.LogName = FromQt(ui_->LogName->text());
    try {
        // First, so that a repository that can't be read is reported before a missing schedule: the
        // user could mend the schedule in vain.
        ui_->SesID->setText(QString::number(AskForNextId()));
        if (!ui_->Schedule->Fill(save, OneMinuteBefore(Now()), ScheduleOf::NewSession)) {
            return false;
        }
        // Another program may have saved meanwhile: the id that is stored is the one shown.
        QGuiApplication::setOverrideCursor(Qt::WaitCursor);
        const auto former = qScopeGuard([] { QGuiApplication::restoreOverrideCursor(); });
        i32 id = 0;
        RunToItsEnd([&] { id = SaveSession(save); }, "The session is being saved.");
        ui_->SesID->setText(QString::number(id));
        return true;
    } catch (const std::exception& error) {
        Tell(std::string("Unable to Save Session\n") + ErrorText(error), "Error");
        return false;
    }
}

}  // namespace vantry
