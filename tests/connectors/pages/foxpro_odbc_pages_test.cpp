// Form10 and Form3 on real folders and containers, ODBCSrc on a real data source.

#include "connectors/odbc_enumeration.h"
#include "connectors/pages/connector_pages_fixture.h"
#include "core/table_names.h"

#include <filesystem>

namespace vantry::test {
namespace {

constexpr const char* kBuiltIn = "Microsoft Visual FoxPro Driver";
constexpr std::initializer_list<const char*> kFormControls = {
    "FoxDir", "brow1", "VFPFilename", "brow2", "Frame2", "Frame3"};

class FoxProPagesTest : public ConnectorPagesTest {
protected:
    FoxProPagesTest() {
        OdbcDrivers = {"SQLite3", kBuiltIn};
        OdbcDsns = {{}};
        SourceType = TargetType = "FOXPRO";
        FoxSrcMode = FoxSrcPrefix = FoxDestMode = FoxDestPrefix = "former";
    }
    std::string MakeFolder(std::initializer_list<const char*> tables) {
        std::string folder = (folder_ / "old files").string();
        std::filesystem::create_directories(folder);
        for (const char* table : tables) {
            RunStatement("Provider=vfpoledb.1;Data Source=" + folder,
                         std::string("create table ") + table + " (id n(5,0), name c(20))");
        }
        return folder;
    }
};

TEST_F(FoxProPagesTest, SourceOfAFolderByEveryMethod) {
    const std::string folder = MakeFolder({"orders", "items"});
    ShowPage("Form10");
    EXPECT_EQ(Enabled("Form10", kFormControls), "FoxDir brow1 Frame2 ");
    EXPECT_EQ(Enabled("Form10", {"DirLoadbutt", "DBCLoadbutt", "VFPODBCDrvList", "VFPDSNList"}),
              "DirLoadbutt VFPODBCDrvList ");
    dialogs_.choices = {folder};
    Press("Form10", "brow1");
    EXPECT_EQ(dialogs_.asked_files[0].title, "Select Folder Where Foxpro DBF Files are located");
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
    EXPECT_EQ(Status("Form10", "Label6"), "Connect Success #32c828");
    EXPECT_EQ(SourceConnStr,
              std::string("Driver=") + kBuiltIn + ";SourceType=DBF;SourceDb=" + folder +
                  ";Collate=Machine;Persist Security Info=False");
    EXPECT_EQ(FoxSrcMode + FoxSrcPrefix, "DIR" + folder + "/");
    const std::string both = Entries("Form10", "List1");
    EXPECT_EQ(both.size(), std::string("items,orders").size()) << both;

    Press("Form10", "Option2");
    EXPECT_EQ(SourceConnStr,
              "Provider=vfpoledb.1;Data Source=" + folder + ";Collating Sequence=general;");
    EXPECT_EQ(Entries("Form10", "List1"), both) << "a loaded source is loaded again";
    EXPECT_EQ(Enabled("Form10", {"VFPODBCDrvList", "VFPDSNList"}), "");
    FoxSrcMode = "stays";
    EXPECT_EQ(Pressed("Form10", "Option3"),
              "none|Vantry|No DSN is specified please select a Proper DSN|OK");
    EXPECT_EQ(FoxSrcMode + Entries("Form10", "List1"), "stays");
    EXPECT_EQ(Enabled("Form10", {"VFPODBCDrvList", "VFPDSNList"}), "VFPDSNList ");

    EXPECT_EQ(Pressed("Form10", "NXTBUTT"), "stop|Stop|Please Select Atleast one table|OK");
    Press("Form10", "Option1");
    Type("Form10", "FoxDir", folder + "/");
    Press("Form10", "DirLoadbutt");
    EXPECT_EQ(FoxSrcPrefix, folder + "/") << "typed with or without an end";
    Select("Form10", "List1", {0, 1});
    SourceQueryMode = 7;
    Press("Form10", "NXTBUTT");
    EXPECT_EQ(SrcTables.size(), 2u);
    EXPECT_EQ(Tables().front(), '|');
    EXPECT_EQ(SourceQueryMode, 7) << "left alone here";
    EXPECT_EQ(VisiblePages(), "Form3");
}

// The driver manager has no library for the driver that such a data source names.
TEST_F(FoxProPagesTest, SourceByDataSource) {
    const std::string folder = MakeFolder({"orders", "items"});
    const std::string driver = std::string("Driver=") + kBuiltIn;
    Registry().Register({},
                        {{"Old files", driver + "\nSourceType=DBF\nSourceDB=" + folder + "\n"},
                         {"Nowhere", driver + "\nSourceDB=" + folder + "/none\n"}});
    EnumerateOdbcDsns();
    ShowPage("Form10");
    Press("Form10", "Option3");
    Pick("Form10", "VFPDSNList", "Nowhere");
    Press("Form10", "DirLoadbutt");
    EXPECT_NE(dialogs_.TakeBoxes().find(folder + "/none"), std::string::npos);
    EXPECT_EQ(Status("Form10", "Label6"), "Connection Error #ff0000");
    Pick("Form10", "VFPDSNList", "Old files");
    EXPECT_EQ(dialogs_.TakeBoxes() + Status("Form10", "Label6"), "Connect Success #32c828");
    EXPECT_EQ(SourceConnStr, "Provider=vfpoledb.1;DSN=Old files");
    EXPECT_EQ(Entries("Form10", "List1").size(), std::string("items,orders").size());
    // A load reads tables by the path that the page has, so it takes the data source's.
    EXPECT_EQ(FoxSrcPrefix, folder + "/");
    Select("Form10", "List1", {0});
    Press("Form10", "NXTBUTT");
    EXPECT_EQ(RowsOf(SourceConnStr,
                     "select count(*) from " + SourceTable(SrcTables[0], Reading::RowLoad)),
              "0\n");
    Type("Form10", "FoxDir", "/elsewhere");
    Press("Form10", "DirLoadbutt");
    EXPECT_EQ(FoxSrcPrefix, "/elsewhere/") << "what is typed counts";
}

TEST_F(FoxProPagesTest, SourceOfAContainerAndWhatCanBeWrong) {
    const std::string folder = MakeFolder({});
    ShowPage("Form10");
    Type("Form10", "FoxDir", folder);
    EXPECT_EQ(Pressed("Form10", "DirLoadbutt"),
              "information|Not Found|No tables found in the selected source|OK");
    EXPECT_EQ(Status("Form10", "Label6"), "") << "left as it stood";

    Press("Form10", "VFPFileOpt");
    EXPECT_EQ(Enabled("Form10", kFormControls), "VFPFilename brow2 Frame3 ");
    EXPECT_EQ(Enabled("Form10", {"DirLoadbutt", "DBCLoadbutt"}), "DBCLoadbutt ");
    const std::string missing = folder + "/missing.dbc";
    dialogs_.choices = {missing};
    Press("Form10", "brow2");
    EXPECT_EQ(dialogs_.asked_files.back().title, "Select VFP Database");
    EXPECT_EQ(dialogs_.asked_files.back().filter,
              "VFP Databases (*.dbc)|*.dbc|All Files (*.*)|*.*");
    EXPECT_EQ(SourceConnStr,
              std::string("Driver=") + kBuiltIn + ";SourceType=DBC;SourceDb=" + missing +
                  ";Collate=Machine;NULL=NO;Deleted=No;Persist Security Info=False");
    EXPECT_EQ(FoxSrcMode + FoxSrcPrefix, "DBC");
    std::string box = dialogs_.TakeBoxes();
    EXPECT_EQ(box.substr(0, 10), "stop|Stop|") << box;
    EXPECT_TRUE(Has(box, "missing.dbc"));
    EXPECT_EQ(Status("Form10", "Label6"), "Connection Error #ff0000");
    EXPECT_EQ(FindPage("frmWait"), nullptr);
    Press("Form10", "Option2");
    EXPECT_EQ(SourceConnStr,
              "Provider=vfpoledb.1;Data Source=" + missing + ";Collating Sequence=machine;");
    EXPECT_EQ(dialogs_.boxes.size(), 1u) << "a status stands there, so it loads again";
    dialogs_.boxes.clear();
    Press("Form10", "FoxIndFilesOpt");
    EXPECT_EQ(Status("Form10", "Label6"), "Connection Error #ff0000");
    EXPECT_TRUE(dialogs_.boxes.empty()) << "another form only empties the list";
}

TEST_F(FoxProPagesTest, TargetMustBeThere) {
    const std::string folder = MakeFolder({});
    ShowPage("Form3");
    EXPECT_EQ(Enabled("Form3", kFormControls), "FoxDir brow1 Frame2 ");
    const std::string none =
        "stop|Stop|Either choose Directory where the files should be created or Enter VFP database "
        "filename|OK";
    EXPECT_EQ(Pressed("Form3", "NXTBUTT"), none);
    Press("Form3", "VFPFileOpt");
    EXPECT_EQ(Pressed("Form3", "NXTBUTT"), none);
    EXPECT_EQ(TargetConnStr, "of the last session");
    dialogs_.choices = {folder + "/none.dbc"};
    Press("Form3", "brow2");
    EXPECT_EQ(dialogs_.asked_files.back().title, "Select Visual Foxpro Database");
    Press("Form3", "NXTBUTT");
    EXPECT_EQ(TargetConnStr,
              "Driver={Microsoft Visual FoxPro Driver};SourceType=DBC;SourceDb=" + folder +
                  "/none.dbc;Persist Security Info=False");
    const std::string box = dialogs_.TakeBoxes();
    EXPECT_EQ(box.substr(0, 10), "stop|Stop|");
    EXPECT_TRUE(box.ends_with(" Vantry FoxPro engine|OK")) << box;
    EXPECT_EQ(FoxDestMode + VisiblePages(), "formerForm3");

    Press("Form3", "FoxIndFilesOpt");
    dialogs_.choices = {folder};
    Press("Form3", "brow1");
    Press("Form3", "NXTBUTT");
    EXPECT_EQ(TargetConnStr,
              "Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDb=" + folder +
                  ";Persist Security Info=False");
    EXPECT_EQ(FoxDestMode + FoxDestPrefix + dialogs_.TakeBoxes(), "DIR" + folder + "/");
    EXPECT_EQ(VisiblePages(), "Form4");
}

class OdbcPageTest : public ConnectorPagesTest {};

TEST_F(OdbcPageTest, ListsTheTablesOfADataSourceAndTakesItsKind) {
    if (const auto missing = PrivateOdbc::Missing("libsqlite3odbc.so", "libsqliteodbc");
        !missing.empty()) {
        GTEST_SKIP() << missing;
    }
    const std::string file = (folder_ / "any").string();
    Registry().Register({PrivateOdbc::Driver("SQLite3", "libsqlite3odbc.so")},
                        {{"My any", "Driver=SQLite3\nDatabase=" + file + "\n"}});
    for (const char* sql :
         {"create table [b t](id)", "create table a(id)", "create view v as select 1"}) {
        RunStatement("DSN=My any", sql);
    }
    OdbcDrivers = {"Oracle SQLite3", "sqlite3", "PostgreSQL"};
    OdbcDsns = {{"My any", "Oracle SQLite3"}, {"Other", "X SQLITE3 Y"}, {"No", "Else"}};
    ShowPage("ODBCSrc");
    EXPECT_EQ(Entries("ODBCSrc", "ODBCDSn"), "My any");
    EXPECT_EQ(Control<QComboBox>("ODBCSrc", "ODBCDSn").currentIndex(), -1);
    Pick("ODBCSrc", "ODBCDrv", "sqlite3");
    EXPECT_EQ(Entries("ODBCSrc", "ODBCDSn"), "My any,Other");
    UnloadPage("ODBCSrc");
    OdbcDrivers = {""};
    ShowPage("ODBCSrc");
    EXPECT_EQ(Entries("ODBCSrc", "ODBCDSn"), "My any,Other,No") << "no driver is none to go by";
    UnloadPage("ODBCSrc");
    OdbcDrivers = {"Oracle SQLite3", "sqlite3", "PostgreSQL"};
    ShowPage("ODBCSrc");
    Press("ODBCSrc", "ConnectButton");
    EXPECT_EQ(dialogs_.TakeBoxes().substr(0, 38), "none|Vantry|No data source is chosen. ");
    Pick("ODBCSrc", "ODBCDSn", "My any");
    Type("ODBCSrc", "Usr", "u ü");
    Type("ODBCSrc", "Pwd", "p");
    Press("ODBCSrc", "ConnectButton");
    EXPECT_EQ(SourceConnStr, "Provider=MSDASQL;DSN=My any;UID=u ü;PWD=p;");
    const std::string tables = Entries("ODBCSrc", "ODBCTabs");
    EXPECT_TRUE(tables == "b t,a" || tables == "a,b t") << tables << dialogs_.TakeBoxes();

    EXPECT_EQ(Pressed("ODBCSrc", "NXT"), "stop|Stop|Please select atleast one table|OK");
    for (const auto& [driver, kind] :
         {std::pair("sqlite3", "ODBC"), std::pair("Oracle SQLite3", "ORACLE")}) {
        SourceType = "ODBC";
        SourceViaOdbc = kFalse;
        Pick("ODBCSrc", "ODBCDrv", driver);
        Select("ODBCSrc", "ODBCTabs", {0});
        Press("ODBCSrc", "NXT");
        EXPECT_EQ(SourceType, kind);
        EXPECT_EQ(SourceViaOdbc, kTrue);
        EXPECT_EQ(SrcTables.size(), 1u);
        Press("Form8", "BCK");
        EXPECT_EQ(VisiblePages(), "ODBCSrc");
    }
    for (const char* idle : {"BCK", "CNCL", "HLP", "NewDsnButton"}) {
        Press("ODBCSrc", idle);
    }
    EXPECT_TRUE(CloseBox("ODBCSrc"));
    EXPECT_TRUE(dialogs_.boxes.empty() && dialogs_.opened.empty());
}

}  // namespace
}  // namespace vantry::test
