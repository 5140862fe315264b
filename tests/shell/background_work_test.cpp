// Work off the thread of the windows: its results and errors, and who may give it up.

#include "shell/background_work.h"

#include "data/data_error.h"
#include "support/page_driver.h"

#include <QMouseEvent>
#include <QPushButton>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>

namespace vantry {
namespace {

std::string ErrorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const DataError& error) {
        return error.Description();
    }
    return "no error";
}

TEST(BackgroundWorkTest, ResultsAndErrorsComeBackWhileTheWindowsLive) {
    int ticks = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { ++ticks; });
    timer.start(5);
    const auto caller = std::this_thread::get_id();
    const auto worker = InBackground<std::thread::id>([&](const auto&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        return std::this_thread::get_id();
    });
    EXPECT_NE(worker, caller);
    EXPECT_GT(ticks, 2);
    EXPECT_EQ(
        ErrorOf([] { RunInBackground([](const auto&) { throw DataError(1, "of the work"); }); }),
        "of the work");
    EXPECT_THROW(RunInBackground([](const auto&) { throw std::bad_alloc(); }), std::bad_alloc);
    EXPECT_FALSE(IsWaitingForWork());
}

// Leaving a cell may ask a server in the middle of the press on a button, whose release comes while
// the answer is awaited.
TEST(BackgroundWorkTest, AClickThatAWaitDividesIsStillAClick) {
    QPushButton button;
    int clicks = 0;
    QObject::connect(&button, &QPushButton::clicked, [&] { ++clicks; });
    const auto send = [&](QEvent::Type type) {
        QMouseEvent event(type, {1, 1}, {1, 1}, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&button, &event);
    };
    RunInBackground([&](const auto&) {
        QMetaObject::invokeMethod(&button, [&] { send(QEvent::MouseButtonRelease); });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    });
    send(QEvent::MouseButtonPress);
    EXPECT_EQ(clicks, 0);
    QCoreApplication::processEvents();
    EXPECT_EQ(clicks, 1);
}

// The work holds what it made until it ends by itself, and its own thread lets it go.
TEST(BackgroundWorkTest, GivenUpWorkEndsBehindTheScenes) {
    struct Held {
        explicit Held(std::atomic<std::thread::id>& id) : released_by(id) {}
        ~Held() { released_by = std::this_thread::get_id(); }
        std::atomic<std::thread::id>& released_by;
    };
    std::atomic<std::thread::id> released_by{};
    std::promise<void> answer;
    std::atomic<bool> knew = false;
    QTimer::singleShot(50, qApp, [] {
        EXPECT_TRUE(IsWaitingForWork());
        EXPECT_EQ(ErrorOf([] { RunInBackground([](const auto&) {}); }),
                  "Another answer is being waited for already.");
        QKeyEvent letter(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, "a");
        QCoreApplication::sendEvent(&TheMainWindow(), &letter);
        EXPECT_TRUE(IsWaitingForWork());
        QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
        QCoreApplication::sendEvent(&TheMainWindow(), &escape);
    });
    EXPECT_EQ(ErrorOf([&] {
                  InBackground<std::shared_ptr<Held>>(
                      [&, future = answer.get_future().share()](const auto& given_up) {
                          auto held = std::make_shared<Held>(released_by);
                          future.wait();
                          knew = given_up();
                          return held;
                      });
              }),
              "The wait for an answer was given up.");
    EXPECT_FALSE(IsWaitingForWork());
    EXPECT_EQ(InBackground<int>([](const auto&) { return 7; }), 7) << "while the other one works";
    EXPECT_EQ(released_by.load(), std::thread::id());
    answer.set_value();
    AwaitAllWork();
    EXPECT_TRUE(knew);
    EXPECT_NE(released_by.load(), std::thread::id());
    EXPECT_NE(released_by.load(), std::this_thread::get_id());
    CloseMainWindow();
}

}  // namespace
}  // namespace vantry
