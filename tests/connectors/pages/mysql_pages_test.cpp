// MySQLSrc and MySQLDest on a real server, and on ports where none is.

#include "connectors/pages/connector_pages_fixture.h"
#include "support/private_mariadb.h"
#include "support/quiet_port.h"

#include <tuple>

namespace vantry::test {
namespace {

constexpr const char* kBuiltIn = "MySQL (built in)";
constexpr const char* kGreen = "Connected Successfully #14c814";
constexpr const char* kRed = "Connection Error #ff0000";
constexpr const char* kFieldsMissing =
    "stop|Stop|Please Enter the required fields and then click connect|OK";

class MySqlPagesTest : public ConnectorPagesTest {
protected:
    void SetUp() override {
        if (const auto missing = PrivateMariaDb::Missing(); !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        Server().Run(
            "drop table if exists shop.`b items`, shop.`Ärger`; drop view if exists shop.cheap; "
            "create table shop.`b items`(id int); create table shop.`Ärger`(id int); "
            "create view shop.cheap as select 1 as one; create database if not exists `bare db`");
        OdbcDrivers = {"SQLite3", kBuiltIn, "My MYSQL other"};
    }
    static PrivateMariaDb& Server() {
        static PrivateMariaDb server;
        return server;
    }
    static std::string Port() { return std::to_string(Server().Port()); }
    static void Open(const char* page) {
        ShowPage(page);
        Type(page, "SrvTBox", "127.0.0.1");
        Type(page, "PortTBox", Port());
        Type(page, "UserTBox", Server().User());
        Type(page, "PassTbox", Server().Password());
    }
    std::string NoFailureWith(std::string_view words) {
        return NoBox("stop|Error|Unable to Connect\n",
                     words,
                     "\nIf firewall is present please allow Vantry to access MySQL Server|OK",
                     Server().Password());
    }
    static std::string Login(const char* driver = kBuiltIn) {
        return std::string("DRIVER={") + driver + "};SERVER=127.0.0.1;";
    }
    static std::string Tail() {
        return "USER=" + Server().User() + ";PASSWORD=" + Server().Password() + ";port=" + Port();
    }
};

TEST_F(MySqlPagesTest, StartsAsDesigned) {
    OdbcDsns = {{"Books", "MySQL (MariaDB Unicode)"}, {"Else", "SQLite3"}, {"New", "mysql"}};
    for (const char* page : {"MySQLSrc", "MySQLDest"}) {
        ShowPage(page);
        std::string texts;
        for (const char* edit : {"SrvTBox", "PortTBox", "UserTBox", "PassTbox"}) {
            texts += FromQt(Control<QLineEdit>(page, edit).text()) + "|";
        }
        EXPECT_EQ(texts, "localhost|3306|root||");
        EXPECT_EQ(Control<QLineEdit>(page, "PassTbox").echoMode(), QLineEdit::Password);
        EXPECT_EQ(Entries(page, "MySQLODBCDriverList"), "MySQL (built in),My MYSQL other");
        EXPECT_EQ(Entries(page, "MySQLDSNList"), "Books,New");
        EXPECT_EQ(Enabled(page, {"MySQLODBCDriverList", "MySQLDSNList"}), "MySQLODBCDriverList ");
    }
    EXPECT_TRUE(dialogs_.boxes.empty()) << "nothing is connected by itself";
}

TEST_F(MySqlPagesTest, SourceListsDatabasesAndTheTablesOfThePickedOne) {
    Open("MySQLSrc");
    EXPECT_EQ(Pressed("MySQLSrc", "ConnButt"), "");
    EXPECT_EQ(Status("MySQLSrc", "Label2"), kGreen);
    EXPECT_EQ(SourceConnStr, Login() + "DATABASE=information_schema;" + Tail() + ";Option=3");
    EXPECT_EQ(Control<QComboBox>("MySQLSrc", "MySQLDBCombo").currentText(), "");
    EXPECT_EQ(Entries("MySQLSrc", "MySQLSrcTables"), "");

    Control<QComboBox>("MySQLSrc", "MySQLDBCombo").setEditText("shop");
    PressEnter("MySQLSrc", "MySQLDBCombo");
    EXPECT_EQ(Entries("MySQLSrc", "MySQLSrcTables"), "") << "a typed name is no click";
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|Please select atleast one table|OK")
        << "Enter was Next";

    Pick("MySQLSrc", "MySQLDBCombo", "shop");
    EXPECT_EQ(Entries("MySQLSrc", "MySQLSrcTables"), "Ärger,b items,cheap");
    EXPECT_EQ(Status("MySQLSrc", "Label2"), "Connected Successfully");
    EXPECT_EQ(SourceConnStr, Login() + "DATABASE=shop;" + Tail());
    EXPECT_EQ(SrcConn, nullptr);

    Select("MySQLSrc", "MySQLSrcTables", {2, 0});
    SourceQueryMode = 7;
    Press("MySQLSrc", "NXT");
    EXPECT_EQ(Tables(), "shop|Ärger,shop|cheap");
    EXPECT_EQ(MySQLSrcDB + std::to_string(SourceQueryMode), "shop0");
    EXPECT_EQ(VisiblePages(), "Form8");
    ShowPage("MySQLSrc");
    EXPECT_EQ(Entries("MySQLSrc", "MySQLSrcTables"), "Ärger,b items,cheap") << "hidden";
    Pick("MySQLSrc", "MySQLDBCombo", "bare db");
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "information|Information|No tables found in the selected Database|OK");
    EXPECT_EQ(Status("MySQLSrc", "Label2"), "Connected Successfully");
    Pick("MySQLSrc", "MySQLODBCDriverList", "My MYSQL other");
    EXPECT_EQ(Entries("MySQLSrc", "MySQLDBCombo") + Status("MySQLSrc", "Label2"),
              "Please Click Connect");

