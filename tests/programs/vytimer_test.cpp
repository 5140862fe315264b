#include "engine/session_fixture.h"
#include "programs/application.h"
#include "repository/autostart.h"
#include "repository/process_finder.h"
#include "repository/timer_service.h"
#include "support/fault_plans.h"
#include "support/has.h"
#include "support/session_steps.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <thread>

namespace vantry::test {
namespace {

namespace fs = std::filesystem;

DateTime At(const std::string& text) {
    return ParseIsoDateTime(text).value();
}

// A scheduler with a clock that the test sets, and in place of the runner a script that notes what
// it is started with.
class TimerServiceTest : public testing::Test {
protected:
    TimerServiceTest() {
        fs::remove(app.Path("VYRun"));
        app.Folder().Write("VYRun",
                           "#!/bin/sh\ncd \"$(dirname \"$0\")\"\necho $# $1 >>starts\n"
                           "[ -f \"does$1\" ] && . \"./does$1\"\nexit 0\n");
        fs::permissions(app.Path("VYRun"), fs::perms::owner_all);
        SourceType = "ACCESS";
        TargetType = "TEXT";
        SessionSave save;
        save.SesName = "s";
        save.LogName = app.Path("log/s.log");
        SetDaily(save, {0, *NanosOf(6, 0, 0)});
        SaveSession(save);
        SetMinutely(save, 10);
        SaveSession(save);
        RunStatement(RepoConnStr, "update sessions set DateCreated=#2026-01-01#");
    }
    std::unique_ptr<TimerService> NewService(
        std::chrono::milliseconds idle_limit = std::chrono::minutes(10)) {
        return std::make_unique<TimerService>(
            app.Folder().Path().string(), [this] { return now; }, LocalUtcOffset, idle_limit);
    }
    void LookAt(TimerService& service, const char* time) {
        now = At(time);
        service.Look();
    }
    std::string Starts() const { return app.Folder().Read("starts"); }
    std::string Log() const { return app.Folder().Read("log/VYTimer.log"); }
    // Until the service has seen so many runners end.
    bool EndsBecome(TimerService& service, int count) {
        return Within(20, [&] {
            service.Look();
            return Count(Log(), "ended with") + Count(Log(), "was ended by") >= count;
        });
    }

