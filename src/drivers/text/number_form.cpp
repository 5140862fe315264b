// Numbers as people write them in files: with a decimal comma, grouped by thousands, with a
// currency symbol before or behind, in brackets when negative. A text is taken apart into pieces
// first (no value yet), so that callers can ask how it was written, which decides whether a guessed
// column may have it. Easy to get wrong: a group has exactly three digits ("1,23" is no number
// where commas group), each sign and symbol stands at most once, and a number too small for a
// double isn't nought.

#include "drivers/text/number_form.h"

#include "data/text_scan.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <cmath>
#include <string>

namespace vantry::text {
namespace {

constexpr std::size_t kMaxDecimalDigits = 38;
constexpr std::size_t kGroup = 3;
constexpr std::size_t kMaxCanonicalDigits = 15;

std::string_view TakeDigits(std::string_view& rest) {
    std::size_t length = 0;
    while (length < rest.size() && IsDigit(rest[length])) {
        ++length;
    }
    const std::string_view digits = rest.substr(0, length);
    rest.remove_prefix(length);
    return digits;
}

bool TakePrefix(std::string_view& rest, std::string_view token) {
    if (token.empty() || !rest.starts_with(token)) {
        return false;
    }
    rest.remove_prefix(token.size());
    return true;
}

bool TakeSuffix(std::string_view& rest, std::string_view token) {
    if (token.empty() || !rest.ends_with(token)) {
        return false;
    }
    rest.remove_suffix(token.size());
    return true;
}

// What stands around the digits of an amount: signs, brackets and the symbol, each at most once.
struct Frame {
    bool negative = false;
    bool plus = false;
    bool symbol = false;

