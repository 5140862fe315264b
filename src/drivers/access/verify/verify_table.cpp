// One table: its pages, rows, long values, and each index entry by entry. The keys of all rows are
// made again and compared with the index, so that an entry of the wrong value shows, not only one
// out of place. Easy to get wrong: rows that were moved are found through their slot alone, and
// pages that the map of a real file lists may be another table's by now.

#include "drivers/access/errors.h"
#include "drivers/access/indexes/index_key.h"
#include "drivers/access/indexes/index_reader.h"
#include "drivers/access/rows/field.h"
#include "drivers/access/rows/row_scanner.h"
#include "drivers/access/verify/verify_pages.h"

#include <algorithm>
#include <unordered_set>

namespace vantry::access {
namespace {

std::string At(RowPointer row) {
    return "page " + std::to_string(row.page) + ", row " + std::to_string(row.row);
}

}  // namespace

class TableVerifier::Impl {
public:
    explicit Impl(TableVerifier& owner)
        : source_(*owner.source_),
          layout_(source_.GetLayout()),
          owners_(*owner.owners_),
          log_(*owner.log_),
          def_(*owner.def_),
          table_("table '" + def_.name + "'"),
          long_values_(source_) {}

    void Run() {
        CheckDefinition();
        ClaimDataPages();
        ClaimLongValuePages();
        CheckDataPages();
        CheckRows();
        for (std::size_t i = 0; i < def_.real_indexes.size(); ++i) {
            CheckIndex(i);
        }
        CheckLongValueRows();
    }

private:
    // Findings are damage. Notes are what Access itself leaves behind and no reader stumbles over,
    // such as a count that is off: files of its own have them, so that they must not make a file
    // unsound.
    void Finding(const std::string& kind, const std::string& what) {
        if (only_notes_) {
            Note(kind, what);
            return;
        }
        log_.Finding(table_ + ", " + kind, table_ + ": " + what);
    }
    void Note(const std::string& kind, const std::string& what) {
        log_.Note(table_ + ", " + kind, table_ + ": " + what);
    }
    // One broken part doesn't end the check: what can still be looked at is.
    template <typename Body>
    void Guarded(const std::string& kind, Body&& body) {
        try {
            body();
        } catch (const DataError& error) {
            Finding(kind, error.Description());
        } catch (const BoundsError&) {
            Finding(kind, kind + ": a length or offset points outside");
        }
    }

    // What ParseTableDef() lets pass because a reader can live with it.
    void CheckDefinition() {
        // Each further page begins with a head that holds nothing of the definition.
        const std::size_t size = def_.pages.size() * source_.PageSize() -
                                 (def_.pages.size() - 1) * kTdefContinuationOffset;
        if (def_.length > size) {
            Finding("definition", "its definition is longer than its pages");
        }
        std::vector<std::pair<std::size_t, std::size_t>> fixed;
        for (const auto& column : def_.columns) {
            if (column.number >= def_.max_columns) {
                Finding("definition", "column '" + column.name + "' has a number too high");
            }
            if (column.HasVariableStorage() && column.variable_index >= def_.variable_count) {
                Finding("definition", "column '" + column.name + "' has a variable index too high");
            }
            if (column.HasFixedStorage()) {
                fixed.emplace_back(column.fixed_offset, column.fixed_offset + column.length);
            }
            if (column.IsLongValue() && !column.IsCalculated() && !column.has_maps) {
                Finding("definition", "column '" + column.name + "' has no page maps");
            }
        }
        // Overlapping fields can be read, but a change of the one would change the other.
        std::sort(fixed.begin(), fixed.end());
        for (std::size_t i = 1; i < fixed.size(); ++i) {
            if (fixed[i].first < fixed[i - 1].second) {
                Finding("definition", "two columns have the same place in the fixed area");
            }
        }
    }

    // All pages of a map; its row and pages are claimed.
    std::vector<PageNumber> ClaimPages(RowPointer row, const std::string& owner) {
        UsageMap map(source_, row);
        owners_.ClaimMap(row, map, owner);
        std::vector<PageNumber> pages;
        const PageNumber count = source_.PageCount();
        for (auto page = map.Next(0); page; page = map.Next(*page + 1)) {
            owners_.Claim(*page, owner);
            if (*page >= count) {
                break;  // the further ones are behind the end, too
            }
            pages.push_back(*page);
        }
        return pages;
    }

