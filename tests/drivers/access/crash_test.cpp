// What is left when the writing process is killed, the power fails or the disk refuses: each
// statement whole or not at all, and a file that the verifier finds nothing wrong with. Each loop
// is run once more with a fault planted in the file layer, and must then find something.

#include "drivers/access/writing_fixture.h"
#include "files/file_lock.h"
#include "support/child_process.h"
#include "support/crash_states.h"

#include <array>
#include <cstdlib>
#include <functional>
#include <optional>

namespace vantry::access {
namespace {

using test::Interruption;
using test::Planted;

const std::string kBulkTable = "bulk";
const std::string kFile = "crash.mdb";
const std::string kJournal = kFile + "-journal";

int FromEnvironment(const char* name, int usual) {
    const char* const value = std::getenv(name);
    return value != nullptr ? std::atoi(value) : usual;
}

// ---- The statements

const std::string kLonger(700, 'u');
constexpr std::size_t kNameAndMemo[] = {1, 3};

void InsertSome(Opened& opened, int first, int count) {
    opened.Change("main", [&](sql::StoredTable& table) {
        for (int row = first; row < first + count; ++row) {
            const std::string memo(static_cast<std::size_t>(row % 5 == 0 ? 9000 : row * 37 % 300),
                                   'm');
            const std::string name = "name " + std::to_string(row * 7919 % 1000);
            table.Insert(
                std::vector<Cell>{Cell(), Cell::Text(name), Cell::Int64(row), Cell::Text(memo)});
        }
    });
}
void UpdateAll(Opened& opened) {
    opened.Change("main", [](sql::StoredTable& table) {
        const Cell values[] = {Cell::Text("changed"), Cell::Text(kLonger)};
        for (const auto row : RowsOf(table)) {
            table.Update(row, kNameAndMemo, values);
        }
    });
}
void DeleteHalf(Opened& opened) {
    opened.Change("main", [](sql::StoredTable& table) {
        const auto rows = RowsOf(table);
        for (std::size_t row = 0; row < rows.size(); row += 2) {
            table.Delete(rows[row]);
        }
    });
}
// Several statements as one.
void ChangeTogether(Opened& opened) {
    opened.database->BeginTransaction();
    const auto table = opened.Table("main");
    for (int row = 50; row < 80; ++row) {
        opened.database->InsertRow(*table,
                                   std::vector<Cell>{Cell(),
                                                     Cell::Text("n" + std::to_string(row)),
                                                     Cell::Int64(row),
                                                     Cell::Text(kLonger)});
    }
    DeleteHalf(opened);
    opened.database->CommitTransaction();
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
        UpdateAll,
        ChangeTogether,
        [](Opened& opened) { opened.Create(kBulkTable, {Column("text", "TEXT", 255)}); },
        [](Opened& opened) { BulkLoad(opened, 0, 600); },
        [](Opened& opened) { opened.database->DropTable("main"); },
        [](Opened& opened) { BulkLoad(opened, 600, 600); },
        [](Opened& opened) { opened.database->CreateIndex(kBulkTable, Index("text", {"text"})); },
        [](Opened& opened) {
            opened.Change(kBulkTable, [](sql::StoredTable& table) { table.DeleteAll(); });
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
    const auto rows = rest[kBulkTable];
    Snapshot whole = snapshots[done + 1];
    const auto all = whole[kBulkTable];
    rest.erase(kBulkTable);
    whole.erase(kBulkTable);
    const auto before = snapshots[done].at(kBulkTable).size();
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
        std::string faults = Faults(path);
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

using test::Ended;
using test::Report;
using test::RunChild;

Ended RunKilledAt(int point,
                  std::size_t torn,
                  Planted planted,
                  const std::function<void(const Report&)>& work) {
    return RunChild([&](const Report& report) {
        test::KillAt plan(point, torn, planted);
        const test::InstalledPlan installed(plan);
        work(report);
    });
}

// A file that gets into trouble time and again, and what was wrong with it then.
struct Trials {
    explicit Trials(std::size_t most = SIZE_MAX) : enough(most) { Snapshots(); }
    void Put(const test::DiskRecord::Files& files) const {
        test::WriteFolder(folder.Path(), files);
    }
    void Judge(const std::string& trouble, std::size_t done) {
        Note(trouble + " after " + std::to_string(done) + " steps", WrongWith(path, done));
    }
    void Note(const std::string& trouble, const std::string& fault) {
        if (!fault.empty()) {
            wrong.push_back(trouble + ": " + fault);
        }
    }
    bool HasEnough() const { return wrong.size() >= enough; }

    const test::TempDir folder;
    const std::string path = folder / kFile;
    const std::size_t enough;
    std::vector<std::string> wrong;
};

// ---- Killed, or without power

test::RecordedRun Recorded(const test::TempDir& folder, Planted planted) {
    test::WriteFolder(folder.Path(), EmptyDatabase());
    return {
        folder.Path(), planted, [&](const Report& report) { RunScript(folder / kFile, report); }};
}

// So many states that an interruption can leave, or as many times more as the environment says;
// those that were wrong.
std::vector<std::string> InterruptedLoop(Interruption by,
                                         int states,
                                         Planted planted,
                                         std::size_t enough) {
    Trials trials(enough);
    auto run = Recorded(trials.folder, planted);
    std::mt19937 random(42);
    states *= FromEnvironment("VANTRY_CRASH_STATES", 1);
    for (int state = 0; state < states && !trials.HasEnough(); ++state) {
        const std::size_t steps = random() % (run.Operations() + 1);
        trials.Put(run.StateAt(steps, by));
        trials.Judge("state " + std::to_string(state) + ", interrupted at operation " +
                         std::to_string(steps),
                     run.DoneAt(steps));
    }
    return trials.wrong;
}

TEST(AccessCrash, KilledWriterLeavesWholeStatements) {
    EXPECT_EQ(std::vector<std::string>(),
              InterruptedLoop(Interruption::Kill, 1000, Planted::Nothing, 5));
    EXPECT_FALSE(InterruptedLoop(Interruption::Kill, 1000, Planted::JournalNotWritten, 1).empty());
}

TEST(AccessCrash, KilledCreationLeavesNoFileOrAWholeOne) {
    const Trials trials;
    bool killed = true;
    for (int point = 0; killed; point += 2) {
        trials.Put({});
        const auto create = [&](const Report&) { CreateDatabaseFile(trials.path); };
        killed = RunKilledAt(point, 512, Planted::Nothing, create).killed;
        if (std::filesystem::exists(trials.path)) {
            EXPECT_EQ("", Faults(trials.path)) << point;
        } else {
            CreateDatabaseFile(trials.path);  // what was left doesn't stand in the way
        }
    }
}

TEST(AccessCrash, PowerFailureLeavesWholeStatements) {
    EXPECT_EQ(std::vector<std::string>(),
              InterruptedLoop(Interruption::PowerFailure, 1500, Planted::Nothing, 5));
    EXPECT_FALSE(
        InterruptedLoop(Interruption::PowerFailure, 3000, Planted::JournalNotSynced, 1).empty());
}

// ---- Failing operations

// How many statements of the script are done when operations fail by the plan. One that failed must
// have left no trace, or all of it where the failure came after its end.
std::size_t DoneUnder(test::FailAt& plan, const std::string& path) {
    const test::InstalledPlan installed(plan);
    std::size_t done = 0;
    ErrorOf([&] { RunScript(path, [&] { ++done; }); });
    return done;
}

std::vector<std::string> FailLoop(int stride, Planted planted, std::size_t enough) {
    Trials trials(enough);
    for (const bool for_good : {false, true}) {
        bool triggered = true;
        for (int point = 3; triggered && !trials.HasEnough(); point += stride) {
            trials.Put(EmptyDatabase());
            test::FailAt plan(point, point % 2 == 0 ? ENOSPC : EIO, for_good, planted);
            const std::size_t done = DoneUnder(plan, trials.path);
            triggered = plan.Triggered();
            const auto trouble = "operation " + std::to_string(point) +
                                 (for_good ? " and all later failed" : " failed");
            file::SetLockTimeout(std::chrono::milliseconds(50));
            trials.Judge(trouble, done);
            // No lock is left: a writer gets in.
            trials.Note(trouble, ErrorOf([&] { Opened(trials.path).Statement([] {}); }));
            file::SetLockTimeout(std::chrono::milliseconds(5000));
        }
    }
    return trials.wrong;
}

TEST(AccessCrash, FailingOperationTakesItsStatementBack) {
    EXPECT_EQ(std::vector<std::string>(),
              FailLoop(FromEnvironment("VANTRY_FAIL_STRIDE", 31), Planted::Nothing, 5));
    EXPECT_FALSE(FailLoop(7, Planted::FailureIgnored, 1).empty());
}

// ---- Journals in trouble

// States of a killed writer with a journal whose pages have been changed already.
std::vector<std::pair<test::DiskRecord::Files, std::size_t>> HotStates(std::size_t wanted) {
    const test::TempDir folder;
    auto run = Recorded(folder, Planted::Nothing);
    std::vector<std::pair<test::DiskRecord::Files, std::size_t>> states;
    const std::size_t stride = std::max<std::size_t>(1, run.Operations() / (6 * wanted));
    for (std::size_t steps = 0; steps < run.Operations() && states.size() < wanted;
         steps += stride) {
        auto files = run.StateAt(steps, test::Interruption::Kill);
        if (files.contains(kJournal) && files[kJournal].size() > 5000) {
            states.emplace_back(std::move(files), run.DoneAt(steps));
        }
    }
    return states;
}

std::vector<std::string> KilledPlaybackLoop(Planted planted, std::size_t enough) {
    Trials trials(enough);
    for (const auto& [files, done] : HotStates(12)) {
        bool killed = true;
        for (int point = 0; killed && !trials.HasEnough(); point += 2) {
            trials.Put(files);
            const auto open = [&](const Report&) { Opened opened(trials.path); };
            killed = RunKilledAt(point, 1024, planted, open).killed;
            trials.Judge("playback killed at " + std::to_string(point), done);
        }
    }
    return trials.wrong;
}

TEST(AccessCrash, KilledPlaybackIsPlayedBackAgain) {
    EXPECT_EQ(std::vector<std::string>(), KilledPlaybackLoop(Planted::Nothing, 5));
    EXPECT_FALSE(KilledPlaybackLoop(Planted::PlaybackNotDone, 1).empty());
}

// Cut at any length, or with a byte changed: the statement is taken back, or the error says that it
// can't be; never half a statement without a word.
TEST(AccessCrash, DamagedJournalIsPlayedBackWhollyOrRefused) {
    Trials trials;
    int refused = 0;
    for (const auto& [files, done] : HotStates(5)) {
        const std::size_t size = files.at(kJournal).size();
        // A journal without a single image left says nothing of what was changed.
        constexpr std::size_t kHeaderAndImage = 512 + 64 + 4096;
        for (std::size_t at = 0; at < size; at += 1 + size / 25) {
            for (const bool cut : {true, false}) {
                if (cut && at < kHeaderAndImage) {
                    continue;
                }
                auto damaged = files;
                std::string& bytes = damaged[kJournal];
                cut ? bytes.resize(at) : static_cast<void>(bytes[at] ^= 0x40);
                trials.Put(damaged);
                const std::string error = ErrorOf([&] { Opened opened(trials.path); });
                if (!error.empty()) {
                    ++refused;
                    EXPECT_TRUE(Has(error, "-journal"));
                    EXPECT_TRUE(files.at(kFile) == trials.folder.Read(kFile));
                } else {
                    trials.Judge((cut ? "cut at " : "changed at ") + std::to_string(at), done);
                }
            }
        }
    }
    EXPECT_EQ(std::vector<std::string>(), trials.wrong);
    EXPECT_GT(refused, 0);
}

// ---- Two writers

TEST(AccessCrash, ThreeProcessesWriteOneFile) {
    const test::TempDir folder;
    const std::string path = folder / kFile;
    CreateDatabaseFile(path);
    Opened(path).Create(
        "t", {Column("id", "COUNTER"), Column("who", "LONG"), Column("n", "LONG")}, {PrimaryKey()});
    const int seconds = FromEnvironment("VANTRY_TWO_WRITERS_SECONDS", 3);
    const auto write = [&](int who, const Report& report) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        auto opened = std::make_unique<Opened>(path);
        for (int rows = 0; std::chrono::steady_clock::now() < end; ++rows) {
            const auto table = opened->Table("t");
            const std::vector<Cell> row{Cell(), Cell::Int64(who), Cell::Int64(rows)};
            if (rows % 3 == 0) {
                opened->database->InsertRow(*table, row);
            } else {
                opened->Statement([&] { table->Insert(row); });
            }
            report();
            if (rows % 20 == 19) {
                opened = std::make_unique<Opened>(path);
            }
        }
        opened->file->store->Settle();
    };
    std::array<Ended, 3> ended;
    // Each beside the one before, all from this thread: the child of a process with several threads
    // may find the allocator locked for ever.
    const std::function<void(std::size_t)> start_from = [&](std::size_t who) {
        ended.at(who) =
            RunChild([&](const Report& report) { write(static_cast<int>(who), report); },
                     [&](pid_t) {
                         if (who + 1 < ended.size()) {
                             start_from(who + 1);
                         }
                     });
    };
    start_from(0);
    std::size_t expected = 0;
    for (std::size_t who = 0; who < 3; ++who) {
        EXPECT_TRUE(ended[who].whole);
        EXPECT_GT(ended[who].steps, 0U) << "a writer was shut out";
        expected += ended[who].steps;
    }
    EXPECT_EQ("", Faults(path));
    EXPECT_EQ(expected, Content(path, "t").size());
}

TEST(AccessCrash, WaitingForAWriterEndsWithTheNameOfWhoHoldsTheFile) {
    const test::TempDir folder;
    const std::string path = folder / kFile;
    CreateDatabaseFile(path);
    Opened opened(path);
    const auto hold = [&] {
        static std::optional<Opened> holder;  // until the process is killed
        holder.emplace(path).database->BeginStatement();
    };
    test::WhileChildWaits(hold, [&](pid_t child) {
        EXPECT_FALSE(opened.database->Tables().size() == 99);  // reading goes on
        file::SetLockTimeout(std::chrono::milliseconds(100));
        EXPECT_TRUE(Has(ErrorOf([&] { opened.Statement([] {}); }),
                        "(process " + std::to_string(child) + ")"));
        file::SetLockTimeout(std::chrono::milliseconds(5000));
    });
    EXPECT_EQ("", ErrorOf([&] { opened.Statement([] {}); }));
}

}  // namespace
}  // namespace vantry::access
