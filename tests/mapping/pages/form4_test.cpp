#include "mapping/pages/form4.h"

#include "check/pages/preview_window.h"
#include "engine/scripted_driver.h"
#include "mapping/pages/button_column.h"
#include "mapping/pages/form4_menu.h"
#include "mapping/pages/maperrform.h"
#include "pages_fixture.h"
#include "shell/background_work.h"
#include "support/has.h"

#include <QAbstractButton>
#include <QAction>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPointer>
#include <QScrollBar>
#include <QTimer>
#include <QWheelEvent>

#include <future>
#include <memory>

namespace vantry::test {
namespace {

class Form4Test : public MappingPages {
protected:
    Form4Test() {
        session_.InSource({"CREATE TABLE Customers (ID LONG, Name TEXT(40), Notes MEMO)",
                           "CREATE TABLE Orders (ID LONG, Total CURRENCY)",
                           "CREATE TABLE Items (ID LONG)"});
        session_.InTarget({"CREATE TABLE CUSTOMERS (Id LONG, FullName TEXT(40))",
                           "CREATE TABLE Archive (Number LONG)"});
        MappingSession::ChooseTables({"Customers", "Orders", "Items"});
    }

    void Open() {
        ShowPage("Form4");
        QApplication::processEvents();  // the window becomes the active one
        grid_ = &Control<EditorGrid>("Form4", "FlexGrid1");
        list_ = &Control<QComboBox>("Form4", "DestTabList");
    }
    std::string Targets() const {
        std::string text;
        for (int row = 0; row < grid_->rowCount(); ++row) {
            text += FromQt(grid_->Text(row, 2)) + "|";
        }
        return text;
    }
    // The catalogue goes on listing the target's youngest table, but its definition is unreadable.
    // A table of names makes it one that an Oracle user owns, too.
    void DamageLastTable() const {
        constexpr std::size_t kPage = 4096;
        constexpr char kTableDefinition = 2;
        std::string file = session_.Folder().Read("target.mdb");
        std::size_t last = 0;
        for (std::size_t page = 0; page < file.size(); page += kPage) {
            last = file[page] == kTableDefinition ? page : last;
        }
        file.replace(last + 8, kPage - 8, kPage - 8, '\xff');
        session_.Folder().Write("target.mdb", file);
    }
    void TypeName(int row, const QString& name) {
        ClickCell(grid_, row, 2);
        Retype(list_, name);
    }

