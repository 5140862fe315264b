// Tokens are read on demand and without any state but the place, because the same characters mean
// different things by what the parser expects: a table's name is read by rules of its own. Easy to
// get wrong: the dialects share most characters but not their meaning ("#" begins a date in Jet and
// is "not equal" in FoxPro, "." may begin .T., "$" ends a Jet function's name and is FoxPro's
// "contained in"), doubled quotes are one in Jet only, and a number that runs into a name is an
// error, not two tokens.

#include "drivers/sql/parse/lexer.h"

#include "data/letter_case.h"
#include "data/text_scan.h"
#include "data/utf.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"

namespace vantry::sql {
namespace {

class Lexer {
public:
    Lexer(std::string_view sql, std::size_t offset, Dialect::Kind dialect)
        : sql_(sql), at_(offset), dialect_(dialect) {}

    Token Run() {
        while (at_ < sql_.size() && IsSpace(sql_[at_])) {
            ++at_;
        }
        Token token;
        token.offset = at_;
        if (at_ < sql_.size()) {
            Read(token);
        }
        token.end = at_;
        return token;
    }

private:
    char Peek(std::size_t ahead = 0) const {
        return at_ + ahead < sql_.size() ? sql_[at_ + ahead] : '\0';
    }
    bool FoxPro() const { return dialect_ == Dialect::Kind::FoxPro; }

    void Read(Token& token) {
        const char c = Peek();
        if (c == '\'' || c == '"') {
            ReadString(token, c);
        } else if (c == '[' || c == '`') {
            ReadQuotedName(token, c == '[' ? ']' : '`');
        } else if (c == '#' && !FoxPro()) {
            ReadHashDate(token);
        } else if (c == '{') {
            ReadBraces(token);
            // Before numbers: ".5" isn't one of those words, ".T." is no number. "&" joins texts,
            // "&H" begins a number.
        } else if ((c == '.' && FoxPro() && ReadDottedWord(token)) ||
                   (c == '&' && (Peek(1) == 'h' || Peek(1) == 'H') && ReadHexNumber(token))) {
            return;
        } else if (IsDigit(c) || (c == '.' && IsDigit(Peek(1)))) {
            ReadNumber(token);
        } else if (IsNameStart(c)) {
            ReadName(token);
        } else if (c == '?') {
            token.kind = TokenKind::Parameter;
            ++at_;
        } else {
            ReadSymbol(token);
        }
    }

    void ReadString(Token& token, char quote) {
        token.kind = TokenKind::String;
        const auto start = at_++;
        for (;;) {
            // Line breaks are part of a text.
            const auto end = sql_.find(quote, at_);
            if (end == std::string_view::npos) {
                throw SyntaxErrorInExpression(" in string", sql_.substr(start, 60));
            }
            token.text.append(sql_, at_, end - at_);
            at_ = end + 1;
            if (FoxPro() || Peek() != quote) {
                break;
            }
            token.text += quote;
            ++at_;
        }
        // SQLite's text ends at a NUL: what is behind it would be lost in a condition.
        if (token.text.find('\0') != std::string::npos) {
            throw SyntaxErrorInExpression(" in string", "NUL character");
        }
    }

    void ReadQuotedName(Token& token, char close) {
        token.kind = TokenKind::QuotedName;
        const auto end = sql_.find(close, at_ + 1);
        if (end == std::string_view::npos) {
            throw DataError(
                kErrSyntax,
                "Invalid bracketing of name '" + std::string(sql_.substr(at_, 60)) + "'.");
        }
        token.text = sql_.substr(at_ + 1, end - at_ - 1);
        at_ = end + 1;
    }

    void ReadHashDate(Token& token) {
        const auto end = sql_.find('#', at_ + 1);
        if (end == std::string_view::npos) {
            throw SyntaxErrorInExpression(" in date", sql_.substr(at_, 60));
        }
        // Read here, once, so that a date that is none is an error before anything runs.
        const auto date = ParseDateLiteral(sql_.substr(at_ + 1, end - at_ - 1));
        if (!date) {
            throw SyntaxErrorInExpression(" in date", sql_.substr(at_, end + 1 - at_));
        }
        token.kind = TokenKind::Date;
        token.date = *date;
        at_ = end + 1;
    }

