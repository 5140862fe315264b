#pragma once
// One index page for changing: finding places among its entries, putting one in, and writing it
// whole. Layout of Jet 4. An entry here is key, row and, in nodes, child, as format.h says, with
// the shared prefix put back.

#include "drivers/access/format.h"
#include "drivers/access/pages/page_store.h"

#include <span>
#include <vector>

namespace vantry::access {

using IndexEntry = std::vector<std::byte>;

// ---- Entries of nodes: key and row of the greatest leaf entry below a child, and the child

IndexEntry NodeEntry(ByteSpan last, PageNumber child);
ByteSpan WithoutChild(const IndexEntry& entry);
PageNumber ChildOf(const IndexEntry& entry);

// Entries with longer keys would leave a page with a single one.
inline constexpr std::size_t kMaxIndexKey = 1700 - kLeafEntryTail;

// The order of keys: byte by byte, and one that another continues comes before it.
int CompareKeys(ByteSpan left, ByteSpan right);

class IndexPageEditor {
public:
    // Takes a page apart. Throws BoundsError. The view must stay good.
    void Load(ByteSpan page);

    bool IsLeaf() const { return leaf_; }
    std::size_t Size() const { return ends_.size(); }
    PageNumber Previous() const;
    PageNumber Next() const;
    PageNumber Tail() const;
    // The first entry that isn't below `wanted` (key and row).
    std::size_t LowerBound(ByteSpan wanted) const;
    // Replaces `out` by the whole entry.
    void CopyEntry(std::size_t entry, IndexEntry& out) const;
    // Whether the entry's key and row are `wanted`.
    bool Equals(std::size_t entry, ByteSpan wanted) const { return Compare(entry, wanted) == 0; }
    // Whether the entry's key alone is `key`.
    bool HasKey(std::size_t entry, ByteSpan key) const;
    PageNumber Child(std::size_t entry) const;  // of a node
    std::vector<IndexEntry> AllEntries() const;

    // Puts an entry at that place if it fits as things are; false if the page must be laid out
    // anew. `page` is the page that was loaded.
    bool InsertInPlace(std::span<std::byte> page, std::size_t at, ByteSpan entry);
    bool RemoveInPlace(std::span<std::byte> page, std::size_t at);

    // Whether these entries fit one page.
    static bool Fits(std::span<const IndexEntry> entries, bool leaf);
    // Writes type and entries with the longest useful prefix; siblings, owner and tail stay.
    static void Write(std::span<std::byte> page, std::span<const IndexEntry> entries, bool leaf);

private:
    std::size_t Begin(std::size_t entry) const { return entry == 0 ? 0 : ends_[entry - 1]; }
    std::size_t Trailer() const { return leaf_ ? 0 : kNodeEntryTail - kLeafEntryTail; }
    // The entry's own bytes, without the prefix that it shares.
    ByteSpan Rest(std::size_t entry) const;
    int Compare(std::size_t entry, ByteSpan wanted) const;
    void StoreLayout(std::span<std::byte> page);

    ByteSpan page_;
    ByteSpan area_;
    bool leaf_ = true;
    std::size_t prefix_ = 0;
    std::vector<std::uint16_t> ends_;
};

}  // namespace vantry::access
