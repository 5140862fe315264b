#pragma once
// The errors of the text driver beside those of the file layer. A text says what is wrong, in which
// file and where in it, and what the user can do.

#include "data/data_error.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vantry::text {

// Connecting and finding files.
DataError FolderMissing(std::string_view folder);
DataError FileMissing(std::string_view name);
DataError CannotListFolder(std::string_view folder, std::string_view reason);

// Reading.
// `row` is the last one that was read; 0: none.
DataError ChangedWhileRead(std::string_view path, std::int64_t row = 0);
// Control bytes in the first part of a file.
struct ForeignBytes {
    std::size_t looked_at = 0;
    std::size_t count = 0;
    std::size_t nuls = 0;  // of them
    std::int64_t first_line = 0;
};
DataError NotText(std::string_view path, const ForeignBytes& found);
DataError TwoByteText(std::string_view path);
DataError WideText(std::string_view path);
DataError RowTooLong(std::string_view path, std::int64_t line);
DataError TooManyFields(std::string_view path, std::size_t count);
DataError SchemaTooLarge(std::string_view path);
DataError UnknownCharacterSet(std::string_view path, std::string_view word);
DataError FixedNeedsColumns(std::string_view path);

// A row that doesn't fit the table; `fields` of it, surplus ones included.
DataError RowHasSurplus(std::string_view path,
                        std::int64_t line,
                        std::size_t fields,
                        std::size_t columns);
// The same where columns are cut by their widths.
DataError LineTooLong(std::string_view path, std::int64_t line);
// `lines`: those that became part of the field, that in which it begins aside.
DataError QualifierNotClosed(std::string_view path, std::int64_t line, std::int64_t lines);

// A field that can't be read as its column's type.
struct FieldPlace {
    std::string path;
    std::int64_t line = 0;
    std::string column;
    std::string value;  // as it stands in the file; cut by the error if it is long
};
DataError FieldDoesNotFit(const FieldPlace& place, std::string_view wanted, std::string_view hint);

// Writing.
DataError UpdatesNotSupported();
DataError DeletesNotSupported();
DataError ValueDoesNotFit(std::string_view file, std::string_view column, std::string_view reason);
DataError TableExists(std::string_view name);
DataError TableNotThere(std::string_view name);
DataError BadTableName(std::string_view name);
DataError BadHeader(std::string_view path);
DataError BadColumnName(std::string_view column);
DataError BadColumnType(std::string_view column, std::string_view type);

}  // namespace vantry::text
