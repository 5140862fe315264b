// A table is more than its definition: a row of MSysObjects, rows of MSysACEs for those who may use
// it (without them Access says that the user lacks permission), page maps, empty indexes. All of it
// is written through TableWriter in one transaction, and dropping goes the same way back. Easy to
// get wrong: both maps of a column of long values must be on one page, and a map row is a slot of a
// data page that other tables share.

#include "drivers/access/catalogue/definition_writer.h"

#include "data/letter_case.h"
#include "data/value_text.h"
#include "drivers/access/catalogue/index_definition.h"
#include "drivers/access/catalogue/property_writer.h"
#include "drivers/access/catalogue/table_def_writer.h"
#include "drivers/access/catalogue/type_words.h"
#include "drivers/access/errors.h"
#include "drivers/access/indexes/index_writer.h"
#include "drivers/access/pages/data_page.h"
#include "drivers/access/pages/usage_map_writer.h"
#include "drivers/access/rows/record_reader.h"
#include "drivers/access/write/table_writer.h"
#include "drivers/access/write_errors.h"

#include <algorithm>
#include <set>

namespace vantry::access {
namespace {

constexpr std::string_view kObjectsTable = "MSysObjects";
constexpr std::string_view kPermissionsTable = "MSysACEs";
constexpr std::string_view kRelationshipsTable = "MSysRelationships";
constexpr std::int32_t kAllRights = 0xFFFFF;
constexpr std::uint8_t kTrueProperty = 0xFF;

// Cells of one row of a system table, by column name.
class Record {
public:
    explicit Record(const TableDef& def) : def_(&def), cells_(def.columns.size(), Cell::Null()) {}
    void Set(std::string_view column, const Cell& cell) {
        const std::size_t position = def_->FindColumn(column);
        if (position == TableDef::npos) {
            throw BoundsError();
        }
        cells_[position] = cell;
    }
    std::span<const Cell> Cells() const { return cells_; }

private:
    const TableDef* def_;
    std::vector<Cell> cells_;
};

TableWriter WriterOf(PageStore& store, PageNumber table, std::string_view name) {
    return TableWriter(store, ReadTableDef(store, table, std::string(name)), {});
}

}  // namespace

void InitializeMapRow(std::span<std::byte> row, PageNumber page) {
    row[0] = std::byte{kInlineMap};
    const std::size_t capacity = (row.size() - kInlineMapBitsOffset) * 8;
    const PageNumber start = page < capacity ? 0 : page & ~PageNumber{7};
    StoreU32(row, kInlineMapStartOffset, start);
    const std::size_t bit = page - start;
    row[kInlineMapBitsOffset + bit / 8] = std::byte{static_cast<unsigned char>(1U << (bit % 8))};
}

// ---- Page maps --------------------------------------------------------------------------------

class DefinitionWriter::MapRows {
public:
    explicit MapRows(PageStore& store) : store_(&store) {}
    // Starts with the page of another map, which may have room for more.
    MapRows(PageStore& store, PageNumber page) : store_(&store), page_(page) {}

    // `count` rows side by side on one page; the first of them. All maps are empty.
    RowPointer Take(std::size_t count) {
        const std::size_t length = store_->GetLayout().map.row_length;
        if (page_ == 0 || !HasRoom(count * (length + kSlotSize))) {
            page_ = store_->Allocate();
            DataPage(store_->Change(page_)).Initialize(kUsageMapOwner);
        }
        DataPage page(store_->Change(page_));
        const RowNumber first = page.Append(length);
        for (std::size_t row = 1; row < count; ++row) {
            page.Append(length);
        }
        for (std::size_t row = 0; row < count; ++row) {
            const auto bytes = page.Row(first + row);
            std::fill(bytes.begin(), bytes.end(), std::byte{});
        }
        return {page_, first};
    }

private:
    bool HasRoom(std::size_t bytes) {
        const DataPage page(store_->Change(page_));
        return page.Room() >= bytes && page.SlotCount() + 2 < kMaxRowsPerPage;
    }