    EditorGrid* grid_ = nullptr;
    QComboBox* list_ = nullptr;
};

TEST_F(Form4Test, ShowsEachSourceTableWithTheTargetDerivedFromIt) {
    Open();
    EXPECT_EQ(VisiblePages(), "Form4");
    ASSERT_EQ(grid_->rowCount(), 3);
    EXPECT_EQ(Headers(grid_), "Source Table|Col Mapping|Destination Table|Description|S.No.|");
    EXPECT_EQ(Targets(), "Customers|Orders|Items|");
    EXPECT_EQ(grid_->Text(2, 4), "2");
    EXPECT_GE(list_->findText("Archive"), 0);
    EXPECT_FALSE(list_->isVisible());
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
}

TEST_F(Form4Test, AFailingSourceGoesBackToItsPage) {
    const std::pair<const char*, const char*> cases[] = {{"ORACLE", "Form6"},
                                                         {"ACCESS", "Form2"},
                                                         {"FOXPRO", "Form10"},
                                                         {"MySQL", "MySQLSrc"},
                                                         {"MSSQL", "MSSQLSrc"},
                                                         {"TEXT", "Form11"},
                                                         {"TEXTPOLL", "Form11Poll"},
                                                         {"ODBC", ""}};
    const std::string hint =
        "none|Vantry|Please ensure you have entered the correct username,password and System "
        "Database File if the DB is using one|OK";
    MappingSession::ChooseTables({"Nowhere"});
    for (const auto& [kind, page] : cases) {
        SourceType = kind;
        ShowPage("Form4");
        EXPECT_FALSE(IsLoaded("Form4")) << kind;
        EXPECT_EQ(VisiblePages(), page) << kind;
        const std::string boxes = dialogs_.TakeBoxes();
        EXPECT_EQ(boxes.find("stop|Stop|"), 0U) << boxes;
        EXPECT_TRUE(Has(boxes, "Nowhere"));
        EXPECT_EQ(boxes.ends_with("|OK\n" + hint), SourceType == "ACCESS") << boxes;
        UnloadAllPages();
    }
}

TEST_F(Form4Test, ATypeThatAnOracleProviderCantReadIsExplained) {
    const char* const kWords = "Data type is not supported.";
    const auto driver = std::make_shared<ScriptedDriver>();
    driver->FailAlways("OpenCursor", kWords);
    RegisterDriver("scripted", driver);
    SourceConnStr = "Provider=scripted";
    for (const std::string kind : {"ORACLE", "MSSQL"}) {
        SourceType = kind;
        ShowPage("Form4");
        EXPECT_EQ(dialogs_.TakeBoxes(),
                  kind == "ORACLE"
                      ? "stop|Stop|Data type is not supported\n\n\nPossible Causes:\n"
                        "1.Either Table contains Datatypes, Which is not supported.\n"
                        "2.You have choosen an Old OLE DB Provider or ODBC Driver, Which does not "
                        "support Long Datatypes\nPlease choose a new OLE Provider or ODBC "
                        "Driver|OK"
                      : "stop|Stop|Data type is not supported.|OK");
        EXPECT_FALSE(IsLoaded("Form4"));
    }
    RegisterDriver("scripted", nullptr);
}

// Not at the connect but later: between the columns of two tables.
TEST_F(Form4Test, AServerThatFallsSilentLeavesTheWindowAliveAndEscGivesUp) {
    std::promise<void> end;
    const auto driver = std::make_shared<ScriptedDriver>();
    driver->before = [silence = end.get_future().share()](std::string_view operation, int number) {
        if (operation == "OpenCursor" && number == 2) {
            silence.wait();
        }
    };
    RegisterDriver("scripted", driver);
    SourceType = "MySQL";
    SourceConnStr = "Provider=scripted";
    int ticks = 0;
    QTimer alive;
    QObject::connect(&alive, &QTimer::timeout, [&] {
        if (++ticks == 10 && IsWaitingForWork()) {
            PressKey(&TheMainWindow(), Qt::Key_Escape);
        }
    });
    alive.start(10);
    ShowPage("Form4");
    EXPECT_EQ(ticks, 10);
    EXPECT_EQ(dialogs_.TakeBoxes(), "stop|Stop|The wait for an answer was given up.|OK");
    EXPECT_EQ(VisiblePages(), "MySQLSrc");
    end.set_value();
    AwaitAllWork();
    RegisterDriver("scripted", nullptr);
}

TEST_F(Form4Test, BackAndAFailingTargetLeadToThePageOfTheTarget) {
    // The kind, the page behind Back, the one behind a failure (null: none).
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"FOXPRO", "Form3", "Form3"},
        {"ACCESS", "Form8", "Form8"},
        {"MySQL", "MySQLDest", "MySQLDest"},
        {"MSSQL", "MSSQLDest", ""},
        {"ORACLE", "Form9", "Form9"},
        {"TEXT", "", nullptr}};
    for (const auto& [kind, back, failed] : cases) {
        TargetType = "ACCESS";
        ShowPage("Form4");
        TargetType = kind;
        Press("Form4", "BCKBUTT");
        EXPECT_EQ(VisiblePages(), back) << kind;
        EXPECT_FALSE(IsLoaded("Form4"));
        UnloadAllPages();
    }
    session_.InTarget({"CREATE TABLE user_tables (table_name TEXT(30))",
                       "INSERT INTO user_tables (table_name) VALUES ('ORDERS')",
                       "CREATE TABLE Orders (ID LONG)"});
    DamageLastTable();
    MappingSession::ChooseTables({"Orders"});
    for (const auto& [kind, back, failed] : cases) {
        if (failed != nullptr) {
            TargetType = kind;
            ShowPage("Form4");
            EXPECT_FALSE(IsLoaded("Form4")) << kind;
            EXPECT_EQ(VisiblePages(), failed) << kind;
            ASSERT_EQ(dialogs_.boxes.size(), 1U) << kind;
            EXPECT_EQ(dialogs_.TakeBoxes().find("none|Vantry|Error: -2147"), 0U);
            UnloadAllPages();
        }
    }
}

