// The system tables of a new file, column by column as the engine's own files have them: column
// numbers, places in the row and the order of the list differ from each other, and readers of other
// makers look for fixed ones. The lists are ordered by column name, as the engine stores them.
// Whatever has no reason of its own here was seen in a file that the engine made.

#include "drivers/access/catalogue/system_tables.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

namespace vantry::access {
namespace {

constexpr std::uint8_t kSystemFixed = kColumnSystem | kColumnMayBeNull | kColumnFixed;
constexpr std::uint8_t kSystemVariable = kColumnSystem | kColumnMayBeNull;
constexpr std::uint8_t kAccountColumn = 0x20 | kSystemVariable;  // Owner, SID
constexpr std::uint8_t kAttachmentColumn = 0x10;                 // extended flag of its template
constexpr std::uint16_t kSystemTextBytes = 510;
// The engine leaves this in both cascade bytes of its own indexes.
constexpr std::uint8_t kSystemCascade = 0x04;
constexpr std::uint32_t kTemplateFlags = 0x80030000;

struct Column {
    std::string_view name;
    std::uint16_t number;
    ColumnType type;
    std::uint16_t place;  // fixed offset or variable index
    std::uint8_t flags;
    std::uint8_t extended_flags = 0;
};

// As the engine writes it, which isn't always what the type takes: texts of its own tables are as
// wide as a text can be.
std::uint16_t LengthOf(ColumnType type) {
    switch (type) {
        case ColumnType::Text:
        case ColumnType::Binary:
            return kSystemTextBytes;
        case ColumnType::Memo:
        case ColumnType::Ole:
            return 0;
        default:
            return static_cast<std::uint16_t>(FixedSizeOf(type));
    }
}

// Columns are given by name with their number and their place, which no rule connects.
TableDef MakeDef(std::string_view name,
                 std::uint8_t table_type,
                 SortOrder sort_order,
                 std::initializer_list<Column> columns) {
    TableDef def;
    def.name = name;
    def.table_type = table_type;
    def.max_columns = static_cast<std::uint16_t>(columns.size());
    for (const Column& each : columns) {
        ColumnDef column;
        column.name = each.name;
        column.type = each.type;
        column.number = each.number;
        column.flags = each.flags;
        column.extended_flags = each.extended_flags;
        column.length = LengthOf(each.type);
        column.sort_order = sort_order;
        if (column.type == ColumnType::Numeric) {
            // Of the template of decimals, the only numeric column in here.
            constexpr std::uint8_t kTemplatePrecision = 18;
            column.precision = kTemplatePrecision;
        }
        if (column.IsFixed()) {
            column.fixed_offset = each.place;
        } else {
            column.variable_index = each.place;
            def.variable_count = std::max<std::uint16_t>(
                def.variable_count, static_cast<std::uint16_t>(each.place + 1));
        }
        def.columns.push_back(std::move(column));
    }
    // Listed by name; a fixed column notes how many variable ones come before it by number.
    std::sort(def.columns.begin(), def.columns.end(), [](const ColumnDef& a, const ColumnDef& b) {
        return a.name < b.name;
    });
    for (ColumnDef& column : def.columns) {
        if (column.IsFixed()) {
            column.variable_index = static_cast<std::uint16_t>(
                std::count_if(def.columns.begin(), def.columns.end(), [&](const ColumnDef& other) {
                    return !other.IsFixed() && other.number < column.number;
                }));
        }
    }
    return def;
}

struct Index {
    std::string_view name;
    std::uint32_t real;
    std::uint8_t kind;
};

void AddRealIndex(TableDef& def, std::uint8_t flags, std::initializer_list<std::uint16_t> numbers) {
    RealIndex index;
    index.flags = flags;
    for (const std::uint16_t number : numbers) {
        index.columns.push_back(
            {.number = number, .position = def.FindColumnNumber(number), .ascending = true});
    }
    def.real_indexes.push_back(std::move(index));
}

// In the order of their names.
void AddLogicalIndexes(TableDef& def, std::initializer_list<Index> indexes) {
    for (const Index& each : indexes) {
        LogicalIndex index;
        index.name = each.name;
        index.number = each.real;
        index.real = each.real;
        index.kind = each.kind;
        index.cascade_updates = kSystemCascade;
        index.cascade_deletes = kSystemCascade;
        def.logical_indexes.push_back(std::move(index));
    }
}

constexpr std::uint8_t kUniqueFlags = kIndexAlwaysSet | kIndexUnique;
constexpr std::uint8_t kRequiredFlags = kIndexAlwaysSet | kIndexRequired;
constexpr std::uint8_t kIgnoreNullFlags = kIndexAlwaysSet | kIndexIgnoreNulls;

TableDef ObjectsTable(SortOrder order) {
    using enum ColumnType;
    TableDef def = MakeDef("MSysObjects",
                           kSystemTable,
                           order,
                           {{"Id", 0, Long, 0, kSystemFixed},
                            {"ParentId", 1, Long, 4, kSystemFixed},
                            {"Name", 2, Text, 0, kSystemVariable},
                            {"Type", 3, Integer, 8, kSystemFixed},
                            {"DateCreate", 4, DateTime, 10, kSystemFixed},
                            {"DateUpdate", 5, DateTime, 18, kSystemFixed},
                            {"Owner", 6, Binary, 1, kAccountColumn},
                            {"Flags", 7, Long, 26, kSystemFixed},
                            {"Database", 8, Memo, 2, kSystemVariable},
                            {"Connect", 9, Memo, 3, kSystemVariable},
                            {"ForeignName", 10, Text, 4, kSystemVariable},
                            {"RmtInfoShort", 11, Binary, 5, kSystemVariable},
                            {"RmtInfoLong", 12, Ole, 6, kSystemVariable},
                            {"Lv", 13, Ole, 7, kSystemVariable},
                            {"LvProp", 14, Ole, 8, kSystemVariable},
                            {"LvModule", 15, Ole, 9, kSystemVariable},
                            {"LvExtra", 16, Ole, 10, kSystemVariable}});
    // The first tree is that of folder and name, by which the engine looks objects up; the key
    // comes second although its name is listed first.
    AddRealIndex(def, kUniqueFlags, {1, 2});
    AddRealIndex(def, kUniqueFlags, {0});
    AddLogicalIndexes(def, {{"Id", 1, kPrimaryKeyIndex}, {"ParentIdName", 0, kOrdinaryIndex}});
    return def;
}

// Who may do what with each object. Each table has rows here, and the verifier asks for them.
TableDef PermissionsTable(SortOrder order) {
    using enum ColumnType;
    TableDef def = MakeDef("MSysACEs",
                           kSystemTable,
                           order,
                           {{"ObjectId", 0, Long, 0, kSystemFixed},
                            {"SID", 1, Binary, 0, kAccountColumn},
                            {"ACM", 2, Long, 4, kSystemFixed},
                            {"FInheritable", 3, Boolean, 0, kSystemFixed}});
    AddRealIndex(def, kRequiredFlags, {0});
    AddLogicalIndexes(def, {{"ObjectId", 0, kOrdinaryIndex}});
    return def;
}

// A row for each clause of a saved query.
TableDef QueriesTable(SortOrder order) {
    using enum ColumnType;
    TableDef def = MakeDef("MSysQueries",
                           kSystemTable,
                           order,
                           {{"ObjectId", 0, Long, 0, kSystemFixed},
                            {"Attribute", 1, Byte, 4, kSystemFixed},
                            {"Order", 2, Binary, 0, kSystemVariable},
                            {"Name1", 3, Text, 1, kSystemVariable},
                            {"Name2", 4, Text, 2, kSystemVariable},
                            {"Expression", 5, Memo, 3, kSystemVariable},
                            {"Flag", 6, Integer, 5, kSystemFixed},
                            {"LvExtra", 7, Long, 7, kSystemFixed}});
    AddRealIndex(def, kUniqueFlags, {0, 1, 2});
    AddLogicalIndexes(def, {{"ObjectIdAttribute", 0, kPrimaryKeyIndex}});
    return def;
}

// Relationships by name. What is enforced stands in the definitions of the two tables; the prefixed
// names are the engine's.
TableDef RelationshipsTable(SortOrder order) {
    using enum ColumnType;
    TableDef def = MakeDef("MSysRelationships",
                           kSystemTable,
                           order,
                           {{"szRelationship", 0, Text, 0, kSystemVariable},
                            {"grbit", 1, Long, 0, kSystemFixed},
                            {"ccolumn", 2, Long, 4, kSystemFixed},
                            {"icolumn", 3, Long, 8, kSystemFixed},
                            {"szObject", 4, Text, 1, kSystemVariable},
                            {"szColumn", 5, Text, 2, kSystemVariable},
                            {"szReferencedObject", 6, Text, 3, kSystemVariable},
                            {"szReferencedColumn", 7, Text, 4, kSystemVariable}});
    AddRealIndex(def, kIgnoreNullFlags, {0});
    AddRealIndex(def, kIgnoreNullFlags, {4});
    AddRealIndex(def, kIgnoreNullFlags, {6});
    AddLogicalIndexes(def,
                      {{"szObject", 1, kOrdinaryIndex},
                       {"szReferencedObject", 2, kOrdinaryIndex},
                       {"szRelationship", 0, kOrdinaryIndex}});
    return def;
}

}  // namespace

std::vector<SystemTable> SystemTables(SortOrder sort_order) {
    return {{ObjectsTable(sort_order), kObjectSystem},
            {PermissionsTable(sort_order), kObjectSystem},
            {QueriesTable(sort_order), kObjectSystem},
            {RelationshipsTable(sort_order), kObjectSystem}};
}

// The templates from which Access makes the table behind a column of several values, one for each
// type that such a column may have.
std::vector<SystemTable> ComplexTypeTables(SortOrder sort_order) {
    using enum ColumnType;
    std::vector<SystemTable> tables;
    TableDef columns = MakeDef("MSysComplexColumns",
                               kUserTable,
                               sort_order,
                               {{"ColumnName", 0, Text, 0, kSystemVariable},
                                {"ComplexTypeObjectID", 1, Long, 0, kSystemFixed},
                                {"FlatTableID", 2, Long, 4, kSystemFixed},
                                {"ConceptualTableID", 3, Long, 8, kSystemFixed},
                                {"ComplexID", 4, Long, 12, kSystemFixed | kColumnAutoNumber}});
    constexpr std::uint8_t kKeyFlags = kIgnoreNullFlags | kIndexRequired;
    AddRealIndex(columns, kKeyFlags | kIndexUnique, {4});
    AddRealIndex(columns, kKeyFlags, {3});
    AddRealIndex(columns, kKeyFlags, {2});
    AddLogicalIndexes(columns,
                      {{"IdxConceptualTableID", 1, kOrdinaryIndex},
                       {"IdxFlatTableID", 2, kOrdinaryIndex},
                       {"IdxID", 0, kPrimaryKeyIndex}});
    tables.push_back({std::move(columns), kObjectSystem});

    struct Template {
        std::string_view name;
        ColumnType type;
        bool fixed;
    };
    constexpr std::uint8_t kFixed = kColumnMayBeNull | kColumnFixed;
    constexpr std::uint8_t kVariable = kColumnMayBeNull;
    for (const Template& each : {Template{"MSysComplexType_UnsignedByte", Byte, true},
                                 Template{"MSysComplexType_Short", Integer, true},
                                 Template{"MSysComplexType_Long", Long, true},
                                 Template{"MSysComplexType_IEEESingle", Single, true},
                                 Template{"MSysComplexType_IEEEDouble", Double, true},
                                 Template{"MSysComplexType_GUID", Guid, true},
                                 Template{"MSysComplexType_Decimal", Numeric, false},
                                 Template{"MSysComplexType_Text", Text, false}}) {
        tables.push_back({MakeDef(each.name,
                                  kUserTable,
                                  sort_order,
                                  {{"Value", 0, each.type, 0, each.fixed ? kFixed : kVariable}}),
                          kTemplateFlags});
    }
    tables.push_back({MakeDef("MSysComplexType_Attachment",
                              kUserTable,
                              sort_order,
                              {{"FileURL", 0, Memo, 0, kVariable, kAttachmentColumn},
                               {"FileName", 1, Text, 1, kVariable, kAttachmentColumn},
                               {"FileType", 2, Text, 2, kVariable, kAttachmentColumn},
                               {"FileData", 3, Ole, 3, kVariable, kAttachmentColumn},
                               {"FileTimeStamp", 4, DateTime, 0, kFixed, kAttachmentColumn},
                               {"FileFlags", 5, Long, 8, kFixed, kAttachmentColumn}}),
                      kTemplateFlags});
    return tables;
}

}  // namespace vantry::access
