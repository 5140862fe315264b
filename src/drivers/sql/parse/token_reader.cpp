// One token ahead, read when it is first looked at. That late because a table's name isn't made of
// tokens: the parser says "now a table", and the characters from there on are read by another rule,
// up to a blank or a mark that can't be in a bare path. Easy to get wrong: whatever moves the place
// must throw the token ahead away, and a table that is missing must not swallow the next clause's
// word.

#include "drivers/sql/parse/token_reader.h"

#include <algorithm>

namespace vantry::sql {

const Token& TokenReader::Current() {
    if (!current_) {
        current_ = ReadToken(sql_, offset_, dialect_);
    }
    return *current_;
}

Token TokenReader::Take() {
    Token token = Current();
    current_.reset();
    offset_ = token.end;
    return token;
}

std::size_t TokenReader::Offset() const {
    // Where the next token begins, whether it has been read or not.
    auto offset = offset_;
    while (offset < sql_.size() && IsSpace(sql_[offset])) {
        ++offset;
    }
    return offset;
}

void TokenReader::MoveTo(std::size_t offset) {
    offset_ = offset;
    current_.reset();
}

std::string_view TokenReader::Slice(std::size_t begin, std::size_t end) const {
    // Without what trails it: these texts stand in messages and are compared with each other.
    auto text = sql_.substr(begin, end > begin ? end - begin : 0);
    while (!text.empty() && (IsSpace(text.back()) || text.back() == ';')) {
        text.remove_suffix(1);
    }
    return text;
}

bool TokenReader::IsWord(std::string_view word) {
    return Current().kind == TokenKind::Name && EqualsNoCase(Current().text, word);
}

bool TokenReader::IsAnyWord(std::initializer_list<std::string_view> words) {
    return std::any_of(words.begin(), words.end(), [this](auto word) { return IsWord(word); });
}

bool TokenReader::IsNextWord(std::string_view word) {
    const auto next = ReadToken(sql_, Current().end, dialect_);
    return next.kind == TokenKind::Name && EqualsNoCase(next.text, word);
}

bool TokenReader::AcceptWord(std::string_view word) {
    if (!IsWord(word)) {
        return false;
    }
    Take();
    return true;
}

void TokenReader::ExpectWord(std::string_view word, std::string_view clause) {
    if (!AcceptWord(word)) {
        throw SyntaxErrorIn(clause, Here());
    }
}

bool TokenReader::IsSymbol(std::string_view symbol) {
    return Current().kind == TokenKind::Symbol && Current().text == symbol;
}

bool TokenReader::AcceptSymbol(std::string_view symbol) {
    if (!IsSymbol(symbol)) {
        return false;
    }
    Take();
    return true;
}

void TokenReader::ExpectSymbol(std::string_view symbol, std::string_view clause) {
    if (!AcceptSymbol(symbol)) {
        throw SyntaxErrorIn(clause, Here());
    }
}

std::string TokenReader::ExpectName(std::string_view clause) {
    const auto kind = Current().kind;
    if ((kind != TokenKind::Name && kind != TokenKind::QuotedName) || Current().text.empty()) {
        throw SyntaxErrorIn(clause, Here());
    }
    return Take().text;
}

std::string TokenReader::ExpectTableName(std::string_view clause) {
    const auto begin = Offset();
    const char first = begin < sql_.size() ? sql_[begin] : '\0';
    std::string name;
    if (first == '[' || first == '`' || first == '"' || first == '\'') {
        MoveTo(begin);
        name = Take().text;
        // [a].[b] is a table b of a database a; [orders].csv isn't a way to write a file.
        if (LastEnd() < sql_.size() && (sql_[LastEnd()] == '.' || sql_[LastEnd()] == '!') &&
            LastEnd() + 1 < sql_.size() &&
            (sql_[LastEnd() + 1] == '[' || IsNameStart(sql_[LastEnd() + 1]))) {
            throw NotSupported("A table of another database ('" + name + "')");
        }
    } else {
        name = BareTableName(begin);
    }
    if (name.empty()) {
        throw SyntaxErrorIn(clause, Here());
    }
    return name;
}

std::string TokenReader::BareTableName(std::size_t begin) {
    auto end = begin;
    while (end < sql_.size() && !IsSpace(sql_[end]) &&
           std::string_view("(),;\"'[]").find(sql_[end]) == std::string_view::npos) {
        ++end;
    }
    auto name = sql_.substr(begin, end - begin);
    if (FoxPro() && name.starts_with('/')) {
        // A folder with blanks in an unquoted path: the file's extension is the end.
        for (auto at = begin; at + 4 <= sql_.size(); ++at) {
            if (EqualsNoCase(sql_.substr(at, 4), ".dbf") &&
                (at + 4 == sql_.size() || IsSpace(sql_[at + 4]) || sql_[at + 4] == '(')) {
                end = std::max(end, at + 4);
                break;
            }
        }
        name = sql_.substr(begin, end - begin);
    }
    // "SELECT a FROM WHERE b": the table is missing.
    for (const auto word : {"where",
                            "group",
                            "order",
                            "having",
                            "select",
                            "union",
                            "on",
                            "inner",
                            "left",
                            "right",
                            "join",
                            "set",
                            "values",
                            "from",
                            "into"}) {
        if (EqualsNoCase(name, word)) {
            return {};
        }
    }
    MoveTo(end);
    return std::string(name);
}

}  // namespace vantry::sql
