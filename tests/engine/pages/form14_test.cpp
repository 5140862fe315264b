// The run page on real runs: text files to text files and to an Access database.

#include "engine/pages/form14.h"

#include "shell/small_windows.h"
#include "support/page_driver.h"
#include "support/session_steps.h"
#include "support/temp_dir.h"
#include "text/text_source.h"
#include "wizard/wizard_flow.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTimer>

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
        TextDestFormat = "DELIMITED";
        TextDestDir = folder_.Path().string();
        TextDestExt = ".out";
        TextDestDelim = ";";
        TextDestHeader = kTrue;
        TextDestQual = "\"";
        test::MapTables();
    }
    void MakeAccessTarget() {
        TargetType = "ACCESS";
        TargetConnStr =
            "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + (folder_ / "t.mdb").string();
        Catalog().Create(TargetConnStr);
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
    Press("Form14", "FINISHBUTT");
    EXPECT_EQ(VisiblePages(), "NavForm");
    EXPECT_TRUE(dialogs_.boxes.empty());
}

TEST_F(Form14Test, TextTargetsAreWrittenAsText) {
    MakeTextSession(3);
    ShowPage("Form14");
    Press("Form14", "StartButton");
    const std::string log = Log();
    EXPECT_EQ(log.find("Started Loading at "), 0u);
    EXPECT_TRUE(log.ends_with("\n******( FINISH )*******")) << log;
    EXPECT_EQ(folder_.Read("in.out"),
              "id;name\r\n1;\"näme 1\"\r\n2;\"näme 2\"\r\n3;\"näme 3\"\r\n");
}

TEST_F(Form14Test, CancelBeforeTheStartLeavesTheSession) {
    constexpr const char* kQuestion =
        "none|Cancel Loading|Are you sure to cancel Loading|Yes/No (No)";
    MakeTextSession(3);
    ShowPage("Form14");
    dialogs_.answers = {BoxAnswer::No, BoxAnswer::Yes};
    Press("Form14", "CNCLBUTT");
    EXPECT_EQ(dialogs_.TakeBoxes(), kQuestion);
    EXPECT_EQ(Buttons(), "1011");
    Press("Form14", "CNCLBUTT");
    EXPECT_EQ(dialogs_.TakeBoxes(), kQuestion);
    EXPECT_EQ(VisiblePages(), "NavForm");
    EXPECT_EQ(SessionCancelled, kTrue);
}

TEST_F(Form14Test, CancelInTheMiddleStopsWithinATenthOfASecond) {
    MakeTextSession(2'000'000);
    MakeAccessTarget();
    ShowPage("Form14");
    dialogs_.answers = {BoxAnswer::Yes};
    QElapsedTimer since_click;
    std::string counter;
    QTimer::singleShot(100, [&] {
        counter = LabelText("Form14", "Label2");
        since_click.start();
        Press("Form14", "CNCLBUTT");
    });
    Press("Form14", "StartButton");
    const auto millis = since_click.elapsed();
    const std::string log = Log();
    EXPECT_NE(log.find("User Requested to cancel loading"), std::string::npos) << log;
    EXPECT_TRUE(log.ends_with("\n*******( F.I.N.I.S.H )*********")) << log;
    EXPECT_TRUE(counter.ends_with(" of 2000000 Rows Loaded")) << counter;
    EXPECT_EQ(Buttons(), "0101");
    EXPECT_EQ(VisiblePages(), "Form14");
    std::printf("[ MEASURED ] cancelled in %lld ms\n", static_cast<long long>(millis));
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
    Press("Form14", "StartButton");
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "none|Cancel Session|Are you sure you want to close this session|Yes/No");
    EXPECT_EQ(VisiblePages(), "NavForm");
    EXPECT_EQ(CurrentRunView, nullptr);
}

}  // namespace
}  // namespace vantry
