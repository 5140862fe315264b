// The caller stays in its handler and runs an event loop there; a filter of the whole application
// keeps input from the pages meanwhile. A filter and not disabled windows: those would turn grey
// and lose the focus for each connect. Easy to get wrong: who is still there when. The thread may
// end before the loop begins, or long after the caller has left it; both sides share one record,
// and the loop's address in it is taken back under its lock before the loop goes.
#include "shell/background_work.h"

#include "data/data_error.h"
#include "shell/main_window.h"

#include <QApplication>
#include <QEventLoop>
#include <QFrame>
#include <QKeyEvent>
#include <QLabel>
#include <QMdiArea>
#include <QPointer>
#include <QTimer>
#include <QVBoxLayout>

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace vantry {

struct SharedWork {
    std::mutex mutex;
    QEventLoop* loop = nullptr;  // of the caller, as long as it waits
    std::exception_ptr error;
    bool ended = false;
    std::condition_variable at_its_end;
    std::atomic<bool> given_up = false;
};

namespace {

constexpr int kHintAfterMs = 700;  // most answers are there before

// Never destroyed: a thread may count itself out while the process ends.
struct Threads {
    std::mutex mutex;
    std::condition_variable changed;
    int running = 0;

    static Threads& All() {
        static Threads& all = *new Threads;
        return all;
    }
    void Count(int change) {
        const std::lock_guard lock(mutex);
        running += change;
        changed.notify_all();
    }
};

bool WaitGoesOn = false;

void Work(const std::shared_ptr<SharedWork>& shared,
          std::function<void(const std::function<bool()>&)> work) {
    std::exception_ptr error;
    try {
        work([shared] { return shared->given_up.load(); });
    } catch (...) {
        error = std::current_exception();
    }
    work = nullptr;  // what it holds goes here, before anybody counts on it
    const std::lock_guard lock(shared->mutex);
    shared->error = error;
    shared->ended = true;
    shared->at_its_end.notify_all();
    if (shared->loop != nullptr) {
        // Queued: a quit before the loop runs would be lost; as an event it waits for the loop.
        QMetaObject::invokeMethod(shared->loop, &QEventLoop::quit, Qt::QueuedConnection);
    }
}

// False when the system has no thread left.
bool StartThread(const std::shared_ptr<SharedWork>& shared,
                 const std::function<void(const std::function<bool()>&)>& work) {
    Threads::All().Count(1);
    try {
        // Detached, as nobody can be made to wait for an answer that was given up; AwaitAllWork
        // counts instead.
        std::thread([shared = std::shared_ptr(shared), work = work]() mutable {
            Work(shared, std::move(work));
            shared.reset();
            Threads::All().Count(-1);
        }).detach();
        return true;
    } catch (const std::system_error&) {
        Threads::All().Count(-1);
        return false;
    }
}

// Takes all input as long as it lives; Esc ends the loop. What began with a press of the mouse ends
// with its release: that comes again behind the work, or a button pressed to leave a cell would
// stay down. A box that comes up in the meantime (the window manager's
// close button asks one) keeps its own.
class InputGate : public QObject {
public:
    InputGate(QEventLoop& loop, bool gives_up)
        : loop_(loop), gives_up_(gives_up), modal_(QApplication::activeModalWidget()) {
        qApp->installEventFilter(this);
    }
    ~InputGate() override {
        qApp->removeEventFilter(this);
        if (release_ != nullptr && released_ != nullptr) {
            QCoreApplication::postEvent(released_, release_.release());
        }
    }
    InputGate(const InputGate&) = delete;
    InputGate& operator=(const InputGate&) = delete;

    bool eventFilter(QObject* watched, QEvent* event) override {
        const QWidget* const modal = QApplication::activeModalWidget();
        // Only a box that came later: the page that waits may itself be modal.
        if (modal != nullptr && modal != modal_) {
            return false;
        }
        switch (event->type()) {
            case QEvent::KeyPress:
                if (gives_up_ && dynamic_cast<const QKeyEvent&>(*event).key() == Qt::Key_Escape) {
                    loop_.quit();
                }
                return true;
            case QEvent::ShortcutOverride:
                event->accept();  // it comes again, as a key press and not as a shortcut
                return true;
            case QEvent::MouseButtonRelease:
                // The window's own event goes on: it is how the toolkit knows the button is up.
                if (!watched->isWidgetType()) {
                    return false;
                }
                released_ = watched;
                release_.reset(event->clone());
                return true;
            case QEvent::KeyRelease:
            case QEvent::Shortcut:
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonDblClick:
            case QEvent::Wheel:
            case QEvent::ContextMenu:
            case QEvent::TabletPress:
            case QEvent::TouchBegin:
            case QEvent::DragEnter:
                return true;
            case QEvent::Close:
                // The program may be ended while it waits: its frame asks, and nothing needs the
                // answer then.
                if (gives_up_ && (watched == FindMainWindow() || !watched->isWidgetType())) {
                    return false;
                }
                event->ignore();
                return true;
            default:
                return false;
        }
    }

private:
    QEventLoop& loop_;
    bool gives_up_;
    const QWidget* modal_;
    QPointer<QObject> released_;
    std::unique_ptr<QEvent> release_;
};

// A line at the bottom of the frame, where it covers no page's texts, once the wait is felt.
class WaitHint {
public:
    explicit WaitHint(const char* text) : text_(text) {
        timer_.setSingleShot(true);
        QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { Show(); });
        timer_.start(kHintAfterMs);
    }
    ~WaitHint() { delete hint_.data(); }
    WaitHint(const WaitHint&) = delete;
    WaitHint& operator=(const WaitHint&) = delete;

private:
    void Show() {
        const MainWindow* const frame = FindMainWindow();
        if (frame == nullptr) {
            return;
        }
        QWidget* const area = frame->Area()->viewport();
        auto* const hint = new QFrame(area);
        hint->setObjectName("WaitHint");
        hint->setFrameShape(QFrame::StyledPanel);
        hint->setAutoFillBackground(true);
        auto* const row = new QVBoxLayout(hint);
        row->addWidget(new QLabel(text_));
        hint->adjustSize();
        hint->move((area->width() - hint->width()) / 2, area->height() - hint->height());
        hint->show();
        hint->raise();
        hint_ = hint;
    }

    const char* text_;
    QTimer timer_;
    QPointer<QWidget> hint_;
};

void Rethrow(const SharedWork& shared) {
    if (shared.error) {
        std::rethrow_exception(shared.error);
    }
}

void RunAndWait(std::function<void(const std::function<bool()>&)> work,
                const char* text,
                bool gives_up) {
    if (WaitGoesOn) {
        throw DataError(kErrInUse, "Another answer is being waited for already.");
    }
    const auto shared = std::make_shared<SharedWork>();
    QEventLoop loop;
    shared->loop = &loop;
    if (!StartThread(shared, work)) {
        shared->loop = nullptr;
        // Here, with windows that stand still meanwhile: slower to look at, but the same result.
        work([] { return false; });
        return;
    }
    work = nullptr;  // the thread's alone from here on
    WaitGoesOn = true;
    {
        const InputGate gate(loop, gives_up);
        const WaitHint hint(text);
        loop.exec();
    }
    WaitGoesOn = false;
    std::unique_lock lock(shared->mutex);
    shared->loop = nullptr;
    if (!gives_up) {
        // The loop may have been left because the program ends.
        shared->at_its_end.wait(lock, [&] { return shared->ended; });
    }
    if (!shared->ended) {
        // The thread may be in the middle of a connect that nothing can interrupt: it ends by
        // itself.
        shared->given_up = true;
        throw DataError(kErrUnspecified, "The wait for an answer was given up.");
    }
    Rethrow(*shared);
}

}  // namespace

void RunInBackground(std::function<void(const std::function<bool()>& given_up)> work) {
    RunAndWait(std::move(work), "Waiting for an answer. Press Esc to give up.", true);
}

void RunToItsEnd(std::function<void()> work, const char* hint) {
    RunAndWait([work = std::move(work)](const std::function<bool()>&) { work(); }, hint, false);
}

WorkBeside::WorkBeside(std::function<void()> work) : shared_(std::make_shared<SharedWork>()) {
    const auto ignoring = [work = std::move(work)](const std::function<bool()>&) { work(); };
    if (!StartThread(shared_, ignoring)) {
        Work(shared_, ignoring);
    }
}

bool WorkBeside::HasEnded() const {
    const std::lock_guard lock(shared_->mutex);
    return shared_->ended;
}

void WorkBeside::Result() const {
    const std::lock_guard lock(shared_->mutex);
    Rethrow(*shared_);
}

bool IsWaitingForWork() {
    return WaitGoesOn;
}

void AwaitAllWork() {
    auto& threads = Threads::All();
    std::unique_lock lock(threads.mutex);
    threads.changed.wait(lock, [&] { return threads.running == 0; });
}

}  // namespace vantry
