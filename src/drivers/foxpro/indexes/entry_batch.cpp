// Sorting is what a bulk load spends its time on. Entries are sorted by the eight bytes in which
// they begin to differ, digit by digit, leaving out digits that are the same in all; those whose
// eight bytes are the same by the next eight in which they differ, and so on. The numbers of
// records that come one after the other stay in order by themselves, as each pass keeps the order
// of equals. Easy to get wrong: an entry may come and go several times in one batch. What was said
// about it must keep its order, since only an odd number of times leaves something to do, and the
// last word says what.

#include "drivers/foxpro/indexes/entry_batch.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kDigits = 8;
constexpr std::size_t kDigitValues = 256;
constexpr std::size_t kFewEntries = 128;

std::uint64_t HashOf(ByteSpan key) {
    std::uint64_t hash = 0x9E3779B97F4A7C15U ^ key.size();
    while (!key.empty()) {
        const std::size_t length = std::min(key.size(), sizeof(std::uint64_t));
        hash = (hash ^ StartOf(key.data(), length)) * 0xD6E8FEB86659FD93U;
        // The lowest bits choose the slot, and those of a product know nothing of the bits above
        // them.
        hash ^= hash >> 32;
        key = key.subspan(length);
    }
    return hash;
}

// `others`: room for as many.
void SortByDigits(std::span<SortRoom::Item> items, std::span<SortRoom::Item> others) {
    std::array<std::array<std::uint32_t, kDigitValues>, kDigits> counts{};
    // How often a value occurs doesn't depend on the order: one pass counts for all digits.
    for (const auto& item : items) {
        for (std::size_t digit = 0; digit < kDigits; ++digit) {
            ++counts[digit][item.start >> (8 * digit) & 0xFF];
        }
    }
    bool swapped = false;
    for (std::size_t digit = 0; digit < kDigits; ++digit) {
        auto& places = counts[digit];
        if (places[items.front().start >> (8 * digit) & 0xFF] == items.size()) {
            continue;
        }
        std::uint32_t place = 0;
        for (auto& count : places) {
            // Counts become the places where the entries with each value begin.
            place += std::exchange(count, place);
        }
        for (const auto& item : items) {
            others[places[item.start >> (8 * digit) & 0xFF]++] = item;
        }
        std::swap(items, others);
        swapped = !swapped;
    }
    // The result is to be where the caller has the entries, whichever of the two was written last.
    if (swapped) {
        std::copy(items.begin(), items.end(), others.begin());
    }
}

}  // namespace

void EntryBatch::Add(ByteSpan key, RecordNumber record, bool removal) {
    const std::size_t size = shape_.EntrySize();
    const std::size_t at = count_ * size;
    // Filled up to `count_`: Clear() keeps the room for the next batch.
    if (entries_.size() < at + size) {
        entries_.resize(std::max<std::size_t>(2 * entries_.size(), 16 * size));
    }
    std::memcpy(entries_.data() + at, key.data(), shape_.key_length);
    const auto big = __builtin_bswap32(record);
    std::memcpy(entries_.data() + at + shape_.key_length, &big, sizeof big);
    if (removal && removals_.empty()) {
        removals_.resize(count_);
    }
    if (removal || !removals_.empty()) {
        removals_.push_back(removal ? 1 : 0);
    }
    ++count_;
    const bool was_in_order = in_order_;
    in_order_ = was_in_order && !removal &&
                (count_ == 1 || CompareEntries(Entry(count_ - 2), Entry(count_ - 1), size) < 0);
    if (finds_ && !in_order_) {
        for (std::size_t k = was_in_order ? 0 : count_ - 1; k < count_; ++k) {
            Remember(k);
        }
    }
}

void EntryBatch::Clear() {
    count_ = 0;
    removals_.clear();
    in_order_ = true;
    runs_.clear();
    packed_bytes_ = 0;
    if (keys_ != 0) {
        std::fill(slots_.begin(), slots_.end(), 0);
    }
    keys_ = 0;
}

// ---- By key -----------------------------------------------------------------------------------

std::size_t EntryBatch::SlotOf(ByteSpan key) const {
    std::size_t slot = HashOf(key) & (slots_.size() - 1);
    // Ends, as Remember leaves half of the slots empty at least.
    while (slots_[slot] != 0 &&
           std::memcmp(Entry(slots_[slot] - 1), key.data(), shape_.key_length) != 0) {
        slot = (slot + 1) & (slots_.size() - 1);
    }
    return slot;
}

void EntryBatch::Remember(std::size_t number) {
    if (2 * (keys_ + 1) > slots_.size()) {
        const auto former = std::exchange(
            slots_, std::vector<std::uint32_t>(std::max<std::size_t>(64, 2 * slots_.size())));
        for (const auto entry : former) {
            if (entry != 0) {
                slots_[SlotOf({Entry(entry - 1), shape_.key_length})] = entry;
            }
        }
    }
    auto& slot = slots_[SlotOf({Entry(number), shape_.key_length})];
    keys_ += slot == 0 ? 1 : 0;
    slot = static_cast<std::uint32_t>(number + 1);
}

