// What a kill, a power failure, a failing disk or a second writer leaves: each statement whole or
// not at all, rows of a bulk load up to some row, and a table that the verifier finds nothing wrong
// with. The loop over states is run once more with a fault planted in the file layer, and must then
// find something.

#include "drivers/foxpro/reading.h"
#include "drivers/foxpro/verify/verify.h"
#include "support/crash_states.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace vantry::foxpro {
namespace {

using test::Interruption;
using test::Planted;

class CrashTest : public testing::Test {
protected:
    using Script = std::vector<std::function<void(DriverConnection&)>>;

    static void Load(DriverConnection& connection, int first, int count) {
        const auto insert = connection.Prepare("INSERT INTO t VALUES (?,?,?)", {});
        for (int id = first; id < first + count; ++id) {
            const std::string memo(static_cast<std::size_t>(id % 5 == 0 ? 9000 : id * 37 % 300),
                                   'm');
            insert->Execute(std::vector<Cell>{
                Cell::Int64(id), Cell::Text("name " + std::to_string(id)), Cell::Text(memo)});
        }
        connection.Settle();
    }

    static const Script& Statements() {
        const auto by_sql = [](const char* sql) {
            return [sql](DriverConnection& connection) { connection.Execute(sql); };
        };
        static const Script script = {
            by_sql("CREATE TABLE t (id I AUTOINC PRIMARY KEY, name C(30), note M)"),
            [](DriverConnection& connection) { Load(connection, 1, 150); },
            by_sql("CREATE INDEX i ON t (name)"),
            by_sql("UPDATE t SET note = 'new', name = 'changed' WHERE id > 20"),
            by_sql("INSERT INTO t SELECT id + 1000 AS id, name, note FROM t"),
            by_sql("DELETE FROM t WHERE id < 100"),
            by_sql("DELETE FROM t"),
            [](DriverConnection& connection) { Load(connection, 1, 40); },
        };
        return script;
    }
    static bool IsLoad(std::size_t step) { return step == 1 || step == 7; }

    Rows Look() const {
        if (!std::filesystem::exists(folder_ / "t.dbf")) {
            return {"no table"};
        }
        return RowsOf(*Connect(folder_.Path()), "SELECT * FROM t");
    }

    // Rows in order of which one is the beginning of the other.
    static bool IsBeginning(const Rows& part, const Rows& whole) {
        return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
    }

    // States that are none of those that may be.
    int CountBadStates(Interruption by, Planted planted) {
        test::WriteFolder(folder_.Path(), {});
        std::vector<Rows> states{Look()};
        test::RecordedRun run(folder_.Path(), planted, [&](const test::Report& done) {
            const auto connection = Connect(folder_.Path());
            for (const auto& statement : Statements()) {
                statement(*connection);
                states.push_back(RowsOf(*connection, "SELECT * FROM t"));
                done();
            }
        });
        return run.CountBad(by, by == Interruption::Kill ? 1 : 2, [&](std::size_t done) {
            return IsGood(states, done);
        });
    }

    // What table or index weren't cut off after the table was emptied belongs to nobody.
    Rows Findings() const {
        auto findings = Verify((folder_ / "t.dbf").string());
        std::erase_if(findings, [](const std::string& finding) {
            return finding.find("behind the end") != std::string::npos ||
                   finding.find("belong to nothing") != std::string::npos;
        });
        return findings;
    }

