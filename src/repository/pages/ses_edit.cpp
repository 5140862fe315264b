#include "repository/pages/ses_edit.h"

#include "ui_SesEdit.h"

#include "data/value_text.h"
#include "repository/repository.h"
#include "shell/background_work.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"

#include <utility>

namespace vantry {

SesEdit::SesEdit() : Page("SesEdit"), ui_(std::make_unique<Ui::SesEdit>()) {
    ui_->setupUi(this);
    const DateTime now = Now();
    ui_->Schedule->SetTime(now, now);  // where the record has no time or date
    connect(ui_->Schedule, &SchedulePanel::Changed, this, &SesEdit::TellFault);
    connect(ui_->SaveButton, &PlateButton::Click, this, &SesEdit::Save);
    connect(ui_->BrowseButton, &PlateButton::Click, this, &SesEdit::Browse);
    connect(ui_->CancelButton, &PlateButton::Click, this, &SesEdit::Cancel);
    connect(ui_->HelpButton, &PlateButton::Click, this, [] { OpenHelp(); });
    SetEscapeButton(ui_->CancelButton);
}

SesEdit::~SesEdit() = default;

bool SesEdit::Begin(const SavedSession& session, std::function<bool()> is_current) {
    session_id_ = session.SessionID;
    is_current_ = std::move(is_current);
    ui_->SesID->setText(QString::number(session_id_));
    ui_->SesName->setText(ToQt(session.SessionName));
    ui_->LogName->setText(ToQt(session.LogFileName));
    const bool shown = ui_->Schedule->SetSchedule(session.Schedule);
    TellFault();
    return shown;
}

// Such a session is stored as it stands there; only the scheduler would ever tell.
void SesEdit::TellFault() {
    const QString fault = ui_->Schedule->Fault();
    ui_->ScheduleNote->setText(fault.isEmpty() ? fault : fault + " The session would never run.");
}

void SesEdit::Browse() {
    const auto file = CurrentDialogs().ChooseFileToSave({"Log File",
                                                         "Log (*.log)|*.log|(*.txt)|*.txt|*.*|*.*",
                                                         FromQt(ui_->LogName->text()),
                                                         "log"});
    if (file && !file->empty()) {
        ui_->LogName->setText(ToQt(*file));
    }
}

void SesEdit::Save() {
    SessionSave save;
    save.SesName = FromQt(ui_->SesName->text());
    save.LogName = FromQt(ui_->LogName->text());
    if (!ui_->Schedule->Fill(save, Now(), ScheduleOf::EditedSession)) {
        return;
    }
    if (!is_current_()) {
        UnloadPage("SesEdit");
        return;
    }
    try {
        RunToItsEnd([&] { EditSession(session_id_, save); }, "Waiting for the repository.");
    } catch (const std::exception& error) {
        Tell(std::string("Unable to Save Changes\n") + error.what(), "Error");
        return;
    }
    Tell("Changes Saved", "Successful");
    // Before the unload, which ends the wait of the page that listens. Unloaded by code: the
    // question about lost changes is for the other ways out.
    Q_EMIT Saved();
    UnloadPage("SesEdit");
}

void SesEdit::Cancel() {
    if (QueryUnload()) {
        UnloadPage("SesEdit");
    }
}

// Asked of unchanged fields, too: nothing keeps what they held at first.
bool SesEdit::QueryUnload() {
    return AskYesNo("Are you sure to Cancel the changes?", "Cancel?");
}

}  // namespace vantry
