// MSSQLSrc and MSSQLDest through the real FreeTDS, over the stand-in for the server.

#include "connectors/pages/connector_pages_fixture.h"
#include "support/quiet_port.h"
#include "support/tds_server.h"

#include <QCheckBox>

namespace vantry::test {
namespace {

constexpr const char* kRed = "Connection Error #ff0000";
constexpr const char* kGood = "Connected Successfully";
constexpr const char* kDriver = "SQL Server (FreeTDS)";
constexpr const char* kPages[] = {"MSSQLSrc", "MSSQLDest"};

class SqlServerPagesTest : public ConnectorPagesTest {
protected:
    SqlServerPagesTest() : server_({.databases = {"bare ü", "shop"}}) {
        OdbcDrivers = {"FreeTDS", kDriver, "My sql server", "MySQL (built in)"};
    }
    void SetUp() override {
        if (const auto missing = PrivateOdbc::Missing("libtdsodbc.so", "tdsodbc");
            !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        Registry().Register({PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so")});
        server_.Databases().AddSchema("shop", "Sales");
        server_.Run(
            "create table orders (id int); create table Sales.[a.b c] (id int); "
            "create view cheap as select id from orders");
    }
    std::string Address() const { return "127.0.0.1," + std::to_string(server_.Port()); }
    // Fills in the server's own login; that it is chosen may connect already.
    void TypeLogin(const char* page) {
        Type(page, "SrvTBox", Address());
        Type(page, "UserTBox", "sa");
        Type(page, "PassTbox", server_.Options().password);
        Press(page, "Option2");
    }
    void Connect(const char* page) {
        ShowPage(page);
        TypeLogin(page);
        Press(page, "ConnButt");
    }
    std::string Login(const char* head = "Provider=SQLOLEDB.1") const {
        return std::string(head) + ";Server=" + Address() +
               ";uid=sa;pwd=" + server_.Options().password;
    }
    std::string NoFailureWith(std::string_view page, std::string_view words) {
        return NoBox(
            "stop|Error|Unable to Connect\n",
            words,
            page == "MSSQLSrc"
                ? "\nIf you are connecting to SQL Server Express Edition then Please Check "
                  "SQL Express Edition Check Box and Click Connect Again|OK"
                : "\nIf you are connecting to SQL Server Express Edition then Please Check "
                  "the SQL Express Edition Check Box and click Connect Button again|OK",
            server_.Options().password);
    }
    TdsServer server_;
};

TEST_F(SqlServerPagesTest, StartsAsDesignedAndConnectsByEveryTemplate) {
    for (const char* page : kPages) {
        SCOPED_TRACE(page);
        ShowPage(page);
        EXPECT_EQ(Control<QLineEdit>(page, "SrvTBox").text(), "(local)");
        EXPECT_EQ(Control<QLineEdit>(page, "UserTBox").text(), "administrator");
        EXPECT_EQ(Enabled(page, {"UserTBox", "PassTbox", "ODBCDrv"}), "");
        EXPECT_FALSE(Control<QCheckBox>(page, "SQLExpress").isChecked());
        EXPECT_EQ(Entries(page, "ODBCDrv"), "SQL Server (FreeTDS),My sql server");
        EXPECT_EQ(Control<QComboBox>(page, "ODBCDrv").currentIndex(), -1);

        // Nobody has a ticket of a Windows domain here.
        Type(page, "SrvTBox", Address());
        Press(page, "ConnButt");
        EXPECT_EQ(NoFailureWith(page, "Adaptive Server connection failed"), "");
        EXPECT_EQ(ConnStr(page),
                  "Provider=SQLOLEDB.1;Server=" + Address() + ";Trusted_Connection=Yes");
        Press(page, "ConnODBC");
        EXPECT_EQ(Enabled(page, {"ODBCDrv"}), "ODBCDrv ");
        EXPECT_EQ(ConnStr(page),
                  "driver=SQL Server (FreeTDS);Server=" + Address() + ";Trusted_Connection=yes");
        dialogs_.boxes.clear();
        Press(page, "Option2");
        EXPECT_EQ(Enabled(page, {"UserTBox", "PassTbox"}), "UserTBox PassTbox ");
        EXPECT_TRUE(dialogs_.boxes.empty()) << "by itself only where something is listed";
        EXPECT_EQ(Pressed(page, "ConnButt"),
                  "stop|Stop|Please Enter the required fields and then click connect|OK")
            << "an empty password is refused here";
        EXPECT_EQ(FindPage(page)->cursor().shape(), Qt::ArrowCursor);
        TypeLogin(page);
        Press(page, "ConnButt");
        EXPECT_EQ(Status(page, "Label2") + dialogs_.TakeBoxes(), kGood);
        EXPECT_EQ(ConnStr(page), Login("Driver=SQL Server (FreeTDS)"));
        EXPECT_EQ(Entries(page, "MSSQLDBCombo"), "bare ü,master,shop");
        EXPECT_EQ(Control<QComboBox>(page, "MSSQLDBCombo").currentText(), "");
        Press(page, "ConnOLE");
        EXPECT_EQ(ConnStr(page), Login());
        EXPECT_EQ(Entries(page, "MSSQLDBCombo"), "bare ü,master,shop,bare ü,master,shop")
            << "always once more";
        EXPECT_EQ(Enabled(page, {"ODBCDrv"}) + dialogs_.TakeBoxes(), "");

        Press(page, "SQLExpress");
        Type(page, "SrvTBox", "127.0.0.1,1");
        Press(page, "ConnButt");
        EXPECT_TRUE(ConnStr(page).starts_with(
            "Provider=SQLOLEDB.1;Server=127.0.0.1,1\\SQLExpress;uid=sa;pwd="));
        dialogs_.boxes.clear();
    }
}

TEST_F(SqlServerPagesTest, SourceListsTablesAndViewsOfAPickedDatabase) {
    ShowPage("MSSQLSrc");
    const auto tables = [] { return Entries("MSSQLSrc", "MSSQLSrcTables"); };
    Control<QComboBox>("MSSQLSrc", "MSSQLDBCombo").addItem("shop");
    Pick("MSSQLSrc", "MSSQLDBCombo", "shop");
    EXPECT_EQ(tables(), "") << "nothing before the first connect";
    Connect("MSSQLSrc");
    Pick("MSSQLSrc", "MSSQLDBCombo", "shop");
    EXPECT_EQ(tables(), "dbo.orders,Sales.a.b c") << dialogs_.TakeBoxes();
    EXPECT_EQ(SourceConnStr, Login());
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

    EXPECT_EQ(Pressed("MSSQLSrc", "NXT"), "stop|Stop|Please select atleast one table|OK");
    Pick("MSSQLSrc", "MSSQLDBCombo", "shop");
    Select("MSSQLSrc", "MSSQLSrcTables", {0, 1});
    Press("MSSQLSrc", "NXT");
    EXPECT_EQ(Tables() + ">" + MSSQLSrcDB, "dbo|orders,Sales|a.b c>shop");
    EXPECT_EQ(SourceConnStr, Login() + ";Database=shop");
    EXPECT_EQ(VisiblePages(), "Form8");
    // Back, another database, Next: the name is appended again, and the last one counts.
    for (const char* method : {"ConnOLE", "ConnODBC"}) {
        Press("MSSQLSrc", method);
        for (const char* database : {"shop", "shop;Database=shop"}) {
            ShowPage("MSSQLSrc");
            Pick("MSSQLSrc", "MSSQLDBCombo", "bare ü");
            EXPECT_EQ(dialogs_.TakeBoxes().substr(0, 23), "information|Information") << method;
            Pick("MSSQLSrc", "MSSQLDBCombo", "shop");
            EXPECT_EQ(tables(), "dbo.orders,Sales.a.b c");
            Select("MSSQLSrc", "MSSQLSrcTables", {0});
            Press("MSSQLSrc", "NXT");
            EXPECT_TRUE(SourceConnStr.ends_with(std::string(";Database=") + database));
        }
    }
    HidePage("Form8");
    ShowPage("MSSQLSrc");
    TargetType = "MSSQL";
    Press("MSSQLSrc", "NXT");
    EXPECT_EQ(VisiblePages(), "") << "from SQL Server to SQL Server no page follows";

    ShowPage("MSSQLSrc");
    server_.AddFault({"select u.name"});
    Pick("MSSQLSrc", "MSSQLDBCombo", "shop");
    const std::string box = dialogs_.TakeBoxes();
    EXPECT_TRUE(box.starts_with("stop|Error|Unable to Connect\n")) << box;
    EXPECT_TRUE(Has(box, "deadlocked"));
    EXPECT_EQ(Status("MSSQLSrc", "Label2"), kRed);
    EXPECT_EQ(Pressed("MSSQLSrc", "NXT"), "none|Vantry|Please Connect to MS SQL Server first|OK");
    Pick("MSSQLSrc", "MSSQLDBCombo", "shop");
    EXPECT_EQ(Status("MSSQLSrc", "Label2"), kRed) << "not before the next connect";
}

TEST_F(SqlServerPagesTest, TargetGoesOnUntriedButNotAfterAFailure) {
    ShowPage("MSSQLDest");
    TargetConnStr.clear();
    Press("MSSQLDest", "NXT");
    EXPECT_EQ(VisiblePages() + TargetConnStr + MSSQLDstDB, "Form4;Database=");
    HidePage("Form4");
    Connect("MSSQLDest");
    Pick("MSSQLDest", "MSSQLDBCombo", "shop");
    Press("MSSQLDest", "NXT");
    EXPECT_EQ(TargetConnStr, Login() + ";Database=shop");
    EXPECT_EQ(MSSQLDstDB, "shop");
    ShowPage("MSSQLDest");
    Registry().Register({});
    Press("MSSQLDest", "ConnButt");
    EXPECT_EQ(NoFailureWith("MSSQLDest", "tdsodbc"), "");
    EXPECT_EQ(Pressed("MSSQLDest", "NXT"),
              "none|Vantry|Connect to MS SQL Server Destination first|OK");
    EXPECT_EQ(VisiblePages(), "MSSQLDest Form4");
}

TEST_F(SqlServerPagesTest, FailuresAreToldInTheDriversWords) {
    const QuietPort silent;
    std::string closed;
    { closed = "127.0.0.1," + std::to_string(QuietPort().Port()); }
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"SrvTBox", closed, "Adaptive Server is unavailable or does not exist"},
        {"PassTbox", "wrong", "Login failed for user 'sa'."},
        {"UserTBox", "o;b", "Login failed for user 'o'."}};
    for (const char* page : kPages) {
        SCOPED_TRACE(page);
        const bool lists_tables = std::string_view(page) == "MSSQLSrc";
        Connect(page);
        if (lists_tables) {
            Pick(page, "MSSQLDBCombo", "shop");
        }
        for (const auto& [field, text, words] : cases) {
            TypeLogin(page);
            Type(page, field, text);
            dialogs_.boxes.clear();
            Press(page, "ConnButt");
            EXPECT_EQ(NoFailureWith(page, words), "") << text;
            EXPECT_EQ(Status(page, "Label2"), kRed);
            EXPECT_EQ(Entries(page, "MSSQLDBCombo"), "");
            EXPECT_EQ(lists_tables ? Entries(page, "MSSQLSrcTables") : "", "");
            EXPECT_EQ(VisiblePages(), page);
        }
        TypeLogin(page);
        Type(page, "SrvTBox", "127.0.0.1," + std::to_string(silent.Port()));
        GiveUpSoon();
        Press(page, "ConnButt");
        EXPECT_EQ(NoFailureWith(page, "The wait for an answer was given up."), "");
        Connect(page);
        EXPECT_EQ(Status(page, "Label2") + dialogs_.TakeBoxes(), kGood);
        HidePage(page);
    }
}

}  // namespace
}  // namespace vantry::test