std::optional<EntryBatch::Last> EntryBatch::FindLast(ByteSpan key) const {
    if (count_ == 0) {
        return std::nullopt;
    }
    std::size_t found = count_;
    if (in_order_) {
        const auto length = shape_.key_length;
        // Keys that come in their order are new ones as a rule, and known as such by the last
        // entry.
        if (std::memcmp(key.data(), Entry(count_ - 1), length) > 0) {
            return std::nullopt;
        }
        std::size_t low = 0;
        while (low < found) {
            const std::size_t middle = (low + found) / 2;
            if (std::memcmp(Entry(middle), key.data(), length) < 0) {
                low = middle + 1;
            } else {
                found = middle;
            }
        }
        // The last entry isn't below the key, so the search ended at one of them.
        found = std::memcmp(Entry(found), key.data(), length) == 0 ? found : count_;
    } else if (const auto entry = slots_[SlotOf(key)]; entry != 0) {
        found = entry - 1;
    }
    if (found == count_) {
        return std::nullopt;
    }
    return Last{RecordOf(Entry(found), shape_), !removals_.empty() && removals_[found] != 0};
}

// ---- In order ---------------------------------------------------------------------------------

// How many bytes all of these entries begin with, from `common` on, where all are the same before.
std::size_t EntryBatch::CommonStart(std::span<const SortRoom::Item> items,
                                    std::size_t common) const {
    const auto* const first = Entry(items.front().number);
    std::size_t end = shape_.EntrySize();
    for (const auto& item : items) {
        const auto* const entry = Entry(item.number);
        if (std::memcmp(first + common, entry + common, end - common) != 0) {
            end = static_cast<std::size_t>(
                std::mismatch(entry + common, entry + end, first + common).first - entry);
        }
    }
    return end;
}

void EntryBatch::SortItems(SortRoom& room) const {
    room.items.resize(count_);
    room.others.resize(count_);
    for (std::size_t k = 0; k < count_; ++k) {
        room.items[k].number = static_cast<std::uint32_t>(k);
    }
    SortSpan(room.items, room.others, 0);
}

// `same`: bytes in which these entries don't differ.
void EntryBatch::SortSpan(std::span<SortRoom::Item> items,
                          std::span<SortRoom::Item> others,
                          std::size_t same) const {
    const std::size_t size = shape_.EntrySize();
    const auto less = [&](const SortRoom::Item& left, const SortRoom::Item& right) {
        return std::memcmp(Entry(left.number) + same, Entry(right.number) + same, size - same) < 0;
    };
    // Entries of one key mostly stand in their order already: records come by their numbers.
    if (std::is_sorted(items.begin(), items.end(), less)) {
        return;
    }
    if (items.size() <= kFewEntries) {
        // What was said about one entry has to stay in its order: SortedList goes by the last of
        // it.
        std::stable_sort(items.begin(), items.end(), less);
        return;
    }
    same = CommonStart(items, same);
    for (auto& item : items) {
        item.start = StartOf(Entry(item.number) + same, size - same);
    }
    SortByDigits(items, others);
    same += sizeof(std::uint64_t);
    if (same >= size) {
        return;
    }
    for (std::size_t first = 0; first < items.size();) {
        std::size_t behind = first + 1;
        while (behind < items.size() && items[behind].start == items[first].start) {
            ++behind;
        }
        SortSpan(items.subspan(first, behind - first), others.subspan(first, behind - first), same);
        first = behind;
    }
}

void EntryBatch::Pack(SortRoom& room) {
    if (count_ == 0) {
        return;
    }
    SortItems(room);
    const std::size_t size = shape_.EntrySize();
    room.entries.resize(count_ * size);
    std::byte* out = room.entries.data();
    for (const auto& item : room.items) {
        std::memcpy(out, Entry(item.number), size);
        out += size;
    }
    LeafPacker packer;
    // Nothing is ever put between the entries of a run, which is read once from end to end.
    packer.Pack(room.entries, shape_, true);
    auto& leaves = room.leaves;
    leaves.resize(packer.Leaves() * kIndexPage);
    for (std::size_t k = 0; k < packer.Leaves(); ++k) {
        packer.Encode(k, std::span(leaves).subspan(k * kIndexPage, kIndexPage));
    }
    auto& run = runs_.emplace_back();
    run.size = leaves.size();
    if (const auto start = room.packed.Append(leaves)) {
        run.file = &room.packed;
        run.start = *start;
    } else {
        run.leaves = leaves;
        packed_bytes_ += leaves.size();
    }
    count_ = 0;
    in_order_ = true;
}

// Of what was said about one entry an even number of times nothing is left: it was there before, or
// it wasn't.
EditList EntryBatch::SortedList(SortRoom& room) const {
    const std::size_t size = shape_.EntrySize();
    if (in_order_) {
        return {{entries_.data(), count_ * size}, {}, shape_};
    }
    SortItems(room);
    room.entries.resize(count_ * size);
    room.removals.clear();
    std::byte* out = room.entries.data();
    if (removals_.empty()) {
        for (const auto& item : room.items) {
            std::memcpy(out, Entry(item.number), size);
            out += size;
        }
        return {room.entries, {}, shape_};
    }
    for (std::size_t first = 0; first < count_;) {
        std::size_t behind = first + 1;
        const auto* const entry = Entry(room.items[first].number);
        while (behind < count_ && std::memcmp(entry, Entry(room.items[behind].number), size) == 0) {
            ++behind;
        }
        if ((behind - first) % 2 != 0) {
            std::memcpy(out, entry, size);
            out += size;
            // An odd number of times: what was said last is what the first said, too.
            room.removals.push_back(removals_[room.items[behind - 1].number]);
        }
        first = behind;
    }
    room.entries.resize(static_cast<std::size_t>(out - room.entries.data()));
    return {room.entries, room.removals, shape_};
}

std::unique_ptr<TreeEdits> EntryBatch::Sorted(SortRoom& room) const {
    if (runs_.empty()) {
        return std::make_unique<EditList>(SortedList(room));
    }
    return MergeRuns(runs_, SortedList(room), shape_);
}

}  // namespace vantry::foxpro
