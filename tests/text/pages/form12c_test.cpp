// Form12c: its controls' rules, its messages, and the six variables of a text target.

#include "text/pages/text_pages_fixture.h"

#include <QGroupBox>
#include <QKeyEvent>

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
    static void Key(QWidget& widget, int key, const char* text) {
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, text);
        QCoreApplication::sendEvent(&widget, &press);
    }
    static void LeaveFolder(Qt::FocusReason reason) {
        QFocusEvent leave(QEvent::FocusOut, reason);
        QCoreApplication::sendEvent(&Control<QLineEdit>("Form12c", "FName"), &leave);
        QCoreApplication::processEvents();
    }
    static std::string Stored() {
        return TextDestFormat + "|" + TextDestDir + "|" + TextDestExt + "|" + TextDestDelim + "|" +
               TextDestQual + "|" + std::to_string(TextDestHeader);
    }
};

TEST_F(Form12cTest, StoresItsChoices) {
    const std::
        tuple<const char*, const char*, const char*, const char*, const char*, bool, const char*>
            cases[] = {
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
        if (*other == '\0' && std::string_view(option) != "Option1_3") {
            SetOption("Form12c", "Option1_3");
            SetOption("Form12c", option);
        }
        SetOption("Form12c", format);
        Type("Form12c", "FName", Folder());
        Control<QComboBox>("Form12c", "DefExt").setEditText(extension);
        Control<QComboBox>("Form12c", "TQ").setEditText(qualifier);
        Control<QCheckBox>("Form12c", "ColNames").setChecked(names);
        Press("Form12c", "NXTBUTT");
        EXPECT_EQ(dialogs_.TakeBoxes(), "");
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
    Key(Other(), Qt::Key_Bar, "|");
    Other().selectAll();
    Key(Other(), Qt::Key_A, "a");
    EXPECT_EQ(Other().text(), "|");
    Key(Other(), Qt::Key_Backspace, "\b");
    EXPECT_EQ(Other().text(), "");
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
    Key(Other(), Qt::Key_QuoteDbl, "\"");
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|Invalid Delimiting Character|OK");
    Type("Form12c", "FName", Folder());
    Press("Form12c", "NXTBUTT");
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|Please enter Delimiting Characater|OK");
    EXPECT_EQ(Focus(), &Other());
    EXPECT_EQ(TextDestDelim, "former");
    Key(Other(), Qt::Key_A, "ß");
    Press("Form12c", "NXTBUTT");
    EXPECT_EQ(TextDestDelim, "ß");
}

TEST_F(Form12cTest, AFolderThatIsntThereIsToldWhenItsFieldIsLeft) {
    Press("Form12c", "NXTBUTT");
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|Please enter the Folder Name|OK");
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
        LeaveFolder(reason);
        EXPECT_EQ(dialogs_.TakeBoxes(), boxes) << folder << reason;
        if (!boxes.empty()) {
            EXPECT_EQ(Focus(), &Control<QLineEdit>("Form12c", "FName"));
        }
    }
    // Left by a click on Next: told once, and the page stays.
    Type("Form12c", "FName", Folder() + "/none");
    QFocusEvent leave(QEvent::FocusOut, Qt::MouseFocusReason);
    QCoreApplication::sendEvent(&Control<QLineEdit>("Form12c", "FName"), &leave);
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
    QCoreApplication::sendEvent(&Control<QLineEdit>("Form12c", "FName"), &leave);
    dialogs_.choices = {Folder()};
    Press("Form12c", "Command1");
    QCoreApplication::processEvents();
    EXPECT_EQ(dialogs_.asked_files.at(0).title,
              "Select Folder Where CSV/Delimited Text Files should be created");
    Type("Form12c", "FName", Folder() + "/none");
    QCoreApplication::sendEvent(&Control<QLineEdit>("Form12c", "FName"), &leave);
    Press("Form12c", "BCKBUTT");
    QCoreApplication::processEvents();
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
}

TEST_F(Form12cTest, LeavesByBackCancelAndTheCloseBox) {
    // Back, by the kind of the source.
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"Form12c", "FOXPRO", "Form10"},
        {"Form12c", "ORACLE", "Form6"},
        {"Form12c", "ACCESS", "Form2"},
        {"Form12c", "MySQL", "MySQLSrc"},
        {"Form12c", "MSSQL", "MSSQLSrc"},
        {"Form12c", "TEXT", "Form11"},
        {"Form12c", "ODBC", ""},
        {"Form12c", "TEXTPOLL", ""},
        {"Form11", "TEXT", "Form1"},
        {"Form11Poll", "TEXTPOLL", "Form1"}};
    for (const auto& [page, kind, back] : cases) {
        SourceType = kind;
        SourceViaOdbc = ToI16(std::string_view(page) == "Form12c");  // isn't asked
        UnloadAllPages();
        ShowPage(page);
        EXPECT_EQ(RepeatedLetters(page), "");
        Press(page, "BCKBUTT");
        EXPECT_EQ(VisiblePages(), back) << kind;
        EXPECT_EQ(FindPage(page), nullptr);
    }
    for (const std::string page : {"Form11", "Form11Poll", "Form12c"}) {
        const std::string what = page == "Form12c" ? "session" : "Session";
        for (const bool leaves : {false, true}) {
            for (const bool by_close_box : {false, true}) {
                UnloadAllPages();
                ShowPage(page);
                dialogs_.answers = {leaves ? BoxAnswer::Yes : BoxAnswer::No};
                by_close_box ? void(CloseBox(page)) : Press(page, "CNCLBUTT");
                EXPECT_EQ(dialogs_.TakeBoxes(),
                          by_close_box ? "none|Cancel Session|Are you sure you want to close this "
                                         "session|Yes/No"
                                       : "none|Cancel|Are you sure you want to cancel this " +
                                             what + "?|Yes/No");
                EXPECT_EQ(VisiblePages(), leaves ? "NavForm" : page);
            }
        }
    }
}

}  // namespace
}  // namespace vantry
