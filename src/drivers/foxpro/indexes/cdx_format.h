#pragma once
// Facts of compound indexes (.cdx, .dcx): pages, headers, nodes. All numbers are little-endian but
// for those of inner entries. Page addresses are byte offsets in the file. Unless a line says
// otherwise a fact was measured on files that the original products wrote.

#include "drivers/foxpro/table/table_layout.h"

namespace vantry::foxpro {

using PageAddress = std::uint32_t;

inline constexpr std::size_t kIndexPage = 512;
inline constexpr PageAddress kNoPage = 0xFFFFFFFF;

// ---- Header of the directory (at 0) and of each tag: two pages, the second is the pool of texts
inline constexpr std::size_t kTagHeaderSize = 2 * kIndexPage;
inline constexpr std::size_t kTagRootOffset = 0;         // u32
inline constexpr std::size_t kFreePageOffset = 4;        // u32, directory: 0 or kNoPage is none
inline constexpr std::size_t kChangeCounterOffset = 8;   // u32, directory: for engines that cache
inline constexpr std::size_t kKeyLengthOffset = 12;      // u16
inline constexpr std::size_t kTagOptionsOffset = 14;     // u8, see below
inline constexpr std::size_t kTagKindOffset = 15;        // u8, see below
inline constexpr std::size_t kTagStatisticsOffset = 16;  // to 35: zero is as good as figures
inline constexpr std::size_t kTagStatisticsSize = 20;
inline constexpr std::size_t kCollationOffset = 494;  // 8 letters, padded with zeros
inline constexpr std::size_t kCollationSize = 8;
inline constexpr std::size_t kDescendingOffset =
    502;  // u16; keys are in ascending order all the same
inline constexpr std::size_t kFilterPlaceOffset = 504;    // u16, in the pool
inline constexpr std::size_t kFilterLengthOffset = 506;   // u16, with the zero behind it
inline constexpr std::size_t kKeyPlaceOffset = 508;       // u16
inline constexpr std::size_t kKeyTextLengthOffset = 510;  // u16
inline constexpr std::size_t kPoolSize = kIndexPage;

inline constexpr std::uint8_t kTagUnique = 0x01;    // an entry for the first record of a key alone
inline constexpr std::uint8_t kTagNullable = 0x02;  // keys have a prefix: 0x80, or 0 in NULL's
inline constexpr std::uint8_t kTagCandidate = 0x04;
inline constexpr std::uint8_t kTagFilter = 0x08;
inline constexpr std::uint8_t kTagCompact = 0x20;
inline constexpr std::uint8_t kTagCompound = 0x40;
inline constexpr std::uint8_t kTagDirectory = 0x80;

inline constexpr std::uint8_t kKindMachine = 1;    // 0 in files of another engine
inline constexpr std::uint8_t kKindCollation = 2;  // texts are in the order of kCollationOffset
inline constexpr std::uint8_t kKindBitmap = 5;     // BINARY: no tree at all

inline constexpr std::size_t kTagNameLength = 10;
inline constexpr std::size_t kMaxKeyLength = 240;
inline constexpr std::byte kNullablePrefix{0x80};

// ---- Nodes
inline constexpr std::size_t kNodeAttributes = 0;  // u16; bits above these: ignored
inline constexpr std::size_t kNodeCount = 2;       // u16
inline constexpr std::size_t kNodeLeft = 4;        // u32, kNoPage is none; on every level
inline constexpr std::size_t kNodeRight = 8;       // u32
inline constexpr std::uint16_t kNodeIsRoot = 1;
inline constexpr std::uint16_t kNodeIsLeaf = 2;

// Inner: key, record and child, the latter two u32 big-endian. The entry is the last one below the
// child.
inline constexpr std::size_t kInnerEntries = 12;
inline constexpr std::size_t kInnerTail = 8;

// Leaf: entries from the front, keys from the end of the page backwards. An entry has, from its
// lowest bit: the record, the bytes taken from the key before, the bytes of padding at the end.
inline constexpr std::size_t kLeafFree = 12;        // u16, bytes
inline constexpr std::size_t kLeafRecordMask = 14;  // u32
inline constexpr std::size_t kLeafDupMask = 18;     // u8
inline constexpr std::size_t kLeafTrailMask = 19;   // u8
inline constexpr std::size_t kLeafRecordBits = 20;  // u8
inline constexpr std::size_t kLeafDupBits = 21;     // u8
inline constexpr std::size_t kLeafTrailBits = 22;   // u8
inline constexpr std::size_t kLeafEntrySize = 23;   // u8, bytes
inline constexpr std::size_t kLeafEntries = 24;
inline constexpr std::size_t kLeafRoom = kIndexPage - kLeafEntries;

// A free page begins with the address of the next one. (From independent libraries.)
inline constexpr std::size_t kNextFreePage = 0;

}  // namespace vantry::foxpro
