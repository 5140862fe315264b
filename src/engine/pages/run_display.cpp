// The run calls this at every row; widgets are touched by the clock alone. What changed in between
// is kept as numbers and drawn by Flush. What may take long (a server's answer, a count of rows) is
// done by a helper thread, and events are let in meanwhile (WaitFor). Easy to get wrong: the log
// isn't held back, as its lines are few, so a line may stand there before the counter has moved.

#include "engine/pages/run_display.h"

#include "shell/qt_text.h"

#include <QCoreApplication>
#include <QScrollBar>

#include <condition_variable>
#include <limits>
#include <mutex>
#include <system_error>
#include <thread>

namespace vantry {
namespace {

// Thirty times a second: smooth to the eye, and a cancel waits no longer than that.
constexpr std::chrono::milliseconds kBetweenEvents{33};
// A run that is over at once needs no words on how it is getting on.
constexpr std::chrono::milliseconds kFirstProgress{1000};
constexpr std::chrono::milliseconds kBetweenProgress{250};

}  // namespace

// The thread for what the run waits for. One for all: a batch of rows may take less time than to
// start a thread does.
class RunDisplay::Helper {
public:
    Helper() : thread_([this] { Loop(); }) {}
    ~Helper() {
        {
            const std::lock_guard lock(mutex_);
            ends_ = true;
        }
        begun_.notify_one();
        thread_.join();
    }
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;

    // `work` stays the caller's, who waits for its end.
    void Start(const std::function<void()>& work) {
        {
            const std::lock_guard lock(mutex_);
            work_ = &work;
        }
        begun_.notify_one();
    }
    bool IsDoneWithin(std::chrono::milliseconds time) {
        std::unique_lock lock(mutex_);
        return done_.wait_for(lock, time, [this] { return work_ == nullptr; });
    }

private:
    void Loop() {
        std::unique_lock lock(mutex_);
        for (;;) {
            begun_.wait(lock, [this] { return ends_ || work_ != nullptr; });
            if (ends_) {
                return;
            }
            lock.unlock();
            (*work_)();
            lock.lock();
            work_ = nullptr;
            done_.notify_one();
        }
    }

    std::mutex mutex_;
    std::condition_variable begun_;
    std::condition_variable done_;
    const std::function<void()>* work_ = nullptr;
    bool ends_ = false;
    std::thread thread_;  // last: it uses the others
};

RunDisplay::~RunDisplay() = default;

RunDisplay::RunDisplay(QPlainTextEdit& log,
                       QLabel& counter,
                       QProgressBar& bar,
                       std::function<void(std::string_view)> tell)
    : log_(log), counter_(counter), bar_(bar), tell_(std::move(tell)) {}

void RunDisplay::SetLogText(std::string_view text) {
    log_.setPlainText(ToQt(text));
}

void RunDisplay::AppendLogText(std::string_view text) {
    // A cursor of its own: the user's selection and place stay.
    QTextCursor end(log_.document());
    end.movePosition(QTextCursor::End);
    end.insertText(ToQt(text));
}

void RunDisplay::CaretToEnd() {
    log_.moveCursor(QTextCursor::End);
    // To the start of the line: the end of a long error's line alone says nothing.
    log_.horizontalScrollBar()->setValue(log_.horizontalScrollBar()->minimum());
    // The last line whole: to make the caret visible shows its upper half.
    log_.verticalScrollBar()->setValue(log_.verticalScrollBar()->maximum());
}

void RunDisplay::Repaint() {
    Flush();
    log_.repaint();
}

void RunDisplay::SetRowCounter(std::int64_t loaded, double total) {
    loaded_ = loaded;
    total_ = total;
    counter_changed_ = true;
}

void RunDisplay::ClearRowCounter() {
    counter_changed_ = false;
    counter_.clear();
}

void RunDisplay::SetBarMin(std::int64_t minimum) {
    minimum_ = minimum;
    bar_changed_ = true;
}

void RunDisplay::SetBarMax(std::int64_t maximum) {
    maximum_ = maximum;
    bar_changed_ = true;
}

void RunDisplay::SetBarValue(std::int64_t value) {
    value_ = value;
    bar_changed_ = true;
}

// Most work is over before anybody could notice, and then no events come in between.
void RunDisplay::WaitFor(const std::function<void()>& work) {
    if (helper_ == nullptr) {
        try {
            helper_ = std::make_unique<Helper>();
        } catch (const std::system_error&) {
            work();  // the system has no thread left: the window stands still meanwhile
            return;
        }
    }
    helper_->Start(work);
    if (helper_->IsDoneWithin(kBetweenEvents)) {
        return;
    }
    do {
        DoEvents();
    } while (!helper_->IsDoneWithin(kBetweenEvents));
}

void RunDisplay::DoEvents() {
    const auto now = std::chrono::steady_clock::now();
    if (now < next_events_) {
        return;
    }
    Flush();
    if (tell_progress_) {
        TellProgress();
    }
    QCoreApplication::processEvents();
    // From the end of the events: a slow repaint must not leave the run without time.
    next_events_ = std::chrono::steady_clock::now() + kBetweenEvents;
}

void RunDisplay::TellProgressTo(std::function<void(const RunProgress& progress)> tell) {
    tell_progress_ = std::move(tell);
    const auto now = RunProgress::Clock::now();
    progress_.emplace(now);
    taskbar_.Hide();
    next_progress_ = now + kFirstProgress;
    loaded_ = 0;
    total_ = 0;
}

void RunDisplay::TellProgress() {
    const auto now = RunProgress::Clock::now();
    if (now < next_progress_) {
        return;
    }
    next_progress_ = now + kBetweenProgress;
    progress_->TakeFromReport(loaded_, total_);
    progress_->Tick(now);
    taskbar_.Show(progress_->Fraction());
    tell_progress_(*progress_);
}

void RunDisplay::ShowMessage(std::string_view text) {
    tell_(text);
}

void RunDisplay::Flush() {
    if (counter_changed_) {
        // The total as a whole number, also above what an int holds.
        counter_.setText(QString("%1 of %2 Rows Loaded").arg(loaded_).arg(total_, 0, 'f', 0));
        counter_changed_ = false;
    }
    if (bar_changed_) {
        // The bar counts in ints: a table of more rows than that moves it in larger steps.
        const std::int64_t step = maximum_ / std::numeric_limits<int>::max() + 1;
        bar_.setRange(static_cast<int>(minimum_ / step), static_cast<int>(maximum_ / step));
        bar_.setValue(static_cast<int>(std::min(value_, maximum_) / step));
        bar_changed_ = false;
    }
}

}  // namespace vantry