    // {^2024-01-02 10:00}, {d '2024-01-02'}, {ts '...'}, {t '...'}; {guid {...}} is the text of the
    // inner braces, as which such values are compared; {fn F(x)} is F(x), its braces symbols.
    void ReadBraces(Token& token) {
        const auto end = sql_.find('}', at_);
        auto inside = end == std::string_view::npos ? std::string_view()
                                                    : Trimmed(sql_.substr(at_ + 1, end - at_ - 1));
        if (inside.size() > 2 && EqualsNoCase(inside.substr(0, 3), "fn ")) {
            token.kind = TokenKind::Symbol;
            token.text = "{fn";
            at_ = static_cast<std::size_t>(inside.data() - sql_.data()) + 3;
            return;
        }
        if (inside.size() > 4 && EqualsNoCase(inside.substr(0, 4), "guid") &&
            Trimmed(inside.substr(4)).starts_with('{')) {
            ReadGuid(token, Trimmed(inside.substr(4)), end + 1);
            return;
        }
        std::optional<DateTime> date;
        if (!inside.empty() && inside.front() == '^') {
            date = ParseDateLiteral(inside.substr(1));
        } else {
            const auto quote = inside.find('\'');
            const auto word = quote == std::string_view::npos ? std::string_view()
                                                              : Trimmed(inside.substr(0, quote));
            if (EqualsNoCase(word, "d") || EqualsNoCase(word, "ts") || EqualsNoCase(word, "t")) {
                const auto close = inside.find('\'', quote + 1);
                date = ParseDateLiteral(inside.substr(quote + 1, close - quote - 1));
            }
        }
        if (!date) {
            throw SyntaxErrorInExpression(" in date", sql_.substr(at_, 40));
        }
        token.kind = TokenKind::Date;
        token.date = *date;
        at_ = end + 1;
    }

    // `inside` is what stands between the inner braces, the opening one included; `behind` is where
    // the inner closing one ends.
    void ReadGuid(Token& token, std::string_view inside, std::size_t behind) {
        constexpr std::string_view kForm = "{00000000-0000-0000-0000-000000000000";
        bool well_formed = inside.size() == kForm.size();
        for (std::size_t k = 1; well_formed && k < kForm.size(); ++k) {
            well_formed = kForm[k] == '-' ? inside[k] == '-' : HexValue(inside[k]) >= 0;
        }
        const auto close = sql_.find_first_not_of(" \t\r\n", behind);
        if (!well_formed || close == std::string_view::npos || sql_[close] != '}') {
            throw SyntaxErrorInExpression(" in GUID", sql_.substr(at_, 60));
        }
        token.kind = TokenKind::String;
        token.text = std::string(inside) + '}';
        at_ = close + 1;
    }

    // .T. .F. .AND. .OR. .NOT. .NULL.
    bool ReadDottedWord(Token& token) {
        const auto end = sql_.find('.', at_ + 1);
        if (end == std::string_view::npos || end - at_ > 5) {
            return false;
        }
        const auto word = sql_.substr(at_ + 1, end - at_ - 1);
        if (EqualsNoCase(word, "t") || EqualsNoCase(word, "y") || EqualsNoCase(word, "f") ||
            EqualsNoCase(word, "n")) {
            token.kind = TokenKind::Boolean;
            token.boolean = EqualsNoCase(word, "t") || EqualsNoCase(word, "y");
        } else if (EqualsNoCase(word, "and") || EqualsNoCase(word, "or") ||
                   EqualsNoCase(word, "not") || EqualsNoCase(word, "null")) {
            token.kind = TokenKind::Name;
            token.text = word;
        } else {
            return false;
        }
        at_ = end + 1;
        return true;
    }