    Pick("MySQLSrc", "MySQLODBCDriverList", kBuiltIn);
    Press("MySQLSrc", "ConnButt");
    Control<QComboBox>("MySQLSrc", "MySQLDBCombo").addItem("gone");
    Pick("MySQLSrc", "MySQLDBCombo", "gone");
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "stop|Error|Unable to show list of tables\nUnknown database 'gone'|OK");
    EXPECT_EQ(Status("MySQLSrc", "Label2"), kRed);
    Press("MySQLSrc", "BCK");
    EXPECT_EQ(FindPage("MySQLSrc"), nullptr);
}

TEST_F(MySqlPagesTest, TargetListsDatabasesAndTakesATypedOne) {
    Open("MySQLDest");
    EXPECT_EQ(Pressed("MySQLDest", "NXT"),
              "stop|Stop|Please connect to the Target MySQL Database first|OK");
    Press("MySQLDest", "ConnButt");
    EXPECT_EQ(Status("MySQLDest", "Label2") + dialogs_.TakeBoxes(), kGreen);
    EXPECT_EQ(TargetConnStr, Login() + Tail() + ";Option=3");
    EXPECT_TRUE(Has(Entries("MySQLDest", "MySQLDBCombo"), "bare db"));
    const auto listed = Entries("MySQLDest", "MySQLDBCombo");
    Press("MySQLDest", "ConnButt");
    EXPECT_EQ(Entries("MySQLDest", "MySQLDBCombo"), listed) << "not twice";
    EXPECT_EQ(Pressed("MySQLDest", "NXT"), "stop|Stop|Please Select a Target Database|OK");

    Control<QComboBox>("MySQLDest", "MySQLDBCombo").setEditText("my new; db");
    Press("MySQLDest", "NXT");
    EXPECT_EQ(TargetConnStr, Login() + "DATABASE=my new; db;" + Tail() + ";Option=3");
    EXPECT_EQ(MySQLDstDB, "my new; db");
    EXPECT_EQ(VisiblePages(), "MySQLDest Form4") << "it stays beneath";
    HidePage("Form4");
    Type("MySQLDest", "PassTbox", "changed by hand");
    Press("MySQLDest", "NXT");
    EXPECT_TRUE(Has(TargetConnStr, "PASSWORD=changed by hand;"));
    HidePage("Form4");

    Pick("MySQLDest", "MySQLODBCDriverList", kBuiltIn);
    EXPECT_EQ(NoFailureWith("Access denied for user 'vantry'"), "") << "a pick connects at once";
    EXPECT_EQ(Status("MySQLDest", "Label2") + Entries("MySQLDest", "MySQLDBCombo"), kRed);
}

TEST_F(MySqlPagesTest, EveryFailureIsToldAndTheNextTryWorks) {
    const QuietPort web("HTTP/1.1 400 Bad Request\r\n\r\n");
    const QuietPort silent;
    int free_port = 0;
    { free_port = QuietPort().Port(); }
    // words: null: the required fields.
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"PassTbox", "wrong", "Access denied for user 'vantry'@"},
        {"PassTbox", "", "Access denied"},
        {"PortTBox", std::to_string(free_port), "Can't connect to server"},
        {"PortTBox", std::to_string(web.Port()), ""},
        {"PortTBox", "33x", "33x"},
        {"SrvTBox", "", nullptr},
        {"UserTBox", "", nullptr},
        {"PortTBox", "", nullptr}};
    for (const char* page : {"MySQLSrc", "MySQLDest"}) {
        for (const auto& [field, text, words] : cases) {
            SCOPED_TRACE(std::string(page) + " " + field + "=" + text);
            Open(page);
            Type(page, field, text);
            Press(page, "ConnButt");
            if (words == nullptr) {
                EXPECT_EQ(dialogs_.TakeBoxes(), kFieldsMissing);
            } else {
                EXPECT_EQ(NoFailureWith(words), "");
                EXPECT_EQ(Status(page, "Label2"), kRed);
            }
            EXPECT_EQ(VisiblePages(), page);
            Open(page);
            Press(page, "ConnButt");
            EXPECT_EQ(Status(page, "Label2") + dialogs_.TakeBoxes(), kGreen);
        }
        // Esc gives a server up that says nothing, and a press on a button meanwhile does nothing.
        Type(page, "PortTBox", std::to_string(silent.Port()));
        bool was_pressed = false;
        QTimer::singleShot(20, qApp, [&] {
            EXPECT_EQ(FindPage(page)->cursor().shape(), Qt::BusyCursor);
            auto& back = Control<QAbstractButton>(page, "BCK");
            SendMouse(&back, QEvent::MouseButtonPress, QPoint(5, 5));
            was_pressed = back.isDown();
        });
        GiveUpSoon();
        Press(page, "ConnButt");
        EXPECT_FALSE(was_pressed);
        EXPECT_EQ(NoFailureWith("The wait for an answer was given up."), "");
        EXPECT_EQ(FindPage(page)->cursor().shape(), Qt::ArrowCursor);
        HidePage(page);
    }
}

