// A folder of text files as a database: by its tables, and by connection strings and SQL.

#include "drivers/text/driver.h"
#include "drivers/text/text_folder.h"
#include "support/fault_plans.h"
#include "support/has.h"
#include "text_format/file_names.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <tuple>

namespace vantry::text {
namespace {

using test::TextFolder;
using vantry::test::ErrorOf;
using vantry::test::Has;

using Lines = std::vector<std::string>;

TEST(TextDatabase, FindsFilesByAllNamesOfATable) {
    TextFolder folder;
    for (const char* name : {"Orders.CSV", "a.b.txt", "x#y.csv", "same.txt", "SAME.TXT"}) {
        folder.Write(name, "h\n1\n");
    }
    constexpr std::pair<std::string_view, std::string_view> kCases[] = {
        {"ORDERS#csv", "Orders.CSV"},
        {"a#b#txt", "a.b.txt"},
        {"x#y.csv", "x#y.csv"},
        {"x#y#csv", "x#y.csv"},
        {"same.txt", "same.txt"},
        {"Same.txt", "SAME.TXT"},
    };
    for (const auto& [name, file] : kCases) {
        EXPECT_EQ(folder.Open(name)->Name(), file) << name;
    }
    for (const std::string_view name : {"orders", "", ".", "..", "../orders.csv", "/etc/passwd"}) {
        EXPECT_EQ(folder.Database().OpenTable(name), nullptr) << name;
    }
    EXPECT_EQ(folder.Database().OpenTable(std::string_view("a\0b", 3)), nullptr);
    EXPECT_EQ(NewFileName("a.b#csv") + NewFileName("a#1.csv"), "a.b.csva#1.csv");
    // Folders whose names differ in letter case alone are not each other.
    for (const char* name : {"In", "IN", "iN"}) {
        std::filesystem::create_directories(folder.Dir() / name / "Sub");
    }
    for (const char* name : {"In", "IN", "iN"}) {
        const auto path = (folder.Dir() / name).string();
        EXPECT_EQ(FindFolder(path + "/sub"), path + "/Sub");
    }
}

TEST(TextDatabase, ListsTextFilesAndFilesWithASection) {
    TextFolder folder;
    for (const char* name : {"b.csv", "a.TXT", "c.tab", "d.asc", "e.dat", "f.dat", "noext"}) {
        folder.Write(name, "h\n");
    }
    folder.Schema("[F.DAT]\n[missing.csv]\n[noext]\n");
    std::filesystem::create_directory(folder.Dir() / "sub.csv");
    std::string names;
    for (const auto& entry : folder.Database().Tables()) {
        names += entry.name + " " + entry.type + ";";
    }
    EXPECT_EQ(names, "a#TXT TABLE;b#csv TABLE;c#tab TABLE;d#asc TABLE;f#dat TABLE;noext TABLE;");
}

TEST(TextDatabase, FolderIsFoundInAnyLetterCaseOrIsAnError) {
    const TextFolder folder;
    std::filesystem::create_directories(folder.Dir() / "Some" / "Folder");
    const auto open = [&](const std::string& path) {
        TextDatabase database(path, {}, std::make_shared<LayoutCache>());
        return database.Tables().size();
    };
    EXPECT_EQ(open((folder.Dir() / "some" / "FOLDER/").string()), 0U);
    folder.Write("file", "x");
    for (const char* name : {"missing", "file", "file/x"}) {
        const std::string path = (folder.Dir() / name).string();
        EXPECT_EQ(ErrorOf([&] { open(path); }).find("'" + path + "' is not a valid path.  Make"),
                  0U);
    }
    EXPECT_THROW(open(""), DataError);
}

std::shared_ptr<sql::StoredTable> Create(TextFolder& folder,
                                         const std::string& name,
                                         std::vector<sql::ColumnDefinition> columns) {
    folder.Database().CreateTable({name, std::move(columns), {}});
    return folder.Open(name);
}

sql::ColumnDefinition Column(std::string name, std::string type, std::optional<int> size = {}) {
    sql::ColumnDefinition column;
    column.name = std::move(name);
    column.type = std::move(type);
    column.size = size;
    return column;
}

TEST(TextDatabase, CreatedTableTakesRowsAndGivesThemBack) {
    for (const char* properties : {"text",
                                   "text;HDR=No;FMT=Delimited(;)",
                                   "text;FMT=TabDelimited",
                                   "text;CharacterSet=Unicode",
                                   "text;CharacterSet=1252"}) {
        TextFolder folder(properties);
        folder.Schema("[new.csv]\nFormat=Delimited(x)\nCol1=old Long\n");
        const auto table = Create(folder,
                                  "new#csv",
                                  {Column("id", "LONG"),
                                   Column("full name", "TEXT", 20),
                                   Column("born", "DATETIME"),
                                   Column("price", "CURRENCY"),
                                   Column("note", "MEMO"),
                                   Column("ok", "BIT"),
                                   Column("d", "DOUBLE")});
        EXPECT_EQ(
            folder.Columns("new.csv"),
            "id 3/4, full name 202/20, born 7/8, price 6/8, note 203/536870910, ok 11/2, d 5/8");
        const Cell full[] = {Cell::Int64(-5),
                             Cell::Text("a \"b\", \xC3\xA4;\t"),
                             Cell::FromDateTime({45322, 3 * kNanosPerSecond}),
                             Cell::FromDecimal({12500, 4}),
                             Cell::Text("two\r\nlines"),
                             Cell::Boolean(true),
                             Cell::Double(1e300)};
        const Cell bare[] = {
            Cell::Null(), Cell::Text(""), Cell(), Cell::Null(), Cell::Text(" "), Cell(), Cell()};
        folder.Database().InsertRow(*table, full);
        folder.Database().InsertRow(*table, bare);
        EXPECT_EQ(
            TextFolder::Rows(*table),
            (Lines{
                "-5|'a \"b\", \xC3\xA4;\t'|#2024-01-31 00:00:03#|1.25m|'two\r\nlines'|True|1E+300d",
                "<null>|''|<null>|<null>|' '|<null>|<null>"}))
            << properties;
        EXPECT_EQ(table->CountRows(), 2);
        EXPECT_EQ(folder.Rows("new.csv").size(), 2U);
    }
}

TEST(TextDatabase, InsertRefusesWhatCouldNotBeReadBack) {
    TextFolder folder;
    folder.Schema(
        "[bare.csv]\nTextDelimiter=none\nCol1=t Text Width 5\nCol2=n Short\n"
        "[fixed.txt]\nFormat=FixedLength\nCol1=t Text Width 3\nCol2=n Long Width 4\n"
        "[ansi.csv]\nCharacterSet=1252\nCol1=t Text\nCol2=n Long\n"
        "[one.csv]\nTextDelimiter=none\nCol1=t Text\n"
        "[dates.csv]\nDateTimeFormat=dd.mm.yy\nCol1=t Text\nCol2=n DateTime\n"
        "[kana.csv]\nCharacterSet=932\nFormat=Delimited(\u00E9)\nCol1=t Text\nCol2=n Long\n");
    for (const char* name :
         {"bare.csv", "fixed.txt", "ansi.csv", "one.csv", "dates.csv", "kana.csv"}) {
        folder.Write(name, "t,n\r\n");
    }
    // Table, text, number, words of the error.
    const std::tuple<const char*, Cell, Cell, const char*> attempts[] = {
        {"bare.csv", Cell::Text("a,b"), Cell::Null(), "delimiter"},
        {"bare.csv", Cell::Text("a\nb"), Cell::Null(), "line break"},
        {"bare.csv", Cell::Text("abcdef"), Cell::Null(), "too small"},
        {"bare.csv", Cell::Text("a"), Cell::Int64(32768), "whole number from -32768"},
        {"bare.csv", Cell::Text(std::string_view("a\0b", 3)), Cell::Null(), "NUL"},
        {"fixed.txt", Cell::Text("abcd"), Cell::Null(), "too small"},
        {"fixed.txt", Cell::Text("abc"), Cell::Int64(12345), "wider"},
        {"ansi.csv", Cell::Text("\xD0\x96"), Cell::Null(), "character set"},
        {"one.csv", Cell::Null(), Cell::Null(), "empty field"},
        {"dates.csv", Cell::Null(), Cell::Text("1925-06-07"), "year can't be told"},
        {"kana.csv", Cell::Text("a"), Cell::Int64(1), "delimiter"},
    };
    for (const auto& [name, text, number, words] : attempts) {
        const std::string before = folder.Dir().Read(name);
        const auto table = folder.Open(name);
        const Cell row[] = {text, number};
        const std::string error = ErrorOf([&] {
            folder.Database().InsertRow(*table, std::span(row).first(table->Columns().size()));
        });
        EXPECT_TRUE(Has(error, words));
        EXPECT_TRUE(Has(error, name));
        EXPECT_EQ(folder.Dir().Read(name), before);
    }
}

TEST(TextDatabase, InsertKeepsToTheFileAsItIs) {
    TextFolder folder;
    folder.Schema(
        "[a.csv]\nDecimalSymbol=,\nDateTimeFormat=dd.mm.yyyy\nCol1=d DateTime\nCol2=n Double\n"
        "[f.txt]\nFormat=FixedLength\nColNameHeader=False\nCol1=t Text Width 3\nCol2=n Long Width "
        "4\n[one.csv]\nCol1=n Long\n[n.csv]\nNumberDigits=2\nCurrencyDigits=3\n"
        "NumberLeadingZeros=False\nCol1=a Double\nCol2=b Currency\nCol3=c Long\n");
    // File, what is in it, the row that comes in, what is behind it then, the row as it is read.
    const std::tuple<const char*, const char*, std::vector<Cell>, const char*, const char*>
        cases[] = {
            {"a.csv",
             "d,n\n01.02.2024,1",  // without a line break at its end
             {Cell::FromDateTime({45322, 0}), Cell::Double(2.5)},
             "\r\n31.01.2024,\"2,5\"\r\n",
             "#2024-01-31 00:00:00#|2.5d"},
            {"f.txt", "abc   1\r\n", {Cell::Text("ä"), Cell::Int64(22)}, "ä  22  \r\n", "'ä'|22"},
            {"n.csv",
             "h\r\n",
             {Cell::Double(-0.127), Cell::Double(0.5), Cell::Int64(7)},
             "-.13,.500,7\r\n",
             "-0.13d|0.5m|7"},
            {"one.csv", "n\n", {Cell::Null()}, "\"\"\r\n", "<null>"},
            {"empty.csv", "", {Cell::Text("x")}, "\"F1\"\r\n\"x\"\r\n", "'x'"}};
    for (const auto& [name, former, row, added, read] : cases) {
        folder.Write(name, former);
        folder.Database().InsertRow(*folder.Open(name), row);
        EXPECT_EQ(folder.Dir().Read(name), std::string(former) + added);
        EXPECT_EQ(folder.Rows(name).back(), read) << name;
    }
}

TEST(TextDatabase, ScanSeesTheRowsThatWereThereWhenItBegan) {
    TextFolder folder("text", {64, 64});
    std::string content = "n\r\n";
    for (int row = 0; row < 100; ++row) {
        content += std::to_string(row) + "\r\n";
    }
    folder.Write("a.csv", content);
    const auto table = folder.Open("a.csv");
    const std::size_t first[] = {0};
    const auto scan = table->Scan(first);
    int copied = 0;
    while (scan->Next()) {
        folder.Database().InsertRow(*table, scan->Row());
        ++copied;
    }
    EXPECT_EQ(copied, 100);
    EXPECT_EQ(table->CountRows(), 200);
}

TEST(TextDatabase, FullDiskLeavesNoHalfLineAndNoHalfTable) {
    TextFolder folder;
    folder.Write("a.csv", "n,t\r\n1,\"x\"\r\n");
    const auto table = folder.Open("a.csv");
    const Cell row[] = {Cell::Int64(2), Cell::Text("yyyyyyyy")};
    for (const bool into_table : {true, false}) {
        bool room = true;  // for three bytes
        vantry::test::VerdictBy fault([&](const file::Call& call) {
            return call.operation != file::Operation::Write ? file::Verdict{}
                   : std::exchange(room, false)             ? file::Verdict{.limit = 3}
                                                            : file::Verdict{.error = ENOSPC};
        });
        const vantry::test::InstalledPlan installed(fault);
        EXPECT_THROW(into_table ? folder.Database().InsertRow(*table, row)
                                : void(Create(folder, "new.csv", {Column("a", "LONG")})),
                     DataError);
    }
    EXPECT_EQ(folder.Dir().Read("a.csv"), "n,t\r\n1,\"x\"\r\n");
    EXPECT_FALSE(std::filesystem::exists(folder.Dir() / "new.csv"));
    folder.Database().InsertRow(*table, row);
    EXPECT_EQ(table->CountRows(), 2);
}

TEST(TextDatabase, TablesAreCreatedAndDroppedAsFiles) {
    TextFolder folder;
    Create(folder, "a#csv", {Column("x", "LONG")});
    EXPECT_EQ(folder.Dir().Read("a.csv"), "\"x\"\r\n");
    EXPECT_EQ(ErrorOf([&] { Create(folder, "A.CSV", {Column("x", "LONG")}); }),
              "Table 'A.CSV' already exists.");
    EXPECT_TRUE(
        Has(ErrorOf([&] { Create(folder, "../b.csv", {Column("x", "LONG")}); }), "valid name"));
    EXPECT_TRUE(Has(ErrorOf([&] { Create(folder, "b.csv", {Column("x", "GUID")}); }),
                    "Syntax error in field definition."));
    TextFolder ansi("text;CharacterSet=1252");
    EXPECT_TRUE(Has(ErrorOf([&] { Create(ansi, "b.csv", {Column("\u65E5", "LONG")}); }),
                    "the name of a column, or the delimiter"));
    EXPECT_FALSE(std::filesystem::exists(folder.Dir() / "b.csv"));
    const auto table = folder.Open("a.csv");
    EXPECT_TRUE(Has(ErrorOf([&] { table->DeleteAll(); }), "Deleting data in a linked table"));
    EXPECT_TRUE(Has(ErrorOf([&] { table->Update(0, {}, {}); }), "Updating data in a linked table"));
    folder.Database().DropTable("a#csv");
    EXPECT_FALSE(std::filesystem::exists(folder.Dir() / "a.csv"));
    EXPECT_EQ(ErrorOf([&] { folder.Database().DropTable("a.csv"); }),
              "Table 'a.csv' does not exist.");
}

TEST(TextDriver, ErrorsHaveTheNumbersThatCallersKnow) {
    const vantry::test::TempDir folder;
    const auto driver = MakeTextDriver();
    const auto connection = driver->Connect(ConnectionString::Parse(
        "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder.Path().string() +
        ";Extended Properties=\"text;FMT=Delimited\";\""));
    folder.Write("a.csv", "n,t\n1,a\n");
    const std::tuple<std::string, int, std::string> cases[] = {
        {"SELECT * FROM [missing.csv]",
         kErrNoSuchTable,
         "could not find the object '" + (folder / "missing.csv").string() + "'."},
        {"SELECT nope FROM [a.csv]", kErrMissingParameter, "required parameters"},
        {"DELETE FROM [a.csv]", kErrUnspecified, "Deleting data in a linked table"},
        {"DROP TABLE [b.csv]", kErrNoSuchTable, "b.csv"},
        {"CREATE TABLE [a.csv] (n Long)", kErrSyntax, "already exists"},
        {"INSERT INTO [a.csv] (n) VALUES (3000000000)", kErrConversion, "column 'n'"},
    };
    for (const auto& [sql, number, words] : cases) {
        try {
            sql.starts_with("SELECT") ? static_cast<void>(connection->OpenCursor(sql)->Next())
                                      : static_cast<void>(connection->Execute(sql));
            ADD_FAILURE() << sql;
        } catch (const DataError& error) {
            EXPECT_EQ(error.Number(), number) << sql << ": " << error.Description();
            EXPECT_TRUE(Has(error.Description(), words));
        }
    }
    EXPECT_EQ(folder.Read("a.csv"), "n,t\n1,a\n");
    EXPECT_THROW(driver->Connect(ConnectionString::Parse(
                     "Provider=Microsoft.Jet.OLEDB.4.0;Extended Properties=\"text\"")),
                 DataError);
}

}  // namespace
}  // namespace vantry::text
