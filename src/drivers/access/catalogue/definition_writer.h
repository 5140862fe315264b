#pragma once
// Making and dropping tables and indexes: definition, page maps, catalogue entry, permissions.

#include "drivers/access/catalogue/object_catalog.h"
#include "drivers/access/pages/page_store.h"
#include "drivers/sql/storage.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::access {

// An account's right to an object, as MSysACEs keeps it.
struct Permission {
    std::vector<std::byte> account;
    std::int32_t rights = 0;
    bool inheritable = false;
};

// A table to be made. Indexes have columns, flags and names; pages and maps are found for them.
struct NewTable {
    TableDef def;
    std::uint32_t object_flags = 0;
    bool has_owner = true;
    std::vector<Permission> permissions;  // none: those of the container's accounts
    std::vector<Property> properties;
};

// A row of MSysObjects.
struct NewObject {
    std::int32_t id = 0;
    std::int32_t parent = kTablesContainer;
    std::string name;
    ObjectType type = ObjectType::Table;
    std::uint32_t flags = 0;
    std::span<const std::byte> owner;       // empty: null
    std::span<const std::byte> properties;  // empty: null
};

// Every call is made inside a transaction; when one throws, the transaction must be rolled back.
class DefinitionWriter {
public:
    explicit DefinitionWriter(PageStore& store) : store_(&store) {}

    // Throws DataError for a name in use or not allowed, for type words, sizes, limits.
    void CreateTable(const sql::TableDefinition& definition);
    // Tables and links; throws for system tables and for tables that a relationship needs.
    void DropTable(std::string_view name);
    void CreateIndex(std::string_view table, const sql::IndexDefinition& index);

    // The parts of it that a new database is made with.
    void MakeTable(NewTable table);
    void AddObject(const NewObject& object);
    void AddPermissions(std::int32_t object, std::span<const Permission> permissions);

private:
    // Rows of page maps for a new table, on pages of their own.
    class MapRows;

    // Read when it is first needed: a database being made has none yet.
    ObjectCatalog& Catalog();
    void RequireFreeName(std::string_view name);
    void PlaceIndexes(TableDef& def, MapRows& maps);
    std::vector<std::byte> OwnerOfNewObjects();
    std::vector<Permission> PermissionsOfContainer();
    void FreeTablePages(const TableDef& def);
    void RemoveCatalogRows(const CatalogObject& object);
    void RequireNoRelation(const TableDef& def);

    PageStore* store_;
    std::optional<ObjectCatalog> catalog_;
};

// A map row with one page in it.
void InitializeMapRow(std::span<std::byte> row, PageNumber page);

}  // namespace vantry::access
