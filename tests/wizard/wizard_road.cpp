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

constexpr const char* kFinish = "\n*******( F.I.N.I.S.H )*********";
constexpr const char* kTextFinish = "\n******( FINISH )*******";

class Road : RoadDriver {
public:
    explicit Road(const std::string& folder) : RoadDriver(folder + "/pictures"), folder_(folder) {
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
        Do("what the servers hold", [this] { WriteServersRows(); });
        Start();
    }

private:
    std::string In(const std::string& name) const { return folder_ + "/" + name; }

    void StartAndMakeRepository() {
        Click("frmSplash", "Image1");
        Keys("NavForm", "alt+r");
        Keys("n");
        Box("New Repository Created", "Return");
    }

    void ChooseKinds(const char* source, const char* target) {
        Click("NavForm", "NavChoice_0");
        Keys("alt+n");
        Click("Form1", source);
        Click("Form1", target);
        Click("Form1", "NXT");
    }

    void NewAccessTarget(const std::string& file) {
        Click("Form8", "NewMdbButton");
        Choose(file);
        Until("the target is connected",
              [] { return LabelText("Form8", "ACCStatus") == "Connected Succesfully"; });
        Click("Form8", "NXT");
    }

    void TextSource(std::initializer_list<const char*> files) {
        Click("Form11", "Command1");
        Choose(In("data"));
        for (const char* file : files) {
            ClickEntry("Form11", "FilesList", file, true);
        }
        ClickEntry("Form11", "FilesList", *files.begin());
        Click("Form11", "NXTBUTT");
    }

    void AccessSource() {
        Type("Form2", "Mdbfilename", In("shop.mdb"));
        Keys("alt+l");
        ClickEntry("Form2", "mdbtables", "customers");
        Keys("ctrl+a");
        Click("Form2", "NXT");
    }

    void RunToTheEnd(const std::string& banner) {
        Click("Form14", "StartButton");
        Until("the log's last banner", [banner] {
            return FindPage("Form14") != nullptr &&
                   FromQt(Control<QPlainTextEdit>("Form14", "LogTxt").toPlainText())
                       .ends_with(banner);
        });
        Click("Form14", "FINISHBUTT");
        Page("NavForm");
    }

    // Not saved, from the map as it is.
    void RunUnsaved(const std::string& banner = kFinish) {
        Click("Form4", "NXTBUTT");
        Click("Form13", "FreqOpt_1");
        Click("Form13", "NXTBUTT");
        RunToTheEnd(banner);
    }

    // One column gets another name and size, one table a condition and the option to be dropped;
    // the session is saved and run at once.
    void TextToAccess() {
        ChooseKinds("SOpt_6", "DOpt_1");
        TextSource({"customers.csv", "notes.csv", "orders.csv"});
        NewAccessTarget(In("shop.mdb"));

        ClickCell("Form4", "FlexGrid1", 0, 1);
        ClickCell("Form5", "ColGrid1", 1, 5);
        Retype("full name");
        ClickCell("Form5", "ColGrid1", 1, 7);
        Retype("80");
        Keys("Return");
        Click("Form5", "SQLCondTxt");
        TypeText("id > 1");
        Click("Form5", "closebutt");
        ClickCell("Form4", "FlexGrid1", 2, 1);
        Click("Form5", "TabDropOpt_0");
        Keys("alt+c");
        Click("Form4", "NXTBUTT");

        Click("Form13", "FreqOpt_0");
        Click("Form13", "NXTBUTT");
        Box("Session Saved Successfully", "Return");
        RunToTheEnd(kFinish);
    }

    void AccessToText(const char* format, const std::string& folder, const std::string& extension) {
        ChooseKinds("SOpt_1", "DOpt_6");
        AccessSource();
        Type("Form12c", "FName", In(folder));
        Click("Form12c", format);
        Click("Form12c", "DefExt");
        Keys("Escape");
        Retype(extension);
        Click("Form12c", "ColNames");
        Click("Form12c", "NXTBUTT");
        RunUnsaved(kTextFinish);
    }

    // Field by field, with the mouse; then Connect.
    void LogInByMouse(const char* page,
                      std::initializer_list<std::pair<const char*, std::string>> fields) {
        for (const auto& [field, text] : fields) {
            Type(page, field, text);
        }
        Click(page, "ConnButt");
        Until(std::string(page) + " is connected",
              [=] { return LabelText(page, "Label2") == "Connected Successfully"; });
        Page(page);
    }
    void MySqlLogInByMouse(const char* page) {
        LogInByMouse(page,
                     {{"SrvTBox", "127.0.0.1"},
                      {"PortTBox", std::to_string(mysql_.Port())},
                      {"UserTBox", "walker"},
                      {"PassTbox", "pass-word"}});
    }
    void SqlServerLogInByMouse(const char* page) {
        Click(page, "Option2");
        LogInByMouse(page,
                     {{"SrvTBox", "127.0.0.1," + std::to_string(sql_server_.Port())},
                      {"UserTBox", sql_server_.Options().user},
                      {"PassTbox", sql_server_.Options().password}});
    }
    // Down steps through the closed list; each step is a choice.
    void StepTo(const char* page, const char* combo, const std::string& entry) {
        Click(page, combo);
        for (int step = 0; step < 3; ++step) {
            Do("a step down the list, unless it is there", [=] {
                if (FromQt(Control<QComboBox>(page, combo).currentText()) != entry) {
                    QProcess::execute("xdotool", {"key", "Down"});
                }
            });
            Page(page);
        }
        Until(entry + " is chosen",
              [=] { return FromQt(Control<QComboBox>(page, combo).currentText()) == entry; });
    }

