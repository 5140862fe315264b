// Form13 over a real repository: what it proposes, what its schedule asks for, and the rows that a
// save leaves.

#include "repository/pages/create_repository.h"
#include "repository/pages/manager_fixture.h"
#include "repository/saved_session.h"
#include "support/has.h"
#include "text/text_source.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QGroupBox>
#include <QTimeEdit>

namespace vantry::test {
namespace {

class Form13Test : public ManagerTest {
protected:
    Form13Test() {
        RegisterNamedPages({"Form4", "Form14"});
        TargetType = "ORACLE";
        SourceConnStr = "source's";
        TargetConnStr = "target's";
        SrcTables.resize(2);
        SrcTables[1].Name = "items";
        DstTables = SrcTables;
        ColMaps.assign(1, {});
        ColMaps[0].TabID = 1;
        ColMaps[0].SCName = "id";
    }

    static void Set(const char* option) {
        Control<QAbstractButton>("Form13", option).setChecked(true);
    }
    static std::string Edit(const char* name) {
        return FromQt(Control<QLineEdit>("Form13", name).text());
    }
    static void TakeNumber(int id) {
        Execute("insert into sessions (sessionid) values (" + std::to_string(id) + ")");
    }
    static const char* SavedBox() { return "none|Vantry|Session Saved Successfully|OK"; }
};

TEST_F(Form13Test, ProposesNumberNameAndLog) {
    const QTime before = QTime::currentTime();
    ShowPage("Form13");
    EXPECT_EQ(LabelText("Form13", "SesID"), "1");
    EXPECT_EQ(Edit("SesName"), "ACCESSToORACLESessionID1");
    EXPECT_EQ(Edit("LogName"), In("log/ACCESSToORACLESessionID1.log"));
    EXPECT_TRUE(std::filesystem::is_directory(folder_ / "log"));
    const int behind = Control<QTimeEdit>("Form13", "SesTime").time().secsTo(before);
    EXPECT_TRUE(behind >= 57 && behind <= 60) << behind;
    EXPECT_EQ(Control<QDateEdit>("Form13", "SesDate").date(), QDate::currentDate());

    dialogs_.choices = {std::nullopt, In("my.log")};
    Press("Form13", "brow");
    EXPECT_EQ(Edit("LogName"), In("log/ACCESSToORACLESessionID1.log"));
    Press("Form13", "brow");
    EXPECT_EQ(Edit("LogName"), In("my.log"));
    EXPECT_EQ(dialogs_.asked_files.at(0).filter, "Log File (*.log)|*.log|All Files (*.*)|*.*");
    UnloadAllPages();

    for (const auto& [last, next] : {std::pair(11, "12"), std::pair(32766, "32767")}) {
        TakeNumber(last);
        ShowPage("Form13");
        EXPECT_EQ(LabelText("Form13", "SesID"), next);
        EXPECT_EQ(Edit("SesName"), std::string("ACCESSToORACLESessionID") + next);
        UnloadAllPages();
    }
}

TEST_F(Form13Test, ShowsWhatTheKindOfScheduleNeeds) {
    const std::string all =
        "SesTime Label6 WeekDay_0 WeekDay_1 WeekDay_2 WeekDay_3 WeekDay_4 WeekDay_5 WeekDay_6 "
        "SesDate SesDay EveDay Evy_0 LabelChoice Evy_1 Hrs HrLabel Mins MinLabel";
    const std::pair<const char*, const char*> shown[] = {
        {"TimeOpt_1",
         "SesTime Label6 WeekDay_0 WeekDay_1 WeekDay_2 WeekDay_3 WeekDay_4 WeekDay_5 WeekDay_6 "},
        {"TimeOpt_2", "SesTime Label6 SesDay EveDay LabelChoice "},
        {"TimeOpt_3", "SesTime Label6 SesDate LabelChoice "},
        {"TimeOpt_4", "Evy_0 Evy_1 Hrs HrLabel Mins MinLabel "},
        {"TimeOpt_0", "SesTime Label6 "}};
    ShowPage("Form13");
    for (const auto& [option, names] : shown) {
        Set(option);
        std::string visible;
        std::istringstream names_of_all(all);
        for (std::string name; names_of_all >> name;) {
            visible += Control<QWidget>("Form13", name.c_str()).isVisible() ? name + " " : "";
        }
        EXPECT_EQ(visible, names) << option;
    }
    Set("TimeOpt_4");
    for (const char* const list : {"Hrs", "Mins"}) {
        constexpr int kSmallScreen = 384;  // 768 at 200 %
        auto& combo = Control<QComboBox>("Form13", list);
        combo.showPopup();
        EXPECT_LT(combo.view()->window()->height(), kSmallScreen) << list;
        combo.hidePopup();
    }
    Set("TimeOpt_2");
    EXPECT_EQ(LabelText("Form13", "LabelChoice"), "Every");
    Set("TimeOpt_3");
    EXPECT_EQ(LabelText("Form13", "LabelChoice"), "On");
    for (const bool hours : {false, true}) {
        Set(hours ? "Evy_0" : "Evy_1");
        EXPECT_EQ(Control<QComboBox>("Form13", "Hrs").isEnabled(), hours);
        EXPECT_EQ(Control<QComboBox>("Form13", "Mins").isEnabled(), !hours);
    }
    for (const bool saved : {false, true}) {
        Set(saved ? "FreqOpt_2" : "FreqOpt_1");
        EXPECT_EQ(Control<QGroupBox>("Form13", "Frame1").isEnabled(), saved);
    }
}

TEST_F(Form13Test, RefusesAnUnfinishedSession) {
    ShowPage("Form13");
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"TimeOpt_1"}, "stop|Stop|Please Select atleast one WeekDay|OK"},
        {{"TimeOpt_2"}, "stop|Stop|Please Select a Day|OK"},
        {{"TimeOpt_4", "Evy_0"}, "none|Vantry|Please Enter Hours Interval|OK"},
        {{"TimeOpt_4", "Evy_1"}, "none|Vantry|Please Enter Minutes Interval|OK"},
    };
    for (const auto& [options, box] : cases) {
        for (const char* option : options) {
            Set(option);
        }
        EXPECT_EQ(Pressed("Form13", "NXTBUTT"), box);
        EXPECT_EQ(VisiblePages(), "Form13");
    }
    Type("Form13", "SesName", "");
    EXPECT_EQ(Pressed("Form13", "NXTBUTT"), "none|Vantry|Please Enter the Session Name|OK");
    EXPECT_EQ(FindPage("Form13")->focusWidget(), &Control<QLineEdit>("Form13", "SesName"));
    EXPECT_EQ(Query("select count(*) from sessions"), "0\n");
    EXPECT_EQ(CurrentSessionID, 0);
    Press("Form13", "BCKBUTT");
    EXPECT_EQ(VisiblePages(), "Form4");
}

