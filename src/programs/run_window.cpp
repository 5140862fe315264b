#include "programs/run_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QElapsedTimer>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace vantry {
namespace {

constexpr qint64 kRepaintInterval = 33;  // milliseconds
constexpr int kBarSteps = 1000;          // a bar has an int, tables may have more rows

QString FromUtf8(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// Label and bar keep numbers and show them when the window is painted: a run changes them at every
// row.
class RunWindow : public QWidget, public RunView {
public:
    explicit RunWindow(i32 session_id) {
        setWindowTitle(QStringLiteral("Vantry - Session %1").arg(session_id));
        log_ = new QPlainTextEdit(this);
        log_->setObjectName(QStringLiteral("LogTxt"));
        log_->setReadOnly(true);
        counter_ = new QLabel(this);
        counter_->setObjectName(QStringLiteral("Label2"));
        bar_ = new QProgressBar(this);
        bar_->setObjectName(QStringLiteral("RowPro"));
        bar_->setRange(0, kBarSteps);
        bar_->setTextVisible(false);
        cancel_ = new QPushButton(QStringLiteral("&Cancel"), this);
        cancel_->setObjectName(QStringLiteral("CNCLBUTT"));
        close_ = new QPushButton(QStringLiteral("C&lose"), this);
        close_->setObjectName(QStringLiteral("Close"));
        close_->setEnabled(false);
        auto* buttons = new QHBoxLayout;
        buttons->addWidget(counter_, 1);
        buttons->addWidget(cancel_);
        buttons->addWidget(close_);
        auto* column = new QVBoxLayout(this);
        column->addWidget(log_, 1);
        column->addWidget(bar_);
        column->addLayout(buttons);
        connect(cancel_, &QPushButton::clicked, this, [this] { Cancel(); });
        connect(close_, &QPushButton::clicked, this, &QWidget::close);
        resize(640, 420);
        since_paint_.start();
    }

    bool IsCancelled() const { return cancelled_; }
    void ShowEnd(int code) {
        running_ = false;
        ShowNumbers();
        cancel_->setEnabled(false);
        close_->setEnabled(true);
        close_->setDefault(true);
        close_->setFocus();
        setWindowTitle(windowTitle() + QStringLiteral(" - ended (%1)").arg(code));
    }
    void AddLine(const QString& line) { log_->appendPlainText(line); }

    void SetLogText(std::string_view text) override { log_->setPlainText(FromUtf8(text)); }
    void AppendLogText(std::string_view text) override {
        QTextCursor end(log_->document());
        end.movePosition(QTextCursor::End);
        QString shown = FromUtf8(text);
        shown.remove(QLatin1Char('\r'));
        end.insertText(shown);
    }
    void CaretToEnd() override { log_->moveCursor(QTextCursor::End); }
    void Repaint() override {
        ShowNumbers();
        QApplication::processEvents();
    }
    void SetRowCounter(std::int64_t loaded, double total) override {
        loaded_ = loaded;
        total_ = total;
        counting_ = true;
    }
    void ClearRowCounter() override {
        counting_ = false;
        ShowNumbers();
    }
    void SetBarMin(std::int64_t minimum) override { bar_min_ = minimum; }
    void SetBarMax(std::int64_t maximum) override { bar_max_ = maximum; }
    void SetBarValue(std::int64_t value) override { bar_value_ = value; }
    void DoEvents() override {
        if (since_paint_.elapsed() >= kRepaintInterval) {
            ShowNumbers();
            QApplication::processEvents();
            since_paint_.restart();
        }
    }
    void ShowMessage(std::string_view text) override { AddLine(FromUtf8(text)); }

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
    }
    void ShowNumbers() {
        counter_->setText(counting_ ? QStringLiteral("%1 of %2 Rows Loaded")
                                          .arg(loaded_)
                                          .arg(static_cast<qint64>(total_))
                                    : QString());
        const auto length = static_cast<double>(std::max<std::int64_t>(bar_max_ - bar_min_, 1));
        const double part = static_cast<double>(bar_value_ - bar_min_) / length;
        bar_->setValue(static_cast<int>(std::clamp(part, 0.0, 1.0) * kBarSteps));
    }

    QPlainTextEdit* log_;
    QLabel* counter_;
    QProgressBar* bar_;
    QPushButton* cancel_;
    QPushButton* close_;
    QElapsedTimer since_paint_;
    std::int64_t loaded_ = 0;
    double total_ = 0;
    bool counting_ = false;
    std::int64_t bar_min_ = 1;
    std::int64_t bar_max_ = 100;
    std::int64_t bar_value_ = 1;
    bool cancelled_ = false;
    bool running_ = true;
};

}  // namespace

int ShowRunInWindow(int& argc, char** argv, i32 session_id, RunnerSurroundings surroundings) {
    QApplication application(argc, argv);
    RunWindow window(session_id);
    window.show();
    const auto signalled = surroundings.cancel_requested;
    const auto tell = surroundings.tell;
    surroundings.display = &window;
    surroundings.cancel_requested = [&] { return window.IsCancelled() || signalled(); };
    surroundings.tell = [&](const std::string& line) {
        tell(line);
        window.AddLine(FromUtf8(line));
    };
    const int code = RunSavedSession(session_id, surroundings);
    window.ShowEnd(code);
    // Whoever signals doesn't want to close it by hand.
    QTimer until_signal;
    QObject::connect(&until_signal, &QTimer::timeout, &application, [&] {
        if (signalled()) {
            QApplication::quit();
        }
    });
    until_signal.start(100);
    QApplication::exec();
    return code;
}

}  // namespace vantry
