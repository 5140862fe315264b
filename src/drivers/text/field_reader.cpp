// One reader a column turns the bytes of its fields into cells; what is the same for all rows
// (type, encoding, point) is decided in the constructor, and the common cases are inline in the
// header. A number that is written as we would write it is passed on as text and never converted.
// Easy to get wrong: a guessed column is stricter than a declared one, as its values must come out
// as the text that was there: "007", "+5" or a number of 20 digits don't fit a guessed number
// column and are reported. A value that doesn't fit is Unreadable, never null: a null would be
// loaded in silence.

#include "drivers/text/field_reader.h"

#include "data/reject_form.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace vantry::text {
namespace {

constexpr int kCurrencyDecimals = 4;
constexpr std::size_t kSingleDigits = 7;

struct IntegerRange {
    std::int64_t least;
    std::int64_t most;
};

IntegerRange RangeOf(ColumnType type) {
    switch (type) {
        case ColumnType::Byte:
            return {0, std::numeric_limits<std::uint8_t>::max()};
        case ColumnType::Short:
            return {std::numeric_limits<std::int16_t>::min(),
                    std::numeric_limits<std::int16_t>::max()};
        default:
            return {std::numeric_limits<std::int32_t>::min(),
                    std::numeric_limits<std::int32_t>::max()};
    }
}

bool IsInteger(ColumnType type) {
    return type == ColumnType::Byte || type == ColumnType::Short || type == ColumnType::Long;
}

// As many characters surely fit the type if they are a canonical number.
std::size_t CanonicalLimit(ColumnType type) {
    switch (type) {
        case ColumnType::Short:
            return 4;
        case ColumnType::Long:
            return 9;
        case ColumnType::Single:
            return kSingleDigits;
        case ColumnType::Double:
            return 24;  // CutToCanonical minds the digits; the rest is zeros
        default:
            return 0;
    }
}

// Makes two qualifiers that stand together one. Where characters follow the closing one, that is
// taken out and they stay as they are, qualifiers among them included.
void TakeQualifiersOut(std::string& text, std::string_view qualifier, bool has_tail) {
    std::size_t from = 0;
    std::size_t to = 0;
    while (from < text.size()) {
        const std::size_t hit = text.find(qualifier, from);
        std::size_t end = hit == std::string::npos ? text.size() : hit + qualifier.size();
        const bool doubled = text.compare(end, qualifier.size(), qualifier) == 0;
        const bool closing = has_tail && hit != std::string::npos && !doubled;
        const std::size_t kept = closing ? hit - from : end - from;
        std::memmove(text.data() + to, text.data() + from, kept);
        to += kept;
        from = end + (doubled ? qualifier.size() : 0);
        if (closing) {
            std::memmove(text.data() + to, text.data() + from, text.size() - from);
            to += text.size() - from;
            break;
        }
    }
    text.resize(to);
}

std::string_view WithoutTrailingBlanks(std::string_view text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

FieldReader::FieldReader(const TextColumn& column, const FileForms& forms)
    : column_(column), forms_(forms) {
    is_text_ = column_.type == ColumnType::Text || column_.type == ColumnType::Memo;
    is_utf8_ = forms.encoding.Kind() != TextEncoding::Form::CodePage;
    cuts_ = column_.width > 0 || forms.fixed_columns;
    iso_dates_ = column_.type == ColumnType::DateTime && !column_.picture && !forms.values.picture;
    whole_ = IsInteger(column_.type);
    // A canonical number has "." for its point.
    if (whole_ || forms.values.numbers.decimal_symbol == ".") {
        canonical_limit_ = CanonicalLimit(column_.type);
    }
}

// `utf8` is a field's bytes, readable for 16 more.
std::string_view FieldReader::Unqualified(std::string_view utf8, FieldSpan field, MadeTexts& made) {
    if (field.HasTail() || forms_.qualifier.size() != 1) {
        scratch_ = utf8;
        TakeQualifiersOut(scratch_, forms_.qualifier, field.HasTail());
        return made.Copy(scratch_);
    }
    constexpr std::size_t kTouched = 16;
    char* const room = made.Room(utf8.size() + kTouched);
    const char* const end = CopyUndoubled(utf8, forms_.qualifier[0], room);
    return made.Keep(static_cast<std::size_t>(end - room));
}

// The field as UTF-8 with single qualifiers; a view of `bytes` if they are that already.
std::string_view FieldReader::Decode(std::string_view bytes, FieldSpan field, bool plain) {
    const bool as_it_is = plain || forms_.encoding.IsUtf8Already(bytes);
    if (as_it_is && !field.HasQualifiers()) {
        return bytes;
    }
    scratch_.clear();
    if (as_it_is) {
        scratch_ = bytes;
    } else {
        forms_.encoding.AppendUtf8(bytes, scratch_);
    }
    if (field.HasQualifiers()) {
        TakeQualifiersOut(scratch_, forms_.qualifier, field.HasTail());
    }
    return scratch_;
}

// Empty without qualifiers is null, with them it is the empty text; blanks of a fixed column are
// padding.
Cell FieldReader::ReadText(std::string_view bytes, FieldSpan field, bool plain, MadeTexts& made) {
    if (forms_.fixed_columns) {
        bytes = WithoutTrailingBlanks(bytes);
    }
    if (bytes.empty()) {
        return field.IsQualified() ? Cell::Text({}) : Cell::Null();
    }
    // No database takes a NUL in a text, some would cut the text there.
    if (!plain && bytes.find('\0') != std::string_view::npos) {
        return Cell::Unreadable();
    }
    const std::string_view text = Decode(bytes, field, plain);
    // Counted only where that isn't clear from the bytes: no text has more units than bytes.
    if (HasWidth() && text.size() > column_.width && CountUtf16Units(text) > column_.width) {
        return Cell::Unreadable();
    }
    return Cell::Text(text.data() == bytes.data() ? text : made.Copy(text));
}

// Blanks around numbers and dates don't count; bytes are taken as they stand.
Cell FieldReader::ReadOther(std::string_view bytes, FieldSpan field, bool plain, MadeTexts& made) {
    if (column_.type == ColumnType::Binary || column_.type == ColumnType::Ole) {
        if (bytes.empty()) {
            return Cell::Null();
        }
        if (column_.hexadecimal) {
            return ReadHexadecimal(TrimBlanks(bytes), made);
        }
        scratch_ = bytes;
        if (field.HasQualifiers()) {
            TakeQualifiersOut(
                scratch_, forms_.encoding.SplitToken(forms_.qualifier), field.HasTail());
        }
        const std::string_view kept = made.Copy(scratch_);
        return Cell::Bytes(std::as_bytes(std::span(kept.data(), kept.size())));
    }
    const std::string_view text = TrimBlanks(Decode(bytes, field, plain));
    return text.empty() ? Cell::Null() : ReadValue(text);
}

Cell FieldReader::ReadHexadecimal(std::string_view text, MadeTexts& made) {
    if (!IsHexForm(text)) {
        return Cell::Unreadable();
    }
    scratch_.clear();
    for (std::size_t k = 2; k < text.size(); k += 2) {
        scratch_ += static_cast<char>(ValueOfHexDigit(text[k]) << 4 | ValueOfHexDigit(text[k + 1]));
    }
    const std::string_view kept = made.Copy(scratch_);
    return Cell::Bytes(std::as_bytes(std::span(kept.data(), kept.size())));
}

Cell FieldReader::ReadValue(std::string_view text) {
    switch (column_.type) {
        case ColumnType::Bit: {
            const auto value = ParseBoolean(text);
            return value ? Cell::Boolean(*value) : Cell::Unreadable();
        }
        case ColumnType::Byte:
        case ColumnType::Short:
        case ColumnType::Long:
            return ReadInteger(text);
        case ColumnType::Single:
        case ColumnType::Double:
            return ReadFloat(text);
        case ColumnType::Currency:
            return ReadCurrency(text);
        case ColumnType::Decimal:
            return ReadDecimal(text);
        case ColumnType::DateTime:
            return ReadDate(text);
        default:
            return Cell::Unreadable();
    }
}

// Whole numbers may be written with decimals of nought or an exponent, if the column is declared.
Cell FieldReader::ReadInteger(std::string_view text) const {
    std::optional<std::int64_t> value;
    const NumberForm& numbers = forms_.values.numbers;
    if (const auto parts = TakeApart(text, numbers.decimal_symbol)) {
        if (column_.guessed && (parts->MayBeCode() || parts->has_point || parts->has_exponent)) {
            return Cell::Unreadable();
        }
        if (const auto decimal = text::ToDecimal(*parts)) {
            value = ToInt64(Cell::FromDecimal(*decimal));
        } else if (const auto number = text::ToDouble(*parts)) {
            value = ToInt64(Cell::Double(*number));
        }
    } else if (!column_.guessed) {
        if (const auto amount = ParseGrouped(text, numbers)) {
            value = ToInt64(Cell::FromDecimal(amount->value));
        }
    }
    const IntegerRange range = RangeOf(column_.type);
    return value && *value >= range.least && *value <= range.most ? Cell::Int64(*value)
                                                                  : Cell::Unreadable();
}

Cell FieldReader::ReadFloat(std::string_view text) const {
    std::optional<double> value;
    const NumberForm& numbers = forms_.values.numbers;
    if (const auto parts = TakeApart(text, numbers.decimal_symbol)) {
        if (!column_.guessed || !parts->MayBeCode()) {
            value = text::ToDouble(*parts);
        }
    } else if (const auto amount =
                   column_.guessed ? ParseAmount(text, numbers) : ParseGrouped(text, numbers);
               amount && (!column_.guessed || (amount->has_symbol && amount->is_plain))) {
        value = ToDouble(Cell::FromDecimal(amount->value));
    }
    if (!value) {
        return Cell::Unreadable();
    }
    if (column_.type == ColumnType::Double) {
        return Cell::Double(*value);
    }
    const auto single = static_cast<float>(*value);
    // Out of a float's range it is infinite.
    return std::isfinite(single) ? Cell::Single(single) : Cell::Unreadable();
}

Cell FieldReader::ReadCurrency(std::string_view text) const {
    const NumberForm& numbers = forms_.values.numbers;
    std::optional<Decimal> value;
    if (const auto parts = TakeApart(text, numbers.decimal_symbol);
        parts && (!column_.guessed || !parts->MayBeCode())) {
        value = text::ToDecimal(*parts);
    }
    if (!value) {
        const auto amount = ParseAmount(text, numbers);
        if (amount && (!column_.guessed || (amount->is_plain && amount->has_symbol))) {
            value = amount->value;
        }
    }
    if (value) {
        value = WithoutTrailingZeros(*value);
        if (value->scale > kCurrencyDecimals) {
            value = column_.guessed
                        ? std::nullopt
                        : vantry::ToDecimal(Cell::FromDecimal(*value), kCurrencyDecimals);
        }
    }
    // The type's own form is a 64-bit count of ten-thousandths.
    const auto scaled =
        value ? vantry::ToDecimal(Cell::FromDecimal(*value), kCurrencyDecimals) : std::nullopt;
    if (!scaled || scaled->unscaled > std::numeric_limits<std::int64_t>::max() ||
        scaled->unscaled < std::numeric_limits<std::int64_t>::min()) {
        return Cell::Unreadable();
    }
    return Cell::FromDecimal(WithoutTrailingZeros(*value));
}

Cell FieldReader::ReadDecimal(std::string_view text) const {
    const NumberForm& numbers = forms_.values.numbers;
    std::optional<Decimal> value;
    if (const auto parts = TakeApart(text, numbers.decimal_symbol)) {
        value = text::ToDecimal(*parts);
    } else if (const auto amount = ParseGrouped(text, numbers)) {
        value = amount->value;
    }
    if (!value) {
        return Cell::Unreadable();
    }
    Decimal shortest = WithoutTrailingZeros(*value);
    if (shortest.scale > column_.scale) {
        return Cell::Unreadable();
    }
    // Digits before the point count against the precision even where decimals are left out.
    UInt128 limit = 1;  // 10 to the power of the digits that there may be
    for (int k = 0; k < column_.precision - column_.scale + shortest.scale; ++k) {
        limit *= 10;
    }
    const auto size =
        static_cast<UInt128>(shortest.unscaled < 0 ? -shortest.unscaled : shortest.unscaled);
    if (size >= limit) {
        return Cell::Unreadable();
    }
    // Zeros behind the point stay as they were written if the column has room for them.
    return Cell::FromDecimal(value->scale > column_.scale ? shortest : *value);
}

Cell FieldReader::ReadDate(std::string_view text) const {
    const auto value = column_.picture   ? column_.picture->Parse(text)
                       : column_.guessed ? GuessedDateOfValue(text, forms_.values)
                                         : DateOfValue(text, forms_.values);
    return value ? Cell::FromDateTime(*value) : Cell::Unreadable();
}

std::string FieldReader::ShownText(std::string_view bytes, FieldSpan field) {
    return std::string(Decode(bytes, field, false));
}

std::string FieldReader::Wanted(std::string_view shown) const {
    if (column_.hexadecimal) {
        return "0x and an even number of hexadecimal digits";
    }
    const auto whole_number = [&] {
        const IntegerRange range = RangeOf(column_.type);
        return "a whole number from " + std::to_string(range.least) + " to " +
               std::to_string(range.most);
    };
    switch (column_.type) {
        case ColumnType::Bit:
            return "True or False, Yes or No, or a number";
        case ColumnType::Byte:
        case ColumnType::Short:
        case ColumnType::Long:
            return whole_number();
        case ColumnType::Single:
        case ColumnType::Double:
            return "a number that fits the type " + std::string(TypeWord(column_.type));
        case ColumnType::Currency:
            return "an amount of money of at most four decimals";
        case ColumnType::Decimal:
            return "a number of at most " + std::to_string(column_.precision) + " digits, " +
                   std::to_string(column_.scale) + " of them decimals";
        case ColumnType::DateTime:
            if (column_.picture || forms_.values.picture) {
                return "a date of the form " +
                       (column_.picture ? column_.picture->Text() : forms_.values.picture->Text());
            }
            return "a date in the order of year, month and day that is in use here";
        default:
            return shown.find('\0') == std::string_view::npos
                       ? "a text of at most " + std::to_string(column_.width) + " characters"
                       : "text: it holds a NUL byte";
    }
}

}  // namespace vantry::text
