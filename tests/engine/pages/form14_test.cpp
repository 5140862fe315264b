// The run page on real runs: text files to text files and to an Access database.

#include "engine/pages/form14.h"

#include "data/answer_watch.h"
#include "engine/pages/run_display.h"
#include "engine/run_report.h"
#include "shell/small_windows.h"
#include "support/page_driver.h"
#include "support/private_mariadb.h"
#include "support/session_steps.h"
#include "support/temp_dir.h"
#include "text/text_source.h"
#include "wizard/wizard_flow.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QScrollBar>
#include <QTextBlock>
#include <QTimer>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

namespace vantry {
namespace {

class Form14Test : public ::testing::Test {
protected:
    Form14Test() {
        InitSharedState(folder_.Path().string());
        RegisterShellPages();
        RegisterWizardPages();
        RegisterRunPages();
    }
    ~Form14Test() override { ClearPages(); }

    // A session from a text file of `rows` rows to another.
    void MakeTextSession(int rows) {
        std::string lines = "id,name\r\n";
        for (int i = 1; i <= rows; ++i) {
            lines += std::to_string(i) + ",\"näme " + std::to_string(i) + "\"\r\n";
        }
        folder_.Write("in.csv", lines);
        SourceType = "TEXT";
        TargetType = "TEXT";
        SrcTables.assign(1, {});
        SrcTables[0].Name = "in.csv";
        SrcTables[0].SFormat = ",";
        SrcTables[0].TextQ = "\"";
        SrcTables[0].SFirstColLine = 1;
        SrcTables[0].FolderName = folder_.Path().string();
        std::filesystem::remove(folder_ / "Schema.ini");
        WriteSchemaIni(folder_.Path().string(), SrcTables, QualifierChoice(), kTextSourceScanRows);
        SourceConnStr = TextSourceConnectionString(folder_.Path().string());
        test::SetTextTarget(folder_.Path());
        TextDestExt = ".out";
        TextDestDelim = ";";
        test::MapTables();
    }
    void MakeAccessTarget() {
        TargetType = "ACCESS";
        TargetConnStr = test::NewAccessDatabase(folder_ / "t.mdb");
        test::MapTables();
    }
    static std::string Log() {
        return FromQt(Control<QPlainTextEdit>("Form14", "LogTxt").toPlainText());
    }
    static std::string Buttons() {
        std::string enabled;
        for (const char* name : {"StartButton", "FINISHBUTT", "CNCLBUTT", "HLPBUTT"}) {
            enabled += Control<QAbstractButton>("Form14", name).isEnabled() ? "1" : "0";
        }
        return enabled;
    }

