#pragma once
// Makes indexes: from SQL's definitions to tags, and into the files of tables.

#include "drivers/foxpro/indexes/tag_set.h"
#include "drivers/foxpro/table/table_file.h"
#include "drivers/sql/storage.h"

#include <string>
#include <vector>

namespace vantry::foxpro {

// The tag of an index: its key is the column, or the columns as texts one behind the other. What is
// unique in SQL is a candidate tag. `taken`: names of tags that are there. Throws DataError naming
// `table` and index for what no tag can be.
TagDefinition TagFor(const sql::IndexDefinition& index,
                     const TableLayout& layout,
                     std::string_view table,
                     const std::vector<std::string>& taken);
// Those of all keys of a new table.
std::vector<TagDefinition> TagsFor(const sql::TableDefinition& definition,
                                   const TableLayout& layout);
// Columns that a primary key takes can't be null: says so in the columns.
void RequireKeyColumns(sql::TableDefinition& definition);

// Adds the index to the table at `path`, whose index file is made if it has none. Nobody else of
// this process has the table open in a statement. Throws DataError, and leaves everything as it
// was, if keys collide or the index can't be made.
void AddIndex(const std::string& path,
              const TableOptions& options,
              std::span<const std::string> long_names,
              const sql::IndexDefinition& index,
              std::string_view table);

// The index file of a table that is being made: `table_path` is the .dbf as it stands, `index_path`
// that of the index, which isn't there.
void WriteNewIndex(const std::string& table_path,
                   const std::string& index_path,
                   const TableLayout& layout,
                   std::span<const TagDefinition> tags);
// An index without an entry whose table isn't there: left behind by a creation that was
// interrupted. Another one stays, and the creation fails over it.
void RemoveEmptyIndex(const std::string& index_path);

}  // namespace vantry::foxpro
