// The wizard itself, walked through from the splash window to the finish. By mouse, in the main:
// text files into a new Access database, and from there to delimited text, to fixed text and into
// another Access database. Then by either hand, which is the argument: to servers and back, and out
// of a FoxPro container. The servers are a real MySQL server, the stand-in for SQL Server through
// the real FreeTDS, and SQLite in the place of Oracle. Everything lies in the folder of the
// executable, which the script makes anew and whose results it reads back; what servers hold is
// written there as they tell it, past the wizard's drivers. The keyboard's walk follows the mouse's
// and has a folder in it. Usage: wizard_road mouse|keyboard (in a folder with data/customers.csv,
// data/notes.csv and data/orders.csv)

#include "core/session_state.h"
#include "shell/qt_text.h"
#include "support/page_driver.h"
#include "support/private_mariadb.h"
#include "support/private_odbc.h"
#include "support/tds_server.h"
#include "wizard/road_driver.h"
#include "wizard/road_program.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProcess>

#include <fstream>

namespace vantry {
namespace {

constexpr const char* kTextBanner = "\n******( FINISH )*******";

class Road {
public:
    explicit Road(const std::string& folder)
        : folder_(folder),
          by_keyboard_(QCoreApplication::arguments().contains("keyboard")),
          driver_(folder + (by_keyboard_ ? "/pictures/keyboard" : "/pictures")) {
        registry_.Register({test::PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so"),
                            test::PrivateOdbc::Driver("Oracle", "libsqlite3odbc.so")});
        // The server's usual password has a letter that no key of the X server types.
        mysql_.Run(
            "create user walker@127.0.0.1 identified by 'pass-word'; grant all on shop.* to "
            "walker@127.0.0.1");
        const std::string container =
            "Driver={Microsoft Visual FoxPro Driver};SourceType=DBC;SourceDb=" + Out("old.dbc");
        Catalog().Create(container);
        Connection fox;
        fox.Open(container);
        fox.Execute("create table goods (id n(5,0), name c(20), bought d)");
        fox.Execute("insert into goods values (1,'Ärger',{^2024-02-29})");
        fox.Execute("insert into goods (id, name) values (2,'two words')");
        // What an Oracle server keeps about its tables.
        Connection oracle;
        oracle.Open("Provider=MSDAORA;Data Source=" + OracleService());
        oracle.Execute("create table goods (id integer, name varchar(20))");
        oracle.Execute("insert into goods values (1,'Ärger'),(2,'two words')");
        oracle.Execute("create table all_tables as select 'MAIN' owner, 'goods' table_name");
    }

    void Walk() {
        if (by_keyboard_) {
            driver_.Use(RoadDriver::Hand::Keyboard);  // the splash goes by itself
        } else {
            StartAndMakeRepository(driver_);
            TextToAccess();
            AccessToText("FileFormatOpt_0", "delimited", "csv");
            AccessToText("FileFormatOpt_1", "fixed", "txt");
            AccessToAccess();
        }
        AccessToMySql();
        MySqlToAccess();
        MySqlToFoxPro();
        FoxProContainerToMySql();
        TextToSqlServer();
        SqlServerToText();
        OracleToText();
        driver_.Do("what the servers hold", [this] { WriteServersRows(); });
        driver_.Start();
    }

private:
    std::string In(const std::string& name) const { return folder_ + "/" + name; }
    // What this walk makes.
    std::string Out(const std::string& name) const {
        return In(by_keyboard_ ? "keyboard/" + name : name);
    }

    void ChooseKinds(const char* source, const char* target) {
        driver_.Page("NavForm");
        driver_.Press("NavForm", "NavChoice_0");
        driver_.Press("NavForm", "NXTBUTT");
        driver_.Page("Form1");
        driver_.Press("Form1", source);
        driver_.Press("Form1", target);
        driver_.Press("Form1", "NXT");
    }

