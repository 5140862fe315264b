// Leaves hold keys as differences: what a key has in common with the one before it, and the padding
// at its end, are counts. The common part never reaches into the padding of the key before: readers
// that keep keys without their padding would make other bytes of it. A leaf's entries have the
// fewest bytes into which the numbers of its records fit.

#include "drivers/foxpro/indexes/node.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t);

std::size_t InnerEntrySize(const TreeShape& shape) {
    return shape.key_length + kInnerTail;
}

void DecodeInner(ByteSpan page, const TreeShape& shape, Node& node) {
    const std::size_t size = InnerEntrySize(shape);
    // Slice throws if the page is too small for them, so nothing below looks behind it.
    const auto all = file::Slice(page, kInnerEntries, node.count * size);
    node.entries.resize(node.count * shape.EntrySize());
    node.children.resize(node.count);
    for (std::size_t k = 0; k < node.count; ++k) {
        std::memcpy(
            node.entries.data() + k * shape.EntrySize(), all.data() + k * size, shape.EntrySize());
        node.children[k] = file::LoadBigU32(all, k * size + shape.EntrySize());
    }
}

void DecodeLeaf(ByteSpan page, const TreeShape& shape, Node& node) {
    const unsigned record_bits = file::LoadU8(page, kLeafRecordBits);
    const unsigned dup_bits = file::LoadU8(page, kLeafDupBits);
    const unsigned trail_bits = file::LoadU8(page, kLeafTrailBits);
    const std::size_t packed = file::LoadU8(page, kLeafEntrySize);
    node.children.clear();
    node.entries.resize(node.count * shape.EntrySize());
    // The widths of a leaf without entries describe nothing, and aren't looked at.
    if (node.count == 0) {
        return;
    }
    if (packed == 0 || packed > kWord || record_bits + dup_bits + trail_bits != 8 * packed ||
        dup_bits > 8 || trail_bits > 8) {
        throw file::BoundsError();
    }
    // For its check alone: that the table of entries ends inside of the page.
    file::Slice(page, kLeafEntries, node.count * packed);
    const std::size_t keys_start = kLeafEntries + node.count * packed;
    // Both bound the record's number; the smaller one keeps the bits of the counts out of it.
    const std::uint64_t record_mask =
        std::min<std::uint64_t>(file::LoadU32(page, kLeafRecordMask),
                                record_bits >= 32 ? UINT32_MAX : (1ULL << record_bits) - 1);
    std::size_t at = kIndexPage;  // where the last stored key begins
    std::byte* out = node.entries.data();
    for (std::size_t k = 0; k < node.count; ++k, out += shape.EntrySize()) {
        const std::size_t place = kLeafEntries + k * packed;
        std::uint64_t word = 0;
        // The last entry may end with the page, behind which nothing may be read.
        std::memcpy(&word, page.data() + place, std::min(kWord, kIndexPage - place));
        if (packed < kWord) {
            word &= (1ULL << 8 * packed) - 1;
        }
        const auto record = static_cast<RecordNumber>(word & record_mask);
        word = record_bits >= 64 ? 0 : word >> record_bits;
        const std::size_t dup = word & ((1U << dup_bits) - 1);
        const std::size_t trail = word >> dup_bits;
        if (dup + trail > shape.key_length || (k == 0 && dup != 0)) {
            throw file::BoundsError();
        }
        const std::size_t stored = shape.key_length - dup - trail;
        // `at` is never below the keys' start, so this can't wrap.
        if (stored > at - keys_start) {
            throw file::BoundsError();
        }
        at -= stored;
        if (dup != 0) {
            std::memcpy(out, out - shape.EntrySize(), dup);
        }
        std::memcpy(out + dup, page.data() + at, stored);
        std::memset(out + dup + stored, std::to_integer<int>(shape.pad), trail);
        const auto big = __builtin_bswap32(record);
        std::memcpy(out + shape.key_length, &big, sizeof big);
    }
}

