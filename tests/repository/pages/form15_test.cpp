// The list of saved sessions over a real repository: what it shows, what each button says and does,
// and what happens when the repository changes, goes or is replaced under it.

#include "repository/pages/manager_fixture.h"
#include "repository/pages/session_grid.h"
#include "support/has.h"

#include <QHeaderView>

#include <algorithm>
#include <chrono>
#include <filesystem>

namespace vantry::test {
namespace {

TEST_F(ManagerTest, SessionsStandNewestFirstUnderPaddedHeadings) {
    Save("a", "/x/a.log");
    Save("b");
    Execute("update sessions set DateCreated=\"2026-01-02 03:04:05\",LastRunDate=\"2026-02-03\"");
    ShowPage("Form15");
    EXPECT_EQ(FindPage("Form15")->windowTitle(), "Vantry: Saved Sessions");
    EXPECT_EQ(LabelText("Form15", "Label4"), "2");
    const std::string created =
        ToText(Cell::FromDateTime({*DayOf(2026, 1, 2), 11'045 * kNanosPerSecond}));
    const std::string run = ToText(Cell::FromDateTime({*DayOf(2026, 2, 3), 0}));
    EXPECT_EQ(Grid(),
              "2|b|ACCESS|TEXT|" + created + "||" + run + "\n1|a|ACCESS|TEXT|" + created +
                  "|/x/a.log|" + run + "\n");
    const auto& grid = Control<QTableWidget>("Form15", "SesDBGrid");
    EXPECT_EQ(grid.currentRow(), 0);
    const std::string blanks(created.size() - std::string("DateCreated").size(), ' ');
    std::string headings;
    for (int column = 0; column < grid.columnCount(); ++column) {
        headings += FromQt(grid.horizontalHeaderItem(column)->text()) + "|";
    }
    EXPECT_EQ(headings,
              "SessionID     |SessionName     |SourceDBName     |TargetDBName     |DateCreated" +
                  blanks + "|LogFileName     |LastRunDate     |");
    Press("Form15", "Close");
    EXPECT_EQ(VisiblePages(), "NavForm");
    EXPECT_EQ(FindPage("Form15"), nullptr);
    ShowPage("Form15");
    EXPECT_TRUE(CloseBox("Form15"));
    EXPECT_EQ(dialogs_.TakeBoxes(), "");

    QTableWidget other;
    Recordset closed;
    FillGrid(other, closed);
    const std::string box = dialogs_.TakeBoxes();
    EXPECT_TRUE(
        box.starts_with("none|Populate Sessions Error|Error Occurred during loading of "
                        "Sessions\nError Details :\n  Error Number: 3704\n  Error "
                        "Description : "))
        << box;
}

TEST_F(ManagerTest, ASessionThatWasntSavedToItsEndIsMarked) {
    TableRec table;
    table.Name = "t";
    SrcTables.assign(2, table);
    DstTables = SrcTables;
    ColMapRec column;
    column.SCCount = 2;
    ColMaps.assign(4, column);
    ColMaps[2].TabID = ColMaps[3].TabID = 1;
    for (const char* name : {"whole", "whole, too", "no column", "no table"}) {
        Save(name);
    }
    ColMaps[3].SCName = "a \"name\"";  // which no statement can take
    EXPECT_THROW(Save("refused"), DataError);
    EXPECT_EQ(Query("select count(*) from srcdcols where sessionid=5"), "3\n")
        << "what was written before stays";
    Execute("delete from srcdcols where sessionid=3 and tabid=1");
    Execute("delete from srcdcols where sessionid=4");
    Execute("delete from vytabs where sessionid=4");
    ShowPage("Form15");
    EXPECT_EQ(FindPage("Form15")->CurrentNotice().Text(),
              "Not saved to the end, and can't be run: session 5, 4, 3.");
    const auto& grid = Control<QTableWidget>("Form15", "SesDBGrid");
    for (int row = 0; row < 5; ++row) {
        EXPECT_EQ(grid.item(row, 0)->icon().isNull(), row > 2) << row;
        EXPECT_EQ(Has(FromQt(grid.item(row, 1)->toolTip()), "save it again"), row <= 2) << row;
    }
    Execute("drop table SrcDCols");
    const auto repository = RepositoryFile(Folder());
    for (const char* sessions : {"0", "5"}) {
        const bool gone = *sessions == '0';
        std::filesystem::rename(gone ? repository : folder_ / "away",
                                gone ? folder_ / "away" : repository);
        EXPECT_TRUE(Until([&] { return LabelText("Form15", "Label4") == sessions; }));
        EXPECT_EQ(FindPage("Form15")->CurrentNotice().Text(), "") << sessions;
    }
}

TEST_F(ManagerTest, WithoutSessionsEveryButtonSaysSo) {
    ShowPage("Form15");
    const std::pair<const char*, const char*> cases[] = {
        {"RunButt", "none|Run Session|No Session Exist to Run|OK"},
        {"EditButt", "none|Edit|No Session Exist to Edit|OK"},
        {"VLogButt", "none|View Log|No Session Exist|OK"},
        {"DelButt", "none|Delete Session|No Session Exist to Delete|OK"},
        {"DelAll", "none|Delete Session|No Session Exist to Delete|OK"}};
    for (const auto& [button, box] : cases) {
        EXPECT_EQ(Pressed("Form15", button), box);
    }
    EXPECT_EQ(LabelText("Form15", "Label4"), "0");
}

// A stand-in of the runner's name, which writes down what it was started with.
TEST_F(ManagerTest, RunStartsTheRunnerInTheProgramsFolder) {
    Save("first");
    Save("second");
    ShowPage("Form15");
    Select(1);
    dialogs_.answers = {BoxAnswer::No, BoxAnswer::Yes, BoxAnswer::Yes};
    EXPECT_EQ(Pressed("Form15", "RunButt"), "none|Run Session|Run Session ID:1 Name :first|Yes/No");
    Press("Form15", "RunButt");
    EXPECT_EQ(dialogs_.boxes.back().text, "Unable to Run Session");
    EXPECT_EQ(dialogs_.boxes.back().title, "Run");
    MakeProgram("VYRun", "printf '%s|' \"$@\" \"$PWD\"");
    Press("Form15", "RunButt");
    EXPECT_EQ(SaidByProgram(), "1|ShowOutput|" + Folder() + "|");
}

TEST_F(ManagerTest, DeletingTakesTheSelectedOneOrAll) {
    for (const char* name : {"a", "b", "c"}) {
        Save(name);
    }
    ShowPage("Form15");
    Select(1);
    dialogs_.answers = {BoxAnswer::No, BoxAnswer::Yes};
    EXPECT_EQ(Pressed("Form15", "DelButt"),
              "none|Delete Session?|Are you sure you want to Delete Session ID: 2 Name :b|Yes/No");
    EXPECT_EQ(LabelText("Form15", "Label4"), "3");
    Press("Form15", "DelButt");
    dialogs_.boxes.erase(dialogs_.boxes.begin());
    EXPECT_EQ(dialogs_.TakeBoxes(), "information|Session Deleted|Session ID :2 deleted.|OK");
    EXPECT_EQ(LabelText("Form15", "Label4"), "2");
    EXPECT_EQ(Query("select sessionid from sessions order by sessionid"), "1\n3\n");

    dialogs_.answers = {BoxAnswer::No, BoxAnswer::Yes};
    EXPECT_EQ(Pressed("Form15", "DelAll"),
              "none|Delete All Sessions?|Are you sure you want to Delete All Sessions|Yes/No");
    Press("Form15", "DelAll");
    dialogs_.boxes.erase(dialogs_.boxes.begin());
    EXPECT_EQ(dialogs_.TakeBoxes(), "information|Deleted|All Sessions Deleted|OK");
    EXPECT_EQ(LabelText("Form15", "Label4"), "0");
    EXPECT_EQ(Grid(), "");
    EXPECT_EQ(Query("select count(*) from sessions"), "0\n");
}

TEST_F(ManagerTest, AListThatCantBeReadClosesItsPage) {
    const auto repository = RepositoryFile(Folder());
    const auto fails = [&](const char* why) {
        ShowPage("NavForm");
        HidePage("NavForm");
        ShowPage("Form15");
        const std::string box = dialogs_.TakeBoxes();
        EXPECT_TRUE(box.starts_with("none|Error|Error Opening Sessions\n") && box.size() > 50)
            << why << ": " << box;
        EXPECT_EQ(FindPage("Form15"), nullptr) << why;
        EXPECT_EQ(VisiblePages(), "NavForm") << why;
    };
    Save("a");
    {
        const Held held(Folder(), file::LockByte::Content, file::LockKind::Exclusive);
        fails("locked");
    }
    std::filesystem::copy_file(repository, folder_ / "good");
    folder_.Write(repository.filename().string(), "no database at all");
    fails("another file");
    std::filesystem::copy_file(
        folder_ / "good", repository, std::filesystem::copy_options::overwrite_existing);
    Execute("drop table Sessions");
    fails("a database without sessions");
    std::filesystem::remove(repository);
    fails("missing");
    std::filesystem::rename(folder_ / "good", repository);
    ShowPage("Form15");
    EXPECT_EQ(LabelText("Form15", "Label4"), "1") << "nothing was lost";
}

TEST_F(ManagerTest, ARepositoryThatIsHeldLeavesTheWindowAlive) {
    constexpr std::chrono::milliseconds kHeld{600};
    QElapsedTimer since;
    qint64 longest = 0;
    QTimer beat;
    QObject::connect(
        &beat, &QTimer::timeout, [&] { longest = std::max(longest, since.restart()); });
    Save("a");
    ShowPage("Form15");
    Save("b");
    {
        const Held held(Folder(), file::LockByte::Content, file::LockKind::Exclusive);
        file::SetLockTimeout(kHeld);
        since.start();
        beat.start(5);
        EXPECT_TRUE(Until([] { return !LabelText("Form15", "RepoNote").empty(); }))
            << "by the clock";
        Press("Form15", "Close");
        ShowPage("Form15");  // and when it is opened
        EXPECT_TRUE(dialogs_.TakeBoxes().starts_with("none|Error|Error Opening Sessions\n"));
        beat.stop();
    }
    EXPECT_LT(longest, kHeld.count() / 2);
    ShowPage("Form15");
    EXPECT_EQ(LabelText("Form15", "Label4"), "2");
}

TEST_F(ManagerTest, ARepositoryThatMayNotBeWrittenIsListedAndStays) {
    Save("a");
    ShowPage("Form15");
    {
        const Held held(Folder(), file::LockByte::Writer, file::LockKind::Exclusive);
        dialogs_.answers = {BoxAnswer::Yes, BoxAnswer::Yes};
        Press("Form15", "DelButt");
        EXPECT_TRUE(dialogs_.boxes.back().text.starts_with("Session Cannot be deleted\n"));
        Press("Form15", "DelAll");
        EXPECT_TRUE(dialogs_.boxes.back().text.starts_with("Sessions Cannot be deleted\n"));
        EXPECT_EQ(dialogs_.boxes.back().title, "Error");
    }
    EXPECT_EQ(LabelText("Form15", "Label4"), "1");
    EXPECT_EQ(Query("select count(*) from sessions"), "1\n");
}

TEST_F(ManagerTest, WhatOthersDoToTheRepositoryShows) {
    Save("a");
    Save("b");
    BackupRepository(Folder(), folder_ / "backup");
    ShowPage("Form15");
    Select(1);
    Save("c");
    ASSERT_TRUE(Until([] { return LabelText("Form15", "Label4") == "3"; }));
    EXPECT_EQ(Control<QTableWidget>("Form15", "SesDBGrid").currentRow(), 2) << "still session 1";

    // Session 3 isn't in the backup; session 1 is, and would be another one's in any other file.
    RestoreRepository(Folder(), folder_ / "backup/VYRepo.mdb", Now());
    dialogs_.answers = {};
    EXPECT_EQ(Pressed("Form15", "DelButt"),
              "stop|Vantry|The repository was replaced by another one. Its sessions are listed "
              "now: choose again.|OK");
    EXPECT_EQ(LabelText("Form15", "Label4"), "2");
    EXPECT_EQ(Query("select count(*) from sessions"), "2\n");

    std::filesystem::rename(RepositoryFile(Folder()), folder_ / "away");
    ASSERT_TRUE(Until([] { return LabelText("Form15", "Label4") == "0"; }));
    EXPECT_NE(LabelText("Form15", "RepoNote"), "");
    EXPECT_EQ(Pressed("Form15", "DelAll"), "none|Delete Session|No Session Exist to Delete|OK");
    std::filesystem::rename(folder_ / "away", folder_ / "vyrepo.mdb");
    ASSERT_TRUE(Until([] { return LabelText("Form15", "Label4") == "2"; }));

    const auto is_replaced = [] {
        return LabelText("Form15", "RepoNote").find("replaced") != std::string::npos;
    };
    RestoreRepository(Folder(), folder_ / "backup/VYRepo.mdb", Now());
    EXPECT_TRUE(Until(is_replaced));
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
}

}  // namespace
}  // namespace vantry::test
