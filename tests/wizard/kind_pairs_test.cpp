// Every kind of source meets every kind of target: one small table goes from the first page to the
// finish of the run, by the pages' own controls, and is read back from the target.

#include "core/kinds.h"
#include "core/session_state.h"
#include "programs/all_pages.h"
#include "shell/background_work.h"
#include "support/page_driver.h"
#include "support/private_mariadb.h"
#include "support/private_odbc.h"
#include "support/session_steps.h"
#include "support/tds_server.h"
#include "support/temp_dir.h"
#include "wizard/wizard_flow.h"

#include <QListWidget>
#include <QPlainTextEdit>
#include <QTimer>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>

namespace vantry::test {
namespace {

constexpr const char* kRows = "1|Ärger\n2|two words\n3|x\n";

// Agrees to everything, and keeps what was said.
struct AgreeingDialogs : ScriptedDialogs {
    BoxAnswer Show(const Box& box) override {
        ScriptedDialogs::Show(box);
        return box.buttons == BoxButtons::YesNo ? BoxAnswer::Yes : BoxAnswer::Ok;
    }
};

class KindPairsTest : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        for (const auto& missing : {PrivateMariaDb::Missing(),
                                    PrivateOdbc::Missing("libsqlite3odbc.so", "libsqliteodbc"),
                                    PrivateOdbc::Missing("libtdsodbc.so", "tdsodbc")}) {
            if (!missing.empty()) {
                GTEST_SKIP() << missing;
            }
        }
        InitSharedState(Folder().Path().string());
        RegisterAllPages();
        static const bool made = MakeSources();
        ASSERT_TRUE(made);
        // What the rules think of SQLite's types isn't the matter here.
        QObject::connect(&ignorer_, &QTimer::timeout, [] {
            if (PageIsVisible("MapErrForm")) {
                Press("MapErrForm", "IgnoreButt");
            }
        });
        ignorer_.start(10);
    }
    ~KindPairsTest() override {
        ClearPages();
        AwaitAllWork();
    }

    static PrivateOdbc& Registry() {
        static PrivateOdbc registry;
        return registry;
    }
    static PrivateMariaDb& Server() {
        static PrivateMariaDb server;
        return server;
    }
    // One for all pairs: sources are made once, targets before each run.
    static TempDir& Folder() {
        static TempDir folder;
        return folder;
    }
    static std::string In(const std::string& name) { return (Folder() / name).string(); }

    static std::string Emptied(const std::string& folder) {
        std::filesystem::remove_all(In(folder));
        std::filesystem::create_directories(In(folder));
        return In(folder);
    }

    static void MakeGoods(const std::string& connection, const std::string& columns) {
        RunStatement(connection, "create table goods (" + columns + ")");
        for (const char* row : {"1,'Ärger'", "2,'two words'", "3,'x'"}) {
            RunStatement(connection, std::string("insert into goods values (") + row + ")");
        }
    }
    static bool MakeSources() {
        Registry().Register({PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so"),
                             PrivateOdbc::Driver("Oracle", "libsqlite3odbc.so"),
                             PrivateOdbc::Driver("Plain", "libsqlite3odbc.so")},
                            {{"Anything", "Driver=Plain\nDatabase=" + In("anything") + "\n"}});
        MakeGoods(NewAccessDatabase(In("source.mdb")), "id Long, name Text(20)");
        std::filesystem::create_directories(In("dbf"));
        MakeGoods(FoxPro("dbf"), "id n(5,0), name c(20)");
        MakeGoods("DSN=Anything", "id integer, name varchar(20)");
        MakeGoods(Oracle("source"), "id integer, name varchar(20)");
        RunStatement(Oracle("source"),
                     "create table all_tables as select 'MAIN' owner, 'goods' table_name");
        SqlServer().Run(
            "create table goods (id int, name nvarchar(20)); insert into goods values "
            "(1,N'Ärger'),(2,N'two words'),(3,N'x')",
            "source");
        Server().Run("drop table if exists shop.goods");
        MakeGoods(Server().ConnectionText(), "id int, name varchar(20)");
        std::filesystem::create_directories(In("csv"));
        return true;
    }
    static std::string Access(const std::string& file) {
        return "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + In(file);
    }
    static std::string FoxPro(const std::string& folder) {
        return "Provider=vfpoledb.1;Data Source=" + In(folder);
    }
    static std::string Service(const std::string& file) {
        return "svc;Database=" + In("ora-" + file);
    }
    static std::string Oracle(const std::string& file) {
        return "Provider=MSDAORA;Data Source=" + Service(file);
    }
    static TdsServer& SqlServer() {
        static TdsServer server({.databases = {"source", "target"}});
        return server;
    }
    static void TypeSqlServer(const char* page, const char* database) {
        Type(page, "SrvTBox", "127.0.0.1," + std::to_string(SqlServer().Port()));
        Press(page, "Option2");
        Type(page, "UserTBox", SqlServer().Options().user);
        Type(page, "PassTbox", SqlServer().Options().password);
        Press(page, "ConnButt");
        Pick(page, "MSSQLDBCombo", database);
    }