    void ReadNumber(Token& token) {
        token.kind = TokenKind::Number;
        const auto start = at_;
        while (IsDigit(Peek())) {
            ++at_;
        }
        if (Peek() == '.') {
            ++at_;
            while (IsDigit(Peek())) {
                ++at_;
            }
        }
        // An E without digits behind it is the beginning of a name, and thus an error.
        if (Peek() == 'e' || Peek() == 'E') {
            const std::size_t sign = Peek(1) == '+' || Peek(1) == '-' ? 1 : 0;
            if (IsDigit(Peek(1 + sign))) {
                at_ += 1 + sign;
                while (IsDigit(Peek())) {
                    ++at_;
                }
            }
        }
        if (IsNameStart(Peek())) {
            throw MissingOperator(sql_.substr(start, 40), {sql_, at_});
        }
        token.text = sql_.substr(start, at_ - start);
    }

    bool ReadHexNumber(Token& token) {
        std::size_t digits = 0;
        while (HexValue(Peek(2 + digits)) >= 0) {
            ++digits;
        }
        // Else "&" joins texts: a&hat is a joined with hat.
        if (digits == 0 || digits > 8 || IsNameCharacter(Peek(2 + digits))) {
            return false;
        }
        const auto value = static_cast<std::uint32_t>(
            std::stoul(std::string(sql_.substr(at_ + 2, digits)), nullptr, 16));
        // &HFFFF is the 16-bit number -1, &H0000FFFF or more the 32-bit one.
        token.kind = TokenKind::Number;
        token.text = std::to_string(digits <= 4 ? static_cast<std::int16_t>(value)
                                                : static_cast<std::int32_t>(value));
        at_ += 2 + digits;
        return true;
    }

    void ReadName(Token& token) {
        token.kind = TokenKind::Name;
        const auto start = at_;
        while (at_ < sql_.size() && IsNameCharacter(sql_[at_])) {
            ++at_;
        }
        token.text = sql_.substr(start, at_ - start);
        // Left$(...) is Left(...).
        if (Peek() == '$' && Peek(1) == '(' && !FoxPro()) {
            ++at_;
        }
    }

    void ReadSymbol(Token& token) {
        static constexpr std::string_view kPairs[] = {"<>", "<=", ">=", "!=", "==", "**"};
        static constexpr std::string_view kSingles = "=<>+-*/\\^&(),.;!$%#}|";
        token.kind = TokenKind::Symbol;
        for (const auto pair : kPairs) {
            if (sql_.substr(at_, 2) == pair) {
                token.text = pair;
                at_ += 2;
                return;
            }
        }
        if (kSingles.find(Peek()) == std::string_view::npos) {
            throw SyntaxErrorInExpression(" (invalid character)", sql_.substr(at_, 20));
        }
        token.text = Peek();
        ++at_;
    }

    std::string_view sql_;
    std::size_t at_;
    Dialect::Kind dialect_;
};

}  // namespace

Token ReadToken(std::string_view sql, std::size_t offset, Dialect::Kind dialect) {
    return Lexer(sql, offset, dialect).Run();
}

std::optional<DateTime> ParseDateLiteral(std::string_view text) {
    const auto trimmed = Trimmed(text);
    if (trimmed.empty()) {
        return std::nullopt;
    }
    if (const auto iso = ParseIsoDateTime(trimmed)) {
        return iso;
    }
    // Between hashes a date means the same on every machine, whatever its settings.
    DateForm form{DateOrder::MonthDayYear, '/', false, true};
    if (const auto date = ParseDateTime(trimmed, form)) {
        return date;
    }
    // 31/1/2024 can only be a day first.
    form.order = DateOrder::DayMonthYear;
    if (const auto date = ParseDateTime(trimmed, form)) {
        return date;
    }
    form.order = DateOrder::YearMonthDay;
    return ParseDateTime(trimmed, form);
}

bool IsNameStart(char c) {
    return IsLetter(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

bool IsNameCharacter(char c) {
    return IsNameStart(c) || IsDigit(c);
}

bool IsSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

}  // namespace vantry::sql
