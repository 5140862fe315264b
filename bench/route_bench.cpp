// Measures a route against what a user would take instead:
//
//     route_bench ROUTE ROWS [ROUNDS]
//
// Both copy the same generated table in turn, each into an empty target and each first in every
// other round; medians of the rounds. A run of ours counts only if every row and value arrived.
// Prints a heading and one line: seconds of ours, seconds of the peer, the peer's time by ours and
// the least that it was in one round, our peak memory in MiB. Where there is a floor, a plain loop
// that does no more than the work itself, a second line has its seconds and our time by the loop's.
// A route to or from a server has a line for the run alone: its mapping asks the server for tables
// and columns, which the peer's statements were written with.
// Routes to other servers that are some way away print another form (server_route.h).
//
//     route_bench ROUTE,ROUTE ROWS [ROUNDS]
//
// Measures two routes of ours against each other, without their peers.

#include "routes.h"
#include "server_route.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <exception>
#include <vector>

namespace vantry::bench {
namespace {

constexpr std::int64_t kManyRows = 1'000'000;

double Median(const std::vector<Seconds>& runs, double Seconds::*part) {
    std::vector<double> values;
    values.reserve(runs.size());
    for (const auto& run : runs) {
        values.push_back(run.*part);
    }
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// The least of the ratios that the rounds had each for itself.
double LeastRatio(const std::vector<Seconds>& ours, const std::vector<Seconds>& peer) {
    double least = peer[0].wall / ours[0].wall;
    for (std::size_t k = 1; k < ours.size(); ++k) {
        least = std::min(least, peer[k].wall / ours[k].wall);
    }
    return least;
}

void Measure(const Route& route, std::int64_t rows, std::int64_t rounds) {
    Arena arena(route, rows);
    std::vector<Seconds> ours;
    std::vector<Seconds> peer;
    std::vector<Seconds> run_alone;
    std::vector<Seconds> floor;
    const auto run_ours = [&] {
        ours.push_back(arena.RunOurs());
        run_alone.push_back(ours.back());
        run_alone.back().wall -= arena.LastPreparation();
    };
    const auto run_floor = [&] {
        if (arena.HasFloor()) {
            floor.push_back(arena.RunFloor());
        }
    };
    for (std::int64_t round = 0; round < rounds; ++round) {
        // Who comes first finds colder caches and a server that is still busy with the last table.
        if (round % 2 == 0) {
            peer.push_back(arena.RunPeer());
            run_floor();
            run_ours();
        } else {
            run_ours();
            run_floor();
            peer.push_back(arena.RunPeer());
        }
    }
    const double ours_s = Median(ours, &Seconds::wall);
    const double peer_s = Median(peer, &Seconds::wall);
    std::printf("%-14s %9lld %8.3f %8.3f %7.2f %7.2f %8.1f\n",
                std::string(route.name).c_str(),
                static_cast<long long>(rows),
                ours_s,
                peer_s,
                peer_s / ours_s,
                LeastRatio(ours, peer),
                arena.PeakMebibytes());
    if (route.NeedsServer()) {
        const double alone_s = Median(run_alone, &Seconds::wall);
        std::printf(
            "  the run alone, mapped before as the peer's statements are: %.3f s, %.3f, "
            "least %.3f\n",
            alone_s,
            peer_s / alone_s,
            LeastRatio(run_alone, peer));
    }
    if (!floor.empty()) {
        const double floor_s = Median(floor, &Seconds::wall);
        std::printf("  floor, a plain loop: %.3f s (cpu %.3f), ours takes %.2f times as long\n",
                    floor_s,
                    Median(floor, &Seconds::cpu),
                    ours_s / floor_s);
    }
    std::fflush(stdout);
    // On a busy machine the work says more than the clock.
    std::fprintf(stderr,
                 "  cpu seconds of the programs, without a server's: ours %.3f, peer %.3f\n",
                 Median(ours, &Seconds::cpu),
                 Median(peer, &Seconds::cpu));
}

// The second route is the measure of the first.
void MeasureAgainst(const Route& route, const Route& measure, std::int64_t rows, int rounds) {
    Arena first(route, rows);
    Arena second(measure, rows);
    std::vector<Seconds> ours;
    std::vector<Seconds> others;
    for (int round = 0; round < rounds; ++round) {
        if (round % 2 == 0) {
            others.push_back(second.RunOurs());
            ours.push_back(first.RunOurs());
        } else {
            ours.push_back(first.RunOurs());
            others.push_back(second.RunOurs());
        }
    }
    std::printf("%-14s %9lld  wall %8.3f  cpu %7.3f  peak %6.1f MiB\n",
                std::string(route.name).c_str(),
                static_cast<long long>(rows),
                Median(ours, &Seconds::wall),
                Median(ours, &Seconds::cpu),
                first.PeakMebibytes());
    std::printf("%-14s %9lld  wall %8.3f  cpu %7.3f  peak %6.1f MiB\n",
                std::string(measure.name).c_str(),
                static_cast<long long>(rows),
                Median(others, &Seconds::wall),
                Median(others, &Seconds::cpu),
                second.PeakMebibytes());
}

int Usage() {
    std::fputs("usage: route_bench ROUTE[,ROUTE] ROWS [ROUNDS]\n  routes:", stderr);
    for (const auto& route : AllRoutes()) {
        std::fprintf(stderr, " %s", std::string(route.name).c_str());
    }
    std::fputs(", or all\n  servers: csv-mssql csv-odbc\n", stderr);
    return 2;
}

bool ReadNumber(std::string_view text, std::int64_t& number) {
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && read.ptr == text.data() + text.size() && number > 0;
}

int Main(const std::vector<std::string>& arguments) {
    if (arguments.size() == 3 && arguments[0].starts_with("--")) {
        const Route* const route = FindRoute(arguments[1]);
        return route != nullptr && DoTask(arguments[0], *route, Places(arguments[2])) ? 0 : 2;
    }
    std::int64_t rows = 0;
    if (arguments.size() < 2 || arguments.size() > 3 || !ReadNumber(arguments[1], rows)) {
        return Usage();
    }
    std::int64_t rounds = rows <= kManyRows ? 3 : 1;
    if (arguments.size() == 3 && !ReadNumber(arguments[2], rounds)) {
        return Usage();
    }
    if (IsServerRoute(arguments[0])) {
        MeasureServerRoute(arguments[0], rows);
        return 0;
    }
    if (const auto comma = arguments[0].find(','); comma != std::string::npos) {
        const auto* const route = FindRoute(arguments[0].substr(0, comma));
        const auto* const measure = FindRoute(arguments[0].substr(comma + 1));
        if (route == nullptr || measure == nullptr) {
            return Usage();
        }
        MeasureAgainst(*route, *measure, rows, static_cast<int>(rounds));
        return 0;
    }
    std::vector<const Route*> chosen;
    for (const auto& route : AllRoutes()) {
        if (arguments[0] == "all" || arguments[0] == route.name) {
            chosen.push_back(&route);
        }
    }
    if (chosen.empty()) {
        return Usage();
    }
    std::puts("route               rows   ours_s   peer_s   ratio   least peak_MiB");
    for (const auto* route : chosen) {
        if (const auto missing = MissingFor(*route); !missing.empty()) {
            std::fprintf(stderr, "%s: %s\n", std::string(route->name).c_str(), missing.c_str());
            return 1;
        }
        Measure(*route, rows, rounds);
    }
    return 0;
}

}  // namespace
}  // namespace vantry::bench

int main(int argc, char** argv) {
    try {
        return vantry::bench::Main({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "route_bench: %s\n", error.what());
        return 1;
    }
}
