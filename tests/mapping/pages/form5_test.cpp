#include "mapping/pages/form5.h"

#include "mapping/map_marks.h"
#include "mapping/pages/maperrform.h"
#include "pages_fixture.h"

#include <QAbstractItemView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QScrollBar>

#include <tuple>
#include <utility>

namespace vantry::test {
namespace {

enum { kSource = 1, kTarget = 5, kType = 6, kSize = 7, kDec = 8 };

class Form5Test : public MappingPages {
protected:
    Form5Test() {
        RegisterPage("Form4", [] { return std::make_unique<Page>("Form4"); });
        session_.InSource(
            {"CREATE TABLE People (ID LONG, Name TEXT(40), Born DATETIME, Notes MEMO)",
             "CREATE TABLE Other (X LONG)",
             "INSERT INTO People (ID, Name) VALUES (1, 'Ada')"});
        MappingSession::ChooseTables({"Other", "People"});
    }

    // As Form4 does it, but not modal: the test works it from outside.
    void Open() {
        LoadPage("Form5");
        FindPageAs<Form5>("Form5")->SetTable("1", "People", "People");
        ShowPage("Form5");
        QApplication::processEvents();  // the window becomes the active one
        grid_ = &Control<EditorGrid>("Form5", "ColGrid1");
        sources_ = &Control<QComboBox>("Form5", "SColList");
        targets_ = &Control<QComboBox>("Form5", "DColList");
        types_ = &Control<QComboBox>("Form5", "DTCombo");
        number_ = &Control<QLineEdit>("Form5", "t1");
    }
    void MapAndOpen() {
        MappingSession::Map();
        Open();
    }
    std::string Row(int row) const {
        QStringList texts;
        for (int column = 1; column <= 8; ++column) {
            texts << grid_->Text(row, column);
        }
        return FromQt(texts.join('|'));
    }
    bool IsRed(int row, int column) const {
        return grid_->item(row, column)->data(Qt::ForegroundRole).value<QBrush>().color() ==
               QColor(255, 0, 0);
    }
    std::string Opened() const {
        return grid_->OpenedEditor() == nullptr ? "" : FromQt(grid_->OpenedEditor()->objectName());
    }
    // The row of ColMaps behind a row of the grid.
    static ColMapRec& Map(int row) { return ColMaps[static_cast<std::size_t>(row) + 1]; }
    static std::string MapOf(int row) {
        const auto& map = Map(row);
        return map.SCName + "|" + map.SDtype + "|" + std::to_string(map.SWidth) + "|" +
               std::to_string(map.SScale) + "|" + map.DCName + "|" + map.DDtype + "|" +
               std::to_string(map.DWidth) + "|" + std::to_string(map.DScale);
    }
    void TypeNumber(int row, int column, const char* text) {
        ClickCell(grid_, row, column);
        ASSERT_EQ(Opened(), "t1");
        number_->clear();
        Type(number_, text);
    }
    // A whole-number column that goes to a FoxPro number of the test's own size.
    void OpenNumeric() {
        TargetType = "FOXPRO";
        MappingSession::Map();
        Map(1).DDtype = "Numeric";
        Map(1).DWidth = 12;
        Map(1).DScale = 2;
        Open();
    }
    void ExpectNumber(int column, const char* cell, i32 value) const {
        EXPECT_EQ(grid_->Text(1, column), cell);
        EXPECT_EQ(column == kSize ? Map(1).DWidth : Map(1).DScale, value) << cell;
        EXPECT_EQ(Opened(), "");
    }
    void LeaveTheCell() { grid_->setCurrentCell(0, 9); }

