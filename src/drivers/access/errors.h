#pragma once
// The errors of the Access engine, one factory a kind. Texts say what is wrong, where, and what the
// user can do.

#include "data/data_error.h"
#include "drivers/access/bytes.h"
#include "drivers/access/format.h"

#include <string>
#include <string_view>

namespace vantry::access {

// What the structure at `page` contradicts: `what` is a clause such as "its row list runs outside".
DataError DamagedPage(std::string_view file, PageNumber page, std::string_view what);
DataError DamagedFile(std::string_view file, std::string_view what);
DataError CannotOpen(std::string_view path, std::string_view reason);
DataError CannotRead(std::string_view file, PageNumber page, std::string_view reason);
DataError NotAnAccessFile(std::string_view path, std::string_view what);
DataError UnknownVersion(std::string_view path, int version);
DataError WrongPassword(std::string_view path, bool given);
// `what` is what isn't known of it: a version, a cipher.
DataError UnknownEncryption(std::string_view path, std::string_view what);
DataError NoSuchTable(std::string_view file, std::string_view table);
// `reason` says why a listed object can't be read: a linked table, a query of another kind.
DataError CannotReadObject(std::string_view object, std::string_view reason);
// A field of one row that can't be made a value of.
DataError UnreadableField(std::string_view table,
                          std::string_view column,
                          PageNumber page,
                          RowNumber row,
                          std::string_view what);

// Runs `body`, a reading of page `page`; what points outside there becomes a DataError with the
// file, the page and `what`.
template <typename Body>
decltype(auto) WithPage(std::string_view file,
                        PageNumber page,
                        std::string_view what,
                        Body&& body) {
    try {
        return body();
    } catch (const BoundsError&) {
        throw DamagedPage(file, page, what);
    }
}

// The same where no one page is being read: around whole changes.
template <typename Body>
decltype(auto) WithFile(std::string_view file, Body&& body) {
    try {
        return body();
    } catch (const BoundsError&) {
        throw DamagedFile(file, "a length or a reference in it points outside");
    }
}

}  // namespace vantry::access
