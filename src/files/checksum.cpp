#include "files/checksum.h"

#include <array>
#include <cstring>

namespace vantry::file {
namespace {

using Tables = std::array<std::array<std::uint32_t, 256>, 8>;

constexpr Tables MakeTables() {
    Tables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t sum = byte;
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum >> 1) ^ ((sum & 1U) != 0 ? 0x82F63B78U : 0U);
        }
        tables[0][byte] = sum;
    }
    for (std::size_t slice = 1; slice < tables.size(); ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[slice - 1][byte];
            tables[slice][byte] = (before >> 8) ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

constexpr Tables kTables = MakeTables();

}  // namespace

std::uint32_t Crc32c(std::span<const std::byte> bytes, std::uint32_t before) {
    std::uint32_t sum = ~before;
    std::size_t at = 0;
    // Eight bytes a step by eight tables: each page of a commit is summed up, and a byte at a time
    // that would be felt. The word is read as it lies in memory, which is little-endian here.
    for (; bytes.size() - at >= 8; at += 8) {
        std::uint64_t word;
        std::memcpy(&word, bytes.data() + at, sizeof word);
        word ^= sum;
        sum = 0;
        for (std::size_t slice = 0; slice < 8; ++slice) {
            sum ^= kTables[7 - slice][(word >> (8 * slice)) & 0xFF];
        }
    }
    for (; at < bytes.size(); ++at) {
        sum = (sum >> 8) ^ kTables[0][(sum ^ std::to_integer<std::uint32_t>(bytes[at])) & 0xFF];
    }
    return ~sum;
}

}  // namespace vantry::file