    EditorGrid* grid_ = nullptr;
    QComboBox* sources_ = nullptr;
    QComboBox* targets_ = nullptr;
    QComboBox* types_ = nullptr;
    QLineEdit* number_ = nullptr;
};

TEST_F(Form5Test, ShowsTheRowsOfItsTableSideBySide) {
    TargetType = "MySQL";
    TargetConnStr = session_.MakeDatabase("other.mdb", {});
    SrcTables[1].WhereCond = "ID > 0";
    MapAndOpen();
    EXPECT_EQ(Headers(grid_),
              "|Source Column|Datatype|Size|Dec|Dest. Column|Datatype|Size|Dec|Null||");
    ASSERT_EQ(grid_->rowCount(), 4);
    EXPECT_EQ(Row(0), "ID|Long|4|0|ID|Integer|4|0");
    EXPECT_EQ(Row(3), "Notes|Memo|0|0|Notes|LongText|0|0");
    for (int column = 1; column <= 8; ++column) {
        const QBrush back = grid_->item(1, column)->background();
        EXPECT_EQ(back.style() != Qt::NoBrush && back.color() == QColor(255, 250, 221),
                  column <= 4);
        EXPECT_FALSE(IsRed(1, column));
    }
    EXPECT_EQ(Control<QPlainTextEdit>("Form5", "SQLCondTxt").toPlainText(), "ID > 0");
    EXPECT_EQ(sources_->count(), 5);
    EXPECT_EQ(sources_->itemText(0), "<Skip>");
    EXPECT_EQ(types_->count(), 13);
}

TEST_F(Form5Test, TheTargetSideOpensOnlyWhileTheTableIsStillToBeMade) {
    MapAndOpen();
    const auto opened = [&](int row) {
        std::string text;
        LeaveTheCell();
        for (int column = 1; column <= 9; ++column) {
            grid_->setCurrentCell(row, column);
            text += Opened().empty() ? "-" : Opened();
            text += " ";
        }
        return text;
    };
    EXPECT_EQ(opened(0), "SColList - - - DColList DTCombo - - - ");   // Long
    EXPECT_EQ(opened(1), "SColList - - - DColList DTCombo t1 - - ");  // Text
    Map(2).DDtype = "NUMERIC";
    for (const int column : {kSize, kDec}) {
        LeaveTheCell();
        grid_->setCurrentCell(2, column);
        EXPECT_EQ(Opened(), "t1");
    }
    UnloadPage("Form5");
    session_.InTarget({"CREATE TABLE People (ID LONG, Name TEXT(40))"});
    MapAndOpen();
    EXPECT_EQ(opened(1), "SColList - - - - - - - - ");
    EXPECT_TRUE(Control<QLabel>("Form5", "FirstTimeChk").isHidden());
    Press("Form5", "closebutt");
    EXPECT_EQ(MappingSession::MapText(),
              "0 X>X 1\n1 ID>ID 1\n1 Name>Name 1\n1 Born><Skip> 0\n1 Notes><Skip> 0\n")
        << "walking over the cells changes nothing";
}

TEST_F(Form5Test, APickedSourceColumnBringsItsTypeAtOnce) {
    MapAndOpen();
    ClickCell(grid_, 0, kSource);
    EXPECT_EQ(sources_->currentText(), "ID");
    EXPECT_EQ(QApplication::focusWidget(), sources_);
    Pick(sources_, "Name");
    EXPECT_EQ(Row(0), "Name|Text|40|0|ID|Long|4|0");
    EXPECT_EQ(MapOf(0), Row(0));
    EXPECT_EQ(Map(0).SOrgDtype, "Integer") << "the table is made from the column that stood here";
    EXPECT_EQ(grid_->currentColumn(), kSource);
    // Skipped: the cells are empty at once, the record when the cell is left.
    Pick(sources_, "<Skip>");
    EXPECT_EQ(Row(0), "<Skip>||||ID|Long|4|0");
    EXPECT_TRUE(IsRed(0, kSource));
    EXPECT_EQ(MapOf(0), "<Skip>|Text|40|0|ID|Long|4|0");
    LeaveTheCell();
    EXPECT_FALSE(sources_->isVisible());
    EXPECT_EQ(Row(0), "<Skip>||||ID|Long|4|0");
    EXPECT_EQ(MapOf(0), "<Skip>||0|0|ID|Long|4|0");
    // Completed again, but out of the load for good once Close has seen it.
    Press("Form5", "closebutt");
    Open();
    EXPECT_FALSE(IsRed(0, kSource)) << "colours are the user's own doing";
    ClickCell(grid_, 0, kSource);
    Pick(sources_, "Born");
    EXPECT_EQ(MapOf(0), "Born|DateTime|8|0|ID|Long|4|0");
    EXPECT_EQ(Map(0).SSelected, 0);
}

TEST_F(Form5Test, APickedTargetColumnBringsItsTypeAndATypedOneItsNameAlone) {
    TargetType = "MySQL";
    MapAndOpen();
    ClickCell(grid_, 0, kTarget);
    Pick(targets_, "Notes");
    EXPECT_EQ(Row(0), "ID|Long|4|0|Notes|LongText|0|0");
    EXPECT_EQ(MapOf(0), Row(0));
    Pick(targets_, "<Skip>");
    EXPECT_EQ(Row(0), "ID|Long|4|0|<Skip>|||");
    EXPECT_EQ(MapOf(0), "ID|Long|4|0|<Skip>||0|0");
    EXPECT_TRUE(IsRed(0, kTarget));
    // Even the name of a column brings nothing but itself when it is typed.
    ClickCell(grid_, 1, kTarget);
    Retype(targets_, "born");
    EXPECT_EQ(Map(1).DCName, "Name");
    LeaveTheCell();
    EXPECT_EQ(Row(1), "Name|Text|40|0|born|Varchar|40|0");
    EXPECT_EQ(MapOf(1), Row(1));
    EXPECT_FALSE(IsRed(1, kTarget));
}

TEST_F(Form5Test, ATypeIsTakenWhenItsCellIsLeft) {
    MapAndOpen();
    ClickCell(grid_, 1, kType);
    EXPECT_EQ(types_->currentText(), "Text");
    Pick(types_, "Memo");
    EXPECT_EQ(Map(1).DDtype, "Text");
    LeaveTheCell();
    EXPECT_EQ(Map(1).DDtype, "Memo");
    EXPECT_EQ(Row(1), "Name|Text|40|0|Name|Memo|40|0");
    // Escape takes the choice back.
    ClickCell(grid_, 1, kType);
    Pick(types_, "Byte");
    PressKey(types_, Qt::Key_Escape);
    EXPECT_EQ(Opened(), "");
    LeaveTheCell();
    EXPECT_EQ(Map(1).DDtype, "Memo");
}

TEST_F(Form5Test, NumbersAreCheckedWhenTheCellIsLeft) {
    const char* const kInvalid = "stop|Stop|Invalid Number|OK";
    const char* const kTooMany = "stop|Vantry|Decimal Places must be less than field size|OK";
    const std::tuple<int, const char*, const char*, i32, const char*> cases[] = {
        {kSize, "6.5", "6.5", 6, ""},
        {kSize, "7.5", "7.5", 8, ""},
        {kSize, "abc", "12", 12, kInvalid},
        {kSize, "9999999999", "12", 12, kInvalid},
        {kDec, "11", "11", 11, ""},
        {kDec, "12", "2", 2, kTooMany},
        {kDec, "40000", "2", 2, kTooMany},
        {kDec, "11.9", "11.9", 12, ""},
        {kDec, "-1", "-1", -1, ""},
        {kDec, "x", "2", 2, kInvalid},
    };
    for (const auto& [column, typed, cell, value, box] : cases) {
        OpenNumeric();
        TypeNumber(1, column, typed);
        LeaveTheCell();
        ExpectNumber(column, cell, value);
        EXPECT_EQ(dialogs_.TakeBoxes(), box) << typed;
        UnloadPage("Form5");
    }
}

TEST_F(Form5Test, EnterAndScrollingTakeNumbersUnchecked) {
    const std::tuple<int, const char*, i32> cases[] = {
        {kSize, "60", 60}, {kSize, "abc", 10}, {kDec, "12", 12}, {kDec, "x", 0}, {kDec, "", 0}};
    std::string columns = "CREATE TABLE Wide (A LONG";
    for (int k = 0; k < 90; ++k) {
        columns += ", C" + std::to_string(k) + " LONG";
    }
    session_.InSource({columns + ")"});
    MappingSession::ChooseTables({"Other", "Wide"});
    for (const bool by_key : {true, false}) {
        for (const auto& [column, typed, value] : cases) {
            OpenNumeric();
            TypeNumber(1, column, typed);
            if (by_key) {
                PressKey(number_, Qt::Key_Return);
            } else {
                grid_->verticalScrollBar()->setValue(5);
            }
            ExpectNumber(column, typed, value);
            LeaveTheCell();
            ExpectNumber(column, typed, value);
            EXPECT_EQ(dialogs_.TakeBoxes(), "") << "it was hidden: no second judgement";
            UnloadPage("Form5");
        }
    }
    // A cell that is left for one out of view is left first, with its checks.
    OpenNumeric();
    TypeNumber(1, kSize, "abc");
    grid_->setCurrentCell(80, kSize);
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|Invalid Number|OK");
    EXPECT_EQ(Map(1).DWidth, 12);
    UnloadPage("Form5");
    // The lists: a type is taken by scrolling, columns aren't.
    Open();
    ClickCell(grid_, 1, kType);
    Pick(types_, "Memo");
    grid_->verticalScrollBar()->setValue(5);
    EXPECT_EQ(Map(1).DDtype, "Memo");
    EXPECT_EQ(Opened(), "");
    grid_->verticalScrollBar()->setValue(0);
    ClickCell(grid_, 1, kTarget);
    targets_->setEditText("typed");
    grid_->verticalScrollBar()->setValue(5);
    EXPECT_EQ(Opened(), "");
    EXPECT_EQ(Map(1).DCName, "C0");
}

TEST_F(Form5Test, OptionsGoToBothSidesAtOnce) {
    session_.InTarget({"CREATE TABLE People (ID LONG, Name TEXT(40), Born DATETIME, Notes MEMO)"});
    MapAndOpen();
    EXPECT_TRUE(Control<QRadioButton>("Form5", "TabDropOpt_2").isChecked());
    const std::pair<const char*, const char*> options[] = {
        {"TabDropOpt_0", "DROP"}, {"TabDropOpt_1", "DELETE"}, {"TabDropOpt_2", "APPEND"}};
    for (const auto& [button, option] : options) {
        Control<QRadioButton>("Form5", button).click();
        EXPECT_EQ(SrcTables[1].LoadOption + DstTables[1].LoadOption, std::string(option) + option);
        EXPECT_EQ(SrcTables[0].LoadOption, "APPEND");
        UnloadPage("Form5");
        Open();
        EXPECT_TRUE(Control<QRadioButton>("Form5", button).isChecked());
    }
    EXPECT_FALSE(Control<QLabel>("Form5", "FirstTimeChk").isVisible());
}

TEST_F(Form5Test, CloseStopsAtTargetColumnsNamedTwice) {
    MapAndOpen();
    Map(0).SCName = "<Skip>";
    Map(0).DCName = "Name";
    EXPECT_FALSE(CloseBox("Form5")) << "no way round the checks";
    Press("Form5", "closebutt");
    const std::string box = "stop|Vantry|Column Name is Duplicated. Please eliminate Duplicates|OK";
    EXPECT_EQ(dialogs_.TakeBoxes(), box + "\n" + box);
    EXPECT_EQ(VisiblePages(), "Form5");
    EXPECT_EQ(Map(0).SSelected, 0) << "skipped rows are out all the same";
    Map(0).DCName = "name";
    EXPECT_TRUE(CloseBox("Form5"));
    EXPECT_EQ(VisiblePages(), "Form4");
}

TEST_F(Form5Test, CloseTakesWhatStandsInAnOpenEditor) {
    MapAndOpen();
    TypeNumber(1, kSize, "x");
    EXPECT_EQ(Pressed("Form5", "closebutt"), "stop|Stop|Invalid Number|OK");
    EXPECT_EQ(VisiblePages(), "Form5");
    TypeNumber(1, kSize, "33");
    Press("Form5", "closebutt");
    EXPECT_FALSE(IsLoaded("Form5"));
    EXPECT_EQ(Map(1).DWidth, 33);
    Open();
    ClickCell(grid_, 0, kTarget);
    Retype(targets_, "Number");
    Press("Form5", "closebutt");
    EXPECT_FALSE(IsLoaded("Form5"));
    EXPECT_EQ(Map(0).DCName, "Number");
}

TEST_F(Form5Test, CloseJudgesTheTableUnlessItIsDroppedFirst) {
    // An option, the button in the list of errors (null: none is shown), whether the page closes.
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"TabDropOpt_2", "OKButt", false},
        {"TabDropOpt_1", "IgnoreButt", true},
        {"TabDropOpt_0", nullptr, true},
    };
    for (const auto& [option, button, closes] : cases) {
        MapAndOpen();
        ColMaps[0].DDtype = "Binary";  // another table's row
        Map(1).DDtype = "Date";
        Map(2).DDtype = "Text";
        Map(2).SSelected = 0;
        Map(3).DDtype = "Byte";
        ClickCell(grid_, 0, kSource);
        Control<QRadioButton>("Form5", option).click();
        if (button != nullptr) {
            WhenModal([&, button = button] {
                EXPECT_EQ(Control<QPlainTextEdit>("MapErrForm", "t1").toPlainText(),
                          "\nInvalid Datatype Mapping.\nSrc Col Name :Name\nDest Col Name:Name\n"
                          "Source Datatype:Text\nDest. Datatype:Date\n"
                          "\nInvalid Datatype Mapping.\nSrc Col Name :Notes\nDest Col Name:Notes\n"
                          "Source Datatype:Memo\nDest. Datatype:Byte\n");
                Press("MapErrForm", button);
            });
        }
        dialogs_.beeps = 0;
        Press("Form5", "closebutt");
        EXPECT_EQ(dialogs_.beeps, button != nullptr ? 1 : 0) << "the errors were shown";
        EXPECT_EQ(IsLoaded("Form5"), !closes) << option;
        EXPECT_EQ(dialogs_.TakeBoxes(), "") << "no further question here";
        UnloadAllPages();
    }
}

