// The run page: chooses the run by the kind of the target, shows it by a RunDisplay, and tells what
// came of it in the status bar, as the page's own texts are fixed. Easy to get wrong: a run works
// inside Start, so Start is on the stack while Cancel and the close box are handled. Both only ask
// the run to stop (SessionCancelled, TableCancelled, StopStatement), and what they would unload
// goes when it has ended.

#include "engine/pages/form14.h"

#include "ui_Form14.h"

#include "core/kinds.h"
#include "core/route.h"
#include "core/session_state.h"
#include "core/settings.h"
#include "data/answer_watch.h"
#include "data/error_text.h"
#include "engine/run_report.h"
#include "engine/run_session.h"
#include "engine/verification.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/main_window.h"
#include "shell/page_set.h"
#include "shell/product_picture.h"
#include "shell/qt_text.h"
#include "text/text_writer.h"
#include "wizard/wizard_flow.h"

#include <QAction>
#include <QFontMetrics>

#include <algorithm>
#include <filesystem>

namespace vantry {
namespace {

// The kind of the target alone decides, also for text sources.
void RunChosen() {
    if (ThisTarget().loader == Loader::Files) {
        RunSessionToText("");
    } else {
        RunSession("");
    }
}

}  // namespace

Form14::Form14() : Page("Form14"), ui_(std::make_unique<Ui::Form14>()) {
    ui_->setupUi(this);
    // The rows go from one table to the other.
    const int side = ui_->RowPro->sizeHint().height();
    for (auto* const picture : {ui_->Image2, ui_->Image3}) {
        picture->setPixmap(ProductIcon().pixmap(QSize(side, side), devicePixelRatioF()));
    }
    display_ = std::make_unique<RunDisplay>(
        *ui_->LogTxt, *ui_->Label2, *ui_->RowPro, [](std::string_view text) {
            Tell(std::string(text));
        });
    log_view_ = new LogView(*ui_->LogTxt, [] {
        return CurrentDialogs().ChooseFileToSave(
            {"Save Log", "Log File (*.log)|*.log|All Files (*.*)|*.*", "", "log"});
    });
    connect(log_view_, &LogView::SaveFailed, this, [](const QString& why) {
        TellStop(FromQt(why), "Error");
    });
    OfferVerification();
    OfferRejects();
    connect(ui_->StartButton, &PlateButton::Click, this, &Form14::Start);
    connect(ui_->CNCLBUTT, &PlateButton::Click, this, &Form14::Cancel);
    connect(ui_->FINISHBUTT, &PlateButton::Click, this, [] { CancelSession(); });
    connect(ui_->HLPBUTT, &PlateButton::Click, this, [] { OpenHelp(); });
}

Form14::~Form14() {
    if (CurrentRunView == display_.get()) {
        CurrentRunView = nullptr;
    }
}

void Form14::OnLoad() {
    ui_->SrcDestLabel->setText(ToQt("Source DB:" + SourceType + " Target DB:" + TargetType));
    ui_->FINISHBUTT->setEnabled(false);
}

void Form14::Start() {
    ui_->StartButton->setEnabled(false);
    // So that a key cancels: the button that had the focus is off.
    ui_->CNCLBUTT->setFocus();
    running_ = true;
    log_view_->Clear();
    SetNotice(Notice());
    CurrentRunReport = {};
    verify_->setEnabled(false);
    open_rejects_->setEnabled(false);
    rejects_.Begin();
    // In the status bar: the page's own controls are fixed.
    display_->TellProgressTo([this](const RunProgress& progress) { SetNotice(progress.Text()); });
    bool ended_early = false;
    CurrentRunView = display_.get();
    TheMainWindow().LeaveInputTo(this);
    try {
        RunChosen();
    } catch (const std::exception& error) {
        // A run logs its failures. What still gets here must not take the program along.
        // When all tables are behind, no row is missing: it was the note of the run that failed.
        TellStop(
            std::string(CurrentRunReport.Walked
                            ? "All tables were dealt with, but the repository couldn't take the "
                              "note that the session ran.\n"
                            : "The run ended early.\n") +
                ErrorText(error),
            "Error");
        ended_early = !CurrentRunReport.Walked;
    }
    // A late line has no place to go: the page may be closed at any time from here.
    CurrentRunView = nullptr;
    AllowWaits();
    TheMainWindow().LeaveInputTo(nullptr);
    running_ = false;
    display_->TellProgressTo(nullptr);
    display_->Flush();
    rejects_.End();
    verify_->setEnabled(true);
    open_rejects_->setEnabled(!rejects_.File().empty());
    TellOutcome(ended_early);
    ui_->FINISHBUTT->setEnabled(true);
    ui_->CNCLBUTT->setEnabled(false);
    ui_->FINISHBUTT->setFocus();
    if (leave_after_run_) {
        CancelSession();
    }
}

// In the menus of the page and of its log: the page's own controls are fixed.
void Form14::OfferVerification() {
    verify_ = new QAction("&Verify: Compare the Target with the Source", this);
    verify_->setCheckable(true);
    verify_->setChecked(CurrentSettings.VerifyRuns);
    connect(verify_, &QAction::toggled, this, [](bool on) { CurrentSettings.VerifyRuns = on; });
    log_view_->AddAction(verify_);
    addAction(verify_);
    setContextMenuPolicy(Qt::ActionsContextMenu);
}

void Form14::OfferRejects() {
    open_rejects_ = new QAction("Open the List of &Rows That Weren't Loaded", this);
    open_rejects_->setEnabled(false);
    connect(open_rejects_, &QAction::triggered, this, &Form14::OpenRejects);
    log_view_->AddAction(open_rejects_);
    addAction(open_rejects_);
}

void Form14::OpenRejects() {
    if (!CurrentDialogs().Open(rejects_.File())) {
        TellStop("\"" + rejects_.File() +
                     "\" can't be opened: it was taken away, or no program that shows such files "
                     "is installed.",
                 "Error");
    }
}

void Form14::AddRejects(Notice& notice) {
    if (!rejects_.File().empty()) {
        notice.kind = NoticeKind::Warning;
        const auto rows = PageRejects::Rows();
        notice.parts.push_back(
            {CountInWords(static_cast<std::size_t>(rows), "row", "rows") + " not loaded: "});
        notice.parts.push_back({std::filesystem::path(rejects_.File()).filename().string(),
                                [this] { OpenRejects(); }});
        notice.parts.push_back({" "});
    }
    if (!rejects_.Fault().empty()) {
        notice.kind = NoticeKind::Warning;
        notice.parts.push_back({rejects_.Fault() + " "});
    }
}

void Form14::AddVerification(Notice& notice) const {
    const auto& tables = CurrentRunReport.Tables;
    const auto summary = VerificationSummary(tables);
    if (summary.empty()) {
        return;
    }
    if (std::any_of(tables.begin(), tables.end(), [](const TableReport& table) {
            return !VerificationText(table).empty();
        })) {
        notice.kind = NoticeKind::Warning;
    }
    notice.parts.push_back({" " + summary});
}

// The route stands in the same line, and other tables do.
std::string Form14::ShortOf(const std::string& table) const {
    constexpr int kLetters = 30;
    const QFontMetrics letters = fontMetrics();
    return FromQt(
        letters.elidedText(ToQt(table), Qt::ElideMiddle, kLetters * letters.averageCharWidth()));
}

void Form14::TellOutcome(bool ended_early) {
    const auto outcome = OutcomeOfRun();
    const auto& tables = CurrentRunReport.Tables;
    const bool cancelled = SessionCancelled != kFalse;
    const bool failed =
        ended_early || !outcome.Failed.empty() || (outcome.NotReached > 0 && !cancelled);
    log_view_->MarkEnd(failed);
    Notice notice{{}, failed || cancelled ? NoticeKind::Warning : NoticeKind::Information};
    const auto say = [&](std::string text) { notice.parts.push_back({std::move(text)}); };
    if (!failed && !cancelled) {
        say(CountInWords(tables.size(), "table", "tables") + " without errors, " +
            std::to_string(outcome.RowsLoaded) + " rows loaded.");
    }
    if (!outcome.Failed.empty()) {
        say(std::to_string(outcome.Failed.size()) + " of " +
            CountInWords(tables.size(), "table has", "tables have") + " errors: ");
        constexpr std::size_t kMostNames = 5;
        for (std::size_t i = 0; i < std::min(outcome.Failed.size(), kMostNames); ++i) {
            const std::size_t table = outcome.Failed[i];
            if (i > 0) {
                say(", ");
            }
            notice.parts.push_back(
                {ShortOf(SrcTables[table].Name),
                 [this, line = tables[table].LogLine] { log_view_->ShowFailureFrom(line); }});
        }
        say(outcome.Failed.size() > kMostNames ? " ... " : " ");
    }
    AddRejects(notice);
    if (cancelled) {
        say("The run was cancelled. ");
    } else if (ended_early) {
        say("The run ended early. ");
    }
    if (outcome.NotReached > 0) {
        say(CountInWords(outcome.NotReached, "table was", "tables were") + " not reached.");
    }
    for (const auto& table : tables) {
        for (const auto& remark : table.Remarks) {
            notice.kind = NoticeKind::Warning;
            say(" " + remark);
        }
    }
    AddVerification(notice);
    SetNotice(std::move(notice));
}

// A server may be working on one while the page waits. Only for this run: what other pages ask
// servers afterwards has its time.
void Form14::StopStatement() {
    if (running_) {
        CancelWaits();
    }
}

void Form14::Cancel() {
    const auto answer = CurrentDialogs().Show({"Are you sure to cancel Loading",
                                               "Cancel Loading",
                                               BoxIcon::None,
                                               BoxButtons::YesNo,
                                               BoxAnswer::No});
    if (answer != BoxAnswer::Yes) {
        return;
    }
    SessionCancelled = kTrue;
    TableCancelled = kTrue;
    StopStatement();
    // Before a run there is nothing to wait for.
    if (ui_->StartButton->isEnabled()) {
        UnloadPage("Form14");
        CancelSession();
    }
}

bool Form14::QueryUnload() {
    if (!running_) {
        return AskToClose();
    }
    // The run holds this page's widgets: it is asked to stop, and the page goes when it has.
    if (AskYesNo("Are you sure you want to close this session", "Cancel Session")) {
        SessionCancelled = kTrue;
        TableCancelled = kTrue;
        StopStatement();
        leave_after_run_ = running_;
    }
    return false;
}

void RegisterRunPages() {
    RegisterPage("Form14", [] { return std::make_unique<Form14>(); });
}

}  // namespace vantry
