// Entries of a page lie side by side with no lengths; a bit mask says where each ends. All but the
// first leave out the bytes that they share with it. Common changes are made in place by moving
// bytes and rebuilding the mask; a new first entry or one that doesn't share the prefix lays the
// page out anew. Easy to get wrong: pages of other writers have prefixes that reach into the row
// pointer, so entries are put together before they are compared or cut.

#include "drivers/access/indexes/index_page_editor.h"

#include "drivers/access/pages/data_page.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace vantry::access {
namespace {

constexpr const IndexPageLayout& kLayout = kJet4Layout.index;
constexpr std::size_t kChildSize = kNodeEntryTail - kLeafEntryTail;
constexpr std::size_t kAreaSize = kJet4Layout.page_size - kLayout.entries_offset;

int CompareBytes(ByteSpan left, ByteSpan right) {
    const std::size_t common = std::min(left.size(), right.size());
    // An empty span may have no address, which memcmp must not get.
    return common == 0 ? 0 : std::memcmp(left.data(), right.data(), common);
}

std::size_t CommonPrefix(ByteSpan left, ByteSpan right) {
    const std::size_t limit = std::min(left.size(), right.size());
    std::size_t at = 0;
    while (at < limit && left[at] == right[at]) {
        ++at;
    }
    return at;
}

// Key bytes that the first and the last entry share.
std::size_t PrefixOf(std::span<const IndexEntry> entries, bool leaf) {
    if (entries.size() < 2) {
        return 0;
    }
    // Rows and children stay whole: within keys alone the prefix is easy to take off again.
    const std::size_t tail = leaf ? kLeafEntryTail : kNodeEntryTail;
    const ByteSpan first(entries.front());
    const ByteSpan last(entries.back());
    return CommonPrefix(first.first(first.size() - tail), last.first(last.size() - tail));
}

std::size_t SizeOf(std::span<const IndexEntry> entries, std::size_t prefix) {
    std::size_t size = 0;
    for (const IndexEntry& entry : entries) {
        size += entry.size();
    }
    return entries.empty() ? 0 : size - prefix * (entries.size() - 1);
}

}  // namespace

IndexEntry NodeEntry(ByteSpan last, PageNumber child) {
    IndexEntry entry(last.begin(), last.end());
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        entry.push_back(std::byte{static_cast<unsigned char>(child >> shift)});
    }
    return entry;
}

ByteSpan WithoutChild(const IndexEntry& entry) {
    return ByteSpan(entry).first(entry.size() - kChildSize);
}

PageNumber ChildOf(const IndexEntry& entry) {
    return LoadBigU32(entry, entry.size() - kChildSize);
}

int CompareKeys(ByteSpan left, ByteSpan right) {
    const int order = CompareBytes(left, right);
    if (order != 0 || left.size() == right.size()) {
        return order;
    }
    return left.size() < right.size() ? -1 : 1;
}

void IndexPageEditor::Load(ByteSpan page) {
    page_ = page;
    area_ = Slice(page, kLayout.entries_offset, kAreaSize);
    leaf_ = LoadU8(page, kPageTypeOffset) == static_cast<std::uint8_t>(PageType::IndexLeaf);
    prefix_ = LoadU16(page, kLayout.prefix_offset);
    ends_.clear();
    for (std::size_t at = 0; at < kLayout.mask_size; ++at) {
        for (auto bits = std::to_integer<unsigned>(page[kLayout.mask_offset + at]); bits != 0;
             bits &= bits - 1) {
            const std::size_t end = at * 8 + static_cast<std::size_t>(std::countr_zero(bits));
            if (end > kAreaSize) {
                throw BoundsError();
            }
            ends_.push_back(static_cast<std::uint16_t>(end));
        }
    }
    const std::size_t tail = leaf_ ? kLeafEntryTail : kNodeEntryTail;
    for (std::size_t entry = 0; entry < ends_.size(); ++entry) {
        // Ends come out of the mask in rising order, so this can't wrap.
        const std::size_t length = ends_[entry] - Begin(entry) + (entry == 0 ? 0 : prefix_);
        if (length < tail || (entry == 0 && length < prefix_)) {
            throw BoundsError();
        }
    }
}

PageNumber IndexPageEditor::Previous() const {
    return LoadU32(page_, kLayout.previous_offset);
}
PageNumber IndexPageEditor::Next() const {
    return LoadU32(page_, kLayout.next_offset);
}
PageNumber IndexPageEditor::Tail() const {
    return LoadU32(page_, kLayout.tail_offset);
}

ByteSpan IndexPageEditor::Rest(std::size_t entry) const {
    return area_.subspan(Begin(entry), ends_[entry] - Begin(entry));
}

// Of key and row against `wanted`. Keys go first: where one continues another (an empty binary),
// the shorter one's row must not be compared with the longer one's bytes. A prefix may reach behind
// the key, but never into a node's child: children differ.
int IndexPageEditor::Compare(std::size_t entry, ByteSpan wanted) const {
    const ByteSpan rest = Rest(entry);
    const std::size_t prefix = entry == 0 ? 0 : prefix_;
    const std::size_t length = prefix + rest.size() - Trailer();
    const bool alike = length == wanted.size();
    const std::size_t compared = alike ? length : std::min(length, wanted.size()) - kLeafEntryTail;
    const std::size_t shared = std::min(prefix, compared);
    int order = CompareBytes(area_.first(shared), wanted.first(shared));
    if (order == 0) {
        const std::size_t behind = compared - shared;
        order = CompareBytes(rest.first(behind), wanted.subspan(shared, behind));
    }
    if (order != 0 || alike) {
        return order;
    }
    return length < wanted.size() ? -1 : 1;
}

