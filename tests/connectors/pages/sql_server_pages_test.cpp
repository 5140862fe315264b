// MSSQLSrc and MSSQLDest. Their statements run on a real SQL engine that has the catalogue tables
// they ask for; who can't be reached is told in the words of the driver that users have.

#include "connectors/pages/connector_pages_fixture.h"
#include "support/quiet_port.h"
#include "support/session_steps.h"

#include <QCheckBox>

#include <filesystem>

namespace vantry::test {
namespace {

constexpr const char* kRed = "Connection Error #ff0000";
constexpr const char* kGood = "Connected Successfully";
constexpr const char* kPages[] = {"MSSQLSrc", "MSSQLDest"};

class SqlServerPagesTest : public ConnectorPagesTest {
protected:
    void SetUp() override {
        for (const auto& [library, package] : {std::pair("libsqlite3odbc.so", "libsqliteodbc"),
                                               std::pair("libtdsodbc.so", "tdsodbc")}) {
            if (const auto missing = PrivateOdbc::Missing(library, package); !missing.empty()) {
                GTEST_SKIP() << missing;
            }
        }
        std::filesystem::current_path(folder_.Path());  // a database is a file of its name
        Make("master",
             {"create table sysdatabases(name)",
              "insert into sysdatabases values('shop'),('bare ü')"});
        const char* const catalogue = "create table sysobjects(uid,name,type)";
        Make("shop",
             {"create table sysusers(uid,name)",
              catalogue,
              "insert into sysusers values(1,'dbo'),(2,'Sales'),(3,'information_schema')",
              "insert into sysobjects values(1,'orders','U'),(2,'a.b c','U'),(1,'cheap','V'),"
              "(3,'hidden','V'),(1,'log','S')"});
        Make("bare ü", {"create table sysusers(uid,name)", catalogue});
        UseStandIn();
        OdbcDrivers = {"FreeTDS", "SQL Server", "My sql server", "MySQL (built in)"};
    }
    ~SqlServerPagesTest() override { std::filesystem::current_path("/"); }