    // A map of pages with room: they must be among `owned`.
    void CheckFreeMap(RowPointer row,
                      const std::vector<PageNumber>& owned,
                      const std::string& owner) {
        if (row.page == 0) {
            return;  // a column that got long values late may have none
        }
        UsageMap map(source_, row);
        owners_.ClaimMap(row, map, owner + " with room");
        for (auto page = map.Next(0); page; page = map.Next(*page + 1)) {
            // Sorted, because a map is walked upwards.
            if (!std::binary_search(owned.begin(), owned.end(), *page)) {
                Note("free map",
                     "page " + std::to_string(*page) + " is listed as one with room of " + owner +
                         " and isn't one of them");
            }
            if (*page >= source_.PageCount()) {
                break;
            }
        }
    }

    void ClaimDataPages() {
        const std::string owner = "the rows of " + table_;
        data_pages_ = ClaimPages(def_.owned_map, owner);
        Guarded("free map", [&] { CheckFreeMap(def_.free_map, data_pages_, owner); });
    }

    void ClaimLongValuePages() {
        for (const auto& column : def_.columns) {
            if (!column.has_maps) {
                continue;
            }
            const std::string owner =
                "the long values of " + table_ + ", column '" + column.name + "'";
            Guarded("long value maps", [&] {
                const auto pages = ClaimPages(column.owned_map, owner);
                CheckFreeMap(column.free_map, pages, owner);
                long_value_pages_.insert(pages.begin(), pages.end());
            });
        }
    }

    // Slots run downwards without overlap, and the free count fits in the gap.
    void CheckDataPage(PageReader& reader, PageNumber number, std::uint32_t owner) {
        const auto page = reader.Page(number);
        if (LoadU8(page, 0) != static_cast<std::uint8_t>(PageType::Data) ||
            LoadU32(page, kPageOwnerOffset) != owner) {
            // A map may still list a page that the engine has given to another table since; readers
            // look at the owner on the page, and so does this.
            Note("foreign pages",
                 "page " + std::to_string(number) + " is listed and isn't its own");
            return;
        }
        const std::size_t slots = CountSlots(layout_, page);
        std::size_t end = page.size();
        for (std::size_t i = 0; i < slots; ++i) {
            const auto slot = LoadU16(page, layout_.data.slots_offset + i * kSlotSize);
            const std::size_t start = slot & kSlotOffsetMask;
            // Each row ends where the one of the slot before it begins, deleted ones included.
            if (start > end || start < layout_.data.slots_offset + slots * kSlotSize) {
                Finding("slots", At({number, static_cast<RowNumber>(i)}) + ": it overlaps another");
                return;
            }
            end = start;
        }
        const std::size_t gap = end - (layout_.data.slots_offset + slots * kSlotSize);
        if (LoadU16(page, kPageFreeOffset) > gap) {
            Note("free space",
                 "page " + std::to_string(number) + " claims " +
                     std::to_string(LoadU16(page, kPageFreeOffset)) + " free bytes and has " +
                     std::to_string(gap));
        }
    }

    void CheckDataPages() {
        PageReader reader(source_);
        for (const auto page : data_pages_) {
            Guarded("slots", [&] { CheckDataPage(reader, page, def_.page); });
        }
        for (const auto page : long_value_pages_) {
            Guarded("long value slots", [&] { CheckDataPage(reader, page, kLongValueOwner); });
        }
    }

    // Every field of every row is decoded, long values to their last page.
    void CheckRows() {
        std::vector<FieldDecoder> decoders;
        for (const auto& column : def_.columns) {
            decoders.emplace_back(source_, column);
        }
        Guarded("rows", [&] {
            RowScanner scanner(source_, def_);
            while (scanner.Next()) {
                const auto pointer = scanner.Pointer();
                rows_.push_back(pointer);
                Guarded("rows", [&] { CheckRow(scanner.Row(), pointer, decoders); });
            }
        });
        std::sort(rows_.begin(), rows_.end());
        if (rows_.size() != def_.row_count) {
            Note("row count",
                 "it says " + std::to_string(def_.row_count) + " rows and has " +
                     std::to_string(rows_.size()));
        }
        // The next row would get a number that is there, and with a key be refused.
        if (largest_auto_number_ > static_cast<std::int32_t>(def_.last_auto_number)) {
            Note("AutoNumber", "its last AutoNumber is behind the values in its rows");
        }
        CheckOverflowTargets();
    }