// A semicolon ends a value of the string, unless it stands in braces.
TEST_F(MySqlPagesTest, NamesAndPasswordsOfAllLetters) {
    // As the server is told, and as it is typed.
    const std::pair<std::string, const char*> passwords[] = {
        {"a;b}c d", "{a;b}}c d}"}, {" x ", "{ x }"}, {"{w", "{w"}, {"'\"\"=ß😀%", "'\"=ß😀%"}};
    Open("MySQLSrc");
    Type("MySQLSrc", "UserTBox", "odd");
    for (const auto& [password, typed] : passwords) {
        Server().Run("create or replace user odd@127.0.0.1 identified by \"" + password +
                     "\"; grant all on *.* to odd@127.0.0.1");
        Type("MySQLSrc", "PassTbox", typed);
        Press("MySQLSrc", "ConnButt");
        EXPECT_EQ(Status("MySQLSrc", "Label2") + dialogs_.TakeBoxes(), kGreen) << password;
    }
    for (const char* name : {"my shop", "O'Hara \"x\"", "a[b]{c}", "Ünï €", "100%=?"}) {
        const std::string quoted = std::string("`") + name + "`";
        Server().Run("create database " + quoted + "; create table " + quoted + "." + quoted +
                     "(i int)");
        Press("MySQLSrc", "ConnButt");
        Pick("MySQLSrc", "MySQLDBCombo", name);
        EXPECT_EQ(Entries("MySQLSrc", "MySQLSrcTables") + dialogs_.TakeBoxes(), name);
        Server().Run("drop database " + quoted);
    }
}

