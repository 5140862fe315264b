// The runner's window: the run goes in the same thread, and hands over to the event loop at its own
// points, as on the wizard's run page.
// Easy to get wrong: displays go away. A name in the environment may belong to a session that has
// ended, and the toolkit then ends the program before it can run anything: so a child process tries
// first (DisplayTrial). And a display that goes in the middle of a run ends the program from inside
// the toolkit: an exit handler writes the log's last line and the code by which the scheduler sees
// it.
#include "programs/run_window.h"

#include "data/answer_watch.h"
#include "engine/pages/log_view.h"
#include "engine/pages/run_display.h"
#include "engine/run_log.h"
#include "engine/run_progress.h"
#include "engine/verification.h"
#include "repository/run_log_file.h"
#include "repository/run_summary.h"
#include "shell/help.h"
#include "shell/product_picture.h"
#include "shell/qt_text.h"
#include "shell/status_line.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace vantry {
namespace {

// The window of one run: log, bar, counter, Cancel and Close.
class RunWindow : public QWidget {
public:
    explicit RunWindow(i32 session_id) : session_id_(session_id) {
        SetName({});
        log_ = new QPlainTextEdit(this);
        log_->setObjectName(QStringLiteral("LogTxt"));
        log_->setReadOnly(true);
        log_->setLineWrapMode(QPlainTextEdit::NoWrap);
        log_->setAccessibleName(QStringLiteral("Log"));
        log_view_ = new LogView(*log_);
        counter_ = new QLabel(this);
        counter_->setObjectName(QStringLiteral("Label2"));
        bar_ = new QProgressBar(this);
        bar_->setObjectName(QStringLiteral("RowPro"));
        bar_->setTextVisible(false);
        bar_->setAccessibleName(QStringLiteral("Rows of the running table"));
        counter_->setAccessibleName(QStringLiteral("Row counter"));
        cancel_ = new QPushButton(QStringLiteral("&Cancel"), this);
        cancel_->setObjectName(QStringLiteral("CNCLBUTT"));
        close_ = new QPushButton(QStringLiteral("C&lose"), this);
        close_->setObjectName(QStringLiteral("Close"));
        close_->setEnabled(false);
        auto* buttons = new QHBoxLayout;
        buttons->addWidget(counter_, 1);
        buttons->addWidget(cancel_);
        buttons->addWidget(close_);
        status_ = new QLabel(this);
        status_->setObjectName(QStringLiteral("StatusNotice"));
        status_->setAccessibleName(QStringLiteral("How the run is getting on"));
        status_->setTextFormat(Qt::RichText);
        status_->setWordWrap(true);
        status_->setTextInteractionFlags(Qt::LinksAccessibleByMouse |
                                         Qt::LinksAccessibleByKeyboard);
        // Room for two lines from the start: the log must not jump when a text grows into the
        // second.
        status_->setMinimumHeight(2 * status_->fontMetrics().lineSpacing());
        status_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        connect(status_, &QLabel::linkActivated, this, [this] { OpenRejects(); });
        open_rejects_ = new QAction("Open the List of &Rows That Weren't Loaded", this);
        open_rejects_->setEnabled(false);
        connect(open_rejects_, &QAction::triggered, this, [this] { OpenRejects(); });
        log_view_->AddAction(open_rejects_);
        auto* column = new QVBoxLayout(this);
        column->addWidget(log_, 1);
        column->addWidget(bar_);
        column->addLayout(buttons);
        column->addWidget(status_);
        connect(cancel_, &QPushButton::clicked, this, [this] { Cancel(); });
        connect(close_, &QPushButton::clicked, this, &QWidget::close);
        // Wide enough for the line of a run that is going.
        resize(720, 440);
        display_.emplace(
            *log_, *counter_, *bar_, [this](std::string_view text) { AddLine(ToQt(text)); });
        display_->TellProgressTo([this](const RunProgress& progress) {
            status_->setText(ToQt(progress.Text()).toHtmlEscaped());
        });
    }

    RunView& Display() { return *display_; }

