// What is left when the writing process is killed, the power fails or the disk refuses: each
// statement whole or not at all, and a file that the verifier finds nothing wrong with. Each loop
// is run once more with a fault planted in the file layer, and must then find something.

#include "data/value_text.h"
#include "drivers/access/mdbtools.h"
#include "drivers/access/writing_fixture.h"
#include "drivers/file/file_lock.h"
#include "support/fault_plans.h"

#include <sys/wait.h>

#include <cstdlib>
#include <functional>

namespace vantry::access {
namespace {

using test::Planted;
using Snapshot = std::map<std::string, std::vector<std::string>>;  // table, rows

constexpr std::string_view kBulkTable = "bulk";
constexpr std::string_view kFile = "crash.mdb";

int FromEnvironment(const char* name, int usual) {
    const char* const value = std::getenv(name);
    return value != nullptr ? std::atoi(value) : usual;
}

Snapshot Look(const std::string& path) {
    Snapshot snapshot;
    const auto source = OpenReadOnly(path);
    ObjectCatalog catalog(*source);
    for (const auto& object : catalog.Objects()) {
        if (object.IsTable() && object.flags == 0) {
            snapshot[object.name] = Content(path, object.name);
        }
    }
    return snapshot;
}

// ---- The statements

void InsertSome(Opened& opened, int first, int count) {
    const auto table = opened.Table("main");
    opened.Statement([&] {
        for (int row = first; row < first + count; ++row) {
            const std::string memo(static_cast<std::size_t>(row % 5 == 0 ? 9000 : row * 37 % 300),
                                   'm');
            const std::string name = "name " + std::to_string(row * 7919 % 1000);
            table->Insert(
                std::vector<Cell>{Cell(), Cell::Text(name), Cell::Int64(row), Cell::Text(memo)});
        }
    });
}

void BulkLoad(Opened& opened, int first, int count) {
    const auto table = opened.Table(kBulkTable);
    for (int row = first; row < first + count; ++row) {
        const std::string text = std::to_string(100000 + row) + std::string(200, 'b');
        opened.database->InsertRow(*table, std::vector<Cell>{Cell::Text(text)});
    }
    opened.file->store->Settle();
}

const std::vector<std::function<void(Opened&)>>& Script() {
    static const std::vector<std::function<void(Opened&)>> script = {
        [](Opened& opened) {
            opened.Create("main",
                          {Column("id", "COUNTER"),
                           Column("name", "TEXT", 50),
                           Column("n", "LONG"),
                           Column("memo", "MEMO")},
                          {PrimaryKey(), Index("name", {"name", "-n"})});
        },
        [](Opened& opened) { InsertSome(opened, 0, 40); },
        [](Opened& opened) { InsertSome(opened, 40, 1); },
        [](Opened& opened) {
            const auto table = opened.Table("main");
            opened.Statement([&] {
                const std::string longer(700, 'u');
                const std::vector<std::size_t> columns = {1, 3};
                for (const auto row : RowsOf(*table)) {
                    table->Update(
                        row, columns, std::vector<Cell>{Cell::Text("changed"), Cell::Text(longer)});
                }
            });
        },
        [](Opened& opened) {
            const auto table = opened.Table("main");
            opened.Statement([&] {
                const auto rows = RowsOf(*table);
                for (std::size_t row = 0; row < rows.size(); row += 2) {
                    table->Delete(rows[row]);
                }
            });
        },
        [](Opened& opened) { opened.Create(kBulkTable, {Column("text", "TEXT", 255)}); },
        [](Opened& opened) { BulkLoad(opened, 0, 600); },
        [](Opened& opened) { opened.database->DropTable("main"); },
        [](Opened& opened) { BulkLoad(opened, 600, 600); },
        [](Opened& opened) { opened.database->CreateIndex(kBulkTable, Index("text", {"text"})); },
        [](Opened& opened) {
            const auto table = opened.Table(kBulkTable);
            opened.Statement([&] { table->DeleteAll(); });
        },
        [](Opened& opened) { BulkLoad(opened, 0, 100); },
    };
    return script;
}
// `done` is called after each step.
void RunScript(const std::string& path, const std::function<void()>& done) {
    Opened opened(path);
    for (const auto& step : Script()) {
        step(opened);
        done();
    }
}
bool IsBulkLoad(std::size_t step) {
    return step == 6 || step == 8 || step == 11;
}

// Every state that the script passes through: the one before step i at i.
const std::vector<Snapshot>& Snapshots() {
    static const std::vector<Snapshot> snapshots = [] {
        test::NoSync plan;
        const test::InstalledPlan installed(plan);
        const test::TempDir folder;
        const std::string path = folder / kFile;
        CreateDatabaseFile(path);
        std::vector<Snapshot> states{Look(path)};
        RunScript(path, [&] { states.push_back(Look(path)); });
        return states;
    }();
    return snapshots;
}

// Whether `state` may follow a script of which `done` steps have returned.
bool Acceptable(const Snapshot& state, std::size_t done) {
    const auto& snapshots = Snapshots();
    if (state == snapshots[done] || (done < Script().size() && state == snapshots[done + 1])) {
        return true;
    }
    if (done >= Script().size() || !IsBulkLoad(done)) {
        return false;
    }
    // The first rows of a load, in the order of their insertion, which is that of their texts.
    Snapshot rest = state;
    const auto rows = rest[std::string(kBulkTable)];
    Snapshot whole = snapshots[done + 1];
    const auto all = whole[std::string(kBulkTable)];
    rest.erase(std::string(kBulkTable));
    whole.erase(std::string(kBulkTable));
    const auto before = snapshots[done].at(std::string(kBulkTable)).size();
    return rest == whole && rows.size() >= before && rows.size() <= all.size() &&
           std::equal(rows.begin(), rows.end(), all.begin());
}

// What is wrong with the file after `done` steps; empty: nothing.
std::string WrongWith(const std::string& path, std::size_t done) {
    test::NoSync plan;
    const test::InstalledPlan installed(plan);
    try {
        Opened opened(path);
        if (std::filesystem::exists(path + "-journal")) {
            return "the journal is still there";
        }
        const std::string faults = Faults(path);
        if (!faults.empty()) {
            return faults;
        }
        return Acceptable(Look(path), done) ? "" : "a statement is there in part, or is lost";
    } catch (const DataError& error) {
        return error.Description();
    }
}

// A database file before the script, read once.
const test::DiskRecord::Files& EmptyDatabase() {
    static const test::DiskRecord::Files files = [] {
        const test::TempDir folder;
        CreateDatabaseFile(folder / kFile);
        return test::ReadFolder(folder.Path());
    }();
    return files;
}

// Runs `work` in a child, and `meanwhile` beside it; the number of steps that it reported.
std::size_t RunChild(
    const std::function<void(const std::function<void()>&)>& work,
    bool& killed,
    const std::function<void(pid_t)>& meanwhile = [](pid_t) {}) {
    int ends[2];
    if (::pipe(ends) != 0) {
        throw std::runtime_error("pipe");
    }
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            work([&] {
                const char mark = 1;
                static_cast<void>(!::write(ends[1], &mark, 1));
            });
        } catch (const std::exception&) {
            ::_exit(1);
        }
        ::_exit(0);
    }
    ::close(ends[1]);
    meanwhile(child);
    std::size_t steps = 0;
    char mark = 0;
    while (::read(ends[0], &mark, 1) == 1) {
        ++steps;
    }
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    killed = WIFSIGNALED(status);
    return steps;
}

