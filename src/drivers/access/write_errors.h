#pragma once
// The errors of the writing half, one factory a kind. Texts begin with the engine's own words where
// callers know them, then say where and what the user can do.

#include "data/data_error.h"
#include "drivers/access/format.h"

#include <string>
#include <string_view>

namespace vantry::access {

// Where a value was to go; for messages.
struct FieldName {
    std::string_view table;
    std::string_view column;
};

// Files and tables that can't be written.
DataError CannotWriteJet3(std::string_view file);
DataError CannotWriteFile(std::string_view file, std::string_view reason);
DataError OpenInAccess(std::string_view file, std::string_view user);
DataError CannotChangeTable(std::string_view table, std::string_view reason);
DataError CannotChangeSystemTable(std::string_view table);

// Values that don't fit.
DataError ValueDoesNotFit(FieldName field, std::string_view value, std::string_view type);
DataError TextTooLong(FieldName field, std::size_t units, std::size_t limit);
DataError ValueOutOfRange(FieldName field, std::string_view value, std::string_view type);
DataError NullNotAllowed(FieldName field);
DataError EmptyTextNotAllowed(FieldName field);
DataError DefaultNotUnderstood(FieldName field, std::string_view expression);
DataError RowTooLong(std::string_view table, std::size_t bytes, std::size_t limit);
DataError ReadOnlyColumn(FieldName field);

// Keys.
DataError DuplicateKey(std::string_view table, std::string_view index);
DataError KeyIsNull(std::string_view table, std::string_view index);
DataError NoParentRow(std::string_view table, std::string_view relation);
DataError ChildRowsExist(std::string_view table, std::string_view child);

// Definitions.
DataError DatabaseExists(std::string_view path);
DataError TableExists(std::string_view table);
DataError TableMissing(std::string_view table);
DataError BadFieldDefinition(std::string_view column, std::string_view what);
DataError FieldSizeTooLong(std::string_view column);
DataError BadName(std::string_view what, std::string_view name, std::string_view reason);
DataError BadDefinition(std::string_view table, std::string_view what);

}  // namespace vantry::access
