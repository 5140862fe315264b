// A table or a container with its memo file, as files of a folder in memory, read whole and
// verified.

#include "data/data_error.h"
#include "drivers/foxpro/container/container.h"
#include "drivers/foxpro/verify/verify.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>

namespace {

using namespace vantry;

const std::filesystem::path& Folder() {
    static const std::filesystem::path folder = [] {
        std::string pattern = "/dev/shm/foxpro-fuzz-XXXXXX";
        return std::filesystem::path(mkdtemp(pattern.data()));
    }();
    return folder;
}

void Put(const std::string& name, std::span<const std::uint8_t> bytes) {
    std::ofstream(Folder() / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3) {
        return 0;
    }
    const bool is_container = (data[0] & 1U) != 0;
    const std::size_t memo = std::min<std::size_t>(data[1] + 256U * data[2], size - 3);
    const std::span<const std::uint8_t> bytes(data + 3, size - 3);
    const std::string table = is_container ? "t.dbc" : "t.dbf";
    Put(table, bytes.first(bytes.size() - memo));
    Put(is_container ? "t.dct" : "t.fpt", bytes.last(memo));
    const auto path = (Folder() / table).string();
    foxpro::Verify(path);
    if (is_container) {
        try {
            const foxpro::Container container(path, {});
            static_cast<void>(container.Views());
            static_cast<void>(container.Tables());
        } catch (const DataError&) {
        }
    }
    return 0;
}
