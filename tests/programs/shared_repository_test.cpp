// Several programs on one repository at once, some of them killed; and what they tell of passwords.

#include "drivers/access/verify/verify.h"
#include "programs/application.h"
#include "repository/saved_session.h"
#include "support/has.h"
#include "support/session_steps.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>
#include <thread>

namespace vantry::test {
namespace {

namespace fs = std::filesystem;

int SecondsFromEnvironment(const char* name, int otherwise) {
    const char* text = std::getenv(name);
    return text != nullptr ? std::atoi(text) : otherwise;
}

// What a wizard's process has done, seen by the test that may kill it.
struct WizardBook {
    std::atomic<int> saved;   // saves that have ended
    std::atomic<int> failed;  // operations that a user would have seen fail
    char first_failure[400];
};

// Saves the session in memory time and again, and lists them in between, until it is killed or time
// is up.
void WorkAsWizard(int who, int seconds, WizardBook& book) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    for (int number = 0; std::chrono::steady_clock::now() < end; ++number) {
        try {
            SessionSave save;
            save.SesName = "w" + std::to_string(who) + "n" + std::to_string(number);
            save.LogName = "/nowhere/" + save.SesName + ".log";
            SetDaily(save, {0, 3 * 3600 * kNanosPerSecond});
            SaveSession(save);
            ++book.saved;
            ListSessions();
        } catch (const std::exception& error) {
            if (book.failed++ == 0) {
                std::snprintf(book.first_failure, sizeof book.first_failure, "%s", error.what());
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

TEST(SharedRepository, WizardRunnersAndSchedulerWorkAtOnceAndSurviveKills) {
    const int seconds = SecondsFromEnvironment("VANTRY_SHARED_REPOSITORY_SECONDS", 20);
    const bool with_kills = SecondsFromEnvironment("VANTRY_SHARED_REPOSITORY_KILLS", 1) != 0;
    const Application app;
    app.Folder().Write("in/orders.csv", NumberedRows(50));
    for (const char* name : {"one", "two"}) {
        app.Use();
        app.FromText("orders.csv");
        app.ToAccess(name + std::string(".mdb"));
        app.Save(name);
    }
    RunStatement(RepoConnStr, "update sessions set SesFreq=\"N\",SesRunDay=1 where SessionID=2");

    auto* const books = static_cast<WizardBook*>(::mmap(nullptr,
                                                        2 * sizeof(WizardBook),
                                                        PROT_READ | PROT_WRITE,
                                                        MAP_SHARED | MAP_ANONYMOUS,
                                                        -1,
                                                        0));
    std::mt19937 random(7);
    const auto start = std::chrono::steady_clock::now();
    const auto left = [&] {
        return seconds - static_cast<int>(std::chrono::duration_cast<std::chrono::seconds>(
                                              std::chrono::steady_clock::now() - start)
                                              .count());
    };
    pid_t wizards[2];
    int generation = 0;
    const auto start_wizard = [&](int who) {
        wizards[who] = ::fork();
        if (wizards[who] == 0) {
            WorkAsWizard(generation * 2 + who, left(), books[who]);
            ::_exit(0);
        }
        ++generation;
    };
    start_wizard(0);
    start_wizard(1);
    auto timer = std::make_unique<Running>(app.Start("VYTimer", {}));
    std::int64_t whole_runs = 0;
    std::string trouble;
    while (left() > 0) {
        auto first = app.Start("VYRun", {"1"});
        auto second = app.Start("VYRun", {"2"});
        if (with_kills && random() % 4 == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 60));
            first.Signal(SIGKILL);
        }
        for (auto* run : {&first, &second}) {
            const auto outcome = run->Wait();
            whole_runs += run == &first && outcome.exit_code == 0 ? 1 : 0;
            if (outcome.exit_code != 0 && outcome.exit_code != 128 + SIGKILL &&
                !(run == &second && outcome.exit_code == 6)) {
                trouble += std::to_string(outcome.exit_code) + " " + outcome.errors;
            }
        }
        if (with_kills && random() % 3 == 0 && left() > 2) {
            const int who = static_cast<int>(random() % 2);
            ::kill(wizards[who], SIGKILL);
            ::waitpid(wizards[who], nullptr, 0);
            start_wizard(who);
        }
        if (with_kills && random() % 8 == 0 && left() > 2) {
            timer.reset();
            timer = std::make_unique<Running>(app.Start("VYTimer", {}));
        }
    }
    for (const pid_t wizard : wizards) {
        ::waitpid(wizard, nullptr, 0);
    }
    timer->Signal(SIGTERM);
    EXPECT_EQ(timer->Wait().exit_code, 0);
    EXPECT_EQ(trouble, "");
    for (int who = 0; who < 2; ++who) {
        EXPECT_EQ(books[who].failed, 0) << books[who].first_failure;
    }
    EXPECT_GT(whole_runs, 0);
    EXPECT_GE(app.RowsIn("one.mdb", "orders"), whole_runs * 50);

    app.Use();
    const auto sessions = ListSessions();
    int whole = 0;
    for (const auto& session : sessions) {
        ASSERT_TRUE(LoadSession(session.SessionID));
        whole += SrcTables.size() == 1 && ColMaps.size() == 2 ? 1 : 0;
    }
    EXPECT_GE(whole, books[0].saved + books[1].saved + 2) << "a save that had ended is lost";
    const auto report = access::Verify(RepositoryFile(app.Folder().Path().string()));
    EXPECT_TRUE(report.IsSound()) << report.Text();
    ::munmap(books, 2 * sizeof(WizardBook));
}

// Files of the folder, the repository and its copies aside, in which the word stands.
std::string FilesWith(const TempDir& folder, std::string_view word) {
    std::string names;
    for (const auto& entry : fs::recursive_directory_iterator(folder.Path())) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file() && !EqualsNoCase(name, "VYRepo.mdb") &&
            folder.Read(entry.path().string()).find(word) != std::string::npos) {
            names += name + " ";
        }
    }
    return names;
}

TEST(Secrets, APasswordStandsInNoLogSummaryArgumentOrMessage) {
    const std::string secret = "S3cr3t-Ünique";
    const std::string ascii_part = "S3cr3t";
    const Application app;
    app.Folder().Write("in/orders.csv", NumberedRows(30'000));
    // Sessions that work and sessions that fail in each of the drivers' ways.
    const auto locked = [&](const char* file) {
        return "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + app.Path(file) +
               ";Jet OLEDB:Database Password=" + secret;
    };
    const std::pair<const char*, std::string> sides[] = {
        {"ACCESS", locked("out.mdb")},
        {"ACCESS", locked("nosuch.mdb")},
        {"MySQL",
         "DRIVER={MySQL (built in)};SERVER=127.0.0.1;PORT=1;DATABASE=d;UID=u;PWD=" + secret},
        {"MSSQL", "Driver={No Such Driver};Server=127.0.0.1;UID=u;PWD={" + secret + "}"},
        {"ORACLE", "Provider=OraOLEDB.Oracle;Data Source=x;User ID=u;Password=" + secret},
        {"ODBC", "DSN=nosuch;UID=u;PWD=" + secret},
        {"FOXPRO", "Provider=vfpoledb.1;Data Source=/nosuch;Password=" + secret},
    };
    app.FromText("orders.csv");
    app.ToAccess("out.mdb");
    int sessions = 0;
    const auto save = [&] {
        SessionSave save_as;
        save_as.SesName = "s" + std::to_string(++sessions);
        save_as.LogName = app.Path("log/" + save_as.SesName + ".log");
        SetMinutely(save_as, 1);
        SaveSession(save_as);
    };
    app.Save("mapped");
    ++sessions;
    const std::string text_source = SourceConnStr;
    for (const auto& [type, connection] : sides) {
        SourceType = "TEXT";
        SourceConnStr = text_source;
        TargetType = type;
        TargetConnStr = connection;
        save();
        std::swap(SourceType, TargetType);
        SourceConnStr = connection;
        TargetType = "ACCESS";
        TargetConnStr = locked("out.mdb");
        save();
    }
    auto timer = app.Start("VYTimer", {});
    std::string said;
    std::string command_lines;
    std::string cores;
    for (int id = 2; id <= sessions; ++id) {
        auto run = app.Start("VYRun", {std::to_string(id), "ShowOutput"});
        for (int k = 0; k < 5 && run.IsRunning(); ++k) {
            std::ifstream in("/proc/" + std::to_string(run.Pid()) + "/cmdline", std::ios::binary);
            command_lines += std::string(std::istreambuf_iterator<char>(in), {});
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        if (id == 2) {
            run.Signal(SIGSEGV);  // an image of the memory would have it
        }
        const auto outcome = run.Wait();
        said += outcome.output + outcome.errors;
    }
    timer.Signal(SIGTERM);
    said += timer.Wait().errors;
    EXPECT_FALSE(Has(said, ascii_part));
    EXPECT_FALSE(command_lines.empty());
    EXPECT_FALSE(Has(command_lines, ascii_part));
    EXPECT_FALSE(fs::exists(app.Path("core")));
    EXPECT_GT(said.size(), 500U);
    // The only files with it are the repository's, and nobody else can read them.
    BackupRepository(app.Folder().Path().string(), app.Path("backup"));
    EXPECT_EQ(FilesWith(app.Folder(), ascii_part), "");
    for (const auto& entry : fs::recursive_directory_iterator(app.Path("log"))) {
        EXPECT_EQ(ModeOf(entry.path()) & 0077U, 0U) << entry.path();
    }
}

}  // namespace
}  // namespace vantry::test
