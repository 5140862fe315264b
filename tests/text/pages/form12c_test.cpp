// Form12c: its controls' rules, its messages, and the six variables of a text target.

#include "text/pages/text_pages_fixture.h"

namespace vantry {
namespace {

class Form12cTest : public TextPagesTest {
protected:
    Form12cTest() {
        TargetType = "TEXT";
        TextDestFormat = TextDestDir = TextDestExt = TextDestDelim = TextDestQual = "former";
        TextDestHeader = kFalse;
        ShowPage("Form12c");
    }
    static QLineEdit& Other() { return Control<QLineEdit>("Form12c", "OthFormat"); }
    static QWidget* Focus() { return FindPage("Form12c")->focusWidget(); }
    static std::string Stored() {
        return TextDestFormat + "|" + TextDestDir + "|" + TextDestExt + "|" + TextDestDelim + "|" +
               TextDestQual + "|" + std::to_string(TextDestHeader);
    }
};

TEST_F(Form12cTest, StoresItsChoices) {
    using Text = const char*;
    const std::tuple<Text, Text, Text, Text, Text, bool, Text> cases[] = {
        {"FileFormatOpt_0", "Option1_0", "", ".csv", "\"", false, "DELIMITED|.csv|,|\"|0"},
        {"FileFormatOpt_0", "Option1_1", "", "csv", "'", true, "DELIMITED|.csv|\t|'|-1"},
        {"FileFormatOpt_0", "Option1_2", "", "", "", true, "DELIMITED|.txt|;||-1"},
        {"FileFormatOpt_0", "Option1_3", "|", ".dat", "ab", false, "DELIMITED|.dat|||ab|0"},
        {"FileFormatOpt_1", "Option1_3", "", "t.x", "#", false, "FIXED|.t.x||#|0"},
        {"FileFormatOpt_1", "Option1_2", "", ".", "\"", true, "FIXED|.|;|\"|-1"},
    };
    for (const auto& [format, option, other, extension, qualifier, names, stored] : cases) {
        ShowPage("Form12c");
        EXPECT_EQ(Control<QComboBox>("Form12c", "DefExt").currentText(), ".csv");
        SetOption("Form12c", option);
        Other().setText(ToQt(other));
        SetOption("Form12c", format);
        Type("Form12c", "FName", Folder());
        Control<QComboBox>("Form12c", "DefExt").setEditText(extension);
        Control<QComboBox>("Form12c", "TQ").setEditText(qualifier);
        Control<QCheckBox>("Form12c", "ColNames").setChecked(names);
        EXPECT_EQ(Pressed("Form12c", "NXTBUTT"), "");
        std::string expected = stored;
        expected.insert(expected.find('|'), "|" + Folder());
        EXPECT_EQ(Stored(), expected);
        EXPECT_EQ(VisiblePages(), "Form4");
        EXPECT_NE(FindPage("Form12c"), nullptr);
        UnloadAllPages();
    }
}

TEST_F(Form12cTest, FixedFieldsNeedNoDelimiter) {
    const std::string controls =
        "Frame2 Option1_0 Option1_1 Option1_2 Option1_3 OthFormat TQ Label4 Label6";
    EXPECT_FALSE(Other().isEnabled());
    for (const bool delimited : {false, true}) {
        SetOption("Form12c", delimited ? "FileFormatOpt_0" : "FileFormatOpt_1");
        std::istringstream names(controls);
        for (std::string name; names >> name;) {
            EXPECT_EQ(Control<QWidget>("Form12c", name.c_str()).isEnabled(), delimited) << name;
        }
        EXPECT_TRUE(Control<QWidget>("Form12c", "ColNames").isEnabled());
    }
    SetOption("Form12c", "Option1_3");
    EXPECT_TRUE(Other().isEnabled());
    EXPECT_EQ(Focus(), &Other());
    SetOption("Form12c", "Option1_1");
    EXPECT_FALSE(Other().isEnabled());
}

TEST_F(Form12cTest, TheOtherDelimiterIsOneCharacterAndNoDoubleQuote) {
    SetOption("Form12c", "Option1_3");
    SendKey(Other(), Qt::Key_Bar, "|");
    Other().selectAll();
    SendKey(Other(), Qt::Key_A, "a");
    EXPECT_EQ(Other().text(), "|");
    SendKey(Other(), Qt::Key_Backspace, "\b");
    EXPECT_EQ(Other().text(), "");
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
    SendKey(Other(), Qt::Key_QuoteDbl, "\"");
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|Invalid Delimiting Character|OK");
    Type("Form12c", "FName", Folder());
    EXPECT_EQ(Pressed("Form12c", "NXTBUTT"), "stop|Stop|Please enter Delimiting Characater|OK");
    EXPECT_EQ(Focus(), &Other());
    EXPECT_EQ(TextDestDelim, "former");
    SendKey(Other(), Qt::Key_A, "ß");
    Press("Form12c", "NXTBUTT");
    EXPECT_EQ(TextDestDelim, "ß");
}

TEST_F(Form12cTest, AFolderThatIsntThereIsToldWhenItsFieldIsLeft) {
    EXPECT_EQ(Pressed("Form12c", "NXTBUTT"), "stop|Stop|Please enter the Folder Name|OK");
    EXPECT_EQ(Focus(), &Control<QLineEdit>("Form12c", "FName"));
    folder_.Write("file", "");
    const std::string told = "stop|Stop|Directory does not exist|OK";
    const std::tuple<std::string, Qt::FocusReason, std::string> cases[] = {
        {"", Qt::TabFocusReason, ""},
        {Folder() + "/", Qt::TabFocusReason, ""},
        {Folder() + "/none", Qt::TabFocusReason, told},
        {Folder() + "/none", Qt::MouseFocusReason, told},
        {Folder() + "/none", Qt::ActiveWindowFocusReason, ""},
        {Folder() + "/none", Qt::PopupFocusReason, ""},
        {Folder() + "/file", Qt::TabFocusReason, told},
    };
    for (const auto& [folder, reason, boxes] : cases) {
        Type("Form12c", "FName", folder);
        Control<QWidget>("Form12c", "DefExt").setFocus();
        QCoreApplication::processEvents();
        dialogs_.TakeBoxes();
        LeaveField("Form12c", "FName", reason);
        QCoreApplication::processEvents();
        EXPECT_EQ(dialogs_.TakeBoxes(), boxes) << folder << reason;
        if (!boxes.empty()) {
            EXPECT_EQ(Focus(), &Control<QLineEdit>("Form12c", "FName"));
        }
    }
    // Left by a click on Next: told once, and the page stays.
    Type("Form12c", "FName", Folder() + "/none");
    LeaveField("Form12c", "FName", Qt::MouseFocusReason);
    Press("Form12c", "NXTBUTT");
    QCoreApplication::processEvents();
    EXPECT_EQ(dialogs_.TakeBoxes(), told);
    EXPECT_EQ(VisiblePages(), "Form12c");
    // Left by Enter, which is Next.
    Control<QLineEdit>("Form12c", "FName").setFocus();
    PressEnter("Form12c", "FName");
    EXPECT_EQ(dialogs_.TakeBoxes(), told);
    EXPECT_EQ(VisiblePages(), "Form12c");
    // By a click on the button that finds the right one, or that leaves the page: not told.
    LeaveField("Form12c", "FName", Qt::MouseFocusReason);
    dialogs_.choices = {Folder()};
    Press("Form12c", "Command1");
    QCoreApplication::processEvents();
    EXPECT_EQ(dialogs_.asked_files.at(0).title,
              "Select Folder Where CSV/Delimited Text Files should be created");
    Type("Form12c", "FName", Folder() + "/none");
    LeaveField("Form12c", "FName", Qt::MouseFocusReason);
    Press("Form12c", "BCKBUTT");
    QCoreApplication::processEvents();
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
}

}  // namespace
}  // namespace vantry
