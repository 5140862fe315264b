// What the list of sessions opens: backup, restore, the state of the scheduler, and the log viewer
// with logs that no text control could hold, and logs that grow.

#include "data/date_format.h"
#include "repository/pages/log_text.h"
#include "repository/pages/manager_fixture.h"
#include "repository/pages/show_log.h"

#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTextBlock>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace vantry::test {
namespace {

std::string Line(const char* page) {
    return FromQt(Control<QLineEdit>(page, "BckDest").text());
}

TEST_F(ManagerTest, ABackupGoesIntoANewFolder) {
    Save("a");
    const std::string before = FormatDateTime(Now(), "dd-mmm-yy-hh-nn");
    ShowPage("BackupRepo");
    EXPECT_EQ(LabelText("BackupRepo", "BckDestLabel"), "&Enter the Backup Destination:");
    const std::string name = "VYRepoBackup" + before;
    const std::string proposed = Line("BackupRepo");
    if (FormatDateTime(Now(), "dd-mmm-yy-hh-nn") == before) {
        EXPECT_EQ(proposed, In(name));
    }
    const std::string dated = proposed.substr(Folder().size() + 1);
    // The same folder in other letters is no other one.
    dialogs_.choices = {std::nullopt, ToQt(proposed).toUpper().toStdString(), "/x", "/y/"};
    const std::string lines[] = {
        proposed, ToQt(proposed).toUpper().toStdString(), "/x/" + dated, "/y/" + dated};
    for (const auto& line : lines) {
        Press("BackupRepo", "BrowseButton");
        EXPECT_EQ(Line("BackupRepo"), line);
    }
    for (const std::string& destination : {std::string(), Folder(), In("no/such")}) {
        Type("BackupRepo", "BckDest", destination);
        const std::string box = Pressed("BackupRepo", "BackupButton");
        EXPECT_TRUE(box.starts_with("none|Backup|Unable to Backup Repository\n") && box.size() > 60)
            << box;
        EXPECT_TRUE(PageIsVisible("BackupRepo"));
    }
    Type("BackupRepo", "BckDest", proposed);
    EXPECT_EQ(Pressed("BackupRepo", "BackupButton"),
              "none|Vantry|Repository Successfully Backed Up|OK");
    EXPECT_EQ(FindPage("BackupRepo"), nullptr);
    EXPECT_TRUE(std::filesystem::exists(proposed + "/VYRepo.mdb"));
}

TEST_F(ManagerTest, ARestoreAsksAndKeepsTheFormerRepository) {
    Save("a");
    BackupRepository(Folder(), folder_ / "backup");
    Save("b");
    ShowPage("RestoreRepo");
    EXPECT_EQ(LabelText("RestoreRepo", "BckDestLabel"),
              "&Enter the Path of the Repository Database:");
    EXPECT_EQ(LabelText("RestoreRepo", "Warning"),
              "Warning: Restoring the Repository will Overwrite Existing Repository. All Sessions "
              "in current Repository will be Lost. Please ensure that you have taken a Backup of "
              "Existing Repository");
    dialogs_.choices = {std::nullopt, In("backup/VYRepo.mdb")};
    Press("RestoreRepo", "BrowseButton");
    EXPECT_EQ(Line("RestoreRepo"), "");
    Press("RestoreRepo", "BrowseButton");
    EXPECT_EQ(Line("RestoreRepo"), In("backup/VYRepo.mdb"));
    EXPECT_EQ(dialogs_.asked_files.at(0).filter,
              "MS Access Database(*.mdb)|*.mdb|All Files (*.*)|*.*");
    const char* const question =
        "none|Restore Repository?|Are you sure you want to Restore Repository?|Yes/No";
    EXPECT_EQ(Pressed("RestoreRepo", "RestoreButton"), question);
    EXPECT_EQ(Query("select count(*) from sessions"), "2\n");

    const auto kept = [&] {
        return std::ranges::count_if(folder_.Names(), [](const auto& name) {
            return name.starts_with("VYRepo") && name.find('_') != name.npos;
        });
    };
    {
        const Held held(Folder(), file::LockByte::Content, file::LockKind::Shared);
        dialogs_.answers = {BoxAnswer::Yes};
        Press("RestoreRepo", "RestoreButton");
        EXPECT_TRUE(dialogs_.boxes.back().text.starts_with("Unable to Restore Repository\n"));
        EXPECT_EQ(dialogs_.boxes.back().title, "Restore Repository");
        EXPECT_TRUE(PageIsVisible("RestoreRepo"));
        EXPECT_EQ(kept(), 0) << "what failed leaves nothing behind";
    }
    dialogs_.answers = {BoxAnswer::Yes};
    Press("RestoreRepo", "RestoreButton");
    EXPECT_EQ(dialogs_.boxes.back().text, "Repository Successfully Restored");
    EXPECT_EQ(FindPage("RestoreRepo"), nullptr);
    EXPECT_EQ(Query("select count(*) from sessions"), "1\n");
    EXPECT_EQ(kept(), 1);
}

// The state itself is the machine's: a scheduler may be at work on it.
TEST_F(ManagerTest, TheStateOfTheSchedulerAndItsStart) {
    ShowPage("CheckSch");
    EXPECT_EQ(LabelText("CheckSch", "Label1"),
              Control<QWidget>("CheckSch", "startit").isVisible()
                  ? "Vantry Scheduler is Not Running"
                  : "Vantry Scheduler is Running");
    const std::string box = Pressed("CheckSch", "startit");
    EXPECT_TRUE(box.starts_with("stop|Vantry|The scheduler can't be started")) << box;
    MakeProgram("VYTimer", "pwd");
    Press("CheckSch", "startit");
    EXPECT_EQ(LabelText("CheckSch", "Label1"), "Vantry is now Running");
    EXPECT_FALSE(Control<QWidget>("CheckSch", "startit").isEnabled());
    EXPECT_EQ(SaidByProgram(), Folder() + "\n");
    Press("CheckSch", "closebutt");
    EXPECT_EQ(FindPage("CheckSch"), nullptr);
}

LogText& Text1() {
    return Control<LogText>("ShowLog", "Text1");
}
std::string Shown() {
    return FromQt(Text1().toPlainText());
}
// The uppermost line that is seen.
std::string TopLine() {
    const QTextCursor cursor = Text1().cursorForPosition(QPoint(5, 2));
    return FromQt(cursor.block().text());
}
void Key(Qt::Key key) {
    SendKey(Text1(), key);
}

TEST_F(ManagerTest, TheLogOfTheSelectedSessionIsShown) {
    Save("none");
    Save("gone", In("gone.log"));
    Save("there", In("there.log"));
    folder_.Write("there.log", "Started loading at :1\r\nrows: M\xE4rz\r\nend");
    ShowPage("Form15");
    Select(2);
    EXPECT_EQ(Pressed("Form15", "VLogButt"),
              "none|Error|Invalid Log File Name or No logfile Specified.|OK");
    Select(1);
    EXPECT_EQ(Pressed("Form15", "VLogButt"),
              "none|Vantry|Error Loading Logfile. LogFile Does not exist or Invalid|OK");
    EXPECT_EQ(FindPage("ShowLog"), nullptr);
    Select(0);
    WhenModal([] {
        auto& page = *FindPage("ShowLog");
        EXPECT_EQ(page.windowTitle(), "Session Log for Session ID:3 Name :there");
        EXPECT_EQ(Shown(), "Started loading at :1\nrows: März\nend\n");
        EXPECT_TRUE(Text1().isReadOnly());
        page.resize(700, 500);
        QCoreApplication::processEvents();
        EXPECT_EQ(Text1().size(), QSize(700 - 170 / 15, 500 - 550 / 15));
        EXPECT_TRUE(CloseBox("ShowLog"));
    });
    EXPECT_EQ(Pressed("Form15", "VLogButt"), "");
}

class ShowLogTest : public ManagerTest {
protected:
    void Open(const std::string& path) {
        auto* const page = dynamic_cast<ShowLog*>(LoadPage("ShowLog"));
        ASSERT_TRUE(page != nullptr && page->Read(path));
        ShowPage("ShowLog");
        QCoreApplication::processEvents();
    }
    void Append(const std::string& text) { std::ofstream(In("a.log"), std::ios::app) << text; }
};

TEST_F(ShowLogTest, AGrowingLogIsFollowedWhereItsEndIsSeen) {
    folder_.Write("a.log", "Started at 1\r\nro");
    Open(In("a.log"));
    Append("ws\r\nmore\r\n");
    ASSERT_TRUE(Until([] { return Shown() == "Started at 1\nrows\nmore\n"; })) << Shown();
    std::string many;
    for (int i = 0; i < 2000; ++i) {
        many += "line " + std::to_string(i) + "\r\n";
    }
    Append(many);
    auto& bar = *Text1().verticalScrollBar();
    ASSERT_TRUE(Until([&] { return bar.maximum() > 1000 && bar.value() == bar.maximum(); }));
    Key(Qt::Key_Home);
    EXPECT_EQ(TopLine(), "Started at 1");
    Append("one more\r\n");
    ASSERT_TRUE(Until([] { return Shown().ends_with("one more\n"); }));
    EXPECT_EQ(TopLine(), "Started at 1") << "who reads above is left there";
    // The next run begins.
    folder_.Write("a.log", "Started at 2\r\n");
    EXPECT_TRUE(Until([] { return Shown() == "Started at 2\n"; }));
}

// 500 MB without a byte of it on the disk but for some lines: what is read is what is held.
TEST_F(ShowLogTest, ALogOf500MegabytesIsHeldInPieces) {
    constexpr std::uint64_t kSize = 500'000'000;
    folder_.Write("a.log", "Started at 1\r\n");
    std::filesystem::resize_file(folder_ / "a.log", kSize);
    {
        std::fstream file(In("a.log"), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(kSize / 2));
        for (int i = 0; i < 50'000; ++i) {
            file << "middle " << i << "\n";
        }
    }
    Append("\nthe last\n");
    Open(In("a.log"));
    EXPECT_EQ(TopLine(), "Started at 1");
    EXPECT_LE(Text1().HeldBytes(), 1'000'000U);
    Key(Qt::Key_End);
    EXPECT_TRUE(Shown().ends_with("the last\n"));
    Text1().ShowAt(kSize / 2 + 300'000);
    const std::string top = TopLine();
    ASSERT_TRUE(top.starts_with("middle ")) << top;
    // A line at a time, through the ends of several pieces, and back.
    int number = std::stoi(top.substr(7));
    for (const auto& [key, step] : {std::pair(Qt::Key_Down, 1), std::pair(Qt::Key_Up, -1)}) {
        for (int i = 0; i < 12'000; ++i) {
            Key(key);
            number += step;
            if (i % 500 == 0) {
                ASSERT_EQ(TopLine(), "middle " + std::to_string(number)) << i;
            }
        }
        ASSERT_EQ(TopLine(), "middle " + std::to_string(number));
    }
    EXPECT_LE(Text1().HeldBytes(), 1'000'000U);
    Control<QScrollBar>("ShowLog", "FileBar").setValue(0);
    EXPECT_EQ(TopLine(), "Started at 1");
}

}  // namespace
}  // namespace vantry::test