std::size_t TrailOf(const std::byte* key, const TreeShape& shape) {
    const std::uint64_t pads = 0x0101010101010101U * std::to_integer<std::uint64_t>(shape.pad);
    std::size_t used = shape.key_length;
    for (; used >= kWord; used -= kWord) {
        std::uint64_t word;
        std::memcpy(&word, key + used - kWord, kWord);
        if (word != pads) {
            // The page's bytes become a little-endian word: what stands last is highest.
            used -= static_cast<std::size_t>(std::countl_zero(word ^ pads)) / 8;
            return shape.key_length - used;
        }
    }
    while (used > 0 && key[used - 1] == shape.pad) {
        --used;
    }
    return shape.key_length - used;
}

}  // namespace

std::size_t CommonLength(const std::byte* left, const std::byte* right, std::size_t most) {
    std::size_t at = 0;
    for (; at + kWord <= most; at += kWord) {
        std::uint64_t a;
        std::uint64_t b;
        std::memcpy(&a, left + at, kWord);
        std::memcpy(&b, right + at, kWord);
        if (a != b) {
            // What stands first is lowest in a little-endian word.
            return at + static_cast<std::size_t>(std::countr_zero(a ^ b)) / 8;
        }
    }
    while (at < most && left[at] == right[at]) {
        ++at;
    }
    return at;
}

bool IsLeaf(ByteSpan page) {
    return (file::LoadU16(page, kNodeAttributes) & kNodeIsLeaf) != 0;
}

void DecodeNode(ByteSpan page, const TreeShape& shape, Node& node) {
    node.leaf = IsLeaf(page);
    node.count = file::LoadU16(page, kNodeCount);
    node.left = file::LoadU32(page, kNodeLeft);
    node.right = file::LoadU32(page, kNodeRight);
    // Before room is made: an entry has at least a byte, so no page holds more.
    if (node.count > kIndexPage) {
        throw file::BoundsError();
    }
    if (node.leaf) {
        DecodeLeaf(page, shape, node);
    } else {
        DecodeInner(page, shape, node);
    }
}