    void NewAccessTarget(const std::string& file) {
        driver_.Page("Form8");
        driver_.Press("Form8", "NewMdbButton");
        driver_.Choose(file);
        driver_.Until("the target is connected",
                      [] { return LabelText("Form8", "ACCStatus") == "Connected Succesfully"; });
        driver_.Page("Form8");
        driver_.Press("Form8", "NXT");
    }

    void AccessSource() {
        driver_.Page("Form2");
        driver_.Fill("Form2", "Mdbfilename", In("shop.mdb"));
        driver_.Press("Form2", "LOADBUTT");
        driver_.Pick("Form2", "mdbtables", "customers");
        driver_.Keys("ctrl+a");
        driver_.Page("Form2");
        driver_.Press("Form2", "NXT");
    }

    // The last three pages.
    void MapAndRun(const char* banner = "\n*******( F.I.N.I.S.H )*********") {
        driver_.Page("Form4");
        driver_.Press("Form4", "NXTBUTT");
        driver_.Page("Form13");
        driver_.Press("Form13", "FreqOpt_1");
        driver_.Press("Form13", "NXTBUTT");
        RunToTheEnd(banner);
    }
    void RunToTheEnd(const std::string& banner) {
        driver_.Page("Form14");
        driver_.Press("Form14", "StartButton");
        driver_.Until("the log's last banner", [banner] {
            return FindPage("Form14") != nullptr &&
                   FromQt(Control<QPlainTextEdit>("Form14", "LogTxt").toPlainText())
                       .ends_with(banner);
        });
        driver_.Page("Form14");
        driver_.Press("Form14", "FINISHBUTT");
        driver_.Page("NavForm");
    }

    // One column gets another name and size, one table a condition and the option to be dropped;
    // the session is saved and run at once.
    void TextToAccess() {
        ChooseKinds("SOpt_6", "DOpt_1");
        driver_.Page("Form11");
        driver_.Click("Form11", "Command1");
        driver_.Choose(In("data"));
        for (const char* file : {"customers.csv", "notes.csv", "orders.csv"}) {
            driver_.TickEntry("Form11", "FilesList", file);
        }
        driver_.ClickEntry("Form11", "FilesList", "customers.csv");
        driver_.Page("Form11");
        driver_.Click("Form11", "NXTBUTT");
        NewAccessTarget(In("shop.mdb"));

        driver_.Page("Form4");
        driver_.ClickCell("Form4", "FlexGrid1", 0, 1);
        driver_.Page("Form5");
        driver_.ClickCell("Form5", "ColGrid1", 1, 5);
        driver_.Keys("ctrl+a");
        driver_.TypeText("full name");
        driver_.ClickCell("Form5", "ColGrid1", 1, 7);
        driver_.Keys("ctrl+a");
        driver_.TypeText("80");
        driver_.Keys("Return");
        driver_.Click("Form5", "SQLCondTxt");
        driver_.TypeText("id > 1");
        driver_.Page("Form5");
        driver_.Click("Form5", "closebutt");
        driver_.Page("Form4");
        driver_.ClickCell("Form4", "FlexGrid1", 2, 1);
        driver_.Page("Form5");
        driver_.Click("Form5", "TabDropOpt_0");
        driver_.Keys("alt+c");
        driver_.Page("Form4");
        driver_.Click("Form4", "NXTBUTT");

        driver_.Page("Form13");
        driver_.Click("Form13", "FreqOpt_0");
        driver_.Click("Form13", "NXTBUTT");
        driver_.Box("Session Saved Successfully", "Return");
        RunToTheEnd("\n*******( F.I.N.I.S.H )*********");
    }

    void AccessToText(const char* format, const std::string& folder, const std::string& extension) {
        ChooseKinds("SOpt_1", "DOpt_6");
        AccessSource();
        driver_.Page("Form12c");
        driver_.Fill("Form12c", "FName", In(folder));
        driver_.Click("Form12c", format);
        driver_.Click("Form12c", "DefExt");
        driver_.Keys("ctrl+a");
        driver_.TypeText(extension);
        driver_.Click("Form12c", "ColNames");
        driver_.Page("Form12c");
        driver_.Click("Form12c", "NXTBUTT");
        MapAndRun(kTextBanner);
    }

