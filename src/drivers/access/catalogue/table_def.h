#pragma once
// A table's definition as it stands in its tdef pages: columns, indexes, page maps. Parsed whole
// and checked, so that users of a TableDef can trust its numbers against each other; what rows and
// index pages hold is checked where they are read.

#include "drivers/access/format.h"
#include "drivers/access/pages/file_header.h"
#include "drivers/access/pages/page_source.h"

#include <string>
#include <string_view>
#include <vector>

namespace vantry::access {

struct ColumnDef {
    std::string name;  // UTF-8
    ColumnType type = ColumnType::Text;
    std::uint16_t number = 0;  // its bit in the null mask; unique, gaps after deletions
    std::uint16_t variable_index = 0;
    std::uint16_t fixed_offset = 0;  // in the fixed area
    std::uint16_t length = 0;        // bytes as the descriptor says
    std::uint8_t flags = 0;
    std::uint8_t extended_flags = 0;
    SortOrder sort_order;  // text
    int code_page = 0;     // Jet 3 text
    std::uint8_t precision = 0;
    std::uint8_t scale = 0;
    std::uint32_t complex_id = 0;
    // Long values: where their pages are.
    RowPointer owned_map;
    RowPointer free_map;
    bool has_maps = false;
    // What a calculated column yields; other columns: type. The catalogue fills it in from the
    // table's properties.
    ColumnType value_type = ColumnType::Text;

    bool IsFixed() const { return (flags & kColumnFixed) != 0; }
    // Takes room in the fixed area.
    bool HasFixedStorage() const { return IsFixed() && type != ColumnType::Boolean; }
    bool HasVariableStorage() const { return !IsFixed(); }
    // The descriptor of a calculated column may name another type than its result's.
    bool IsLongValue() const {
        return type == ColumnType::Memo || type == ColumnType::Ole ||
               value_type == ColumnType::Memo || value_type == ColumnType::Ole;
    }
    bool IsCalculated() const { return (extended_flags & kColumnCalculated) == kColumnCalculated; }
    bool IsAutoNumber() const {
        return (flags & kColumnAutoNumber) != 0 && type == ColumnType::Long;
    }
    bool IsAutoGuid() const { return (flags & kColumnAutoGuid) != 0 && type == ColumnType::Guid; }
    bool IsText() const { return type == ColumnType::Text || type == ColumnType::Memo; }
};

struct IndexColumn {
    std::uint16_t number = 0;  // column number
    std::size_t position = 0;  // in TableDef::columns
    bool ascending = true;
};

struct RealIndex {
    std::vector<IndexColumn> columns;
    RowPointer owned_map;
    PageNumber root = 0;
    std::uint8_t flags = 0;
    std::uint32_t distinct_count = 0;  // a statistic

    bool IsUnique() const { return (flags & kIndexUnique) != 0; }
    bool IgnoresNulls() const { return (flags & kIndexIgnoreNulls) != 0; }
    bool IsRequired() const { return (flags & kIndexRequired) != 0; }
};

struct LogicalIndex {
    std::string name;
    std::uint32_t number = 0;
    std::uint32_t real = 0;  // position in TableDef::real_indexes
    std::uint8_t relation_side = 0;
    std::uint32_t other_index = 0xFFFFFFFF;
    PageNumber other_table = 0;
    std::uint8_t cascade_updates = 0;
    std::uint8_t cascade_deletes = 0;
    std::uint8_t kind = kOrdinaryIndex;
};

struct TableDef {
    std::string name;     // the catalogue's; the tdef itself has none
    PageNumber page = 0;  // the first of its pages, which is the table's id
    std::vector<PageNumber> pages;
    std::uint32_t length = 0;     // as the header says
    std::uint32_t row_count = 0;  // a hint
    std::uint32_t last_auto_number = 0;
    std::uint32_t last_complex_number = 0;
    std::uint8_t table_type = kUserTable;
    std::uint16_t max_columns = 0;
    std::uint16_t variable_count = 0;
    RowPointer owned_map;
    RowPointer free_map;
    std::vector<ColumnDef> columns;  // in display order
    std::vector<RealIndex> real_indexes;
    std::vector<LogicalIndex> logical_indexes;

    // Bytes of the fixed area, holes of deleted columns at its inside included.
    std::size_t FixedAreaSize() const;
    bool HasCalculatedColumns() const;
    bool HasComplexColumns() const;
    // Position in `columns`; without regard to case; npos: none.
    std::size_t FindColumn(std::string_view name) const;
    std::size_t FindColumnNumber(std::uint16_t number) const;
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);
};

// The bytes of the logical definition (see TdefLayout); `pages` receives its pages in order.
// Throws DataError.
std::vector<std::byte> ReadTableDefBytes(PageSource& source,
                                         PageNumber first,
                                         std::vector<PageNumber>& pages);

// `name` goes into the result. Throws DataError naming file and page.
TableDef ReadTableDef(PageSource& source, PageNumber first, std::string name);

// The parse alone, of bytes from anywhere. Throws BoundsError for what lies outside and DataError
// (naming `file` and the page `first`) for numbers that contradict each other.
TableDef ParseTableDef(ByteSpan bytes,
                       const FileHeader& header,
                       std::string_view file,
                       PageNumber first);

// Size of a value of a type that is always as long; 0 for the others.
std::size_t FixedSizeOf(ColumnType type);

}  // namespace vantry::access