    void AccessToMySql() {
        ChooseKinds("SOpt_1", "DOpt_3");
        AccessSource();
        MySqlLogInByMouse("MySQLDest");
        Type("MySQLDest", "MySQLDBCombo", mysql_.Database());
        Click("MySQLDest", "NXT");
        RunUnsaved();
    }

    // No mouse from the navigator to the finish.
    void MySqlToAccessByKeyboard() {
        Do("an empty database", [this] {
            Catalog().Create("PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + In("back.mdb"));
        });
        Keys("NavForm", "alt+s");
        Keys("alt+n");
        Keys("Form1", "alt+m");
        Keys("alt+e");
        Keys("alt+n");
        Page("MySQLSrc");
        for (const auto& [letter, text] : {std::pair("alt+s", std::string("127.0.0.1")),
                                           std::pair("alt+r", std::to_string(mysql_.Port())),
                                           std::pair("alt+u", std::string("walker")),
                                           std::pair("alt+p", std::string("pass-word"))}) {
            Keys(letter);
            Retype(text);
        }
        Keys("alt+t");
        Until("the databases are listed",
              [] { return Control<QComboBox>("MySQLSrc", "MySQLDBCombo").count() >= 2; });
        Keys("alt+e");
        Keys("Down");
        Keys("MySQLSrc", "Down");
        Until("the tables are listed", [this] {
            return FromQt(Control<QComboBox>("MySQLSrc", "MySQLDBCombo").currentText()) ==
                       mysql_.Database() &&
                   Control<QListWidget>("MySQLSrc", "MySQLSrcTables").count() == 3;
        });
        Keys("MySQLSrc", "alt+a");
        Keys("ctrl+a");
        Keys("alt+n");
        Keys("Form8", "alt+f");
        TypeText(In("back.mdb"));
        Keys("alt+l");
        Until("the target is connected",
              [] { return LabelText("Form8", "ACCStatus") == "Connected Succesfully"; });
        Keys("alt+n");
        Keys("Form4", "alt+n");
        Keys("Form13", "alt+r");
        Keys("alt+n");
        Keys("Form14", "alt+s");
        Until("the run's end", [] { return Control<QWidget>("Form14", "FINISHBUTT").isEnabled(); });
        Keys("Form14", "alt+f");
        Page("NavForm");
    }

    void MySqlToFoxPro() {
        ChooseKinds("SOpt_3", "DOpt_2");
        MySqlLogInByMouse("MySQLSrc");
        StepTo("MySQLSrc", "MySQLDBCombo", mysql_.Database());
        ClickEntry("MySQLSrc", "MySQLSrcTables", "orders");
        Click("MySQLSrc", "NXT");
        Type("Form3", "FoxDir", In("dbf"));
        Click("Form3", "NXTBUTT");
        RunUnsaved();
    }

    void TextToSqlServer() {
        ChooseKinds("SOpt_6", "DOpt_4");
        TextSource({"orders.csv"});
        SqlServerLogInByMouse("MSSQLDest");
        Type("MSSQLDest", "MSSQLDBCombo", "shop");
        Click("MSSQLDest", "NXT");
        RunUnsaved();
    }

    void TextTarget(const std::string& folder) {
        Type("Form12c", "FName", In(folder));
        Click("Form12c", "NXTBUTT");
        RunUnsaved(kTextFinish);
    }

    void SqlServerToText() {
        ChooseKinds("SOpt_4", "DOpt_6");
        SqlServerLogInByMouse("MSSQLSrc");
        Click("MSSQLSrc", "MSSQLDBCombo");
        Keys("Down");
        Box("No tables found in the selected Database", "Return");  // in "master"
        Click("MSSQLSrc", "MSSQLDBCombo");
        Keys("Down");
        ClickEntry("MSSQLSrc", "MSSQLSrcTables", "dbo.orders");
        Click("MSSQLSrc", "NXT");
        TextTarget("sqlserver");
    }

    std::string OracleService() const { return "svc;Database=" + In("oracle"); }
    void OracleToText() {
        ChooseKinds("SOpt_0", "DOpt_6");
        Type("Form6", "OrclUsr", "main");
        Type("Form6", "OrclPwd", "tiger");
        Type("Form6", "OrclSvc", OracleService());
        Click("Form6", "Command1");
        ClickEntry("Form6", "orclTables", "MAIN.goods");
        Click("Form6", "NXT");
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
        RunUnsaved();
    }

    std::string folder_;
    test::PrivateOdbc registry_;
    test::PrivateMariaDb mysql_;
    test::TdsServer sql_server_;
};

}  // namespace
}  // namespace vantry

int main(int argc, char** argv) {
    return vantry::WalkIn<vantry::Road>(argc, argv);
}
