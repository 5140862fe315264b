// Form11 and Form11Poll: lists, previews, messages, and what Next leaves behind, read by the text
// driver.

#include "support/has.h"
#include "support/session_steps.h"
#include "text/pages/text_pages_fixture.h"

#include <QPushButton>

namespace vantry {
namespace {

using namespace std::string_literals;

class Form11Test : public TextPagesTest {
protected:
    void Open() {
        ShowPage("Form11");
        dialogs_.choices.push_back(Folder());
        Press("Form11", "Command1");
    }
    static QListWidget& Files() { return Control<QListWidget>("Form11", "FilesList"); }
    static QListWidgetItem& Entry(const char* name) {
        return *Files().findItems(name, Qt::MatchExactly).at(0);
    }
    static void Select(const char* name) { Files().setCurrentItem(&Entry(name)); }
    static std::string Listed() {
        std::string names;
        for (int row = 0; row < Files().count(); ++row) {
            names += (row == 0 ? "" : " ") + FromQt(Files().item(row)->text()) +
                     (Files().item(row)->checkState() == Qt::Checked ? "+" : "");
        }
        return names;
    }
    static std::string Chosen(const char* page) {
        for (int i = 0; i < 4; ++i) {
            if (Control<QRadioButton>(page, ("Option1_" + std::to_string(i)).c_str()).isChecked()) {
                return std::to_string(i) + FromQt(Control<QComboBox>(page, "TQ").currentText()) +
                       (Control<QCheckBox>(page, "ChkNames").isChecked() ? "+" : "-");
            }
        }
        return {};
    }
};

TEST_F(Form11Test, ListsTheFilesOfAFolderByTheirExtension) {
    for (const char* name : {"b.csv", "A.CSV", "c.tab", "d.txt", "none", "x.csv.bak"}) {
        folder_.Write(name, "\"<b>a\"\n");
    }
    std::filesystem::create_directory(folder_ / "folder.csv");
    Open();
    EXPECT_EQ(dialogs_.asked_files.at(0).title,
              "Select Folder Where CSV/Delimited Text Files are located");
    EXPECT_EQ(Listed(), "A.CSV b.csv");
    auto& extensions = Control<QComboBox>("Form11", "FileExtCombo");
    const std::pair<int, const char*> cases[] = {
        {1, "c.tab"}, {2, "d.txt"}, {3, "A.CSV b.csv c.tab d.txt none x.csv.bak"}};
    for (const auto& [index, names] : cases) {
        extensions.setCurrentIndex(index);
        EXPECT_EQ(Listed(), names);
    }
    Press("Form11", "SelAll");
    EXPECT_EQ(Listed(), "A.CSV+ b.csv+ c.tab+ d.txt+ none+ x.csv.bak+");
    Press("Form11", "SelNone");
    EXPECT_EQ(Listed(), "A.CSV b.csv c.tab d.txt none x.csv.bak");
    Select("d.txt");
    EXPECT_EQ(Preview("Form11"), "\"<b>a\"");
    EXPECT_EQ(ShownByTip(Control<QTableView>("Form11", "ColGrid")
                             .model()
                             ->headerData(0, Qt::Horizontal, Qt::ToolTipRole)
                             .toString()),
              "<b>a");
    EXPECT_EQ(dialogs_.TakeBoxes(), "");

    Type("Form11", "FolderName", Folder() + "/nowhere");
    extensions.setCurrentIndex(0);
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "none|Vantry|No Files Found in the selected directory matching extention:" +
                  Folder() + "/nowhere/*.csv|OK");
    EXPECT_EQ(Listed() + Preview("Form11") + Grid("Form11", 0), "");
    SetOption("Form11", "Option1_1");  // of no file
    // Arrows pass over an extension without files; left on it, the page says so.
    SendKey(extensions, Qt::Key_Down);
    QCoreApplication::processEvents();
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
    LeaveField("Form11", "FileExtCombo");
    QCoreApplication::processEvents();
    EXPECT_TRUE(dialogs_.TakeBoxes().ends_with("/nowhere/*.tab|OK"));
}

TEST_F(Form11Test, ASectionWrittenByHandCountsUntilAFormatIsChosen) {
    const std::string by_hand =
        "[fixed.csv]\r\nFormat=FixedLength\r\nColNameHeader=False\r\nCol1=id Text Width 3\r\n";
    folder_.Write("fixed.csv", "1\"x\n");
    folder_.Write("plain.csv", "id\n");
    folder_.Write("Schema.ini", by_hand);
    Open();
    EXPECT_EQ(dialogs_.TakeBoxes(), "") << "how it falls at commas doesn't count";
    EXPECT_EQ(
        FindPage("Form11")->CurrentNotice().Text(),
        "fixed.csv is read as Schema.ini describes it (fixed width), unless a format is chosen "
        "here.");
    Press("Form11", "SelAll");
    Press("Form11", "NXTBUTT");
    const std::string written = folder_.Read("Schema.ini");
    EXPECT_EQ(written.find("[fixed.csv]"), written.rfind("[fixed.csv]")) << written;
    EXPECT_TRUE(test::Has(written, "[plain.csv]"));
    EXPECT_EQ(test::RowsOf(SourceConnStr, "select id from [fixed.csv]"), "1\"x\n");
    // A choice on the page is meant, and the page says what it takes the place of.
    ShowPage("Form11");
    Select("fixed.csv");
    SetOption("Form11", "Option1_2");
    EXPECT_EQ(FindPage("Form11")->CurrentNotice().kind, NoticeKind::Warning);
    dialogs_.boxes.clear();
    Select("plain.csv");
    Press("Form11", "NXTBUTT");
    const std::string after = folder_.Read("Schema.ini");
    EXPECT_LT(after.find("[fixed.csv]\r\nFormat=Delimited(;)"), after.find("FixedLength")) << after;
}

TEST_F(Form11Test, KeepsTheFormatOfEachFile) {
    folder_.Write("a.csv", "\"id\",name\n1,\"x,y\",more than columns\n");
    folder_.Write("b.csv", "id;name\n1;'x;y'\n");
    folder_.Write("c.csv", "id|name\n");
    folder_.Write("empty.csv", "");
    ShowPage("Form11");
    EXPECT_EQ(TextDelim + TextQual, ",\"");
    Open();
    Select("a.csv");
    EXPECT_EQ(Chosen("Form11"), "0Double Qoutes \"+");
    EXPECT_EQ(Preview("Form11"), "\"id\",name\n1,\"x,y\",more than columns");
    EXPECT_EQ(Grid("Form11", 2), "[\"id\"][name]\n[1][x,y]\n[][]");

    Select("b.csv");
    SetOption("Form11", "Option1_2");
    EXPECT_EQ(TextDelim, ";");
    Control<QComboBox>("Form11", "TQ").setCurrentIndex(1);
    EXPECT_EQ(TextQual, "'");
    EXPECT_EQ(Grid("Form11", 1), "[id][name]\n[1][x;y]");
    Control<QCheckBox>("Form11", "ChkNames").click();
    EXPECT_EQ(Grid("Form11", 2), "[F1][F2]\n[id][name]\n[1][x;y]");
    Control<QComboBox>("Form11", "TQ").setCurrentIndex(2);
    EXPECT_EQ(TextQual, "");

    Select("c.csv");
    auto& other = Control<QLineEdit>("Form11", "OthChr");
    EXPECT_FALSE(other.isEnabled());
    SetOption("Form11", "Option1_3");
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|Please enter Delimiting Char|OK");
    EXPECT_TRUE(other.isEnabled());
    EXPECT_EQ(FindPage("Form11")->focusWidget(), &other);
    other.setText("|");
    EXPECT_EQ(TextDelim, "|");
    EXPECT_EQ(Grid("Form11", 0), "[id][name]");
    Control<QComboBox>("Form11", "TQ").setEditText("#");
    EXPECT_EQ(TextQual, "#");

    const std::pair<const char*, const char*> kept[] = {{"a.csv", "0Double Qoutes \"+"},
                                                        {"b.csv", "2<none>-"},
                                                        {"c.csv", "3#+"},
                                                        {"empty.csv", "0Double Qoutes \"+"}};
    for (const auto& [name, format] : kept) {
        Select(name);
        EXPECT_EQ(Chosen("Form11"), format) << name;
        EXPECT_EQ(other.isEnabled(), format[0] == '3');
    }
    for (const auto& [name, written] : {std::pair("c.csv",
                                                  "(|)\r\nColNameHeader=True\r\n"
                                                  "MaxScanRows=50\r\nTextDelimiter=\"#\""),
                                        {"b.csv", "MaxScanRows=50\r\nTextDelimiter=\"\""}}) {
        ShowPage("Form11");
        Press("Form11", "SelNone");
        Select(name);
        Entry(name).setCheckState(Qt::Checked);
        EXPECT_EQ(Pressed("Form11", "NXTBUTT"), "");
        EXPECT_TRUE(test::Has(folder_.Read("Schema.ini"), written)) << name;
    }
}

TEST_F(Form11Test, RefusesWhatCantBeRead) {
    folder_.Write("good.csv", "a,b\n");
    folder_.Write("open.csv", "\"a,b\n1,2\n");
    folder_.Write("further.csv", "a,b\n\"1,2\n");
    ShowPage("Form11");
    const std::string invalid = "stop|Stop|Invalid File|OK";
    EXPECT_EQ(Pressed("Form11", "NXTBUTT"), invalid);
    Open();
    Press("Form11", "SelAll");
    Select("open.csv");
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Invalid Text |OK");
    EXPECT_EQ(Grid("Form11", 0), "");
    EXPECT_EQ(Pressed("Form11", "NXTBUTT"), invalid);
    Control<QComboBox>("Form11", "TQ").setCurrentIndex(2);
    EXPECT_EQ(Grid("Form11", 1), "[\"a][b]\n[1][2]");
    Select("further.csv");
    EXPECT_EQ(dialogs_.TakeBoxes(), "") << "only the first line is judged";

    Press("Form11", "SelNone");
    EXPECT_EQ(Pressed("Form11", "NXTBUTT"),
              "none|Vantry|Please Select atleast one file for transfer|OK");

    std::filesystem::remove(folder_ / "good.csv");
    Select("good.csv");
    const std::string gone = dialogs_.TakeBoxes();
    EXPECT_TRUE(gone.starts_with("none|Vantry|Error :")) << gone;
    EXPECT_TRUE(test::Has(gone, "good.csv"));
    EXPECT_EQ(VisiblePages(), "Form11");
    EXPECT_EQ(SourceConnStr, "former");
}

TEST_F(Form11Test, TellsWhenSchemaIniCantBeWritten) {
    folder_.Write("a.csv", "a,b\n");
    Open();
    Entry("a.csv").setCheckState(Qt::Checked);
    EXPECT_EQ(Preview("Form11"), "a,b") << "ticked is looked at, too";
    const std::string start =
        "none|Vantry|Error while preparing Text Source. Please Contact Vantry Support\n";
    for (const auto& folder : {Folder() + "/a.csv", Folder() + "/gone", std::string()}) {
        Type("Form11", "FolderName", folder);
        const std::string box = Pressed("Form11", "NXTBUTT");
        EXPECT_TRUE(box.starts_with(start) && box.size() > start.size() + 10) << box;
        EXPECT_EQ(VisiblePages(), "Form11");
        EXPECT_EQ(Listed(), "a.csv+");
    }
    EXPECT_EQ(SourceConnStr, "former");
    EXPECT_EQ(SrcTables.size(), 3u);
}

TEST_F(Form11Test, LeavesTablesThatTheTextDriverReads) {
    folder_.Write("a.csv", "id,name\n1,\"x,y\"\n2,z\n");
    folder_.Write("b.csv", "7\tseven\n");
    folder_.Write("c.csv", "k;v\n1;2\n");
    folder_.Write("skipped.csv", "a\n");
    folder_.Write("schema.ini", "[old.csv]\r\nFormat=TabDelimited\r\n");
    Open();
    Select("b.csv");
    SetOption("Form11", "Option1_1");
    Control<QCheckBox>("Form11", "ChkNames").click();
    Select("c.csv");
    SetOption("Form11", "Option1_2");
    Select("a.csv");
    for (const char* name : {"c.csv", "a.csv", "b.csv"}) {
        Entry(name).setCheckState(Qt::Checked);
    }
    Select("a.csv");
    SourceQueryMode = 7;
    Press("Form11", "NXTBUTT");
    ASSERT_EQ(dialogs_.TakeBoxes(), "");
    EXPECT_EQ(VisiblePages(), "Form8");
    EXPECT_EQ(folder_.Read("schema.ini"),
              "\r\n\r\n[a.csv]\r\nFormat=CSVDelimited\r\nColNameHeader=True\r\nMaxScanRows=50\r\n"
              "\r\n\r\n[b.csv]\r\nFormat=TabDelimited\r\nColNameHeader=False\r\nMaxScanRows=50\r\n"
              "\r\n\r\n[c.csv]\r\nFormat=Delimited(;)\r\nColNameHeader=True\r\nMaxScanRows=50\r\n"
              "\r\n\r\n[old.csv]\r\nFormat=TabDelimited\r\n");
    EXPECT_EQ(SourceConnStr,
              "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + Folder() +
                  ";Extended Properties=\"text;FMT=Delimited\";\"");
    EXPECT_EQ(SourceQueryMode, 0);
    std::string tables;
    for (const auto& table : SrcTables) {
        EXPECT_EQ(table.FolderName, Folder());
        tables += std::to_string(table.TabID) + table.Name + table.SFormat + table.TextQ +
                  std::to_string(table.SFirstColLine) + table.Owner + " ";
    }
    EXPECT_EQ(tables, "0a.csv,\"1 1b.csv\t\"0 2c.csv;\"1 ");
    EXPECT_EQ(test::RowsOf(SourceConnStr, "select id,name from [a.csv]"), "1|x,y\n2|z\n");
    EXPECT_EQ(test::RowsOf(SourceConnStr, "select F1,F2 from [b.csv]"), "7|seven\n");

    // Back shows the page as it was left; a second pass puts its sections before the former ones.
    HidePage("Form8");
    BackToSourcePage();
    EXPECT_EQ(Listed(), "a.csv+ b.csv+ c.csv+ skipped.csv");
    Press("Form11", "SelNone");
    Entry("c.csv").setCheckState(Qt::Checked);
    TargetType = "TEXT";
    const std::string former = folder_.Read("schema.ini");
    Control<QComboBox>("Form11", "TQ").setCurrentIndex(1);
    Press("Form11", "NXTBUTT");
    EXPECT_EQ(VisiblePages(), "Form12c");
    const std::string section =
        "\r\n\r\n[c.csv]\r\nFormat=Delimited(;)\r\nColNameHeader=True\r\nMaxScanRows=50\r\n"
        "TextDelimiter=\"'\"\r\n";
    EXPECT_TRUE(folder_.Read("schema.ini").starts_with(section + "\r\n"));
    EXPECT_TRUE(folder_.Read("schema.ini").ends_with(former));
    EXPECT_EQ(SrcTables.size(), 1u);
}

TEST_F(Form11Test, ListsTheFolderThatWasTyped) {
    folder_.Write("a.csv", "a,b\n");
    folder_.Write("b.tab", "a\n");
    std::filesystem::create_directory(folder_ / "other");
    folder_.Write("other/c.csv", "c\n");
    Open();
    Press("Form11", "SelAll");
    Select("a.csv");
    TypeByKeys("Form11", "FolderName", Folder() + "/other");
    PressEnter("Form11", "FolderName");
    EXPECT_EQ(Listed(), "c.csv");
    EXPECT_EQ(dialogs_.TakeBoxes(), "") << "Enter is the field's, not the default button's";

    TypeByKeys("Form11", "FolderName", Folder());
    LeaveField("Form11", "FolderName");
    QCoreApplication::processEvents();
    EXPECT_EQ(Listed(), "a.csv");
    Press("Form11", "SelAll");
    LeaveField("Form11", "FolderName");
    QCoreApplication::processEvents();
    EXPECT_EQ(Listed(), "a.csv+") << "left as it was";
    Control<QPushButton>("Form11", "NXTBUTT").setEnabled(false);
    PressEnter("Form11", "FolderName");
    Control<QPushButton>("Form11", "NXTBUTT").setEnabled(true);
    EXPECT_EQ(Listed(), "a.csv+") << "the key is the page's, and forgets nothing";

    TypeByKeys("Form11", "FolderName", Folder() + "/other");
    EXPECT_EQ(Pressed("Form11", "NXTBUTT"),
              "none|Vantry|Please Select atleast one file for transfer|OK")
        << "never the files of one folder in another";
    EXPECT_EQ(Listed(), "c.csv");
}

class Form11PollTest : public Form11Test {};

TEST_F(Form11PollTest, TakesASampleFile) {
    const std::pair<const char*, const char*> patterns[] = {
        {"orders.csv", "*.csv"}, {"a.b.TXT", "*.TXT"}, {"plain", "*.*"}};
    ShowPage("Form11Poll");
    EXPECT_EQ(FromQt(Control<QLineEdit>("Form11Poll", "FRenameTbox").text()), "Loaded");
    std::filesystem::create_directory(folder_ / "in.box");
    for (const auto& [name, pattern] : patterns) {
        dialogs_.choices.push_back(folder_.Write("in.box/"s + name, "id,name\n1,'x'\n").string());
        Press("Form11Poll", "Command1");
        EXPECT_EQ(FromQt(Control<QLineEdit>("Form11Poll", "FPatternTbox").text()), pattern);
        EXPECT_EQ(Preview("Form11Poll"), "id,name\n1,'x'");
    }
    EXPECT_EQ(dialogs_.asked_files.at(0).title, "Open CSV/Delimited File");
    EXPECT_EQ(dialogs_.asked_files.at(0).filter,
              "Comma Seperated Values (*.csv)|*.csv|Tab Delimited Files (*.tab)|*.tab|Text Files "
              "(*.txt)|*.txt|All Files (*.*)|*.*");
    EXPECT_EQ(Grid("Form11Poll", 1), "[id][name]\n[1]['x']");
    Control<QCheckBox>("Form11Poll", "ChkNames").setChecked(false);
    EXPECT_EQ(Grid("Form11Poll", 1), "[Col1][Col2]\n[id][name]");
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
    // One that is typed is shown at Enter, which isn't Next.
    folder_.Write("a.csv", "k\n");
    TypeByKeys("Form11Poll", "TxtFile", Folder() + "/a.csv");
    PressEnter("Form11Poll", "TxtFile");
    EXPECT_EQ(Preview("Form11Poll"), "k");
    EXPECT_FALSE(std::filesystem::exists(folder_ / "Schema.ini"));
    TypeByKeys("Form11Poll", "TxtFile", Folder() + "/gone.csv");
    const std::string boxes = Pressed("Form11Poll", "NXTBUTT");
    EXPECT_TRUE(boxes.starts_with("none|Vantry|Error :")) << boxes;
    EXPECT_TRUE(boxes.ends_with("stop|Stop|Invalid File|OK")) << boxes;
    EXPECT_EQ(VisiblePages(), "Form11Poll");
}

TEST_F(Form11PollTest, LeavesOneTableThatTheTextDriverReads) {
    const std::string file = folder_.Write("orders.csv", "id;name\n1;'x;y'\n").string();
    SourceType = "TEXTPOLL";
    TargetType = "TEXT";
    ShowPage("Form11Poll");
    EXPECT_EQ(Pressed("Form11Poll", "NXTBUTT"), "stop|Stop|Invalid File|OK");
    dialogs_.choices.push_back(file);
    Press("Form11Poll", "Command1");
    SetOption("Form11Poll", "Option1_3");
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|Please enter Delimiting Char|OK");
    Type("Form11Poll", "OthChr", ";");
    Control<QComboBox>("Form11Poll", "TQ").setEditText("'");
    Type("Form11Poll", "FPatternTbox", "ord*.csv");
    Type("Form11Poll", "FRenameTbox", "Done");
    Type("Form11Poll", "TxtFile", "orders.csv");
    Press("Form11Poll", "NXTBUTT");
    EXPECT_TRUE(dialogs_.TakeBoxes().starts_with(
        "none|Vantry|Error while preparing Text Source. Please Contact Vantry Support\n"))
        << "no folder";
    Type("Form11Poll", "TxtFile", file);
    Press("Form11Poll", "NXTBUTT");
    ASSERT_EQ(dialogs_.TakeBoxes(), "");
    EXPECT_EQ(VisiblePages(), "Form12c");
    EXPECT_EQ(FindPage("Form11Poll"), nullptr);
    EXPECT_EQ(PollPattern + " " + PollRename + " " + PollFolder, "ord*.csv Done " + Folder() + "/");
    EXPECT_EQ(folder_.Read("Schema.ini"),
              "\r\n\r\n[orders.csv]\r\nFormat=Delimited(;)\r\nColNameHeader=True\r\n"
              "MaxScanRows=0\r\nTextDelimiter=\"'\"\r\n");
    EXPECT_EQ(SourceConnStr,
              "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + Folder() +
                  "/;Extended Properties=\"text;FMT=Delimited\";\"");
    ASSERT_EQ(SrcTables.size(), 1u);
    const TableRec& table = SrcTables[0];
    EXPECT_EQ(table.Name + table.SFormat + table.TextQ + table.FolderName,
              "orders.csv;'" + Folder() + "/");
    EXPECT_EQ(table.SFirstColLine * 10 + table.TabID, 10);
    EXPECT_EQ(test::RowsOf(SourceConnStr, "select id,name from [orders.csv]"), "1|x;y\n");
}

}  // namespace
}  // namespace vantry
