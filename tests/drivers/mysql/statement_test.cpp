// Statements that give no rows: as text, prepared, and through the appender; their errors, and rows
// that a server doesn't take as they are.

#include "drivers/mysql/mysql_fixture.h"

#include <optional>
#include <thread>
#include <tuple>

namespace vantry::test {
namespace {

class MySqlStatementTest : public MySqlTest {};

TEST_F(MySqlStatementTest, TextsRunAsTheyStandOneStatementEach) {
    const auto connection = Connect();
    EXPECT_EQ(connection->Execute("Create Table `plain` (\r`id` INTEGER,\r`t` VARCHAR(20)\r)"), 0);
    EXPECT_EQ(connection->Execute("INSERT INTO `plain` ( `id`, `t`) VALUES (1,'a'),(2,'b');"), 2);
    EXPECT_EQ(connection->Execute("update plain set t='a'"), 2) << "Option=3: rows matched";
    EXPECT_NE(
        ErrorOf([&] { connection->Execute("delete from plain; delete from plain"); }).Number(), 0);
    EXPECT_EQ(ReadColumn(*connection, "select count(*) from plain;"),
              std::vector<std::string>{"N 2"});
    connection->Execute("select * from plain");
    connection->Execute("create procedure two() begin select id from plain; select 'x'; end");
    connection->Execute("call two()");
    EXPECT_EQ(ReadColumn(*connection, "call two()"), (std::vector<std::string>{"N 1", "N 2"}));
    EXPECT_EQ(connection->Execute("delete from plain"), 2);
    EXPECT_NE(ErrorOf([&] { connection->OpenCursor("delete from plain"); }).Number(), 0);
}

// Loaders double the quotes in a value and leave all else; a condition is in the server's dialect.
TEST_F(MySqlStatementTest, BackslashesAreDataInInsertsAndEscapesInConditions) {
    for (const char* mode : {"STRICT_TRANS_TABLES", "NO_BACKSLASH_ESCAPES", ""}) {
        SCOPED_TRACE(mode);
        const auto connection =
            ConnectBy(Server().ConnectionText() + ";INITSTMT=set sql_mode='" + mode + "'");
        connection->Execute("create or replace table paths (id int, p varchar(40));");
        connection->Execute(
            "INSERT INTO `paths` ( `id`, `p`) VALUES (1,'C:\\new\\'),(2,'a''\\''b');");
        EXPECT_EQ(ReadColumn(*connection, "select p from paths order by id"),
                  (std::vector<std::string>{"T C:\\new\\", "T a'\\'b"}));
        const bool escapes = std::string(mode) != "NO_BACKSLASH_ESCAPES";
        EXPECT_EQ(ReadColumn(*connection, "select 'x\\ty'"),
                  std::vector<std::string>{escapes ? "T x\ty" : "T x\\ty"});
        connection->Execute("INSERT INTO `paths` VALUES (3,'\\');");
        EXPECT_EQ(ReadColumn(*connection, "select p from paths where id=3"),
                  std::vector<std::string>{"T \\"});
    }
}

TEST_F(MySqlStatementTest, FailuresCarryTheServersWordsAndTheirNumber) {
    Server().Run(
        "create table strict (id int primary key, t varchar(3) not null, n tinyint, d date);"
        "insert into strict values (1, 'a', 1, null)");
    const std::tuple<const char*, int, const char*> cases[] = {
        {"select * from nosuch", kErrNoSuchTable, "Table 'shop.nosuch' doesn't exist"},
        {"select nosuch from strict", kErrMissingParameter, "Unknown column 'nosuch' in"},
        {"this is no statement", kErrSyntax, "You have an error in your SQL syntax"},
        {"insert into strict values (1, 'a', 1, null)",
         kErrConstraint,
         "Duplicate entry '1' for key 'PRIMARY'"},
        {"insert into strict values (2, null, 1, null)",
         kErrConstraint,
         "Column 't' cannot be null"},
        {"insert into strict values (2, 'abcd', 1, null)",
         kErrFieldTooSmall,
         "Data too long for column 't' at row 1"},
        {"insert into strict values (2, 'a', 200, null)",
         kErrConversion,
         "Out of range value for column 'n' at row 1"},
        {"insert into strict values (2, 'a', 1, '2006-02-30')",
         kErrConversion,
         "Incorrect date value: '2006-02-30'"},
        {"insert into strict (id) values (2)", kErrUnspecified, "Field 't' doesn't have a default"},
        {"load data local infile '/etc/hostname' into table strict",
         kErrUnspecified,
         "The used command is not allowed"},
    };
    const auto connection = Connect();
    for (const auto& [sql, number, words] : cases) {
        const auto error = ErrorOf([&, sql = sql] { connection->Execute(sql); });
        EXPECT_EQ(error.Number(), number) << sql;
        EXPECT_TRUE(error.Description().starts_with(words)) << error.Description();
        EXPECT_EQ(error.Source(), "MySQL");
    }
    EXPECT_EQ(Server().QueryOne("select count(*) from strict"), "1");
}

TEST_F(MySqlStatementTest, PreparedStatementsTakeTypedValues) {
    const auto connection = Connect();
    connection->Execute(
        "create table typed (id bigint unsigned, d double, s varchar(40), b varbinary(10), "
        "n decimal(38,4), t datetime(6), f bit(1))");
    const std::vector<ParameterInfo> types = {{adBigInt},
                                              {adDouble},
                                              {adVarWChar},
                                              {adVarBinary},
                                              {adNumeric},
                                              {adDBTimeStamp},
                                              {adBoolean}};
    const auto statement = connection->Prepare("INSERT INTO typed VALUES (?,?,?,?,?,?,?)", types);
    const std::string bytes("\0'\\\xff", 4);
    const std::string name = "O'Brien \\ \"x\" 😀";
    std::vector<Cell> row = {Cell::UInt64(UINT64_MAX),
                             Cell::Double(-0.1),
                             Cell::Text(name),
                             Cell::Bytes(std::as_bytes(std::span(bytes.data(), bytes.size()))),
                             Cell::NumberText("1234567890123456789012345678901234.5678"),
                             Cell::FromDateTime({38838, 52'215 * kNanosPerSecond + 123'456'000}),
                             Cell::Boolean(true)};
    EXPECT_EQ(statement->Execute(row), 1);
    row.assign(row.size(), Cell::Null());
    EXPECT_EQ(statement->Execute(row), 1);
    EXPECT_EQ(
        ReadColumn(*connection, "select concat_ws('|', id, d, s, hex(b), n, t, f+0) from typed"),
        (std::vector<std::string>{
            "T 18446744073709551615|-0.1|" + name +
                "|00275CFF|1234567890123456789012345678901234.5678|2006-05-01 "
                "14:30:15.123456|1",
            "T "}));
    row.pop_back();
    EXPECT_NE(ErrorOf([&] { statement->Execute(row); }).Number(), 0);
    EXPECT_NE(ErrorOf([&] { connection->Prepare("delete form typed", {}); }).Number(), 0);
    EXPECT_EQ(connection->Prepare("delete from typed", {})->Execute({}), 2);
}

TEST_F(MySqlStatementTest, LongValuesGoInWholeAndComeBackSo) {
    const auto connection = Connect();
    connection->Execute("create or replace table long_values (id int, b longblob, t longtext)");
    std::string bytes;
    for (std::uint32_t k = 0; bytes.size() < 20'000'000; ++k) {
        bytes += static_cast<char>((k * 2654435761U) >> 24);
    }
    std::string text;
    while (text.size() < 3'000'000) {
        text += "größe 😀 ";
    }
    const auto appender = connection->OpenAppender("Select id, b, t FROM long_values");
    const std::vector<Cell> row = {
        Cell::Int64(1),
        Cell::Bytes(std::as_bytes(std::span(bytes.data(), bytes.size()))),
        Cell::Text(text)};
    appender->Append(row);
    const std::vector<Cell> small = {Cell::Int64(2), Cell::Null(), Cell::Text("short")};
    appender->Append(small);
    for (const char* sql :
         {"select b, t from long_values", "select b, t, cast(1 as float) from long_values"}) {
        const auto cursor = connection->OpenCursor(sql);
        ASSERT_TRUE(cursor->Next());
        EXPECT_TRUE(cursor->Row()[0].AsText() == bytes);
        EXPECT_TRUE(cursor->Row()[1].AsText() == text);
        EXPECT_TRUE(cursor->Next());
        EXPECT_EQ(Show(cursor->Row()[1]), "T short");
        EXPECT_FALSE(cursor->Next());
    }
}

TEST_F(MySqlStatementTest, WhatIsTooLongForTheServerCostsItsStatementAndNotTheConnection) {
    Server().Run("create table long_rows (id int, t longtext, b longblob)");
    Server().Run("set global max_allowed_packet=1048576");
    const auto connection = Connect();
    const auto appender = connection->OpenAppender("Select id, t, b FROM long_rows");
    const std::string half(600'000, 'h');
    const std::string whole(3'000'000, 'w');
    const auto row = [](std::int64_t id, std::string_view text, std::string_view bytes) {
        return std::vector<Cell>{Cell::Int64(id),
                                 Cell::Text(text),
                                 Cell::Bytes(std::as_bytes(std::span(bytes.data(), bytes.size())))};
    };
    appender->Append(row(1, half, half));
    EXPECT_NE(ErrorOf([&] { appender->Append(row(2, whole, "")); }).Number(), 0);
    appender->Append(row(3, "", "x"));
    const auto insert = [&](int id, const std::string& text) {
        connection->Execute("insert into long_rows (id,t) values (" + std::to_string(id) + ",'" +
                            text + "')");
    };
    EXPECT_TRUE(Has(ErrorOf([&] { insert(4, whole); }).Description(), "max_allowed_packet"));
    insert(5, half);
    Server().Run("set global max_allowed_packet=67108864");
    EXPECT_EQ(ReadColumn(*Connect(), "select concat(id, ' ', length(t)) from long_rows"),
              (std::vector<std::string>{"T 1 600000", "T 3 0", "T 5 600000"}));
}

TEST_F(MySqlStatementTest, AppenderReadsNoRowAndBlamesTheRowThatFails) {
    Server().Run(
        "create table keyed (id int primary key, t varchar(5) default 'dflt', `a``b` int);"
        "insert into keyed values (1, 'one', null);"
        "create view seen_through as select id, t from keyed");
    const auto connection = Connect();
    Server().Run("set global log_output='TABLE', general_log=1");
    const auto appender = connection->OpenAppender("Select  `id`, `t`, `a``b` FROM `keyed` ");
    const auto row = [](std::int64_t id, const Cell& text) {
        return std::vector<Cell>{Cell::Int64(id), text, Cell::Int64(id)};
    };
    EXPECT_EQ(ErrorOf([&] { appender->Append(row(1, Cell::Text("dup"))); }).Number(),
              kErrConstraint);
    appender->Append(row(2, Cell::Text("two")));
    EXPECT_EQ(ErrorOf([&] { appender->Append(row(3, Cell::Text("too long"))); }).Number(),
              kErrFieldTooSmall);
    appender->Append(row(4, Cell()));
    appender->Append(row(5, Cell::Null()));
    const std::vector<Cell> only_key = {Cell::Int64(6), Cell(), Cell()};
    appender->Append(only_key);
    Server().Run("set global general_log=0");
    // Each of them once to prepare it and once a row; the empty text: nothing else.
    EXPECT_EQ(Server().QueryOne(
                  "select concat(sum(argument like 'INSERT INTO `shop`.`keyed` (`id`%') > 5, "
                  "ifnull(group_concat(if(argument like 'INSERT INTO `shop`.`keyed` (`id`%' or "
                  "argument like 'set session sql_mode%', null, argument)), '')) "
                  "from mysql.general_log where command_type in ('Query', 'Execute') and "
                  "user_host like 'vantry%'"),
              "1");
    const auto view = connection->OpenAppender("Select id FROM seen_through");
    const std::vector<Cell> through_view = {Cell::Int64(7)};
    view->Append(through_view);
    EXPECT_EQ(
        ReadColumn(*connection,
                   "select concat(id, ' ', ifnull(t, '-'), ' ', ifnull(`a``b`, '-')) from keyed"),
        (std::vector<std::string>{
            "T 1 one -", "T 2 two 2", "T 4 dflt 4", "T 5 - 5", "T 6 dflt -", "T 7 dflt -"}));
    for (const char* sql : {"Select id+1 FROM keyed",
                            "Select a.id, b.t FROM keyed a, keyed b, plain2 c",
                            "Select id FROM nosuch",
                            "delete from keyed"}) {
        EXPECT_NE(ErrorOf([&] { connection->OpenAppender(sql); }).Number(), 0) << sql;
    }
}

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
    const std::tuple<const char*, const char*, const char*> cases[] = {
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
            for (const auto& [column, good, bad] : cases) {
                SCOPED_TRACE(std::string(mode) + " " + engine + " " + column);
                Server().Run("create or replace table refused (v " + std::string(column) +
                             ") engine=" + engine);
                const std::string whole = "(" + std::string(good) + ")";
                const auto error = ErrorOf([&, bad = bad] {
                    Connect()->Execute("INSERT INTO `refused` ( `v`) VALUES " + whole + "," +
                                       whole + ",(" + bad + ")," + whole + ";");
                });
                EXPECT_NE(error.Number(), 0);
                const std::int64_t arrived = std::string(engine) == "InnoDB" ? 0 : 2;
                EXPECT_EQ(error.ArrivedRows(), std::optional<std::int64_t>(arrived))
                    << error.Description();
                EXPECT_EQ(Count("refused"), arrived);
                const auto one_row = ErrorOf([&, bad = bad] {
                    const std::vector<ParameterInfo> parameters;
                    Connect()
                        ->Prepare("insert into refused values (" + std::string(bad) + ")",
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
        "create or replace view seen_rows as select * from plain_rows;"
        "create or replace table cut_rows (p decimal(9,1), n varchar(3)) engine=MyISAM");
    std::string cut = "INSERT INTO `cut_rows` VALUES (1.25,'')";
    for (int k = 0; k < 69; ++k) {
        cut += ",(1.25,'')";
    }
    const std::tuple<const char*, std::string, std::optional<std::int64_t>> cases[] = {
        {"behind a remark", "INSERT INTO `cut_rows` VALUES (1.25,''),(2.25,''),(3,'long')", 2},
        {"behind more remarks than a server lists", cut + ",(3,'long')", std::nullopt},
        {"a key twice", "INSERT INTO `plain_rows` VALUES (1),(2),(2),(3)", 2},
        {"a key twice, taken back", "INSERT INTO `kept_rows` VALUES (1),(2),(2),(3)", 0},
        {"through a view", "INSERT INTO `seen_rows` VALUES (11),(12),(12)", std::nullopt},
        {"no statement", "INSERT INTO `plain_rows` VALUES (21),(22),)", 0},
        {"no table", "INSERT INTO `nosuch` VALUES (31)", 0},
        {"no column", "INSERT INTO `plain_rows` ( `nosuch`) VALUES (31)", 0},
    };
    for (const auto& [name, sql, arrived] : cases) {
        const auto error = ErrorOf([&, sql = sql] { Connect()->Execute(sql); });
        EXPECT_NE(error.Number(), 0) << name;
        EXPECT_EQ(error.ArrivedRows(), arrived) << name << ": " << error.Description();
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