    bool Sign(bool minus) {
        if (negative || plus) {
            return false;
        }
        negative = minus;
        plus = !minus;
        return true;
    }
    bool Symbol() {
        const bool first = !symbol;
        symbol = true;
        return first;
    }
};

// From both ends inward, in any order: "-$ 1", "$-1" and "1 $-" are all in use.
std::optional<Frame> TakeFrame(std::string_view& text, std::string_view symbol) {
    Frame frame;
    text = TrimBlanks(text);
    if (text.size() > 2 && text.front() == '(' && text.back() == ')') {
        frame.negative = true;
        text = TrimBlanks(text.substr(1, text.size() - 2));
    }
    for (;;) {
        bool fine = true;
        if (TakePrefix(text, symbol) || TakeSuffix(text, symbol)) {
            fine = frame.Symbol();
        } else if (TakePrefix(text, "-") || TakeSuffix(text, "-")) {
            fine = frame.Sign(true);
        } else if (TakePrefix(text, "+")) {
            fine = frame.Sign(false);
        } else {
            return frame;
        }
        if (!fine) {
            return std::nullopt;
        }
        text = TrimBlanks(text);
    }
}

// The digits before the point, thousands grouped or not.
bool TakeWhole(std::string_view& rest, std::string_view separator, std::string& digits) {
    std::string_view group = TakeDigits(rest);
    digits = group;
    std::string_view ahead = rest;
    while (TakePrefix(ahead, separator)) {
        const bool first = digits.size() == group.size();
        if (first && (group.empty() || group.size() > kGroup)) {
            return false;
        }
        group = TakeDigits(ahead);
        if (group.size() != kGroup) {
            return false;
        }
        digits += group;
        rest = ahead;
    }
    return true;
}

// One road for amounts and for grouped numbers, which are amounts without a symbol.
std::optional<Amount> ParseFramed(std::string_view text,
                                  std::string_view symbol,
                                  std::string_view separator,
                                  std::string_view point) {
    const auto frame = TakeFrame(text, symbol);
    if (!frame) {
        return std::nullopt;
    }
    NumberParts parts;
    std::string whole;
    if (!TakeWhole(text, separator, whole)) {
        return std::nullopt;
    }
    parts.negative = frame->negative;
    parts.whole = whole;
    parts.has_point = TakePrefix(text, point);
    if (parts.has_point) {
        parts.fraction = TakeDigits(text);
    }
    if (!text.empty() || (parts.whole.empty() && parts.fraction.empty())) {
        return std::nullopt;
    }
    const auto value = ToDecimal(parts);
    if (!value) {
        return std::nullopt;
    }
    return Amount{*value, frame->symbol, !frame->plus && !parts.MayBeCode()};
}

}  // namespace

std::optional<NumberParts> TakeApart(std::string_view text, std::string_view point) {
    NumberParts parts;
    parts.negative = TakePrefix(text, "-");
    parts.plus = !parts.negative && TakePrefix(text, "+");
    parts.whole = TakeDigits(text);
    parts.has_point = TakePrefix(text, point);
    if (parts.has_point) {
        parts.fraction = TakeDigits(text);
    }
    if (parts.whole.empty() && parts.fraction.empty()) {
        return std::nullopt;
    }
    parts.has_exponent = TakePrefix(text, "E") || TakePrefix(text, "e");
    if (parts.has_exponent) {
        const bool minus = TakePrefix(text, "-");
        parts.has_exponent_sign = minus || TakePrefix(text, "+");
        const std::string_view digits = TakeDigits(text);
        // More digits than any double's exponent has: an article number, say, not a number.
        if (digits.empty() || digits.size() > 4) {
            return std::nullopt;
        }
        for (const char c : digits) {
            parts.exponent = parts.exponent * 10 + (c - '0');
        }
        parts.exponent = minus ? -parts.exponent : parts.exponent;
    }
    return text.empty() ? std::optional(parts) : std::nullopt;
}

bool NumberParts::MayBeCode() const {
    // Programs write the exponent of a number with a sign or behind a point.
    const bool bare_exponent = has_exponent && !has_exponent_sign && !has_point && !negative;
    return plus || HasLeadingZero() || bare_exponent ||
           Digits() > static_cast<std::size_t>(kMaxGuessedDigits);
}

std::optional<Decimal> ToDecimal(const NumberParts& parts) {
    std::string_view whole = parts.whole;
    // Zeros in front are none of the digits that a decimal has room for.
    while (!whole.empty() && whole.front() == '0') {
        whole.remove_prefix(1);
    }
    // An exponent might move the point beyond 38 digits; callers then take the double.
    if (parts.has_exponent || whole.size() + parts.fraction.size() > kMaxDecimalDigits) {
        return std::nullopt;
    }
    Decimal value;
    for (const std::string_view digits : {whole, parts.fraction}) {
        for (const char c : digits) {
            value.unscaled = value.unscaled * 10 + (c - '0');
        }
    }
    value.unscaled = parts.negative ? -value.unscaled : value.unscaled;
    value.scale = static_cast<std::uint8_t>(parts.fraction.size());
    return value;
}

// Put together with a point and read by the one reader of doubles, so that both round alike.
std::optional<double> ToDouble(const NumberParts& parts) {
    std::string plain = parts.negative ? "-" : "";
    plain += parts.whole.empty() ? "0" : parts.whole;
    if (!parts.fraction.empty()) {
        plain += '.';
        plain += parts.fraction;
    }
    if (parts.has_exponent) {
        plain += 'E' + std::to_string(parts.exponent);
    }
    const auto value = ParseDouble(plain);
    if (!value || !std::isfinite(*value)) {
        return std::nullopt;
    }
    // A number that is too small for a double isn't nought.
    const bool is_nought = plain.find_first_of("123456789") >= plain.find('E');
    return *value == 0 && !is_nought ? std::nullopt : value;
}

// The fast road of the row path: one look at each character, no value is made. It leaves off what
// the form of a double leaves off, noughts behind the point.
bool CutToCanonical(std::string_view& text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    if (at != end && *at == '-') {
        ++at;
    }
    const char* const whole = at;
    while (at != end && IsDigit(*at)) {
        ++at;
    }
    const auto whole_digits = static_cast<std::size_t>(at - whole);
    if (whole_digits == 0 || whole_digits > kMaxCanonicalDigits ||
        (*whole == '0' && whole_digits > 1)) {
        return false;
    }
    const char* cut = at;
    if (at != end) {
        if (*at != '.') {
            return false;
        }
        const char* const fraction = ++at;
        while (at != end && IsDigit(*at)) {
            ++at;
        }
        if (at != end) {
            return false;
        }
        while (at != fraction && at[-1] == '0') {
            --at;
        }
        if (at != fraction) {
            cut = at;
            if (whole_digits + static_cast<std::size_t>(at - fraction) > kMaxCanonicalDigits ||
                (*whole == '0' && *fraction == '0' &&
                 !IsCanonicalNumber({text.data(), static_cast<std::size_t>(cut - text.data())}))) {
                return false;
            }
        }
    }
    if (*whole == '0' && cut == whole + 1) {
        text = text.substr(static_cast<std::size_t>(whole - text.data()), 1);  // also -0
        return true;
    }
    text = text.substr(0, static_cast<std::size_t>(cut - text.data()));
    return true;
}

std::optional<Amount> ParseAmount(std::string_view text, const NumberForm& form) {
    return ParseFramed(
        text, form.currency_symbol, form.currency_thousand_symbol, form.currency_decimal_symbol);
}

std::optional<Amount> ParseGrouped(std::string_view text, const NumberForm& form) {
    // Of point and comma the one that isn't the decimal symbol groups.
    return ParseFramed(text, {}, form.decimal_symbol == "," ? "." : ",", form.decimal_symbol);
}

}  // namespace vantry::text