    void CheckRow(ByteSpan bytes, RowPointer pointer, std::vector<FieldDecoder>& decoders) {
        const RowView row(def_, layout_, bytes);
        for (std::size_t i = 0; i < decoders.size(); ++i) {
            const auto& column = def_.columns[i];
            const auto stored = row.Field(column);
            if (!stored) {
                continue;
            }
            const auto cell = decoders[i].Decode(*stored);
            if (cell.Kind() == ValueKind::Unreadable) {
                Finding("fields",
                        At(pointer) + ", column '" + column.name + "': " + decoders[i].Fault());
                continue;
            }
            if (column.IsAutoNumber()) {
                largest_auto_number_ =
                    std::max(largest_auto_number_, static_cast<std::int32_t>(cell.AsInt64()));
            }
            if (column.IsLongValue()) {
                long_values_.ForEachRow(*stored, [&](RowPointer part) {
                    // Two values that share a piece: deleting the one would cut the other.
                    if (!long_value_rows_.insert(PackRowPointer(part)).second) {
                        Finding("long values", At(part) + " belongs to two long values");
                    }
                    if (!long_value_pages_.contains(part.page)) {
                        Note("long value pages",
                             "page " + std::to_string(part.page) +
                                 " holds long values and isn't in the column's map");
                        owners_.NoteUse(part.page);
                    }
                });
            }
        }
    }

    // Rows that were moved: the slot that they moved to must be passed over by scans, and each must
    // be the table's.
    void CheckOverflowTargets() {
        PageReader reader(source_);
        for (const auto pointer : rows_) {
            Guarded("moved rows", [&] {
                const auto slot = FindRow(layout_, reader.Page(pointer.page), pointer.row);
                if (!slot.overflow) {
                    return;
                }
                const auto target = UnpackRowPointer(LoadU32(slot.bytes, 0));
                if (!FindRow(layout_, reader.Page(target.page), target.row).deleted) {
                    Finding("moved rows", At(target) + ": a moved row would be read twice");
                }
                if (!std::binary_search(data_pages_.begin(), data_pages_.end(), target.page)) {
                    Finding("moved rows", At(target) + ": a moved row lies outside the table");
                }
            });
        }
    }

    // Rows of long value pages that no value refers to.
    void CheckLongValueRows() {
        PageReader reader(source_);
        for (const auto page : long_value_pages_) {
            Guarded("long values", [&] {
                const auto bytes = reader.Page(page);
                if (LoadU32(bytes, kPageOwnerOffset) != kLongValueOwner) {
                    return;
                }
                const std::size_t slots = CountSlots(layout_, bytes);
                for (std::size_t i = 0; i < std::min(slots, kMaxRowsPerPage); ++i) {
                    const RowPointer row{page, static_cast<RowNumber>(i)};
                    if (!FindRow(layout_, bytes, row.row).deleted &&
                        !long_value_rows_.contains(PackRowPointer(row))) {
                        Note("lost long values", At(row) + " belongs to no long value");
                    }
                }
            });
        }
    }

    // ---- Indexes

    struct Walk {
        const RealIndex* index;
        std::string name;
        std::vector<PageNumber> owned;
        std::vector<PageNumber> leaves;
        std::size_t visited = 0;
        int leaf_depth = -1;
        std::vector<std::byte> last_key;
        RowPointer last_row;
        bool any = false;
        std::vector<std::byte> floor_key;  // of a node's entry: all that follows is greater
        RowPointer floor_row;
        std::vector<RowPointer> rows;
    };

    std::string IndexName(std::size_t number) const {
        for (const auto& logical : def_.logical_indexes) {
            if (logical.real == number) {
                return "index '" + logical.name + "'";
            }
        }
        return "index " + std::to_string(number);
    }

    void CheckIndex(std::size_t number) {
        Walk walk;
        walk.index = &def_.real_indexes[number];
        walk.name = IndexName(number);
        const bool ignored = std::none_of(
            def_.logical_indexes.begin(), def_.logical_indexes.end(), [&](const auto& logical) {
                return logical.real == number;
            });
        if (walk.index->columns.empty() && ignored) {
            return;  // the slot of a deleted index
        }
        // Files of Access 97 are only read, and by scans alone: what looks wrong in an index of one
        // harms no reader here, and less is known of their pages.
        only_notes_ = layout_.jet3;
        Guarded(walk.name, [&] {
            walk.owned = ClaimPages(walk.index->owned_map, walk.name + " of " + table_);
            encoder_.emplace(source_.Header(), def_, *walk.index);
            finder_.emplace(source_, def_);
            WalkPage(walk, walk.index->root, 0);
            if (walk.visited != walk.owned.size()) {
                Note(walk.name, walk.name + " has pages that it doesn't use");
            }
            CheckLeafLinks(walk);
            CheckIndexRows(walk);
        });
        only_notes_ = false;
    }

