// MSysObjects lists everything in a file: tables, queries, links, forms, containers. It is read by
// a scan, never by its indexes, so that a file with a damaged or foreign index still opens. Names
// are compared without regard to case, but an exact match goes first: some files have both. Easy to
// get wrong: system and helper tables are tables, too, and differ by flags and by name only.

#include "drivers/access/catalogue/object_catalog.h"

#include "data/letter_case.h"
#include "drivers/access/errors.h"
#include "drivers/access/rows/record_reader.h"

namespace vantry::access {
namespace {

constexpr std::string_view kObjectsTableName = "MSysObjects";
// The container that every file has.
constexpr std::string_view kTablesContainerName = "Tables";

// Tables behind columns that hold several values: "f_" and 32 hexadecimal digits and "_".
bool IsFlatTableName(std::string_view name) {
    constexpr std::size_t kPrefix = 2;
    constexpr std::size_t kDigits = 32;
    if (name.size() < kPrefix + kDigits + 1 || !name.starts_with("f_")) {
        return false;
    }
    const auto digits = name.substr(kPrefix, kDigits);
    return digits.find_first_not_of("0123456789ABCDEFabcdef") == std::string_view::npos;
}

std::string ListedQueryType(const CatalogObject& object) {
    // Kinds that give rows: select, crosstab, union. The others are procedures.
    const auto kind = object.flags & kQueryKindMask;
    const bool gives_rows = kind == 0x00 || kind == 0x10 || kind == 0x80;
    return gives_rows && !object.name.starts_with('~') ? "VIEW" : "";
}

}  // namespace

std::string ListedType(const CatalogObject& object) {
    switch (object.type) {
        case ObjectType::Link:
            return "LINK";
        case ObjectType::OdbcLink:
            return "PASS-THROUGH";
        case ObjectType::Query:
            return ListedQueryType(object);
        case ObjectType::Table:
            break;
        default:
            return "";
    }
    if (object.name.starts_with('~') || IsFlatTableName(object.name)) {
        return "";
    }
    // The words are those of the engine's own list of tables.
    if ((object.flags & kObjectSystem2) != 0) {
        return "ACCESS TABLE";
    }
    if ((object.flags & kObjectSystem) != 0) {
        return "SYSTEM TABLE";
    }
    // Hidden in Access or not: its rows are the user's.
    return "TABLE";
}

ObjectCatalog::ObjectCatalog(PageSource& source) : source_(&source) {
    Load();
}

void ObjectCatalog::Load() {
    objects_table_ = ReadTableDef(*source_, kObjectsTablePage, std::string(kObjectsTableName));
    objects_.clear();
    enum : std::size_t { Id, Parent, Name, Type, Flags, Database, Connect, ForeignName };
    RecordReader reader(
        *source_,
        objects_table_,
        {"Id", "ParentId", "Name", "Type", "Flags", "Database", "Connect", "ForeignName"});
    bool has_tables_container = false;
    while (reader.Next()) {
        CatalogObject object;
        object.id = reader.Int(Id);
        object.parent = reader.Int(Parent);
        object.name = reader.Text(Name);
        object.type = static_cast<ObjectType>(static_cast<std::int16_t>(reader.Int(Type)));
        object.flags = static_cast<std::uint32_t>(reader.Int(Flags));
        object.row = reader.Pointer();
        if (object.IsLink()) {
            object.database = reader.Text(Database);
            object.connect = reader.Text(Connect);
            object.foreign_name = reader.Text(ForeignName);
        }
        has_tables_container |= object.name == kTablesContainerName;
        objects_.push_back(std::move(object));
    }
    // A page that decodes to nonsense may still parse as an empty table: then this row is missing.
    if (!has_tables_container) {
        throw DamagedFile(
            source_->Name(),
            "its list of objects can't be read, or it is encrypted in an unknown way");
    }
    version_ = source_->Version();
}

const std::vector<CatalogObject>& ObjectCatalog::Objects() {
    if (version_ != source_->Version()) {
        Load();
    }
    return objects_;
}

const CatalogObject* ObjectCatalog::Find(std::string_view name) {
    const CatalogObject* found = nullptr;
    for (const auto& object : Objects()) {
        // Tables, links and queries share one space of names; forms and reports have their own.
        if (!object.IsTable() && !object.IsLink() && !object.IsQuery()) {
            continue;
        }
        if (object.name == name) {
            return &object;
        }
        if (found == nullptr && SameName(object.name, name)) {
            found = &object;
        }
    }
    return found;
}

const CatalogObject* ObjectCatalog::FindId(std::int32_t id) {
    for (const auto& object : Objects()) {
        if (object.id == id) {
            return &object;
        }
    }
    return nullptr;
}

TableDef ObjectCatalog::ReadTable(const CatalogObject& object) {
    // What a formula yields stands in the properties, not in the definition.
    auto def = ReadTableDef(*source_, object.TablePage(), object.name);
    if (!def.HasCalculatedColumns()) {
        return def;
    }
    const auto properties = ReadProperties(object);
    for (auto& column : def.columns) {
        if (!column.IsCalculated()) {
            continue;
        }
        const auto* result = FindProperty(properties, column.name, "ResultType");
        if (result != nullptr && !result->value.empty()) {
            column.value_type =
                static_cast<ColumnType>(static_cast<std::uint8_t>(result->value[0]));
        }
    }
    return def;
}

std::vector<Property> ObjectCatalog::ReadProperties(const CatalogObject& object) {
    RecordReader reader(*source_, objects_table_, {"LvProp"});
    if (!reader.Seek(object.row) || reader[0].Kind() != ValueKind::Bytes) {
        return {};
    }
    try {
        return ParseProperties(reader[0].AsBytes(), TextCoding(source_->Header()));
    } catch (const BoundsError&) {
        return {};
    }
}

}  // namespace vantry::access