TEST_F(Form5Test, CloseTriesTheFilterAtTheSource) {
    MapAndOpen();
    auto* const filter = &Control<QPlainTextEdit>("Form5", "SQLCondTxt");
    filter->setPlainText("NoSuchColumn = 1");
    Control<QRadioButton>("Form5", "TabDropOpt_0").click();
    const std::string box = Pressed("Form5", "closebutt");
    EXPECT_EQ(box.find("stop|Invalid Where Condition|-21472179"), 0U) << box;
    EXPECT_EQ(box.find('\r'), 40U) << box;
    EXPECT_GT(box.size(), 50U) << "with the source's words behind the number";
    EXPECT_EQ(VisiblePages(), "Form5");
    EXPECT_EQ(SrcTables[1].WhereCond, "");
    filter->setPlainText("ID > 0 and Name = 'Ada'");
    EXPECT_EQ(Pressed("Form5", "closebutt"), "");
    EXPECT_EQ(VisiblePages(), "Form4");
    EXPECT_EQ(SrcTables[1].WhereCond, "ID > 0 and Name = 'Ada'");
}

TEST_F(Form5Test, MarksRowsThatStayOutOrGoByPosition) {
    const auto mark = [&](int row) {
        return FromQt(grid_->item(row, kSource)->data(Qt::AccessibleDescriptionRole).toString());
    };
    session_.InTarget({"CREATE TABLE People (ID LONG, Born DATETIME, Label TEXT(40))"});
    MapAndOpen();
    EXPECT_EQ(mark(0), "");
    EXPECT_EQ(mark(1), "Columns are paired by their position: \"Name\" goes into \"Born\".");
    EXPECT_EQ(mark(3), "") << "skipped rows say so themselves";
    EXPECT_EQ(FindPage("Form5")->CurrentNotice().Text(),
              "2 rows are marked: the mouse on the sign says why.");
    EXPECT_EQ(MarksOfTables().at(1), "2 columns go by position into one of another name.");
    const auto former = std::pair(SourceType, Map(0).SCName);
    SourceType = "TEXT";
    Map(0).SCName = "ID;Name";
    EXPECT_EQ(MarksOfTables().at(1).find("A column is called \"ID;Name\": perhaps"), 0U);
    std::tie(SourceType, Map(0).SCName) = former;
    const auto target = std::pair(TargetType, DstTables[1].Name);
    TargetType = "TEXT";
    DstTables[1].Name = session_.Folder().Write("there.csv", "");
    EXPECT_EQ(MarksOfTables().at(1).find("The file there.csv is there already"), 0U);
    std::tie(TargetType, DstTables[1].Name) = target;
    // Dropped and made anew, the target has the source's names.
    Control<QRadioButton>("Form5", "TabDropOpt_0").click();
    EXPECT_EQ(mark(1), "");
    EXPECT_TRUE(FindPage("Form5")->CurrentNotice().Empty());
    // A row that began as skipped stays out, whatever is chosen for it later.
    Map(2).SSelected = 0;
    UnloadPage("Form5");
    Open();
    EXPECT_EQ(mark(2).find("This row isn't loaded"), 0U) << mark(2);
}

