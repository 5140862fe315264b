#pragma once
// Cuts a statement of either dialect into tokens. Double-quoted text is a string in both (it may
// still stand where a table's name is wanted); [x] and `x` are names.

#include "data/ascii.h"
#include "data/value.h"
#include "drivers/sql/storage.h"

#include <optional>
#include <string>
#include <string_view>

namespace vantry::sql {

enum class TokenKind : std::uint8_t {
    End,
    Name,        // bare word, keywords included; a trailing "$" of a Jet function is cut off
    QuotedName,  // [x] or `x`
    String,
    Number,
    Date,
    Boolean,  // .T. and .F.
    Parameter,
    Symbol,  // `text` is the operator or punctuation mark
};

struct Token {
    TokenKind kind = TokenKind::End;
    std::string text;        // decoded: without quotes, doubled quotes made one
    std::size_t offset = 0;  // of its first byte in the statement
    std::size_t end = 0;     // behind its last byte
    DateTime date;           // Date only
    bool boolean = false;    // Boolean only
};

// Reads the token that begins at or behind `offset` (blanks are passed over). Tokens are read one
// by one because bare table names (paths, "orders#csv") follow rules of their own. Throws DataError
// for characters outside the language, strings, names and dates without an end, and dates that are
// none.
Token ReadToken(std::string_view sql, std::size_t offset, Dialect::Kind dialect);

// A date between hashes: month/day/year whatever the locale, day/month/year only where that alone
// makes sense, ISO forms, month names, times. Nothing if it is no date.
std::optional<DateTime> ParseDateLiteral(std::string_view text);

bool IsNameStart(char c);  // letters, "_" and every byte of a non-ASCII character
bool IsNameCharacter(char c);
bool IsSpace(char c);

}  // namespace vantry::sql
