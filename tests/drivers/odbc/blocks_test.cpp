// Rows that travel together, against the same rows one by one, through each real driver of the
// table in block_rules.cpp: the same outcomes in the same words, and the same rows in the table.

#include "drivers/odbc/block_rules.h"
#include "drivers/odbc/odbc_fixture.h"
#include "support/private_postgres.h"
#include "support/tcp_relay.h"
#include "support/tds_server.h"

#include <chrono>
#include <optional>
#include <random>
#include <thread>

namespace vantry::test {
namespace {

using Row = std::vector<Value>;

std::vector<Cell> CellsOf(const Row& row) {
    std::vector<Cell> cells;
    for (const auto& value : row) {
        cells.push_back(value.AsCell());
    }
    return cells;
}

const std::vector<ParameterInfo> kParameters = {
    {adInteger, 4}, {adVarWChar, 20}, {adNumeric, 19, 38, 1}, {adDBTimeStamp, 16}, {adDouble, 8}};

// Rows of which some are refused: keys that are there, or come twice, or are missing, and texts
// that are too long. Values change their shapes from row to row.
class Rows {
public:
    explicit Rows(unsigned seed) : random_(seed) {}

    Row Next(int id) {
        const int key = Chance(12) ? std::max(1, id - Below(60)) : id;
        std::string text = "Ä" + std::to_string(id);
        if (Chance(15)) {
            text = LongText(Chance(2) ? 100 : 30'000);
        }
        const auto scale = static_cast<std::uint8_t>(Below(5));
        return {Value(Chance(25) ? Cell::Null() : Cell::Int64(key)),
                Value(Chance(5) ? Cell::Null() : Cell::Text(text)),
                Value(Chance(5) ? Cell::Null()
                                : Cell::FromDecimal({Int128{id} * 1234567 - 500'000, scale})),
                Value(Chance(5) ? Cell::Null()
                                : Cell::FromDateTime({Chance(10) ? -200'000 : 36'526 + id,
                                                      Below(3) * 1'234'000'000})),
                Value(Chance(5) ? Cell::Null() : Cell::Double(id / 8.0))};
    }
    int Below(int most) { return std::uniform_int_distribution<int>(0, most - 1)(random_); }
    bool Chance(int one_in) { return Below(one_in) == 0; }

private:
    std::mt19937 random_;
};

std::string WithoutName(std::string text, const std::string& table) {
    for (auto at = text.find(table); at != std::string::npos; at = text.find(table)) {
        text.replace(at, table.size(), "#");
    }
    return text;
}

std::string ShownOutcome(const std::optional<DataError>& outcome, const std::string& table) {
    return outcome ? std::to_string(outcome->Number()) + " " +
                         WithoutName(outcome->Description(), table) +
                         (outcome->ArrivedRows() ? "" : " unknown")
                   : "stored";
}

class BlocksTest : public testing::Test {
protected:
    void SetUp() override {
        Registry().Register({PrivateOdbc::Driver("FreeTDS", kFreeTdsLibrary),
                             PrivateOdbc::Driver("SQLite3", kSqliteLibrary),
                             PrivateOdbc::Driver("MariaDB Unicode", kMariaDbLibrary),
                             PrivateOdbc::Driver("PostgreSQL Unicode", kPostgreSqlLibrary)});
    }

    static std::unique_ptr<Statement> Insert(DriverConnection& connection,
                                             const std::string& table) {
        return connection.Prepare("INSERT INTO " + table + " (id,t,n,d,f) VALUES (?,?,?,?,?)",
                                  kParameters);
    }

    // `types` are those of a moment and of a floating number.
    void CompareWithSingleRows(const std::string& text,
                               const std::pair<std::string, std::string>& types,
                               int rows) {
        const auto connection = Connect(text);
        for (const char* table : {"together", "single"}) {
            connection->Execute(
                "create table " + std::string(table) +
                " (id int not null primary key, t varchar(20), n decimal(30,4), d " + types.first +
                ", f " + types.second + ")");
        }
        const auto together = Insert(*connection, "together");
        const auto single = Insert(*connection, "single");
        ASSERT_EQ(together->MostKept(), 50U);
        Rows source(7);
        RowOutcomes outcomes;
        std::vector<std::string> expected;
        std::vector<std::string> found;
        const auto send = [&] {
            together->SendKept(outcomes);
            for (const auto& outcome : outcomes) {
                found.push_back(ShownOutcome(outcome, "together"));
            }
        };
        const auto execute = [](Statement& statement,
                                const std::vector<Cell>& cells,
                                const std::string& table) {
            const auto error = ErrorOf([&] { statement.Execute(cells); });
            return ShownOutcome(error.Number() == 0 ? std::nullopt : std::optional(error), table);
        };
        for (int id = 1; id <= rows; ++id) {
            const auto row = source.Next(id);
            const auto cells = CellsOf(row);
            expected.push_back(execute(*single, cells, "single"));
            auto keeping = together->Keep(cells);
            if (keeping == Statement::Keeping::Full) {
                send();
                keeping = together->Keep(cells);
                ASSERT_NE(keeping, Statement::Keeping::Full);
            }
            if (keeping == Statement::Keeping::Alone) {
                send();
                found.push_back(execute(*together, cells, "together"));
            }
            if (source.Chance(40)) {
                send();
            }
        }
        send();
        ASSERT_EQ(found.size(), expected.size());
        int refused = 0;
        for (std::size_t k = 0; k < found.size(); ++k) {
            ASSERT_EQ(found[k], expected[k]) << "row " << k + 1;
            refused += expected[k] == "stored" ? 0 : 1;
        }
        EXPECT_GT(refused, rows / 20);
        const auto stored = [&](const std::string& table) {
            std::string all;
            for (const auto& row :
                 Query(*connection, "select id,t,n,d,f from " + table + " order by id")) {
                all += Shown(row) + "\n";
            }
            return all;
        };
        EXPECT_TRUE(stored("together") == stored("single"));
    }
};

TEST_F(BlocksTest, SqlServersRowsAreJudgedAsSingleOnes) {
    if (const auto missing = PrivateOdbc::Missing(kFreeTdsLibrary, "tdsodbc"); !missing.empty()) {
        GTEST_SKIP() << missing;
    }
    TdsServer server;
    CompareWithSingleRows(server.ConnectionText(), {"datetime2(3)", "float"}, 2000);
    // Fewer round trips than rows, and one for a block in which all is well.
    const auto connection = Connect(server.ConnectionText());
    connection->Execute("delete from together");
    const auto insert = Insert(*connection, "together");
    const auto row = [](int id) {
        std::vector<Cell> cells(5, Cell::Null());
        cells[0] = Cell::Int64(id);
        return cells;
    };
    RowOutcomes outcomes;
    for (int block = 0; block < 3; ++block) {
        for (int k = 0; k < 50; ++k) {
            insert->Keep(row(block * 50 + k));
        }
        server.TakeCounts();
        insert->SendKept(outcomes);
        EXPECT_EQ(server.TakeCounts().requests, block == 0 ? 2 : 1);
    }
    // A connection that has ended behind the answer before: FreeTDS gives the first row the status
    // of a stored one, and the others an error that says nothing.
    TcpRelay relay(server.Port());
    auto text = server.ConnectionText();
    const auto own = std::to_string(server.Port());
    text.replace(text.find(own), own.size(), std::to_string(relay.Port()));
    const auto cut = Connect(text);
    const auto lost = Insert(*cut, "together");
    relay.Spoil([](auto&) { return false; });
    for (const int rows : {1, 4}) {
        for (int k = 0; k < rows; ++k) {
            lost->Keep(row(1000 + 10 * rows + k));
        }
        lost->SendKept(outcomes);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        for (const auto& outcome : outcomes) {
            EXPECT_EQ(outcome.has_value(), rows > 1);
            EXPECT_TRUE(!outcome || !outcome->ArrivedRows()) << outcome->Description();
        }
    }
    EXPECT_EQ(server.Rows("select count(*) from together where id>=1000"), "1\n");
    // The first row finds that there is no such table, and so do all.
    server.Run("drop table together");
    const auto gone = Insert(*connection, "together");
    for (int k = 0; k < 4; ++k) {
        gone->Keep(row(k));
    }
    gone->SendKept(outcomes);
    outcomes.emplace_back(ErrorOf([&] { gone->Execute(row(4)); }));
    ASSERT_EQ(outcomes.size(), 5U);
    for (const auto& outcome : outcomes) {
        ASSERT_TRUE(outcome.has_value());
        EXPECT_EQ(outcome->Number(), kErrNoSuchTable) << outcome->Description();
        EXPECT_EQ(outcome->ArrivedRows(), 0);
    }
}

TEST_F(BlocksTest, SqlitesRowsAreJudgedAsSingleOnes) {
    if (const auto missing = PrivateOdbc::Missing(kSqliteLibrary, "libsqliteodbc");
        !missing.empty()) {
        GTEST_SKIP() << missing;
    }
    const TempDir folder(MemoryFolder(), "vantry");
    CompareWithSingleRows(
        "DRIVER={SQLite3};Database=" + (folder / "a.db").string(), {"datetime", "double"}, 1000);
}

TEST_F(BlocksTest, PostgresRowsAreJudgedAsSingleOnesAndALostAnswerIsUnknown) {
    if (const auto missing = PrivateOdbc::Missing(kPostgreSqlLibrary, "odbc-postgresql") +
                             PrivatePostgres::Missing();
        !missing.empty()) {
        GTEST_SKIP() << missing;
    }
    const PrivatePostgres server;
    CompareWithSingleRows(server.ConnectionText(), {"timestamp", "double precision"}, 1500);
    // Of another type than its column's, a value is taken or refused as in a single row: the driver
    // gives it a type in the text of a block alone.
    const auto mixed = Connect(server.ConnectionText());
    for (const std::string column : {"int", "money", "json", "varchar(40)"}) {
        const std::pair<Cell, int> values[] = {{Cell::Double(1.5), adDouble},
                                               {Cell::FromDecimal({15, 1}), adNumeric},
                                               {Cell::FromDateTime({36'526, 0}), adDBTimeStamp}};
        for (const auto& each : values) {
            const Cell& value = each.first;
            const ParameterInfo info{each.second, 19, 38, 1};
            const auto prepared = [&] {
                return mixed->Prepare("INSERT INTO mixed (c) VALUES (?)", std::span(&info, 1));
            };
            mixed->Execute("create table mixed (c " + column + ")");
            const auto single = ErrorOf([&] { prepared()->Execute(std::span(&value, 1)); });
            const auto together = prepared();
            together->Keep(std::span(&value, 1));
            together->Keep(std::span(&value, 1));
            RowOutcomes both;
            together->SendKept(both);
            EXPECT_EQ(both.at(1) ? both[1]->Description() : "no error", single.Description());
            EXPECT_EQ(One(*mixed, "select count(*) from mixed"), both[1] ? "0" : "3");
            EXPECT_LE(One(*mixed, "select count(distinct c::text) from mixed"), "1");
            mixed->Execute("drop table mixed");
        }
    }
    // The driver cuts a block into several texts by a setting of its own: those before the refused
    // one must not stay.
    const auto in_parts = Connect(server.ConnectionText() + ";BatchSize=3");
    in_parts->Execute("create table parts (id int primary key deferrable initially deferred)");
    const auto insert = in_parts->Prepare("INSERT INTO parts (id) VALUES (?)",
                                          std::vector<ParameterInfo>{{adInteger, 4}});
    RowOutcomes outcomes;
    for (const int id : {1, 2, 3, 4, 5, 6, 7, 2, 9}) {
        insert->Keep(std::vector{Cell::Int64(id)});
    }
    insert->SendKept(outcomes);
    ASSERT_EQ(outcomes.size(), 9U);
    for (std::size_t k = 0; k < outcomes.size(); ++k) {
        EXPECT_EQ(outcomes[k].has_value(), k == 7) << k;
    }
    EXPECT_EQ(One(*in_parts, "select count(*) from parts"), "8");

    // The server's answer to the INSERTs or to the COMMIT is missing, or is that it ends the
    // connection, in states that drivers know or don't know for it. A pool between the two says
    // that its server is gone by an error like any other, and then ends the connection.
    const auto error = [](const std::string& severity, const std::string& state) {
        const auto end = std::string(1, '\0');
        const auto fields = "S" + severity + end + "C" + state + end + "Mthe end" + end + end;
        return "E" + std::string(3, '\0') + static_cast<char>(fields.size() + 4) + fields;
    };
    const auto ready = "Z" + std::string(3, '\0') + "\5I";
    const struct {
        std::string words;
        std::string answer;
        int rows;
        std::optional<std::int64_t> arrived;
        int stored;
    } cases[] = {{"COMMIT", "", 10, std::nullopt, 10},
                 {"COMMIT", error("FATAL", "57P01"), 10, std::nullopt, 10},
                 {"COMMIT", error("FATAL", "40001"), 10, std::nullopt, 10},
                 {"COMMIT", error("ERROR", "40001") + ready, 10, std::nullopt, 10},
                 {"INSERT", "", 10, 0, 0},
                 {"INSERT", error("FATAL", "57P01"), 10, 0, 0},
                 {"INSERT", error("FATAL", "57P02"), 1, std::nullopt, 1}};
    int id = 100;
    for (const auto& one : cases) {
        SCOPED_TRACE(one.words + one.answer);
        const auto before = One(*in_parts, "select count(*) from parts");
        TcpRelay relay(server.Port());
        const auto connection = Connect(server.ConnectionText(relay.Port()));
        const auto lost = connection->Prepare("INSERT INTO parts (id) VALUES (?)",
                                              std::vector<ParameterInfo>{{adInteger, 4}});
        for (int k = 0; k < one.rows; ++k) {
            lost->Keep(std::vector{Cell::Int64(++id)});
        }
        relay.Spoil([&](std::string& piece) {
            const bool found = piece.find(one.words) != std::string::npos;
            if (found) {
                piece = one.answer;
            }
            return !found;
        });
        lost->SendKept(outcomes);
        ASSERT_EQ(outcomes.size(), static_cast<std::size_t>(one.rows));
        for (const auto& outcome : outcomes) {
            ASSERT_TRUE(outcome.has_value());
            EXPECT_EQ(outcome->ArrivedRows(), one.arrived) << outcome->Description();
        }
        EXPECT_EQ(One(*in_parts, "select count(*) from parts"),
                  std::to_string(std::stoi(before) + one.stored));
    }
}

// Of a refused block MariaDB's driver says nothing, and a table without transactions keeps some of
// it.
TEST_F(BlocksTest, OthersRowsGoOneByOne) {
    EXPECT_EQ(odbc::BlocksOf("/usr/lib/odbc/libmaodbc.so"), odbc::Blocks::None);
    EXPECT_EQ(odbc::BlocksOf("libmsodbcsql-18.so"), odbc::Blocks::None);
}

}  // namespace
}  // namespace vantry::test
