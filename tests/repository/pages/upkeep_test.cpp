// Backup, restore and the state of the scheduler.

#include "data/date_format.h"
#include "repository/pages/manager_fixture.h"

#include <algorithm>
#include <filesystem>

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
        Press("BackupRepo", "BackupButton");
        const std::string box = dialogs_.TakeBoxes();
        EXPECT_TRUE(box.starts_with("none|Backup|Unable to Backup Repository\n") && box.size() > 60)
            << box;
        EXPECT_TRUE(PageIsVisible("BackupRepo"));
    }
    Type("BackupRepo", "BckDest", proposed);
    Press("BackupRepo", "BackupButton");
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Repository Successfully Backed Up|OK");
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
    Press("RestoreRepo", "RestoreButton");
    EXPECT_EQ(dialogs_.TakeBoxes(), question);
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
    Press("CheckSch", "startit");
    const std::string box = dialogs_.TakeBoxes();
    EXPECT_TRUE(box.starts_with("stop|Vantry|The scheduler can't be started")) << box;
    MakeProgram("VYTimer", "pwd");
    Press("CheckSch", "startit");
    EXPECT_EQ(LabelText("CheckSch", "Label1"), "Vantry is now Running");
    EXPECT_FALSE(Control<QWidget>("CheckSch", "startit").isEnabled());
    EXPECT_EQ(SaidByProgram(), Folder() + "\n");
    Press("CheckSch", "closebutt");
    EXPECT_EQ(FindPage("CheckSch"), nullptr);
}

}  // namespace
}  // namespace vantry::test
