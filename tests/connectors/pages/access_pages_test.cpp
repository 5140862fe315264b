// Form2 and Form8 on real files: connection strings, lists, messages, status.

#include "connectors/pages/connector_pages_fixture.h"

#include <filesystem>

namespace vantry::test {
namespace {

class AccessPagesTest : public ConnectorPagesTest {
protected:
    AccessPagesTest() {
        OdbcDrivers = {"", "Microsoft Access Driver (*.mdb, *.accdb)", "Other", "My ACCESS thing"};
        OdbcDsns = {{"", ""}, {"Sales", "Access driver"}, {"Else", "SQLite3"}};
    }
    static std::string Listed() { return Entries("Form2", "mdbtables"); }
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
            EXPECT_EQ(ConnStr(page), expected[i]) << page;
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
    EXPECT_EQ(Pressed("Form2", "NXT"), "stop|Stop|Please select atleast one table|OK");

    Select("Form2", "mdbtables", {2, 1});
    SourceQueryMode = 7;
    Press("Form2", "NXT");
    EXPECT_EQ(Tables() + std::to_string(SourceQueryMode), "|Kunden äöü,|orders0");
    Press("Form8", "BCK");
    EXPECT_EQ(VisiblePages(), "Form2");
    EXPECT_EQ(Listed(), "items,Kunden äöü,orders") << "hidden, not unloaded";

