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

#include <filesystem>
#include <fstream>
#include <iterator>

namespace vantry {
namespace {

constexpr int kTwoMinutes = 150;  // seconds, with what the machine needs besides

std::string ContentOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

int CountOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (auto at = text.find(part); at != text.npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
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

class SavedRoad : RoadDriver {
public:
    explicit SavedRoad(const std::string& folder)
        : RoadDriver(folder + "/pictures"), folder_(folder) {}

    void Walk() {
        Click("frmSplash", "Image1");
        Keys("NavForm", "alt+r");
        Keys("n");
        Box("New Repository Created", "Return");
        for (const char* name : {"first", "second", "third"}) {
            SaveSession(name);
        }
        Click("NavForm", "NavChoice_1");
        Click("NavForm", "NXTBUTT");
        Page("Form15");
        Count("3");
        Run(3);
        EveryMinute();
        WatchTwoRuns();
        Delete();
        BackUpAndRestore();
        Run(2);
        Click("Form15", "Close");
        Page("NavForm");
        Start();
    }

private:
    std::string In(const std::string& name) const { return folder_ + "/" + name; }

    void Count(const std::string& count) {
        Until(count + " sessions in the list",
              [count] { return LabelText("Form15", "Label4") == count; });
    }

    // What the pages before the last one leave in memory; the last one is walked.
    void SaveSession(const std::string& name) {
        Do("a session in memory", [this, name] {
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
            TargetConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + In(name + ".mdb");
            if (!std::filesystem::exists(In(name + ".mdb"))) {
                Catalog().Create(TargetConnStr);
            }
            test::MapTables();
            HidePage("NavForm");
            ShowPage("Form13");
        });
        Type("Form13", "SesName", name);
        Click("Form13", "FreqOpt_2");
        Click("Form13", "NXTBUTT");
        Box("Session Saved Successfully", "Return");
        Page("NavForm");
    }

    // The one in the list's current row.
    void Run(int id) {
        const QString title = QString("Vantry - Session %1 .* ended .0.").arg(id);
        Click("Form15", "RunButt");
        Box("Run Session ID:" + std::to_string(id), "Return");
        Until(
            "the runner's window after the run",
            [title] {
                return !Answer({"search", "--name", title}).isEmpty();
            },
            60);
        Shot("runner");
        Do("the runner's window in front", [title] {
            Answer({"windowactivate", Answer({"search", "--name", title}).section('\n', 0, 0)});
        });
        // A key goes to whatever has the focus.
        Until("its focus", [title] {
            return Answer({"getactivewindow", "getwindowname"}).contains(QRegularExpression(title));
        });
        Do("Return", [] { Answer({"key", "Return"}); });
        Until("the runner's window is gone", [title] {
            return Answer({"search", "--name", title}).isEmpty();
        });
        Do("the list in front", [] { TheMainWindow().activateWindow(); });
        Until("the run's date in the list", [] { return !Cell(0, 6).empty(); });
    }

    void EveryMinute() {
        Click("Form15", "EditButt");
        Click("SesEdit", "TimeOpt_4");
        Click("SesEdit", "Evy_1");
        Click("SesEdit", "Mins");
        Keys("Home");
        Keys("Return");
        Click("SesEdit", "SaveButton");
        Box("Changes Saved", "Return");
    }

    // The log is looked at from before the scheduler's first run until behind its second.
    void WatchTwoRuns() {
        Until(
            "no other scheduler on this machine",
            [] { return !IsProcessRunning("VYTimer"); },
            kTwoMinutes);
        Click("Form15", "SesDBGrid");
        Keys("alt+s");
        Keys("c");
        Click("CheckSch", "startit");
        Until("the scheduler runs", [] {
            return LabelText("CheckSch", "Label1") == "Vantry is now Running" &&
                   LabelText("CheckSch", "Note").starts_with("VYTimer, process ");
        });
        Click("CheckSch", "closebutt");
        Click("Form15", "VLogButt");
        Page("ShowLog");
        Do("what the log says now", [this] { former_log_ = Log(); });
        Until(
            "the log of the scheduler's run",
            [this] {
                return Log() != former_log_ && Log().find("F.I.N.I.S.H") != std::string::npos;
            },
            kTwoMinutes);
        Until(
            "the scheduler has started it twice",
            [this] {
                return CountOf(ContentOf(In("log/VYTimer.log")),
                               "\"third\" ended with exit code 0") >= 2;
            },
            kTwoMinutes);
        Click("ShowLog", "Text1");
        Keys("Escape");
    }
    static std::string Log() {
        return FromQt(Control<QPlainTextEdit>("ShowLog", "Text1").toPlainText());
    }

    void Delete() {
        ClickCell("Form15", "SesDBGrid", 0, 1);
        Click("Form15", "DelButt");
        Box("Are you sure you want to Delete Session ID: 3 Name :third", "Return");
        Box("Session ID :3 deleted.", "Return");
        Count("2");
    }

    void BackUpAndRestore() {
        Click("Form15", "SesDBGrid");
        Keys("alt+r");
        Keys("b");
        Type("BackupRepo", "BckDest", In("kept"));
        Click("BackupRepo", "BackupButton");
        Box("Repository Successfully Backed Up", "Return");
        Click("Form15", "DelAll");
        Box("Are you sure you want to Delete All Sessions", "Return");
        Box("All Sessions Deleted", "Return");
        Count("0");
        Click("Form15", "SesDBGrid");
        Keys("alt+r");
        Keys("r");
        Type("RestoreRepo", "BckDest", In("kept/VYRepo.mdb"));
        Click("RestoreRepo", "RestoreButton");
        Box("Are you sure you want to Restore Repository?", "Return");
        Box("Repository Successfully Restored", "Return");
        Count("2");
    }

    std::string folder_;
    std::string former_log_;
};

}  // namespace
}  // namespace vantry

int main(int argc, char** argv) {
    return vantry::WalkIn<vantry::SavedRoad>(argc, argv);
}
