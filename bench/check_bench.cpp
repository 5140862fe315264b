// check_bench ROWS [ROUNDS]: what the check before a run costs beside the run, in CPU seconds of
// user and system, between the kinds that need no server. Prints the best of each and their ratio.

#include "check/check_text.h"
#include "check/data_check.h"
#include "core/session_state.h"
#include "engine/run_session.h"
#include "orders_data.h"
#include "programs/console_view.h"
#include "route_session.h"
#include "text/text_writer.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace {

using namespace vantry;  // NOLINT(google-build-using-namespace): a program of one page
using bench::Side;

class SilentView : public ConsoleView {
public:
    void SetLogText(std::string_view) override {}
    void AppendLogText(std::string_view) override {}
};

double CpuSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto of = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

template <class Work>
double Cost(Work work) {
    const double begin = CpuSeconds();
    work();
    return CpuSeconds() - begin;
}

void Prepare(Side source, Side target, const bench::Places& places) {
    std::filesystem::remove_all(places.TargetFolder());
    std::filesystem::create_directories(places.TargetFolder());
    bench::PrepareRoute(source, target, places, {});
}

void Measure(const char* name, Side source, Side target, const bench::Places& places, int rounds) {
    double run = 1e9;
    double check = 1e9;
    std::string told;
    for (int round = 0; round < rounds; ++round) {
        Prepare(source, target, places);
        check = std::min(check, Cost([&] { told = SummaryText(CheckTable(0, {})); }));
        SilentView view;
        CurrentRunView = &view;
        run = std::min(run,
                       Cost([&] { target == Side::Csv ? RunSessionToText("") : RunSession(""); }));
    }
    std::printf("%-14s check_cpu_s %.3f run_cpu_s %.3f ratio %.2f   %s\n",
                name,
                check,
                run,
                check / run,
                told.c_str());
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: check_bench ROWS [ROUNDS]\n", stderr);
        return 64;
    }
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
    const bench::Places places(std::filesystem::temp_directory_path() /
                               ("check_bench-" + std::to_string(::getpid())));
    std::filesystem::create_directories(places.SourceFolder());
    std::filesystem::create_directories(places.TargetFolder());
    bench::UseLetters(bench::Letters::Windows1252);
    bench::WriteCsv(places.SourceCsv(), std::atoll(argv[1]));
    bench::DescribeSource(places);
    bench::FillAccess(places);
    std::filesystem::rename(places.TargetAccess(), places.SourceAccess());
    Measure("csv-csv", Side::Csv, Side::Csv, places, rounds);
    Measure("csv-access", Side::Csv, Side::Access, places, rounds);
    Measure("access-csv", Side::Access, Side::Csv, places, rounds);
    Measure("access-access", Side::Access, Side::Access, places, rounds);
    Measure("access-dbf", Side::Access, Side::Dbf, places, rounds);
    std::filesystem::remove_all(places.folder);
    return 0;
}
