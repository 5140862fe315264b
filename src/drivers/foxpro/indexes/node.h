#pragma once
// A node of a tag's tree in memory, with its keys in full, and as the bytes of a page.
//
// An entry is the key followed by the record's number, big-endian, so that entries compare as bytes
// in the order of the tree.

#include "drivers/foxpro/indexes/cdx_format.h"

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace vantry::foxpro {

struct TreeShape {
    std::size_t key_length = 0;
    std::byte pad{};  // at the ends of keys, left out in leaves

    std::size_t EntrySize() const { return key_length + sizeof(RecordNumber); }
};

inline RecordNumber RecordOf(const std::byte* entry, const TreeShape& shape) {
    return file::LoadBigU32({entry + shape.key_length, sizeof(RecordNumber)}, 0);
}

// Less than, equal to or greater than zero, by their bytes. Most entries differ in the first eight.
inline int CompareEntries(const std::byte* left, const std::byte* right, std::size_t size) {
    if (size >= sizeof(std::uint64_t)) {
        std::uint64_t a;
        std::uint64_t b;
        std::memcpy(&a, left, sizeof a);
        std::memcpy(&b, right, sizeof b);
        if (a != b) {
            return __builtin_bswap64(a) < __builtin_bswap64(b) ? -1 : 1;
        }
    }
    return std::memcmp(left, right, size);
}

// The first eight bytes as a number that is ordered as they are; what is missing at the end counts
// as zeros.
inline std::uint64_t StartOf(const std::byte* at, std::size_t length) {
    std::uint64_t word = 0;
    if (length >= sizeof word) {
        std::memcpy(&word, at, sizeof word);
    } else {
        std::memcpy(&word, at, length);
    }
    return __builtin_bswap64(word);
}

// How many bytes are the same before the first that differs, at most `most`.
std::size_t CommonLength(const std::byte* left, const std::byte* right, std::size_t most);

struct Node {
    bool leaf = true;
    PageAddress left = kNoPage;
    PageAddress right = kNoPage;
    std::size_t count = 0;
    std::vector<std::byte> entries;     // count times the size of an entry
    std::vector<PageAddress> children;  // of an inner node: one for each entry
};

bool IsLeaf(ByteSpan page);
// Throws BoundsError for bytes that are no node.
void DecodeNode(ByteSpan page, const TreeShape& shape, Node& node);
// The child that has the entry, if the tree has it: that of the first entry not below `wanted`, or
// the last one. `size`: of what is compared, the key alone or the whole entry.
PageAddress ChildFor(ByteSpan page,
                     const TreeShape& shape,
                     const std::byte* wanted,
                     std::size_t size);

// ---- As bytes; without the mark of a root
std::size_t InnerCapacity(const TreeShape& shape);
// `entries`: as many as `children`, at most the capacity.
void EncodeInner(ByteSpan entries,
                 std::span<const PageAddress> children,
                 const TreeShape& shape,
                 std::span<std::byte> page);
// Divides entries into leaves. Those in the middle of a tree share evenly what doesn't fit into
// one, those at its end are filled up, as keys that come in their order go behind them.
class LeafPacker {
public:
    // `entries` must outlive what follows.
    void Pack(ByteSpan entries, const TreeShape& shape, bool fill_up);

    // The numbers of the first entries, and that behind the last one.
    std::span<const std::size_t> Bounds() const { return bounds_; }
    std::size_t Leaves() const { return bounds_.size() - 1; }
    void Encode(std::size_t leaf, std::span<std::byte> page) const;

private:
    struct Lengths {
        std::uint8_t dup;    // taken from the entry before
        std::uint8_t trail;  // padding at the end
    };
    void Divide(std::size_t limit);

    ByteSpan entries_;
    TreeShape shape_;
    unsigned count_bits_ = 0;
    unsigned record_bits_ = 0;
    std::size_t packed_size_ = 0;  // of an entry
    std::vector<Lengths> lengths_;
    std::vector<std::size_t> bounds_;
};

}  // namespace vantry::foxpro
