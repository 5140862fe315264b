// The wizard itself, walked through from the splash window to the finish by mouse and keyboard:
// text files into a new Access database, and from there to delimited text, to fixed text, into
// another Access database, and on to servers and back: a real MySQL server, the stand-in for SQL
// Server through the real FreeTDS, and SQLite in the place of Oracle. Everything lies in the folder
// of the executable, which the script makes anew and whose results it reads back; what servers hold
// is written there as they tell it, past the wizard's drivers. Usage: wizard_road (in a folder with
// data/customers.csv, data/notes.csv and data/orders.csv)

#include "core/session_state.h"
#include "shell/qt_text.h"
#include "support/page_driver.h"
#include "support/private_mariadb.h"
#include "support/private_odbc.h"
#include "support/tds_server.h"
#include "wizard/road_driver.h"
#include "wizard/road_program.h"

#include <QComboBox>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProcess>

#include <fstream>

namespace vantry {
namespace {

class Road {
public:
    explicit Road(const std::string& folder) : folder_(folder), driver_(folder + "/pictures") {
        registry_.Register({test::PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so"),
                            test::PrivateOdbc::Driver("Oracle", "libsqlite3odbc.so")});
        // The server's usual password has a letter that no key of the X server types.
        mysql_.Run(
            "create user walker@127.0.0.1 identified by 'pass-word'; grant all on shop.* to "
            "walker@127.0.0.1");
        // What an Oracle server keeps about its tables.
        Connection oracle;
        oracle.Open("Provider=MSDAORA;Data Source=" + OracleService());
        for (const char* sql :
             {"create table goods (id integer, name varchar(20))",
              "insert into goods values (1,'Ärger'),(2,'two words')",
              "create table all_tables as select 'MAIN' owner, 'goods' table_name"}) {
            oracle.Execute(sql);
        }
    }

    void Walk() {
        StartAndMakeRepository();
        TextToAccess();
        AccessToText("FileFormatOpt_0", "delimited", "csv");
        AccessToText("FileFormatOpt_1", "fixed", "txt");
        AccessToAccess();
        AccessToMySql();
        MySqlToAccessByKeyboard();
        MySqlToFoxPro();
        TextToSqlServer();
        SqlServerToText();
        OracleToText();
        driver_.Do("what the servers hold", [this] { WriteServersRows(); });
        driver_.Start();
    }

private:
    std::string In(const std::string& name) const { return folder_ + "/" + name; }

    void StartAndMakeRepository() {
        driver_.Click("frmSplash", "Image1");
        driver_.Page("NavForm");
        driver_.Keys("alt+r");
        driver_.Keys("n");
        driver_.Box("New Repository Created", "Return");
    }

    void ChooseKinds(const char* source, const char* target) {
        driver_.Page("NavForm");
        driver_.Click("NavForm", "NavChoice_0");
        driver_.Keys("alt+n");
        driver_.Page("Form1");
        driver_.Click("Form1", source);
        driver_.Click("Form1", target);
        driver_.Click("Form1", "NXT");
    }

    void NewAccessTarget(const std::string& file) {
        driver_.Page("Form8");
        driver_.Click("Form8", "NewMdbButton");
        driver_.Choose(file);
        driver_.Until("the target is connected",
                      [] { return LabelText("Form8", "ACCStatus") == "Connected Succesfully"; });
        driver_.Page("Form8");
        driver_.Click("Form8", "NXT");
    }

    void AccessSource() {
        driver_.Page("Form2");
        driver_.Type("Form2", "Mdbfilename", In("shop.mdb"));
        driver_.Keys("alt+l");
        driver_.ClickEntry("Form2", "mdbtables", "customers");
        driver_.Keys("ctrl+a");
        driver_.Page("Form2");
        driver_.Click("Form2", "NXT");
    }

    void RunToTheEnd(const std::string& banner) {
        driver_.Page("Form14");
        driver_.Click("Form14", "StartButton");
        driver_.Until("the log's last banner", [banner] {
            return FindPage("Form14") != nullptr &&
                   FromQt(Control<QPlainTextEdit>("Form14", "LogTxt").toPlainText())
                       .ends_with(banner);
        });
        driver_.Page("Form14");
        driver_.Click("Form14", "FINISHBUTT");
        driver_.Page("NavForm");
    }

    void SaveNot() {
        driver_.Page("Form13");
        driver_.Click("Form13", "FreqOpt_1");
        driver_.Click("Form13", "NXTBUTT");
    }

