// Texts and bytes of kept rows are packed into blocks, because a hundred thousand small allocations
// cost more than reading the rows did; a large value gets a block of its own. Rows by id are found
// in one of two ways: each by a seek, or all by one walk, which engines read ahead for. Easy to get
// wrong: blocks never move, since cells look into them, and the same id may be wished for at
// several places.

#include "drivers/sql/run/row_store.h"

#include "drivers/sql/errors.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace vantry::sql {
namespace {

constexpr std::size_t kBlockBytes = 256 * 1024;
constexpr std::size_t kNoRow = static_cast<std::size_t>(-1);
constexpr std::size_t kGone = static_cast<std::size_t>(-2);
// A walk over so many rows costs about as much as finding one by its id.
constexpr std::int64_t kRowsPerSeek = 100;
constexpr std::size_t kFewRows = 500;

}  // namespace

void RowStore::Clear() {
    ids_.clear();
    cells_.clear();
    blocks_.clear();
    block_left_ = 0;
    bytes_ = 0;
}

void RowStore::Add(RowId id, std::span<const Cell> cells) {
    ids_.push_back(id);
    // Only these three kinds look at bytes elsewhere; the others are their own value.
    for (const auto& cell : cells.first(columns_)) {
        switch (cell.Kind()) {
            case ValueKind::Text:
                cells_.push_back(Cell::Text(Keep(cell.AsText())));
                break;
            case ValueKind::NumberText:
                cells_.push_back(Cell::NumberText(Keep(cell.AsText())));
                break;
            case ValueKind::Bytes: {
                const auto kept = Keep(cell.AsText());
                cells_.push_back(Cell::Bytes(std::as_bytes(std::span(kept.data(), kept.size()))));
                break;
            }
            default:
                cells_.push_back(cell);
        }
    }
    bytes_ += sizeof(RowId) + columns_ * sizeof(Cell);
}

std::string_view RowStore::Keep(std::string_view bytes) {
    if (bytes.empty()) {
        return {};
    }
    bytes_ += bytes.size();
    // In a shared block it would waste the rest of the one before.
    if (bytes.size() > kBlockBytes / 4) {
        auto own = std::make_unique_for_overwrite<char[]>(bytes.size());
        std::memcpy(own.get(), bytes.data(), bytes.size());
        const std::string_view kept(own.get(), bytes.size());
        blocks_.push_back(std::move(own));
        return kept;
    }
    if (block_left_ < bytes.size()) {
        blocks_.push_back(std::make_unique_for_overwrite<char[]>(kBlockBytes));
        block_at_ = blocks_.back().get();
        block_left_ = kBlockBytes;
    }
    std::memcpy(block_at_, bytes.data(), bytes.size());
    const std::string_view kept(block_at_, bytes.size());
    block_at_ += bytes.size();
    block_left_ -= bytes.size();
    return kept;
}

RowFetcher::RowFetcher(std::shared_ptr<StoredTable> table, std::vector<std::size_t> columns)
    : table_(std::move(table)), columns_(std::move(columns)), store_(columns_.size()) {}

void RowFetcher::Fetch(std::span<const std::optional<RowId>> ids) {
    store_.Clear();
    wishes_.clear();
    rows_.assign(ids.size(), kNoRow);
    for (std::size_t place = 0; place < ids.size(); ++place) {
        if (ids[place]) {
            wishes_.push_back({*ids[place], place});
            rows_[place] = kGone;
        }
    }
    std::sort(wishes_.begin(), wishes_.end(), [](const Wish& left, const Wish& right) {
        return left.id < right.id;
    });
    // Counting rows costs something, too: not for a handful.
    if (wishes_.size() > kFewRows) {
        if (!table_rows_) {
            table_rows_ = table_->CountRows();
        }
        if (static_cast<std::int64_t>(wishes_.size()) * kRowsPerSeek > *table_rows_) {
            return WalkTable();
        }
    }
    SeekEach();
}

RowFetcher::Wishes::const_iterator RowFetcher::Keep(Wishes::const_iterator first,
                                                    const TableScan& scan) {
    const auto id = first->id;
    for (; first != wishes_.end() && first->id == id; ++first) {
        rows_[first->place] = store_.Size();
    }
    store_.Add(id, scan.Row());
    return first;
}

void RowFetcher::SeekEach() {
    if (!by_id_) {
        by_id_ = table_->Scan(columns_);
    }
    for (auto wish = wishes_.cbegin(); wish != wishes_.cend();) {
        if (by_id_->Seek(wish->id)) {
            wish = Keep(wish, *by_id_);
        } else {
            ++wish;
        }
    }
}

// Engines mostly give ids in ascending order: the wish to look for is then the next one.
void RowFetcher::WalkTable() {
    const auto scan = table_->Scan(columns_);
    auto next = wishes_.cbegin();
    RowId last = std::numeric_limits<RowId>::min();
    while (scan->Next()) {
        const auto id = scan->CurrentRow();
        if (id < last) {
            next = std::lower_bound(
                wishes_.cbegin(), wishes_.cend(), id, [](const Wish& wish, RowId wanted) {
                    return wish.id < wanted;
                });
        }
        last = id;
        while (next != wishes_.cend() && next->id < id) {
            ++next;
        }
        if (next != wishes_.cend() && next->id == id) {
            next = Keep(next, *scan);
        }
    }
}

std::span<const Cell> RowFetcher::RowOf(std::size_t place) const {
    const auto row = rows_[place];
    if (row == kGone) {
        throw RowGone(table_->Name());
    }
    return row == kNoRow ? std::span<const Cell>() : store_.RowAt(row);
}

DataError RowFetcher::FieldError(RowId id, std::size_t position) {
    if (!by_id_) {
        by_id_ = table_->Scan(columns_);
    }
    if (!by_id_->Seek(id)) {
        return {kErrConversion, "The value can't be read."};
    }
    return by_id_->FieldError(position);
}

}  // namespace vantry::sql