// Through the whole page; the lists that open from combo boxes are windows of their
// own, and no stations.
TEST_F(Form13Test, TabGoesThroughTheScheduleFromTopToBottom) {
    ShowPage("Form13");
    Set("TimeOpt_4");
    Set("Evy_1");
    Page* const page = FindPage("Form13");
    Control<QLineEdit>("Form13", "SesName").setFocus();
    std::string stations;
    for (QString name; page->focusWidget()->objectName() != name;) {  // the last one's Tab leaves
        name = page->focusWidget()->objectName();
        stations += FromQt(name) + " ";
        SendKey(*page->focusWidget(), Qt::Key_Tab);
    }
    EXPECT_EQ(
        stations,
        "SesName LogName brow FreqOpt_0 TimeOpt_4 Evy_1 Mins NXTBUTT BCKBUTT CNCLBUTT HLPBUTT ");
}

TEST_F(Form13Test, SavesEveryKindOfSchedule) {
    const std::string time = ToText(Cell::FromDateTime({0, (7 * 60 + 5) * 60 * kNanosPerSecond}));
    const std::string date = ToText(Cell::FromDateTime({*DayOf(2027, 3, 4), 0}));
    const std::tuple<std::vector<const char*>, const char*, int, std::string> cases[] = {
        {{"TimeOpt_0"}, nullptr, 0, "D|Null|" + time + "|Null|Null\n"},
        {{"TimeOpt_1", "WeekDay_0", "WeekDay_6"}, nullptr, 0, "W|Null|" + time + "|Null|1000001\n"},
        {{"TimeOpt_2"}, "SesDay", 30, "M|Null|" + time + "|31|Null\n"},
        {{"TimeOpt_3"}, nullptr, 0, "O|" + date + "|" + time + "|Null|Null\n"},
        {{"TimeOpt_4", "Evy_0"}, "Hrs", 4, "H|Null|Null|5|minute\n"},
        {{"TimeOpt_4", "Evy_1"}, "Mins", 58, "N|Null|Null|59|Null\n"},
    };
    int id = 0;
    for (const auto& [options, list, entry, stored] : cases) {
        ShowPage("Form13");
        Set("FreqOpt_2");
        for (const char* option : options) {
            Set(option);
        }
        if (list != nullptr) {
            Control<QComboBox>("Form13", list).setCurrentIndex(entry);
        }
        Control<QTimeEdit>("Form13", "SesTime").setTime(QTime(7, 5));
        Control<QDateEdit>("Form13", "SesDate").setDate(QDate(2027, 3, 4));
        const QTime now = QTime::currentTime();
        EXPECT_EQ(Pressed("Form13", "NXTBUTT"), SavedBox());
        EXPECT_EQ(VisiblePages(), "NavForm");
        EXPECT_EQ(FindPage("Form13"), nullptr);
        EXPECT_EQ(CurrentSessionID, ++id);
        std::string row = Query(
            "select SesFreq,SesRunDate,SesRunTime,SesRunDay,SesWeekDay from sessions where "
            "sessionid=" +
            std::to_string(id));
        if (stored[0] == 'H') {
            const auto mark = FromQt(now.addSecs(-60).toString("mm"));
            const auto next = FromQt(now.addSecs(-55).toString("mm"));
            EXPECT_TRUE(row == "H|Null|Null|5|" + mark + "\n" ||
                        row == "H|Null|Null|5|" + next + "\n")
                << row;
        } else {
            EXPECT_EQ(row, stored);
        }
        const auto saved = LoadSession(id);
        ASSERT_TRUE(saved);
        EXPECT_EQ(ScheduleFault(saved->Schedule), "");
    }
}

