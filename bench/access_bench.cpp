// Measures what of the Access engine has no peer to be compared with:
//
//     access_bench where [ROWS]      a copy through a WHERE condition that all rows meet, against
//                                    the same copy without one
//     access_bench open [MEBIBYTES]  opening a large file and listing its tables, with the file
//                                    out of the page cache and in it
//     access_bench memo [MEBIBYTES]  a memo of that many ASCII characters there and back
//     access_bench full              fills a file to the format's limit, then verifies it

#include "data/driver.h"
#include "drivers/access/driver.h"
#include "drivers/access/verify/verify.h"
#include "orders_data.h"
#include "route_session.h"
#include "support/temp_dir.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <vector>

namespace vantry::bench {
namespace {

constexpr int kRounds = 5;
constexpr std::string_view kCondition = "qty >= -32768";

double SecondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// ---- Through a condition

struct NamedRoute {
    const char* name;
    Side source;
    Side target;
};

double RunOnce(const NamedRoute& route, const Places& places, const char* condition) {
    std::filesystem::remove_all(places.TargetFolder());
    std::filesystem::create_directory(places.TargetFolder());
    setenv("VANTRY_BENCH_WHERE", condition, 1);
    return SecondsOf([&] { RunRoute(route.source, route.target, places, {}); });
}

void MeasureWhere(std::int64_t rows) {
    const test::TempDir folder;
    const Places places(folder.Path());
    std::filesystem::create_directory(places.SourceFolder());
    std::filesystem::create_directory(places.TargetFolder());
    WriteCsv(places.SourceCsv(), rows);
    DescribeSource(places);
    FillAccess(places);
    std::filesystem::rename(places.TargetAccess(), places.SourceAccess());
    std::puts("route               rows  plain_s  where_s   ratio");
    for (const auto& route : {NamedRoute{"access-csv", Side::Access, Side::Csv},
                              NamedRoute{"csv-access", Side::Csv, Side::Access},
                              NamedRoute{"access-access", Side::Access, Side::Access}}) {
        std::vector<double> plain;
        std::vector<double> where;
        for (int round = 0; round < kRounds; ++round) {
            plain.push_back(RunOnce(route, places, ""));
            where.push_back(RunOnce(route, places, std::string(kCondition).c_str()));
            std::ifstream log(places.Log());
            const std::string text{std::istreambuf_iterator<char>(log), {}};
            if (text.find(std::to_string(rows) + " Rows Loaded") == std::string::npos) {
                throw std::runtime_error("not all rows came through the condition:\n" + text);
            }
        }
        std::printf("%-14s %9lld %8.3f %8.3f %7.2f\n",
                    route.name,
                    static_cast<long long>(rows),
                    Median(plain),
                    Median(where),
                    Median(where) / Median(plain));
    }
}

// ---- Large files

ConnectionString StringFor(const std::filesystem::path& file) {
    return ConnectionString::Parse("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" +
                                   file.string());
}

// A new file with a table of texts, filled up to that size or to the error that ends it.
std::string Fill(const std::filesystem::path& file, std::uintmax_t bytes) {
    const auto driver = access::MakeAccessDriver();
    driver->CreateDatabase(StringFor(file));
    const auto connection = driver->Connect(StringFor(file));
    for (int i = 0; i < 20; ++i) {
        connection->Execute("CREATE TABLE [table " + std::to_string(i) +
                            "] (id Long, t Text(255))");
    }
    connection->Execute("CREATE TABLE [filled] (id Long, t Text(255), m Memo)");
    const std::string text(255, 't');
    const std::string memo(60'000, 'm');
    const auto appender = connection->OpenAppender("SELECT id, t, m FROM [filled]");
    std::string error;
    try {
        for (std::int64_t id = 0; id % 1024 != 0 || std::filesystem::file_size(file) < bytes;
             ++id) {
            const Cell row[] = {
                Cell::Int64(id), Cell::Text(text), id % 64 == 0 ? Cell::Text(memo) : Cell::Null()};
            appender->Append(row);
        }
    } catch (const DataError& failure) {
        error = failure.Description();
    }
    return error;
}

double OpenAndList(const std::filesystem::path& file) {
    return SecondsOf([&] {
        const auto driver = access::MakeAccessDriver();
        if (driver->Connect(StringFor(file))->Tables().size() < 21) {
            throw std::runtime_error("tables are missing");
        }
    });
}

void MeasureOpen(std::uintmax_t mebibytes) {
    const test::TempDir folder;
    const auto file = folder / "large.accdb";
    if (const auto error = Fill(file, mebibytes << 20); !error.empty()) {
        throw std::runtime_error(error);
    }
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<double> cold;
    std::vector<double> warm;
    for (int round = 0; round < kRounds; ++round) {
        fsync(descriptor);
        posix_fadvise(descriptor, 0, 0, POSIX_FADV_DONTNEED);
        cold.push_back(OpenAndList(file));
        warm.push_back(OpenAndList(file));
    }
    close(descriptor);
    std::printf("open and list %ju MiB: %.1f ms out of the cache, %.1f ms in it\n",
                std::filesystem::file_size(file) >> 20,
                Median(cold) * 1e3,
                Median(warm) * 1e3);
}

void CopyMemo(std::size_t mebibytes) {
    const test::TempDir folder;
    const auto file = folder / "memo.accdb";
    std::string memo(mebibytes << 20, '\0');
    for (std::size_t at = 0; at < memo.size(); ++at) {
        memo[at] = static_cast<char>('a' + (at * 7 + at / 4096) % 26);
    }
    access::MakeAccessDriver()->CreateDatabase(StringFor(file));
    const double written = SecondsOf([&] {
        const auto connection = access::MakeAccessDriver()->Connect(StringFor(file));
        connection->Execute("CREATE TABLE [memos] (m Memo)");
        const Cell row[] = {Cell::Text(memo)};
        connection->OpenAppender("SELECT m FROM [memos]")->Append(row);
    });
    bool same = false;
    const double read = SecondsOf([&] {
        const auto connection = access::MakeAccessDriver()->Connect(StringFor(file));
        const auto cursor = connection->OpenCursor("SELECT m FROM [memos]");
        same = cursor->Next() && cursor->Row()[0].AsText() == memo;
    });
    const auto found = access::Verify(file.string()).Text();
    std::printf("memo of %zu MiB: written in %.2f s, read in %.2f s, %s; verify: %s\n",
                mebibytes,
                written,
                read,
                same ? "the same" : "DIFFERENT",
                found.empty() ? "sound" : found.c_str());
    std::fflush(stdout);
    constexpr std::size_t kMostOfMdbtools = 7;  // it takes lengths from 16 MiB stored on for flags
    if (mebibytes > kMostOfMdbtools) {
        std::puts("mdb-export can't read values of this length: not asked");
        return;
    }
    // It cuts values at 200,000 bytes.
    const auto exported = (folder / "memo.csv").string();
    const std::string command =
        "mdb-export -Q -H '" + file.string() + "' memos > '" + exported + "'";
    if (std::system(command.c_str()) == 0) {
        const auto theirs = folder.Read("memo.csv");
        const auto length = theirs.size() - 1;
        std::printf("mdb-export: %zu characters, %s\n",
                    length,
                    theirs == memo.substr(0, length) + "\n" ? "the same" : "DIFFERENT");
    }
}

void FillToTheLimit() {
    const test::TempDir folder;
    const auto file = folder / "full.accdb";
    std::printf("filling: %s\n", Fill(file, UINTMAX_MAX).c_str());
    std::printf("size: %ju bytes\n", std::filesystem::file_size(file));
    const auto found = access::Verify(file.string()).Text();
    std::printf("verify: %s\n", found.empty() ? "sound" : found.c_str());
    const auto connection = access::MakeAccessDriver()->Connect(StringFor(file));
    const auto cursor = connection->OpenCursor("SELECT count(*) FROM [filled]");
    cursor->Next();
    std::printf("rows: %lld\n", static_cast<long long>(cursor->Row()[0].AsInt64()));
    std::fflush(stdout);
    // What somebody else makes of it.
    const std::string count =
        "mdb-count '" + file.string() + "' filled; mdb-tables '" + file.string() + "'";
    if (std::system(count.c_str()) != 0) {
        std::puts("mdbtools can't read it");
    }
}

int Main(const std::vector<std::string>& arguments) {
    const std::string task = arguments.empty() ? "" : arguments[0];
    const auto number = [&](long long otherwise) {
        return arguments.size() > 1 ? std::atoll(arguments[1].c_str()) : otherwise;
    };
    if (task == "where" && number(1) > 0) {
        MeasureWhere(number(1'000'000));
    } else if (task == "open" && number(1) > 0) {
        MeasureOpen(static_cast<std::uintmax_t>(number(1024)));
    } else if (task == "memo" && number(1) > 0) {
        CopyMemo(static_cast<std::size_t>(number(100)));
    } else if (task == "full") {
        FillToTheLimit();
    } else {
        std::fputs(
            "usage: access_bench where [ROWS] | open [MEBIBYTES] | memo [MEBIBYTES] | full\n",
            stderr);
        return 2;
    }
    return 0;
}

}  // namespace
}  // namespace vantry::bench

int main(int argc, char** argv) {
    try {
        return vantry::bench::Main({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "access_bench: %s\n", error.what());
        return 1;
    }
}
