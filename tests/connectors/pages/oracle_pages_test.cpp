// Form6 and Form9. Their statements run on a real SQL engine that has the catalogue tables they ask
// for.

#include "connectors/pages/connector_pages_fixture.h"

#include <tuple>

namespace vantry::test {
namespace {

constexpr const char* kPages[] = {"Form6", "Form9"};

class OraclePagesTest : public ConnectorPagesTest {
protected:
    void SetUp() override {
        if (const auto missing = PrivateOdbc::Missing("libsqlite3odbc.so", "libsqliteodbc");
            !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        const auto file = (folder_ / "oracle").string();
        service_ = "or cl;Database=" + file;  // what the stand-in needs beside the host string
        Registry().Register({PrivateOdbc::Driver("Oracle 21", "libsqlite3odbc.so")},
                            {{"Ledger", "Driver=Oracle 21\nDatabase=" + file + "\n"}});
        OdbcDrivers = {"SQLite3", "Oracle 21"};
        OdbcDsns = {{"Else", "SQLite3"}, {"Ledger", "ORACLE 21"}};
        for (const char* sql :
             {"create table all_tables(owner,table_name)",
              "create table all_views(owner,view_name)",
              "insert into all_tables values('SCOTT','EMP'),('HR','EMP'),('SCOTT','bonus.old')",
              "insert into all_views values('SCOTT','RICH'),('HR','POOR')"}) {
            RunStatement("Provider=MSDAORA;Data Source=" + service_, sql);
        }
    }
    void Open(const char* page) const {
        ShowPage(page);
        Type(page, "OrclUsr", "scott");
        Type(page, "OrclPwd", "tiger");
        Type(page, "OrclSvc", service_);
    }
    std::string NoFailureWith(std::string_view words) {
        return NoBox("stop|Oracle Connection Error|",
                     words,
                     "\r\n\r\nPossible Causes :\r\n"
                     "    1. Check That Username/Password is correct\r\n"
                     "    2. Check that Oracle Net Service name is correct\r\n"
                     "    3. If the above is correct, then check that Oracle Client Software is "
                     "properly installed\r\n"
                     "    4. Try other connections Options|OK",
                     "tiger");
    }
    std::string service_;
};

TEST_F(OraclePagesTest, EveryMethodHasItsListsAndItsString) {
    for (const char* page : kPages) {
        const char* const dsns = std::string_view(page) == "Form6" ? "OraDSN" : "OrclDSN";
        const std::string login = ";User ID=scott;Password=tiger;";
        const std::tuple<const char*, const char*, std::string> cases[] = {
            {"Option1", "", "Provider=MSDAORA;Data Source=" + service_ + login},
            {"Option2", "ORAODBCDrv ", "DRIVER=Oracle 21;SERVER=" + service_ + login},
            {"Option3", "", "Provider=OraOLEDB.Oracle;Data Source=" + service_ + login},
            {"Option4", "dsn", "DSN=Ledger" + login}};
        Open(page);
        EXPECT_TRUE(Control<QRadioButton>(page, "Option1").isChecked());
        EXPECT_EQ(Enabled(page, {"ORAODBCDrv", dsns}), "");
        EXPECT_EQ(Entries(page, "ORAODBCDrv") + "|" + Entries(page, dsns), "Oracle 21|Ledger");
        EXPECT_EQ(Control<QComboBox>(page, dsns).currentText(), "Ledger");
        for (const auto& [option, enabled, string] : cases) {
            ConnStr(page) = "";
            Press(page, option);
            EXPECT_EQ(Enabled(page, {"ORAODBCDrv", dsns}),
                      std::string_view(enabled) == "dsn" ? std::string(dsns) + " " : enabled);
            // The first one waits for Connect, as nothing is listed or tried yet.
            if (std::string_view(option) == "Option1") {
                EXPECT_EQ(ConnStr(page), "");
                Press(page, "Command1");
            }
            EXPECT_EQ(ConnStr(page), string);
            EXPECT_EQ(dialogs_.TakeBoxes(), "");
        }
        UnloadPage(page);
    }
    OdbcDsns = {{}};
    ShowPage("Form6");
    ShowPage("Form9");
    EXPECT_EQ(Control<QComboBox>("Form6", "OraDSN").currentText(), "Combo1");
    EXPECT_EQ(Control<QComboBox>("Form9", "OrclDSN").currentText(), "Combo1");
}

TEST_F(OraclePagesTest, SourceListsWhatTheBoxesSay) {
    Open("Form6");
    const auto listed = [] { return Entries("Form6", "orclTables"); };
    Press("Form6", "AllChk");
    EXPECT_EQ(listed(), "") << "nothing is listed, so nothing loads";
    Press("Form6", "AllChk");
    Press("Form6", "Command1");
    EXPECT_EQ(listed(), "SCOTT.bonus.old,SCOTT.EMP") << dialogs_.TakeBoxes();
    EXPECT_EQ(FindPage("frmWait"), nullptr);
    Press("Form6", "ViewChk");
    EXPECT_EQ(listed(), "SCOTT.bonus.old,SCOTT.EMP,SCOTT.RICH");
    Press("Form6", "AllChk");
    EXPECT_EQ(listed(), "HR.EMP,HR.POOR,SCOTT.bonus.old,SCOTT.EMP,SCOTT.RICH");
    EXPECT_EQ(Entries("Form6", "OraOwn"), "HR,HR,SCOTT,SCOTT,SCOTT");
    Press("Form6", "ViewChk");
    EXPECT_EQ(listed(), "HR.EMP,SCOTT.bonus.old,SCOTT.EMP");

    EXPECT_EQ(Pressed("Form6", "NXT"), "stop|Stop|Please select atleast one table|OK");
    Select("Form6", "orclTables", {0, 1, 2});
    EXPECT_EQ(Pressed("Form6", "NXT"),
              "stop|Stop|Duplicate Tables Selected. Please De-Select duplicate tables and then "
              "Continue.|OK");
    EXPECT_EQ(Tables(), "HR|EMP,SCOTT|bonus.old,SCOTT|EMP") << "filled all the same";
    EXPECT_EQ(VisiblePages(), "Form6");
    Control<QListWidget>("Form6", "orclTables").item(0)->setSelected(false);
    SourceQueryMode = 7;
    Press("Form6", "NXT");
    EXPECT_EQ(Tables() + std::to_string(SourceQueryMode), "SCOTT|bonus.old,SCOTT|EMP0");
    EXPECT_EQ(VisiblePages(), "Form8");

    // A data source's name is tried letter by letter; what fails leaves the list.
    ShowPage("Form6");
    Press("Form6", "Option4");
    Control<QComboBox>("Form6", "OraDSN").setEditText("Ledge");
    EXPECT_EQ(NoFailureWith("Data source name not found"), "");
    EXPECT_EQ(listed(), "HR.EMP,SCOTT.bonus.old,SCOTT.EMP");
    Control<QComboBox>("Form6", "OraDSN").setEditText("Ledger");
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
    Type("Form6", "OrclUsr", "nobody");
    Press("Form6", "AllChk");
    EXPECT_EQ(listed() + dialogs_.TakeBoxes(), "") << "no box for an empty list";
}

TEST_F(OraclePagesTest, TargetIsProvenAndTakesTheUser) {
    Open("Form9");
    EXPECT_EQ(Pressed("Form9", "NXTBUTT"), "stop|Stop|Please connect to Oracle Destination|OK");
    Press("Form9", "Command1");
    EXPECT_EQ(Status("Form9", "ValidTxt") + dialogs_.TakeBoxes(),
              "Succesfully connected to Oracle #009600");
    EXPECT_EQ(OracleDstUser, "scott");
    Type("Form9", "OrclUsr", "changed by hand");
    Press("Form9", "NXTBUTT");
    EXPECT_EQ(VisiblePages(), "Form4");
    ShowPage("Form9");
    RunStatement(TargetConnStr, "drop table all_tables");
    Press("Form9", "Option3");
    EXPECT_EQ(NoFailureWith("no such table: all_tables"), "") << "once tried, methods try again";
    EXPECT_EQ(Status("Form9", "ValidTxt"), "Couldn't Connect to Oracle Destination #ff0000");
    EXPECT_EQ(OracleDstUser, "scott");
    Registry().Register({});
    Press("Form9", "Option1");
    EXPECT_EQ(NoFailureWith("Install Oracle's Instant Client with its ODBC package"), "");
    OdbcDrivers = {""};
    UnloadPage("Form9");
    Open("Form9");
    Press("Form9", "Option2");
    Press("Form9", "Command1");
    EXPECT_EQ(NoFailureWith("Instant Client"), "") << "no driver to choose";
}

TEST_F(OraclePagesTest, UserAndPasswordAreAskedFor) {
    for (const char* page : kPages) {
        ShowPage(page);
        EXPECT_EQ(Pressed(page, "Command1"), "stop|Stop|Please enter oracle User Name|OK");
        Type(page, "OrclUsr", "scott");
        EXPECT_EQ(Pressed(page, "Command1"), "stop|Stop|Please enter Oracle Password|OK");
        EXPECT_EQ(ConnStr(page), "of the last session");
        // At least as large as it was designed, window and all.
        const QSize size = FindPage(page)->parentWidget()->size();
        EXPECT_GE(size.width(), 550);
        EXPECT_GE(size.height(), 436);
    }
}

}  // namespace
}  // namespace vantry::test
