// The driver as its callers use it: connection strings and SQL.

#include "drivers/text/driver.h"
#include "drivers/text/text_folder.h"
#include "support/has.h"

#include <gtest/gtest.h>

#include <tuple>

namespace vantry::text {
namespace {

class TextDriverTest : public testing::Test {
protected:
    std::unique_ptr<DriverConnection> Connect() {
        return driver_->Connect(ConnectionString::Parse(
            "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder_.Path().string() +
            ";Extended Properties=\"text;FMT=Delimited\";\""));
    }
    DataError ErrorOf(const std::string& sql) {
        try {
            const auto connection = Connect();
            if (sql.starts_with("SELECT")) {
                connection->OpenCursor(sql)->Next();
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
