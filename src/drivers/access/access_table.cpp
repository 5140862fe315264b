// A table as the SQL layer sees it: the columns that Access shows, and lookups by key where an
// index can answer them. Each question looks first whether another connection or program has
// changed the file. Easy to get wrong: a lookup may give more rows than the condition asks for,
// since the layer judges each of them again, but never fewer; so it is made only where index and
// condition surely agree.

#include "drivers/access/access_table.h"

#include "data/utf.h"
#include "drivers/access/access_scan.h"
#include "drivers/access/column_info.h"
#include "drivers/access/errors.h"
#include "drivers/access/indexes/index_key.h"
#include "drivers/access/write/table_writer.h"

namespace vantry::access {
namespace {

bool SameColumns(const TableDef& left, const TableDef& right) {
    return std::equal(left.columns.begin(),
                      left.columns.end(),
                      right.columns.begin(),
                      right.columns.end(),
                      [](const ColumnDef& a, const ColumnDef& b) {
                          return a.name == b.name && a.type == b.type && a.number == b.number;
                      });
}

template <typename Number>
bool StoreInteger(std::int64_t value, std::vector<std::byte>& out) {
    const auto number = static_cast<Number>(value);
    if (number != value) {
        return false;
    }
    const auto bytes = std::as_bytes(std::span(&number, 1));
    out.assign(bytes.begin(), bytes.end());
    return true;
}

// The stored form of a value to look up; false for values whose equals an index needn't keep
// together.
bool StoreForLookup(const ColumnDef& column, const Cell& value, std::vector<std::byte>& out) {
    if (value.Kind() == ValueKind::Int64) {
        switch (column.type) {
            case ColumnType::Byte:
                return StoreInteger<std::uint8_t>(value.AsInt64(), out);
            case ColumnType::Integer:
                return StoreInteger<std::int16_t>(value.AsInt64(), out);
            case ColumnType::Long:
                return StoreInteger<std::int32_t>(value.AsInt64(), out);
            case ColumnType::BigInt:
                return StoreInteger<std::int64_t>(value.AsInt64(), out);
            default:
                return false;
        }
    }
    // Of text only what is plain: comparisons may take other letters for the same that the index
    // keeps apart.
    if (column.type == ColumnType::Text && value.Kind() == ValueKind::Text &&
        IsAscii(value.AsText())) {
        const auto text = value.AsText();
        out.clear();
        for (const char c : text) {
            out.push_back(static_cast<std::byte>(c));
            out.push_back(std::byte{0});
        }
        return true;
    }
    return false;
}

}  // namespace

AccessTable::AccessTable(std::shared_ptr<DatabaseFile> file, const CatalogObject& object)
    : file_(std::move(file)), id_(object.id) {
    version_ = file_->store->Version();
    def_ = std::make_shared<const TableDef>(file_->catalog.ReadTable(object));
    shown_ = ShownColumns(*def_);
    const auto properties = file_->catalog.ReadProperties(object);
    for (const auto position : shown_) {
        columns_.push_back(
            DescribeColumn(def_->columns[position], file_->store->GetLayout(), properties));
    }
}

AccessTable::~AccessTable() = default;

void AccessTable::Refresh() {
    file_->store->Settle();
    // The usual case, and so the only cheap one.
    if (version_ == file_->store->Version()) {
        return;
    }
    const auto* object = file_->catalog.FindId(id_);
    if (object == nullptr || !object->IsTable() || object->name != def_->name) {
        throw NoSuchTable(file_->store->Name(), def_->name);
    }
    auto def = std::make_shared<const TableDef>(file_->catalog.ReadTable(*object));
    // A statement was compiled for the columns as they were.
    if (!SameColumns(*def_, *def)) {
        throw CannotReadObject(def_->name, "its columns have been changed meanwhile");
    }
    def_ = std::move(def);
    version_ = file_->store->Version();
}

std::vector<std::size_t> AccessTable::Positions(std::span<const std::size_t> columns) const {
    std::vector<std::size_t> positions;
    for (const auto column : columns) {
        positions.push_back(shown_.at(column));
    }
    return positions;
}

std::unique_ptr<sql::TableScan> AccessTable::Scan(std::span<const std::size_t> projection) {
    Refresh();
    return std::make_unique<AccessScan>(file_, def_, Positions(projection));
}

std::int64_t AccessTable::CountRows() {
    Refresh();
    return RowScanner(*file_->store, *def_).CountRest();
}

// A unique index without a name of its own stands behind a relationship; it counts all the same.
TableRules AccessTable::Rules() const {
    auto rules = sql::StoredTable::Rules();
    for (std::size_t k = 0; k < def_->real_indexes.size(); ++k) {
        const auto& index = def_->real_indexes[k];
        if (!index.IsUnique()) {
            continue;
        }
        auto& unique = rules.unique.emplace_back();
        unique.nulls = TableRules::Nulls::TakeOutIfAll;
        for (const auto& logical : def_->logical_indexes) {
            if (logical.real == k) {
                unique.name = logical.name;
            }
        }
        for (const auto& column : index.columns) {
            const auto& name = def_->columns[column.position].name;
            unique.parts.push_back({name});
            const auto shown =
                std::find_if(columns_.begin(), columns_.end(), [&](const auto& described) {
                    return described.info.name == name;
                });
            // A null in an AutoNumber is its next number.
            if (index.IsRequired() && shown != columns_.end() && !shown->auto_number) {
                rules.required.push_back(name);
                if (!shown->has_default) {
                    rules.needed.push_back(name);
                }
            }
        }
    }
    return rules;
}

std::unique_ptr<sql::TableScan> AccessTable::FindEqual(std::size_t column,
                                                       const Cell& value,
                                                       std::span<const std::size_t> projection) {
    const std::size_t position = shown_.at(column);
    std::vector<std::byte> stored;
    if (!StoreForLookup(def_->columns[position], value, stored)) {
        return nullptr;
    }
    Refresh();
    for (const auto& index : def_->real_indexes) {
        if (index.columns.empty() || index.columns[0].position != position ||
            (index.columns.size() > 1 && index.columns[0].ascending == false)) {
            continue;
        }
        const KeyEncoder encoder(file_->store->Header(), *def_, index);
        std::vector<std::byte> key;
        if (!encoder.Unsupported().empty() ||
            encoder.AppendColumn(0, ByteSpan(stored), key) != KeyResult::Ok) {
            continue;
        }
        // The first index that starts with the column will do: they are all of one shape.
        return std::make_unique<AccessKeyScan>(
            file_, def_, index, std::move(key), Positions(projection));
    }
    return nullptr;
}

}  // namespace vantry::access
