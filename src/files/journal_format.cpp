#include "files/journal_format.h"

#include "files/checked_bytes.h"
#include "files/checksum.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace vantry::file {
namespace {

constexpr std::array<char, 8> kMagic = {'V', 'y', 'J', 'r', 'n', 'l', '2', '\n'};
constexpr std::array<char, 8> kOldMagic = {'V', 'y', 'J', 'r', 'n', 'l', '1', '\n'};
constexpr std::size_t kBlockSizeOffset = 8;
constexpr std::size_t kFirstBlockOffset = 12;
constexpr std::size_t kDatabaseSizeOffset = 16;
constexpr std::size_t kNonceOffset = 24;
constexpr std::size_t kGrownOffset = 32;
constexpr std::size_t kHeaderSumOffset = journal_format::kHeaderSize - 4;

}  // namespace

namespace journal_format {

SectorSums SumsOf(std::span<const std::byte> block) {
    SectorSums sums{};
    for (std::size_t sector = 0; sector < sums.size() && sector * kSectorSize < block.size();
         ++sector) {
        const std::size_t at = sector * kSectorSize;
        sums[sector] = Crc32c(block.subspan(at, std::min(kSectorSize, block.size() - at)));
    }
    return sums;
}

std::uint32_t FirstBlockSum(const File& database, std::size_t block_size, std::uint64_t size) {
    std::vector<std::byte> block(std::min<std::uint64_t>(block_size, size));
    return Crc32c(std::span(block).first(database.Read(0, block)));
}

}  // namespace journal_format

JournalHeader ReadJournalHeader(const File& journal) {
    std::array<std::byte, journal_format::kHeaderSize> bytes{};
    const std::size_t got = journal.Read(0, bytes);
    JournalHeader header;
    const auto begins_with = [&](const std::array<char, 8>& magic) {
        return std::memcmp(bytes.data(), magic.data(), std::min(magic.size(), got)) == 0;
    };
    const bool blank =
        std::all_of(bytes.begin(), bytes.end(), [](std::byte byte) { return byte == std::byte{}; });
    // Zeros and a cut header are ours, too: a power failure may leave the length of a file without
    // its content.
    header.ours = begins_with(kMagic) || blank;
    header.old = !header.ours && begins_with(kOldMagic);
    header.intact =
        got == bytes.size() && header.ours &&
        LoadU32(bytes, kHeaderSumOffset) == Crc32c(std::span(bytes).first(kHeaderSumOffset));
    header.block_size = LoadU32(bytes, kBlockSizeOffset);
    header.first_block_sum = LoadU32(bytes, kFirstBlockOffset);
    header.database_size = LoadU64(bytes, kDatabaseSizeOffset);
    header.nonce = LoadU64(bytes, kNonceOffset);
    header.grown_to = LoadU64(bytes, kGrownOffset);
    return header;
}

std::array<std::byte, journal_format::kHeaderSize> BytesOf(const JournalHeader& header) {
    std::array<std::byte, journal_format::kHeaderSize> bytes{};
    std::memcpy(bytes.data(), kMagic.data(), kMagic.size());
    Store(bytes, kBlockSizeOffset, header.block_size);
    Store(bytes, kFirstBlockOffset, header.first_block_sum);
    Store(bytes, kDatabaseSizeOffset, header.database_size);
    Store(bytes, kNonceOffset, header.nonce);
    Store(bytes, kGrownOffset, header.grown_to);
    Store(bytes, kHeaderSumOffset, Crc32c(std::span(bytes).first(kHeaderSumOffset)));
    return bytes;
}

}  // namespace vantry::file