    static void UseStandIn() {
        Registry().Register({PrivateOdbc::Driver("SQL Server", "libsqlite3odbc.so")});
    }
    static void UseFreeTds() {
        Registry().Register({PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so")});
    }
    static void Make(const std::string& name, std::initializer_list<const char*> statements) {
        UseStandIn();
        for (const char* sql : statements) {
            RunStatement("Provider=SQLOLEDB.1;Database=" + name, sql);
        }
    }
    static std::string& ConnStr(const char* page) {
        return std::string_view(page) == "MSSQLSrc" ? SourceConnStr : TargetConnStr;
    }
    std::string NoFailureWith(const char* page, const std::string& words) {
        const std::string box = dialogs_.TakeBoxes();
        const char* const advice =
            std::string_view(page) == "MSSQLSrc"
                ? "If you are connecting to SQL Server Express Edition then Please Check SQL "
                  "Express Edition Check Box and Click Connect Again|OK"
                : "If you are connecting to SQL Server Express Edition then Please Check the SQL "
                  "Express Edition Check Box and click Connect Button again|OK";
        const bool good = box.starts_with("stop|Error|Unable to Connect\n") &&
                          box.find(words) != std::string::npos &&
                          box.ends_with(std::string("\n") + advice);
        return good ? "" : "no box with " + words + " but: " + box;
    }
};

TEST_F(SqlServerPagesTest, StartsAsDesignedAndConnectsByEveryTemplate) {
    for (const char* page : kPages) {
        SCOPED_TRACE(page);
        ShowPage(page);
        EXPECT_EQ(Control<QLineEdit>(page, "SrvTBox").text(), "(local)");
        EXPECT_EQ(Control<QLineEdit>(page, "UserTBox").text(), "administrator");
        EXPECT_EQ(Enabled(page, {"UserTBox", "PassTbox", "ODBCDrv"}), "");
        EXPECT_FALSE(Control<QCheckBox>(page, "SQLExpress").isChecked());
        EXPECT_EQ(Entries(page, "ODBCDrv"), "SQL Server,My sql server");
        EXPECT_EQ(Control<QComboBox>(page, "ODBCDrv").currentIndex(), -1);

        Press(page, "ConnButt");
        EXPECT_EQ(Status(page, "Label2") + dialogs_.TakeBoxes(), kGood);
        EXPECT_EQ(ConnStr(page), "Provider=SQLOLEDB.1;Server=(local);Trusted_Connection=Yes");
        EXPECT_EQ(Entries(page, "MSSQLDBCombo"), "shop,bare ü");
        EXPECT_EQ(Control<QComboBox>(page, "MSSQLDBCombo").currentText(), "");
        Press(page, "ConnButt");
        EXPECT_EQ(Entries(page, "MSSQLDBCombo"), "shop,bare ü,shop,bare ü") << "twice, always";

        Press(page, "SQLExpress");
        Press(page, "ConnODBC");
        EXPECT_EQ(Enabled(page, {"ODBCDrv"}), "ODBCDrv ");
        EXPECT_EQ(ConnStr(page),
                  "driver=SQL Server;Server=(local)\\SQLExpress;Trusted_Connection=yes");
        Type(page, "UserTBox", "s a");
        Press(page, "Option2");
        EXPECT_EQ(Enabled(page, {"UserTBox", "PassTbox"}), "UserTBox PassTbox ");
        const bool target = std::string_view(page) == "MSSQLDest";
        const std::string asked =
            "stop|Stop|Please Enter the required fields and then click connect|OK";
        EXPECT_EQ(dialogs_.TakeBoxes(), target ? asked : "") << "by itself only where it is listed";
        Press(page, "ConnButt");
        EXPECT_EQ(dialogs_.TakeBoxes(), asked) << "an empty password is refused here";
        EXPECT_EQ(FindPage(page)->cursor().shape(), Qt::ArrowCursor);
        Type(page, "PassTbox", "p{w]");
        Press(page, "ConnButt");
        EXPECT_EQ(ConnStr(page), "Driver=SQL Server;Server=(local)\\SQLExpress;uid=s a;pwd=p{w]");
        Press(page, "SQLExpress");
        Press(page, "ConnOLE");
        EXPECT_EQ(ConnStr(page), "Provider=SQLOLEDB.1;Server=(local);uid=s a;pwd=p{w]");
        EXPECT_EQ(Enabled(page, {"ODBCDrv"}) + dialogs_.TakeBoxes(), "");
    }
}

TEST_F(SqlServerPagesTest, SourceListsTablesAndViewsOfAPickedDatabase) {
    ShowPage("MSSQLSrc");
    const auto tables = [] { return Entries("MSSQLSrc", "MSSQLSrcTables"); };
    Control<QComboBox>("MSSQLSrc", "MSSQLDBCombo").addItem("shop");
    Pick("MSSQLSrc", "MSSQLDBCombo", "shop");
    EXPECT_EQ(tables(), "") << "nothing before the first connect";
    Press("MSSQLSrc", "ConnButt");
    Pick("MSSQLSrc", "MSSQLDBCombo", "shop");
    EXPECT_EQ(tables(), "dbo.orders,Sales.a.b c");
    EXPECT_EQ(SourceConnStr, "Provider=SQLOLEDB.1;Server=(local);Trusted_Connection=Yes");
    Press("MSSQLSrc", "ShowViews");
    EXPECT_EQ(tables(), "dbo.cheap,dbo.orders,Sales.a.b c");
    Press("MSSQLSrc", "ShowTables");
    EXPECT_EQ(tables() + dialogs_.TakeBoxes(), "dbo.cheap");
    Press("MSSQLSrc", "ShowViews");
    EXPECT_EQ(tables() + dialogs_.TakeBoxes(),
              "stop|Vantry|Please Check Tables or Views to populate list|OK");
    Press("MSSQLSrc", "ShowTables");
    Pick("MSSQLSrc", "MSSQLDBCombo", "bare ü");
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "information|Information|No tables found in the selected Database|OK");
    EXPECT_EQ(Status("MSSQLSrc", "Label2"), kGood);

    Press("MSSQLSrc", "NXT");
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|Please select atleast one table|OK");
    Pick("MSSQLSrc", "MSSQLDBCombo", "shop");
    Select("MSSQLSrc", "MSSQLSrcTables", {0, 1});
    Press("MSSQLSrc", "NXT");
    EXPECT_EQ(Tables() + ">" + MSSQLSrcDB, "dbo|orders,Sales|a.b c>shop");
    EXPECT_EQ(SourceConnStr,
              "Provider=SQLOLEDB.1;Server=(local);Trusted_Connection=Yes;Database=shop");
    EXPECT_EQ(VisiblePages(), "Form8");
    // Back, another database, Next: the name is appended again, and the last one counts.
    HidePage("Form8");
    ShowPage("MSSQLSrc");
    Pick("MSSQLSrc", "MSSQLDBCombo", "bare ü");
    EXPECT_EQ(dialogs_.TakeBoxes().substr(0, 23), "information|Information");
    Pick("MSSQLSrc", "MSSQLDBCombo", "shop");
    Select("MSSQLSrc", "MSSQLSrcTables", {0});
    TargetType = "MSSQL";
    Press("MSSQLSrc", "NXT");
    EXPECT_TRUE(SourceConnStr.ends_with(";Database=shop;Database=shop")) << SourceConnStr;
    EXPECT_EQ(VisiblePages(), "") << "from SQL Server to SQL Server no page follows";

    ShowPage("MSSQLSrc");
    Make("shop", {"drop table sysusers"});
    Pick("MSSQLSrc", "MSSQLDBCombo", "shop");
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "stop|Error|Unable to Connect\n[SQLite]no such table: sysusers (1)|OK");
    EXPECT_EQ(Status("MSSQLSrc", "Label2"), kRed);
    Press("MSSQLSrc", "NXT");
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Please Connect to MS SQL Server first|OK");
    Pick("MSSQLSrc", "MSSQLDBCombo", "bare ü");
    EXPECT_EQ(Status("MSSQLSrc", "Label2"), kRed) << "not before the next connect";
}

TEST_F(SqlServerPagesTest, TargetGoesOnUntriedButNotAfterAFailure) {
    ShowPage("MSSQLDest");
    TargetConnStr.clear();
    Press("MSSQLDest", "NXT");
    EXPECT_EQ(VisiblePages() + TargetConnStr + MSSQLDstDB, "Form4;Database=");
    HidePage("Form4");
    ShowPage("MSSQLDest");
    Press("MSSQLDest", "ConnButt");
    Pick("MSSQLDest", "MSSQLDBCombo", "shop");
    Press("MSSQLDest", "NXT");
    EXPECT_EQ(TargetConnStr,
              "Provider=SQLOLEDB.1;Server=(local);Trusted_Connection=Yes;Database=shop");
    EXPECT_EQ(MSSQLDstDB, "shop");
    ShowPage("MSSQLDest");
    Registry().Register({});
    Press("MSSQLDest", "ConnButt");
    EXPECT_EQ(NoFailureWith("MSSQLDest", "tdsodbc"), "");
    Press("MSSQLDest", "NXT");
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Connect to MS SQL Server Destination first|OK");
    EXPECT_EQ(VisiblePages(), "MSSQLDest Form4");
}

TEST_F(SqlServerPagesTest, FailuresAreToldInTheDriversWords) {
    const QuietPort web("HTTP/1.1 400 Bad Request\r\n\r\n");
    const QuietPort silent;
    std::string closed;
    { closed = "127.0.0.1," + std::to_string(QuietPort().Port()); }
    for (const char* page : kPages) {
        SCOPED_TRACE(page);
        UseStandIn();
        ShowPage(page);
        Press(page, "ConnButt");
        if (std::string_view(page) == "MSSQLSrc") {
            Pick(page, "MSSQLDBCombo", "shop");
        }
        UseFreeTds();
        Press(page, "Option2");
        dialogs_.boxes.clear();
        Type(page, "PassTbox", "S3cret");
        for (const auto& [server, words] :
             {std::pair(closed, "Adaptive Server is unavailable or does not exist"),
              std::pair("127.0.0.1," + std::to_string(web.Port()), "Adaptive Server connection"),
              std::pair(std::string("no.such.host.invalid"), "Unknown host machine name")}) {
            Type(page, "SrvTBox", server);
            Press(page, "ConnButt");
            EXPECT_EQ(NoFailureWith(page, words), "") << server;
            EXPECT_EQ(Status(page, "Label2"), kRed);
            EXPECT_EQ(Entries(page, "MSSQLDBCombo"), "");
            EXPECT_EQ(VisiblePages(), page);
        }
        if (std::string_view(page) == "MSSQLSrc") {
            EXPECT_EQ(Entries(page, "MSSQLSrcTables"), "");
        }
        Type(page, "SrvTBox", "127.0.0.1," + std::to_string(silent.Port()));
        GiveUpSoon();
        Press(page, "ConnButt");
        EXPECT_EQ(NoFailureWith(page, "The wait for an answer was given up."), "");
        UseStandIn();
        Type(page, "SrvTBox", "(local)");
        Press(page, "ConnButt");
        EXPECT_EQ(Status(page, "Label2") + dialogs_.TakeBoxes(), kGood);
        HidePage(page);
    }
}

TEST_F(SqlServerPagesTest, WithoutAnyDriverTheOdbcMethodNamesThePackage) {
    OdbcDrivers = {""};
    Registry().Register({});
    ShowPage("MSSQLSrc");
    Press("MSSQLSrc", "ConnODBC");
    EXPECT_EQ(SourceConnStr, "driver=;Server=(local);Trusted_Connection=yes");
    EXPECT_EQ(NoFailureWith("MSSQLSrc", "tdsodbc"), "");
}

}  // namespace
}  // namespace vantry::test