    // Field by field; then Connect.
    void LogIn(const char* page,
               std::initializer_list<std::pair<const char*, std::string>> fields) {
        driver_.Page(page);
        for (const auto& [field, text] : fields) {
            driver_.Fill(page, field, text);
        }
        driver_.Press(page, "ConnButt");
        driver_.Until(std::string(page) + " is connected",
                      [=] { return LabelText(page, "Label2") == "Connected Successfully"; });
        driver_.Page(page);
    }
    void MySqlLogIn(const char* page) {
        LogIn(page,
              {{"SrvTBox", "127.0.0.1"},
               {"PortTBox", std::to_string(mysql_.Port())},
               {"UserTBox", "walker"},
               {"PassTbox", "pass-word"}});
    }
    void SqlServerLogIn(const char* page) {
        driver_.Page(page);
        driver_.Press(page, "Option2");
        LogIn(page,
              {{"SrvTBox", "127.0.0.1," + std::to_string(sql_server_.Port())},
               {"UserTBox", sql_server_.Options().user},
               {"PassTbox", sql_server_.Options().password}});
    }
    // Down steps through the closed list; each step is a choice.
    void StepTo(const char* page, const char* combo, const std::string& entry) {
        driver_.Enter(page, combo);
        if (!by_keyboard_) {
            const auto is_open = [=] {
                return Control<QComboBox>(page, combo).view()->isVisible();
            };
            driver_.Until("the click has come",
                          [=] { return is_open() || Control<QComboBox>(page, combo).hasFocus(); });
            // On a list that is closed the key would be the page's: Cancel.
            driver_.Do("Escape for an open list", [=] {
                if (is_open()) {
                    QProcess::execute("xdotool", {"key", "Escape"});
                }
            });
        }
        for (int step = 0; step < 3; ++step) {
            driver_.Do("a step down the list, unless it is there", [=] {
                if (FromQt(Control<QComboBox>(page, combo).currentText()) != entry) {
                    QProcess::execute("xdotool", {"key", "Down"});
                }
            });
            driver_.Page(page);
        }
        driver_.Until(entry + " is chosen", [=] {
            return FromQt(Control<QComboBox>(page, combo).currentText()) == entry;
        });
    }

    void MySqlTarget() {
        MySqlLogIn("MySQLDest");
        driver_.Fill("MySQLDest", "MySQLDBCombo", mysql_.Database());
        driver_.Press("MySQLDest", "NXT");
    }
    void MySqlSource() {
        MySqlLogIn("MySQLSrc");
        StepTo("MySQLSrc", "MySQLDBCombo", mysql_.Database());
    }

    void AccessToMySql() {
        ChooseKinds("SOpt_1", "DOpt_3");
        AccessSource();
        MySqlTarget();
        MapAndRun();
    }

    void MySqlToAccess() {
        ChooseKinds("SOpt_3", "DOpt_1");
        MySqlSource();
        driver_.Pick("MySQLSrc", "MySQLSrcTables", "orders");
        driver_.Keys("ctrl+a");
        driver_.Press("MySQLSrc", "NXT");
        NewAccessTarget(Out("back.mdb"));
        MapAndRun();
    }

    void MySqlToFoxPro() {
        ChooseKinds("SOpt_3", "DOpt_2");
        MySqlSource();
        driver_.Pick("MySQLSrc", "MySQLSrcTables", "orders");
        driver_.Press("MySQLSrc", "NXT");
        driver_.Page("Form3");
        driver_.Fill("Form3", "FoxDir", Out("dbf"));
        driver_.Press("Form3", "NXTBUTT");
        MapAndRun();
    }