// ---- Killed

// Kills the writer at every `stride`-th operation; the states that were wrong.
std::vector<std::string> KillLoop(int stride, Planted planted, std::size_t enough) {
    const test::TempDir folder;
    const std::string path = folder / kFile;
    std::vector<std::string> wrong;
    Snapshots();
    bool killed = true;
    for (int point = 0; killed && wrong.size() < enough; point += stride) {
        test::WriteFolder(folder.Path(), EmptyDatabase());
        const std::size_t torn = point / stride % 3 == 0 ? 0 : 512 * (1 + point % 8);
        const std::size_t done = RunChild(
            [&](const std::function<void()>& report) {
                test::KillAt plan(point, torn, planted);
                const test::InstalledPlan installed(plan);
                RunScript(path, report);
            },
            killed);
        const std::string what = WrongWith(path, done);
        if (!what.empty()) {
            wrong.push_back("killed at operation " + std::to_string(point) + " after " +
                            std::to_string(done) + " steps: " + what);
        } else if (point / stride % 10 == 0 && test::HasMdbtools()) {
            const auto names = test::MdbTableNames(path);
            if (names.size() != Look(path).size()) {
                wrong.push_back("another reader sees other tables at " + std::to_string(point));
            }
        }
    }
    return wrong;
}

TEST(AccessCrash, KilledWriterLeavesWholeStatements) {
    EXPECT_EQ(std::vector<std::string>(),
              KillLoop(FromEnvironment("VANTRY_KILL_STRIDE", 20), Planted::Nothing, 5));
}