TEST_F(Form13Test, SavesRunsOrBoth) {
    CurrentSessionID = 77;
    ShowPage("Form13");
    Set("FreqOpt_1");
    Type("Form13", "SesName", "");
    EXPECT_EQ(Pressed("Form13", "NXTBUTT"), "");
    EXPECT_EQ(VisiblePages(), "Form14");
    EXPECT_EQ(FindPage("Form13"), nullptr);
    EXPECT_EQ(CurrentSessionID, 77);
    EXPECT_EQ(SessionNotSaved, kTrue);
    EXPECT_EQ(Query("select count(*) from sessions"), "0\n");
    UnloadAllPages();

    SourceType = "TEXT";
    SourceConnStr = TextSourceConnectionString("/data/in");
    SrcTables[0].SFormat = "\"";
    SrcTables[0].TextQ = "'";
    ShowPage("Form13");
    Set("FreqOpt_0");
    Type("Form13", "SesName", "Anna's");
    // Another program takes the number meanwhile.
    TakeNumber(6);
    EXPECT_EQ(Pressed("Form13", "NXTBUTT"), SavedBox());
    EXPECT_EQ(VisiblePages(), "Form14");
    EXPECT_EQ(CurrentSessionID, 7);
    EXPECT_EQ(SessionNotSaved, kFalse);
    EXPECT_EQ(Query("select sessionname,logfilename,sourcedbname,SourceConnStr,TargetConnStr from "
                    "sessions where sessionid=7"),
              "Anna's|" + Folder() + "/log/TEXTToORACLESessionID1.log|TEXT|" + SourceConnStr +
                  "|target's\n");
    EXPECT_EQ(Query("select tabid,sourcetablename,SFormat,TextQ from vytabs where sessionid=7 "
                    "order by tabid"),
              "0|orders|\"|SQ\n1|items||Null\n");
    EXPECT_EQ(Query("select tabid,scname from srcdcols where sessionid=7"), "1|id\n");
}