    // One page of an index with all that lies below it, in the order of the keys.
    void WalkPage(Walk& walk, PageNumber number, int depth) {
        // A tree has no more pages than its map lists: who visits more goes round.
        if (depth > kMaxIndexDepth || walk.visited++ > walk.owned.size()) {
            Finding(walk.name, walk.name + " goes in a circle at page " + std::to_string(number));
            throw BoundsError();
        }
        if (!std::binary_search(walk.owned.begin(), walk.owned.end(), number)) {
            Finding(walk.name,
                    walk.name + ": page " + std::to_string(number) + " isn't in its page map");
        }
        PageReader reader(source_);
        IndexPage page;
        page.Parse(layout_, reader.Page(number));
        const auto type = static_cast<PageType>(reader.Page(number)[0]);
        if ((type != PageType::IndexLeaf && type != PageType::IndexNode) ||
            page.Owner() != def_.page) {
            Finding(walk.name, walk.name + ": page " + std::to_string(number) + " isn't its own");
            return;
        }
        if (page.UsedBytes() + page.FreeBytes() !=
            source_.PageSize() - layout_.index.entries_offset) {
            Note(walk.name + " free space",
                 walk.name + ": page " + std::to_string(number) +
                     " has a wrong count of free bytes");
        }
        if (page.IsLeaf()) {
            WalkLeaf(walk, page, number, depth);
        } else {
            WalkNode(walk, page, number, depth);
        }
    }

    // Each entry must repeat the last entry below its child; the tail has none.
    void WalkNode(Walk& walk, const IndexPage& page, PageNumber number, int depth) {
        // Readers pass through it, but another engine's deletes fail on it and lose entries.
        if (page.Size() == 0) {
            Finding(walk.name + " nodes",
                    walk.name + ": node " + std::to_string(number) +
                        " has no entry, only a last child");
        }
        for (std::size_t i = 0; i < page.Size(); ++i) {
            WalkPage(walk, page.Child(i), depth + 1);
            CheckNodeEntry(walk, page, number, i);
        }
        if (page.Tail() != 0 && (page.Size() == 0 || page.Child(page.Size() - 1) != page.Tail())) {
            WalkPage(walk, page.Tail(), depth + 1);
        }
    }

    // An entry below its child's last would hide rows. One above it, as other engines' deletes
    // leave it, leads searches right as long as all that follows is greater still.
    void CheckNodeEntry(Walk& walk, const IndexPage& page, PageNumber number, std::size_t entry) {
        const auto key = page.Key(entry);
        const auto row = page.Row(entry);
        const int order = walk.any ? IndexPage::Compare(key, row, walk.last_key, walk.last_row) : 1;
        if (order == 0) {
            return;
        }
        const std::string sentence = walk.name + ": page " + std::to_string(number) + ", entry " +
                                     std::to_string(entry) + " isn't the last entry of its child";
        if (order < 0) {
            Finding(walk.name, sentence);
            return;
        }
        Note(walk.name, sentence);
        walk.floor_key.assign(key.begin(), key.end());
        walk.floor_row = row;
    }

    void WalkLeaf(Walk& walk, const IndexPage& page, PageNumber number, int depth) {
        if (walk.leaf_depth < 0) {
            walk.leaf_depth = depth;
        } else if (walk.leaf_depth != depth) {
            // Some writers put a node's only child in its place.
            Note(walk.name, walk.name + ": its leaves aren't on one level");
        }
        walk.leaves.push_back(number);
        if (page.Size() == 0 && depth > 0) {
            Note(walk.name, walk.name + ": leaf " + std::to_string(number) + " is empty");
        }
        for (std::size_t i = 0; i < page.Size(); ++i) {
            const auto key = page.Key(i);
            const auto row = page.Row(i);
            if ((walk.any && IndexPage::Compare(walk.last_key, walk.last_row, key, row) >= 0) ||
                IndexPage::Compare(walk.floor_key, walk.floor_row, key, row) >= 0) {
                Finding(walk.name + " order",
                        walk.name + ": page " + std::to_string(number) + ", entry " +
                            std::to_string(i) + " is out of order");
            }
            const bool repeated =
                walk.any &&
                std::equal(key.begin(), key.end(), walk.last_key.begin(), walk.last_key.end());
            walk.any = true;
            walk.last_key.assign(key.begin(), key.end());
            walk.last_row = row;
            walk.rows.push_back(row);
            Guarded(walk.name, [&] { CheckEntry(walk, key, row, repeated); });
        }
    }

