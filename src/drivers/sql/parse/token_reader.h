#pragma once
// The parser's view of a statement: one token ahead, read only when asked for, so that a bare table
// name can be read by its own rules.

#include "drivers/sql/errors.h"
#include "drivers/sql/parse/lexer.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace vantry::sql {

class TokenReader {
public:
    TokenReader(std::string_view sql, Dialect::Kind dialect) : sql_(sql), dialect_(dialect) {}

    bool FoxPro() const { return dialect_ == Dialect::Kind::FoxPro; }
    Dialect::Kind Kind() const { return dialect_; }
    const Token& Current();
    // The current token; the next one is looked for behind it.
    Token Take();
    bool AtEnd() { return Current().kind == TokenKind::End; }
    // Where the next token begins, and where the last one taken ended.
    std::size_t Offset() const;
    std::size_t LastEnd() const { return offset_; }
    void MoveTo(std::size_t offset);
    // Without blanks and semicolons at its end.
    std::string_view Slice(std::size_t begin, std::size_t end) const;
    Spot Here() const { return {sql_, Offset()}; }

    // Words and symbols: Is... looks, Accept... takes it if it is there, Expect... throws that
    // the clause can't be read if it isn't. Letter case doesn't count.
    bool IsWord(std::string_view word);
    bool IsAnyWord(std::initializer_list<std::string_view> words);
    // The word behind the current one.
    bool IsNextWord(std::string_view word);
    bool AcceptWord(std::string_view word);
    void ExpectWord(std::string_view word, std::string_view clause);
    bool IsSymbol(std::string_view symbol);
    bool AcceptSymbol(std::string_view symbol);
    void ExpectSymbol(std::string_view symbol, std::string_view clause);

    // A column's, index's or alias's name, bare or quoted.
    std::string ExpectName(std::string_view clause);
    // A table's name: quoted in any way, or bare up to the next blank, comma, bracket or semicolon,
    // so that paths and "orders#csv" come through as they stand.
    std::string ExpectTableName(std::string_view clause);

private:
    std::string BareTableName(std::size_t begin);

    std::string_view sql_;
    Dialect::Kind dialect_;
    std::size_t offset_ = 0;
    std::optional<Token> current_;
};

}  // namespace vantry::sql
