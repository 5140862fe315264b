// Form2 and Form8 on real files: connection strings, lists, messages, status.

#include "connectors/pages/register.h"
#include "core/session_state.h"
#include "shell/small_windows.h"
#include "support/page_driver.h"
#include "support/temp_dir.h"
#include "wizard/wizard_flow.h"

#include <QListWidget>

#include <fstream>

namespace vantry {
namespace {

class AccessPagesTest : public ::testing::Test {
protected:
    AccessPagesTest() {
        InitSharedState(folder_.Path().string());
        RegisterShellPages();
        RegisterWizardPages();
        RegisterConnectorPages();
        RegisterNamedPages({"Form4"});
        OdbcDrivers = {"", "Microsoft Access Driver (*.mdb, *.accdb)", "Other", "My ACCESS thing"};
        OdbcDsns = {{"", ""}, {"Sales", "Access driver"}, {"Else", "SQLite3"}};
        TargetType = "ACCESS";
        SourceType = "ACCESS";
        SourceViaOdbc = kFalse;
    }
    ~AccessPagesTest() override { ClearPages(); }

    std::string MakeDatabase(const std::string& name, const std::vector<std::string>& tables) {
        const std::string file = (folder_ / name).string();
        const std::string connect = "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + file;
        Catalog().Create(connect);
        Connection connection;
        connection.Open(connect, "", "");
        for (const auto& table : tables) {
            connection.Execute("create table [" + table + "] ([id] Long, [name] Text(50))");
        }
        connection.Close();
        return file;
    }
    static std::string Listed() {
        std::string names;
        const auto& list = Control<QListWidget>("Form2", "mdbtables");
        for (int i = 0; i < list.count(); ++i) {
            names += (i == 0 ? "" : ",") + FromQt(list.item(i)->text());
        }
        return names;
    }

