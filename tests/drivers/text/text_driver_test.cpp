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
    std::unique_ptr<DriverConnection> Connect() {
        return driver_->Connect(ConnectionString::Parse(
            "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder_.Path().string() +
            ";Extended Properties=\"text;FMT=Delimited\";\""));
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
    DataError ErrorOf(const std::string& sql) {
        try {
            sql.starts_with("SELECT") ? void(Select(sql)) : void(Connect()->Execute(sql));
        } catch (const DataError& error) {
            return error;
        }
        return {0, "no error"};
    }

    vantry::test::TempDir folder_;
    std::unique_ptr<Driver> driver_ = MakeTextDriver();
};

TEST_F(TextDriverTest, AFileIsATable) {
    folder_.Write("Orders.csv", "id,Unit.Price\n1,2.5\n2,\n");
    EXPECT_EQ(Select("SELECT [unit#price], id FROM `orders#csv`"), (Lines{"2.5|1", "<null>|2"}));
    EXPECT_EQ(Select("Select count(*)  FROM [Orders.csv]"), Lines{"2"});
    EXPECT_EQ(Select("SELECT id FROM [orders.csv] WHERE 'a' = 'A' AND id < 2"), Lines{"1"});
}

TEST_F(TextDriverTest, ErrorsHaveTheNumbersThatCallersKnow) {
    folder_.Write("a.csv", "n,t\n1,a\n");
    const std::tuple<std::string, int, std::string> cases[] = {
        {"SELECT * FROM [missing.csv]",
         kErrNoSuchTable,
         "could not find the object '" + (folder_.Path() / "missing.csv").string() + "'."},
        {"SELECT nope FROM [a.csv]", kErrMissingParameter, "required parameters"},
        {"DELETE FROM [a.csv]", kErrUnspecified, "Deleting data in a linked table"},
        {"DROP TABLE [b.csv]", kErrNoSuchTable, "b.csv"},
        {"CREATE TABLE [a.csv] (n Long)", kErrSyntax, "already exists"},
        {"INSERT INTO [a.csv] (n) VALUES (3000000000)", kErrConversion, "column 'n'"},
    };
    for (const auto& [sql, number, words] : cases) {
        const DataError error = ErrorOf(sql);
        EXPECT_EQ(error.Number(), number) << sql << ": " << error.Description();
        EXPECT_TRUE(vantry::test::Has(error.Description(), words));
    }
    EXPECT_EQ(folder_.Read("a.csv"), "n,t\n1,a\n");
    EXPECT_THROW(driver_->Connect(ConnectionString::Parse(
                     "Provider=Microsoft.Jet.OLEDB.4.0;Extended Properties=\"text\"")),
                 DataError);
}

}  // namespace
}  // namespace vantry::text
