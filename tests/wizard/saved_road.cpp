// The saved sessions in the wizard itself, by mouse and keyboard: three are saved, one is run by
// the real runner, given a schedule of every minute and run twice by the real scheduler while its
// log is looked at; then deleting, backup, restore, and on. Everything lies in the folder of the
// executable, where the runner and the scheduler stand, too. Usage: saved_road (in a folder with
// data/orders.csv)

#include "core/session_state.h"
#include "mapping/column_discovery.h"
#include "repository/process_finder.h"
#include "shell/qt_text.h"
#include "support/page_driver.h"
#include "support/session_steps.h"
#include "text/text_source.h"
#include "wizard/road_driver.h"
#include "wizard/road_program.h"

#include <QPlainTextEdit>
#include <QProcess>
#include <QRegularExpression>
#include <QTableWidget>

#include <fstream>
#include <iterator>

namespace vantry {
namespace {

constexpr int kTwoMinutes = 150;  // seconds, with what the machine needs besides

std::string ContentOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string Cell(int row, int column) {
    const auto& grid = Control<QTableWidget>("Form15", "SesDBGrid");
    const auto* const item = grid.item(row, column);
    return item == nullptr ? std::string() : FromQt(item->text());
}

// What xdotool prints; of windows that aren't there, nothing.
QString Answer(const QStringList& arguments) {
    QProcess program;
    program.start("xdotool", arguments);
    program.waitForFinished();
    return QString::fromUtf8(program.readAllStandardOutput()).trimmed();
}

class SavedRoad {
public:
    explicit SavedRoad(const std::string& folder)
        : folder_(folder), driver_(folder + "/pictures") {}

    void Walk() {
        StartAndMakeRepository(driver_);
        for (const char* name : {"first", "second", "third"}) {
            SaveSession(name);
        }
        driver_.Page("NavForm");
        driver_.Click("NavForm", "NavChoice_1");
        driver_.Click("NavForm", "NXTBUTT");
        driver_.Page("Form15");
        Count("3");
        Run(3);
        EveryMinute();
        WatchTwoRuns();
        Delete();
        BackUpAndRestore();
        Run(2);
        driver_.Page("Form15");
        driver_.Click("Form15", "Close");
        driver_.Page("NavForm");
        driver_.Start();
    }

private:
    std::string In(const std::string& name) const { return folder_ + "/" + name; }

    void OpenByMenu(const char* menu, const char* entry) {
        driver_.Page("Form15");
        driver_.Click("Form15", "SesDBGrid");
        driver_.Keys(menu);
        driver_.Keys(entry);
    }
    void Count(const std::string& count) {
        driver_.Until(count + " sessions in the list",
                      [count] { return LabelText("Form15", "Label4") == count; });
    }

    // What the pages before the last one leave in memory; the last one is walked.
    void SaveSession(const std::string& name) {
        driver_.Do("a session in memory", [this, name] {
            SourceType = "TEXT";
            TargetType = "ACCESS";
            TableRec table;
            table.Name = "orders.csv";
            table.SFormat = ",";
            table.SFirstColLine = 1;
            table.TextQ = "\"";
            table.LoadOption = "APPEND";
            SrcTables = {table};
            SourceConnStr = TextSourceConnectionString(In("data"));
            TargetConnStr = test::NewAccessDatabase(In(name + ".mdb"));
            test::MapTables();
            HidePage("NavForm");
            ShowPage("Form13");
        });
        driver_.Page("Form13");
        driver_.Fill("Form13", "SesName", name);
        driver_.Click("Form13", "FreqOpt_2");
        driver_.Page("Form13");
        driver_.Click("Form13", "NXTBUTT");
        driver_.Box("Session Saved Successfully", "Return");
        driver_.Page("NavForm");
    }

    // The one in the list's current row.
    void Run(int id) {
        const QString title = QString("Vantry - Session %1: [a-z]+ . ended .0.").arg(id);
        driver_.Page("Form15");
        driver_.Click("Form15", "RunButt");
        driver_.Box("Run Session ID:" + std::to_string(id), "Return");
        driver_.Until(
            "the runner's window after the run",
            [title] {
                return !Answer({"search", "--name", title}).isEmpty();
            },
            60);
        driver_.Shot("runner");
        driver_.Do("the runner's window in front", [title] {
            Answer({"windowactivate", Answer({"search", "--name", title}).section('\n', 0, 0)});
        });
        // A key goes to whatever has the focus.
        driver_.Until("its focus", [title] {
            return Answer({"getactivewindow", "getwindowname"}).contains(QRegularExpression(title));
        });
        driver_.Do("Return", [] { Answer({"key", "Return"}); });
        driver_.Until("the runner's window is gone", [title] {
            return Answer({"search", "--name", title}).isEmpty();
        });
        driver_.Do("the list in front", [] { TheMainWindow().activateWindow(); });
        driver_.Until("the run's date in the list", [] { return !Cell(0, 6).empty(); });
    }

