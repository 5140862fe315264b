#pragma once
// Makes new tables of Visual FoxPro: the .dbf with its memo file if it has memo fields.

#include "drivers/foxpro/indexes/tag_set.h"
#include "drivers/foxpro/table/table_layout.h"
#include "drivers/foxpro/table/text_coder.h"
#include "drivers/sql/storage.h"

#include <string>

namespace vantry::foxpro {

struct NewTable {
    std::string path;       // of the .dbf
    std::string name;       // for messages
    std::string back_link;  // the container's file, from the table's folder; empty: a free table
    int code_page = 0;
    bool null_by_default = true;
};

// The layout of a table of these columns, placed and with its hidden field. Throws DataError naming
// table and field for names and types that aren't possible: in a free table names have ten letters,
// in a container they are shortened for the header.
TableLayout LayoutFor(const NewTable& table, std::span<const sql::ColumnDefinition> columns);

// The bytes of a table without records.
std::vector<std::byte> HeaderBytes(const TableLayout& layout, bool with_end_mark);

// Writes the files, the .dbf last. Throws, leaving nothing behind, if one of them is there.
void WriteNewTable(const NewTable& table,
                   const TableLayout& layout,
                   std::span<const TagDefinition> tags = {});

// Takes a table's files away. Whatever interrupts it, the table is there whole or gone.
void RemoveTableFiles(const std::string& path);

}  // namespace vantry::foxpro