TEST(AccessCrash, KillLoopNoticesAMissingJournal) {
    EXPECT_FALSE(KillLoop(3, Planted::JournalNotWritten, 1).empty());
}

TEST(AccessCrash, KilledCreationLeavesNoFileOrAWholeOne) {
    const test::TempDir folder;
    const std::string path = folder / kFile;
    bool killed = true;
    for (int point = 0; killed; point += 2) {
        test::WriteFolder(folder.Path(), {});
        RunChild(
            [&](const std::function<void()>&) {
                test::KillAt plan(point, 512, Planted::Nothing);
                const test::InstalledPlan installed(plan);
                CreateDatabaseFile(path);
            },
            killed);
        if (std::filesystem::exists(path)) {
            EXPECT_EQ("", Faults(path)) << point;
        } else {
            CreateDatabaseFile(path);  // what was left doesn't stand in the way
        }
    }
}

// Killed from outside, at any moment.
TEST(AccessCrash, SigkillAtRandomMomentsLosesNoStatement) {
    const test::TempDir folder;
    const std::string path = folder / kFile;
    std::mt19937 random(7);
    const int kills = FromEnvironment("VANTRY_KILLS", 12);
    for (int kill = 0; kill < kills; ++kill) {
        test::WriteFolder(folder.Path(), EmptyDatabase());
        bool killed = false;
        const std::size_t done =
            RunChild([&](const std::function<void()>& report) { RunScript(path, report); },
                     killed,
                     [&](pid_t child) {
                         ::usleep(static_cast<useconds_t>(random() % 60000));
                         ::kill(child, SIGKILL);
                     });
        EXPECT_EQ("", WrongWith(path, done)) << "after " << done << " steps";
    }
}

// ---- Power failure

struct Recording {
    explicit Recording(Planted planted) : record(EmptyDatabase(), planted) {
        const test::TempDir folder;
        test::WriteFolder(folder.Path(), EmptyDatabase());
        const test::InstalledPlan installed(record);
        RunScript(folder / kFile, [&] { returned.push_back(record.Steps()); });
    }
    // Statements that had returned when `steps` operations were done.
    std::size_t DoneAt(std::size_t steps) const {
        return static_cast<std::size_t>(std::upper_bound(returned.begin(), returned.end(), steps) -
                                        returned.begin());
    }

    test::DiskRecord record;
    std::vector<std::size_t> returned;
};

std::vector<std::string> PowerLoop(int states, Planted planted, std::size_t enough) {
    Snapshots();
    const Recording recording(planted);
    const test::TempDir folder;
    std::mt19937 random(42);
    std::vector<std::string> wrong;
    for (int state = 0; state < states && wrong.size() < enough; ++state) {
        const std::size_t steps = random() % (recording.record.Steps() + 1);
        const auto files = recording.record.StateAfter(steps, random);
        test::WriteFolder(folder.Path(), files);
        const std::string what = WrongWith(folder / kFile, recording.DoneAt(steps));
        if (!what.empty()) {
            wrong.push_back("state " + std::to_string(state) + ", power lost after " +
                            std::to_string(steps) + " operations: " + what);
        }
    }
    return wrong;
}

TEST(AccessCrash, PowerFailureLeavesWholeStatements) {
    EXPECT_EQ(std::vector<std::string>(),
              PowerLoop(FromEnvironment("VANTRY_POWER_STATES", 1500), Planted::Nothing, 5));
}

TEST(AccessCrash, PowerLoopNoticesAMissingSync) {
    EXPECT_FALSE(PowerLoop(3000, Planted::JournalNotSynced, 1).empty());
}

// ---- Failing operations

std::vector<std::string> FailLoop(int stride, Planted planted, std::size_t enough) {
    const test::TempDir folder;
    const std::string path = folder / kFile;
    Snapshots();
    std::vector<std::string> wrong;
    for (const bool for_good : {false, true}) {
        bool triggered = true;
        for (int point = 3; triggered && wrong.size() < enough; point += stride) {
            test::WriteFolder(folder.Path(), EmptyDatabase());
            std::size_t done = 0;
            {
                test::FailAt plan(point, point % 2 == 0 ? ENOSPC : EIO, for_good, planted);
                const test::InstalledPlan installed(plan);
                try {
                    RunScript(path, [&] { ++done; });
                } catch (const DataError&) {
                    // The statement failed: it must have left no trace, or all of it where the
                    // failure came after its end.
                }
                triggered = plan.Triggered();
            }
            file::SetLockTimeout(std::chrono::milliseconds(50));
            std::string what = WrongWith(path, done);
            if (what.empty()) {
                // No lock is left: a writer gets in.
                what = ErrorOf([&] {
                    Opened opened(path);
                    opened.Statement([] {});
                });
            }
            file::SetLockTimeout(std::chrono::milliseconds(5000));
            if (!what.empty()) {
                wrong.push_back("operation " + std::to_string(point) +
                                (for_good ? " and all later" : "") + " failed after " +
                                std::to_string(done) + " steps: " + what);
            }
        }
    }
    return wrong;
}