TEST_F(Form13Test, StaysWhenItCantSave) {
    ShowPage("Form13");
    const std::string start = "none|Error|Unable to Save Session\n";
    const auto fails = [&](const char* why) {
        const std::string box = Pressed("Form13", "NXTBUTT");
        EXPECT_TRUE(box.starts_with(start) && box.size() > start.size() + 10) << why << ": " << box;
        EXPECT_EQ(VisiblePages(), "Form13");
    };
    Type("Form13", "SesName", "the \"big\" one");
    fails("a double quote");
    for (const char* password : {"S3cr3t", "a\"S3cr3t", "a\"S3cr3t\"b", "\"S3cr3t;x\""}) {
        TargetConnStr = "DRIVER=MySQL;SERVER=h;UID=u;PWD=" + std::string(password) + ";PORT=1";
        const std::string box = Pressed("Form13", "NXTBUTT");
        EXPECT_TRUE(box.starts_with(start)) << box;
        EXPECT_FALSE(Has(box, "S3cr3t"));
    }
    TargetConnStr = "target's";
    Type("Form13", "SesName", "name");
    SourceType = "TEXT";
    SourceConnStr = TextSourceConnectionString("/data/Anna's");
    fails("an apostrophe in a text source's folder");
    SourceConnStr = "x";
    DstTables.clear();
    fails("no target tables");
    DstTables = SrcTables;
    EXPECT_EQ(Query("select count(*) from sessions"), "1\n") << "what was written stays";
    EXPECT_EQ(Pressed("Form13", "NXTBUTT"), SavedBox());
    EXPECT_EQ(CurrentSessionID, 2) << "the second attempt takes a new number";
    UnloadAllPages();

    TakeNumber(32767);
    ShowPage("Form13");
    EXPECT_TRUE(Has(dialogs_.TakeBoxes(), "Overflow"));
    fails("no number left");
    UnloadAllPages();

    // Without a repository the session can still be run. The schedule is asked about later.
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
        if (entry.is_regular_file()) {
            std::filesystem::remove(entry.path());
        }
    }
    ShowPage("Form13");
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
    EXPECT_TRUE(Has(FindPage("Form13")->CurrentNotice().Text(), "no repository"));
    Set("TimeOpt_1");
    const std::string offer =
        "none|Create New Repository|There is no repository for saved sessions yet.\nDo you want to "
        "create it now in " +
        Folder() + "?|Yes/No\n";
    const std::string boxes = Pressed("Form13", "NXTBUTT");
    EXPECT_TRUE(boxes.starts_with(offer + start)) << boxes;
    // With a yes it is made and the save goes on, here to a schedule that isn't complete.
    dialogs_.answers = {BoxAnswer::Yes};
    EXPECT_EQ(Pressed("Form13", "NXTBUTT"),
              offer + "none|Vantry|New Repository Created|OK\n" +
                  "stop|Stop|Please Select atleast one WeekDay|OK");
    EXPECT_TRUE(std::filesystem::exists(folder_ / "VYRepo.mdb"));
    EXPECT_EQ(ModeOf(folder_ / "VYRepo.mdb"), 0600U);
    EXPECT_TRUE(FindPage("Form13")->CurrentNotice().Empty());
    Set("FreqOpt_1");
    Press("Form13", "NXTBUTT");
    EXPECT_EQ(VisiblePages(), "Form14");
}

TEST_F(Form13Test, ANewRepositoryGivesThePageItsNumberAndNamesAnew) {
    TakeNumber(11);
    ShowPage("Form13");
    EXPECT_EQ(Edit("SesName"), "ACCESSToORACLESessionID12");
    Type("Form13", "LogName", "/tmp/mine.log");
    dialogs_.answers = {BoxAnswer::Yes};
    CreateNewRepository(Folder());
    EXPECT_EQ(LabelText("Form13", "SesID"), "1");
    EXPECT_EQ(Edit("SesName"), "ACCESSToORACLESessionID1");
    EXPECT_EQ(Edit("LogName"), "/tmp/mine.log") << "what was typed stays";
    // One that another program spelled otherwise is found as well.
    std::filesystem::rename(folder_ / "VYRepo.mdb", folder_ / "vyREPO.MDB");
    TakeNumber(4);
    UnloadAllPages();
    ShowPage("Form13");
    EXPECT_EQ(LabelText("Form13", "SesID"), "5");
}

TEST_F(Form13Test, ANewRepositoryIsMadeAfterAQuestion) {
    dialogs_.answers = {BoxAnswer::No, BoxAnswer::Yes};
    CreateNewRepository(Folder());
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "none|Create New Repository|The Repository Database Already exist.Are you Sure you "
              "want to OVERWRITE and Create a new Repository\nWARNING! All Existing Sessions will "
              "get lost|Yes/No");
    TakeNumber(1);
    CreateNewRepository(Folder());
    EXPECT_EQ(dialogs_.boxes.size(), 2u);
    EXPECT_EQ(dialogs_.boxes.back().text, "New Repository Created");
    EXPECT_EQ(Query("select count(*) from sessions"), "0\n");
    dialogs_.boxes.clear();
    CreateNewRepository(In("missing"));
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Vantry|Error Creating New Repository|OK");
}

}  // namespace
}  // namespace vantry::test
