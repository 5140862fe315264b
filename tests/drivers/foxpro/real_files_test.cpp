// Tables that the original products wrote, value for value as an independent reader sees them.

#include "drivers/foxpro/reading.h"

namespace vantry::foxpro {
namespace {

struct RealTable {
    const char* path;
    std::size_t records;  // not deleted
    const char* columns = "*";
    const char* encoding = "";  // where the header's mark doesn't say it
};

// An independent reader knows no null flags and takes blanks in N, D and L for none; an unset memo
// is none for it and an empty text for us.
std::string Blanks(const std::string& line) {
    std::string out;
    std::istringstream fields(line + "\t");
    for (std::string field; std::getline(fields, field, '\t');) {
        out += field == "null" || field == "no" || field == "0" ? "-\t"
               : field.empty()                                  ? "-\t"
                                                                : field + "\t";
    }
    return out;
}

TEST_F(RealFilesTest, GiveTheRowsThatAnIndependentReaderSees) {
    if (!HasDbfread()) {
        GTEST_SKIP() << "The Debian package python3-dbfread isn't installed.";
    }
    const RealTable tables[] = {
        {"dbase_03.dbf", 14, "*", "cp1252"},
        {"dbase_83.dbf", 67, "*", "cp1252"},
        {"dbase_30.dbf", 34},
        {"cp1251.dbf", 4},
        {"dbc_contacts/calls.dbf", 16},
        {"dbc_contacts/contacts.dbf", 5},
        {"dbc_contacts/setup.dbf", 3},
        {"dbc_contacts/types.dbf", 2},
        {"dbc_expenses/employees.dbf", 3},
        {"dbc_expenses/expense categories.dbf", 5},
        {"dbc_expenses/expense details.dbf", 6},
        {"dbc_expenses/expense reports.dbf", 3},
        {"dbc_dvds/dvds.dbf", 6},
        {"dbc_dvds/dvdprice.dbf", 6},
        {"dbc_dvds/genres.dbf", 13},
        {"idx_general/fb2p_dbf.dbf", 5},
        {"idx_general/fb2p_depto.dbf", 1},
    };
    for (const auto& table : tables) {
        const auto path = Real(table.path);
        const auto connection = Connect(path.parent_path());
        const auto ours = RowsOf(*connection, "SELECT * FROM [" + path.stem().string() + "]");
        const auto theirs = RowsByDbfread(path, table.encoding);
        EXPECT_EQ(ours.size(), table.records) << table.path;
        ASSERT_EQ(ours.size(), theirs.size()) << table.path;
        for (std::size_t k = 0; k < ours.size(); ++k) {
            EXPECT_EQ(Blanks(ours[k]), Blanks(theirs[k])) << table.path << " row " << k;
        }
    }
}

std::string TablesOf(DriverConnection& connection) {
    std::string names;
    for (const auto& entry : connection.Tables()) {
        names += (names.empty() ? "" : ", ") + entry.name + " " + entry.type;
    }
    return names;
}

// What the independent readers can't read, or read wrongly.
TEST_F(RealFilesTest, GiveWhatOtherReadersDont) {
    const auto root = Connect(folder_ / "real");
    // An own layout of the header.
    EXPECT_EQ(RowsOf(*root, "SELECT * FROM dbase_02").size(), 9U);
    // The last byte of a short V field is its length.
    EXPECT_EQ(RowText(*root, "SELECT * FROM dbase_32"), "Bad Meets Evil");
    // A mark that nobody knows, and UTF-8 or Windows text under it.
    EXPECT_TRUE(IsValidUtf8(RowText(*root, "SELECT * FROM dbase_03_cyrillic")));
    // The length of a memo of dBase IV counts its own eight bytes.
    EXPECT_TRUE(RowText(*root, "SELECT * FROM dbase_8b").ends_with("|First memo\r\n"));
    EXPECT_TRUE(RowText(*root, "SELECT * FROM dbase_8b", 4).ends_with("|Fifth memo"));
    // Null flags and short bits among each other; fields whose names are those of other types.
    const auto words = RowText(*root, "SELECT var_nil FROM test", 1);
    EXPECT_EQ(words.substr(0, 11), "Lorem ipsum");
    EXPECT_EQ(RowText(*root, "SELECT * FROM test", 1),
              "2|TEST|12.34|123.45|2022-10-10|2022-10-10 21:04:25|1.23|123|True|" +
                  RowText(*root, "SELECT desc FROM test", 1) + "|19|999|NULL|\xAA\xBB\xCC|" +
                  words + "|");
    EXPECT_EQ(RowsOf(*root, "SELECT * FROM test").size(), 2U);
    const auto with_deleted = Connect(folder_ / "real", "Deleted=No");
    EXPECT_EQ(RowText(*with_deleted, "SELECT varbin_nil, var_nil, var FROM test", 2), "||Test");
    // A hidden field more than shown; every type of Visual FoxPro 9, blank.
    const auto general = Connect(Real("idx_general"));
    EXPECT_EQ(RowsOf(*general, "SELECT * FROM fb2p_free").size(), 4U);
}

// The catalogue of a folder leaves out what belongs to a container; its tables can be opened all
// the same, by every spelling of their place.
TEST_F(RealFilesTest, TablesOfAFolderAreFoundByEverySpelling) {
    const auto root = Connect(folder_ / "real");
    EXPECT_EQ(TablesOf(*root),
              "dbase_02 TABLE, dbase_03 TABLE, dbase_03_cyrillic TABLE, dbase_30 TABLE, dbase_32 "
              "TABLE, dbase_83 TABLE, dbase_8b TABLE, TEST TABLE");
    const auto expenses = Connect(Real("dbc_expenses"));
    EXPECT_TRUE(expenses->Tables().empty());
    const auto path = Real("dbc_expenses").string();
    for (const auto& name : {"[expense details]",
                             "[Expense Details.DBF]",
                             "\"expense details\"",
                             "[./expense details.dbf]"}) {
        EXPECT_EQ(RowsOf(*expenses, std::string("SELECT * FROM ") + name).size(), 6U) << name;
    }
    EXPECT_EQ(RowsOf(*expenses, "SELECT * FROM [" + path + "/expense details.dbf]").size(), 6U);
    EXPECT_EQ(RowsOf(*expenses, "SELECT * FROM \"" + path + "\\expense details\"").size(), 6U);
    EXPECT_THROW(expenses->OpenCursor("SELECT * FROM nosuch"), DataError);
}

// Containers: tables and fields by their long names, table files of names with blanks, a container
// and a table of one name, views.
TEST_F(RealFilesTest, ContainersListTheirTablesAndViews) {
    const auto contacts = Connect(Real("dbc_contacts/foxpro-db-test.dbc"), "SourceType=DBC");
    EXPECT_EQ(TablesOf(*contacts), "calls TABLE, contacts TABLE, setup TABLE, types TABLE");
    EXPECT_EQ(contacts->OpenCursor("SELECT * FROM contacts")->Columns().size(), 29U);
    EXPECT_EQ(RowsOf(*contacts, "SELECT contact_id, contact_type_id FROM contacts").size(), 5U);
    EXPECT_EQ(RowsOf(*contacts, "SELECT * FROM [foxpro-db-test!calls]").size(), 16U);
    EXPECT_EQ(RowsOf(*contacts, "SELECT count(*) FROM calls"), Rows{"16"});

    const auto expenses = Connect(Real("dbc_expenses/expenses.dbc"));
    EXPECT_EQ(
        TablesOf(*expenses),
        "employees TABLE, expense_categories TABLE, expense_details TABLE, expense_reports TABLE");
    EXPECT_EQ(RowsOf(*expenses, "SELECT * FROM expense_details").size(), 6U);

    const auto dvds = Connect(Real("dbc_dvds/dvds.dbc"));
    EXPECT_EQ(RowsOf(*dvds, "SELECT * FROM dvds").size(), 6U);
    EXPECT_EQ(RowsOf(*dvds, "SELECT * FROM genres").size(), 13U);
    const auto general = Connect(Real("idx_general/fb2p_dbc.dbc"));
    EXPECT_NE(TablesOf(*general), "");
    EXPECT_THROW(Connect(Real("nosuch.dbc")), DataError);
    EXPECT_THROW(Connect(Real("dbase_03.dbf"), "SourceType=DBC"), DataError);
}

}  // namespace
}  // namespace vantry::foxpro