    test::TempDir folder_;
    ScriptedDialogs dialogs_;
};

TEST_F(AccessPagesTest, EveryMethodHasItsString) {
    const std::string expected[] = {
        "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=f.mdb;Jet OLEDB:Database Password=p;Jet "
        "OLEDB:System Database=s.mdw",
        "Driver=Microsoft Access Driver (*.mdb, "
        "*.accdb);DBQ=f.mdb;UID=u;PWD=p;SystemDB=s.mdw",
        "DSN=Sales;UID=u;pwd=p",
        "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=f.mdb;Jet OLEDB:Database Password=p",
    };
    for (const char* page : {"Form2", "Form8"}) {
        ShowPage(page);
        Type(page, "Mdbfilename", "f.mdb");
        Type(page, "MdbUsr", "u");
        Type(page, "MdbPwd", "p");
        Type(page, "SysDBFileName", "s.mdw");
        auto& dsns = Control<QComboBox>(page, "AccDSNList");
        EXPECT_EQ(dsns.currentIndex(), -1);
        EXPECT_EQ(dsns.count(), 1);
        EXPECT_EQ(Control<QComboBox>(page, "ACCOdbcDrv").count(), 2);
        dsns.setCurrentIndex(0);
        for (int i = 0; i < 4; ++i) {
            Control<QRadioButton>(page, ("Option" + std::to_string(i + 1)).c_str())
                .setChecked(true);
            Press(page, "LOADBUTT");
            EXPECT_EQ(std::string(page) == "Form2" ? SourceConnStr : TargetConnStr, expected[i])
                << page;
        }
    }
    EXPECT_GE(dialogs_.boxes.size(), 4u) << "none of these databases is there";
}

TEST_F(AccessPagesTest, ListsTablesAndTakesTheChosenOnes) {
    dialogs_.choices = {MakeDatabase("shop.mdb", {"orders", "Kunden äöü", "items"})};
    ShowPage("Form2");
    Press("Form2", "brow");
    EXPECT_EQ(Listed(), "items,Kunden äöü,orders") << dialogs_.TakeBoxes();
    EXPECT_EQ(FindPage("frmWait"), nullptr);
    Press("Form2", "NXT");
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|Please select atleast one table|OK");

    auto& list = Control<QListWidget>("Form2", "mdbtables");
    list.item(2)->setSelected(true);
    list.item(1)->setSelected(true);
    SourceQueryMode = 7;
    Press("Form2", "NXT");
    ASSERT_EQ(SrcTables.size(), 2u);
    EXPECT_EQ(SrcTables[0].Name, "Kunden äöü");
    EXPECT_EQ(SrcTables[1].Name, "orders");
    EXPECT_EQ(SrcTables[1].Owner, "");
    EXPECT_EQ(SourceQueryMode, 0);
    EXPECT_EQ(VisiblePages(), "Form8");
    Press("Form8", "BCK");
    EXPECT_EQ(VisiblePages(), "Form2");
    EXPECT_EQ(Listed(), "items,Kunden äöü,orders") << "hidden, not unloaded";
}

TEST_F(AccessPagesTest, BrowsingChoosesTheMethodByTheExtensionAsItIsWritten) {
    struct Case {
        const char* file;
        const char* before;
        const char* after;
    };
    const Case cases[] = {
        {"a.mdb", "Option4", "Option1"},
        {"a.accdb", "Option1", "Option4"},
        {"A.MDB", "Option4", "Option4"},
        {"noextension", "Option2", "Option2"},
    };
    ShowPage("Form2");
    for (const auto& [file, before, after] : cases) {
        Control<QRadioButton>("Form2", before).setChecked(true);
        dialogs_.choices = {file};
        Press("Form2", "brow");
        EXPECT_TRUE(Control<QRadioButton>("Form2", after).isChecked()) << file;
    }
    EXPECT_EQ(dialogs_.asked_files[0].filter,
              "MS Access (*.mdb,*.accdb)|*.mdb;*.accdb|MS Access 2007 (*.accdb)|*.accdb|MS Access "
              "(*.mdb)|*.mdb|All Files (*.*)|*.*");
}

TEST_F(AccessPagesTest, FormTwoTellsWhatIsWrongAndStays) {
    const std::string empty = MakeDatabase("none.mdb", {});
    const std::string notes = folder_.Write("notes.mdb", "no database at all").string();
    struct Case {
        std::string file;
        const char* first_box;
    };
    const Case cases[] = {
        {"", "stop|Vantry|Please enter the MDB File or click button to browse|OK"},
        {(folder_ / "missing.mdb").string(), "stop|Error|"},
        {folder_.Path().string(), "stop|Error|"},
        {notes, "stop|Error|"},
    };
    ShowPage("Form2");
    for (const auto& [file, first_box] : cases) {
        Type("Form2", "Mdbfilename", file);
        Press("Form2", "LOADBUTT");
        const std::string boxes = dialogs_.TakeBoxes();
        EXPECT_EQ(boxes.substr(0, std::string_view(first_box).size()), first_box) << file;
        if (!file.empty()) {
            EXPECT_NE(boxes.find(std::filesystem::path(file).filename()), std::string::npos)
                << boxes;
        }
        EXPECT_EQ(Listed(), "");
        EXPECT_EQ(FindPage("frmWait"), nullptr);
        EXPECT_EQ(VisiblePages(), "Form2");
    }
    Type("Form2", "Mdbfilename", empty);
    Press("Form2", "LOADBUTT");
    EXPECT_EQ(Listed() + dialogs_.TakeBoxes(), "") << "system tables count, but aren't listed";
}

TEST_F(AccessPagesTest, MethodsOfFormTwoEnableAndReloadAsTheyAlwaysDid) {
    ShowPage("Form2");
    const auto enabled = [] {
        return std::string(Control<QComboBox>("Form2", "ACCOdbcDrv").isEnabled() ? "drv" : "") +
               (Control<QComboBox>("Form2", "AccDSNList").isEnabled() ? "+dsn" : "");
    };
    EXPECT_EQ(enabled(), "");
    Press("Form2", "Option2");
    EXPECT_EQ(enabled(), "drv");
    Press("Form2", "Option3");
    EXPECT_EQ(enabled(), "drv+dsn");
    Press("Form2", "Option1");
    EXPECT_EQ(enabled(), "+dsn") << "nothing disables the data sources again";
    Press("Form2", "Option2");
    Press("Form2", "Option4");
    EXPECT_EQ(enabled(), "drv+dsn") << "the last option changes nothing";
    EXPECT_TRUE(dialogs_.boxes.empty()) << "nothing is listed, so nothing loads";

    Type("Form2", "Mdbfilename", MakeDatabase("a.mdb", {"t"}));
    Press("Form2", "Option1");
    Press("Form2", "LOADBUTT");
    EXPECT_EQ(Listed(), "t");
    Press("Form2", "Option2");
    EXPECT_EQ(SourceConnStr.substr(0, 7), "Driver=") << "a listed database is loaded again";
    EXPECT_EQ(Listed(), "t");
}

TEST_F(AccessPagesTest, FormEightProvesTheConnection) {
    ShowPage("Form8");
    EXPECT_EQ(LabelText("Form8", "ACCStatus"), "");
    Press("Form8", "NXT");
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Connection Failed|OK");
    Press("Form8", "LOADBUTT");
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "stop|Vantry|Please enter the MDB File or click button to browse. If you want to "
              "connect via ODBC DSN, Please choose DSN Option|OK");
    EXPECT_EQ(LabelText("Form8", "ACCStatus"), "Connection Failed");

