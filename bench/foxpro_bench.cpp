// Measures what of the FoxPro engine has no peer to be compared with:
//
//     foxpro_bench open [MEBIBYTES]  opening a folder with a large table and reading its first row

#include "data/driver.h"
#include "drivers/foxpro/driver.h"
#include "support/temp_dir.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantry::bench {
namespace {

constexpr int kRounds = 9;
constexpr std::uint64_t kRecord = 1 + 4 + 200;

std::unique_ptr<DriverConnection> Connect(const std::filesystem::path& folder) {
    return foxpro::MakeFoxProDriver()->Connect(
        ConnectionString::Parse("Provider=vfpoledb.1;Data Source=" + folder.string()));
}

// One row by the engine; the others are a hole in the file, which the header counts.
void MakeLargeTable(const std::filesystem::path& folder, std::uint64_t bytes) {
    const auto connection = Connect(folder);
    connection->Execute("CREATE TABLE big (id I NOT NULL, name C(200) NOT NULL)");
    connection->Execute("INSERT INTO big VALUES (1, 'first')");
    const auto path = folder / "big.dbf";
    const auto header = std::filesystem::file_size(path) - kRecord - 1;
    const auto records = static_cast<std::uint32_t>((bytes - header) / kRecord);
    std::filesystem::resize_file(path, header + records * kRecord);
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(4);
    file.write(reinterpret_cast<const char*>(&records), sizeof records);
}

void MeasureOpen(std::uint64_t mebibytes) {
    const test::TempDir folder;
    MakeLargeTable(folder.Path(), mebibytes << 20);
    std::vector<double> millis;
    for (int round = 0; round < kRounds; ++round) {
        const auto start = std::chrono::steady_clock::now();
        const auto connection = Connect(folder.Path());
        const auto cursor = connection->OpenCursor("SELECT * FROM big");
        if (!cursor->Next() || cursor->Row()[1].AsText() != "first") {
            throw std::runtime_error("the first row isn't the one that was written");
        }
        millis.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count());
    }
    std::sort(millis.begin(), millis.end());
    std::printf("open and first row of %ju MiB: median %.2f ms, slowest %.2f ms\n",
                static_cast<std::uintmax_t>(mebibytes),
                millis[millis.size() / 2],
                millis.back());
}

}  // namespace
}  // namespace vantry::bench

int main(int count, char** arguments) {
    try {
        const int mebibytes = count > 2 ? std::atoi(arguments[2]) : 1024;
        if (count < 2 || std::string(arguments[1]) != "open" || mebibytes < 1 || mebibytes > 2047) {
            std::fputs("usage: foxpro_bench open [MEBIBYTES]\n", stderr);
            return 2;
        }
        vantry::bench::MeasureOpen(static_cast<std::uint64_t>(mebibytes));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "foxpro_bench: %s\n", error.what());
        return 1;
    }
}
