// The statements that drop, empty and create target tables, in each dialect.

#include "engine/session_fixture.h"
#include "engine/target_creation.h"
#include "engine/target_preparation.h"
#include "support/temp_dir.h"

namespace vantry::test {
namespace {

class TargetTablesTest : public SessionTest {
protected:
    ColMapRec& AddTyped(const std::string& name,
                        const std::string& source_type,
                        const std::string& target_type,
                        i32 width = 10,
                        i16 scale = 0) {
        auto& row = MapColumn(name);
        row.SOrgDtype = source_type;
        row.SDtype = source_type;
        row.DDtype = target_type;
        row.SWidth = width + 1;
        row.DWidth = width;
        row.SScale = static_cast<i16>(scale + 1);
        row.DScale = scale;
        return row;
    }
    void Choose(bool is_new) { SrcTables[0].TableExists = is_new ? kFalse : kTrue; }
};

TEST_F(TargetTablesTest, ATableIsNeitherDroppedNorEmptiedWhenItsRowsAreToBeLoaded) {
    const TempDir folder;
    folder.Write("Shop.mdb", "");
    folder.Write("other.mdb", "");
    const std::string jet = "Provider=target;Data Source=" + folder.Path().string();
    const std::string mysql = "DRIVER={MySQL ODBC 3.51 Driver};SERVER=";
    const std::string sql_server = "Provider=target;Server=srv;uid=me;pwd=x;Database=";
    const std::string oracle = "Provider=target;Data Source=svc;User ID=";
    struct {
        bool own_source;
        const char* kind;
        std::string source;
        const char* owner;
        const char* table;
        std::string target;
    } const cases[] = {
        {true, "ACCESS", jet + "/Shop.mdb", "", "Orders", jet + "/./shop.mdb;Jet OLEDB:x=1"},
        {false, "ACCESS", jet + "/Shop.mdb", "", "orders", jet + "/other.mdb"},
        {false, "ACCESS", jet + "/Shop.mdb", "", "order", jet + "/Shop.mdb"},
        {true, "MySQL", mysql + "localhost;DATABASE=a", "b", "orders", mysql + ";port=3306;DB=b"},
        {false, "MySQL", mysql + "db1;DATABASE=b", "a", "orders", mysql + "db1;DATABASE=b"},
        {false, "MySQL", mysql + "db1;DATABASE=b", "b", "orders", mysql + "db2;DATABASE=b"},
        {false, "MySQL", mysql + "db1", "b", "orders", mysql + "db1;port=3307;DATABASE=b"},
        {true, "MySQL", mysql + "db1;DATABASE=b", "", "orders", mysql + "db1;DATABASE=B"},
        {true, "MSSQL", sql_server + "a", "dbo", "orders", sql_server + "A"},
        {false, "MSSQL", sql_server + "a", "", "orders", sql_server + "b"},
        {false, "MSSQL", sql_server + "a", "sales", "orders", sql_server + "a"},
        {true, "ORACLE", oracle + "scott", "", "ORDERS", oracle + "SCOTT"},
        {false, "ORACLE", oracle + "scott", "hr", "ORDERS", oracle + "scott"},
        {true, "ODBC", "Provider=MSDASQL;DSN=d;UID=a", "", "orders", "DSN=D"},
        {false, "ODBC", "Provider=MSDASQL;DSN=d", "", "orders", "DSN=e"},
        {false, "ODBC", "FILEDSN=d;UID=a", "", "orders", "FILEDSN=e"},
        {true, "ODBC", sql_server + "a", "", "orders", sql_server + "a"},
        {false, "TEXT", jet, "", "orders", jet},
        {false, "MySQL", mysql + "db1;DATABASE=b", "b", "orders", sql_server + "b;Server=db1"},
    };
    DstTables[0].Name = "orders";
    RegisterDriver("", target);
    for (const auto& c : cases) {
        SourceType = c.kind;
        TargetType = c.target.starts_with(mysql.substr(0, 7)) ? "MySQL"
                     : c.target.find(oracle) == 0             ? "ORACLE"
                     : SourceType == "ACCESS"                 ? "ACCESS"
                                                              : "MSSQL";
        SourceConnStr = c.source;
        TargetConnStr = c.target;
        SrcTables[0].Owner = c.owner;
        SrcTables[0].Name = c.table;
        target->statements.clear();
        view.log.clear();
        const i16 expected = c.own_source ? kFalse : kTrue;
        EXPECT_EQ(DropTargetTable(0), expected) << c.source << " | " << c.target;
        EXPECT_EQ(DeleteTargetRows(0), expected) << c.source << " | " << c.target;
        EXPECT_EQ(target->statements.size(), c.own_source ? 0U : 2U);
        EXPECT_EQ(Count(view.log, "is the table that the rows come from"), c.own_source ? 2 : 0);
    }
    RegisterDriver("", nullptr);
}

TEST_F(TargetTablesTest, TheHeadOfACreationGoesByKindAndByABlankInOneOfTheNames) {
    const std::tuple<const char*, const char*, bool, const char*, const char*, const char*>
        cases[] = {
            // A new table is judged by the source's name, a rebuilt one by its own.
            {"FOXPRO", "DIR", true, "s s", "t", "Create Table [/out/t.dbf] ("},
            {"FOXPRO", "DIR", true, "s", "t t", "Create Table /out/t t.dbf ("},
            {"FOXPRO", "DIR", false, "s", "t t", "Create Table [/out/t t.dbf] ("},
            {"FOXPRO", "DIR", false, "s s", "t", "Create Table /out/t.dbf ("},
            {"ACCESS", "", true, "s", "t", "Create Table [t] ("},
        };
    FoxDestPrefix = "/out/";
    AddTyped("a", "Integer", "x");
    for (const auto& [type, fox_mode, is_new, source_name, target_name, head] : cases) {
        TargetType = type;
        FoxDestMode = fox_mode;
        SrcTables[0].Name = source_name;
        DstTables[0].Name = target_name;
        Choose(is_new);
        const std::string statement = CreateTableStatement(0);
        EXPECT_EQ(statement.substr(0, statement.find('\r')), head);
        EXPECT_TRUE(statement.ends_with("\r)"));
    }
}

TEST_F(TargetTablesTest, EachColumnIsStatedInTheTargetsDialect) {
    const struct {
        const char* target;
        bool is_new;
        const char* source_type;  // neutral; translated for a rebuilt table
        const char* target_type;  // of a new table
        i32 width;
        const char* piece;
    } cases[] = {
        {"FOXPRO", true, "", "Currency", 8, "d_a Y"},
        {"FOXPRO", true, "", "double", 8, "d_a B"},
        {"FOXPRO", true, "", "Character", 255, "d_a Character(255)"},
        {"FOXPRO", false, "GUID", "", 16, "s_a B"},
        {"FOXPRO", false, "VarWchar", "", 253, "s_a Character(254)"},
        {"FOXPRO", false, "VarWchar", "", 254, "s_a MEMO"},
        {"FOXPRO", false, "Boolean", "", 2, "s_a Logical"},
        {"ACCESS", true, "", "Binary", 8, " [d_a]  OLEOBJECT"},
        {"ACCESS", true, "", "Text", 255, " [d_a] Text(255)"},
        {"ACCESS", true, "", "Text", 256, " [d_a] Text"},
        {"ACCESS", false, "LongVarBinary", "", 8, " [s_a]  oleobject"},
        {"ACCESS", false, "Boolean", "", 2, " [s_a]  yesno"},
        {"ACCESS", false, "Char", "", 20, " [s_a] Text(21)"},
        {"ACCESS", false, "LongVarWChar", "", 20, " [s_a] Memo"},
        {"MySQL", false, "Integer", "", 4, "`s_a` Integer(4)"},
        {"MSSQL", false, "Date", "", 8, "[s_a] datetime"},
        {"ORACLE", false, "LongVarChar", "", 20, "s_a CLOB"},
        {"ORACLE", false, "Numeric", "", 9, "s_a Number(10,3)"},
        // No entry in the catalogue: no type at all, and the data source says so.
        {"ORACLE", false, "BigInt", "", 8, "s_a "},
    };
    for (const auto& c : cases) {
        TargetType = c.target;
        ColMaps.clear();
        AddTyped("a", c.source_type, c.target_type, c.width, 2);
        Choose(c.is_new);
        const std::string statement = CreateTableStatement(0);
        const auto begin = statement.find('\r') + 1;
        EXPECT_EQ(statement.substr(begin, statement.size() - 2 - begin), c.piece) << c.target;
    }
}

TEST_F(TargetTablesTest, OnlySelectedColumnsOfTheTableAreStatedInTheirOrder) {
    AddTyped("a", "Integer", "Long");
    AddTyped("b", "Integer", "Long").SSelected = 0;
    AddTyped("c", "Integer", "Long").Ignor = kTrue;
    AddTyped("other", "Integer", "Long").TabID = 1;
    Choose(true);
    EXPECT_EQ(CreateTableStatement(0), "Create Table [dst] (\r [d_a] Long,\r [d_c] Long\r)");
    ColMaps.clear();
    EXPECT_EQ(CreateTableStatement(0), "Create Table [dst] \r)");
}

// Width 20 and scale 3 on the target's side, 21 and 4 on the source's.
TEST_F(TargetTablesTest, SizesFollowTheTypesThatTakeThem) {
    // Target, types of one result, what follows them.
    const std::array<const char*, 3> cases[] = {
        {"ACCESS", "text TEXT", "(20)"},
        {"ACCESS", "Memo Long Currency DateTime", ""},
        {"FOXPRO", "Numeric", "(20,3)"},
        {"FOXPRO", "Character", "(20)"},
        {"FOXPRO", "Memo Logical Integer DateTime General", ""},
        {"ORACLE", "Char VARCHAR2 Varchar", "(20)"},
        {"ORACLE", "Number", "(20,3)"},
        {"ORACLE", "BLOB CLOB LONG BFILE DATE RAW", ""},
        {"MSSQL", "char VARCHAR varbinary nchar nvarchar binary", "(20)"},
        {"MSSQL", "numeric decimal datetime bit int image text ntext uniqueidentifier", ""},
        {"MySQL", "Char Varchar Text Integer INT", "(20)"},
        {"MySQL", "LongText BigInt TinyInt SmallInt Double DateTime Decimal LongBLOB", ""},
    };
    const auto size = [this](const std::string& type) {
        ColMaps.clear();
        AddTyped("a", "Numeric", type, 20, 3);
        return ColumnSizeSuffix(0, "N");
    };
    for (const auto& [kind, names, suffix] : cases) {
        TargetType = kind;
        std::istringstream types(names);
        for (std::string type; types >> type;) {
            EXPECT_EQ(size(" " + type + " "), suffix) << kind << ' ' << type;
        }
    }
    // A rebuilt table takes the source's side.
    for (const char* kind : {"ORACLE", "FOXPRO"}) {
        TargetType = kind;
        size("Date");
        EXPECT_EQ(ColumnSizeSuffix(0, "O"), "(21,4)");
    }
}

TEST_F(TargetTablesTest, SomeNumbersTakeNoSize) {
    TargetType = "ORACLE";
    std::istringstream types(
        "Long Double Integer Single Currency int money smallint TinyInt real float decimal");
    for (std::string type; types >> type;) {
        ColMaps.clear();
        AddTyped("a", "Numeric", "Number").SDtype = " " + type + " ";
        EXPECT_EQ(ColumnSizeSuffix(0, "N"), "") << type;
    }
    // Oracle to Oracle, a number without a stated precision keeps none.
    ColMaps.clear();
    auto& row = AddTyped("a", "VarNumeric", "Number");
    row.SDtype = "Number";
    EXPECT_EQ(ColumnSizeSuffix(0, "N"), "(10,0)");
    SourceType = "ORACLE";
    EXPECT_EQ(ColumnSizeSuffix(0, "N"), "");

    TargetType = "MySQL";
    row.DDtype = "Integer";
    row.DWidth = -1;
    EXPECT_EQ(ColumnSizeSuffix(0, "N"), "");
    row.DWidth = 6;
    row.SOrgDtype = "Integer";
    EXPECT_EQ(ColumnSizeSuffix(0, "O"), "(6)");  // the target's width in both modes
}

}  // namespace
}  // namespace vantry::test