    // One column gets another name and size, one table a condition and the option to be dropped;
    // the session is saved and run at once.
    void TextToAccess() {
        ChooseKinds("SOpt_6", "DOpt_1");
        driver_.Page("Form11");
        driver_.Click("Form11", "Command1");
        driver_.Choose(In("data"));
        driver_.TickEntry("Form11", "FilesList", "customers.csv");
        driver_.TickEntry("Form11", "FilesList", "notes.csv");
        driver_.TickEntry("Form11", "FilesList", "orders.csv");
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
        driver_.Type("Form12c", "FName", In(folder));
        driver_.Click("Form12c", format);
        driver_.Click("Form12c", "DefExt");
        driver_.Keys("Escape");
        driver_.Keys("ctrl+a");
        driver_.TypeText(extension);
        driver_.Click("Form12c", "ColNames");
        driver_.Page("Form12c");
        driver_.Click("Form12c", "NXTBUTT");
        driver_.Page("Form4");
        driver_.Keys("alt+n");
        SaveNot();
        RunToTheEnd("\n******( FINISH )*******");
    }

    // Field by field, with the mouse; then Connect.
    void LogInByMouse(const char* page,
                      std::initializer_list<std::pair<const char*, std::string>> fields,
                      const char* connect,
                      const char* status,
                      const char* good) {
        driver_.Page(page);
        for (const auto& [field, text] : fields) {
            driver_.Type(page, field, text);
        }
        driver_.Click(page, connect);
        driver_.Until(std::string(page) + " is connected",
                      [=] { return LabelText(page, status) == good; });
        driver_.Page(page);
    }
    void MySqlLogInByMouse(const char* page) {
        LogInByMouse(page,
                     {{"SrvTBox", "127.0.0.1"},
                      {"PortTBox", std::to_string(mysql_.Port())},
                      {"UserTBox", "walker"},
                      {"PassTbox", "pass-word"}},
                     "ConnButt",
                     "Label2",
                     "Connected Successfully");
    }
    void SqlServerLogInByMouse(const char* page) {
        driver_.Page(page);
        driver_.Click(page, "Option2");
        LogInByMouse(page,
                     {{"SrvTBox", "127.0.0.1," + std::to_string(sql_server_.Port())},
                      {"UserTBox", sql_server_.Options().user},
                      {"PassTbox", sql_server_.Options().password}},
                     "ConnButt",
                     "Label2",
                     "Connected Successfully");
    }
    // Down steps through the closed list; each step is a choice.
    void StepTo(const char* page, const char* combo, const std::string& entry) {
        driver_.Click(page, combo);
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

    void AccessToMySql() {
        ChooseKinds("SOpt_1", "DOpt_3");
        AccessSource();
        MySqlLogInByMouse("MySQLDest");
        driver_.Type("MySQLDest", "MySQLDBCombo", mysql_.Database());
        driver_.Click("MySQLDest", "NXT");
        driver_.Page("Form4");
        driver_.Click("Form4", "NXTBUTT");
        SaveNot();
        RunToTheEnd("\n*******( F.I.N.I.S.H )*********");
    }

    // No mouse from the navigator to the finish.
    void MySqlToAccessByKeyboard() {
        driver_.Do("an empty database", [this] {
            Catalog().Create("PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + In("back.mdb"));
        });
        driver_.Page("NavForm");
        driver_.Keys("alt+s");
        driver_.Keys("alt+n");
        driver_.Page("Form1");
        driver_.Keys("alt+m");
        driver_.Keys("alt+e");
        driver_.Keys("alt+n");
        driver_.Page("MySQLSrc");
        for (const auto& [letter, text] : {std::pair("alt+s", std::string("127.0.0.1")),
                                           std::pair("alt+r", std::to_string(mysql_.Port())),
                                           std::pair("alt+u", std::string("walker")),
                                           std::pair("alt+p", std::string("pass-word"))}) {
            driver_.Keys(letter);
            driver_.Keys("ctrl+a");
            driver_.TypeText(text);
        }
        driver_.Keys("alt+t");
        driver_.Until("the databases are listed",
                      [] { return Control<QComboBox>("MySQLSrc", "MySQLDBCombo").count() >= 2; });
        driver_.Keys("alt+e");
        driver_.Keys("Down");
        driver_.Page("MySQLSrc");
        driver_.Keys("Down");
        driver_.Until("the tables are listed", [this] {
            return FromQt(Control<QComboBox>("MySQLSrc", "MySQLDBCombo").currentText()) ==
                       mysql_.Database() &&
                   Control<QListWidget>("MySQLSrc", "MySQLSrcTables").count() == 3;
        });
        driver_.Page("MySQLSrc");
        driver_.Keys("alt+a");
        driver_.Keys("ctrl+a");
        driver_.Keys("alt+n");
        driver_.Page("Form8");
        driver_.Keys("alt+f");
        driver_.TypeText(In("back.mdb"));
        driver_.Keys("alt+l");
        driver_.Until("the target is connected",
                      [] { return LabelText("Form8", "ACCStatus") == "Connected Succesfully"; });
        driver_.Keys("alt+n");
        driver_.Page("Form4");
        driver_.Keys("alt+n");
        driver_.Page("Form13");
        driver_.Keys("alt+r");
        driver_.Keys("alt+n");
        driver_.Page("Form14");
        driver_.Keys("alt+s");
        driver_.Until("the run's end",
                      [] { return Control<QWidget>("Form14", "FINISHBUTT").isEnabled(); });
        driver_.Page("Form14");
        driver_.Keys("alt+f");
        driver_.Page("NavForm");
    }

    void MySqlToFoxPro() {
        ChooseKinds("SOpt_3", "DOpt_2");
        MySqlLogInByMouse("MySQLSrc");
        StepTo("MySQLSrc", "MySQLDBCombo", mysql_.Database());
        driver_.ClickEntry("MySQLSrc", "MySQLSrcTables", "orders");
        driver_.Click("MySQLSrc", "NXT");
        driver_.Page("Form3");
        driver_.Type("Form3", "FoxDir", In("dbf"));
        driver_.Click("Form3", "NXTBUTT");
        driver_.Page("Form4");
        driver_.Click("Form4", "NXTBUTT");
        SaveNot();
        RunToTheEnd("\n*******( F.I.N.I.S.H )*********");
    }

    void TextToSqlServer() {
        ChooseKinds("SOpt_6", "DOpt_4");
        driver_.Page("Form11");
        driver_.Click("Form11", "Command1");
        driver_.Choose(In("data"));
        driver_.TickEntry("Form11", "FilesList", "orders.csv");
        driver_.Page("Form11");
        driver_.Click("Form11", "NXTBUTT");
        SqlServerLogInByMouse("MSSQLDest");
        driver_.Type("MSSQLDest", "MSSQLDBCombo", "shop");
        driver_.Click("MSSQLDest", "NXT");
        driver_.Page("Form4");
        driver_.Click("Form4", "NXTBUTT");
        SaveNot();
        RunToTheEnd("\n*******( F.I.N.I.S.H )*********");
    }

    void TextTarget(const std::string& folder) {
        driver_.Page("Form12c");
        driver_.Type("Form12c", "FName", In(folder));
        driver_.Click("Form12c", "NXTBUTT");
        driver_.Page("Form4");
        driver_.Click("Form4", "NXTBUTT");
        SaveNot();
        RunToTheEnd("\n******( FINISH )*******");
    }

    void SqlServerToText() {
        ChooseKinds("SOpt_4", "DOpt_6");
        SqlServerLogInByMouse("MSSQLSrc");
        driver_.Click("MSSQLSrc", "MSSQLDBCombo");
        driver_.Keys("Down");
        driver_.Box("No tables found in the selected Database", "Return");  // in "master"
        driver_.Page("MSSQLSrc");
        driver_.Click("MSSQLSrc", "MSSQLDBCombo");
        driver_.Keys("Down");
        driver_.Page("MSSQLSrc");
        driver_.ClickEntry("MSSQLSrc", "MSSQLSrcTables", "dbo.orders");
        driver_.Click("MSSQLSrc", "NXT");
        TextTarget("sqlserver");
    }

    std::string OracleService() const { return "svc;Database=" + In("oracle"); }
    void OracleToText() {
        ChooseKinds("SOpt_0", "DOpt_6");
        driver_.Page("Form6");
        driver_.Type("Form6", "OrclUsr", "main");
        driver_.Type("Form6", "OrclPwd", "tiger");
        driver_.Type("Form6", "OrclSvc", OracleService());
        driver_.Click("Form6", "Command1");
        driver_.ClickEntry("Form6", "orclTables", "MAIN.goods");
        driver_.Click("Form6", "NXT");
        TextTarget("oracle-text");
    }

    void WriteServersRows() {
        std::ofstream(In("mysql.txt"))
            << mysql_.QueryOne(
                   "select group_concat(concat_ws('|', id, `full name`, city, credit) "
                   "order by id separator '\n') from customers")
            << "\n"
            << mysql_.QueryOne(
                   "select concat(count(*), '|', sum(id), '|', max(ordered)) from orders")
            << "\n";
        std::ofstream(In("sqlserver.txt"))
            << sql_server_.Rows("select count(*), sum(id), sum(customer) from orders");
    }

    void AccessToAccess() {
        ChooseKinds("SOpt_1", "DOpt_1");
        AccessSource();
        NewAccessTarget(In("copy.mdb"));
        driver_.Page("Form4");
        driver_.Keys("alt+n");
        SaveNot();
        RunToTheEnd("\n*******( F.I.N.I.S.H )*********");
    }

    std::string folder_;
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