TEST(AccessCrash, FailingOperationTakesItsStatementBack) {
    EXPECT_EQ(std::vector<std::string>(),
              FailLoop(FromEnvironment("VANTRY_FAIL_STRIDE", 31), Planted::Nothing, 5));
}

TEST(AccessCrash, FailLoopNoticesAFailureThatIsIgnored) {
    EXPECT_FALSE(FailLoop(7, Planted::FailureIgnored, 1).empty());
}

// ---- Journals in trouble

// States of a killed writer with a journal whose pages have been changed already.
std::vector<std::pair<test::DiskRecord::Files, std::size_t>> HotStates(std::size_t wanted) {
    const Recording recording(Planted::Nothing);
    const std::string journal = std::string(kFile) + "-journal";
    std::vector<std::pair<test::DiskRecord::Files, std::size_t>> states;
    const std::size_t stride = std::max<std::size_t>(1, recording.record.Steps() / (6 * wanted));
    for (std::size_t steps = 0; steps < recording.record.Steps() && states.size() < wanted;
         steps += stride) {
        auto files = recording.record.KilledAfter(steps);
        if (files.contains(journal) && files[journal].size() > 5000) {
            states.emplace_back(std::move(files), recording.DoneAt(steps));
        }
    }
    return states;
}

std::vector<std::string> KilledPlaybackLoop(Planted planted, std::size_t enough) {
    const test::TempDir folder;
    const std::string path = folder / kFile;
    Snapshots();
    std::vector<std::string> wrong;
    for (const auto& [files, done] : HotStates(12)) {
        bool killed = true;
        for (int point = 0; killed && wrong.size() < enough; point += 2) {
            test::WriteFolder(folder.Path(), files);
            RunChild(
                [&](const std::function<void()>&) {
                    test::KillAt plan(point, 1024, planted);
                    const test::InstalledPlan installed(plan);
                    Opened opened(path);
                },
                killed);
            const std::string what = WrongWith(path, done);
            if (!what.empty()) {
                wrong.push_back(std::to_string(done) + "/" + std::to_string(point) + ": " + what);
            }
        }
    }
    return wrong;
}

TEST(AccessCrash, KilledPlaybackIsPlayedBackAgain) {
    EXPECT_EQ(std::vector<std::string>(), KilledPlaybackLoop(Planted::Nothing, 5));
}

TEST(AccessCrash, PlaybackLoopNoticesAPlaybackThatIsNotDone) {
    EXPECT_FALSE(KilledPlaybackLoop(Planted::PlaybackNotDone, 1).empty());
}

// Cut at any length, or with a byte changed: the statement is taken back, or the error says that it
// can't be; never half a statement without a word.
TEST(AccessCrash, DamagedJournalIsPlayedBackWhollyOrRefused) {
    const test::TempDir folder;
    const std::string path = folder / kFile;
    const std::string journal = std::string(kFile) + "-journal";
    int refused = 0;
    for (const auto& [files, done] : HotStates(5)) {
        const std::size_t size = files.at(journal).size();
        // A journal without a single image left says nothing of what was changed.
        constexpr std::size_t kHeaderAndImage = 512 + 64 + 4096;
        for (std::size_t at = 0; at < size; at += 1 + size / 25) {
            for (const bool cut : {true, false}) {
                if (cut && at < kHeaderAndImage) {
                    continue;
                }
                auto damaged = files;
                std::string& bytes = damaged[journal];
                if (cut) {
                    bytes.resize(at);
                } else {
                    bytes[at] = static_cast<char>(bytes[at] ^ 0x40);
                }
                test::WriteFolder(folder.Path(), damaged);
                const std::string error = ErrorOf([&] { Opened opened(path); });
                if (!error.empty()) {
                    ++refused;
                    EXPECT_TRUE(Has(error, "-journal"));
                    EXPECT_TRUE(files.at(std::string(kFile)) ==
                                test::ReadFolder(folder.Path())[std::string(kFile)]);
                } else {
                    EXPECT_EQ("", WrongWith(path, done)) << at << (cut ? " cut" : " changed");
                }
            }
        }
    }
    EXPECT_GT(refused, 0);
}

