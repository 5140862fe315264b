#pragma once
// Index pages and the walk through an index in the order of its keys.

#include "drivers/access/catalogue/table_def.h"

#include <optional>
#include <vector>

namespace vantry::access {

// One index page taken apart: each key whole, the shared prefix put back.
class IndexPage {
public:
    // Throws BoundsError. The entries are copies.
    void Parse(const Layout& layout, ByteSpan page);

    bool IsLeaf() const { return leaf_; }
    std::size_t Size() const { return entries_.size(); }
    // The column keys alone, without row and child.
    ByteSpan Key(std::size_t entry) const;
    RowPointer Row(std::size_t entry) const { return entries_[entry].row; }
    PageNumber Child(std::size_t entry) const { return entries_[entry].child; }
    PageNumber Tail() const { return tail_; }
    PageNumber Previous() const { return previous_; }
    PageNumber Next() const { return next_; }
    PageNumber Owner() const { return owner_; }
    std::size_t FreeBytes() const { return free_; }
    // Bytes of the entry area that are in use.
    std::size_t UsedBytes() const { return used_; }

    // Entries' order: keys byte by byte (a prefix of another comes first), then page, then slot.
    static int Compare(ByteSpan left, RowPointer left_row, ByteSpan right, RowPointer right_row);

private:
    struct Entry {
        std::size_t offset;  // in keys_
        std::size_t length;
        RowPointer row;
        PageNumber child;
    };
    void AddEntry(ByteSpan bytes, std::size_t tail);

    bool leaf_ = true;
    PageNumber owner_ = 0;
    PageNumber previous_ = 0;
    PageNumber next_ = 0;
    PageNumber tail_ = 0;
    std::size_t prefix_ = 0;
    std::size_t free_ = 0;
    std::size_t used_ = 0;
    std::vector<Entry> entries_;
    std::vector<std::byte> keys_;
};

class IndexReader {
public:
    // `source`, `def` and `index` must outlive it.
    IndexReader(PageSource& source, const TableDef& def, const RealIndex& index)
        : source_(&source), def_(&def), index_(&index), pages_(source, 4) {}

    // Stands before the first entry whose key isn't below `key`; Next() reads it.
    void Seek(ByteSpan key);
    void SeekFirst() { Seek({}); }
    // False behind the last entry. Throws DataError for damage.
    bool Next();
    ByteSpan Key() const { return page_.Key(entry_); }
    RowPointer Row() const { return page_.Row(entry_); }

private:
    void Load(PageNumber page);

    PageSource* source_;
    const TableDef* def_;
    const RealIndex* index_;
    PageReader pages_;
    IndexPage page_;
    PageNumber page_number_ = 0;
    std::size_t next_entry_ = 0;
    std::size_t entry_ = 0;
    std::uint64_t steps_ = 0;
};

}  // namespace vantry::access
