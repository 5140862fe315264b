// run_page_bench ROWS [ROUNDS]: what the run page costs a run. The same copy of a text file into an
// Access database, on the page with its log, counter and bar, and with a view that shows nothing,
// in turns; prints the best of both, their ratio, and the longest time in which the page's window
// took no events (its rows are counted and loaded then). Under a real X server it is the real page.

#include "core/session_state.h"
#include "engine/pages/form14.h"
#include "engine/run_session.h"
#include "orders_data.h"
#include "programs/console_view.h"
#include "route_session.h"
#include "shell/page_set.h"
#include "shell/small_windows.h"

#include <QAbstractButton>
#include <QApplication>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>

namespace {

using namespace vantry;  // NOLINT(google-build-using-namespace): a program of one page

class SilentView : public ConsoleView {
public:
    void SetLogText(std::string_view) override {}
    void AppendLogText(std::string_view) override {}
};

void Prepare(const bench::Places& places) {
    std::filesystem::remove_all(places.TargetFolder());
    std::filesystem::create_directories(places.TargetFolder());
    bench::PrepareRoute(bench::Side::Csv, bench::Side::Access, places, {});
}

using Clock = std::chrono::steady_clock;

// How long the event loop was away from a timer that is always due.
class Silence {
public:
    Silence() {
        QObject::connect(&timer_, &QTimer::timeout, [this] { Note(); });
        timer_.start(0);
    }
    void Note() {
        const auto now = Clock::now();
        longest_ = std::max(longest_, now - last_);
        last_ = now;
    }
    double Milliseconds() const {
        return std::chrono::duration<double, std::milli>(longest_).count();
    }

private:
    QTimer timer_;
    Clock::time_point last_ = Clock::now();
    Clock::duration longest_{};
};

template <class Run>
double Seconds(Run run) {
    const auto begin = Clock::now();
    run();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: run_page_bench ROWS [ROUNDS]\n", stderr);
        return 64;
    }
    const std::int64_t rows = std::atoll(argv[1]);
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const bench::Places places(
        std::filesystem::temp_directory_path() /
        ("run_page_bench-" + std::to_string(QCoreApplication::applicationPid())));
    std::filesystem::create_directories(places.SourceFolder());
    bench::WriteCsv(places.SourceCsv(), rows);
    bench::DescribeSource(places);
    RegisterShellPages();
    RegisterRunPages();
    double page = 1e9;
    double silent = 1e9;
    double longest_silence = 0;
    for (int round = 0; round < rounds; ++round) {
        Prepare(places);
        SilentView view;
        CurrentRunView = &view;
        silent = std::min(silent, Seconds([] { RunSession(""); }));
        Prepare(places);
        ShowPage("Form14");
        QCoreApplication::processEvents();
        auto* const start = FindPage("Form14")->findChild<QAbstractButton*>("StartButton");
        Silence silence;
        page = std::min(page, Seconds([start] { start->click(); }));
        silence.Note();
        longest_silence = std::max(longest_silence, silence.Milliseconds());
        UnloadPage("Form14");
        QCoreApplication::processEvents();
    }
    std::filesystem::remove_all(places.folder);
    std::printf("run-page rows %lld page_s %.3f silent_s %.3f ratio %.3f longest_silence_ms %.0f\n",
                static_cast<long long>(rows),
                page,
                silent,
                page / silent,
                longest_silence);
    std::fflush(stdout);
    std::_Exit(0);
}