    void SetName(const QString& name) {
        setWindowTitle(
            QStringLiteral("Vantry - Session %1").arg(session_id_) +
            (name.trimmed().isEmpty() ? QString() : QStringLiteral(": ") + name.trimmed()));
    }

    bool IsCancelled() const { return cancelled_; }
    // The window stays until it is closed: what it shows is often the only copy that the user
    // reads.
    void ShowEnd(int code) {
        running_ = false;
        // What the clock hasn't painted yet: the last lines and the last count.
        display_->TellProgressTo(nullptr);
        display_->Flush();
        if (!summary_told_) {
            status_->clear();  // it wasn't begun: the log's box says why
        }
        log_view_->MarkEnd(code != kRunWhole);
        cancel_->setEnabled(false);
        close_->setEnabled(true);
        close_->setDefault(true);
        close_->setFocus();
        setWindowTitle(windowTitle() + QStringLiteral(" - ended (%1)").arg(code));
    }
    void AddLine(const QString& line) { log_->appendPlainText(line); }
    // In the line at the bottom: rows, those that weren't loaded, and what a comparison has found.
    void ShowSummary(const RunSummary& summary);

protected:
    // Closing while the run goes is a cancel; the window stays until the run has ended.
    void closeEvent(QCloseEvent* event) override {
        if (running_) {
            Cancel();
            event->ignore();
        }
    }

private:
    void Cancel() {
        cancelled_ = true;
        cancel_->setEnabled(false);
        CancelWaits();
    }
    void OpenRejects() {
        if (!QDesktopServices::openUrl(QUrl::fromLocalFile(rejects_))) {
            status_->setText("The list can't be opened: " + rejects_.toHtmlEscaped());
        }
    }

    i32 session_id_;
    QPlainTextEdit* log_;
    LogView* log_view_;
    QLabel* counter_;
    QProgressBar* bar_;
    QPushButton* cancel_;
    QPushButton* close_;
    QLabel* status_;
    QAction* open_rejects_;
    QString rejects_;
    bool summary_told_ = false;
    std::optional<RunDisplay> display_;
    bool cancelled_ = false;
    bool running_ = true;
};

const char* EndInWords(int code) {
    switch (code) {
        case kRunWhole:
            return "Ended without errors";
        case kRunCancelled:
            return "Cancelled";
        case kRunNotStarted:
        case kRunRefused:
            return "Not started";
        case kRunDiffers:
            return "Ended, and the content of a target differs";
        default:
            return "Ended with errors";
    }
}

void RunWindow::ShowSummary(const RunSummary& summary) {
    summary_told_ = true;
    std::int64_t loaded = 0;
    std::int64_t rejected = 0;
    for (const auto& table : summary.Tables) {
        loaded += table.RowsLoaded;
        rejected += table.RowsRejected;
    }
    const bool well = summary.ExitCode == kRunWhole;
    QPalette colors = palette();
    if (!well) {
        colors.setColor(QPalette::WindowText, WarningColor(colors));
    }
    status_->setPalette(colors);
    // The sign beside the colour: not everybody tells colours apart.
    QString text =
        (well ? QString() : QStringLiteral("\u26a0 ")) + ToQt(EndInWords(summary.ExitCode)) +
        ToQt(": " + GroupedNumber(loaded) + (loaded == 1 ? " row" : " rows") + " loaded");
    if (rejected > 0) {
        text += ToQt(", " + GroupedNumber(rejected) + " not loaded");
    }
    rejects_ = ToQt(summary.Rejects);
    open_rejects_->setEnabled(!rejects_.isEmpty());
    if (!rejects_.isEmpty()) {
        text += ": <a style=\"color:" + LinkColor(palette()).name() + "\" href=\"rejects\">" +
                QFileInfo(rejects_).fileName().toHtmlEscaped() + "</a>";
    }
    text += '.';
    for (const auto& table : summary.Tables) {
        if (const auto failure = FailureText(table); !failure.empty()) {
            text += ' ' + ToQt(failure).toHtmlEscaped();
            break;  // the others are in the log's box, and there is room for one
        }
    }
    if (const auto compared = VerificationSummary(summary.Tables); !compared.empty()) {
        text += ' ' + ToQt(compared).toHtmlEscaped();
    }
    status_->setText(text);
}

enum class WindowPhase { NotShown, RunIsGoing, RunHasEnded };
WindowPhase Phase = WindowPhase::NotShown;
int CodeOfRun = 0;

// Called at exit. The toolkit ends the program when its display goes, with exit code 1, which would
// mean "finished, with error lines".
void TellLostDisplay() {
    if (Phase == WindowPhase::NotShown) {
        return;
    }
    // The window was only left open to be read: the run's own code is the truth.
    if (Phase == WindowPhase::RunHasEnded) {
        ::_exit(CodeOfRun);
    }
    // Only the log's file is written from here on: the window belongs to a toolkit that is ending.
    const char* const line = "The display is gone: the run ended here.";
    std::fprintf(stderr, "VYRun: %s\n", line);
    if (auto* const log = dynamic_cast<RunLogView*>(CurrentRunView)) {
        log->LoseDisplay();
        AppendLog(line);
    }
    ::_exit(kRunTableLost);
}

}  // namespace

