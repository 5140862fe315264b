#pragma once
// Connection strings as they stand in a session: "key=value;" pairs in the two grammars that are in
// use. With a Provider key it is the OLE DB grammar: values may stand in "..." or '...' with that
// quote doubled inside, "==" in a key is a literal "=", the last of a repeated key wins (for
// Provider the first). Without one it is the ODBC grammar: a value that starts with "{" runs to the
// closing "}", "}}" inside is a literal "}", the first of a repeated key wins. Keys compare without
// case; values are kept as typed. A stray unpaired quote at the end is ignored: the strings of text
// sources have one.

#include "data/ascii.h"

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

class ConnectionString {
public:
    struct Pair {
        std::string key;
        std::string value;
    };

    ConnectionString() = default;
    // Never fails: what isn't a pair is passed over.
    static ConnectionString Parse(std::string_view text);

    // The value, or an empty text where there is none; keys in any letter case.
    const std::string& Get(std::string_view key) const;
    // The first of the given keys that is there.
    const std::string& GetAny(std::initializer_list<std::string_view> keys) const;
    bool Has(std::string_view key) const;

    // In the order of the string, repeated keys already settled.
    const std::vector<Pair>& Pairs() const { return pairs_; }
    const std::string& Text() const { return text_; }
    bool IsOleDb() const { return ole_db_; }

    // The text with the values of passwords blanked out: for messages and logs.
    std::string Masked() const;
    // Every password in the string, each once: also those of repeated keys and of a string inside a
    // value, and those that were written otherwise than they read.
    const std::vector<std::string>& Secrets() const { return secrets_; }

private:
    struct Scanned;
    void Settle(const Scanned& scanned);
    void CollectSecret(const Scanned& scanned);

    std::string text_;
    std::vector<Pair> pairs_;
    std::vector<std::string> secrets_;
    struct Range {
        std::size_t start;
        std::size_t length;
    };
    std::vector<Range> secret_ranges_;  // in text_, ascending
    bool ole_db_ = false;
};

// `text` with every password that `connection` holds blanked out: drivers repeat the connection
// string in some of their errors.
std::string MaskSecrets(std::string_view text, const ConnectionString& connection);

// The same for one password.
std::string MaskSecret(std::string_view text, std::string_view secret);

}  // namespace vantry