    // An entry against the row that it points at.
    void CheckEntry(Walk& walk, ByteSpan key, RowPointer pointer, bool repeated) {
        const auto bytes = finder_->Find(pointer);
        if (!bytes) {
            Finding(walk.name,
                    walk.name + ": an entry points at " + At(pointer) + ", which is no row");
            return;
        }
        if (!encoder_->Unsupported().empty()) {
            return;
        }
        const RowView row(def_, layout_, *bytes);
        std::vector<std::optional<ByteSpan>> fields;
        std::vector<LongValueReader> readers;
        // The fields are views of what these hold, so they must not move.
        readers.reserve(walk.index->columns.size());
        bool any_null = false;
        for (const auto& part : walk.index->columns) {
            const auto& column = def_.columns[part.position];
            auto field = row.Field(column);
            any_null = any_null || !field;
            if (field && column.IsLongValue()) {
                field = readers.emplace_back(source_).Read(*field, KeyEncoder::kMemoKeyBytes);
            }
            fields.push_back(field);
        }
        if (repeated && walk.index->IsUnique() && !any_null) {
            Finding(walk.name, walk.name + ": " + At(pointer) + " repeats a unique key");
        }
        if (any_null && walk.index->IsRequired()) {
            Finding(walk.name, walk.name + ": " + At(pointer) + " has a null in its key");
        }
        std::vector<std::byte> wanted;
        const auto result = encoder_->Encode(fields, wanted);
        if (result == KeyResult::Ok &&
            !std::equal(key.begin(), key.end(), wanted.begin(), wanted.end())) {
            Finding(walk.name,
                    walk.name + ": the entry of " + At(pointer) + " isn't the row's key");
        }
        if (result == KeyResult::NoEntry) {
            Finding(walk.name, walk.name + ": " + At(pointer) + " is all null and has an entry");
        }
    }

    // Leaves are linked in the order in which the tree has them.
    void CheckLeafLinks(const Walk& walk) {
        PageReader reader(source_);
        IndexPage page;
        for (std::size_t i = 0; i < walk.leaves.size(); ++i) {
            page.Parse(layout_, reader.Page(walk.leaves[i]));
            const PageNumber previous = i == 0 ? 0 : walk.leaves[i - 1];
            const PageNumber next = i + 1 == walk.leaves.size() ? 0 : walk.leaves[i + 1];
            if (page.Previous() != previous || page.Next() != next) {
                Finding(walk.name,
                        walk.name + ": leaf " + std::to_string(walk.leaves[i]) +
                            " is wrongly linked to its neighbours");
            }
        }
    }

    // No row twice, none that isn't there, none missing.
    void CheckIndexRows(Walk& walk) {
        std::sort(walk.rows.begin(), walk.rows.end());
        if (std::adjacent_find(walk.rows.begin(), walk.rows.end()) != walk.rows.end()) {
            Finding(walk.name, walk.name + " has a row twice");
        }
        std::vector<RowPointer> missing;
        std::set_difference(rows_.begin(),
                            rows_.end(),
                            walk.rows.begin(),
                            walk.rows.end(),
                            std::back_inserter(missing));
        if (!std::includes(rows_.begin(), rows_.end(), walk.rows.begin(), walk.rows.end())) {
            Finding(walk.name, walk.name + " has entries of rows that the table doesn't list");
        }
        for (const auto row : missing) {
            if (!walk.index->IgnoresNulls() || HasKey(walk, row)) {
                Finding(walk.name + " rows", walk.name + " lacks " + At(row));
            }
        }
    }

    bool HasKey(const Walk& walk, RowPointer pointer) {
        const auto bytes = finder_->Find(pointer);
        if (!bytes) {
            return false;
        }
        const RowView row(def_, layout_, *bytes);
        return std::any_of(
            walk.index->columns.begin(), walk.index->columns.end(), [&](const auto& part) {
                return row.Field(def_.columns[part.position]).has_value();
            });
    }

    PageSource& source_;
    const Layout& layout_;
    PageOwners& owners_;
    VerifyLog& log_;
    const TableDef& def_;
    std::string table_;
    LongValueReader long_values_;
    std::vector<PageNumber> data_pages_;
    std::set<PageNumber> long_value_pages_;
    std::unordered_set<std::uint32_t> long_value_rows_;
    std::vector<RowPointer> rows_;
    std::int32_t largest_auto_number_ = 0;
    bool only_notes_ = false;
    std::optional<KeyEncoder> encoder_;
    std::optional<RowFinder> finder_;
};

TableVerifier::TableVerifier(PageSource& source,
                             PageOwners& owners,
                             VerifyLog& log,
                             const TableDef& def)
    : source_(&source), owners_(&owners), log_(&log), def_(&def) {}

void TableVerifier::Run() {
    Impl(*this).Run();
}

}  // namespace vantry::access