TEST_F(Form4Test, LeavingTheCellOrEnterTakesANewNameAndMapsTheTableAnew) {
    Open();
    TypeName(1, "archive");
    EXPECT_EQ(DstTables[1].Name, "Orders") << "nothing before the cell is left";
    ClickCell(grid_, 1, 0);
    EXPECT_FALSE(list_->isVisible());
    EXPECT_EQ(Targets(), "Customers|archive|Items|");
    EXPECT_EQ(DstTables[1].TableExists, kTrue);
    EXPECT_EQ(SrcTables[1].FirstTimeLoadOpt, "");
    EXPECT_EQ(MappingSession::MapText(),
              "0 ID>Id 1\n0 Name>FullName 1\n0 Notes><Skip> 0\n2 ID>ID 1\n1 ID>Number 1\n"
              "1 Total><Skip> 0\n");
    // A name that is the same changes nothing, and Enter hides the list all the same.
    for (const char* const name : {"Brand New", " BRAND new "}) {
        TypeName(0, name);
        EXPECT_TRUE(list_->isVisible());
        PressKey(list_, Qt::Key_Return);
        EXPECT_FALSE(list_->isVisible());
        EXPECT_EQ(Targets(), "Brand New|archive|Items|");
        EXPECT_EQ(DstTables[0].FirstTimeLoadOpt, "CREATE");
        EXPECT_EQ(QApplication::focusWidget(), grid_);
    }
    EXPECT_EQ(VisiblePages(), "Form4") << "Enter is the list's, not the default button's";
}

TEST_F(Form4Test, LeavingTheCellUnchangedKeepsTheListOverItsCell) {
    Open();
    ClickCell(grid_, 0, 2);
    ClickCell(grid_, 2, 0);
    EXPECT_TRUE(list_->isVisible());
    EXPECT_EQ(list_->currentText(), "Customers");
    // Typing in it means the table beside which it lies.
    list_->setFocus();
    EXPECT_EQ(grid_->currentRow(), 0);
    Retype(list_, "Renamed");
    PressKey(list_, Qt::Key_Return);
    EXPECT_EQ(Targets(), "Renamed|Orders|Items|");
    ClickCell(grid_, 0, 0);
    ClickCell(grid_, 1, 2);
    EXPECT_EQ(list_->currentText(), "Orders");
    grid_->setColumnWidth(0, 200);
    const QRect cell = grid_->visualRect(grid_->model()->index(1, 2));
    EXPECT_EQ(list_->width(), cell.width());
    EXPECT_TRUE(cell.contains(list_->geometry().center()));
}

