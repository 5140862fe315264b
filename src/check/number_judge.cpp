// What a column of numbers makes of numbers, and of texts that are to be some, converted as the
// engines do. Easy to get wrong: a decimal that a double can't say exactly may still read back as
// itself; a rounded number may need a digit more than the column has; and not all round halves
// alike.

#include "check/value_judge.h"
#include "data/ado_types.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "engine/content_sum.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vantry {
namespace {

constexpr std::int64_t kExactInDouble = std::int64_t{1} << 53;
// That many digits always come back from a double as they were; more of them only by luck.
constexpr int kDigitsOfDouble = 15;
constexpr double kLargestNumber = 1e126;  // of Oracle's numbers

bool SameDecimal(const Decimal& left, const Decimal& right) {
    const auto a = WithoutTrailingZeros(left);
    const auto b = WithoutTrailingZeros(right);
    return a.unscaled == b.unscaled && a.scale == b.scale;
}

std::size_t DigitsIn(std::string_view text) {
    std::size_t digits = 0;
    for (const char c : text) {
        digits += c >= '0' && c <= '9' ? 1 : 0;
    }
    return digits;
}

}  // namespace

Verdict ColumnJudge::JudgeNumber(const Cell& value) {
    if (value.Kind() == ValueKind::Boolean && holding_.truth_is_number) {
        return JudgeNumber(Cell::Int64(value.AsBoolean() ? -1 : 0));
    }
    if (value.Kind() == ValueKind::Text) {
        const auto text = value.AsText();
        // The engines read numbers alike; a text that is none is refused by all.
        const auto decimal = ParseDecimal(Trimmed(text));
        if (!decimal && !ParseDouble(Trimmed(text))) {
            return Refused(Reason::NotAValue);
        }
        const auto verdict = decimal ? JudgeNumber(Cell::FromDecimal(*decimal))
                                     : JudgeNumber(Cell::Double(*ParseDouble(Trimmed(text))));
        return verdict.grade == Grade::Kept && !IsPlainNumber(text) ? Changed(Reason::Digits)
                                                                    : verdict;
    }
    if (value.Kind() == ValueKind::Bytes) {
        return Refused(Reason::NotAValue);
    }
    switch (holding_.form) {
        case Form::Whole:
            return JudgeWhole(value);
        case Form::Exact:
            return JudgeExact(value);
        case Form::Single:
            return JudgeSingle(value);
        default:
            return JudgeDouble(value);
    }
}

std::optional<Decimal> ColumnJudge::RoundedTo(const Cell& value, int scale) const {
    auto exact = holding_.half_away ? ToDecimal(value) : std::nullopt;
    const bool cuts =
        holding_.converts && carriage_.way == Way::Statement && holding_.form == Form::Whole;
    if (!exact || exact->scale <= scale) {
        return ToDecimal(value, scale);
    }
    Int128 divisor = 1;
    for (int k = scale; k < exact->scale; ++k) {
        divisor *= 10;
    }
    const auto rest = exact->unscaled % divisor;
    Decimal rounded{exact->unscaled / divisor, static_cast<std::uint8_t>(scale)};
    if (!cuts && (rest < 0 ? -rest : rest) >= divisor - (rest < 0 ? -rest : rest)) {
        rounded.unscaled += rest < 0 ? -1 : 1;
    }
    return rounded;
}

Verdict ColumnJudge::JudgeWhole(const Cell& value) const {
    const auto whole = RoundedTo(value, 0);
    const bool fits = whole && whole->unscaled >= INT64_MIN && whole->unscaled <= INT64_MAX;
    const auto rounded =
        fits ? std::optional(static_cast<std::int64_t>(whole->unscaled)) : std::nullopt;
    if (!rounded || *rounded < holding_.low || *rounded > holding_.high) {
        // True is -1, and is bound as a truth, not as a number.
        return value.Kind() == ValueKind::Boolean ? kKept : Refused(Reason::Range);
    }
    if (value.Kind() == ValueKind::Int64 || value.Kind() == ValueKind::Boolean) {
        return kKept;
    }
    return ToInt64(value) == rounded ? kKept : Changed(Reason::Scale);
}

