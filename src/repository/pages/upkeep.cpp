// Three small windows: backup, restore, and whether the scheduler runs. What they do is the
// repository's; here are its questions and its failures in words. Easy to get wrong: a program that
// was started needn't be running a moment later, so the scheduler is looked at again.
#include "repository/pages/upkeep.h"

#include "ui_BackupRepo.h"
#include "ui_CheckSch.h"
#include "ui_RestoreRepo.h"

#include "core/folders.h"
#include "core/session_state.h"
#include "data/date_format.h"
#include "data/value_text.h"
#include "repository/process_finder.h"
#include "repository/repository.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"

#include <QProcess>
#include <QTimer>

namespace vantry {
namespace {

constexpr const char* kScheduler = "VYTimer";

}  // namespace

BackupRepo::BackupRepo() : Page("BackupRepo"), ui_(std::make_unique<Ui::BackupRepo>()) {
    ui_->setupUi(this);
    connect(ui_->BrowseButton, &PlateButton::Click, this, &BackupRepo::Browse);
    connect(ui_->BackupButton, &PlateButton::Click, this, &BackupRepo::BackUp);
    connect(ui_->CancelButton, &PlateButton::Click, this, [] { UnloadPage("BackupRepo"); });
    SetEscapeButton(ui_->CancelButton);
}

BackupRepo::~BackupRepo() = default;

void BackupRepo::OnLoad() {
    // With the minute, so that a second backup of the day finds its own name free.
    proposed_ = "VYRepoBackup" + ToQt(FormatDateTime(Now(), "dd-mmm-yy-hh-nn"));
    ui_->BckDest->setText(ToQt(JoinPath(SharedFolder(), FromQt(proposed_))));
}

void BackupRepo::Browse() {
    const QString former = ui_->BckDest->text();
    if (const auto folder = CurrentDialogs().ChooseFolder("Backup Destination", SharedFolder())) {
        ui_->BckDest->setText(ToQt(*folder));
    }
    const QString chosen = ui_->BckDest->text();
    // The same folder again is the text that stands there, which ends in the name already.
    if (chosen.toLower() != former.toLower()) {
        ui_->BckDest->setText(chosen + (chosen.endsWith('/') ? "" : "/") + proposed_);
    }
}

void BackupRepo::BackUp() {
    try {
        BackupRepository(SharedFolder(), FromQt(ui_->BckDest->text()));
    } catch (const std::exception& error) {
        Tell(std::string("Unable to Backup Repository\n") + error.what(), "Backup");
        return;
    }
    Tell("Repository Successfully Backed Up");
    UnloadPage("BackupRepo");
}

RestoreRepo::RestoreRepo() : Page("RestoreRepo"), ui_(std::make_unique<Ui::RestoreRepo>()) {
    ui_->setupUi(this);
    connect(ui_->BrowseButton, &PlateButton::Click, this, &RestoreRepo::Browse);
    connect(ui_->RestoreButton, &PlateButton::Click, this, &RestoreRepo::Restore);
    connect(ui_->CancelButton, &PlateButton::Click, this, [] { UnloadPage("RestoreRepo"); });
    SetEscapeButton(ui_->CancelButton);
}

RestoreRepo::~RestoreRepo() = default;

void RestoreRepo::Browse() {
    const auto file = CurrentDialogs().ChooseFileToOpen(
        {"Restore Repository",
         "MS Access Database(*.mdb)|*.mdb|All Files (*.*)|*.*",
         ui_->BckDest->text().isEmpty() ? SharedFolder() : FromQt(ui_->BckDest->text()),
         ""});
    if (file && !file->empty()) {
        ui_->BckDest->setText(ToQt(*file));
    }
}

void RestoreRepo::Restore() {
    if (!AskYesNo("Are you sure you want to Restore Repository?", "Restore Repository?")) {
        return;
    }
    try {
        RestoreRepository(SharedFolder(), FromQt(ui_->BckDest->text()), Now());
    } catch (const std::exception& error) {
        Tell(std::string("Unable to Restore Repository\n") + error.what(), "Restore Repository");
        return;
    }
    Tell("Repository Successfully Restored");
    UnloadPage("RestoreRepo");
}

CheckSch::CheckSch() : Page("CheckSch"), ui_(std::make_unique<Ui::CheckSch>()) {
    ui_->setupUi(this);
    connect(ui_->startit, &PlateButton::Click, this, &CheckSch::Start);
    connect(ui_->closebutt, &PlateButton::Click, this, [] { UnloadPage("CheckSch"); });
    SetEscapeButton(ui_->closebutt);
}

CheckSch::~CheckSch() = default;

void CheckSch::OnLoad() {
    const bool running = IsProcessRunning(kScheduler);
    ui_->Label1->setText(running ? "Vantry Scheduler is Running"
                                 : "Vantry Scheduler is Not Running");
    ui_->startit->setVisible(!running);
    if (running) {
        TellProcess();
    } else {
        ui_->Note->setText(
            "Without it no session runs by itself. To start it at each login: "
            "VYTimer --install-autostart");
    }
}

void CheckSch::TellProcess() {
    if (const auto process = FindProcess(kScheduler)) {
        ui_->Note->setText(QString("%1, process %2").arg(kScheduler).arg(*process));
    } else {
        ui_->Note->setText(
            "The scheduler has ended again. Why stands in log/VYTimer.log, or the "
            "folder can't be written.");
    }
}

void CheckSch::Start() {
    const std::string folder = SharedFolder();
    const std::string program = ProgramPath(folder, kScheduler);
    // Detached: the scheduler outlives the wizard that started it.
    if (!QProcess::startDetached(ToQt(program), {}, ToQt(folder))) {
        TellStop("The scheduler can't be started: there is no program \"" + program + "\".");
        return;
    }
    ui_->Label1->setText("Vantry is now Running");
    ui_->startit->setEnabled(false);
    // The button that had the focus is disabled, and Enter must still do something.
    ui_->closebutt->setFocus();
    // It may find that it can't work: what is said above was said before that.
    constexpr int kUntilItHasTried = 1500;
    QTimer::singleShot(kUntilItHasTried, this, &CheckSch::TellProcess);
}

}  // namespace vantry