    static void TypeServer(const char* page) {
        Type(page, "SrvTBox", "127.0.0.1");
        Type(page, "PortTBox", std::to_string(Server().Port()));
        Type(page, "UserTBox", Server().User());
        Type(page, "PassTbox", Server().Password());
        Press(page, "ConnButt");
    }
    static void TypeOracle(const char* page, const std::string& file) {
        Type(page, "OrclUsr", "main");
        Type(page, "OrclPwd", "tiger");
        Type(page, "OrclSvc", Service(file));
        Press(page, "Command1");
    }
    static void TakeTable(const char* page,
                          const char* list,
                          const char* entry,
                          const char* next = "NXT") {
        auto& tables = Control<QListWidget>(page, list);
        const auto found = tables.findItems(entry, Qt::MatchFixedString);
        ASSERT_EQ(found.size(), 1) << entry;
        tables.setCurrentItem(found.front());
        Press(page, next);
    }

    // Through the first page and the source's, behind its Next.
    void GoBySource(std::string_view kind, std::size_t target_option) {
        std::size_t option = 0;
        while (AllKinds()[option].name != kind) {
            ++option;
        }
        HidePage("NavForm");
        ShowPage("Form1");
        for (const auto& choice :
             {"SOpt_" + std::to_string(option), "DOpt_" + std::to_string(target_option)}) {
            Control<QRadioButton>("Form1", choice.c_str()).setChecked(true);
        }
        SourceViaOdbc = kTrue;  // as a former session has left it
        Press("Form1", "NXT");
        if (kind == "ORACLE") {
            TypeOracle("Form6", "source");
            TakeTable("Form6", "orclTables", "MAIN.goods");
        } else if (kind == "ACCESS") {
            Type("Form2", "Mdbfilename", In("source.mdb"));
            Press("Form2", "LOADBUTT");
            TakeTable("Form2", "mdbtables", "goods");
        } else if (kind == "FOXPRO") {
            Type("Form10", "FoxDir", In("dbf"));
            Press("Form10", "DirLoadbutt");
            TakeTable("Form10", "List1", "goods", "NXTBUTT");
        } else if (kind == "MySQL") {
            TypeServer("MySQLSrc");
            Pick("MySQLSrc", "MySQLDBCombo", "shop");
            TakeTable("MySQLSrc", "MySQLSrcTables", "goods");
        } else if (kind == "MSSQL") {
            TypeSqlServer("MSSQLSrc", "source");
            TakeTable("MSSQLSrc", "MSSQLSrcTables", "dbo.goods");
        } else if (kind == "ODBC") {
            Pick("ODBCSrc", "ODBCDrv", "Plain");
            Pick("ODBCSrc", "ODBCDSn", "Anything");
            Press("ODBCSrc", "ConnectButton");
            TakeTable("ODBCSrc", "ODBCTabs", "goods");
        } else if (kind == "TEXT") {
            dialogs_.choices = {In("csv")};
            Press("Form11", "Command1");
            Control<QListWidget>("Form11", "FilesList").item(0)->setCheckState(Qt::Checked);
            TakeTable("Form11", "FilesList", "goods.csv", "NXTBUTT");
        } else {
            dialogs_.choices = {In("csv/goods.csv")};
            Press("Form11Poll", "Command1");
            Press("Form11Poll", "NXTBUTT");
        }
    }
    // Through the target's page; returns how its rows are read back.
    std::function<std::string()> GoByTarget(std::string_view kind) {
        const auto rows_by = [](const std::string& connection) {
            return [connection] { return RowsOf(connection, "select id, name from goods"); };
        };
        if (kind == "ORACLE") {
            std::filesystem::remove(In("ora-target"));
            RunStatement(Oracle("target"), "create table all_tables(owner, table_name)");
            RunStatement(Oracle("target"), "create table user_tables(table_name)");
            TypeOracle("Form9", "target");
            Press("Form9", "NXTBUTT");
            return rows_by(Oracle("target"));
        }
        if (kind == "ACCESS") {
            std::filesystem::remove(In("target.mdb"));
            dialogs_.choices = {In("target.mdb")};
            Press("Form8", "NewMdbButton");
            Press("Form8", "NXT");
            return rows_by(Access("target.mdb"));
        }
        if (kind == "FOXPRO") {
            Type("Form3", "FoxDir", Emptied("dbf-target"));
            Press("Form3", "NXTBUTT");
            return [] {
                // Its texts are as long as their column.
                const auto rows = RowsOf(FoxPro("dbf-target"), "select id, name from goods");
                return std::regex_replace(rows, std::regex(" +\n"), "\n");
            };
        }
        if (kind == "MySQL") {
            Server().Run("drop database if exists target; create database target");
            TypeServer("MySQLDest");
            Control<QComboBox>("MySQLDest", "MySQLDBCombo").setEditText("target");
            Press("MySQLDest", "NXT");
            return [] {
                return Server().QueryOne(
                    "select group_concat(concat(id, '|', name, '\\n') order "
                    "by id separator '') from target.goods");
            };
        }
        if (kind == "MSSQL") {
            SqlServer().Run("drop table if exists goods", "target");
            TypeSqlServer("MSSQLDest", "target");
            Press("MSSQLDest", "NXT");
            return [] { return SqlServer().Rows("select id, name from goods", "target"); };
        }
        Type("Form12c", "FName", Emptied("txt"));
        Press("Form12c", "NXTBUTT");
        return [] {
            std::string rows;
            for (const auto& file : std::filesystem::directory_iterator(In("txt"))) {
                std::ifstream stream(file.path());
                for (std::string line; std::getline(stream, line);) {
                    std::erase_if(line, [](char c) { return c == '"' || c == '\r'; });
                    const auto comma = line.find(',');
                    rows += line.substr(0, comma) + "|" + line.substr(comma + 1) + "\n";
                }
            }
            return rows;
        };
    }
    static std::string Run() {
        Press("Form4", "NXTBUTT");
        Press("Form13", "FreqOpt_1");
        Press("Form13", "NXTBUTT");
        Press("Form14", "StartButton");
        std::string log = FromQt(Control<QPlainTextEdit>("Form14", "LogTxt").toPlainText());
        Press("Form14", "FINISHBUTT");
        return log;
    }

