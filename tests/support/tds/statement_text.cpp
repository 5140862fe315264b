// A statement is cut into tokens and put together again; what isn't told here stays as it was.
// Decimals are declared under names that SQLite takes for texts, or it would make floating numbers
// of them.

#include "support/tds/statement_text.h"

#include "data/connection_string.h"
#include "support/tds/types.h"

#include <cctype>
#include <utility>

namespace vantry::test::tds {
namespace {

struct Token {
    std::string text;    // as it stands
    std::string before;  // blanks before it
    bool Is(std::string_view word) const { return EqualsNoCase(text, word); }
};

bool IsWordSign(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '@' || c == '#' ||
           c == '$' || (static_cast<unsigned char>(c) & 0x80) != 0;
}

// Behind the closing sign, which doubled stands for itself.
std::size_t EndOfQuoted(std::string_view sql, std::size_t from, char closing) {
    for (auto at = from; at < sql.size(); ++at) {
        if (sql[at] == closing) {
            if (at + 1 < sql.size() && sql[at + 1] == closing) {
                ++at;
            } else {
                return at + 1;
            }
        }
    }
    throw ServerError(105, "Unclosed quotation mark after the character string.", 15);
}

std::vector<Token> TokensOf(std::string_view sql) {
    std::vector<Token> tokens;
    std::string before;
    for (std::size_t at = 0; at < sql.size();) {
        const char c = sql[at];
        std::size_t end = at + 1;
        if (std::isspace(static_cast<unsigned char>(c)) != 0) {
            before += c;
            ++at;
            continue;
        }
        const bool wide = (c == 'N' || c == 'n') && end < sql.size() && sql[end] == '\'';
        if (c == '\'' || c == '"' || c == '[' || wide) {
            end = EndOfQuoted(sql, at + (wide ? 2 : 1), wide ? '\'' : c == '[' ? ']' : c);
        } else if (IsWordSign(c)) {
            while (end < sql.size() && IsWordSign(sql[end])) {
                ++end;
            }
        }
        std::string text(sql.substr(at, end - at));
        if (wide) {
            text.erase(0, 1);
        } else if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
            text = "x'" + text.substr(2) + "'";
        }
        tokens.push_back({std::move(text), std::exchange(before, {})});
        at = end;
    }
    return tokens;
}

std::string Joined(const std::vector<Token>& tokens) {
    std::string text;
    for (const auto& token : tokens) {
        text += token.before + token.text;
    }
    return text;
}

// Behind a name of one to three parts (database, schema, table) at `at`.
std::size_t BehindName(const std::vector<Token>& tokens, std::size_t at) {
    while (at + 1 < tokens.size() && tokens[at + 1].Is(".")) {
        at += 2;
    }
    return at + 1;
}

// The place of the sign that ends what begins at `at`: a comma, or a closing bracket.
std::size_t EndOfPart(const std::vector<Token>& tokens, std::size_t at) {
    for (int depth = 0; at < tokens.size(); ++at) {
        if (depth == 0 && (tokens[at].Is(",") || tokens[at].Is(")"))) {
            break;
        }
        depth += tokens[at].Is("(") ? 1 : tokens[at].Is(")") ? -1 : 0;
    }
    return at;
}

// CREATE TABLE name ( column type [rest], ... )
void DeclareTypes(std::vector<Token>& tokens) {
    std::size_t at = BehindName(tokens, 2);
    for (int number = 1; at + 2 < tokens.size() && !tokens[at].Is(")"); ++number) {
        auto& word = tokens[at + 2];
        std::string declared = Unquoted(word.text);
        const auto end = EndOfPart(tokens, at + 1);
        auto behind = at + 3;
        if (behind < end && tokens[behind].Is("(")) {
            for (; behind < end && !declared.ends_with(")"); ++behind) {
                auto& argument = tokens[behind];
                declared += argument.text;
                if (argument.Is("max")) {
                    argument.text = "2147483647";
                }
            }
        }
        const auto type = ParseType(declared);
        if (!type) {
            throw ServerError(2715,
                              "Column, parameter, or variable #" + std::to_string(number) +
                                  ": Cannot find data type " + Unquoted(word.text) + ".");
        }
        word.text = Unquoted(word.text);
        const bool exact = type->kind == Kind::Decimal || type->kind == Kind::Money ||
                           type->kind == Kind::SmallMoney;
        if (exact) {
            word.text += "_text";
        } else if (type->kind == Kind::RowVersion) {
            tokens[behind - 1].text += " default (x'00000000000007D1')";
        }
        at = end;
    }
}

bool IsNumber(const Token& token) {
    return token.text.find_first_not_of("0123456789") == std::string::npos;
}

// A number with a point is exact, and SQLite would make a floating one of it: the same with the
// sign of an exact one before it (store.cpp).
void MarkDecimals(std::vector<Token>& tokens) {
    for (std::size_t at = 1; at + 1 < tokens.size(); ++at) {
        if (tokens[at].Is(".") && IsNumber(tokens[at - 1]) && IsNumber(tokens[at + 1])) {
            const bool negative = at > 1 && tokens[at - 2].Is("-");
            const auto digits = tokens[at - 1].text + "." + tokens[at + 1].text;
            tokens[at].text = "(char(1)||'" + std::string(negative ? "-" : "") + digits + "')";
            tokens[at - 1].text.clear();
            tokens[at + 1].text.clear();
            if (negative) {
                tokens[at - 2].text.clear();
            }
        }
    }
}

}  // namespace

std::string Unquoted(std::string_view name) {
    const bool quoted = name.size() >= 2 && (name.front() == '[' || name.front() == '"');
    return std::string(quoted ? name.substr(1, name.size() - 2) : name);
}

std::string FirstWord(std::string_view sql) {
    std::string word;
    std::size_t at = sql.find_first_not_of(" \t\r\n");
    for (; at < sql.size() && IsWordSign(sql[at]); ++at) {
        word += static_cast<char>(std::toupper(static_cast<unsigned char>(sql[at])));
    }
    return word;
}

std::vector<std::string> SplitBatch(std::string_view batch) {
    std::vector<std::string> statements;
    std::vector<Token> current;
    const auto end = [&] {
        if (!current.empty()) {
            statements.push_back(Joined(current));
        }
        current.clear();
    };
    for (auto& token : TokensOf(batch)) {
        if (token.Is(";")) {
            end();
        } else {
            current.push_back(std::move(token));
        }
    }
    end();
    return statements;
}

std::string ForSqlite(std::string_view sql) {
    auto tokens = TokensOf(sql);
    if (tokens.size() > 4 && tokens[0].Is("create") && tokens[1].Is("table")) {
        DeclareTypes(tokens);
    } else if (!tokens.empty() && tokens[0].Is("insert")) {
        MarkDecimals(tokens);
    }
    return Joined(tokens);
}

}  // namespace vantry::test::tds
