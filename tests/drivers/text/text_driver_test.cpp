// The driver as its callers use it: connection strings and SQL.

#include "drivers/text/driver.h"
#include "drivers/text/text_folder.h"

#include <gtest/gtest.h>

namespace vantry::text {
namespace {

using test::ShowRow;
using Lines = std::vector<std::string>;

class TextDriverTest : public testing::Test {
protected:
    std::unique_ptr<DriverConnection> Connect(
        const std::string& properties = "text;FMT=Delimited") {
        return driver_->Connect(ConnectionString::Parse(
            "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder_.Path().string() +
            ";Extended Properties=\"" + properties + "\";\""));
    }
    Lines Select(const std::string& sql) {
        const auto connection = Connect();
        const auto cursor = connection->OpenCursor(sql);
        Lines rows;
        while (cursor->Next()) {
            rows.push_back(ShowRow(cursor->Row()));
        }
        return rows;
    }
    DataError ErrorOf(const std::string& sql, bool rows) {
        try {
            const auto connection = Connect();
            if (rows) {
                const auto cursor = connection->OpenCursor(sql);
                while (cursor->Next()) {
                }
            } else {
                connection->Execute(sql);
            }
        } catch (const DataError& error) {
            return error;
        }
        return {0, "no error"};
    }

    vantry::test::TempDir folder_;
    std::unique_ptr<Driver> driver_ = MakeTextDriver();
};

TEST_F(TextDriverTest, AllNamesOfAFileAreTheSameTable) {
    folder_.Write("Orders.csv", "id,Unit.Price\n1,2.5\n2,\n");
    for (const char* const name :
         {"[orders.csv]", "[Orders#csv]", "`orders.csv`", "[ORDERS.CSV]", "orders#csv"}) {
        EXPECT_EQ(Select("SELECT [unit#price], id FROM " + std::string(name)),
                  (Lines{"2.5|1", "<null>|2"}))
            << name;
    }
    EXPECT_EQ(Select("Select count(*)  FROM [Orders.csv]"), Lines{"2"});
    EXPECT_EQ(Select("SELECT * FROM [orders.csv] WHERE 1=2"), Lines{});
}

TEST_F(TextDriverTest, ConditionsCompareTextWithoutCase) {
    folder_.Write("a.csv", "n,t,d\n1,Ann,2024-01-31\n2,bo,2024-02-01\n3,,\n");
    EXPECT_EQ(Select("SELECT n FROM [a.csv] WHERE t = 'ANN'"), Lines{"1"});
    EXPECT_EQ(Select("SELECT n FROM [a.csv] WHERE d > #1/31/2024#"), Lines{"2"});
    EXPECT_EQ(Select("SELECT n FROM [a.csv] WHERE t Is Null ORDER BY n DESC"), Lines{"3"});
    EXPECT_EQ(Select("SELECT t FROM [a.csv] ORDER BY n DESC"), (Lines{"<null>", "'bo'", "'Ann'"}));
}

TEST_F(TextDriverTest, MisfitOfTheGuessStopsOnlyItsOwnField) {
    folder_.Write("Schema.ini", "[a.csv]\nMaxScanRows=1\n");
    folder_.Write("a.csv", "n,t\n1,a\nx,b\n3,c\n");
    const auto connection = Connect();
    const auto cursor = connection->OpenCursor("SELECT n, t FROM [a.csv]");
    ASSERT_TRUE(cursor->Next());
    ASSERT_TRUE(cursor->Next());
    EXPECT_EQ(ShowRow(cursor->Row()), "!!!|'b'");
    EXPECT_NE(cursor->FieldError(0).Description().find("a.csv', line 3, column 'n': the value 'x'"),
              std::string::npos)
        << cursor->FieldError(0).Description();
    ASSERT_TRUE(cursor->Next());
    EXPECT_EQ(ShowRow(cursor->Row()), "3|'c'");
}

TEST_F(TextDriverTest, ErrorsHaveTheNumbersThatCallersKnow) {
    folder_.Write("a.csv", "n,t\n1,a\n");
    struct Case {
        std::string sql;
        bool rows;
        int number;
        std::string words;
    };
    const Case cases[] = {
        {"SELECT * FROM [missing.csv]",
         true,
         kErrNoSuchTable,
         "could not find the object '" + (folder_.Path() / "missing.csv").string() + "'."},
        {"INSERT INTO [missing.csv] (n) VALUES (1)", false, kErrNoSuchTable, "missing.csv'."},
        {"SELECT nope FROM [a.csv]", true, kErrMissingParameter, "required parameters"},
        {"SELECT * FROM", true, kErrSyntax, "yntax error"},
        {"DELETE FROM [a.csv]", false, kErrUnspecified, "Deleting data in a linked table"},
        {"UPDATE [a.csv] SET n = 2", false, kErrUnspecified, "Updating data in a linked table"},
        {"DROP TABLE [b.csv]", false, kErrNoSuchTable, "b.csv"},
        {"CREATE TABLE [a.csv] (n Long)", false, kErrSyntax, "already exists"},
        {"INSERT INTO [a.csv] (n) VALUES (3000000000)", false, kErrConversion, "column 'n'"},
    };
    for (const Case& test : cases) {
        const DataError error = ErrorOf(test.sql, test.rows);
        EXPECT_EQ(error.Number(), test.number) << test.sql << ": " << error.Description();
        EXPECT_NE(error.Description().find(test.words), std::string::npos) << error.Description();
    }
    EXPECT_EQ(folder_.Read("a.csv"), "n,t\n1,a\n");
    EXPECT_THROW(driver_->Connect(ConnectionString::Parse(
                     "Provider=Microsoft.Jet.OLEDB.4.0;Extended Properties=\"text\"")),
                 DataError);
}

TEST_F(TextDriverTest, RowsAreInsertedByStatementsAndAppenders) {
    const auto connection = Connect();
    connection->Execute("CREATE TABLE [new.csv] (id Long, name Text(20), born DateTime)");
    connection->Execute("INSERT INTO [new.csv] (id, name) VALUES (1, 'it''s')");
    connection->Execute(
        "INSERT INTO [new.csv] SELECT id+1 AS id, name, #1/31/2024# AS born FROM [new.csv]");
    const auto appender = connection->OpenAppender("SELECT name, id FROM [new.csv]");
    const Cell row[] = {Cell::Text("x\ny"), Cell::Int64(3)};
    appender->Append(row);
    EXPECT_EQ(Select("SELECT * FROM [new.csv]"),
              (Lines{"1|'it's'|<null>", "2|'it's'|#2024-01-31 00:00:00#", "3|'x\ny'|<null>"}));
    connection->Execute("DROP TABLE [new.csv]");
    EXPECT_EQ(connection->Tables().size(), 0U);
}

}  // namespace
}  // namespace vantry::text
