// Keys are numbers of 64 bits, so that many of them need little memory. Easy to get wrong: what a
// server takes for the same key. Texts may be equal whatever their case, accents, or blanks behind
// them, or by their first letters alone; numbers are, whatever their type; and whether two nulls
// repeat one another is each server's own view.

#include "check/unique_key.h"

#include "core/kinds.h"
#include "data/letter_case.h"
#include "data/letter_order.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vantry {
namespace {

constexpr std::uint64_t kNull = 0x6E756C6C;

// An odd multiplier loses no bit; the shift brings the high bits, which it mixes best, down again.
std::uint64_t Mixed(std::uint64_t hash, std::uint64_t word) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
    return hash ^ (hash >> 29);
}

std::uint64_t HashOfText(std::uint64_t hash, std::string_view text) {
    for (std::size_t at = 0; at < text.size(); at += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + at, std::min(sizeof word, text.size() - at));
        hash = Mixed(hash, word);
    }
    // The length, too: the last word is filled up with zeros, and parts of a key must not run
    // together.
    return Mixed(hash, text.size() + 1);
}

// The usual collations of all but Oracle go without case; a server that answers by another one says
// so in its rule.
TableRules::Letters Compared(const TableRules::Part& part) {
    using enum TableRules::Letters;
    if (part.compared != Usual) {
        return part.compared;
    }
    const auto kind = KindOf(TargetType).types;
    return kind == TypeNames::Oracle  ? Exact
           : kind == TypeNames::MySQL ? AnyCaseAndAccents
                                      : AnyCase;
}

std::uint64_t HashOfLetters(std::uint64_t hash,
                            std::string_view text,
                            const TableRules::Part& part,
                            bool bytes) {
    if (part.letters > 0) {
        std::size_t end = 0;
        for (std::int64_t k = 0; k < part.letters && end < text.size(); ++k) {
            bytes ? static_cast<void>(++end) : static_cast<void>(NextCodePoint(text, end));
        }
        text = text.substr(0, end);
    }
    const auto compared = bytes ? TableRules::Letters::Exact : Compared(part);
    if (!bytes && !part.blanks_count &&
        (compared != TableRules::Letters::Exact || part.compared != TableRules::Letters::Usual)) {
        text = text.substr(0, text.find_last_not_of(' ') + 1);
    }
    if (compared == TableRules::Letters::AnyCase) {
        return HashOfText(hash, LowerCased(text));
    }
    if (compared == TableRules::Letters::Exact) {
        return HashOfText(hash, text);
    }
    std::size_t letters = 0;
    for (std::size_t at = 0; at < text.size(); ++letters) {
        hash = Mixed(hash, LetterPlace(FoldedCase(NextCodePoint(text, at))));
    }
    return Mixed(hash, letters + 1);
}

std::uint64_t HashOf(std::uint64_t hash, const Cell& value, const TableRules::Part& part) {
    if (value.IsNull()) {
        return Mixed(hash, kNull);
    }
    if (value.Kind() == ValueKind::Text || value.Kind() == ValueKind::Bytes) {
        return HashOfLetters(hash, value.AsText(), part, value.Kind() == ValueKind::Bytes);
    }
    if (const auto number = ToInt64(value)) {
        return Mixed(hash, static_cast<std::uint64_t>(*number));
    }
    const auto decimal = value.Kind() == ValueKind::DateTime ? std::nullopt : ToDecimal(value);
    return HashOfText(
        hash, decimal ? ToText(Cell::FromDecimal(WithoutTrailingZeros(*decimal))) : ToText(value));
}

}  // namespace

void UniqueKey::AddKey(std::string_view key, std::int64_t row) {
    keys.Add(HashOfText(0, key), row);
}

void UniqueKey::Add(std::span<const Cell> parts, std::int64_t row) {
    if (rule_.keys) {
        if (const auto key = rule_.keys->KeyOf(parts)) {
            AddKey(*key, row);
        }
        return;
    }
    std::size_t nulls = 0;
    std::uint64_t hash = 0;
    for (std::size_t k = 0; k < parts.size(); ++k) {
        nulls += parts[k].IsNull() ? 1 : 0;
        hash = HashOf(hash, parts[k], rule_.parts[k]);
    }
    const bool out = rule_.nulls == TableRules::Nulls::TakeOut        ? nulls > 0
                     : rule_.nulls == TableRules::Nulls::TakeOutIfAll ? nulls == parts.size()
                                                                      : false;
    if (!out) {
        keys.Add(hash, row);
    }
}

std::string UniqueKey::Name() const {
    std::string names;
    for (const auto& part : rule_.parts) {
        names += (names.empty() ? "" : ", ") + part.column;
    }
    return rule_.name + " (" + names + ")";
}

}  // namespace vantry