    Type("Form8", "Mdbfilename", (folder_ / "missing.mdb").string());
    Press("Form8", "LOADBUTT");
    const std::string box = dialogs_.TakeBoxes();
    EXPECT_EQ(box.substr(0, 12), "stop|Error|-") << box;
    EXPECT_NE(box.find("missing.mdb"), std::string::npos);
    EXPECT_NE(TargetConnStr.find("missing.mdb"), std::string::npos);

    Type("Form8", "Mdbfilename", MakeDatabase("there.mdb", {}));
    Press("Form8", "LOADBUTT");
    EXPECT_EQ(LabelText("Form8", "ACCStatus"), "Connected Succesfully");
    EXPECT_EQ(Control<QLabel>("Form8", "ACCStatus").palette().color(QPalette::WindowText),
              QColor(20, 200, 20));
    Type("Form8", "Mdbfilename", "changed by hand.mdb");
    Press("Form8", "NXT");
    EXPECT_EQ(VisiblePages(), "Form4");
    EXPECT_TRUE(dialogs_.boxes.empty());
}

TEST_F(AccessPagesTest, FormEightCreatesADatabaseAndKeepsOneThatIsThere) {
    ShowPage("Form8");
    const std::string file = (folder_ / "new.mdb").string();
    dialogs_.choices = {file};
    Press("Form8", "Option4");
    Press("Form8", "NewMdbButton");
    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_EQ(LabelText("Form8", "ACCStatus"), "Connected Succesfully") << dialogs_.TakeBoxes();

    const std::string full = MakeDatabase("full.mdb", {"kept"});
    dialogs_.choices = {full, std::nullopt};
    TargetConnStr = "of the last try";
    Press("Form8", "NewMdbButton");
    // It isn't connected to what was there: the user wanted a new one.
    EXPECT_EQ(TargetConnStr, "of the last try");
    ASSERT_EQ(dialogs_.boxes.size(), 1u);
    EXPECT_EQ(dialogs_.TakeBoxes().substr(0, 12), "none|Vantry|");
    Press("Form8", "NewMdbButton");
    EXPECT_TRUE(dialogs_.boxes.empty()) << "cancelled";
    dialogs_.choices = {(folder_ / "no folder/x.mdb").string()};
    Press("Form8", "NewMdbButton");
    ASSERT_EQ(dialogs_.boxes.size(), 1u) << "told once";
    EXPECT_NE(dialogs_.TakeBoxes().find("no folder"), std::string::npos);
    Catalog catalog;
    catalog.SetActiveConnection("PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + full);
    bool kept = false;
    for (std::int32_t i = 0; i < catalog.Tables().Count(); ++i) {
        kept |= catalog.Tables()[i].Name == "kept";
    }
    EXPECT_TRUE(kept);
}

TEST_F(AccessPagesTest, APasswordIsAskedForAndNeverShown) {
    const std::string file = MakeDatabase("locked.mdb", {"t"});
    std::fstream bytes(file, std::ios::in | std::ios::out | std::ios::binary);
    constexpr std::streamoff kPasswordOffset =
        0x42;  // under a mask that leaves the changes visible
    const std::u16string password = u"S3cr3t";
    for (std::size_t i = 0; i < password.size(); ++i) {
        const auto place = kPasswordOffset + 2 * static_cast<std::streamoff>(i);
        bytes.seekg(place);
        const int there = bytes.get();
        bytes.seekp(place);
        bytes.put(static_cast<char>(there ^ static_cast<int>(password[i])));
    }
    bytes.close();
    for (const char* page : {"Form2", "Form8"}) {
        ShowPage(page);
        Type(page, "Mdbfilename", file);
        for (const char* typed : {"", "s3cr3t"}) {
            Type(page, "MdbPwd", typed);
            Press(page, "LOADBUTT");
            const std::string box = dialogs_.TakeBoxes();
            EXPECT_NE(box.find("Not a valid password"), std::string::npos) << box;
            EXPECT_EQ(box.find("s3cr3t"), std::string::npos);
            EXPECT_EQ(VisiblePages(), page);
        }
        Type(page, "MdbPwd", "S3cr3t");
        Press(page, "LOADBUTT");
        EXPECT_EQ(dialogs_.TakeBoxes(), "");
        HidePage(page);
    }
    EXPECT_EQ(Listed(), "t");
    EXPECT_EQ(LabelText("Form8", "ACCStatus"), "Connected Succesfully");
}

TEST_F(AccessPagesTest, TenThousandTablesAreListedAndTakenQuickly) {
    ShowPage("Form2");
    auto& list = Control<QListWidget>("Form2", "mdbtables");
    QStringList names;
    for (int i = 0; i < 10'000; ++i) {
        names << QString("table %1").arg(i);
    }
    list.addItems(names);
    list.selectAll();
    Press("Form2", "NXT");
    ASSERT_EQ(SrcTables.size(), 10'000u);
    EXPECT_EQ(SrcTables[9'999].Name, "table 9999");
}

TEST_F(AccessPagesTest, MethodsOfFormEightEnableAndConnectByTheTable) {
    struct Case {
        const char* option;
        bool drivers, dsns, create;
        std::size_t connects_unproven;
    };
    const Case cases[] = {{"Option2", true, false, true, 0},
                          {"Option4", false, false, true, 0},
                          {"Option1", false, false, true, 0},
                          {"Option3", false, true, false, 1}};
    ShowPage("Form8");
    Type("Form8", "Mdbfilename", (folder_ / "missing.mdb").string());
    for (const auto& [option, drivers, dsns, create, connects] : cases) {
        dialogs_.boxes.clear();
        Press("Form8", option);
        EXPECT_EQ(Control<QComboBox>("Form8", "ACCOdbcDrv").isEnabled(), drivers) << option;
        EXPECT_EQ(Control<QComboBox>("Form8", "AccDSNList").isEnabled(), dsns) << option;
        EXPECT_EQ(Control<QAbstractButton>("Form8", "NewMdbButton").isEnabled(), create) << option;
        EXPECT_EQ(dialogs_.boxes.size(), connects) << option;
    }
    dialogs_.boxes.clear();
    Press("Form8", "Option1");
    EXPECT_EQ(dialogs_.boxes.size(), 1u) << "a first try makes every change connect";
}

}  // namespace
}  // namespace vantry
