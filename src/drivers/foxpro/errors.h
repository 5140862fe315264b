#pragma once
// The errors of the FoxPro engine: what is wrong, with which file, record and field, and what the
// user can do.

#include "data/data_error.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vantry::foxpro {

// ---- Files
DataError CannotOpen(std::string_view path, std::string_view reason);
DataError NotATable(std::string_view path, std::string_view what);
DataError DamagedTable(std::string_view path, std::string_view what);
DataError DamagedIndex(std::string_view path, std::string_view what);
DataError DamagedContainer(std::string_view path, std::string_view what);
// `why`: without its full stop; says the way out where there is one.
DataError CannotWrite(std::string_view path, std::string_view why);
// A field of a record that can't be read.
DataError BadField(std::string_view path,
                   std::uint32_t record,
                   std::string_view field,
                   std::string_view what);
// The header counts more records than the file has.
// No error: a remark on memos that are read as null.
std::string MemosMissed(std::string_view path, std::string_view memo_path);
DataError RecordsMissing(std::string_view path, std::uint32_t there, std::uint32_t missing);
DataError TableIsFull(std::string_view path, std::string_view limit);

// ---- Values, by table and field
DataError ValueDoesNotFit(std::string_view table,
                          std::string_view field,
                          std::string_view value,
                          std::string_view why);
DataError TextTooLong(std::string_view table,
                      std::string_view field,
                      std::string_view value,
                      std::size_t bytes,
                      std::size_t width);
DataError NotInCodePage(std::string_view table,
                        std::string_view field,
                        std::string_view character,
                        int code_page);
DataError NullNotAllowed(std::string_view table, std::string_view field);

// ---- Definitions
DataError BadFieldDefinition(std::string_view table, std::string_view field, std::string_view what);
DataError BadTableDefinition(std::string_view table, std::string_view what);

// ---- Tags
// A tag that can't be kept right.
DataError UnsupportedTag(std::string_view path,
                         std::string_view tag,
                         std::string_view expression,
                         std::string_view why);
// What can't become a tag, or can't have that name.
DataError BadTagDefinition(std::string_view path,
                           std::string_view tag,
                           std::string_view expression,
                           std::string_view why);
// A record whose key in a tag can't be known.
DataError KeyNotMade(std::string_view path,
                     std::string_view tag,
                     std::string_view expression,
                     std::uint32_t record,
                     std::string_view why);
// A second record with the key of a candidate or primary tag. `record`: the one that has it.
DataError DuplicateKey(std::string_view path,
                       std::string_view tag,
                       std::string_view expression,
                       std::uint32_t record);

}  // namespace vantry::foxpro