TEST_F(Form5Test, KeysWalkOverTheRowsAndChooseNothingInAClosedList) {
    MapAndOpen();
    const auto maps = [] { return MapOf(0) + "\n" + MapOf(1) + "\n" + MapOf(2) + "\n" + MapOf(3); };
    const std::string before = maps();
    // A cell that is seen is the first, and it isn't entered.
    EXPECT_FALSE(grid_->isColumnHidden(grid_->currentColumn()));
    EXPECT_EQ(Opened(), "");
    PressKey(grid_, Qt::Key_Down);
    EXPECT_EQ(Opened(), "SColList");
    for (const int column : {kSource, kTarget, kType}) {
        ClickCell(grid_, 1, column);
        for (const auto& [key, row] : {std::pair(Qt::Key_Down, 2),
                                       {Qt::Key_Up, 1},
                                       {Qt::Key_Home, 1},
                                       {Qt::Key_End, 1},
                                       {Qt::Key_PageDown, 3},
                                       {Qt::Key_PageUp, 0},
                                       {Qt::Key_Up, 0}}) {
            PressKey(grid_->OpenedEditor(), key);
            EXPECT_EQ(grid_->currentRow(), row) << column << ", key " << key;
            EXPECT_EQ(grid_->currentColumn(), column);
        }
        LeaveTheCell();
        EXPECT_EQ(maps(), before) << column;
    }
    // F4 opens the list; Escape gives the row back what it had, a choice made since then included.
    ClickCell(grid_, 1, kSource);
    PressKey(sources_, Qt::Key_F4);
    EXPECT_TRUE(sources_->view()->isVisible());
    sources_->hidePopup();
    Pick(sources_, "<Skip>");
    EXPECT_NE(maps(), before);
    PressKey(sources_, Qt::Key_Escape);
    EXPECT_EQ(maps(), before);
    EXPECT_EQ(Row(1), "Name|Text|40|0|Name|Text|40|0");
    EXPECT_FALSE(IsRed(1, kSource));
}

}  // namespace
}  // namespace vantry::test