DisplayTrial::DisplayTrial(int argc, char** argv) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return;
    }
    process_ = ::fork();
    if (process_ == 0) {
        ::close(ends[0]);
        // The toolkit's complaint about a missing display is no message of the run's.
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        ::dup2(nowhere, STDERR_FILENO);
        const QApplication application(argc, argv);
        char byte = 1;
        (void)::send(ends[1], &byte, 1, MSG_NOSIGNAL);
        (void)::recv(ends[1], &byte, 1, 0);  // until the program has its own connection, or is gone
        ::_exit(0);
    }
    ::close(ends[1]);
    connection_ = ends[0];
    if (process_ < 0) {
        return;
    }
    char byte = 0;
    ssize_t got = 0;
    do {
        got = ::recv(connection_, &byte, 1, 0);
    } while (got < 0 && errno == EINTR);
    // A child that was ended by the toolkit closes its end without a byte.
    works_ = got == 1;
}

void DisplayTrial::End() {
    if (connection_ >= 0) {
        ::close(std::exchange(connection_, -1));
    }
    if (process_ > 0) {
        const pid_t process = std::exchange(process_, -1);
        while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
}

int ShowRunInWindow(
    int& argc, char** argv, i32 session_id, RunnerSurroundings surroundings, DisplayTrial& trial) {
    QApplication application(argc, argv);
    // Only now: the child's connection keeps the display alive until this program has its own.
    trial.End();
    const HelpKey help("runner.html");
    QApplication::setWindowIcon(ProductIcon());
    RunWindow window(session_id);
    window.show();
    const auto signalled = surroundings.cancel_requested;
    const auto tell = surroundings.tell;
    surroundings.display = &window.Display();
    surroundings.cancel_requested = [&] { return window.IsCancelled() || signalled(); };
    // On standard error, too: a scheduler's session keeps that, and nobody may look at the window.
    surroundings.tell = [&](const std::string& line) {
        tell(line);
        window.AddLine(ToQt(line));
    };
    surroundings.ended = [&](const RunSummary& summary) { window.ShowSummary(summary); };
    surroundings.found = [&](const std::string& name) { window.SetName(ToQt(name)); };
    std::atexit(TellLostDisplay);
    Phase = WindowPhase::RunIsGoing;
    CodeOfRun = RunSavedSession(session_id, surroundings);
    Phase = WindowPhase::RunHasEnded;
    window.ShowEnd(CodeOfRun);
    // A signal comes from a script or a shutdown: there is no hand to close the window.
    QTimer until_signal;
    QObject::connect(&until_signal, &QTimer::timeout, &application, [&] {
        if (signalled()) {
            QApplication::quit();
        }
    });
    until_signal.start(100);
    QApplication::exec();
    Phase = WindowPhase::NotShown;
    return CodeOfRun;
}

}  // namespace vantry