    AgreeingDialogs dialogs_;
    QTimer ignorer_;
};

TEST_P(KindPairsTest, GoesIntoEveryTarget) {
    const std::string source = GetParam();
    for (std::size_t option = 0; option < AllKinds().size(); ++option) {
        const auto& kind = AllKinds()[option];
        if (kind.target.page.empty()) {
            continue;
        }
        SCOPED_TRACE(source + " to " + std::string(kind.name));
        if (source.starts_with("TEXT")) {  // a run over a polled one renames it
            std::ofstream(In("csv/goods.csv")) << "id,name\r\n1,Ärger\r\n2,two words\r\n3,x\r\n";
        }
        GoBySource(source, option);
        if (source == "MSSQL" && kind.name == "MSSQL") {
            EXPECT_EQ(VisiblePages(), "") << "the one pair that has no road";
            CancelSession();
            continue;
        }
        ASSERT_EQ(VisiblePages(), kind.target.page) << dialogs_.TakeBoxes();
        const auto rows = GoByTarget(kind.name);
        ASSERT_TRUE(PageIsVisible("Form4")) << dialogs_.TakeBoxes();
        const std::string log = Run();
        EXPECT_EQ(rows(), kRows) << log << dialogs_.TakeBoxes();
        EXPECT_EQ(VisiblePages(), "NavForm");
        dialogs_.boxes.clear();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds,
    KindPairsTest,
    ::testing::Values("ORACLE", "ACCESS", "FOXPRO", "MySQL", "MSSQL", "ODBC", "TEXT", "TEXTPOLL"),
    [](const auto& name) { return std::string(name.param); });

}  // namespace
}  // namespace vantry::test