// A journal beside another file, and beside the same file put back from a copy.
TEST(AccessCrash, JournalOfAnotherFileIsNeverPlayedBack) {
    const Recording recording(Planted::Nothing);
    const auto final_file = recording.record.KilledAfter(recording.record.Steps());
    const std::string name(kFile);
    const std::string journal = name + "-journal";
    const test::TempDir folder;
    const std::string path = folder / kFile;
    int refused = 0;
    for (const auto& [files, done] : HotStates(8)) {
        for (auto other : {final_file, EmptyDatabase()}) {
            other[journal] = files.at(journal);
            test::WriteFolder(folder.Path(), other);
            const std::string error = ErrorOf([&] { Opened opened(path); });
            // A journal of which nothing had been changed yet is harmless and goes.
            refused += error.empty() ? 0 : 1;
            EXPECT_TRUE(other[name] == test::ReadFolder(folder.Path())[name]) << error;
        }
    }
    EXPECT_GT(refused, 0);
}

// ---- Two writers

TEST(AccessCrash, TwoProcessesWriteOneFile) {
    const test::TempDir folder;
    const std::string path = folder / kFile;
    CreateDatabaseFile(path);
    {
        Opened opened(path);
        opened.Create("t",
                      {Column("id", "COUNTER"), Column("who", "LONG"), Column("n", "LONG")},
                      {PrimaryKey()});
    }
    const int seconds = FromEnvironment("VANTRY_TWO_WRITERS_SECONDS", 3);
    constexpr int kWriters = 3;
    std::vector<pid_t> children;
    std::vector<int> pipes;
    for (int who = 0; who < kWriters; ++who) {
        int ends[2];
        ASSERT_EQ(0, ::pipe(ends));
        children.push_back(::fork());
        if (children.back() == 0) {
            int rows = 0;
            try {
                const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
                auto opened = std::make_unique<Opened>(path);
                while (std::chrono::steady_clock::now() < end) {
                    const auto table = opened->Table("t");
                    const std::vector<Cell> row{Cell(), Cell::Int64(who), Cell::Int64(rows)};
                    if (rows % 3 == 0) {
                        opened->database->InsertRow(*table, row);
                    } else {
                        opened->Statement([&] { table->Insert(row); });
                    }
                    ++rows;
                    if (rows % 20 == 0) {
                        opened = std::make_unique<Opened>(path);
                    }
                }
                opened->file->store->Settle();
            } catch (const std::exception& error) {
                std::fprintf(stderr, "writer %d: %s\n", who, error.what());
                ::_exit(1);
            }
            static_cast<void>(!::write(ends[1], &rows, sizeof rows));
            ::_exit(0);
        }
        ::close(ends[1]);
        pipes.push_back(ends[0]);
    }
    int expected = 0;
    for (int who = 0; who < kWriters; ++who) {
        int rows = 0;
        EXPECT_EQ(static_cast<ssize_t>(sizeof rows),
                  ::read(pipes[static_cast<std::size_t>(who)], &rows, sizeof rows));
        ::close(pipes[static_cast<std::size_t>(who)]);
        EXPECT_GT(rows, 0) << "a writer was shut out";
        expected += rows;
        int status = 0;
        ::waitpid(children[static_cast<std::size_t>(who)], &status, 0);
    }
    EXPECT_EQ("", Faults(path));
    EXPECT_EQ(static_cast<std::size_t>(expected), Content(path, "t").size());
}

TEST(AccessCrash, WaitingForAWriterEndsWithTheNameOfWhoHoldsTheFile) {
    const test::TempDir folder;
    const std::string path = folder / kFile;
    CreateDatabaseFile(path);
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    const pid_t child = ::fork();
    if (child == 0) {
        Opened opened(path);
        opened.database->BeginStatement();
        const char mark = 1;
        static_cast<void>(!::write(ends[1], &mark, 1));
        ::pause();
    }
    char mark = 0;
    ASSERT_EQ(1, ::read(ends[0], &mark, 1));
    Opened opened(path);
    EXPECT_FALSE(opened.database->Tables().size() == 99);  // reading goes on
    file::SetLockTimeout(std::chrono::milliseconds(100));
    const std::string error = ErrorOf([&] { opened.Statement([] {}); });
    file::SetLockTimeout(std::chrono::milliseconds(5000));
    EXPECT_TRUE(Has(error, "(process " + std::to_string(child) + ")"));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ("", ErrorOf([&] { opened.Statement([] {}); }));
}

}  // namespace
}  // namespace vantry::access
