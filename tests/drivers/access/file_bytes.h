#pragma once
// A database file in memory, for damaging it.

#include "drivers/access/read_everything.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace vantry::test {

class FileBytes {
public:
    explicit FileBytes(const std::filesystem::path& path) {
        std::ifstream in(path, std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(in), {}};
        bytes.resize(content.size());
        std::memcpy(bytes.data(), content.data(), content.size());
    }

    explicit FileBytes(std::vector<std::byte> content) : bytes(std::move(content)) {}

    // Throws DataError if the header is no good.
    std::unique_ptr<access::MemoryPageSource> Open() const { return OpenBytes(bytes); }

    void Save(const std::filesystem::path& path) const {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }

    template <typename Number>
    Number Get(std::size_t offset) const {
        Number number;
        std::memcpy(&number, bytes.data() + offset, sizeof(number));
        return number;
    }
    template <typename Number>
    void Put(std::size_t offset, Number number) {
        std::memcpy(bytes.data() + offset, &number, sizeof(number));
    }
    std::byte& At(access::PageNumber page, std::size_t offset) {
        return bytes.at(std::size_t{page} * 4096 + offset);
    }

    std::vector<std::byte> bytes;
};

}  // namespace vantry::test