std::size_t IndexPageEditor::LowerBound(ByteSpan wanted) const {
    std::size_t low = 0;
    std::size_t high = ends_.size();
    while (low < high) {
        const std::size_t middle = (low + high) / 2;
        if (Compare(middle, wanted) < 0) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

void IndexPageEditor::CopyEntry(std::size_t entry, IndexEntry& out) const {
    out.clear();
    if (entry > 0) {
        out.insert(out.end(), area_.begin(), area_.begin() + static_cast<std::ptrdiff_t>(prefix_));
    }
    const ByteSpan rest = Rest(entry);
    out.insert(out.end(), rest.begin(), rest.end());
}

bool IndexPageEditor::HasKey(std::size_t entry, ByteSpan key) const {
    IndexEntry whole;
    CopyEntry(entry, whole);
    const ByteSpan own =
        ByteSpan(whole).first(whole.size() - (leaf_ ? kLeafEntryTail : kNodeEntryTail));
    return own.size() == key.size() && CompareBytes(own, key) == 0;
}

PageNumber IndexPageEditor::Child(std::size_t entry) const {
    return LoadBigU32(area_, ends_[entry] - (kNodeEntryTail - kLeafEntryTail));
}

std::vector<IndexEntry> IndexPageEditor::AllEntries() const {
    std::vector<IndexEntry> entries(ends_.size());
    for (std::size_t entry = 0; entry < entries.size(); ++entry) {
        CopyEntry(entry, entries[entry]);
    }
    return entries;
}

// The mask of ends and the count of free bytes, from the list of ends.
void IndexPageEditor::StoreLayout(std::span<std::byte> page) {
    const auto mask = page.subspan(kLayout.mask_offset, kLayout.mask_size);
    std::memset(mask.data(), 0, mask.size());
    for (const std::uint16_t end : ends_) {
        mask[end / 8] |= std::byte{static_cast<unsigned char>(1U << (end % 8))};
    }
    const std::size_t used = ends_.empty() ? 0 : ends_.back();
    StoreU16(page, kPageFreeOffset, kAreaSize - used);
}

bool IndexPageEditor::InsertInPlace(std::span<std::byte> page, std::size_t at, ByteSpan entry) {
    const std::size_t used = ends_.empty() ? 0 : ends_.back();
    // A new first entry is stored whole and takes the prefix over.
    if ((at == 0 && prefix_ > 0) || (prefix_ > 0 && entry.size() < prefix_ + kNodeEntryTail) ||
        (at > 0 && CommonPrefix(entry, area_.first(prefix_)) < prefix_)) {
        return false;
    }
    const ByteSpan rest = entry.subspan(at == 0 ? 0 : prefix_);
    if (used + rest.size() > kAreaSize) {
        return false;
    }
    const auto area = page.subspan(kLayout.entries_offset);
    const std::size_t begin = Begin(at);
    std::memmove(area.data() + begin + rest.size(), area.data() + begin, used - begin);
    std::memcpy(area.data() + begin, rest.data(), rest.size());
    // The new entry's end is its begin plus its length, and so are those behind it moved.
    const auto length = static_cast<std::uint16_t>(rest.size());
    ends_.insert(ends_.begin() + static_cast<std::ptrdiff_t>(at),
                 static_cast<std::uint16_t>(begin));
    for (std::size_t each = at; each < ends_.size(); ++each) {
        ends_[each] = static_cast<std::uint16_t>(ends_[each] + length);
    }
    StoreLayout(page);
    return true;
}

bool IndexPageEditor::RemoveInPlace(std::span<std::byte> page, std::size_t at) {
    if (at == 0 && prefix_ > 0) {
        return false;
    }
    const auto area = page.subspan(kLayout.entries_offset);
    const std::size_t used = ends_.back();
    const std::size_t begin = Begin(at);
    const std::size_t length = ends_[at] - begin;
    std::memmove(area.data() + begin, area.data() + begin + length, used - begin - length);
    std::memset(area.data() + used - length, 0, length);
    ends_.erase(ends_.begin() + static_cast<std::ptrdiff_t>(at));
    for (std::size_t each = at; each < ends_.size(); ++each) {
        ends_[each] = static_cast<std::uint16_t>(ends_[each] - length);
    }
    StoreLayout(page);
    return true;
}

// With the prefix that Write() would give them.
bool IndexPageEditor::Fits(std::span<const IndexEntry> entries, bool leaf) {
    return SizeOf(entries, PrefixOf(entries, leaf)) <= kAreaSize;
}

void IndexPageEditor::Write(std::span<std::byte> page,
                            std::span<const IndexEntry> entries,
                            bool leaf) {
    const std::size_t prefix = PrefixOf(entries, leaf);
    page[kPageTypeOffset] =
        std::byte{static_cast<std::uint8_t>(leaf ? PageType::IndexLeaf : PageType::IndexNode)};
    page[kPageMarkOffset] = std::byte{kPageMark};
    StoreU16(page, kLayout.prefix_offset, prefix);
    const auto area = page.subspan(kLayout.entries_offset);
    std::memset(area.data(), 0, area.size());
    IndexPageEditor layout;
    std::size_t used = 0;
    for (const IndexEntry& entry : entries) {
        const ByteSpan rest = ByteSpan(entry).subspan(used == 0 ? 0 : prefix);
        if (used + rest.size() > area.size()) {
            throw BoundsError();
        }
        std::memcpy(area.data() + used, rest.data(), rest.size());
        used += rest.size();
        layout.ends_.push_back(static_cast<std::uint16_t>(used));
    }
    layout.StoreLayout(page);
}

}  // namespace vantry::access
