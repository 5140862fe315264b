#pragma once
// Shows a run on three widgets: the log's box, the row counter's label and the bar. Counter and bar
// move at every row; they are painted, and waiting events let in, by the clock: often enough for
// the eye and for a cancel, seldom enough to cost the run nothing.

#include "engine/run_progress.h"
#include "engine/run_view.h"
#include "shell/taskbar_progress.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace vantry {

class RunDisplay : public RunView {
public:
    // The widgets outlive the display. `tell` shows a box with an OK button.
    RunDisplay(QPlainTextEdit& log,
               QLabel& counter,
               QProgressBar& bar,
               std::function<void(std::string_view)> tell);
    ~RunDisplay() override;

    // The log is written at once: a line must be there if the run hangs after it.
    void SetLogText(std::string_view text) override;
    void AppendLogText(std::string_view text) override;
    void CaretToEnd() override;
    void Repaint() override;
    // Kept as numbers until the next repaint.
    void SetRowCounter(std::int64_t loaded, double total) override;
    void ClearRowCounter() override;
    void SetBarMin(std::int64_t minimum) override;
    void SetBarMax(std::int64_t maximum) override;
    void SetBarValue(std::int64_t value) override;
    void WaitFor(const std::function<void()>& work) override;
    void DoEvents() override;
    void ShowMessage(std::string_view text) override;

    // Puts the numbers of this moment on the widgets.
    void Flush();

    // A run begins: from its second second on `tell` hears four times a second how it is getting
    // on. For what shows that beside the three widgets. The taskbar shows it, too. Null: it has
    // ended.
    void TellProgressTo(std::function<void(const RunProgress& progress)> tell);

private:
    void TellProgress();

    TaskbarProgress taskbar_;
    class Helper;
    std::unique_ptr<Helper> helper_;  // from the first call that is waited for
    QPlainTextEdit& log_;
    QLabel& counter_;
    QProgressBar& bar_;
    std::function<void(std::string_view)> tell_;
    std::function<void(const RunProgress&)> tell_progress_;
    std::optional<RunProgress> progress_;  // of the run that is going
    RunProgress::Clock::time_point next_progress_{};

    std::chrono::steady_clock::time_point next_events_{};  // not before
    std::int64_t loaded_ = 0;
    double total_ = 0;
    bool counter_changed_ = false;  // since the last Flush
    std::int64_t minimum_ = 0;
    std::int64_t maximum_ = 100;
    std::int64_t value_ = 0;
    bool bar_changed_ = false;
};

}  // namespace vantry