TEST_F(Form4Test, ScrollingHidesTheListWithoutTakingTheName) {
    MappingSession::ChooseTables(std::vector<std::string>(60, "Items"));
    Open();
    TypeName(1, "other");
    grid_->verticalScrollBar()->setValue(3);
    EXPECT_FALSE(list_->isVisible());
    EXPECT_EQ(DstTables[1].Name, "Items");
    grid_->verticalScrollBar()->setValue(0);
    // The cell is left only now.
    ClickCell(grid_, 2, 0);
    EXPECT_EQ(DstTables[1].Name, "other");
    // A key press that scrolls leaves the cell first.
    grid_->setCurrentCell(0, 2);
    list_->setEditText("first");
    grid_->setCurrentCell(59, 2);
    EXPECT_EQ(DstTables[0].Name, "first");
    EXPECT_TRUE(list_->isVisible());
    EXPECT_EQ(list_->currentText(), "Items");
    // The wheel over the list scrolls the grid and leaves the choice alone.
    const QPointF at = list_->rect().center();
    QWheelEvent wheel(at, list_->mapToGlobal(at), {}, {0, 120}, {}, {}, Qt::NoScrollPhase, false);
    QApplication::sendEvent(list_, &wheel);
    EXPECT_FALSE(list_->isVisible());
    EXPECT_EQ(DstTables[59].Name, "Items");
}

TEST_F(Form4Test, KeysWalkTheCellsAndEscapeForgetsWhatWasTyped) {
    Open();
    grid_->setFocus();
    grid_->setCurrentCell(0, 2);
    Retype(list_, "unwanted");
    PressKey(list_, Qt::Key_Escape);
    EXPECT_FALSE(list_->isVisible());
    PressKey(grid_, Qt::Key_F2);
    PressKey(list_, Qt::Key_Tab);
    EXPECT_EQ(list_->currentText(), "Orders");
    Retype(list_, "wanted");
    PressKey(list_, Qt::Key_Backtab);
    EXPECT_EQ(grid_->currentRow(), 0);
    EXPECT_EQ(Targets(), "Customers|wanted|Items|");
    grid_->setCurrentCell(2, 2);
    PressKey(list_, Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget()->objectName(), "NXTBUTT");
    grid_->setCurrentCell(0, 0);
    int pressed = 0;
    QObject::connect(&Control<QAbstractButton>("Form4", "NXTBUTT"), &QAbstractButton::clicked, [&] {
        ++pressed;
    });
    PressKey(grid_, Qt::Key_Return);
    EXPECT_EQ(pressed, 1) << "no editor wants it: the default button's";
}

TEST_F(Form4Test, TheMenuSetsOneOptionForAllSelectedTablesThatExist) {
    Open();
    EXPECT_EQ(TargetStateInWords(0), "exists; 3 columns differ");
    EXPECT_EQ(TargetStateInWords(1), "new");
    const std::string former = SrcTables[1].LoadOption;
    grid_->selectAll();
    QTimer::singleShot(0, [] {
        auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        for (auto* const action : menu->actions()) {
            if (action->text().remove('&').startsWith("Drop and Make")) {
                action->trigger();
            }
        }
        menu->close();
    });
    Q_EMIT grid_->customContextMenuRequested(QPoint(5, 5));
    EXPECT_EQ(SrcTables[0].LoadOption + DstTables[0].LoadOption, "DROPDROP");
    EXPECT_EQ(SrcTables[1].LoadOption, former) << "nothing is there to be dropped";
}

TEST(PreviewWindowTest, EndsWithTheListThatItWasOpenedFrom) {
    QListWidget list;
    for (const bool refilled : {true, false}) {
        list.addItem("orders");
        list.show();
        const QPointer<PreviewWindow> preview = new PreviewWindow("orders", {}, list);
        preview->show();
        EXPECT_FALSE(preview->isModal());
        refilled ? list.clear() : list.hide();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_TRUE(preview.isNull()) << refilled;
    }
}

TEST_F(Form4Test, AFailureWhileTheTableIsReadAgainIsToldAndThePageStays) {
    Open();
    session_.InSource({"DROP TABLE Orders"});
    TypeName(1, "Archive");
    PressKey(list_, Qt::Key_Return);
    const std::string box = dialogs_.TakeBoxes();
    EXPECT_EQ(box.find("stop|Stop|"), 0U) << box;
    EXPECT_TRUE(Has(box, "Orders"));
    DamageLastTable();
    TypeName(2, "Archive");
    PressKey(list_, Qt::Key_Return);
    EXPECT_EQ(dialogs_.TakeBoxes().find("none|Vantry|Error: -"), 0U);
    EXPECT_EQ(VisiblePages(), "Form4");
}