PageAddress ChildFor(ByteSpan page,
                     const TreeShape& shape,
                     const std::byte* wanted,
                     std::size_t size) {
    const std::size_t entry = InnerEntrySize(shape);
    const std::size_t count = file::LoadU16(page, kNodeCount);
    if (count == 0) {
        throw file::BoundsError();
    }
    const auto all = file::Slice(page, kInnerEntries, count * entry);
    std::size_t low = 0;
    std::size_t high = count - 1;
    while (low < high) {
        const std::size_t middle = (low + high) / 2;
        if (std::memcmp(all.data() + middle * entry, wanted, size) < 0) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return file::LoadBigU32(all, low * entry + shape.EntrySize());
}

std::size_t InnerCapacity(const TreeShape& shape) {
    return (kIndexPage - kInnerEntries) / InnerEntrySize(shape);
}

void EncodeInner(ByteSpan entries,
                 std::span<const PageAddress> children,
                 const TreeShape& shape,
                 std::span<std::byte> page) {
    const std::size_t size = InnerEntrySize(shape);
    file::Store(page, kNodeAttributes, std::uint16_t{0});
    file::Store(page, kNodeCount, static_cast<std::uint16_t>(children.size()));
    std::fill(page.begin() + kInnerEntries, page.end(), std::byte{0});
    for (std::size_t k = 0; k < children.size(); ++k) {
        const auto out = page.subspan(kInnerEntries + k * size, size);
        std::memcpy(out.data(), entries.data() + k * shape.EntrySize(), shape.EntrySize());
        file::StoreBigU32(out, shape.EntrySize(), children[k]);
    }
}

void LeafPacker::Pack(ByteSpan entries, const TreeShape& shape, bool fill_up) {
    entries_ = entries;
    shape_ = shape;
    // Room for counts up to the whole key, and no more: what FoxPro chooses, too.
    count_bits_ = static_cast<unsigned>(std::bit_width(shape.key_length));
    const std::size_t size = shape.EntrySize();
    const std::size_t count = entries.size() / size;
    lengths_.resize(count);
    RecordNumber largest = 1;
    std::size_t total = 0;
    std::size_t used_before = 0;
    for (std::size_t k = 0; k < count; ++k) {
        const auto* const entry = entries.data() + k * size;
        const std::size_t trail = TrailOf(entry, shape);
        const std::size_t used = shape.key_length - trail;
        const std::size_t dup =
            k == 0 ? 0 : CommonLength(entry - size, entry, std::min(used, used_before));
        lengths_[k] = {static_cast<std::uint8_t>(dup), static_cast<std::uint8_t>(trail)};
        total += used - dup;
        used_before = used;
        largest = std::max(largest, RecordOf(entry, shape));
    }
    const unsigned needed = 2 * count_bits_ + static_cast<unsigned>(std::bit_width(largest));
    packed_size_ = (needed + 7) / 8;
    record_bits_ = static_cast<unsigned>(8 * packed_size_) - 2 * count_bits_;
    Divide(kLeafRoom);
    if (Leaves() > 1 && !fill_up) {
        // The first entry of each leaf has no other to share with: room for that is left.
        Divide(
            std::min(kLeafRoom,
                     (total + count * packed_size_) / Leaves() + packed_size_ + shape.key_length));
    }
}

void LeafPacker::Divide(std::size_t limit) {
    bounds_.assign(1, 0);
    std::size_t used = 0;
    for (std::size_t k = 0; k < lengths_.size(); ++k) {
        const std::size_t whole = packed_size_ + shape_.key_length - lengths_[k].trail;
        if (used != 0 && used + whole - lengths_[k].dup > limit) {
            bounds_.push_back(k);
            used = 0;
        }
        used += used == 0 ? whole : whole - lengths_[k].dup;
    }
    bounds_.push_back(lengths_.size());
}

void LeafPacker::Encode(std::size_t leaf, std::span<std::byte> page) const {
    const std::size_t first = bounds_[leaf];
    const std::size_t count = bounds_[leaf + 1] - first;
    const std::size_t size = shape_.EntrySize();
    const auto mask = static_cast<std::uint8_t>((1U << count_bits_) - 1);
    // The links before this belong to LinkChain, which may have set them.
    std::fill(page.begin() + kLeafFree, page.end(), std::byte{0});
    std::size_t at = kIndexPage;
    for (std::size_t k = 0; k < count; ++k) {
        const auto* const entry = entries_.data() + (first + k) * size;
        const std::size_t dup = k == 0 ? 0 : lengths_[first + k].dup;
        const std::size_t trail = lengths_[first + k].trail;
        const std::size_t stored = shape_.key_length - dup - trail;
        at -= stored;
        std::memcpy(page.data() + at, entry + dup, stored);
        const std::uint64_t word = RecordOf(entry, shape_) | std::uint64_t{dup} << record_bits_ |
                                   std::uint64_t{trail} << (record_bits_ + count_bits_);
        std::memcpy(page.data() + kLeafEntries + k * packed_size_, &word, packed_size_);
    }
    file::Store(page, kNodeAttributes, kNodeIsLeaf);
    file::Store(page, kNodeCount, static_cast<std::uint16_t>(count));
    file::Store(
        page, kLeafFree, static_cast<std::uint16_t>(at - kLeafEntries - count * packed_size_));
    file::Store(page,
                kLeafRecordMask,
                static_cast<std::uint32_t>(
                    record_bits_ >= 32 ? UINT32_MAX : (std::uint64_t{1} << record_bits_) - 1));
    file::Store(page, kLeafDupMask, mask);
    file::Store(page, kLeafTrailMask, mask);
    file::Store(page, kLeafRecordBits, static_cast<std::uint8_t>(record_bits_));
    file::Store(page, kLeafDupBits, static_cast<std::uint8_t>(count_bits_));
    file::Store(page, kLeafTrailBits, static_cast<std::uint8_t>(count_bits_));
    file::Store(page, kLeafEntrySize, static_cast<std::uint8_t>(packed_size_));
}

}  // namespace vantry::foxpro
