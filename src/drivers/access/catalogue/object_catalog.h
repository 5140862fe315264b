#pragma once
// The objects of a database file, from its table MSysObjects, and the definitions of its tables.

#include "data/driver.h"
#include "drivers/access/catalogue/properties.h"
#include "drivers/access/catalogue/table_def.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::access {

struct CatalogObject {
    std::int32_t id = 0;  // tables: the tdef page in the low 24 bits
    std::int32_t parent = 0;
    std::string name;
    ObjectType type = ObjectType::Table;
    std::uint32_t flags = 0;
    std::string database;      // linked tables: the other file
    std::string connect;       // linked tables: what kind of source
    std::string foreign_name;  // linked tables: the table there
    RowPointer row;            // in MSysObjects

    bool IsTable() const { return type == ObjectType::Table; }
    bool IsLink() const { return type == ObjectType::Link || type == ObjectType::OdbcLink; }
    bool IsQuery() const { return type == ObjectType::Query; }
    // One of the engine's own tables, which only the engine keeps right.
    bool IsSystem() const { return (flags & (kObjectSystem | kObjectSystem2)) != 0; }
    PageNumber TablePage() const { return static_cast<std::uint32_t>(id) & kMaxPageNumber; }
};

// What a table is listed as: "TABLE", "SYSTEM TABLE" (the engine's own), "ACCESS TABLE" (of the
// program Access, and other hidden ones), "LINK", "PASS-THROUGH" (linked by ODBC), "VIEW" (queries
// that give rows); empty: not listed.
std::string ListedType(const CatalogObject& object);

class ObjectCatalog {
public:
    // `source` must outlive it. Throws DataError when the file has no catalogue.
    explicit ObjectCatalog(PageSource& source);

    // All objects, in the order of MSysObjects; read again when the file has changed.
    const std::vector<CatalogObject>& Objects();
    // A table, linked table or query by name, without regard to case; null: none.
    const CatalogObject* Find(std::string_view name);
    const CatalogObject* FindId(std::int32_t id);

    // The definition of a table; the result types of its calculated columns are filled in. Throws
    // DataError.
    TableDef ReadTable(const CatalogObject& object);
    // The properties of an object; none when it has no block or a damaged one.
    std::vector<Property> ReadProperties(const CatalogObject& object);

    const TableDef& ObjectsTable() const { return objects_table_; }

private:
    void Load();

    PageSource* source_;
    TableDef objects_table_;
    std::vector<CatalogObject> objects_;
    std::uint64_t version_ = 0;
};

}  // namespace vantry::access