    test::TempDir folder_;
    ScriptedDialogs dialogs_;
};

TEST_F(Form14Test, WindowsLiveWhileRowsAreCounted) {
    QPlainTextEdit log;
    QLabel counter;
    QProgressBar bar;
    RunDisplay display(log, counter, bar, [](std::string_view) {});
    std::atomic<int> beats = 0;
    QTimer beat;
    QObject::connect(&beat, &QTimer::timeout, [&] { ++beats; });
    beat.start(10);
    display.WaitFor([&] {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (beats < 3 && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    EXPECT_GE(beats, 3);
}

TEST_F(Form14Test, RunsAndShowsTheLog) {
    MakeTextSession(1000);
    MakeAccessTarget();
    ShowPage("Form14");
    EXPECT_EQ(LabelText("Form14", "SrcDestLabel"), "Source DB:TEXT Target DB:ACCESS");
    EXPECT_EQ(LabelText("Form14", "Label1"), "Now press Start Button to start conversion");
    EXPECT_EQ(Buttons(), "1011");
    auto& box = Control<QPlainTextEdit>("Form14", "LogTxt");
    box.setFixedHeight(box.fontMetrics().lineSpacing() * 7 / 2 + 2 * box.frameWidth());
    QApplication::processEvents();
    Press("Form14", "StartButton");
    EXPECT_EQ(Buttons(), "0101");
    const std::string log = Log();
    EXPECT_EQ(log.find("Started loading at :"), 0u) << log;
    EXPECT_NE(log.find("\n1000 Rows Loaded Time Elapsed :0 Hrs 0 Min "), std::string::npos) << log;
    EXPECT_TRUE(log.ends_with("\n*******( F.I.N.I.S.H )*********")) << log;
    EXPECT_EQ(LabelText("Form14", "Label2"), "");
    EXPECT_EQ(Control<QProgressBar>("Form14", "RowPro").maximum(), 1000);
    EXPECT_EQ(Control<QPlainTextEdit>("Form14", "LogTxt").textCursor().position(),
              static_cast<int>(ToQt(log).size()));
    EXPECT_GT(box.verticalScrollBar()->maximum(), 0);
    EXPECT_EQ(box.verticalScrollBar()->value(), box.verticalScrollBar()->maximum())
        << "the last line, whole";
    auto& bar = Control<QProgressBar>("Form14", "RowPro");
    RunDisplay display(box, Control<QLabel>("Form14", "Label2"), bar, {});
    display.SetBarMax(8'000'000'000);  // more than the bar can count
    display.SetBarValue(6'000'000'000);
    display.Repaint();
    EXPECT_NEAR(bar.value(), bar.maximum() * 0.75, 10);
    EXPECT_GT(bar.maximum(), 0);
    Press("Form14", "FINISHBUTT");
    EXPECT_EQ(VisiblePages(), "NavForm");
    EXPECT_TRUE(dialogs_.boxes.empty());
}

TEST_F(Form14Test, CancelBeforeTheStartLeavesTheSession) {
    constexpr const char* kQuestion =
        "none|Cancel Loading|Are you sure to cancel Loading|Yes/No (No)";
    MakeTextSession(3);
    ShowPage("Form14");
    dialogs_.answers = {BoxAnswer::No, BoxAnswer::Yes};
    EXPECT_EQ(Pressed("Form14", "CNCLBUTT"), kQuestion);
    EXPECT_EQ(Buttons(), "1011");
    EXPECT_EQ(Pressed("Form14", "CNCLBUTT"), kQuestion);
    EXPECT_EQ(VisiblePages(), "NavForm");
    EXPECT_EQ(SessionCancelled, kTrue);
}

TEST_F(Form14Test, CancelInTheMiddleStops) {
    MakeTextSession(2'000'000);
    MakeAccessTarget();
    ShowPage("Form14");
    dialogs_.answers = {BoxAnswer::Yes};
    std::string counter;
    // Events come in while the rows are counted, too: the click waits until some are loaded.
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        counter = LabelText("Form14", "Label2");
        if (!counter.empty()) {
            poll.stop();
            Press("Form14", "CNCLBUTT");
        }
    });
    poll.start(20);
    Press("Form14", "StartButton");
    const std::string log = Log();
    EXPECT_NE(log.find("User Requested to cancel loading"), std::string::npos) << log;
    EXPECT_TRUE(log.ends_with("\n*******( F.I.N.I.S.H )*********")) << log;
    EXPECT_TRUE(counter.ends_with(" of 2000000 Rows Loaded")) << counter;
    EXPECT_EQ(Buttons(), "0101");
    EXPECT_EQ(VisiblePages(), "Form14");
}

// Two tables, of which the second has a row that its target refuses.
TEST_F(Form14Test, ARunWithErrorsSaysSoBesideTheLogAndLeadsToThem) {
    MakeTextSession(3);
    MakeAccessTarget();
    SrcTables.push_back(SrcTables[0]);
    DstTables.push_back(DstTables[0]);
    SrcTables[1].TabID = DstTables[1].TabID = 1;
    SrcTables[1].Name = "in <b>.csv";
    ShowPage("Form14");
    auto& box = Control<QPlainTextEdit>("Form14", "LogTxt");
    box.setFixedWidth(150);
    Press("Form14", "StartButton");
    const Notice notice = FindPage("Form14")->CurrentNotice();
    EXPECT_EQ(notice.Text(), "1 of 2 tables have errors: in <b>.csv ");
    EXPECT_EQ(notice.kind, NoticeKind::Warning);
    EXPECT_EQ(box.horizontalScrollBar()->value(), 0) << "lines show their starts";
    EXPECT_TRUE(Log().ends_with("\n*******( F.I.N.I.S.H )*********"));
    // The line of the banner and each line of a failure are coloured.
    ASSERT_EQ(box.extraSelections().size(), 2) << Log();
    ASSERT_TRUE(notice.parts.at(1).action);
    notice.parts[1].action();
    const std::string line = FromQt(box.textCursor().block().text());
    EXPECT_TRUE(line.starts_with("Error ")) << line;
    EXPECT_GT(box.textCursor().blockNumber(), CurrentRunReport.Tables.at(1).LogLine);
    EXPECT_TRUE(box.findChild<LogView*>()->NextError()) << "round to the same one";
    EXPECT_EQ(FromQt(box.textCursor().block().text()), line);
}

// The first batch waits for a table that somebody else has locked.
TEST_F(Form14Test, ACancelIsAnsweredWhileAServerWorksAndStopsItsStatement) {
    if (const auto missing = test::PrivateMariaDb::Missing(); !missing.empty()) {
        GTEST_SKIP() << missing;
    }
    const test::PrivateMariaDb server;
    MakeTextSession(1000);
    TargetType = "MySQL";
    TargetConnStr = server.ConnectionText();
    Connection other;
    other.Open(TargetConnStr);
    other.Execute("create table orders (id int, name varchar(40))");
    test::MapTables();
    DstTables[0].Name = "orders";
    SrcTables[0].TableExists = kTrue;
    other.Execute("lock tables orders write");
    ShowPage("Form14");
    dialogs_.answers = {BoxAnswer::Yes};
    int painted = 0;
    QTimer window;
    QObject::connect(&window, &QTimer::timeout, [&] { ++painted; });
    window.start(20);
    std::chrono::steady_clock::time_point cancelled;
    QTimer::singleShot(600, [&] {
        cancelled = std::chrono::steady_clock::now();
        Press("Form14", "CNCLBUTT");
    });
    Press("Form14", "StartButton");
    const std::chrono::duration<double, std::milli> took =
        std::chrono::steady_clock::now() - cancelled;
    std::printf("%.0f ms from the cancel to the end of the run\n", took.count());
    EXPECT_LT(took.count(), 3000);
    EXPECT_GT(painted, 8);
    const std::string log = Log();
    EXPECT_EQ(log.find("Error"), std::string::npos) << log;
    EXPECT_NE(log.find("User Requested to cancel loading"), std::string::npos) << log;
    const auto& table = CurrentRunReport.Tables.at(0);
    EXPECT_EQ(table.Outcome, TableOutcome::Cancelled);
    EXPECT_EQ(table.Errors, 0);
    EXPECT_EQ(table.RowsRejected, 0);
    EXPECT_EQ(table.FirstRowNotReached(), 1);
    EXPECT_FALSE(WaitsAreCancelled()) << "other pages ask servers next";
}

// Beside the log that the session was saved with, where a runner writes its own at the same moment.
TEST_F(Form14Test, RowsThatAreNotLoadedAreInAListThatTheStatusBarOpens) {
    MakeTextSession(200);
    folder_.Write("in.csv", folder_.Read("in.csv") + "oops,\"late\"\r\n");
    MakeAccessTarget();
    SessionLogFile = (folder_ / "logs/s.log").string();
    std::filesystem::create_directory(folder_ / "logs");
    RejectFile runners(SessionLogFile + ".rejects.csv");
    runners.Add({SrcTables[0].Name, 1, RejectState::Refused, "busy"}, {});
    EXPECT_TRUE(RejectFile::IsBeingWritten(runners.Path()));
    ShowPage("Form14");
    Press("Form14", "StartButton");
    const Notice notice = FindPage("Form14")->CurrentNotice();
    EXPECT_NE(notice.Text().find("errors: in.csv 1 row not loaded: s.log.2"), std::string::npos)
        << notice.Text();
    ASSERT_EQ(notice.parts.size(), 6U);
    notice.parts[4].action();
    ASSERT_EQ(dialogs_.opened.size(), 1U);
    const std::string file = dialogs_.opened[0];
    EXPECT_NE(folder_.Read("logs/" + std::filesystem::path(file).filename().string())
                  .find("\"in.csv\",201,refused,"),
              std::string::npos);
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
    EXPECT_FALSE(RejectFile::IsBeingWritten(file));
    EXPECT_EQ(CurrentRejects, nullptr);
}

TEST_F(Form14Test, ARecordThatCannotBeWrittenIsNoRunThatEndedEarly) {
    MakeTextSession(3);
    MakeAccessTarget();
    CurrentSessionID = 4;  // saved in a repository that has gone
    ShowPage("Form14");
    Press("Form14", "StartButton");
    CurrentSessionID = 0;
    const std::string boxes = dialogs_.TakeBoxes();
    EXPECT_EQ(boxes.find("stop|Error|All tables were dealt with, but the repository"), 0U) << boxes;
    EXPECT_EQ(FindPage("Form14")->CurrentNotice().Text(), "1 table without errors, 3 rows loaded.");
}

TEST_F(Form14Test, ACancelArrivesBetweenTablesOfAFewRows) {
    MakeTextSession(1);
    constexpr std::size_t kTables = 100;
    SrcTables.resize(kTables, SrcTables[0]);
    DstTables.resize(kTables, DstTables[0]);
    for (std::size_t i = 0; i < kTables; ++i) {
        SrcTables[i].TabID = DstTables[i].TabID = static_cast<i16>(i);
        DstTables[i].Name = (folder_ / ("t" + std::to_string(i))).string();
    }
    ShowPage("Form14");
    dialogs_.answers = {BoxAnswer::Yes};
    QTimer::singleShot(0, [] { Press("Form14", "CNCLBUTT"); });
    Press("Form14", "StartButton");
    EXPECT_TRUE(Log().ends_with("User Requested to abort loading")) << Log();
    EXPECT_GT(OutcomeOfRun().NotReached, kTables / 2);
    EXPECT_NE(FindPage("Form14")->CurrentNotice().Text().find("The run was cancelled."),
              std::string::npos);
}

TEST_F(Form14Test, NoOtherPageTakesInputDuringARun) {
    MakeTextSession(200'000);
    MakeAccessTarget();
    ShowPage("NavForm");
    ShowPage("Form14");
    const auto* const others = FindPage("NavForm");
    const auto* const entry = TheMainWindow().findChild<QAction*>("mOpenSes");
    std::string inside;
    QTimer::singleShot(0, [&] {
        inside = std::string(others->isEnabled() ? "open" : "shut") +
                 (entry->isEnabled() ? " open " : " shut ") + Buttons();
    });
    Press("Form14", "StartButton");
    EXPECT_EQ(inside, "shut shut 0011");
    EXPECT_TRUE(others->isEnabled());
    EXPECT_TRUE(entry->isEnabled());
}

TEST_F(Form14Test, TheCloseBoxInTheMiddleStopsTheRunAndThenLeaves) {
    MakeTextSession(2'000'000);
    MakeAccessTarget();
    ShowPage("Form14");
    dialogs_.answers = {BoxAnswer::Yes};
    QTimer::singleShot(100, [] { EXPECT_FALSE(CloseBox("Form14")); });
    EXPECT_EQ(Pressed("Form14", "StartButton"),
              "none|Cancel Session|Are you sure you want to close this session|Yes/No");
    EXPECT_EQ(VisiblePages(), "NavForm");
    EXPECT_EQ(CurrentRunView, nullptr);
}

}  // namespace
}  // namespace vantry