    void FoxProContainerToMySql() {
        ChooseKinds("SOpt_2", "DOpt_3");
        driver_.Page("Form10");
        driver_.Press("Form10", "VFPFileOpt");
        driver_.Fill("Form10", "VFPFilename", Out("old.dbc"));
        driver_.Press("Form10", "DBCLoadbutt");
        driver_.Pick("Form10", "List1", "goods");
        driver_.Page("Form10");
        driver_.Press("Form10", "NXTBUTT");
        MySqlTarget();
        MapAndRun();
    }

    void TextToSqlServer() {
        ChooseKinds("SOpt_6", "DOpt_4");
        driver_.Page("Form11");
        driver_.Press("Form11", "Command1");
        driver_.Choose(In("data"));
        if (by_keyboard_) {
            driver_.Pick("Form11", "FilesList", "orders.csv");
            driver_.Keys("space");
        } else {
            driver_.TickEntry("Form11", "FilesList", "orders.csv");
        }
        driver_.Page("Form11");
        driver_.Press("Form11", "NXTBUTT");
        SqlServerLogIn("MSSQLDest");
        driver_.Fill("MSSQLDest", "MSSQLDBCombo", "shop");
        driver_.Press("MSSQLDest", "NXT");
        MapAndRun();
    }

    void TextTarget(const std::string& folder) {
        driver_.Page("Form12c");
        driver_.Fill("Form12c", "FName", Out(folder));
        driver_.Press("Form12c", "NXTBUTT");
        MapAndRun(kTextBanner);
    }

    void SqlServerToText() {
        ChooseKinds("SOpt_4", "DOpt_6");
        SqlServerLogIn("MSSQLSrc");
        driver_.Enter("MSSQLSrc", "MSSQLDBCombo");
        driver_.Keys("Down");
        driver_.Box("No tables found in the selected Database", "Return");  // in "master"
        driver_.Page("MSSQLSrc");
        driver_.Enter("MSSQLSrc", "MSSQLDBCombo");
        driver_.Keys("Down");
        driver_.Page("MSSQLSrc");
        driver_.Pick("MSSQLSrc", "MSSQLSrcTables", "dbo.orders");
        driver_.Press("MSSQLSrc", "NXT");
        TextTarget("sqlserver");
    }

    std::string OracleService() const { return "svc;Database=" + Out("oracle"); }
    void OracleToText() {
        ChooseKinds("SOpt_0", "DOpt_6");
        driver_.Page("Form6");
        driver_.Fill("Form6", "OrclUsr", "main");
        driver_.Fill("Form6", "OrclPwd", "tiger");
        driver_.Fill("Form6", "OrclSvc", OracleService());
        driver_.Press("Form6", "Command1");
        driver_.Pick("Form6", "orclTables", "MAIN.goods");
        driver_.Press("Form6", "NXT");
        TextTarget("oracle-text");
    }

    void WriteServersRows() {
        std::ofstream(Out("mysql.txt"))
            << mysql_.QueryOne(
                   "select group_concat(concat_ws('|', id, `full name`, city, credit) "
                   "order by id separator '\n') from customers")
            << "\n"
            << mysql_.QueryOne(
                   "select concat(count(*), '|', sum(id), '|', max(ordered)) from orders")
            << "\n"
            << mysql_.QueryOne(
                   "select group_concat(concat_ws('|', id, trim(name), date(bought)) "
                   "order by id separator '\n') from goods")
            << "\n";
        std::ofstream(Out("sqlserver.txt"))
            << sql_server_.Rows("select count(*), sum(id), sum(customer) from orders");
    }

    void AccessToAccess() {
        ChooseKinds("SOpt_1", "DOpt_1");
        AccessSource();
        NewAccessTarget(In("copy.mdb"));
        MapAndRun();
    }

    std::string folder_;
    bool by_keyboard_;
    test::PrivateOdbc registry_;
    test::PrivateMariaDb mysql_;
    test::TdsServer sql_server_;
    RoadDriver driver_;
};

}  // namespace
}  // namespace vantry

int main(int argc, char** argv) {
    return vantry::WalkIn<vantry::Road>(argc, argv);
}
