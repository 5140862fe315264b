// Rows that a server doesn't take as they are, and what the error says of them.

#include "drivers/mysql/mysql_fixture.h"

#include <optional>
#include <thread>

namespace vantry::test {
namespace {

class MySqlRefusedRows : public MySqlTest {
protected:
    static std::int64_t Count(const std::string& table) {
        return std::stoll(Server().QueryOne("select count(*) from " + table));
    }
    void TearDown() override {
        if (PrivateMariaDb::Missing().empty()) {
            Server().Run("set global sql_mode=default");
        }
    }
};

// Whatever the server's own mode and the table's engine.
TEST_F(MySqlRefusedRows, NoValueIsChangedToFitItsColumn) {
    const struct {
        const char* column;
        const char* good;
        const char* bad;
    } cases[] = {
        {"int", "1", "99999999999"},
        {"varchar(5)", "'five'", "'sixsix'"},
        {"varchar(5) character set latin1", "'a'", "'\xF0\x9F\x98\x80'"},
        {"datetime", "'2006-05-01-14-30-15'", "'2006-15-01-00-00-00'"},
        {"int not null", "1", "NULL"},
        {"decimal(4,2)", "1.25", "1234.5"},
        {"enum('a','b')", "'a'", "'c'"},
    };
    for (const char* mode : {"''", "'STRICT_TRANS_TABLES'"}) {
        Server().Run("set global sql_mode=" + std::string(mode));
        for (const char* engine : {"InnoDB", "MyISAM", "Aria"}) {
            for (const auto& one : cases) {
                SCOPED_TRACE(std::string(mode) + " " + engine + " " + one.column);
                Server().Run("create or replace table refused (v " + std::string(one.column) +
                             ") engine=" + engine);
                const std::string good = "(" + std::string(one.good) + ")";
                const auto error = ErrorOf([&] {
                    Connect()->Execute("INSERT INTO `refused` ( `v`) VALUES " + good + "," + good +
                                       ",(" + one.bad + ")," + good + ";");
                });
                EXPECT_NE(error.Number(), 0);
                const std::int64_t arrived = std::string(engine) == "InnoDB" ? 0 : 2;
                EXPECT_EQ(error.ArrivedRows(), std::optional<std::int64_t>(arrived))
                    << error.Description();
                EXPECT_EQ(Count("refused"), arrived);
                const auto one_row = ErrorOf([&] {
                    const std::vector<ParameterInfo> parameters;
                    Connect()
                        ->Prepare("insert into refused values (" + std::string(one.bad) + ")",
                                  parameters)
                        ->Execute({});
                });
                EXPECT_NE(one_row.Number(), 0);
                EXPECT_EQ(Count("refused"), arrived);
            }
        }
    }
}

TEST_F(MySqlRefusedRows, AZeroStaysAZeroInACountingColumn) {
    Server().Run("create or replace table counted (id int auto_increment primary key, v int)");
    Connect()->Execute("INSERT INTO `counted` ( `id`, `v`) VALUES (0,1),(7,2),(NULL,3)");
    EXPECT_EQ(Server().QueryOne("select group_concat(id order by v) from counted"), "0,7,8");
}

// What the server itself only remarks is said once for each column, not for every batch: a column
// of fewer decimals would end the table otherwise.
TEST_F(MySqlRefusedRows, WhatIsLostAtAValuesEndIsSaidOnceForEachColumn) {
    Server().Run("create or replace table cut (price decimal(10,2), day date, name varchar(3))");
    const auto connection = Connect();
    const auto insert = [&](const std::string& row) {
        return ErrorOf([&] {
            connection->Execute("INSERT INTO `cut` ( `price`, `day`, `name`) VALUES (1,NULL,'')," +
                                row);
        });
    };
    const auto first = insert("(2.345,NULL,'')");
    EXPECT_TRUE(Has(first.Description(), "'price' at row 2"));
    EXPECT_EQ(first.ArrivedRows(), 2);
    EXPECT_EQ(insert("(3.456,NULL,'')").Number(), 0);
    EXPECT_TRUE(Has(insert("(3.456,'2006-05-01-14-30-15','')").Description(), "'day'"));
    EXPECT_TRUE(Has(insert("(3,NULL,'ab   ')").Description(), "'name'"));
    EXPECT_EQ(insert("(3,NULL,'abc')").Number(), 0);
    EXPECT_EQ(Count("cut"), 10);
    // A server that doesn't say what it remarks, likewise.
    connection->Execute("set session max_error_count=0");
    const auto unlisted = insert("(5.678,'2006-05-01-14-30-15','')");
    EXPECT_NE(unlisted.Description().find("max_error_count"), std::string::npos);
    EXPECT_EQ(unlisted.ArrivedRows(), 2);
    EXPECT_EQ(insert("(6.789,NULL,'')").Number(), 0);
}

TEST_F(MySqlRefusedRows, WhereTheServerCannotTellItIsSaidToBeUnknown) {
    Server().Run(
        "create or replace table plain_rows (id int primary key) engine=MyISAM;"
        "create or replace table kept_rows (id int primary key) engine=InnoDB;"
        "create or replace view seen_rows as select * from plain_rows");
    const struct {
        const char* name;
        const char* sql;
        std::optional<std::int64_t> arrived;
    } cases[] = {
        {"a key twice", "INSERT INTO `plain_rows` VALUES (1),(2),(2),(3)", 2},
        {"a key twice, taken back", "INSERT INTO `kept_rows` VALUES (1),(2),(2),(3)", 0},
        {"through a view", "INSERT INTO `seen_rows` VALUES (11),(12),(12)", std::nullopt},
        {"no statement", "INSERT INTO `plain_rows` VALUES (21),(22),)", 0},
        {"no table", "INSERT INTO `nosuch` VALUES (31)", 0},
        {"no column", "INSERT INTO `plain_rows` ( `nosuch`) VALUES (31)", 0},
    };
    for (const auto& one : cases) {
        const auto error = ErrorOf([&] { Connect()->Execute(one.sql); });
        EXPECT_NE(error.Number(), 0) << one.name;
        EXPECT_EQ(error.ArrivedRows(), one.arrived) << one.name << ": " << error.Description();
    }
    // A server that dies before it answers.
    const auto connection = Connect();
    connection->Execute("INSERT INTO `kept_rows` VALUES (41)");
    std::thread killer([] {
        while (Server().QueryOne("select count(*) from information_schema.processlist where info "
                                 "like 'INSERT INTO%sleep%'") == "0") {
        }
        Server().Kill();
    });
    const auto lost =
        ErrorOf([&] { connection->Execute("INSERT INTO `kept_rows` VALUES (42 + sleep(60))"); });
    killer.join();
    EXPECT_EQ(lost.ArrivedRows(), std::nullopt) << lost.Description();
    const auto after = ErrorOf([&] { connection->Execute("INSERT INTO `kept_rows` VALUES (43)"); });
    EXPECT_NE(after.Number(), 0);
    EXPECT_EQ(after.ArrivedRows(), 0) << after.Description();
    Server().Restart();
}

}  // namespace
}  // namespace vantry::test
