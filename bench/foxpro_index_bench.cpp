// foxpro_index_bench [ROWS]: loads the orders into a FoxPro table with five tags, and into one
// without, in one run, and prints the ratio of the two times. The table is verified afterwards.

#include "data/driver.h"
#include "drivers/foxpro/driver.h"
#include "drivers/foxpro/verify/verify.h"
#include "orders_data.h"
#include "support/temp_dir.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace vantry::bench {
namespace {

constexpr int kRounds = 5;

struct Times {
    double wall = 0;
    double cpu = 0;
};

double CpuSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
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
    const auto start = std::chrono::steady_clock::now();
    const double cpu = CpuSeconds();
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
            CpuSeconds() - cpu};
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

int Run(std::int64_t rows) {
    UseLetters(Letters::Windows1252);
    std::vector<double> wall;
    std::vector<double> cpu;
    std::puts("round      rows  plain_s  (cpu)   tags_s  (cpu)   ratio  (cpu)");
    for (int round = 1; round <= kRounds; ++round) {
        const test::TempDir folder;
        const auto plain = folder / "plain";
        const auto tagged = folder / "tagged";
        std::filesystem::create_directory(plain);
        std::filesystem::create_directory(tagged);
        const auto without = Load(plain, rows, false);
        const auto with = Load(tagged, rows, true);
        wall.push_back(with.wall / without.wall);
        cpu.push_back(with.cpu / without.cpu);
        std::printf("%5d %9lld %8.3f %6.3f %8.3f %6.3f %7.2f %6.2f\n",
                    round,
                    static_cast<long long>(rows),
                    without.wall,
                    without.cpu,
                    with.wall,
                    with.cpu,
                    wall.back(),
                    cpu.back());
        if (round == 1) {
            const auto findings = foxpro::Verify((tagged / "orders.dbf").string());
            for (const auto& finding : findings) {
                std::puts(finding.c_str());
            }
            if (!findings.empty()) {
                return 1;
            }
        }
    }
    std::printf("median %42s %7.2f %6.2f\n", "", Median(wall), Median(cpu));
    return 0;
}

}  // namespace
}  // namespace vantry::bench

int main(int argc, char** argv) {
    return vantry::bench::Run(argc > 1 ? std::atoll(argv[1]) : 1'000'000);
}
