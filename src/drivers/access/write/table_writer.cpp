#include "drivers/access/write/table_writer.h"

#include "drivers/access/catalogue/object_catalog.h"
#include "drivers/access/errors.h"
#include "drivers/access/rows/default_value.h"
#include "drivers/access/rows/row_scanner.h"
#include "drivers/access/write_errors.h"

#include <algorithm>
#include <cstring>

namespace vantry::access {
namespace {

constexpr std::string_view kDamage = "its list of rows runs outside";
// A page with less room is taken out of the map of pages with room.
constexpr std::size_t kLeastRoom = 64;
constexpr int kPagesToTry = 8;

}  // namespace

TableWriter::State::State(PageStore& store, TableDef definition)
    : def(std::move(definition)),
      encoder(def, def.name),
      long_values(store, def),
      owned(store, def.owned_map),
      free(store, def.free_map) {}

TableWriter::TableWriter(PageStore& store, TableDef def, std::vector<Property> properties)
    : store_(&store), properties_(std::move(properties)), random_(std::random_device{}()) {
    std::vector<PageNumber> pages;
    def_bytes_ = StableDefBytes(ReadTableDefBytes(store, def.page, pages));
    foreign_changes_ = store.ForeignChanges();
    Prepare(std::move(def));
}

TableWriter::~TableWriter() {
    if (row_delta_ != 0 || number_changed_) {
        try {
            store_->Settle();
        } catch (const std::exception&) {
            // The batch is lost, and the connection's next statement says so.
        }
    }
    store_->Forget(*this);
}

bool TableWriter::NeedsUndo() const {
    return !state_->indexes.empty() ||
           std::any_of(state_->def.columns.begin(),
                       state_->def.columns.end(),
                       [](const ColumnDef& column) { return column.IsLongValue(); });
}

// The bytes of a definition that stay the same while only rows change.
std::vector<std::byte> TableWriter::StableDefBytes(std::vector<std::byte> bytes) {
    const TdefLayout& layout = kJet4Layout.tdef;
    const std::size_t indexes = LoadU32(bytes, layout.real_index_count_offset);
    const auto blank = [&](std::size_t offset, std::size_t length) {
        if (offset + length <= bytes.size()) {
            std::memset(bytes.data() + offset, 0, length);
        }
    };
    blank(layout.row_count_offset, 4);
    blank(layout.auto_number_offset, 4);
    blank(kTdefComplexNumberOffset, 4);
    blank(layout.index_counts_offset, indexes * layout.index_count_size);
    return bytes;
}

// At the first call in a transaction: finds out whether the table is as it was.
void TableWriter::Synchronize() {
    if (transaction_ == store_->TransactionNumber()) {
        return;
    }
    std::vector<PageNumber> pages;
    auto bytes = ReadTableDefBytes(*store_, state_->def.page, pages);
    const std::uint32_t number = LoadU32(bytes, kJet4Layout.tdef.auto_number_offset);
    bytes = StableDefBytes(std::move(bytes));
    if (bytes != def_bytes_ || foreign_changes_ != store_->ForeignChanges()) {
        ObjectCatalog catalog(*store_);
        const CatalogObject* const object = catalog.Find(state_->def.name);
        if (object == nullptr || !object->IsTable() || object->TablePage() != state_->def.page) {
            throw TableMissing(state_->def.name);
        }
        properties_ = catalog.ReadProperties(*object);
        Prepare(catalog.ReadTable(*object));
        def_bytes_ = std::move(bytes);
        foreign_changes_ = store_->ForeignChanges();
    }
    transaction_ = store_->TransactionNumber();
    store_->Remember(*this);
    row_delta_ = 0;
    last_number_ = number;
    number_changed_ = false;
    hint_ = current_ != 0 ? current_ : hint_;
    ForgetPage();
    for (Index& index : state_->indexes) {
        index.distinct_delta = 0;
    }
}

void TableWriter::RequireChangeable() const {
    if (!state_->refusal.empty()) {
        throw CannotChangeTable(state_->def.name, state_->refusal);
    }
}

// ---- Rows -------------------------------------------------------------------------------------

RowPointer TableWriter::Insert(std::span<const Cell> row) {
    Synchronize();
    RequireChangeable();
    State& state = *state_;
    const auto cells = Complete(row);
    CheckRequired(cells);
    CheckEmptyTexts(cells);
    state.encoder.Encode(cells);
    if (!state.indexes.empty()) {
        MakeNewKeys();
        CheckNewKeys(false);
        CheckParents(false);
    }
    RowPointer place;
    try {
        if (state.encoder.HasLongValues()) {
            state.encoder.WriteLongValues(state.long_values);
        }
        place = Place(state.encoder.Bytes(), 0);
        if (!state.indexes.empty()) {
            WriteKeys(place, false);
        }
    } catch (...) {
        ForgetPage();
        throw;
    }
    RememberNumbers();
    ++row_delta_;
    return place;
}

void TableWriter::Update(RowPointer row,
                         std::span<const std::size_t> columns,
                         std::span<const Cell> values) {
    Synchronize();
    RequireChangeable();
    State& state = *state_;
    const Found found = Resolve(row);
    const TableDef& def = state.def;
    std::vector<RowEncoder::StoredField> given(def.columns.size());
    std::vector<Cell> cells(def.columns.size(), Cell::Null());
    std::vector<std::optional<ByteSpan>> released(def.columns.size());
    WithPage(store_->Name(), found.target.page, kDamage, [&] {
        const RowView view(def, store_->GetLayout(), found.bytes);
        for (std::size_t column = 0; column < def.columns.size(); ++column) {
            const auto field = view.Field(def.columns[column]);
            given[column] = {
                .given = true, .is_null = !field.has_value(), .bytes = field.value_or(ByteSpan())};
        }
    });
    for (std::size_t at = 0; at < columns.size(); ++at) {
        const std::size_t column = columns[at];
        if (def.columns[column].IsLongValue() && !given[column].is_null) {
            released[column] = given[column].bytes;
        }
        given[column] = {};
        cells[column] = values[at];
    }
    for (const std::size_t column : state.required) {
        if (!given[column].given && (cells[column].IsNull() || cells[column].IsUnset())) {
            throw NullNotAllowed({def.name, def.columns[column].name});
        }
    }
    CheckEmptyTexts(cells);
    state.encoder.Encode(cells, given);
    if (!state.indexes.empty()) {
        MakeOldKeys(found.bytes);
        MakeNewKeys(given);
        CheckNewKeys(true);
        CheckParents(true);
        CheckNoChildren(true);
    }
    try {
        for (std::size_t column = 0; column < released.size(); ++column) {
            if (released[column]) {
                state.long_values.Release(column, *released[column]);
            }
        }
        if (state.encoder.HasLongValues()) {
            state.encoder.WriteLongValues(state.long_values);
        }
        Rewrite(row, found.target, state.encoder.Bytes());
        if (!state.indexes.empty()) {
            WriteKeys(row, true);
        }
    } catch (...) {
        ForgetPage();
        throw;
    }
    RememberNumbers();
}

void TableWriter::Delete(RowPointer row) {
    Synchronize();
    RequireChangeable();
    State& state = *state_;
    const Found found = Resolve(row);
    if (!state.indexes.empty()) {
        MakeOldKeys(found.bytes);
        CheckNoChildren(false);
    }
    try {
        for (Index& index : state.indexes) {
            if (index.had_entry) {
                index.distinct_delta -= index.writer.Remove(index.old_key, row) ? 1 : 0;
            }
        }
        WithPage(store_->Name(), found.target.page, kDamage, [&] {
            const RowView view(state.def, store_->GetLayout(), found.bytes);
            for (std::size_t column = 0; column < state.def.columns.size(); ++column) {
                const ColumnDef& def = state.def.columns[column];
                const auto field = def.IsLongValue() ? view.Field(def) : std::nullopt;
                if (field) {
                    state.long_values.Release(column, *field);
                }
            }
        });
        if (!(found.target == row)) {
            DeleteSlot(found.target);
        }
        DeleteSlot(row);
    } catch (...) {
        ForgetPage();
        throw;
    }
    --row_delta_;
}

std::int64_t TableWriter::DeleteAll() {
    Synchronize();
    RequireChangeable();
    State& state = *state_;
    RowScanner scanner(*store_, state.def);
    if (std::any_of(state.relations.begin(), state.relations.end(), [](const Relation& relation) {
            return !relation.is_child;
        })) {
        std::vector<RowPointer> rows;
        while (scanner.Next()) {
            rows.push_back(scanner.Pointer());
        }
        for (const RowPointer row : rows) {
            Delete(row);
        }
        return static_cast<std::int64_t>(rows.size());
    }
    const std::int64_t count = scanner.CountRest();
    const PageNumber limit = store_->PageCount();
    for (auto page = state.owned.Next(0, limit); page; page = state.owned.Next(*page + 1, limit)) {
        store_->Free(*page);
    }
    state.owned.Clear();
    state.free.Clear();
    for (std::size_t column = 0; column < state.def.columns.size(); ++column) {
        if (state.def.columns[column].IsLongValue()) {
            state.long_values.Clear(column);
        }
    }
    const auto tdef = store_->Change(state.def.page);
    for (std::size_t index = 0; index < state.indexes.size(); ++index) {
        state.indexes[index].writer.Clear();
        state.indexes[index].distinct_delta = 0;
        const TdefLayout& layout = kJet4Layout.tdef;
        StoreU32(tdef,
                 layout.index_counts_offset + index * layout.index_count_size +
                     layout.distinct_count_offset,
                 0);
    }
    StoreU32(tdef, kJet4Layout.tdef.row_count_offset, 0);
    row_delta_ = 0;
    ForgetPage();
    hint_ = 0;
    return count;
}

void TableWriter::BeforeCommit() {
    if (transaction_ != store_->TransactionNumber()) {
        return;
    }
    if (current_ != 0 && !current_listed_) {
        current_listed_ = true;
        List(current_);
    }
    const TdefLayout& layout = kJet4Layout.tdef;
    const bool counts_changed =
        std::any_of(state_->indexes.begin(), state_->indexes.end(), [](const Index& index) {
            return index.distinct_delta != 0;
        });
    if (row_delta_ == 0 && !number_changed_ && !counts_changed) {
        return;
    }
    const auto tdef = store_->Change(state_->def.page);
    const auto add = [&](std::size_t offset, std::int64_t delta) {
        const std::int64_t value = std::int64_t{LoadU32(tdef, offset)} + delta;
        StoreU32(tdef, offset, static_cast<std::size_t>(std::max<std::int64_t>(value, 0)));
    };
    add(layout.row_count_offset, row_delta_);
    for (std::size_t index = 0; index < state_->indexes.size(); ++index) {
        add(layout.index_counts_offset + index * layout.index_count_size +
                layout.distinct_count_offset,
            state_->indexes[index].distinct_delta);
        state_->indexes[index].distinct_delta = 0;
    }
    if (number_changed_) {
        StoreU32(tdef, layout.auto_number_offset, last_number_);
    }
    row_delta_ = 0;
    number_changed_ = false;
}

// ---- Values that nobody gave ------------------------------------------------------------------

std::span<const Cell> TableWriter::Complete(std::span<const Cell> row) {
    const State& state = *state_;
    if (state.auto_numbers.empty() && state.auto_guids.empty() && state.defaults.empty()) {
        return row;
    }
    cells_.assign(row.begin(), row.end());
    for (const std::size_t column : state.auto_numbers) {
        if (cells_[column].IsNull() || cells_[column].IsUnset()) {
            if (last_number_ == INT32_MAX) {
                throw CannotChangeTable(
                    state.def.name,
                    "its AutoNumber values are used up: they go on from the largest one "
                    "ever stored, which was 2147483647. Give the new row a number of its "
                    "own, or copy the rows to a new table");
            }
            cells_[column] = Cell::Int64(static_cast<std::int32_t>(last_number_) + 1LL);
        }
    }
    memory_.resize(cells_.size());
    for (const std::size_t column : state.auto_guids) {
        if (cells_[column].IsNull() || cells_[column].IsUnset()) {
            std::array<std::uint64_t, 2> words{random_(), random_()};
            auto* const bytes = reinterpret_cast<unsigned char*>(words.data());
            // Version 4 in the upper half of the third group, the variant in the ninth byte.
            bytes[7] = static_cast<unsigned char>((bytes[7] & 0x0F) | 0x40);
            bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
            memory_[column].Assign(Cell::Bytes(std::as_bytes(std::span(words))));
            cells_[column] = memory_[column].AsCell();
        }
    }
    for (const DefaultValue& value : state.defaults) {
        if (cells_[value.column].IsUnset()) {
            const auto worked_out = EvaluateDefault(value.expression, memory_[value.column]);
            if (!worked_out) {
                throw DefaultNotUnderstood({state.def.name, state.def.columns[value.column].name},
                                           value.expression);
            }
            cells_[value.column] = *worked_out;
        }
    }
    return cells_;
}

void TableWriter::CheckRequired(std::span<const Cell> row) const {
    for (const std::size_t column : state_->required) {
        if (row[column].IsNull() || row[column].IsUnset()) {
            throw NullNotAllowed({state_->def.name, state_->def.columns[column].name});
        }
    }
}

void TableWriter::CheckEmptyTexts(std::span<const Cell> row) const {
    for (const std::size_t column : state_->never_empty) {
        const Cell& cell = row[column];
        if ((cell.Kind() == ValueKind::Text && cell.AsText().empty()) ||
            (cell.Kind() == ValueKind::Bytes && cell.AsBytes().empty())) {
            throw EmptyTextNotAllowed({state_->def.name, state_->def.columns[column].name});
        }
    }
}

// Numbers that were written count as handed out.
void TableWriter::RememberNumbers() {
    for (const std::size_t column : state_->auto_numbers) {
        const auto field = state_->encoder.KeyField(column);
        if (field && field->size() >= 4) {
            const auto number = static_cast<std::int32_t>(LoadU32(*field, 0));
            if (number > static_cast<std::int32_t>(last_number_)) {
                last_number_ = static_cast<std::uint32_t>(number);
                number_changed_ = true;
            }
        }
    }
}

// ---- Places -----------------------------------------------------------------------------------

DataPage TableWriter::OwnPage(PageNumber page) {
    const ByteSpan bytes = store_->Look(page);
    if (bytes[kPageTypeOffset] != std::byte{static_cast<std::uint8_t>(PageType::Data)} ||
        LoadU32(bytes, kPageOwnerOffset) != state_->def.page) {
        throw DamagedPage(
            store_->Name(), page, "it isn't a data page of table '" + state_->def.name + "'");
    }
    return DataPage(store_->Change(page));
}

void TableWriter::ForgetPage() {
    current_ = 0;
    current_view_ = {};
    candidates_.clear();
    searched_ = false;
    state_->long_values.ForgetPages();
}

// Brings the map of pages with room up to date for one page.
void TableWriter::List(PageNumber page) {
    DataPage data = OwnPage(page);
    const bool useful = data.Room() >= kLeastRoom && data.SlotCount() < kMaxRowsPerPage;
    if (useful != state_->free.Contains(page)) {
        useful ? state_->free.Add(page) : state_->free.Remove(page);
    }
    if (useful && page != current_ && searched_) {
        candidates_.push_back(page);
    }
}

void TableWriter::LeavePage() {
    if (current_ != 0) {
        const PageNumber page = current_;
        if (current_listed_ || DataPage(store_->Change(page)).Room() >= kLeastRoom) {
            List(page);
        }
        store_->Finish(page);
        current_ = 0;
    }
}

bool TableWriter::TryPage(PageNumber page, std::size_t length) {
    const ByteSpan bytes = store_->Look(page);
    if (bytes[kPageTypeOffset] != std::byte{static_cast<std::uint8_t>(PageType::Data)} ||
        LoadU32(bytes, kPageOwnerOffset) != state_->def.page || !state_->owned.Contains(page)) {
        return false;
    }
    const auto view = store_->Change(page);
    if (!DataPage(view).HasRoomFor(length)) {
        List(page);
        return false;
    }
    current_ = page;
    current_listed_ = true;
    current_view_ = view;
    view_number_ = store_->ViewNumber();
    return true;
}

// Makes a page with room the current one.
void TableWriter::FindRoom(std::size_t length) {
    LeavePage();
    const PageNumber hint = std::exchange(hint_, 0);
    if (hint != 0 && hint < store_->PageCount() && TryPage(hint, length)) {
        return;
    }
    if (!searched_) {
        searched_ = true;
        const PageNumber limit = store_->PageCount();
        for (auto page = state_->free.Next(0, limit); page;
             page = state_->free.Next(*page + 1, limit)) {
            candidates_.push_back(*page);
        }
    }
    for (int tries = 0; tries < kPagesToTry && !candidates_.empty(); ++tries) {
        const PageNumber page = candidates_.back();
        candidates_.pop_back();
        if (TryPage(page, length)) {
            return;
        }
    }
    const PageNumber page = store_->Allocate();
    state_->owned.Add(page);
    current_ = page;
    current_listed_ = false;
    current_view_ = store_->Change(page);
    view_number_ = store_->ViewNumber();
    DataPage(current_view_).Initialize(state_->def.page);
}

RowPointer TableWriter::Place(std::span<const std::byte> bytes, std::uint16_t flags) {
    return WithPage(store_->Name(), current_, kDamage, [&] {
        if (current_ != 0 && (view_number_ != store_->ViewNumber() || keep_images_)) {
            current_view_ = store_->Change(current_);
            view_number_ = store_->ViewNumber();
        }
        if (current_ == 0 || !DataPage(current_view_).HasRoomFor(bytes.size())) {
            FindRoom(bytes.size());
        }
        DataPage page(current_view_);
        const RowNumber row = page.Append(bytes.size(), flags);
        std::memcpy(page.Row(row).data(), bytes.data(), bytes.size());
        return RowPointer{current_, row};
    });
}

TableWriter::Found TableWriter::Resolve(RowPointer row) {
    const auto gone = [&] {
        return DataError(kErrUnspecified,
                         "The row of table '" + state_->def.name +
                             "' was deleted by another user or statement. Read the table again.");
    };
    return WithPage(store_->Name(), row.page, kDamage, [&] {
        OwnPage(row.page);
        const ByteSpan page = store_->Look(row.page);
        if (row.row >= CountSlots(store_->GetLayout(), page)) {
            throw gone();
        }
        RowSlot slot = FindRow(store_->GetLayout(), page, row.row);
        if (slot.deleted) {
            throw gone();
        }
        RowPointer target = row;
        for (int hops = 0; slot.overflow; ++hops) {
            if (hops == kMaxOverflowHops) {
                throw DamagedPage(store_->Name(), row.page, "a moved row has no end");
            }
            target = UnpackRowPointer(LoadU32(slot.bytes, 0));
            slot = FindRow(store_->GetLayout(), store_->Look(target.page), target.row);
        }
        return Found{target, std::vector<std::byte>(slot.bytes.begin(), slot.bytes.end())};
    });
}

bool TableWriter::RewriteInPlace(RowPointer row,
                                 std::span<const std::byte> bytes,
                                 std::uint16_t flags) {
    DataPage page = OwnPage(row.page);
    const std::size_t length = page.Row(row.row).size();
    if (bytes.size() > length && bytes.size() - length > page.Room()) {
        return false;
    }
    const auto place = page.Resize(row.row, bytes.size());
    std::memcpy(place.data(), bytes.data(), bytes.size());
    page.SetFlags(row.row, flags);
    if (row.page != current_) {
        List(row.page);
    }
    return true;
}

// Puts other bytes where `row` is found; they are at `target` so far.
void TableWriter::Rewrite(RowPointer row, RowPointer target, std::span<const std::byte> bytes) {
    WithPage(store_->Name(), row.page, kDamage, [&] {
        const bool moved = !(target == row);
        if (moved && RewriteInPlace(target, bytes, kSlotDeleted)) {
            return;
        }
        // Back to its own place if there is room now.
        if (RewriteInPlace(row, bytes, 0)) {
            if (moved) {
                DeleteSlot(target);
            }
            return;
        }
        const RowPointer fresh = Place(bytes, kSlotDeleted);
        std::array<std::byte, 4> pointer{};
        StoreU32(pointer, 0, PackRowPointer(fresh));
        if (!RewriteInPlace(row, pointer, kSlotOverflow)) {
            throw BoundsError();
        }
        if (moved) {
            DeleteSlot(target);
        }
    });
}

void TableWriter::DeleteSlot(RowPointer row) {
    WithPage(store_->Name(), row.page, kDamage, [&] {
        DataPage page = OwnPage(row.page);
        page.Delete(row.row);
        if (!page.AllDeleted()) {
            if (row.page != current_) {
                List(row.page);
            }
            return;
        }
        state_->owned.Remove(row.page);
        state_->free.Remove(row.page);
        store_->Free(row.page);
        std::erase(candidates_, row.page);
        if (current_ == row.page) {
            current_ = 0;
        }
        if (hint_ == row.page) {
            hint_ = 0;
        }
    });
}

}  // namespace vantry::access
