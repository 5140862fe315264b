// What certainty costs beside a run without it:
//
//     trust_bench ROUTE[,ROUTE...]|all ROWS [ROUNDS]
//
// Each round has a run, the same run with its verification, and the check before it, each in a
// process of its own and each first in every third round; medians of the rounds. Before them one
// run's rows are compared value by value. Prints a line a route: seconds of the run, those of the
// other two by the run's, the same of CPU seconds, and the peak memory of all three in MiB.

#include "check/check_text.h"
#include "check/data_check.h"
#include "routes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantry::bench {
namespace {

constexpr std::array kTasks = {"--session", "--verified", "--check"};
constexpr std::size_t kTaskCount = kTasks.size();

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void CheckBefore(const Route& route, const Places& places) {
    PrepareRoute(route.source, route.target, places, ServerOfTask());
    const auto check = CheckTable(0, {});
    if (!check.trouble.empty() || check.rows == 0) {
        throw std::runtime_error("The check ends: " + SummaryText(check));
    }
    LeavePeak(places);
}

void Measure(const Route& route, std::int64_t rows, std::size_t rounds) {
    UseNotes(Notes::Kept);
    Arena arena(route, rows);
    arena.RunOurs();
    std::array<std::vector<double>, kTaskCount> wall;
    std::array<std::vector<double>, kTaskCount> cpu;
    std::array<double, kTaskCount> peaks{};
    for (std::size_t round = 0; round < rounds; ++round) {
        for (std::size_t k = 0; k < kTaskCount; ++k) {
            const std::size_t task = (round + k) % kTaskCount;
            const auto seconds = arena.RunTask(kTasks[task]);
            wall[task].push_back(seconds.wall);
            cpu[task].push_back(seconds.cpu);
            peaks[task] = std::max(peaks[task], arena.LastPeakMebibytes());
        }
    }
    std::printf("%-14s %9lld %7.3f %9.2f %6.2f %9.3f %9.2f %6.2f   %6.1f %6.1f %6.1f\n",
                std::string(route.name).c_str(),
                static_cast<long long>(rows),
                Median(wall[0]),
                Median(wall[1]) / Median(wall[0]),
                Median(wall[2]) / Median(wall[0]),
                Median(cpu[0]),
                Median(cpu[1]) / Median(cpu[0]),
                Median(cpu[2]) / Median(cpu[0]),
                peaks[0],
                peaks[1],
                peaks[2]);
    std::fflush(stdout);
}

int Usage() {
    std::fputs("usage: trust_bench ROUTE[,ROUTE...]|all ROWS [ROUNDS]\n", stderr);
    return 2;
}

int DoOwnTask(const std::string& task, const std::string& name, const Places& places) {
    const Route* const route = FindRoute(name);
    if (route == nullptr) {
        return Usage();
    }
    if (task == "--check") {
        CheckBefore(*route, places);
        return 0;
    }
    return DoTask(task, *route, places) ? 0 : Usage();
}

int Main(const std::vector<std::string>& arguments) {
    if (arguments.size() == 3 && arguments[0].starts_with("--")) {
        return DoOwnTask(arguments[0], arguments[1], Places(arguments[2]));
    }
    const long long rows = arguments.size() >= 2 ? std::atoll(arguments[1].c_str()) : 0;
    const long long rounds = arguments.size() > 2 ? std::atoll(arguments[2].c_str()) : 5;
    if (rows <= 0 || rounds <= 0) {
        return Usage();
    }
    std::puts(
        "route               rows   run_s  verified  check run_cpu_s  verified  check   peak_MiB "
        "of the three");
    const std::string wanted = "," + arguments[0] + ",";
    for (const auto& route : AllRoutes()) {
        if (arguments[0] != "all" &&
            wanted.find("," + std::string(route.name) + ",") == std::string::npos) {
            continue;
        }
        if (const auto missing = MissingFor(route); !missing.empty()) {
            std::fprintf(stderr, "%s: %s\n", std::string(route.name).c_str(), missing.c_str());
            continue;
        }
        Measure(route, rows, static_cast<std::size_t>(rounds));
    }
    return 0;
}

}  // namespace
}  // namespace vantry::bench

int main(int argc, char** argv) {
    try {
        return vantry::bench::Main({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "trust_bench: %s\n", error.what());
        return 1;
    }
}
