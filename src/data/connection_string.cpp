// One text, two grammars: ODBC's (values in braces, the first of two equal keys counts) and OLE
// DB's (values in quotes, "==" for "=" in a key, the last one counts); the key Provider tells
// which. Strings are joined from what users type, without escaping, so a quote or a brace that
// isn't the whole wrapping of a value belongs to it. Easy to get wrong: a password may stand
// in a pair that another one overrides, and in a value that is a connection string itself; each is
// remembered where it stands, or it would appear in a log.

#include "data/connection_string.h"

#include <algorithm>
#include <optional>

namespace vantry {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kMask = "*****";
// A shorter password also stands inside ordinary words: only where it stands alone is it masked.
constexpr std::size_t kShortSecret = 4;

bool IsWordCharacter(char c) {
    return IsLetter(c) || IsDigit(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

bool IsSecretKey(std::string_view key) {
    return EndsWithNoCase(key, "password") || EndsWithNoCase(key, "pwd") ||
           EqualsNoCase(key, "pass");
}

// ODBC takes the first of these three that it meets, whichever it is.
bool IsSourceKey(std::string_view key) {
    return EqualsNoCase(key, "driver") || EqualsNoCase(key, "dsn") || EqualsNoCase(key, "filedsn");
}

// Whether nothing but blanks stands between `position` and the end of the pair.
bool PairEndsAt(std::string_view text, std::size_t position) {
    const auto next = text.find_first_not_of(kBlanks, position);
    return next == std::string_view::npos || text[next] == ';';
}

}  // namespace

// One pair as it stands in the text, before it is decided which of two equal keys counts.
struct ConnectionString::Scanned {
    std::string key;
    std::string value;
    std::size_t raw_start = 0;  // the value as written, with quotes or braces
    std::size_t raw_length = 0;
};

namespace {

// Reads pairs from left to right in one of the two grammars.
template <typename Pair>
class Scanner {
public:
    Scanner(std::string_view text, bool ole_db) : text_(text), ole_db_(ole_db) {}

    std::optional<Pair> Next() {
        while (position_ < text_.size()) {
            if (text_[position_] == ';' || kBlanks.find(text_[position_]) != std::string::npos) {
                ++position_;
                continue;
            }
            Pair pair;
            if (!ReadKey(pair.key)) {
                continue;
            }
            ReadValue(pair);
            if (!pair.key.empty()) {
                return pair;
            }
        }
        return std::nullopt;
    }

private:
    // False, and moved behind the piece, if there is no "=" before the next ";".
    bool ReadKey(std::string& key) {
        while (position_ < text_.size()) {
            const char c = text_[position_];
            if (c == ';') {
                return false;
            }
            ++position_;
            if (c != '=') {
                key += c;
            } else if (ole_db_ && position_ < text_.size() && text_[position_] == '=') {
                key += c;
                ++position_;
            } else {
                key = std::string(TrimSpace(key));
                return true;
            }
        }
        return false;
    }

    void ReadValue(Pair& pair) {
        while (position_ < text_.size() && kBlanks.find(text_[position_]) != std::string::npos) {
            ++position_;
        }
        pair.raw_start = position_;
        const char first = position_ < text_.size() ? text_[position_] : '\0';
        const bool closed = ole_db_ ? (first == '"' || first == '\'') && ReadQuoted(pair.value)
                                    : first == '{' && ReadBraced(pair.value);
        if (!closed) {
            ReadPlain(pair);
            return;
        }
        position_ = std::min(text_.find(';', position_), text_.size());
        pair.raw_length = position_ - pair.raw_start;
    }

    // A quote that isn't the value's whole wrapping is a character like any other: strings are
    // joined from what users type, and a password may begin with one.
    bool ReadQuoted(std::string& value) {
        const char quote = text_[position_];
        std::string read;
        for (std::size_t i = position_ + 1; i < text_.size(); ++i) {
            if (text_[i] != quote) {
                read += text_[i];
            } else if (i + 1 < text_.size() && text_[i + 1] == quote) {
                read += quote;
                ++i;
            } else if (PairEndsAt(text_, i + 1)) {
                value = std::move(read);
                position_ = i + 1;
                return true;
            } else {
                return false;
            }
        }
        return false;
    }

    bool ReadBraced(std::string& value) {
        std::string read;
        for (std::size_t i = position_ + 1; i < text_.size(); ++i) {
            if (text_[i] != '}') {
                read += text_[i];
            } else if (i + 1 < text_.size() && text_[i + 1] == '}') {
                read += '}';
                ++i;
            } else {
                value = std::move(read);
                position_ = i + 1;
                return true;
            }
        }
        return false;
    }

    void ReadPlain(Pair& pair) {
        // An opening quote of extended properties that is never closed takes the rest: they hold
        // semicolons of their own.
        const bool takes_rest = ole_db_ && position_ < text_.size() && text_[position_] == '"' &&
                                EqualsNoCase(pair.key, "extended properties") &&
                                text_.find('"', position_ + 1) == std::string_view::npos;
        const std::size_t end =
            takes_rest ? text_.size() : std::min(text_.find(';', position_), text_.size());
        std::string_view value = text_.substr(position_, end - position_);
        pair.raw_length = value.size();
        value = TrimSpace(value);
        if (takes_rest) {
            value.remove_prefix(1);
        } else if (ole_db_ && end == text_.size() && !IsSecretKey(pair.key) &&
                   value.ends_with('"') && std::count(value.begin(), value.end(), '"') % 2 == 1) {
            value.remove_suffix(1);
        }
        pair.value = std::string(value);
        position_ = end;
    }

    std::string_view text_;
    bool ole_db_;
    std::size_t position_ = 0;
};

void ReplaceAll(std::string& text, std::string_view secret) {
    const bool alone_only = secret.size() < kShortSecret;
    for (std::size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at)) {
        const std::size_t end = at + secret.size();
        const bool joined = (at > 0 && IsWordCharacter(text[at - 1])) ||
                            (end < text.size() && IsWordCharacter(text[end]));
        if (alone_only && joined) {
            ++at;
            continue;
        }
        text.replace(at, secret.size(), kMask);
        at += kMask.size();
    }
}

}  // namespace

ConnectionString ConnectionString::Parse(std::string_view text) {
    ConnectionString parsed;
    parsed.text_ = std::string(text);
    // A Provider inside braces is part of an ODBC value, so the ODBC grammar tells which one it is.
    Scanner<Scanned> probe(parsed.text_, false);
    while (const auto pair = probe.Next()) {
        parsed.ole_db_ = parsed.ole_db_ || EqualsNoCase(pair->key, "provider");
    }
    Scanner<Scanned> scanner(parsed.text_, parsed.ole_db_);
    while (const auto pair = scanner.Next()) {
        parsed.CollectSecret(*pair);
        parsed.Settle(*pair);
    }
    return parsed;
}

void ConnectionString::Settle(const Scanned& scanned) {
    const auto same = std::find_if(pairs_.begin(), pairs_.end(), [&](const Pair& pair) {
        // DSN, FILEDSN and DRIVER exclude each other: the first one names the source.
        return EqualsNoCase(pair.key, scanned.key) ||
               (!ole_db_ && IsSourceKey(pair.key) && IsSourceKey(scanned.key));
    });
    if (same == pairs_.end()) {
        pairs_.push_back({scanned.key, scanned.value});
    } else if (ole_db_ && !EqualsNoCase(scanned.key, "provider")) {
        same->value = scanned.value;
    }
}

void ConnectionString::CollectSecret(const Scanned& scanned) {
    const auto keep = [this](std::string secret) {
        if (!secret.empty() &&
            std::find(secrets_.begin(), secrets_.end(), secret) == secrets_.end()) {
            secrets_.push_back(std::move(secret));
        }
    };
    if (IsSecretKey(scanned.key)) {
        keep(scanned.value);
        keep(std::string(TrimSpace(text_.substr(scanned.raw_start, scanned.raw_length))));
        secret_ranges_.push_back({scanned.raw_start, scanned.raw_length});
    } else {
        // Extended properties can be a string of another driver; one level is all there is.
        Scanner<Scanned> inner(scanned.value, false);
        while (const auto pair = inner.Next()) {
            if (IsSecretKey(pair->key)) {
                keep(pair->value);
            }
        }
    }
}

const std::string& ConnectionString::Get(std::string_view key) const {
    static const std::string none;
    for (const auto& pair : pairs_) {
        if (EqualsNoCase(pair.key, key)) {
            return pair.value;
        }
    }
    return none;
}

const std::string& ConnectionString::GetAny(std::initializer_list<std::string_view> keys) const {
    for (const auto key : keys) {
        if (Has(key)) {
            return Get(key);
        }
    }
    return Get({});
}

bool ConnectionString::Has(std::string_view key) const {
    return std::any_of(pairs_.begin(), pairs_.end(), [key](const Pair& pair) {
        return EqualsNoCase(pair.key, key);
    });
}

std::string ConnectionString::Masked() const {
    std::string masked;
    std::size_t copied = 0;
    for (const auto& range : secret_ranges_) {
        if (range.length != 0) {
            masked.append(text_, copied, range.start - copied).append(kMask);
            copied = range.start + range.length;
        }
    }
    masked.append(text_, copied);
    return MaskSecrets(masked, *this);
}

std::string MaskSecrets(std::string_view text, const ConnectionString& connection) {
    std::vector<std::string> secrets = connection.Secrets();
    // Longest first: a password may hold another one.
    std::sort(
        secrets.begin(), secrets.end(), [](const std::string& left, const std::string& right) {
            return left.size() > right.size();
        });
    std::string masked(text);
    for (const auto& secret : secrets) {
        ReplaceAll(masked, secret);
    }
    return masked;
}

std::string MaskSecret(std::string_view text, std::string_view secret) {
    std::string masked(text);
    if (!secret.empty()) {
        ReplaceAll(masked, secret);
    }
    return masked;
}

}  // namespace vantry