    bool IsGood(const std::vector<Rows>& states, std::size_t done) {
        try {
            const auto now = Look();
            const auto& before = states[done];
            const auto& after = states[std::min(done + 1, states.size() - 1)];
            const bool loading = done < states.size() - 1 && IsLoad(done);
            if (now != before && now != after &&
                !(loading && IsBeginning(before, now) && IsBeginning(now, after))) {
                return false;
            }
            if (now == Rows{"no table"}) {
                return true;
            }
            if (!Findings().empty()) {
                return false;
            }
            // It can be written again.
            const auto connection = Connect(folder_.Path());
            connection->Execute("INSERT INTO t (name, note) VALUES ('last', 'one')");
            return RowsOf(*connection, "SELECT * FROM t").size() == now.size() + 1;
        } catch (const DataError&) {
            return false;
        }
    }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
};

TEST_F(CrashTest, InterruptedStatementsAreThereWholeOrNotAtAll) {
    EXPECT_EQ(CountBadStates(Interruption::Kill, Planted::Nothing), 0);
    EXPECT_EQ(CountBadStates(Interruption::PowerFailure, Planted::Nothing), 0);
    EXPECT_GT(CountBadStates(Interruption::PowerFailure, Planted::JournalNotSynced), 0);
}

TEST_F(CrashTest, AFailingOperationLeavesTheTableAsItWas) {
    for (const std::string statement : {"UPDATE t SET note = 'other', name = 'other' WHERE id < 50",
                                        "INSERT INTO t SELECT id + 1000 AS id, name, note FROM t",
                                        "DELETE FROM t",
                                        "DROP TABLE t",
                                        "CREATE INDEX i ON t (name)",
                                        "CREATE TABLE u (id I PRIMARY KEY, m M)"}) {
        Rows before;
        const auto prepare = [&] {
            test::WriteFolder(folder_.Path(), {});
            const auto connection = Connect(folder_.Path());
            connection->Execute("CREATE TABLE t (id I PRIMARY KEY, name C(30), note M)");
            Load(*connection, 1, 60);
            before = RowsOf(*connection, "SELECT * FROM t");
        };
        const auto work = [&] { Connect(folder_.Path())->Execute(statement); };
        test::FailEachOperation(prepare, work, [&](int nth, const std::string& error) {
            SCOPED_TRACE(statement + " " + std::to_string(nth));
            if (!error.empty()) {
                // A dropped table is whole, its memos too, or gone.
                const auto now = Look();
                EXPECT_TRUE(now == before ||
                            (statement == "DROP TABLE t" && now == Rows{"no table"}));
            }
            if (std::filesystem::exists(folder_ / "t.dbf")) {
                EXPECT_EQ(Findings(), Rows());
            }
            EXPECT_EQ(std::filesystem::exists(folder_ / "u.dbf"),
                      error.empty() && statement.starts_with("CREATE TABLE"));
        });
    }
}

// A full disk takes back the rows of the open batch, says how many, and the rows before stay.
TEST_F(CrashTest, AFullDiskTellsTheRowsThatItTookBack) {
    const auto connection = Connect(folder_.Path());
    connection->Execute("CREATE TABLE t (id I, name C(30), note M)");
    Load(*connection, 1, 20);
    const auto before = Look();
    std::int64_t taken = 0;
    std::int64_t lost = 0;
    {
        test::FullDisk plan("t.", 1, 1'000'000);
        const test::InstalledPlan installed(plan);
        try {
            const auto insert = connection->Prepare("INSERT INTO t VALUES (1, 'x', ?)", {});
            for (int row = 0; row < 1000; ++row) {
                insert->Execute(std::vector<Cell>{Cell::Text(std::string(2000, 'y'))});
                ++taken;
            }
            connection->Settle();
        } catch (const DataError& error) {
            lost = error.LostRows();
            EXPECT_NE(error.Description().find("disk is full"), std::string::npos)
                << error.Description();
        }
    }
    EXPECT_EQ(taken, lost);
    EXPECT_TRUE(Look() == before);
    Load(*connection, 21, 20);
    EXPECT_EQ(Look().size(), 40U);
    EXPECT_EQ(Findings(), Rows());
}

// Two programs add, change and delete rows of one table with tags; one of them is killed and
// started again all the time. VANTRY_FOXPRO_WRITERS sets for how many seconds.
TEST_F(CrashTest, TwoWritersKeepOneTableWhole) {
    const char* const wanted = std::getenv("VANTRY_FOXPRO_WRITERS");
    const std::chrono::seconds duration(wanted != nullptr ? std::atoi(wanted) : 2);
    {
        const auto connection = Connect(folder_.Path());
        connection->Execute("CREATE TABLE t (who I, n I, note M, name C(30))");
        connection->Execute("CREATE INDEX n ON t (n)");
        connection->Execute("CREATE INDEX name ON t (name, who)");
    }
    const auto fate = [](int number) { return static_cast<unsigned>(number) * 2654435761U >> 28; };
    const auto write = [&](int who, std::chrono::milliseconds time) {
        const auto end = std::chrono::steady_clock::now() + time;
        const auto connection = Connect(folder_.Path());
        for (int number = 1; std::chrono::steady_clock::now() < end; ++number) {
            const auto n = std::to_string(number);
            connection->Execute("INSERT INTO t VALUES (" + std::to_string(who) + ", " + n +
                                ", 'note " + n + "', 'name " + n + "')");
            const auto former =
                " WHERE who = " + std::to_string(who) + " AND n = " + std::to_string(number - 1);
            if (fate(number) < 4) {
                connection->Execute("DELETE FROM t" + former);
            } else if (fate(number) < 8) {
                connection->Execute("UPDATE t SET note = 'changed', name = 'other'" + former);
            }
        }
    };
    int kills = 0;
    const auto kill_others = [&](pid_t) {
        for (; kills < 2 * duration.count(); ++kills) {
            test::RunChild([&](const test::Report&) { write(2, std::chrono::minutes(1)); },
                           [&](pid_t child) {
                               ::usleep(400'000);
                               ::kill(child, SIGKILL);
                           });
        }
    };
    EXPECT_TRUE(
        test::RunChild([&](const test::Report&) { write(1, duration); }, kill_others).whole);
    EXPECT_EQ(Findings(), Rows());
    const auto rows = RowsOf(*Connect(folder_.Path()), "SELECT n, name FROM t WHERE who = 1");
    ASSERT_FALSE(rows.empty());
    const int last = std::stoi(rows.back());
    Rows expected;
    for (int number = 1; number <= last; ++number) {
        const auto next = number == last ? 15 : fate(number + 1);
        if (next >= 4) {
            expected.push_back(std::to_string(number) + "\t" +
                               HexOf(next < 8 ? "other" : "name " + std::to_string(number)));
        }
    }
    // The row before the last may have gone with the last one's statement, or not.
    EXPECT_EQ(rows, expected);
    std::printf("rows of the writer that lived: %d, kills of the other: %d\n", last, kills);
}

}  // namespace
}  // namespace vantry::foxpro