    void EveryMinute() {
        driver_.Page("Form15");
        driver_.Click("Form15", "EditButt");
        driver_.Page("SesEdit");
        driver_.Click("SesEdit", "TimeOpt_4");
        driver_.Click("SesEdit", "Evy_1");
        driver_.Click("SesEdit", "Mins");
        driver_.Keys("Home");
        driver_.Keys("Return");
        driver_.Page("SesEdit");
        driver_.Click("SesEdit", "SaveButton");
        driver_.Box("Changes Saved", "Return");
    }

    // The log is looked at from before the scheduler's first run until behind its second.
    void WatchTwoRuns() {
        driver_.Until(
            "no other scheduler on this machine",
            [] { return !IsProcessRunning("VYTimer"); },
            kTwoMinutes);
        OpenByMenu("alt+s", "c");
        driver_.Page("CheckSch");
        driver_.Click("CheckSch", "startit");
        driver_.Until("the scheduler runs", [] {
            return LabelText("CheckSch", "Label1") == "Vantry is now Running" &&
                   LabelText("CheckSch", "Note").starts_with("VYTimer, process ");
        });
        driver_.Page("CheckSch");
        driver_.Click("CheckSch", "closebutt");
        driver_.Page("Form15");
        driver_.Click("Form15", "VLogButt");
        driver_.Page("ShowLog");
        driver_.Do("what the log says now", [this] { former_log_ = Log(); });
        driver_.Until(
            "the log of the scheduler's run",
            [this] {
                return Log() != former_log_ && Log().find("F.I.N.I.S.H") != std::string::npos;
            },
            kTwoMinutes);
        driver_.Until(
            "the scheduler has started it twice",
            [this] {
                const std::string log = ContentOf(In("log/VYTimer.log"));
                const char* const end = "\"third\" ended with exit code 0";
                return log.find(end) != log.rfind(end);
            },
            kTwoMinutes);
        driver_.Page("ShowLog");
        driver_.Click("ShowLog", "Text1");
        driver_.Keys("Escape");
    }
    static std::string Log() {
        return FromQt(Control<QPlainTextEdit>("ShowLog", "Text1").toPlainText());
    }

    void Delete() {
        driver_.Page("Form15");
        driver_.ClickCell("Form15", "SesDBGrid", 0, 1);
        driver_.Click("Form15", "DelButt");
        driver_.Box("Are you sure you want to Delete Session ID: 3 Name :third", "Return");
        driver_.Box("Session ID :3 deleted.", "Return");
        Count("2");
    }

    void BackUpAndRestore() {
        OpenByMenu("alt+r", "b");
        driver_.Page("BackupRepo");
        driver_.Fill("BackupRepo", "BckDest", In("kept"));
        driver_.Click("BackupRepo", "BackupButton");
        driver_.Box("Repository Successfully Backed Up", "Return");
        driver_.Page("Form15");
        driver_.Click("Form15", "DelAll");
        driver_.Box("Are you sure you want to Delete All Sessions", "Return");
        driver_.Box("All Sessions Deleted", "Return");
        Count("0");
        OpenByMenu("alt+r", "r");
        driver_.Page("RestoreRepo");
        driver_.Fill("RestoreRepo", "BckDest", In("kept/VYRepo.mdb"));
        driver_.Page("RestoreRepo");
        driver_.Click("RestoreRepo", "RestoreButton");
        driver_.Box("Are you sure you want to Restore Repository?", "Return");
        driver_.Box("Repository Successfully Restored", "Return");
        Count("2");
    }

    std::string folder_;
    std::string former_log_;
    RoadDriver driver_;
};

}  // namespace
}  // namespace vantry

int main(int argc, char** argv) {
    return vantry::WalkIn<vantry::SavedRoad>(argc, argv);
}
