// Sorting is what a bulk load spends its time on. Entries are sorted by the eight bytes in which
// they begin to differ, digit by digit, leaving out digits that are the same in all; those whose
// eight bytes are the same by the next eight in which they differ, and so on. The numbers of
// records that come one after the other stay in order by themselves, as each pass keeps the order
// of equals.

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
constexpr std::size_t kReadBytes = 64 * kIndexPage;

// As a number that is ordered as the bytes are; what is missing at the end counts as zeros.
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

// The entries of packed leaves, one after the other.
class PackedRun : public TreeEdits {
public:
    PackedRun(const PackedEntries& packed, const TreeShape& shape)
        : packed_(&packed), shape_(shape) {
        Load();
    }
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
        if (leaves_.empty() && read_ < packed_->size) {
            ReadMore();
        }
        if (!leaves_.empty()) {
            DecodeNode(leaves_.first(kIndexPage), shape_, node_);
            leaves_ = leaves_.subspan(kIndexPage);
            entry_ = node_.entries.data();
        }
    }
    void ReadMore() {
        const auto length = std::min<std::uint64_t>(packed_->size - read_, kReadBytes);
        if (packed_->file != nullptr) {
            buffer_.resize(length);
            packed_->file->Read(packed_->start + read_, buffer_);
            leaves_ = buffer_;
        } else {
            leaves_ = ByteSpan(packed_->leaves).subspan(read_, length);
        }
        read_ += length;
    }

    const PackedEntries* packed_;
    TreeShape shape_;
    std::uint64_t read_ = 0;
    std::vector<std::byte> buffer_;
    ByteSpan leaves_;  // not decoded yet
    Node node_;
    std::size_t number_ = 0;
};

// Several sorted parts as one: a heap, with the first of all entries on top.
class MergedRuns : public TreeEdits {
public:
    MergedRuns(std::span<const PackedEntries> runs, const EditList& rest, const TreeShape& shape)
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
    // Often the same part has the next one, too: equal keys come in the order of their records.
    void Next() override {
        parts_.front()->Next();
        if (parts_.front()->Entry() == nullptr) {
            std::swap(parts_.front(), parts_.back());
            parts_.pop_back();
            SiftDown(0);
            Stand();
        } else if (parts_.size() > 1 && IsBefore(runner_up_, 0)) {
            std::swap(parts_.front(), parts_[runner_up_]);
            SiftDown(runner_up_);
            Stand();
        } else {
            entry_ = parts_.front()->Entry();
        }
    }

private:
    void Stand() {
        entry_ = parts_.empty() ? nullptr : parts_.front()->Entry();
        // The second of all is one of the two below the top, so a single comparison tells whether
        // the next entry of the first part is still the first.
        runner_up_ = parts_.size() > 2 && IsBefore(2, 1) ? 2 : 1;
    }
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
    std::size_t runner_up_ = 1;
    std::vector<std::unique_ptr<TreeEdits>> parts_;
};

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
    return std::make_unique<MergedRuns>(runs_, SortedList(room), shape_);
}

}  // namespace vantry::foxpro
