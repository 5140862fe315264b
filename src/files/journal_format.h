#pragma once
// The bytes of a journal, all numbers little-endian.
//
// Header, 512 bytes: 8 bytes magic, u32 block size, u32 CRC-32C of the database's first block (or
// what it has of it), u64 size of the database before the transaction, u64 nonce, u64 length up to
// which the transaction has made the database grow, zeros, u32 CRC-32C of the 508 bytes before it.
//
// Then slots of equal size (64 + block size): u64 nonce, u32 kind, u32 bytes of content, u64
// number, u32 CRC-32C of the content, zeros, u32 CRC-32C of the 60 bytes before it; then the
// content. By kind:
//   1  image: the block `number` as it was; shorter than a block only at the file's end
//   2  end of a synced batch: `number` is the count of slots before it; no content
//   3  sums of what is written over blocks: entries of u64 block and 8 x u32 CRC-32C, one for each
//      512 bytes of the block
// Version 1, without the sums of pages that were written more than once, isn't read any more.

#include "files/file.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vantry::file {

struct JournalHeader {
    bool intact = false;
    bool ours = false;  // the magic, or never written
    bool old = false;   // of version 1
    std::uint32_t block_size = 0;
    std::uint32_t first_block_sum = 0;
    std::uint64_t database_size = 0;
    std::uint64_t nonce = 0;
    std::uint64_t grown_to = 0;
};

namespace journal_format {

inline constexpr std::size_t kHeaderSize = 512;

inline constexpr std::size_t kSlotHeader = 64;
inline constexpr std::size_t kSlotKindOffset = 8;
inline constexpr std::size_t kSlotLengthOffset = 12;
inline constexpr std::size_t kSlotNumberOffset = 16;
inline constexpr std::size_t kSlotContentSumOffset = 24;
inline constexpr std::size_t kSlotSumOffset = kSlotHeader - 4;

inline constexpr std::uint32_t kImage = 1;
inline constexpr std::uint32_t kBatchEnd = 2;
inline constexpr std::uint32_t kSums = 3;

inline constexpr std::size_t kSectorSize = 512;
inline constexpr std::size_t kSectorsOfBlock = 8;
inline constexpr std::size_t kSumsEntry = 8 + 4 * kSectorsOfBlock;

using SectorSums = std::array<std::uint32_t, kSectorsOfBlock>;

// Of each 512 bytes; zeros behind the end.
SectorSums SumsOf(std::span<const std::byte> block);
// Of the bytes of the first block that a database of `size` bytes has.
std::uint32_t FirstBlockSum(const File& database, std::size_t block_size, std::uint64_t size);

}  // namespace journal_format

JournalHeader ReadJournalHeader(const File& journal);
std::array<std::byte, journal_format::kHeaderSize> BytesOf(const JournalHeader& header);

}  // namespace vantry::file
