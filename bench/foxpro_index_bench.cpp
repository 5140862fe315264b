// foxpro_index_bench [ROWS [ROUNDS]]: loads the orders into a FoxPro table with five tags, and into
// one without, by turns, and prints the ratio of the two times and the peak of memory with tags.
// Each load has a process of its own and begins when the disk has what the one before wrote, and
// that is gone again. The table of the last round is verified. "own" is the CPU time of the thread
// that loads: what the load takes at least where the second thread has a core to itself.

#include "data/driver.h"
#include "drivers/foxpro/driver.h"
#include "drivers/foxpro/verify/verify.h"
#include "orders_data.h"
#include "support/temp_dir.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantry::bench {
namespace {

struct Times {
    double wall = 0;
    double cpu = 0;
    double own = 0;   // of the thread
    double peak = 0;  // MiB
};

double CpuSeconds(int whose) {
    rusage usage{};
    ::getrusage(whose, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Of the process since the last call of ForgetPeak, in MiB.
double PeakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return static_cast<double>(std::atoll(line.c_str() + 6)) / 1024;
        }
    }
    return 0;
}

void ForgetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

Times Load(const std::filesystem::path& folder, std::int64_t rows, bool tags) {
    const auto connection = foxpro::MakeFoxProDriver()->Connect(ConnectionString::Parse(
        "Provider=vfpoledb.1;Data Source=" + folder.string() + ";CodePage=1252"));
    connection->Execute(
        "CREATE TABLE orders (id I NOT NULL, customer C(40) NOT NULL, city C(30) NOT NULL, price "
        "N(11,2) NOT NULL, qty I NOT NULL, ordered T NOT NULL, shipped L NOT NULL, note C(100))");
    if (tags) {
        connection->Execute("CREATE UNIQUE INDEX id ON orders (id)");
        for (const auto* const field : {"customer", "city", "price", "ordered"}) {
            connection->Execute(std::string("CREATE INDEX ") + field + " ON orders (" + field +
                                ")");
        }
    }
    ForgetPeak();
    const auto start = std::chrono::steady_clock::now();
    const double cpu = CpuSeconds(RUSAGE_SELF);
    const double own = CpuSeconds(RUSAGE_THREAD);
    const auto insert = connection->Prepare("INSERT INTO orders VALUES (?,?,?,?,?,?,?,?)", {});
    Order order;
    std::vector<Cell> row(kColumns);
    for (std::int64_t id = 1; id <= rows; ++id) {
        MakeOrder(id, order);
        row[0] = Cell::Int64(order.id);
        row[1] = Cell::Text(order.customer);
        row[2] = Cell::Text(order.city);
        row[3] = Cell::FromDecimal({order.cents, 2});
        row[4] = Cell::Int64(order.qty);
        row[5] = Cell::FromDateTime(
            {36526 + static_cast<std::int32_t>(id * 7919 % 9000),
             (order.hour * 3600 + order.minute * 60 + order.second) * kNanosPerSecond});
        row[6] = Cell::Boolean(order.shipped);
        row[7] = order.note ? Cell::Text(*order.note) : Cell::Null();
        insert->Execute(row);
    }
    connection->Settle();
    return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
            CpuSeconds(RUSAGE_SELF) - cpu,
            CpuSeconds(RUSAGE_THREAD) - own,
            PeakMemory()};
}

Times LoadInChild(const std::filesystem::path& folder, std::int64_t rows, bool tags) {
    std::filesystem::create_directory(folder);
    ::sync();
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        throw std::runtime_error("no pipe to be had");
    }
    const pid_t child = ::fork();
    if (child == 0) {
        const auto times = Load(folder, rows, tags);
        ::_exit(::write(ends[1], &times, sizeof times) == sizeof times ? 0 : 1);
    }
    ::close(ends[1]);
    Times times;
    const bool whole = ::read(ends[0], &times, sizeof times) == sizeof times;
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    if (!whole) {
        throw std::runtime_error("the load failed");
    }
    return times;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

bool IsRight(const std::filesystem::path& table) {
    const auto findings = foxpro::Verify(table.string());
    for (const auto& finding : findings) {
        std::puts(finding.c_str());
    }
    return findings.empty();
}

int Run(std::int64_t rows, int rounds) {
    UseLetters(Letters::Windows1252);
    std::vector<double> wall;
    std::vector<double> cpu;
    std::vector<double> own;
    std::vector<double> peak;
    std::puts(
        "round      rows  plain_s  (cpu)   tags_s  (cpu)  (own)   ratio  (cpu)  (own)  peak_MiB");
    for (int round = 1; round <= rounds; ++round) {
        const test::TempDir folder;
        const auto plain = folder / "plain";
        const auto tagged = folder / "tagged";
        const bool tags_first = round % 2 == 0;
        bool right = true;
        const auto load_tagged = [&] {
            const auto times = LoadInChild(tagged, rows, true);
            right = round != rounds || IsRight(tagged / "orders.dbf");
            // Whose files are still there leaves the next load memory that was never used, which
            // costs a virtual machine more than loading.
            std::filesystem::remove_all(tagged);
            return times;
        };
        auto with = tags_first ? load_tagged() : Times();
        const auto without = LoadInChild(plain, rows, false);
        std::filesystem::remove_all(plain);
        if (!tags_first) {
            with = load_tagged();
        }
        wall.push_back(with.wall / without.wall);
        cpu.push_back(with.cpu / without.cpu);
        own.push_back(with.own / without.own);
        peak.push_back(with.peak);
        std::printf("%5d %9lld %8.3f %6.3f %8.3f %6.3f %6.3f %7.2f %6.2f %6.2f %9.1f\n",
                    round,
                    static_cast<long long>(rows),
                    without.wall,
                    without.cpu,
                    with.wall,
                    with.cpu,
                    with.own,
                    wall.back(),
                    cpu.back(),
                    own.back(),
                    peak.back());
        std::fflush(stdout);
        if (!right) {
            return 1;
        }
    }
    std::printf("median %49s %7.2f %6.2f %6.2f %9.1f\n",
                "",
                Median(wall),
                Median(cpu),
                Median(own),
                Median(peak));
    return 0;
}

}  // namespace
}  // namespace vantry::bench

int main(int argc, char** argv) {
    try {
        return vantry::bench::Run(argc > 1 ? std::atoll(argv[1]) : 1'000'000,
                                  argc > 2 ? std::max(std::atoi(argv[2]), 1) : 5);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "foxpro_index_bench: %s\n", error.what());
        return 1;
    }
}
