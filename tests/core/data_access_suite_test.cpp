// One body of cases over every driver: what the loaders and pages rely on, through the data-access
// objects alone.

#include "core/data_access.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "support/private_mariadb.h"
#include "support/private_odbc.h"
#include "support/tds_server.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace vantry::test {
namespace {

// A data source of its own kind, empty, and how its dialect spells what the suite needs.
struct Backend {
    virtual ~Backend() = default;
    std::string connection_string;
    std::string quote_open = "[";
    std::string quote_close = "]";
    struct {
        std::string integer;
        std::string text;
        std::string date;
    } types;
    std::function<std::string(const std::string&)> table_name = [](const std::string& name) {
        return name;
    };
    std::function<std::string(const std::string&)> catalog_name = [](const std::string& name) {
        return name;
    };
    bool can_delete = true;
    // A name with what names may have, and a text with what texts may have.
    std::string text_column = "full name";
    std::string text_sample = "O'Brien \"äöü\" \\ 😀";
};

struct BackendFactory {
    std::string name;
    std::function<std::string()> missing;  // what has to be installed; empty when all is there
    std::function<std::unique_ptr<Backend>()> make;
};

// With what the data source lies in: a folder or a server.
template <typename Place>
struct BackendIn : Backend {
    Place place;
};
using InFolder = BackendIn<TempDir>;
using Made = std::unique_ptr<Backend>;

Made MakeText() {
    auto made = std::make_unique<InFolder>();
    made->connection_string =
        "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + made->place.Path().string() +
        ";Extended Properties=\"text;FMT=Delimited\";\"";
    made->types = {"Long", "Text(60)", "DateTime"};
    made->table_name = [](const std::string& name) { return name + ".csv"; };
    made->catalog_name = [](const std::string& name) { return name + "#csv"; };
    made->can_delete = false;
    return made;
}

Made MakeMySql(const char* driver) {
    auto made = std::make_unique<BackendIn<PrivateMariaDb>>();
    made->connection_string = made->place.ConnectionText(driver);
    made->quote_open = made->quote_close = "`";
    made->types = {"INTEGER", "VARCHAR(60)", "DATETIME"};
    return made;
}

Made MakeSqlServer() {
    auto made = std::make_unique<BackendIn<TdsServer>>();
    made->connection_string = made->place.ConnectionText();
    made->types = {"int", "nvarchar(60)", "datetime"};
    return made;
}

Made MakeSqlite() {
    auto made = std::make_unique<InFolder>();
    made->connection_string =
        "DRIVER={SQLite3};Database=" + (made->place / "any.db").string() + ";SyncPragma=OFF";
    made->types = {"integer", "varchar(60)", "datetime"};
    return made;
}

Made MakeAccess(const char* file) {
    auto made = std::make_unique<InFolder>();
    made->connection_string =
        "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + (made->place / file).string();
    made->types = {"Long", "Text(60)", "DateTime"};
    Catalog().Create(made->connection_string);
    return made;
}

Made MakeFoxPro(bool container) {
    auto made = std::make_unique<InFolder>();
    const auto folder = made->place.Path();
    made->connection_string = "Driver={Microsoft Visual FoxPro Driver};SourceType=" +
                              std::string(container ? "DBC" : "DBF") +
                              ";SourceDb=" + (container ? folder / "any.dbc" : folder).string() +
                              ";Persist Security Info=False";
    made->types = {"Integer", "Character(60)", "DateTime"};
    made->text_column = container ? "the_full_name_of_a_person" : "FULL_NAME";
    made->text_sample = "O'Brien \"äöü\" \\ €";
    if (container) {
        Catalog().Create(made->connection_string);
    }
    return made;
}

std::string NothingMissing() {
    return {};
}

std::string MissingMariaDbOdbc() {
    auto missing = PrivateOdbc::Missing("libmaodbc.so", "odbc-mariadb");
    return missing.empty() ? PrivateMariaDb::Missing() : missing;
}

const BackendFactory kBackends[] = {
    {"Text", NothingMissing, MakeText},
    {"MySqlBuiltIn", PrivateMariaDb::Missing, [] { return MakeMySql("MySQL (built in)"); }},
    {"MariaDbOdbc", MissingMariaDbOdbc, [] { return MakeMySql("MariaDB Unicode"); }},
    {"SqliteOdbc",
     [] { return PrivateOdbc::Missing("libsqlite3odbc.so", "libsqliteodbc"); },
     MakeSqlite},
    {"SqlServer", [] { return PrivateOdbc::Missing("libtdsodbc.so", "tdsodbc"); }, MakeSqlServer},
    {"AccessMdb", NothingMissing, [] { return MakeAccess("any.mdb"); }},
    {"AccessAccdb", NothingMissing, [] { return MakeAccess("any.accdb"); }},
    {"FoxProFolder", NothingMissing, [] { return MakeFoxPro(false); }},
    {"FoxProContainer", NothingMissing, [] { return MakeFoxPro(true); }},
};

class DataAccessSuite : public testing::TestWithParam<BackendFactory> {
protected:
    void SetUp() override {
        if (const auto missing = GetParam().missing(); !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        backend_ = GetParam().make();
    }

    const std::string& ConnStr() const { return backend_->connection_string; }
    std::string Quoted(const std::string& name) const {
        return backend_->quote_open + name + backend_->quote_close;
    }

    void Execute(const std::string& sql) {
        Connection connection;
        connection.Open(ConnStr());
        connection.Execute(sql);
    }

    // A table `name` with a number, a text and a date, all three nullable; filled with rows 1 ..
    // count.
    std::string MakePeople(int count) {
        const auto& types = backend_->types;
        std::string table = Quoted(backend_->table_name("people"));
        Execute("Create Table " + table + " (\r" + Quoted("id") + " " + types.integer + ",\r" +
                Quoted(backend_->text_column) + " " + types.text + ",\r" + Quoted("born") + " " +
                types.date + "\r)");
        Command command = Insert(table);
        for (int id = 1; id <= count; ++id) {
            const std::string name = "Person " + std::to_string(id);
            command.Parameters[0].SetValue(Cell::Int64(id));
            command.Parameters[1].SetValue(Cell::Text(name));
            command.Parameters[2].SetValue(Cell::FromDateTime({36526 + id, 0}));
            command.Execute();
        }
        return table;
    }

    std::string Columns() const {
        return Quoted("id") + "," + Quoted(backend_->text_column) + "," + Quoted("born");
    }

    Command Insert(const std::string& table) const {
        Command command;
        command.ActiveConnection = ConnStr();
        command.CommandText = "INSERT INTO " + table + " (" + Columns() + ") VALUES (?,?,?)";
        for (const auto& [type, size] :
             {std::pair(adInteger, 4), {adVarWChar, 60}, {adDBTimeStamp, 16}}) {
            Parameter parameter;
            parameter.Direction = adParamInput;
            parameter.Type = type;
            parameter.Size = size;
            command.Parameters.Append(parameter);
        }
        return command;
    }
    std::string SelectFrom(const std::string& table) const {
        return "SELECT " + Columns() + " FROM " + table;
    }

    std::int64_t Count(const std::string& table) {
        Recordset rows;
        rows.Open("Select count(*)  FROM " + table, ConnStr(), adOpenForwardOnly, adLockReadOnly);
        return ToInt64(rows.Fields()[0].Value()).value_or(-1);
    }

    std::unique_ptr<Backend> backend_;
};

TEST_P(DataAccessSuite, RowsComeBackInOrderAndEndCleanly) {
    const auto table = MakePeople(3);
    Recordset rows;
    rows.Open(SelectFrom(table), ConnStr(), adOpenKeyset, adLockReadOnly);
    ASSERT_EQ(rows.Fields().Count(), 3);
    EXPECT_EQ(rows.Fields()[1].Name(), backend_->text_column);
    for (int id = 1; id <= 3; ++id) {
        ASSERT_FALSE(rows.Eof());
        EXPECT_EQ(ToInt64(rows.Fields()[0].Value()), id);
        EXPECT_EQ(ToText(rows.Fields()[1].Value()), "Person " + std::to_string(id));
        EXPECT_EQ(ToDateTime(rows.Fields()[2].Value()), (DateTime{36526 + id, 0}));
        rows.MoveNext();
    }
    EXPECT_TRUE(rows.Eof());
    EXPECT_THROW(rows.MoveNext(), DataError);
    EXPECT_THROW(rows.Fields()[0].Value(), DataError);
    EXPECT_THROW(rows.Fields()[3], DataError);
    rows.Close();
    EXPECT_THROW(rows.Eof(), DataError);
    rows.Open(SelectFrom(table), ConnStr());
    EXPECT_FALSE(rows.Eof());
    rows.Close();
    // A probe tells the columns alone.
    rows.Open("SELECT * FROM " + table + " WHERE 1=2", ConnStr(), adOpenForwardOnly);
    EXPECT_TRUE(rows.Eof());
    ASSERT_EQ(rows.Fields().Count(), 3);
    EXPECT_TRUE(IsTextType(rows.Fields()[1].Type())) << rows.Fields()[1].Type();
    EXPECT_TRUE(IsDateType(rows.Fields()[2].Type())) << rows.Fields()[2].Type();
}

TEST_P(DataAccessSuite, RecordCountIsExactOnStaticCursorsOnly) {
    const auto table = MakePeople(4);
    Connection connection;
    connection.CursorLocation = adUseClient;
    connection.Open(ConnStr());
    Recordset rows;
    rows.Open(SelectFrom(table), connection, adOpenStatic, adLockOptimistic);
    EXPECT_EQ(rows.RecordCount(), 4);
    rows.MoveNext();
    rows.MoveFirst();
    EXPECT_EQ(ToInt64(rows.Fields()[0].Value()), 1);
    Recordset forward;
    forward.Open(SelectFrom(table), connection, adOpenForwardOnly, adLockReadOnly);
    EXPECT_EQ(forward.RecordCount(), -1);
    if (backend_->can_delete) {
        connection.Execute("delete from " + table);
        rows.Requery();
        EXPECT_EQ(rows.RecordCount(), 0);
        EXPECT_TRUE(rows.Eof());
    }
}

TEST_P(DataAccessSuite, TwoRecordsetsAndAStatementWorkSideBySide) {
    const auto table = MakePeople(250);
    Connection connection;
    connection.Open(ConnStr());
    Recordset outer;
    outer.Open(SelectFrom(table), connection, adOpenForwardOnly, adLockReadOnly);
    Recordset inner;
    inner.Open(SelectFrom(table), ConnStr(), adOpenForwardOnly, adLockReadOnly);
    int seen = 0;
    for (; !outer.Eof(); outer.MoveNext()) {
        EXPECT_EQ(ToInt64(outer.Fields()[0].Value()), ToInt64(inner.Fields()[0].Value()));
        inner.MoveNext();
        ++seen;
    }
    EXPECT_EQ(seen, 250);
    EXPECT_TRUE(inner.Eof());
}

TEST_P(DataAccessSuite, AddNewStoresWhatWasSetAndNullStaysNull) {
    const auto table = MakePeople(0);
    Connection connection;
    connection.Open(ConnStr());
    Recordset target;
    target.Open(SelectFrom(table), connection, adOpenDynamic, adLockOptimistic);
    target.AddNew();
    target.Fields()[0].SetValue(Cell::Int64(7));
    target.Fields()[1].SetValue(Cell::Text(backend_->text_sample));
    target.Fields()[2].SetValue(Cell::Null());
    target.Update();

    target.AddNew();
    target.Fields()[0].SetValue(Cell::Int64(8));
    EXPECT_THROW(target.Update(), DataError) << "two fields were never set";
    target.CancelUpdate();
    EXPECT_THROW(target.Update(), DataError) << "nothing is being added";
    target.Close();

    Recordset rows;
    rows.Open(SelectFrom(table), ConnStr(), adOpenForwardOnly, adLockReadOnly);
    ASSERT_FALSE(rows.Eof());
    EXPECT_EQ(ToText(rows.Fields()[1].Value()), backend_->text_sample);
    EXPECT_TRUE(rows.Fields()[2].Value().IsNull());
    rows.MoveNext();
    EXPECT_TRUE(rows.Eof());
}

TEST_P(DataAccessSuite, CommandUsesItsValuesUpAndTakesNullsAndNewTexts) {
    const auto table = MakePeople(0);
    Command command = Insert(table);
    command.CommandType = adCmdText;
    command.Parameters[0].SetValue(Cell::Int64(-2147483648LL));
    command.Parameters[1].SetValue(Cell::Text(""));
    command.Parameters[2].SetValue(Cell::Null());
    command.Execute();
    try {
        command.Execute();
        ADD_FAILURE() << "an Execute without new values must fail";
    } catch (const DataError& error) {
        EXPECT_EQ(error.Number(), kErrMissingParameter);
    }
    EXPECT_EQ(Count(table), 1);

    Command literal;
    literal.ActiveConnection = ConnStr();
    for (const char* id : {"1", "2"}) {
        literal.CommandText =
            "INSERT INTO " + table + " (" + Quoted("id") + ") VALUES (" + id + ")";
        literal.Execute();
    }
    EXPECT_EQ(Count(table), 3);
}

TEST_P(DataAccessSuite, FailuresRaiseAtTheirStatementAndLeaveTheConnectionUsable) {
    const auto table = MakePeople(2);
    Connection connection;
    connection.Open(ConnStr());
    EXPECT_THROW(connection.Execute("delete from " + Quoted(backend_->table_name("nosuch"))),
                 DataError);
    EXPECT_THROW(connection.Execute("this is no statement"), DataError);
    Recordset rows;
    try {
        rows.Open("SELECT * FROM " + Quoted(backend_->table_name("nosuch")), connection);
        ADD_FAILURE() << "the table isn't there";
    } catch (const DataError& error) {
        EXPECT_NE(error.Description().find("nosuch"), std::string::npos) << error.Description();
    }
    rows.Open(SelectFrom(table), connection);
    EXPECT_FALSE(rows.Eof());
    EXPECT_THROW(connection.Open(ConnStr()), DataError) << "it is open already";
    connection.Close();
    EXPECT_THROW(connection.Close(), DataError);
    EXPECT_THROW(connection.Execute("delete from " + table), DataError);
    connection.Open(ConnStr());
}

TEST_P(DataAccessSuite, WhereOrderAndCountWork) {
    const auto table = MakePeople(120);
    Recordset rows;
    rows.Open("SELECT " + Quoted("id") + " FROM " + table + " WHERE " + Quoted("id") +
                  " > 100 AND " + Quoted("id") + " <= 103 ORDER BY " + Quoted("id") + " DESC",
              ConnStr());
    std::vector<std::int64_t> ids;
    for (; !rows.Eof(); rows.MoveNext()) {
        ids.push_back(ToInt64(rows.Fields()[0].Value()).value_or(-1));
    }
    EXPECT_EQ(ids, (std::vector<std::int64_t>{103, 102, 101}));
    EXPECT_EQ(Count(table), 120);
}

TEST_P(DataAccessSuite, WhatCantBeAddedToIsReadThroughADynamicCursor) {
    const auto table = MakePeople(3);
    Connection connection;
    connection.Open(ConnStr());
    Recordset rows;
    rows.Open("select count(*) from " + table, connection, adOpenDynamic, adLockOptimistic);
    EXPECT_EQ(ToInt64(rows.Fields()[0].Value()), 3);
    EXPECT_THROW(rows.AddNew(), DataError);
    rows.Close();
    EXPECT_THROW(rows.Open("select a from " + Quoted(backend_->table_name("nosuch")),
                           connection,
                           adOpenDynamic,
                           adLockOptimistic),
                 DataError);
}

TEST_P(DataAccessSuite, CatalogListsTheTableUntilItIsDropped) {
    const auto table = MakePeople(1);
    Catalog catalog;
    EXPECT_THROW(catalog.Tables(), DataError);
    catalog.SetActiveConnection(ConnStr());
    std::set<std::string> tables;
    for (std::int32_t k = 0; k < catalog.Tables().Count(); ++k) {
        if (catalog.Tables()[k].Type == "TABLE") {
            tables.insert(catalog.Tables()[k].Name);
        }
    }
    EXPECT_TRUE(tables.contains(backend_->catalog_name("people")))
        << testing::PrintToString(tables);
    EXPECT_THROW(catalog.Tables()[catalog.Tables().Count()], DataError);
    Execute("drop table " + table);
    Recordset rows;
    EXPECT_THROW(rows.Open("SELECT * FROM " + table, ConnStr()), DataError);
}

INSTANTIATE_TEST_SUITE_P(Drivers,
                         DataAccessSuite,
                         testing::ValuesIn(kBackends),
                         [](const auto& backend) { return backend.param.name; });

}  // namespace
}  // namespace vantry::test