TEST_F(MySqlPagesTest, WithoutADriverTheBoxSaysSo) {
    OdbcDrivers = {"SQLite3"};
    for (const char* page : {"MySQLSrc", "MySQLDest"}) {
        ShowPage(page);
        const std::string box = Pressed(page, "ConnButt");
        EXPECT_TRUE(box.starts_with(
            "stop|Vantry|No MySQL ODBC Drivers found. Please download and install MySQL ODBC "
            "Driver and then try again.\nYou can download the driver from MySQL AB site at http"))
            << box;
        EXPECT_EQ(Status(page, "Label2"), kRed);
    }
}

TEST_F(MySqlPagesTest, DataSources) {
    if (const auto missing = PrivateOdbc::Missing("libmaodbc.so", "odbc-mariadb");
        !missing.empty()) {
        GTEST_SKIP() << missing;
    }
    Registry().Register(
        {PrivateOdbc::Driver("MariaDB", "libmaodbc.so")},
        {{"Books", "Driver=MariaDB\nSERVER=127.0.0.1\nPORT=" + Port() + "\nDATABASE=shop\n"},
         {"Bare", "Driver=MariaDB\nSERVER=127.0.0.1\nPORT=" + Port() + "\nDATABASE=bare db\n"}});
    const std::string dsn = "DSN=Books;UID=" + Server().User() + ";PWD=" + Server().Password();
    Open("MySQLSrc");
    EXPECT_EQ(Pressed("MySQLSrc", "Option2"),
              "none|Vantry|No MySQL DSN Found. You can create DSN from Control Panel|OK");
    EXPECT_EQ(Enabled("MySQLSrc", {"MySQLODBCDriverList", "MySQLDSNList"}), "MySQLDSNList ");
    UnloadPage("MySQLSrc");
    Open("MySQLDest");
    EXPECT_EQ(Pressed("MySQLDest", "Option2"),
              "none|Vantry|No MySQL DSN found. You can create DSN from windows control panel|OK");
    EXPECT_EQ(Status("MySQLDest", "Label2"), kRed);
    UnloadPage("MySQLDest");

    OdbcDsns = {{"Books", "MySQL"}, {"Bare", "MySQL"}};
    Open("MySQLSrc");
    EXPECT_EQ(Pressed("MySQLSrc", "Option2"), "");
    EXPECT_EQ(SourceConnStr, dsn);
    EXPECT_EQ(Entries("MySQLSrc", "MySQLSrcTables"), "Ärger,b items,cheap");
    EXPECT_EQ(Status("MySQLSrc", "Label2"), kGreen);
    Select("MySQLSrc", "MySQLSrcTables", {1});
    Press("MySQLSrc", "NXT");
    EXPECT_EQ(Tables() + MySQLSrcDB, "|b items") << "the data source names the database";
    ShowPage("MySQLSrc");
    Pick("MySQLSrc", "MySQLDSNList", "Bare");
    EXPECT_EQ(Pressed("MySQLSrc", "ConnButt"),
              "information|Information|No tables found in the selected Database|OK");
    Type("MySQLSrc", "SrvTBox", "");
    EXPECT_EQ(Pressed("MySQLSrc", "ConnButt"), kFieldsMissing) << "though the server isn't used";

    Open("MySQLDest");
    Type("MySQLDest", "PassTbox", "wrong");
    Type("MySQLDest", "SrvTBox", "");
    Press("MySQLDest", "Option2");
    EXPECT_EQ(Status("MySQLDest", "Label2") + dialogs_.TakeBoxes(), kGreen) << "it isn't tried";
    Type("MySQLDest", "PassTbox", Server().Password());
    Press("MySQLDest", "NXT");
    EXPECT_EQ(TargetConnStr + MySQLDstDB, dsn);
}

}  // namespace
}  // namespace vantry::test