Verdict ColumnJudge::JudgeExact(const Cell& value) const {
    if (value.Kind() == ValueKind::Boolean) {
        return kKept;
    }
    if (holding_.scale < 0) {  // digits where they are needed
        const auto number = ToDouble(value);
        if (number && !(std::abs(*number) < kLargestNumber)) {
            return Refused(Reason::Range);
        }
        return number && *number != 0 && std::abs(*number) < 1 / kLargestNumber
                   ? Changed(Reason::Range)
                   : kKept;
    }
    const auto decimal = ToDecimal(value);
    if (!decimal) {
        // Beyond 38 digits: a very small fraction, or a very large number.
        const auto number = ToDouble(value);
        return number && std::abs(*number) < 1 ? Changed(Reason::Scale) : Refused(Reason::Range);
    }
    const auto rounded =
        decimal->scale <= holding_.scale ? decimal : RoundedTo(value, holding_.scale);
    // With the rounding included: 9.96 with one place is 10.0, and needs a digit more than it had.
    const auto scaled = rounded ? ToDecimal(Cell::FromDecimal(*rounded), holding_.scale) : rounded;
    if (!scaled) {
        return Refused(Reason::Range);
    }
    const auto size =
        static_cast<UInt128>(scaled->unscaled < 0 ? -scaled->unscaled : scaled->unscaled);
    // A number kept in 64 bits reaches one further below zero.
    const bool is_least = holding_.high > 0 && scaled->unscaled < 0 && size == most_;
    // Where the sign takes the place of a digit.
    const auto most = !holding_.sign_in_width || scaled->unscaled >= 0 ? most_
                      : holding_.digits > 0                            ? most_ / 10
                                                                       : UInt128{1};
    if (size >= most && !is_least) {
        return Refused(Reason::Range);
    }
    return SameDecimal(*decimal, *scaled) ? kKept : Changed(Reason::Scale);
}

Verdict ColumnJudge::JudgeDouble(const Cell& value) const {
    switch (value.Kind()) {
        case ValueKind::Boolean:
        case ValueKind::DateTime:
            return kKept;
        case ValueKind::Int64:
            if (value.AsInt64() >= -kExactInDouble && value.AsInt64() <= kExactInDouble) {
                return kKept;
            }
            break;
        case ValueKind::NumberText:
            if (carriage_.type == adDouble || carriage_.type == adSingle ||
                DigitsIn(value.AsText()) <= kDigitsOfDouble) {
                return kKept;
            }
            break;
        case ValueKind::Decimal: {
            const auto unscaled = value.AsDecimal().unscaled;
            if (unscaled > -Int128{kExactInDouble / 10} && unscaled < Int128{kExactInDouble / 10}) {
                return kKept;
            }
            break;
        }
        default:
            break;
    }
    const auto number = ToDouble(value);
    if (!number || !std::isfinite(*number)) {
        return Refused(Reason::Range);
    }
    const auto decimal = ToDecimal(value);
    return decimal && DoubleHolds(*decimal) ? kKept : Changed(Reason::FloatPrecision);
}

Verdict ColumnJudge::JudgeSingle(const Cell& value) const {
    if (value.Kind() == ValueKind::Single || value.Kind() == ValueKind::Boolean) {
        return kKept;
    }
    const auto number = ToDouble(value);
    const auto narrow = static_cast<float>(number.value_or(HUGE_VAL));
    if (!number || !std::isfinite(narrow)) {
        return Refused(Reason::Range);
    }
    // What left a column of singles is one, in whatever form it travels.
    if (carriage_.type == adSingle || WrittenAs(narrow) == *number) {
        return kKept;
    }
    if (value.Kind() == ValueKind::Double) {
        return Changed(Reason::FloatPrecision);
    }
    const auto before = ToDecimal(value);
    const auto after = ToDecimal(Cell::Single(narrow));
    return before && after && SameDecimal(*before, *after) ? kKept
                                                           : Changed(Reason::FloatPrecision);
}

}  // namespace vantry
