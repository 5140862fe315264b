// Sorting is what a bulk load spends its time on. Entries are sorted by the eight bytes in which
// they begin to differ, digit by digit, leaving out digits that are the same in all; the numbers of
// records that come one after the other stay in order by themselves, as each pass keeps the order
// of equals. Only runs whose eight bytes are the same are compared in full.

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

std::uint64_t StartOf(const std::byte* at, std::size_t length) {
    std::uint64_t word = 0;
    std::memcpy(&word, at, std::min(length, sizeof word));
    return __builtin_bswap64(word);
}

std::uint64_t HashOf(ByteSpan key) {
    std::uint64_t hash = 0x9E3779B97F4A7C15U ^ key.size();
    while (!key.empty()) {
        const std::size_t length = std::min(key.size(), sizeof(std::uint64_t));
        hash = (hash ^ StartOf(key.data(), length)) * 0xD6E8FEB86659FD93U;
        hash ^= hash >> 32;
        key = key.subspan(length);
    }
    return hash;
}

void SortByDigits(std::vector<SortRoom::Item>& items, std::vector<SortRoom::Item>& others) {
    std::array<std::array<std::uint32_t, kDigitValues>, kDigits> counts{};
    for (const auto& item : items) {
        for (std::size_t digit = 0; digit < kDigits; ++digit) {
            ++counts[digit][item.start >> (8 * digit) & 0xFF];
        }
    }
    others.resize(items.size());
    for (std::size_t digit = 0; digit < kDigits; ++digit) {
        auto& places = counts[digit];
        if (places[items.front().start >> (8 * digit) & 0xFF] == items.size()) {
            continue;
        }
        std::uint32_t place = 0;
        for (auto& count : places) {
            place += std::exchange(count, place);
        }
        for (const auto& item : items) {
            others[places[item.start >> (8 * digit) & 0xFF]++] = item;
        }
        items.swap(others);
    }
}

// The entries of packed leaves, one after the other.
class PackedRun : public TreeEdits {
public:
    PackedRun(ByteSpan leaves, const TreeShape& shape) : leaves_(leaves), shape_(shape) { Load(); }
    void Next() override {
        entry_ += shape_.EntrySize();
        if (++number_ == node_.count) {
            Load();
        }
    }

private:
    void Load() {
        number_ = 0;
        entry_ = nullptr;
        if (!leaves_.empty()) {
            DecodeNode(leaves_.first(kIndexPage), shape_, node_);
            leaves_ = leaves_.subspan(kIndexPage);
            entry_ = node_.entries.data();
        }
    }

    ByteSpan leaves_;
    TreeShape shape_;
    Node node_;
    std::size_t number_ = 0;
};

// Several sorted parts as one: a heap, with the first of all entries on top.
class MergedRuns : public TreeEdits {
public:
    MergedRuns(std::span<const std::vector<std::byte>> runs,
               const EditList& rest,
               const TreeShape& shape)
        : size_(shape.EntrySize()) {
        for (const auto& run : runs) {
            parts_.push_back(std::make_unique<PackedRun>(run, shape));
        }
        parts_.push_back(std::make_unique<EditList>(rest));
        std::erase_if(parts_, [](const auto& part) { return part->Entry() == nullptr; });
        for (std::size_t k = parts_.size() / 2; k-- > 0;) {
            SiftDown(k);
        }
        Stand();
    }
    void Next() override {
        parts_.front()->Next();
        if (parts_.front()->Entry() == nullptr) {
            std::swap(parts_.front(), parts_.back());
            parts_.pop_back();
        }
        SiftDown(0);
        Stand();
    }

private:
    void Stand() { entry_ = parts_.empty() ? nullptr : parts_.front()->Entry(); }
    bool IsBefore(std::size_t left, std::size_t right) const {
        return CompareEntries(parts_[left]->Entry(), parts_[right]->Entry(), size_) < 0;
    }
    void SiftDown(std::size_t at) {
        for (std::size_t child = 2 * at + 1; child < parts_.size(); child = 2 * at + 1) {
            child += child + 1 < parts_.size() && IsBefore(child + 1, child) ? 1 : 0;
            if (!IsBefore(child, at)) {
                return;
            }
            std::swap(parts_[at], parts_[child]);
            at = child;
        }
    }

    std::size_t size_;
    std::vector<std::unique_ptr<TreeEdits>> parts_;
};

}  // namespace

void EntryBatch::Add(ByteSpan key, RecordNumber record, bool removal) {
    const std::size_t size = shape_.EntrySize();
    const std::size_t at = count_ * size;
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

// How many bytes all entries begin with.
std::size_t EntryBatch::CommonStart() const {
    std::size_t common = shape_.EntrySize();
    for (std::size_t k = 1; k < count_ && common > 0; ++k) {
        const auto* const entry = Entry(k);
        if (std::memcmp(entries_.data(), entry, common) != 0) {
            common = static_cast<std::size_t>(
                std::mismatch(entry, entry + common, entries_.data()).first - entry);
        }
    }
    return common;
}

void EntryBatch::SortItems(SortRoom& room) const {
    const std::size_t size = shape_.EntrySize();
    const std::size_t skipped = CommonStart();
    auto& items = room.items;
    items.resize(count_);
    for (std::size_t k = 0; k < count_; ++k) {
        items[k] = {StartOf(Entry(k) + skipped, size - skipped), static_cast<std::uint32_t>(k)};
    }
    if (count_ > kFewEntries) {
        SortByDigits(items, room.others);
    } else {
        std::stable_sort(items.begin(), items.end(), [](const auto& left, const auto& right) {
            return left.start < right.start;
        });
    }
    const std::size_t rest = skipped + sizeof(std::uint64_t);
    if (rest >= size) {
        return;
    }
    const auto less = [&](const SortRoom::Item& left, const SortRoom::Item& right) {
        return std::memcmp(Entry(left.number) + rest, Entry(right.number) + rest, size - rest) < 0;
    };
    for (auto first = items.begin(); first != items.end();) {
        auto behind = first + 1;
        bool sorted = true;
        while (behind != items.end() && behind->start == first->start) {
            sorted = sorted && !less(*behind, *(behind - 1));
            ++behind;
        }
        if (!sorted) {
            std::stable_sort(first, behind, less);
        }
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
    packer.Pack(room.entries, shape_, true);
    auto& run = runs_.emplace_back(packer.Leaves() * kIndexPage);
    for (std::size_t k = 0; k < packer.Leaves(); ++k) {
        packer.Encode(k, std::span(run).subspan(k * kIndexPage, kIndexPage));
    }
    packed_bytes_ += run.size();
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
    return std::make_unique<MergedRuns>(runs_, SortedList(room), shape_);
}

}  // namespace vantry::foxpro
