#include "engine/pages/form14.h"

// A run works inside Start, so Start is on the stack while Cancel and the close box are handled:
// both only set the two flags, and what they would unload goes when the run has ended.

#include "ui_Form14.h"

#include "core/kinds.h"
#include "core/route.h"
#include "core/session_state.h"
#include "core/settings.h"
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

#include <chrono>

namespace vantry {
namespace {

// A run that is over at once needs no words on how it is getting on.
constexpr std::chrono::milliseconds kFirstProgress{1000};
constexpr std::chrono::milliseconds kBetweenProgress{250};

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
    progress_.emplace(RunProgress::Clock::now());
    next_progress_ = RunProgress::Clock::now() + kFirstProgress;
    display_->SetTick([this] { TellProgress(); });
    bool ended_early = false;
    CurrentRunView = display_.get();
    TheMainWindow().LeaveInputTo(this);
    try {
        RunChosen();
    } catch (const std::exception& error) {
        // A run logs its failures. What still gets here must not take the program
        // along.
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
    TheMainWindow().LeaveInputTo(nullptr);
    running_ = false;
    display_->SetTick(nullptr);
    display_->Flush();
    verify_->setEnabled(true);
    TellOutcome(ended_early);
    ui_->FINISHBUTT->setEnabled(true);
    ui_->CNCLBUTT->setEnabled(false);
    ui_->FINISHBUTT->setFocus();
    if (leave_after_run_) {
        CancelSession();
    }
}

void Form14::TellProgress() {
    const auto now = RunProgress::Clock::now();
    if (now < next_progress_) {
        return;
    }
    next_progress_ = now + kBetweenProgress;
    progress_->TakeFromReport(display_->Loaded(), display_->Total());
    progress_->Tick(now);
    SetNotice(progress_->Text());
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

void Form14::AddVerification(Notice& notice) const {
    std::size_t same = 0;
    for (const auto& table : CurrentRunReport.Tables) {
        same += table.Verified.result == Verification::Result::Same ? 1 : 0;
        if (table.Verified.result == Verification::Result::Differs ||
            table.Verified.result == Verification::Result::NotDone) {
            notice.kind = NoticeKind::Warning;
            notice.parts.push_back({" " + VerificationText(table)});
        }
    }
    if (same > 0) {
        notice.parts.push_back(
            {" " + CountInWords(same, "table was compared and is", "tables were compared and are") +
             " the same in the target."});
    }
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
        leave_after_run_ = running_;
    }
    return false;
}

void RegisterRunPages() {
    RegisterPage("Form14", [] { return std::make_unique<Form14>(); });
}

}  // namespace vantry