    PageStore* store_;
    PageNumber page_ = 0;
};

void DefinitionWriter::PlaceIndexes(TableDef& def, MapRows& maps) {
    for (RealIndex& index : def.real_indexes) {
        if (index.root == 0) {
            index.owned_map = maps.Take(1);
            index.root = store_->Allocate();
            IndexWriter::InitializeLeaf(store_->Change(index.root), def.page);
            UsageMapWriter(*store_, index.owned_map).Add(index.root);
        }
    }
}

// ---- Catalogue --------------------------------------------------------------------------------

ObjectCatalog& DefinitionWriter::Catalog() {
    if (!catalog_) {
        catalog_.emplace(*store_);
    }
    return *catalog_;
}

// Through the table writer, so that both indexes of MSysObjects hold the new row.
void DefinitionWriter::AddObject(const NewObject& object) {
    auto writer = WriterOf(*store_, kObjectsTablePage, kObjectsTable);
    Record row(writer.Def());
    const Cell now = Cell::FromDateTime(Now());
    row.Set("Id", Cell::Int64(object.id));
    row.Set("ParentId", Cell::Int64(object.parent));
    row.Set("Name", Cell::Text(object.name));
    row.Set("Type", Cell::Int64(static_cast<std::int16_t>(object.type)));
    row.Set("DateCreate", now);
    row.Set("DateUpdate", now);
    row.Set("Flags", Cell::Int64(static_cast<std::int32_t>(object.flags)));
    if (!object.owner.empty()) {
        row.Set("Owner", Cell::Bytes(object.owner));
    }
    if (!object.properties.empty()) {
        row.Set("LvProp", Cell::Bytes(object.properties));
    }
    writer.Insert(row.Cells());
    writer.BeforeCommit();
}

// One row an account; Access shows no table that its user has no row for.
void DefinitionWriter::AddPermissions(std::int32_t object,
                                      std::span<const Permission> permissions) {
    auto writer = WriterOf(*store_, kPermissionsTablePage, kPermissionsTable);
    for (const Permission& permission : permissions) {
        Record row(writer.Def());
        row.Set("ObjectId", Cell::Int64(object));
        row.Set("SID", Cell::Bytes(permission.account));
        row.Set("ACM", Cell::Int64(permission.rights));
        row.Set("FInheritable", Cell::Boolean(permission.inheritable));
        writer.Insert(row.Cells());
    }
    writer.BeforeCommit();
}

// Account ids are masked differently in each file, so they are copied from objects that are there.
std::vector<std::byte> DefinitionWriter::OwnerOfNewObjects() {
    const TableDef& def = Catalog().ObjectsTable();
    RecordReader reader(*store_, def, {"Id", "Owner"});
    while (reader.Next()) {
        if (reader.Int(0) == kDatabaseObject && reader[1].Kind() == ValueKind::Bytes) {
            const auto owner = reader[1].AsBytes();
            return {owner.begin(), owner.end()};
        }
    }
    return {};
}

// A new table may be used by every account that the container of tables knows.
std::vector<Permission> DefinitionWriter::PermissionsOfContainer() {
    const auto def = ReadTableDef(*store_, kPermissionsTablePage, std::string(kPermissionsTable));
    RecordReader reader(*store_, def, {"ObjectId", "SID"});
    std::set<std::vector<std::byte>> accounts;
    std::vector<Permission> permissions;
    while (reader.Next()) {
        if (reader.Int(0) != kTablesContainer || reader[1].Kind() != ValueKind::Bytes) {
            continue;
        }
        const auto bytes = reader[1].AsBytes();
        std::vector<std::byte> account(bytes.begin(), bytes.end());
        if (accounts.insert(account).second) {
            permissions.push_back({.account = std::move(account), .rights = kAllRights});
        }
    }
    return permissions;
}

// ---- Making -----------------------------------------------------------------------------------

void DefinitionWriter::MakeTable(NewTable table) {
    TableDef& def = table.def;
    def.page = store_->Allocate();
    // Its type byte keeps the page from being taken for something else until it is written.
    MapRows maps(*store_);
    def.owned_map = maps.Take(2);
    def.free_map = {def.owned_map.page, static_cast<RowNumber>(def.owned_map.row + 1)};
    for (ColumnDef& column : def.columns) {
        if (column.IsLongValue()) {
            column.owned_map = maps.Take(2);
            column.free_map = {column.owned_map.page,
                               static_cast<RowNumber>(column.owned_map.row + 1)};
            column.has_maps = true;
        }
    }
    PlaceIndexes(def, maps);
    // The engine looks names of indexes up in this order.
    std::sort(def.logical_indexes.begin(),
              def.logical_indexes.end(),
              [](const LogicalIndex& left, const LogicalIndex& right) {
                  return UpperCased(left.name) < UpperCased(right.name);
              });
    std::vector<PageNumber> pages{def.page};
    WriteTableDef(*store_, BuildTableDef(def, {}), pages);
    std::vector<std::byte> owner;
    if (table.has_owner) {
        owner = OwnerOfNewObjects();
    }
    std::vector<std::byte> properties;
    if (!table.properties.empty()) {
        properties = BuildProperties(table.properties);
    }
    const auto id = static_cast<std::int32_t>(def.page);
    AddObject({.id = id,
               .name = def.name,
               .flags = table.object_flags,
               .owner = owner,
               .properties = properties});
    AddPermissions(id, table.permissions.empty() ? PermissionsOfContainer() : table.permissions);
}

void DefinitionWriter::RequireFreeName(std::string_view name) {
    if (Catalog().Find(name) != nullptr) {
        throw TableExists(name);
    }
}

// Everything about the definition is checked before a page is taken.
void DefinitionWriter::CreateTable(const sql::TableDefinition& definition) {
    CheckName("a table", definition.name);
    RequireFreeName(definition.name);
    if (definition.columns.empty() || definition.columns.size() > kMaxColumns) {
        throw BadDefinition(definition.name, "a table has 1 to 255 columns");
    }
    NewTable table;
    TableDef& def = table.def;
    def.name = definition.name;
    std::set<std::string> names;
    for (const sql::ColumnDefinition& column : definition.columns) {
        CheckName("a field", column.name);
        if (!names.insert(UpperCased(column.name)).second) {
            throw BadDefinition(definition.name,
                                "it would have the column '" + column.name + "' twice");
        }
        NewColumn made = ColumnFromWords(column, store_->Header());
        if (made.def.IsAutoNumber()) {
            if (std::any_of(def.columns.begin(), def.columns.end(), [](const ColumnDef& each) {
                    return each.IsAutoNumber();
                })) {
                throw BadDefinition(definition.name, "it would have two AutoNumber columns");
            }
            def.last_auto_number = made.last_number;
        }
        if (column.not_null && made.def.type != ColumnType::Boolean) {
            table.properties.push_back({.owner = column.name,
                                        .name = "Required",
                                        .type = static_cast<std::uint8_t>(ColumnType::Boolean),
                                        .value = {std::byte{kTrueProperty}}});
        }
        if (column.default_text) {
            table.properties.push_back({.owner = column.name,
                                        .name = "DefaultValue",
                                        .type = static_cast<std::uint8_t>(ColumnType::Memo),
                                        .value = PropertyText(*column.default_text)});
        }
        def.columns.push_back(std::move(made.def));
    }
    AssignPlaces(def);
    if (def.FixedAreaSize() + (def.columns.size() + 7) / 8 + 2 > store_->GetLayout().max_row_size) {
        throw RowTooLong(definition.name, def.FixedAreaSize(), store_->GetLayout().max_row_size);
    }
    for (const sql::IndexDefinition& index : IndexesOf(definition)) {
        AddIndex(def, index);
    }
    MakeTable(std::move(table));
}

void DefinitionWriter::CreateIndex(std::string_view table, const sql::IndexDefinition& index) {
    const CatalogObject* const object = Catalog().Find(table);
    if (object == nullptr || !object->IsTable()) {
        throw TableMissing(table);
    }
    if (object->IsSystem()) {
        throw CannotChangeSystemTable(object->name);
    }
    TableDef def = Catalog().ReadTable(*object);
    const std::size_t position = def.real_indexes.size();
    AddIndex(def, index);
    MapRows maps(*store_, def.owned_map.page);
    PlaceIndexes(def, maps);
    std::vector<PageNumber> pages;
    const auto bytes = ReadTableDefBytes(*store_, def.page, pages);
    WriteTableDef(*store_,
                  AddIndexToTableDef(bytes, def.real_indexes.back(), def.logical_indexes.back()),
                  pages);
    TableWriter writer(*store_, Catalog().ReadTable(*object), Catalog().ReadProperties(*object));
    writer.FillIndex(position);
    writer.BeforeCommit();
}

// ---- Dropping ---------------------------------------------------------------------------------

void DefinitionWriter::RequireNoRelation(const TableDef& def) {
    for (const LogicalIndex& logical : def.logical_indexes) {
        if (logical.kind == kForeignKeyIndex && logical.other_table != 0 &&
            logical.other_table != def.page) {
            throw CannotChangeTable(def.name,
                                    "it is part of the relationship '" + logical.name +
                                        "'. Delete the relationship in Access first");
        }
    }
    if (def.HasComplexColumns()) {
        throw CannotChangeTable(def.name,
                                "it has columns with several values a row, which only Access "
                                "itself can delete");
    }
}

// Pages of rows, long values and indexes, then the rows of the maps that listed them.
void DefinitionWriter::FreeTablePages(const TableDef& def) {
    std::vector<RowPointer> maps{def.owned_map, def.free_map};
    for (const ColumnDef& column : def.columns) {
        if (column.has_maps) {
            maps.push_back(column.owned_map);
            maps.push_back(column.free_map);
        }
    }
    for (const RealIndex& index : def.real_indexes) {
        maps.push_back(index.owned_map);
    }
    // The map of pages with room lists pages of the other map.
    std::set<RowPointer> listing_only{def.free_map};
    for (const ColumnDef& column : def.columns) {
        if (column.has_maps) {
            listing_only.insert(column.free_map);
        }
    }
    const PageNumber limit = store_->PageCount();
    for (const RowPointer row : maps) {
        UsageMapWriter map(*store_, row);
        if (!listing_only.contains(row)) {
            for (auto page = map.Next(0, limit); page; page = map.Next(*page + 1, limit)) {
                store_->Free(*page);
            }
        }
        map.Clear();
    }
    for (const RowPointer row : maps) {
        WithPage(store_->Name(), row.page, "its list of rows runs outside", [&] {
            DataPage page(store_->Change(row.page));
            page.Delete(row.row);
            if (page.AllDeleted()) {
                store_->Free(row.page);
            }
        });
    }
    for (const PageNumber page : def.pages) {
        store_->Free(page);
    }
}

// Whatever names the table elsewhere goes, too, or a new table of its name would inherit it.
void DefinitionWriter::RemoveCatalogRows(const CatalogObject& object) {
    auto objects = WriterOf(*store_, kObjectsTablePage, kObjectsTable);
    objects.Delete(object.row);
    objects.BeforeCommit();
    const auto remove = [&](PageNumber table,
                            std::string_view name,
                            std::initializer_list<std::string_view> columns,
                            auto&& matches) {
        auto writer = WriterOf(*store_, table, name);
        RecordReader reader(*store_, writer.Def(), columns);
        std::vector<RowPointer> rows;
        while (reader.Next()) {
            if (matches(reader)) {
                rows.push_back(reader.Pointer());
            }
        }
        for (const RowPointer row : rows) {
            writer.Delete(row);
        }
        writer.BeforeCommit();
    };
    remove(kPermissionsTablePage, kPermissionsTable, {"ObjectId"}, [&](RecordReader& row) {
        return row.Int(0) == object.id;
    });
    remove(kRelationshipsTablePage,
           kRelationshipsTable,
           {"szObject", "szReferencedObject"},
           [&](RecordReader& row) {
               return SameName(row.Text(0), object.name) || SameName(row.Text(1), object.name);
           });
}

void DefinitionWriter::DropTable(std::string_view name) {
    const CatalogObject* const found = Catalog().Find(name);
    if (found == nullptr || (!found->IsTable() && !found->IsLink())) {
        throw TableMissing(name);
    }
    const CatalogObject object = *found;
    if (object.IsSystem()) {
        throw CannotChangeSystemTable(object.name);
    }
    if (object.IsTable()) {
        const TableDef def = Catalog().ReadTable(object);
        RequireNoRelation(def);
        if (std::any_of(def.columns.begin(), def.columns.end(), [](const ColumnDef& column) {
                return column.IsLongValue();
            })) {
            TableWriter(*store_, def, {}).ReleaseUnlistedValues();
        }
        FreeTablePages(def);
    }
    RemoveCatalogRows(object);
}

}  // namespace vantry::access
