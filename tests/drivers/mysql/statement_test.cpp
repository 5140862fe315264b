// Statements that give no rows: as text, prepared, and through the appender; and their errors.

#include "drivers/mysql/mysql_fixture.h"

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
    struct Case {
        const char* sql;
        int number;
        const char* words;
    };
    const std::vector<Case> cases = {
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
    for (const auto& one : cases) {
        const auto error = ErrorOf([&] { connection->Execute(one.sql); });
        EXPECT_EQ(error.Number(), one.number) << one.sql;
        EXPECT_TRUE(error.Description().starts_with(one.words)) << error.Description();
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
    Server().ClearLog();
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
    for (const auto& text : Server().LoggedStatements()) {
        EXPECT_TRUE(text.starts_with("set session sql_mode") ||
                    text.starts_with("INSERT INTO `shop`.`keyed` (`id`"))
            << text;
    }
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

}  // namespace
}  // namespace vantry::test
