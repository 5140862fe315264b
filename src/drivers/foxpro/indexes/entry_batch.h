#pragma once
// Entries of a tag that come and go with the rows of a batch, gathered to be put into the tree in
// one go and in its order.

#include "drivers/foxpro/indexes/merged_runs.h"
#include "drivers/foxpro/indexes/tree.h"
#include "files/scratch_file.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vantry::foxpro {

// Room for sorting, used by one batch after the other, and for what they have packed.
struct SortRoom {
    explicit SortRoom(const std::string& table) : packed(table) {}

    struct Item {
        std::uint64_t start;  // the bytes of the entry in which entries differ first
        std::uint32_t number;
    };
    std::vector<Item> items;
    std::vector<Item> others;
    std::vector<std::byte> entries;
    std::vector<std::uint8_t> removals;
    std::vector<std::byte> leaves;
    file::ScratchFile packed;
};

class EntryBatch {
public:
    // `finds`: FindLast() will be asked.
    EntryBatch(const TreeShape& shape, bool finds) : shape_(shape), finds_(finds) {}

    std::size_t Count() const { return count_; }
    // In memory: as they came, and packed.
    std::size_t Bytes() const { return count_ * shape_.EntrySize(); }
    std::size_t PackedBytes() const { return packed_bytes_; }
    bool HasPacked() const { return !runs_.empty(); }
    bool IsEmpty() const { return count_ == 0 && runs_.empty(); }
    // Sorts what came and packs it as leaves are, which stay in `room` until Clear. Not for a batch
    // that finds, or has removals.
    bool CanPack() const { return !finds_ && removals_.empty(); }
    void Pack(SortRoom& room);
    // As they came, without removals and packed ones.
    bool IsInOrder() const { return in_order_ && runs_.empty(); }
    bool HasRemovals() const { return !removals_.empty(); }
    void Add(ByteSpan key, RecordNumber record, bool removal);
    void Clear();

    struct Last {
        RecordNumber record;
        bool removal;
    };
    // What was said last about the key.
    std::optional<Last> FindLast(ByteSpan key) const;

    // What is left when what came and went is taken out, in the order of the tree; partly in
    // `room`. Good until the next call of anything here.
    std::unique_ptr<TreeEdits> Sorted(SortRoom& room) const;

private:
    const std::byte* Entry(std::size_t number) const {
        return entries_.data() + number * shape_.EntrySize();
    }
    std::size_t CommonStart(std::span<const SortRoom::Item> items, std::size_t common) const;
    void SortItems(SortRoom& room) const;
    void SortSpan(std::span<SortRoom::Item> items,
                  std::span<SortRoom::Item> others,
                  std::size_t same) const;
    EditList SortedList(SortRoom& room) const;
    std::size_t SlotOf(ByteSpan key) const;
    void Remember(std::size_t number);

    TreeShape shape_;
    bool finds_;
    std::size_t count_ = 0;
    std::vector<std::byte> entries_;
    std::vector<std::uint8_t> removals_;  // empty as long as there is none
    bool in_order_ = true;
    std::vector<PackedEntries> runs_;
    std::size_t packed_bytes_ = 0;  // of them in memory
    // Hash table: number of the last entry of a key, plus one. Filled as soon as entries don't come
    // in their order any more.
    std::vector<std::uint32_t> slots_;
    std::size_t keys_ = 0;  // in it
};

}  // namespace vantry::foxpro