    const Application app;
    DateTime now = At("2026-03-01 05:50:00");
};

TEST_F(TimerServiceTest, AFailedRunHandsItsSummaryToTheCommandOfTheSettings) {
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    const std::string out = app.Path("told with blank");
    app.Folder().Write("tell",
                       "#!/bin/sh\nprintf '%s|' \"$@\" >\"$1.part\"\nmv \"$1.part\" \"$1\"\n");
    fs::permissions(app.Path("tell"), fs::perms::owner_all);
    app.Folder().Write("does1", "exit 2\n");
    app.Folder().Write("Vantry.ini", "OnFailure=" + app.Path("tell") + " \"" + out + "\" $HOME\n");
    auto service = NewService();
    LookAt(*service, "2026-01-05 05:59:00");
    LookAt(*service, "2026-01-05 06:00:00");
    EXPECT_TRUE(Within(20, [&] {
        service->Look();
        return fs::exists(out);
    })) << Log();
    EXPECT_EQ(app.Folder().Read("told with blank"),
              out + "|$HOME|" + app.Path("log/s.log") + ".json|");
    // A note on the desktop is the runner's to show.
    EXPECT_TRUE(Within(20, [&] { return Starts().find("4 --tell-failure") != Starts().npos; }))
        << Starts();
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

TEST_F(TimerServiceTest, EachDueTimeStartsTheRunnerOnceWithTheNumberAlone) {
    auto service = NewService();
    LookAt(*service, "2026-03-01 05:50:00");
    EXPECT_LE(service->Wait(), std::chrono::seconds(5));
    LookAt(*service, "2026-03-01 06:00:00");
    EXPECT_TRUE(EndsBecome(*service, 2));
    LookAt(*service, "2026-03-01 06:00:05");
    LookAt(*service, "2026-03-01 06:10:02");
    EXPECT_TRUE(EndsBecome(*service, 3));
    std::string starts = Starts();
    EXPECT_TRUE(starts == "1 1\n1 2\n1 2\n" || starts == "1 2\n1 1\n1 2\n") << starts;
    EXPECT_TRUE(Has(Log(), "06:00:00 Session 1 \"s\" started, due 2026-03-01 06:00:00."));
    now = At("2026-03-01 06:19:58");
    EXPECT_EQ(service->Wait(), std::chrono::seconds(2));
    // Another one makes up for what was missed meanwhile, once.
    service = NewService();
    LookAt(*service, "2026-03-01 06:45:00");
    LookAt(*NewService(), "2026-03-01 06:45:05");
    EXPECT_TRUE(Within(20, [&] { return Starts().size() == starts.size() + 4; })) << Starts();
    EXPECT_TRUE(Has(Log(), "due 2026-03-01 06:40:00, also for 2 earlier times"));
    EXPECT_EQ(ModeOf(app.Path("log/VYTimer.log")), 0600U);
}

TEST_F(TimerServiceTest, RunnersThatHangOrCrashStopNobody) {
    // Hangs until the test opens the other end of the pipe: no clock says when.
    const std::string gate = app.Path("gate");
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    app.Folder().Write("does1", "[ -p gate ] && read line <gate\n");
    // At work until the first one has been told of.
    app.Folder().Write("does2", "while [ ! -e go ]; do :; done; kill -9 $$\n");
    auto service = NewService(std::chrono::seconds(3));
    LookAt(*service, "2026-03-01 05:50:00");
    LookAt(*service, "2026-03-01 06:00:00");
    EXPECT_TRUE(Within(20, [&] {
        service->Look();
        return Count(Log(), "Session 1 \"s\" has done nothing") == 1;
    }));
    app.Folder().Write("go", "");
    EXPECT_TRUE(EndsBecome(*service, 1));
    EXPECT_TRUE(Has(Log(), "Session 2 \"s\" was ended by signal 9"));
    LookAt(*service, "2026-03-01 06:10:00");
    EXPECT_TRUE(EndsBecome(*service, 2));
    LookAt(*service, "2026-03-02 06:00:00");
    EXPECT_TRUE(Has(Log(), "Session 1 \"s\", due 2026-03-02 06:00:00, is still running"));
    const int end = open(gate.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_GE(end, 0) << "the first session has stopped waiting";
    fs::remove(gate);
    close(end);
    EXPECT_TRUE(EndsBecome(*service, 4));
    EXPECT_EQ(Count(Log(), "Session 1 \"s\" has done nothing"), 1) << Log();
    EXPECT_EQ(Count(Log(), "has done nothing"), 1) << "the other was at work";
    // Without a program there is one line, and a start as soon as it is back.
    fs::rename(app.Path("VYRun"), app.Path("away"));
    LookAt(*service, "2026-03-02 06:10:00");
    LookAt(*service, "2026-03-02 06:10:05");
    EXPECT_TRUE(Has(Log(), "couldn't be started"));
    EXPECT_EQ(Log().find("couldn't be started"), Log().rfind("couldn't be started")) << Log();
    fs::rename(app.Path("away"), app.Path("VYRun"));
    LookAt(*service, "2026-03-02 06:10:10");
    EXPECT_TRUE(EndsBecome(*service, 5));
}

// A due time whose start couldn't be noted would come again with every scheduler.
TEST_F(TimerServiceTest, NothingIsStartedWhileTheStateCantBeWritten) {
    LookAt(*NewService(), "2026-03-01 05:50:00");
    std::unique_ptr<TimerService> service;
    {
        FullDisk disk("VYTimer.state", 1, INT_MAX);
        const InstalledPlan installed(disk);
        for (int scheduler = 0; scheduler < 3; ++scheduler) {
            service = NewService();
            LookAt(*service, "2026-03-01 06:00:00");
            LookAt(*service, "2026-03-01 06:00:05");
        }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(Starts(), "");
    EXPECT_EQ(Count(Log(), "Nothing is started"), 3) << Log();  // once by each
    // What has waited starts once for both its times.
    LookAt(*service, "2026-03-02 06:00:10");
    EXPECT_TRUE(Within(20, [&] { return Starts().size() == 8; })) << Starts();
    EXPECT_TRUE(Has(Log(), "also for 1 earlier times")) << Log();
    LookAt(*NewService(), "2026-03-02 06:00:15");
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(Starts().size(), 8U) << Starts();
    // One that is there and can't be read is no reason to begin anew.
    const auto state = app.Path("log/VYTimer.state");
    fs::remove(state);
    fs::create_symlink(state, state);
    EXPECT_THROW(NewService(), DataError);
    EXPECT_NE(Log().find("The scheduler can't work: "), Log().npos) << Log();
}

// However it was kept from its start: what is made then is none of that day's.
TEST_F(TimerServiceTest, AStartThatHasWaitedForADayIsGivenUp) {
    RunStatement(RepoConnStr,
                 "update sessions set SesFreq='W', SesWeekDay='0000001' where SessionID=1");
    auto service = NewService();
    LookAt(*service, "2026-03-01 05:50:00");
    fs::rename(app.Path("VYRun"), app.Path("away"));
    LookAt(*service, "2026-03-01 06:00:00");  // a Sunday
    // Nor is one whose number another session has been given.
    RunStatement(RepoConnStr,
                 "update sessions set DateCreated=#2026-03-01 06:05:00# where SessionID=2");
    LookAt(*service, "2026-03-01 06:05:01");
    EXPECT_FALSE(Has(app.Folder().Read("log/VYTimer.state"), "waiting 2 "));
    LookAt(*service, "2026-03-02 06:00:00");
    EXPECT_TRUE(Has(app.Folder().Read("log/VYTimer.state"), "waiting 1 2026-03-01T06:00:00 0\n"));
    fs::rename(app.Path("away"), app.Path("VYRun"));
    LookAt(*service, "2026-03-02 06:00:01");
    EXPECT_TRUE(EndsBecome(*service, 1)) << Log();
    EXPECT_FALSE(Has(Log(), "Session 1 \"s\" started")) << Log();
}

// Sixteen run at once; the others' starts are kept for as long as they wait.
TEST_F(TimerServiceTest, StartsThatWaitOutliveTheSchedulerAndComeOnce) {
    constexpr int kSessions = 20;
    for (int id = 3; id <= kSessions; ++id) {
        SessionSave save;
        save.SesName = "s";
        SetDaily(save, {0, *NanosOf(6, 0, 0)});
        SaveSession(save);
    }
    for (int id = 1; id <= kSessions; ++id) {
        app.Folder().Write("does" + std::to_string(id), "sleep 2\n");
    }
    RunStatement(RepoConnStr, "update sessions set DateCreated=#2026-01-01#");
    const auto count = [&](int expected) {
        const auto lines = [&] {
            const auto starts = Starts();
            return std::count(starts.begin(), starts.end(), '\n');
        };
        EXPECT_TRUE(Within(20, [&] { return lines() >= expected; }));
        EXPECT_EQ(lines(), expected);
    };
    auto service = NewService();
    LookAt(*service, "2026-03-01 05:50:00");
    LookAt(*service, "2026-03-01 06:00:00");
    count(16);
    LookAt(*service, "2026-03-01 06:00:05");
    count(16);
    service = NewService();  // which has started none of those that run
    LookAt(*service, "2026-03-01 06:00:10");
    count(kSessions);
    service = NewService();
    LookAt(*service, "2026-03-01 06:00:15");
    EXPECT_EQ(Starts().size(), 9U * 4 + 11U * 5);
}

TEST_F(TimerServiceTest, ARepositoryThatIsMissingOrInUseIsWaitedFor) {
    auto service = NewService();
    LookAt(*service, "2026-03-01 05:50:00");
    const auto repository = RepositoryFile(app.Folder().Path().string());
    fs::rename(repository, app.Path("away"));
    LookAt(*service, "2026-03-01 06:00:00");
    LookAt(*service, "2026-03-01 06:00:05");
    EXPECT_EQ(Starts(), "");
    EXPECT_EQ(service->Wait(), std::chrono::seconds(5));
    fs::rename(app.Path("away"), repository);
    LookAt(*service, "2026-03-01 06:01:00");
    EXPECT_TRUE(Within(20, [&] { return Starts().size() == 8; })) << Starts();
    const std::string log = Log();
    EXPECT_EQ(log.find("There is no repository"), log.rfind("There is no repository"));
    EXPECT_TRUE(Has(log, "The repository can be read again."));
    // One that isn't a database: what was known before still runs.
    const auto content = app.Folder().Read(repository.filename().string());
    std::ofstream(repository, std::ios::binary) << "rubbish";
    LookAt(*service, "2026-03-01 06:10:00");
    EXPECT_TRUE(Within(20, [&] { return Starts().size() == 12; })) << Starts();
    EXPECT_TRUE(Has(Log(), "Can't read the repository"));
}

TEST(VYTimer, StartsAtLoginWhenToldAndNotOtherwise) {
    const Application app;
    const std::string entry = "config/autostart/vytimer.desktop";
    ::setenv("XDG_CONFIG_HOME", app.Path("config").c_str(), 1);
    const auto run = [&](const std::string& argument) {
        return app.Start("VYTimer", {argument}).Wait().exit_code;
    };
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(run("--remove-autostart"), 0);
        EXPECT_FALSE(fs::exists(app.Path(entry)));
        EXPECT_EQ(run("--install-autostart"), 0);
        const std::string text = app.Folder().Read(entry);
        EXPECT_TRUE(text.starts_with("[Desktop Entry]\nType=Application\n")) << text;
        EXPECT_TRUE(text.ends_with("VYTimer\"\n")) << text;
    }
    const std::string by_the_user = "[Desktop Entry]\nName=mine\n";
    app.Folder().Write(entry, by_the_user);
    EXPECT_EQ(run("--install-autostart"), 3);
    EXPECT_EQ(run("--remove-autostart"), 3);
    EXPECT_EQ(app.Folder().Read(entry), by_the_user);
    EXPECT_EQ(run("--install"), 64);
    fs::remove(app.Path(entry));
    InstallAutostart("/a b/50%/$x`\"\\/VYTimer");
    EXPECT_TRUE(
        Has(app.Folder().Read(entry), "Exec=\"/a b/50%%/\\\\$x\\\\`\\\\\"\\\\\\\\/VYTimer\"\n"));
    ::unsetenv("XDG_CONFIG_HOME");
}

TEST(VYTimer, WorksOncePerRepositoryIdlesAndEndsWhenTold) {
    const Application app;
    EXPECT_EQ(app.Start("VYTimer", {"x"}).Wait().exit_code, 64);
    auto timer = app.Start("VYTimer", {});
    ASSERT_TRUE(Within(20, [&] { return fs::exists(app.Path("log/VYTimer.log")); }));
    EXPECT_EQ(app.Start("VYTimer", {}).Wait().exit_code, 6);
    EXPECT_TRUE(timer.IsRunning());
    EXPECT_TRUE(IsProcessRunning("vytimer"));
    const auto text = app.Folder().Read("/proc/" + std::to_string(timer.Pid()) + "/limits");
    EXPECT_TRUE(Has(text, "Max core file size        1  "));
    EXPECT_FALSE(IsProcessRunning("vytime"));
    timer.Signal(SIGTERM);
    EXPECT_EQ(timer.Wait().exit_code, 0);
    EXPECT_TRUE(Has(app.Folder().Read("log/VYTimer.log"), "Scheduler ended."));
}

}  // namespace
}  // namespace vantry::test
