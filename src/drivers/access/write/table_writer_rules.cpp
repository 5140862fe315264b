// What a table demands of its rows: keys, required fields, relationships; and the upkeep of its
// indexes.

#include "drivers/access/catalogue/object_catalog.h"
#include "drivers/access/errors.h"
#include "drivers/access/rows/default_value.h"
#include "drivers/access/rows/row_scanner.h"
#include "drivers/access/write/table_writer.h"
#include "drivers/access/write_errors.h"

#include <algorithm>
#include <cstring>

namespace vantry::access {
namespace {

constexpr std::string_view kRequiredProperty = "Required";
constexpr std::string_view kDefaultProperty = "DefaultValue";
// The engine allows empty texts where it is missing.
constexpr std::string_view kEmptyTextProperty = "AllowZeroLength";
constexpr std::uint8_t kReferencedSide = 1;
constexpr std::uint8_t kReferencingSide = 2;

// Where a foreign key's index stands in the other table's definition.
const RealIndex* RealIndexOf(const TableDef& def, std::uint32_t logical_number) {
    for (const LogicalIndex& logical : def.logical_indexes) {
        if (logical.number == logical_number && logical.real < def.real_indexes.size()) {
            return &def.real_indexes[logical.real];
        }
    }
    return nullptr;
}

}  // namespace

// ---- What is demanded -------------------------------------------------------------------------

void TableWriter::Prepare(TableDef def) {
    ForgetAll();
    state_ = std::make_unique<State>(*store_, std::move(def));
    FindRules();
    state_->refusal = FindRefusal();
    keep_images_ = NeedsUndo();
}

void TableWriter::ForgetAll() {
    current_ = 0;
    hint_ = 0;
    current_view_ = {};
    candidates_.clear();
    searched_ = false;
}

std::string TableWriter::NameOfIndex(std::size_t real) const {
    for (const LogicalIndex& logical : state_->def.logical_indexes) {
        if (logical.real == real && logical.kind != kForeignKeyIndex) {
            return logical.name;
        }
    }
    for (const LogicalIndex& logical : state_->def.logical_indexes) {
        if (logical.real == real) {
            return logical.name;
        }
    }
    return std::to_string(real);
}

void TableWriter::FindRules() {
    State& state = *state_;
    const TableDef& def = state.def;
    for (std::size_t column = 0; column < def.columns.size(); ++column) {
        const ColumnDef& each = def.columns[column];
        if (each.IsAutoNumber()) {
            state.auto_numbers.push_back(column);
        } else if (each.IsAutoGuid()) {
            state.auto_guids.push_back(column);
        }
        const Property* const required = FindProperty(properties_, each.name, kRequiredProperty);
        const bool automatic = each.IsAutoNumber() || each.IsAutoGuid();
        if (!automatic && each.type != ColumnType::Boolean && required != nullptr &&
            !required->value.empty() && required->value[0] != std::byte{}) {
            state.required.push_back(column);
        }
        const Property* const empty = FindProperty(properties_, each.name, kEmptyTextProperty);
        if (each.IsText() && empty != nullptr && !empty->value.empty() &&
            empty->value[0] == std::byte{}) {
            state.never_empty.push_back(column);
        }
        const Property* const value = FindProperty(properties_, each.name, kDefaultProperty);
        if (!automatic && value != nullptr && !value->value.empty()) {
            std::string text = TextCoding(store_->Header()).Name(value->value);
            if (each.type == ColumnType::Guid && IsNewGuid(text)) {
                state.auto_guids.push_back(column);
                continue;
            }
            state.defaults.push_back({column, std::move(text)});
        }
    }
    for (std::size_t real = 0; real < def.real_indexes.size(); ++real) {
        const RealIndex& index = def.real_indexes[real];
        std::string name = NameOfIndex(real);
        std::string title = "index '" + name + "' of table '" + def.name + "'";
        state.indexes.push_back({.real = &index,
                                 .name = std::move(name),
                                 .encoder = KeyEncoder(store_->Header(), def, index),
                                 .writer = IndexWriter(*store_, def.page, index, title)});
    }
    for (const LogicalIndex& logical : def.logical_indexes) {
        if (logical.kind == kForeignKeyIndex && logical.other_table != 0) {
            AddRelation(logical);
        }
    }
}

void TableWriter::AddRelation(const LogicalIndex& logical) {
    const TableDef& def = state_->def;
    if (logical.real >= def.real_indexes.size() ||
        (logical.relation_side != kReferencedSide && logical.relation_side != kReferencingSide)) {
        return;
    }
    Relation relation;
    relation.is_child = logical.relation_side == kReferencingSide;
    relation.own_index = logical.real;
    relation.self = logical.other_table == def.page;
    ObjectCatalog catalog(*store_);
    std::string other_name = "?";
    for (const CatalogObject& object : catalog.Objects()) {
        if (object.IsTable() && object.TablePage() == logical.other_table) {
            other_name = object.name;
        }
    }
    relation.name = relation.is_child ? logical.name : other_name;
    relation.other =
        std::make_unique<TableDef>(ReadTableDef(*store_, logical.other_table, other_name));
    const RealIndex* const other = RealIndexOf(*relation.other, logical.other_index);
    if (other == nullptr ||
        other->columns.size() != def.real_indexes[logical.real].columns.size()) {
        state_->refusal = "its relationship '" + logical.name + "' with table '" + other_name +
                          "' can't be followed";
        return;
    }
    relation.encoder = std::make_unique<KeyEncoder>(store_->Header(), *relation.other, *other);
    relation.writer = std::make_unique<IndexWriter>(
        *store_, relation.other->page, *other, "an index of table '" + other_name + "'");
    if (!relation.encoder->Unsupported().empty()) {
        state_->refusal = "its relationship with table '" + other_name +
                          "' can't be checked, because " + relation.encoder->Unsupported();
    }
    state_->relations.push_back(std::move(relation));
}

// Why the table can't be changed without harm.
std::string TableWriter::FindRefusal() const {
    if (!state_->refusal.empty()) {
        return state_->refusal;
    }
    if (state_->def.HasCalculatedColumns()) {
        return "it has calculated columns, whose formulas only Access itself works out";
    }
    if (state_->def.HasComplexColumns()) {
        return "it has columns with several values a row (attachments or lists), which only Access "
               "itself can write";
    }
    for (const Index& index : state_->indexes) {
        if (!index.encoder.Unsupported().empty()) {
            return "its index '" + index.name + "' can't be kept up, because " +
                   index.encoder.Unsupported() +
                   ". Remove the index in Access, or write into another table";
        }
    }
    return {};
}

// ---- Keys -------------------------------------------------------------------------------------

template <typename FieldOf>
const TableWriter::Fields& TableWriter::FieldsOf(const RealIndex& index, FieldOf&& field_of) {
    key_fields_.clear();
    for (const IndexColumn& column : index.columns) {
        key_fields_.push_back(field_of(column.position));
    }
    return key_fields_;
}

namespace {

bool AnyNull(std::span<const std::optional<ByteSpan>> fields) {
    return std::any_of(
        fields.begin(), fields.end(), [](const auto& field) { return !field.has_value(); });
}
bool AllNull(std::span<const std::optional<ByteSpan>> fields) {
    return std::none_of(
        fields.begin(), fields.end(), [](const auto& field) { return field.has_value(); });
}

}  // namespace

bool TableWriter::MakeKey(const KeyEncoder& encoder,
                          const std::string& index,
                          const Fields& fields,
                          std::vector<std::byte>& key) const {
    switch (encoder.Encode(fields, key)) {
        case KeyResult::Ok:
            return true;
        case KeyResult::NoEntry:
            return false;
        case KeyResult::UnknownCharacter:
            throw CannotChangeTable(
                state_->def.name,
                "a text of the row has a character whose place in the order of index '" + index +
                    "' isn't known. Leave the character out, or remove the index");
        case KeyResult::UnknownForm:
            break;
    }
    throw CannotChangeTable(state_->def.name,
                            "a value of the row can't be a key of index '" + index + "'");
}

// `kept`: the fields of a row being changed that stay as they are stored; MakeOldKeys() comes
// before, and has read the texts of those that lie on other pages.
void TableWriter::MakeNewKeys(std::span<const RowEncoder::StoredField> kept) {
    State& state = *state_;
    const auto field_of = [&](std::size_t column) -> std::optional<ByteSpan> {
        const bool stored = !kept.empty() && kept[column].given && !kept[column].is_null;
        return stored && state.def.columns[column].IsLongValue() ? ByteSpan(memo_keys_[column])
                                                                 : state.encoder.KeyField(column);
    };
    for (Index& index : state.indexes) {
        const Fields& fields = FieldsOf(*index.real, field_of);
        index.has_null = AnyNull(fields);
        index.all_null = AllNull(fields);
        index.has_entry = MakeKey(index.encoder, index.name, fields, index.key);
    }
    for (Relation& relation : state.relations) {
        const Index& own = state.indexes[relation.own_index];
        if (relation.is_child && !own.has_null) {
            MakeKey(*relation.encoder, relation.name, FieldsOf(*own.real, field_of), relation.key);
        }
    }
}

// What a stored row has for a key. The text of a Memo is kept: a key may have several of them.
std::optional<ByteSpan> TableWriter::StoredKeyField(const RowView& row,
                                                    std::size_t column,
                                                    LongValueReader& reader) {
    const ColumnDef& def = state_->def.columns[column];
    const auto field = row.Field(def);
    if (!field || !def.IsLongValue()) {
        return field;
    }
    const ByteSpan text = reader.Read(*field, KeyEncoder::kMemoKeyBytes);
    memo_keys_.resize(state_->def.columns.size());
    memo_keys_[column].assign(text.begin(), text.end());
    return ByteSpan(memo_keys_[column]);
}

void TableWriter::MakeOldKeys(ByteSpan stored) {
    State& state = *state_;
    WithPage(store_->Name(), state.def.page, "a row of the table is damaged", [&] {
        const RowView view(state.def, store_->GetLayout(), stored);
        LongValueReader reader(*store_);
        const auto field_of = [&](std::size_t column) {
            return StoredKeyField(view, column, reader);
        };
        for (Index& index : state.indexes) {
            const Fields& fields = FieldsOf(*index.real, field_of);
            index.had_null = AnyNull(fields);
            index.had_entry = MakeKey(index.encoder, index.name, fields, index.old_key);
        }
        for (Relation& relation : state.relations) {
            const Index& own = state.indexes[relation.own_index];
            if (!relation.is_child && !own.had_null) {
                MakeKey(*relation.encoder,
                        relation.name,
                        FieldsOf(*own.real, field_of),
                        relation.old_key);
            }
        }
    });
}

void TableWriter::CheckLength(const Index& index) const {
    if (index.key.size() > kMaxIndexKey) {
        throw CannotChangeTable(
            state_->def.name,
            "the key of a row in its index '" + index.name + "' has " +
                std::to_string(index.key.size()) + " bytes, and an index takes at most " +
                std::to_string(kMaxIndexKey) + ". Shorten the row's texts, or remove the index");
    }
}

void TableWriter::CheckNewKeys(bool updating) {
    for (Index& index : state_->indexes) {
        index.changes = !updating || index.has_entry != index.had_entry ||
                        (index.has_entry && index.key != index.old_key);
        if (index.changes && index.has_entry) {
            CheckLength(index);
        }
        if (index.real->IsRequired() && index.has_null) {
            throw KeyIsNull(state_->def.name, index.name);
        }
        if (index.changes && index.has_entry && index.real->IsUnique() && !index.all_null &&
            index.writer.Find(index.key)) {
            throw DuplicateKey(state_->def.name, index.name);
        }
    }
}

void TableWriter::CheckParents(bool updating) {
    for (Relation& relation : state_->relations) {
        const Index& own = state_->indexes[relation.own_index];
        if (!relation.is_child || own.has_null || (updating && !own.changes) ||
            relation.writer->Find(relation.key)) {
            continue;
        }
        // A row of a table that refers to itself may refer to the very row.
        const bool refers_to_itself =
            relation.self &&
            std::any_of(state_->indexes.begin(), state_->indexes.end(), [&](const Index& index) {
                return index.has_entry && index.real->IsUnique() && index.key == relation.key;
            });
        if (!refers_to_itself) {
            throw NoParentRow(state_->def.name, relation.name);
        }
    }
}

void TableWriter::CheckNoChildren(bool updating) {
    for (Relation& relation : state_->relations) {
        const Index& own = state_->indexes[relation.own_index];
        if (relation.is_child || own.had_null || (updating && !own.changes)) {
            continue;
        }
        if (relation.writer->Find(relation.old_key)) {
            throw ChildRowsExist(state_->def.name, relation.name);
        }
    }
}

void TableWriter::WriteKeys(RowPointer row, bool updating) {
    for (Index& index : state_->indexes) {
        if (!index.changes) {
            continue;
        }
        if (updating && index.had_entry) {
            index.distinct_delta -= index.writer.Remove(index.old_key, row) ? 1 : 0;
        }
        if (index.has_entry) {
            index.distinct_delta += index.writer.Insert(index.key, row) ? 1 : 0;
        }
    }
}

void TableWriter::FillIndex(std::size_t position) {
    // Entries in order make compact pages; so many bytes of them are sorted at a time.
    constexpr std::size_t kSortedBytes = std::size_t{16} << 20;
    Synchronize();
    State& state = *state_;
    Index& index = state.indexes[position];
    struct Entry {
        std::size_t offset;
        std::size_t length;
        RowPointer row;
        bool unique;
    };
    std::vector<Entry> entries;
    std::vector<std::byte> keys;
    const auto flush = [&] {
        const auto key_of = [&](const Entry& entry) {
            return ByteSpan(keys).subspan(entry.offset, entry.length);
        };
        std::sort(entries.begin(), entries.end(), [&](const Entry& left, const Entry& right) {
            const int order = CompareEntries(key_of(left), key_of(right));
            return order != 0 ? order < 0 : left.row < right.row;
        });
        for (const Entry& entry : entries) {
            if (entry.unique && index.writer.Find(key_of(entry))) {
                throw DuplicateKey(state.def.name, index.name);
            }
            const bool distinct = index.writer.Insert(key_of(entry), entry.row);
            index.distinct_delta += distinct ? 1 : 0;
            store_->SafePoint();
        }
        entries.clear();
        keys.clear();
    };
    RowScanner scanner(*store_, state.def);
    LongValueReader long_values(*store_);
    while (scanner.Next()) {
        const RowView view(state.def, store_->GetLayout(), scanner.Row());
        const Fields& fields = FieldsOf(*index.real, [&](std::size_t column) {
            return StoredKeyField(view, column, long_values);
        });
        if (index.real->IsRequired() && AnyNull(fields)) {
            throw KeyIsNull(state.def.name, index.name);
        }
        const bool unique = index.real->IsUnique() && !AllNull(fields);
        if (!MakeKey(index.encoder, index.name, fields, index.key)) {
            continue;
        }
        CheckLength(index);
        entries.push_back({keys.size(), index.key.size(), scanner.Pointer(), unique});
        keys.insert(keys.end(), index.key.begin(), index.key.end());
        if (keys.size() + entries.size() * sizeof(Entry) > kSortedBytes) {
            flush();
        }
    }
    flush();
}

}  // namespace vantry::access