    // The extension, as it is written, chooses the method.
    const std::tuple<const char*, const char*, const char*> files[] = {
        {"a.mdb", "Option4", "Option1"},
        {"a.accdb", "Option1", "Option4"},
        {"A.MDB", "Option4", "Option4"},
        {"noextension", "Option2", "Option2"}};
    for (const auto& [file, before, after] : files) {
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
    const std::pair<std::string, const char*> cases[] = {
        {"", "stop|Vantry|Please enter the MDB File or click button to browse|OK"},
        {(folder_ / "missing.mdb").string(), "stop|Error|"},
        {folder_.Path().string(), "stop|Error|"},
        {notes, "stop|Error|"},
    };
    ShowPage("Form2");
    for (const auto& [file, first_box] : cases) {
        Type("Form2", "Mdbfilename", file);
        const std::string boxes = Pressed("Form2", "LOADBUTT");
        EXPECT_EQ(boxes.substr(0, std::string_view(first_box).size()), first_box) << file;
        if (!file.empty()) {
            EXPECT_TRUE(Has(boxes, std::filesystem::path(file).filename().string()));
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
    std::string enabled;
    for (const char* const option : {"Option2", "Option3", "Option1", "Option2", "Option4"}) {
        Press("Form2", option);
        enabled += Enabled("Form2", {"ACCOdbcDrv", "AccDSNList"}) + "; ";
    }
    // Nothing disables the data sources again, and the last option changes nothing.
    EXPECT_EQ(enabled,
              "ACCOdbcDrv ; ACCOdbcDrv AccDSNList ; AccDSNList ; ACCOdbcDrv AccDSNList ; "
              "ACCOdbcDrv AccDSNList ; ");
    EXPECT_TRUE(dialogs_.boxes.empty()) << "nothing is listed, so nothing loads";

    Type("Form2", "Mdbfilename", MakeDatabase("a.mdb", {"t"}));
    Press("Form2", "Option1");
    Press("Form2", "LOADBUTT");
    EXPECT_EQ(Listed(), "t");
    Press("Form2", "Option2");
    EXPECT_EQ(SourceConnStr.substr(0, 7), "Driver=") << "a listed database is loaded again";
    EXPECT_EQ(Listed(), "t");

    // A typed name is loaded by Enter, with the provider of its kind.
    Press("Form2", "Option1");
    Control<QWidget>("Form2", "Mdbfilename").setFocus();
    TypeByKeys("Form2", "Mdbfilename", MakeDatabase("b.accdb"));
    PressEnter("Form2", "Mdbfilename");
    EXPECT_NE(SourceConnStr.find("ACE.OLEDB"), std::string::npos) << SourceConnStr;
    EXPECT_EQ(Listed() + dialogs_.TakeBoxes(), "");
    PressEnter("Form2", "Mdbfilename");
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|Please select atleast one table|OK");
}

TEST_F(AccessPagesTest, FormEightProvesTheConnection) {
    ShowPage("Form8");
    EXPECT_EQ(Pressed("Form8", "NXT"), "none|Vantry|Connection Failed|OK");
    EXPECT_EQ(Pressed("Form8", "LOADBUTT"),
              "stop|Vantry|Please enter the MDB File or click button to browse. If you want to "
              "connect via ODBC DSN, Please choose DSN Option|OK");
    EXPECT_EQ(LabelText("Form8", "ACCStatus"), "Connection Failed");

    Type("Form8", "Mdbfilename", (folder_ / "missing.mdb").string());
    const std::string box = Pressed("Form8", "LOADBUTT");
    EXPECT_EQ(box.substr(0, 12), "stop|Error|-") << box;
    EXPECT_TRUE(Has(box, "missing.mdb"));

    Type("Form8", "Mdbfilename", MakeDatabase("there.mdb", {}));
    Press("Form8", "LOADBUTT");
    EXPECT_EQ(Status("Form8", "ACCStatus"), "Connected Succesfully #14c814");
    Type("Form8", "Mdbfilename", "changed by hand.mdb");
    Press("Form8", "NXT");
    EXPECT_EQ(VisiblePages(), "Form4");
    EXPECT_TRUE(dialogs_.boxes.empty());
}

TEST_F(AccessPagesTest, FormEightCreatesADatabaseAndKeepsOneThatIsThere) {
    ShowPage("Form8");
    const std::string file = (folder_ / "new.mdb").string();
    const std::string full = MakeDatabase("full.mdb", {"kept"});
    dialogs_.choices = {file,
                        (folder_ / "new.accdb").string(),
                        full,
                        std::nullopt,
                        (folder_ / "no folder/x.mdb").string()};
    Press("Form8", "Option4");
    Press("Form8", "NewMdbButton");
    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_EQ(LabelText("Form8", "ACCStatus"), "Connected Succesfully") << dialogs_.TakeBoxes();

    // By its ending it is of the newer kind, and connected to as such.
    Press("Form8", "Option1");
    Press("Form8", "NewMdbButton");
    EXPECT_EQ(folder_.Read("new.accdb").substr(4, 15), "Standard ACE DB");
    EXPECT_TRUE(Control<QRadioButton>("Form8", "Option4").isChecked());
    EXPECT_EQ(TargetConnStr.find("Provider=Microsoft.ACE"), 0U) << TargetConnStr;

    TargetConnStr = "of the last try";
    Press("Form8", "NewMdbButton");
    // It isn't connected to what was there: the user wanted a new one.
    EXPECT_EQ(TargetConnStr, "of the last try");
    ASSERT_EQ(dialogs_.boxes.size(), 1u);
    EXPECT_EQ(dialogs_.TakeBoxes().substr(0, 12), "none|Vantry|");
    Press("Form8", "NewMdbButton");
    EXPECT_TRUE(dialogs_.boxes.empty()) << "cancelled";
    Press("Form8", "NewMdbButton");
    ASSERT_EQ(dialogs_.boxes.size(), 1u) << "told once";
    EXPECT_TRUE(Has(dialogs_.TakeBoxes(), "no folder"));
    ShowPage("Form2");
    Type("Form2", "Mdbfilename", full);
    Press("Form2", "LOADBUTT");
    EXPECT_EQ(Listed(), "kept");
}

TEST_F(AccessPagesTest, APasswordIsAskedForAndNeverShown) {
    const std::string file = MakeDatabase("locked.mdb", {"t"});
    std::string bytes = folder_.Read("locked.mdb");
    const std::string password = "S3cr3t";
    for (std::size_t i = 0; i < password.size(); ++i) {
        char& byte = bytes[0x42 + 2 * i];
        byte =
            static_cast<char>(byte ^ password[i]);  // under a mask that leaves the changes visible
    }
    folder_.Write("locked.mdb", bytes);
    for (const char* page : {"Form2", "Form8"}) {
        ShowPage(page);
        Type(page, "Mdbfilename", file);
        for (const char* typed : {"", "s3cr3t"}) {
            Type(page, "MdbPwd", typed);
            const std::string box = Pressed(page, "LOADBUTT");
            EXPECT_TRUE(Has(box, "Not a valid password"));
            EXPECT_FALSE(Has(box, "s3cr3t"));
            EXPECT_EQ(VisiblePages(), page);
        }
        Type(page, "MdbPwd", "S3cr3t");
        EXPECT_EQ(Pressed(page, "LOADBUTT"), "");
        HidePage(page);
    }
    EXPECT_EQ(Listed(), "t");
    EXPECT_EQ(LabelText("Form8", "ACCStatus"), "Connected Succesfully");
}

TEST_F(AccessPagesTest, MethodsOfFormEightEnableAndConnectByTheTable) {
    const std::tuple<const char*, const char*, std::size_t> cases[] = {
        {"Option2", "ACCOdbcDrv NewMdbButton ", 0},
        {"Option4", "NewMdbButton ", 0},
        {"Option1", "NewMdbButton ", 0},
        {"Option3", "AccDSNList ", 1}};
    ShowPage("Form8");
    Type("Form8", "Mdbfilename", (folder_ / "missing.mdb").string());
    for (const auto& [option, enabled, connects] : cases) {
        dialogs_.boxes.clear();
        Press("Form8", option);
        EXPECT_EQ(Enabled("Form8", {"ACCOdbcDrv", "AccDSNList", "NewMdbButton"}), enabled);
        EXPECT_EQ(dialogs_.boxes.size(), connects) << option;
    }
    dialogs_.boxes.clear();
    Press("Form8", "Option1");
    EXPECT_EQ(dialogs_.boxes.size(), 1u) << "a first try makes every change connect";
}

}  // namespace
}  // namespace vantry::test