TEST_F(Form4Test, TheCellButtonIsPressedAndClickedInTwoSteps) {
    Open();
    auto* const buttons = FindPage("Form4")->findChild<ButtonColumn*>();
    int clicked = -1;
    QObject::connect(buttons, &ButtonColumn::Clicked, buttons, [&](int row) { clicked = row; });
    std::string opened;
    const auto close = [&] {
        EXPECT_TRUE(PageIsVisible("Form5"));
        opened += LabelText("Form5", "TabIDLabel") + " " + LabelText("Form5", "SourceTabName") +
                  " " + LabelText("Form5", "DestTabName") + "\n";
        Press("Form5", "closebutt");
    };
    auto* const area = grid_->viewport();
    // Pressed, and released elsewhere: only the picture changes.
    SendMouse(area, QEvent::MouseButtonPress, CellAt(grid_, 1, 1));
    EXPECT_EQ(buttons->PressedRow(), 1);
    SendMouse(area, QEvent::MouseMove, CellAt(grid_, 2, 2));
    EXPECT_EQ(grid_->currentRow(), 1) << "a drag takes no cell along";
    SendMouse(area, QEvent::MouseButtonRelease, CellAt(grid_, 2, 1));
    EXPECT_EQ(buttons->PressedRow(), -1);
    EXPECT_EQ(clicked, -1);
    // Pressed and released on the button.
    SendMouse(area, QEvent::MouseButtonPress, CellAt(grid_, 1, 1));
    WhenModal(close);
    SendMouse(area, QEvent::MouseButtonRelease, CellAt(grid_, 1, 1));
    EXPECT_EQ(clicked, 1);
    EXPECT_EQ(opened, "1 Orders Orders\n");
    EXPECT_EQ(VisiblePages(), "Form4");
    // By the keyboard.
    grid_->setFocus();
    grid_->setCurrentCell(0, 1);
    SendKey(grid_, QEvent::KeyPress, Qt::Key_Space);
    EXPECT_EQ(buttons->PressedRow(), 0);
    WhenModal(close);
    SendKey(grid_, QEvent::KeyRelease, Qt::Key_Space);
    EXPECT_EQ(buttons->PressedRow(), -1);
    EXPECT_EQ(opened, "1 Orders Orders\n0 Customers Customers\n");
    ClickCell(grid_, 0, 0);
    ClickCell(grid_, 0, 3);
    EXPECT_FALSE(IsLoaded("Form5"));
}

TEST_F(Form4Test, NextTakesTheNameInTheOpenListAndSkippedRowsOut) {
    Open();
    ColMaps[1].SCName = "<Skip>";
    session_.InSource({"DROP TABLE Orders"});
    TypeName(1, "Archive");
    Press("Form4", "NXTBUTT");
    EXPECT_EQ(dialogs_.TakeBoxes().substr(0, 10), "stop|Stop|");
    EXPECT_EQ(VisiblePages(), "Form4") << "its columns are unknown";
    TypeName(2, "Brand New");
    Press("Form4", "NXTBUTT");
    EXPECT_EQ(Targets(), "Customers|Archive|Brand New|");
    EXPECT_EQ(DstTables[2].FirstTimeLoadOpt, "CREATE");
    EXPECT_EQ(ColMaps[0].SSelected, 1);
    EXPECT_EQ(ColMaps[1].SSelected, 0);
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
    EXPECT_EQ(VisiblePages(), "Form13");
    EXPECT_TRUE(IsLoaded("Form4")) << "hidden, not unloaded";
}

