// A value's form is found by its column's, then by its own kind, with the usual kinds first: this
// runs once a field. Easy to get wrong: numbers. The same number comes as an integer, a decimal, a
// double or digits, and must give the same 64 bits, so all that a double holds goes through the
// double's bits; what it doesn't hold is kept apart by its digits.

#include "engine/content_sum.h"

#include "core/kinds.h"
#include "core/settings.h"
#include "data/ado_types.h"
#include "data/ascii.h"
#include "data/short_number.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>

namespace vantry {

ContentSums* CurrentSums = nullptr;

namespace {

// Not 0: a null counts in a sum, so that a null in place of a value shows.
constexpr std::uint64_t kNullHash = 0x6E756C6C6E756C6CULL;
constexpr std::uint64_t kUnreadableHash = 0x6E6F6E656E6F6E65ULL;
constexpr std::uint64_t kOdd = 0xD6E8FEB86659FD93ULL;

std::uint64_t Mixed(std::uint64_t x) {
    x ^= x >> 32U;
    x *= kOdd;
    x ^= x >> 32U;
    x *= kOdd;
    return x ^ (x >> 32U);
}

// Of what a product has mixed already: sums of neighbours must not cancel out.
std::uint64_t Finished(std::uint64_t x) {
    return (x ^ (x >> 32U)) * kOdd;
}

// Both halves of the product: each bit of both comes out everywhere.
std::uint64_t Folded(std::uint64_t a, std::uint64_t b) {
    const auto product = static_cast<UInt128>(a) * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64U);
}

template <typename Word>
std::uint64_t WordAt(const char* at) {
    Word word;
    std::memcpy(&word, at, sizeof word);
    return word;
}

// Sixteen bytes at a time. What is left is read together with bytes before it, rather than byte by
// byte: most texts are short, and of all lengths.
std::uint64_t HashOfText(std::string_view text) {
    constexpr std::uint64_t kFirst = 0x9AE1'6A3B'2F90'404FU;
    constexpr std::uint64_t kLast = 0xC3A5'C85C'97CB'3127U;
    const char* at = text.data();
    const char* const end = at + text.size();
    std::uint64_t hash = text.size() * kOdd;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    if (text.size() >= 8) {
        for (; end - at > 16; at += 16) {
            hash = Folded(WordAt<std::uint64_t>(at) ^ kFirst, WordAt<std::uint64_t>(at + 8) ^ hash);
        }
        at = text.size() >= 16 ? end - 16 : at;
        first = WordAt<std::uint64_t>(at);
        last = WordAt<std::uint64_t>(end - 8);
    } else if (text.size() >= 4) {
        first = WordAt<std::uint32_t>(at);
        last = WordAt<std::uint32_t>(end - 4);
    } else if (!text.empty()) {
        const auto byte = [&](std::size_t k) {
            return std::uint64_t{static_cast<unsigned char>(at[k])};
        };
        first = byte(0) | byte(text.size() / 2) << 8U | byte(text.size() - 1) << 16U;
    }
    return Finished(Folded(first ^ kFirst, last ^ hash) ^ kLast);
}

// ---- Numbers

constexpr auto kPowers = [] {
    std::array<double, 23> powers{};
    double power = 1;
    for (auto& place : powers) {
        place = power;
        power *= 10;
    }
    return powers;
}();
constexpr std::int64_t kMostExact = std::int64_t{1} << 53;
// Fifteen digits always come back from a double; with more of them it depends on the number.
constexpr std::int64_t kMostSure = 999'999'999'999'999;

std::uint64_t HashOfDouble(double number) {
    number += 0.0;  // -0 is 0
    std::uint64_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return Mixed(bits ^ 0x5555'5555'0000'0000ULL);
}

[[gnu::noinline]] std::uint64_t HashOfWide(const Decimal& number) {
    const auto nearest = ToDouble(Cell::FromDecimal(number));
    if (nearest && DoubleHolds(number)) {
        return HashOfDouble(*nearest);
    }
    const Decimal plain = WithoutTrailingZeros(number);
    const auto bits = static_cast<UInt128>(plain.unscaled);
    return Mixed(Mixed(static_cast<std::uint64_t>(bits)) ^ static_cast<std::uint64_t>(bits >> 64) ^
                 (std::uint64_t{plain.scale} << 56U));
}

std::uint64_t HashOfDecimal(const Decimal& number) {
    if (number.unscaled >= -kMostSure && number.unscaled <= kMostSure &&
        number.scale < kPowers.size()) {
        return HashOfDouble(static_cast<double>(static_cast<std::int64_t>(number.unscaled)) /
                            kPowers[number.scale]);
    }
    return HashOfWide(number);
}

std::uint64_t HashOfInteger(std::int64_t number) {
    if (number >= -kMostExact && number <= kMostExact) {
        return HashOfDouble(static_cast<double>(number));
    }
    return HashOfWide({number, 0});
}

// Of a text that isn't a short number: one of more digits, with an exponent, or none at all.
[[gnu::noinline]] std::uint64_t HashOfOtherDigits(std::string_view text) {
    if (const auto number = ParseDecimal(text)) {
        return HashOfDecimal(*number);
    }
    const auto number = ParseDouble(text);
    return number ? HashOfDouble(*number) : HashOfText(text);
}

std::uint64_t HashOfShort(const ShortNumber& number) {
    if (number.unscaled < -kMostSure || number.unscaled > kMostSure) [[unlikely]] {
        return HashOfWide({number.unscaled, number.scale});
    }
    // Most are whole, and a division takes longer than all the rest.
    auto value = static_cast<double>(number.unscaled);
    if (number.scale != 0) {
        value /= kPowers[number.scale];
    }
    return HashOfDouble(value);
}

std::uint64_t HashOfDigits(std::string_view text) {
    ShortNumber number;
    return ReadShortNumber(text, number) ? HashOfShort(number) : HashOfOtherDigits(text);
}

std::uint64_t HashOfNumber(const Cell& value) {
    switch (value.Kind()) {
        case ValueKind::NumberText:
            return HashOfDigits(value.AsText());
        case ValueKind::Int64:
            return HashOfInteger(value.AsInt64());
        case ValueKind::Double:
            return HashOfDouble(value.AsDouble());
        case ValueKind::Decimal:
            return HashOfDecimal(value.AsDecimal());
        case ValueKind::Single:
            return HashOfDouble(WrittenAs(value.AsSingle()));
        case ValueKind::Boolean:
            return HashOfDouble(value.AsBoolean() ? -1 : 0);
        case ValueKind::Text:
            return HashOfDigits(Trimmed(value.AsText()));
        default:
            if (const auto number = ToDecimal(value)) {
                return HashOfDecimal(*number);
            }
            return HashOfText(ToText(value));
    }
}

std::uint64_t HashOfSingle(const Cell& value) {
    if (value.Kind() == ValueKind::Single) {
        return HashOfDouble(WrittenAs(value.AsSingle()));
    }
    const auto number = ToDouble(value);
    return number ? HashOfDouble(WrittenAs(static_cast<float>(*number)))
                  : HashOfText(ToText(value));
}

// ---- The others

std::uint64_t HashOfTrueOrFalse(bool truth) {
    return Mixed(truth ? 0x7472'7565 : 0x6661'6C73);
}

std::uint64_t HashOfTruth(const Cell& value) {
    std::optional<bool> truth;
    if (value.Kind() == ValueKind::Text || value.Kind() == ValueKind::Bytes) {
        truth = ParseBoolean(Trimmed(value.AsText()));
    } else {
        truth = ToBoolean(value);
    }
    return truth ? HashOfTrueOrFalse(*truth) : HashOfText(ToText(value));
}

std::uint64_t HashOfNumberOrTruth(const Cell& value) {
    const auto number = ToDouble(value);
    const bool is_truth =
        value.Kind() == ValueKind::Boolean ||
        (number ? *number == 0 || std::abs(*number) == 1
                : value.Kind() == ValueKind::Text && ParseBoolean(Trimmed(value.AsText())));
    // The same value on both sides goes the same way: 1, -1, True and "True" are one, 2 is a
    // number.
    return is_truth ? HashOfTruth(value) : HashOfNumber(value);
}

std::uint64_t HashOfExactMoment(const DateTime& moment) {
    return Mixed(Mixed(static_cast<std::uint64_t>(moment.day)) ^
                 static_cast<std::uint64_t>(moment.nanos));
}

std::uint64_t HashOfMoment(const Cell& value, const ContentColumn& column) {
    DateTime moment;
    if (value.Kind() == ValueKind::DateTime) {
        moment = value.AsDateTime();
    } else if (const auto iso = value.Kind() == ValueKind::Text ? ParseIsoDateTime(value.AsText())
                                                                : std::nullopt) {
        moment = *iso;
    } else if (const auto read = ToDateTime(value)) {
        moment = *read;
    } else {
        return HashOfText(ToText(value));
    }
    // Most columns count in nanoseconds: no division for them.
    if (column.nanos != 1) {
        moment.nanos = (moment.nanos + column.nanos / 2) / column.nanos * column.nanos;
        if (moment.nanos >= kNanosPerDay) {
            moment.nanos -= kNanosPerDay;
            ++moment.day;
        }
    }
    return HashOfExactMoment(moment);
}

std::uint64_t HashOfGuid(const Cell& value) {
    std::string digits;
    for (const char c : ToText(value)) {
        if (c != '{' && c != '}') {
            digits += UpperCase(c);
        }
    }
    return HashOfText(digits);
}

std::uint64_t HashOfPlainText(const Cell& value, const ContentColumn& column) {
    std::string made;
    std::string_view text;
    if (value.IsView()) {
        text = value.AsText();
    } else {
        made = ToText(value);
        text = made;
    }
    if (column.filled_up) {
        text = Trimmed(text);
    }
    if (column.without_formula_lead && text.size() > 1 && text[0] == '\'' &&
        IsFormulaSign(text[1])) {
        text.remove_prefix(1);
    }
    return HashOfText(text);
}

bool IsNumberType(int type) {
    constexpr int kNumbers[] = {adSmallInt,
                                adInteger,
                                adSingle,
                                adDouble,
                                adCurrency,
                                adDecimal,
                                adTinyInt,
                                adUnsignedTinyInt,
                                adUnsignedSmallInt,
                                adUnsignedInt,
                                adBigInt,
                                adUnsignedBigInt,
                                adNumeric,
                                adVarNumeric};
    return std::find(std::begin(kNumbers), std::end(kNumbers), type) != std::end(kNumbers);
}

ContentForm FormOf(int source, int target) {
    if (IsBinaryType(source) || IsBinaryType(target)) {
        return ContentForm::Text;
    }
    if (source == adBoolean) {
        return ContentForm::Boolean;
    }
    if (target == adBoolean) {
        return ContentForm::NumberOrTruth;
    }
    if (source == adSingle) {
        return ContentForm::Single;
    }
    if (IsDateType(source) || IsDateType(target)) {
        return ContentForm::Moment;
    }
    if (source == adGUID || target == adGUID) {
        return ContentForm::Guid;
    }
    return IsNumberType(source) || IsNumberType(target) ? ContentForm::Number : ContentForm::Text;
}

}  // namespace

double WrittenAs(float number) {
    if (number == std::trunc(number) && std::abs(number) < 1e6F) {
        return number;
    }
    std::array<char, 48> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    double written = number;
    std::from_chars(text.data(), end, written);
    return written;
}

bool DoubleHolds(const Decimal& number) {
    if (number.unscaled >= -kMostSure && number.unscaled <= kMostSure) {
        return true;
    }
    const auto nearest = ToDouble(Cell::FromDecimal(number));
    if (!nearest || std::abs(*nearest) >= 1e38) {
        return false;
    }
    const bool whole = number.scale == 0 && static_cast<Int128>(*nearest) == number.unscaled;
    const auto written = ToDecimal(Cell::Double(*nearest));
    const auto left = WithoutTrailingZeros(number);
    const auto right = written ? WithoutTrailingZeros(*written) : Decimal{};
    return whole || (left.unscaled == right.unscaled && left.scale == right.scale);
}

bool IsPlainNumber(std::string_view text) {
    const auto number = ParseDecimal(text);
    if (!number) {
        return true;
    }
    std::string plain;
    AppendDecimal(*number, plain);
    return plain == Trimmed(text);
}

ContentColumn ContentColumnOf(int source_type, int target_type) {
    ContentColumn column;
    column.form = FormOf(source_type, target_type);
    column.only_plain_numbers = IsTextType(source_type);
    column.without_formula_lead =
        ThisTarget().loader == Loader::Files && CurrentSettings.SpreadsheetSafe;
    return column;
}

ContentColumn AsReadBack(ContentColumn column) {
    column.only_plain_numbers = false;
    column.filled_up = ThisTarget().loader == Loader::Files && TextDestFormat != "DELIMITED";
    if (ThisTarget().date_unit == DateUnit::ThreeHundredths) {
        column.nanos = kNanosPerSecond / 1000;
    }
    return column;
}

std::uint64_t ContentHash(const Cell& value, const ContentColumn& column) {
    if (value.IsNull()) {
        return kNullHash;
    }
    if (value.Kind() == ValueKind::Unreadable) {
        return kUnreadableHash;
    }
    if (column.filled_up && value.Kind() == ValueKind::Text && Trimmed(value.AsText()).empty()) {
        return kNullHash;
    }
    switch (column.form) {
        case ContentForm::Text:
            return HashOfPlainText(value, column);
        case ContentForm::Number:
            return column.only_plain_numbers && value.Kind() == ValueKind::Text &&
                           !IsPlainNumber(value.AsText())
                       ? HashOfText(value.AsText())
                       : HashOfNumber(value);
        case ContentForm::Single:
            return HashOfSingle(value);
        case ContentForm::Moment:
            return HashOfMoment(value, column);
        case ContentForm::Boolean:
            return HashOfTruth(value);
        case ContentForm::NumberOrTruth:
            return HashOfNumberOrTruth(value);
        case ContentForm::Guid:
            return HashOfGuid(value);
    }
    return 0;
}

namespace {

// A number that begins with a digit other than 0 and ends with one is written as numbers are.
inline bool IsSurelyPlain(std::string_view number) {
    const char first = number[number[0] == '-' && number.size() > 1 ? 1 : 0];
    return first >= '1' && first <= '9' && IsDigit(number.back());
}

// The usual values of the usual columns without a call; everything else, and what of them is
// uncommon, goes the whole way. Each answer is what ContentHash gives.
inline std::uint64_t QuickHash(const Cell& value, const ContentColumn& column, QuickWay way) {
    const auto kind = value.Kind();
    switch (way) {
        case QuickWay::Text:
            if (kind == ValueKind::Text) {
                return HashOfText(value.AsText());
            }
            break;
        case QuickWay::Number: {
            ShortNumber number;
            if (kind == ValueKind::NumberText) {
                if (ReadShortNumber(value.AsText(), number)) {
                    return HashOfShort(number);
                }
            } else if (kind == ValueKind::Int64) {
                return HashOfInteger(value.AsInt64());
            } else if (kind == ValueKind::Decimal) {
                return HashOfDecimal(value.AsDecimal());
            } else if (kind == ValueKind::Text && ReadShortNumber(value.AsText(), number) &&
                       (!column.only_plain_numbers || IsSurelyPlain(value.AsText()))) {
                return HashOfShort(number);
            }
            break;
        }
        case QuickWay::Moment:
            if (kind == ValueKind::DateTime) {
                return HashOfExactMoment(value.AsDateTime());
            }
            if (kind == ValueKind::Text) {
                if (const auto moment = ParseIsoDateTime(value.AsText())) {
                    return HashOfExactMoment(*moment);
                }
            }
            break;
        case QuickWay::Truth:
            if (kind == ValueKind::Boolean) {
                return HashOfTrueOrFalse(value.AsBoolean());
            }
            if (kind == ValueKind::Text) {
                const auto text = value.AsText();
                if (text == "True" || text == "False") {
                    return HashOfTrueOrFalse(text.size() == 4);
                }
            }
            break;
        case QuickWay::None:
            break;
    }
    return ContentHash(value, column);
}

QuickWay QuickWayOf(const ContentColumn& column) {
    switch (column.form) {
        case ContentForm::Text:
            return column.filled_up || column.without_formula_lead ? QuickWay::None
                                                                   : QuickWay::Text;
        case ContentForm::Number:
            return QuickWay::Number;
        case ContentForm::Moment:
            return column.nanos == 1 ? QuickWay::Moment : QuickWay::None;
        case ContentForm::Boolean:
            return QuickWay::Truth;
        default:
            return QuickWay::None;
    }
}

}  // namespace

ContentSums::ContentSums(std::vector<ContentColumn> columns)
    : columns_(std::move(columns)), sums_(columns_.size()) {
    std::transform(columns_.begin(), columns_.end(), std::back_inserter(ways_), QuickWayOf);
}

void ContentSums::Add(const ContentSums& others) {
    rows_ += others.rows_;
    for (std::size_t k = 0; k < sums_.size(); ++k) {
        sums_[k] += others.sums_[k];
    }
}

void ContentSums::Count(std::span<const Cell> row, std::int64_t sign) {
    rows_ += sign;
    const std::size_t count = std::min(row.size(), columns_.size());
    const ContentColumn* const columns = columns_.data();
    const QuickWay* const ways = ways_.data();
    std::uint64_t* const sums = sums_.data();
    for (std::size_t k = 0; k < count; ++k) {
        const auto hash = QuickHash(row[k], columns[k], ways[k]);
        // A sum and no chain: a server gives its rows in any order, and rows can be taken off
        // again.
        sums[k] += sign > 0 ? hash : std::uint64_t{0} - hash;
    }
}

}  // namespace vantry