TEST_F(Form4Test, NextWithErrorsShowsThemAndAsksWhenTheyAreIgnored) {
    const std::pair<BoxAnswer, const char*> cases[] = {
        {BoxAnswer::Ok, "Form4"}, {BoxAnswer::No, "Form4"}, {BoxAnswer::Yes, "Form13"}};
    for (const auto& [answer, visible] : cases) {
        const bool ignored = answer != BoxAnswer::Ok;
        ShowPage("Form4");
        ColMaps[0].DDtype = "Binary";
        ColMaps[4].DDtype = "Memo ";
        ColMaps[5].DDtype = "Boolean";
        WhenModal([&] {
            EXPECT_EQ(Control<QPlainTextEdit>("MapErrForm", "t1").toPlainText(),
                      "TABLE NAME :Customers\n\nInvalid Datatype Mapping.\nSrc Col Name :ID\n"
                      "Dest Col Name:Id\nSource Datatype:Long\nDest. Datatype:Binary\n"
                      "TABLE NAME :Items\n\nInvalid Datatype Mapping.\nSrc Col Name :ID\n"
                      "Dest Col Name:ID\nSource Datatype:Long\nDest. Datatype:Boolean\n");
            EXPECT_EQ(FindPage("MapErrForm")->windowTitle(), "Vantry: Column Mapping Errors");
            Press("MapErrForm", ignored ? "IgnoreButt" : "OKButt");
        });
        if (ignored) {
            dialogs_.answers = {answer};
        }
        Press("Form4", "NXTBUTT");
        EXPECT_EQ(VisiblePages(), visible);
        EXPECT_FALSE(IsLoaded("MapErrForm"));
        EXPECT_EQ(MapErrIgnored, ToI16(ignored));
        EXPECT_EQ(dialogs_.TakeBoxes(),
                  ignored ? "none|Vantry|Some Columns Datatypes are not matching.\nThere is a "
                            "possibility of conversion errors.\nDo you wish to continue?|Yes/No"
                          : "");
        EXPECT_EQ(ColMaps[0].SSelected, 1);
    }
}

TEST_F(Form4Test, AColumnTooWideForTheRulesStopsNextWithABox) {
    Open();
    for (i32 ColMapRec::*width : {&ColMapRec::SWidth, &ColMapRec::DWidth}) {
        ColMaps[1].SWidth = ColMaps[1].DWidth = 32767;
        ColMaps[1].*width = 32768;
        Press("Form4", "NXTBUTT");
        EXPECT_EQ(VisiblePages(), "Form4");
        const std::string box = dialogs_.TakeBoxes();
        EXPECT_EQ(box.substr(0, 5), "stop|");
        EXPECT_TRUE(Has(box, "|Overflow: column "));
        EXPECT_TRUE(Has(box, "Name of table Customers is 32768"));
    }
    ColMaps[1].SWidth = ColMaps[1].DWidth = 32767;
    EXPECT_EQ(Pressed("Form4", "NXTBUTT"), "");
}

TEST_F(Form4Test, CancelAndTheCloseBoxAskFirst) {
    for (const auto answer : {BoxAnswer::No, BoxAnswer::Yes}) {
        const bool leaves = answer == BoxAnswer::Yes;
        ShowPage("Form4");
        dialogs_.answers = {answer, answer};
        Press("Form4", "CNCLBUTT");
        EXPECT_EQ(VisiblePages(), leaves ? "NavForm" : "Form4");
        UnloadPage("NavForm");
        ShowPage("Form4");
        EXPECT_EQ(CloseBox("Form4"), leaves);
        EXPECT_EQ(VisiblePages(), leaves ? "NavForm" : "Form4");
        EXPECT_EQ(dialogs_.TakeBoxes(),
                  "none|Cancel|Are you sure to cancel this Session?|Yes/No\n"
                  "none|Cancel Session|Are you sure you want to close this session|Yes/No");
    }
}

}  // namespace
}  // namespace vantry::test
