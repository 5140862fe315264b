// The functions of key expressions as FoxPro has them. Where its answer depends on a setting
// (comparing texts of different lengths), on the locale (DTOC without 1) or isn't certain (STR of
// what is too long for its default width), there is none here: a key that might be another one in
// FoxPro makes an index wrong in silence.

#include "data/ascii.h"
#include "data/calendar.h"
#include "drivers/foxpro/indexes/expression_node.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace vantry::foxpro {
namespace {

constexpr int kStrWidth = 10;
constexpr int kMostDecimals = 18;
constexpr double kExactIntegers = 9007199254740992.0;  // 2^53

// Arguments come from fields: what is below zero or huge must not wrap when it becomes a size.
std::size_t Size(double number) {
    // Not std::clamp: it lets a number pass that is none (NaN), as a damaged B field may hold.
    return number >= 0 ? static_cast<std::size_t>(std::min(number, 1000.0)) : 0;
}

std::string_view WithoutLeading(std::string_view text) {
    const auto start = text.find_first_not_of(' ');
    return start == std::string_view::npos ? std::string_view() : text.substr(start);
}
std::string_view WithoutTrailing(std::string_view text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::int32_t DayIn(const KeyValue& value) {
    // A date to which a number was added may be any number.
    const double day = value.number >= 0 ? std::min(value.number, 1e7) : 0;
    return static_cast<std::int32_t>(day) - kJulianDayZero;
}
bool IsBlankDate(const KeyValue& value) {
    return value.number == 0;
}

// ---- Texts

KeyValue Upper(const CallInput& in) {
    in.scratch->assign(in.Text(0));
    in.letters->Upper(*in.scratch);
    return TextValue(*in.scratch);
}
KeyValue Lower(const CallInput& in) {
    in.scratch->assign(in.Text(0));
    in.letters->Lower(*in.scratch);
    return TextValue(*in.scratch);
}
KeyValue AllTrim(const CallInput& in) {
    return TextValue(WithoutLeading(WithoutTrailing(in.Text(0))));
}
KeyValue LTrim(const CallInput& in) {
    return TextValue(WithoutLeading(in.Text(0)));
}
KeyValue RTrim(const CallInput& in) {
    return TextValue(WithoutTrailing(in.Text(0)));
}
KeyValue Left(const CallInput& in) {
    return TextValue(in.Text(0).substr(0, Size(in.Number(1))));
}
KeyValue Right(const CallInput& in) {
    const auto size = std::min(Size(in.Number(1)), in.Text(0).size());
    return TextValue(in.Text(0).substr(in.Text(0).size() - size));
}
KeyValue Substr(const CallInput& in) {
    const auto start = Size(in.Number(1));
    if (start == 0 || start > in.Text(0).size()) {
        return TextValue({});
    }
    return TextValue(in.Text(0).substr(start - 1, in.Has(2) ? Size(in.Number(2)) : 1000));
}
KeyValue Padded(const CallInput& in, bool left) {
    const auto width = Size(in.Number(1));
    const auto text = in.Text(0).substr(0, width);
    const char fill = in.Has(2) && !in.Text(2).empty() ? in.Text(2).front() : ' ';
    const std::string padding(width - text.size(), fill);
    in.scratch->assign(left ? padding : std::string(text));
    in.scratch->append(left ? text : std::string_view(padding));
    return TextValue(*in.scratch);
}
KeyValue PadR(const CallInput& in) {
    return Padded(in, false);
}
KeyValue PadL(const CallInput& in) {
    return Padded(in, true);
}
KeyValue Joined(const CallInput& in) {
    in.scratch->assign(in.Text(0));
    in.scratch->append(in.Text(1));
    return TextValue(*in.scratch);
}

// ---- Numbers as texts and back

// Digits with so many decimals, rounded half away from zero.
std::string Digits(double number, int decimals) {
    double scaled = std::fabs(number);
    for (int k = 0; k < decimals; ++k) {
        scaled *= 10;
    }
    scaled = std::round(scaled);
    // In this form it is true of what is not a number, too.
    if (!(scaled < kExactIntegers)) {
        throw KeyTrouble("STR() of a number of more than 15 digits isn't certain");
    }
    auto text = std::to_string(static_cast<std::uint64_t>(scaled));
    const auto places = static_cast<std::size_t>(decimals);
    if (places != 0) {
        text.insert(0, text.size() <= places ? places + 1 - text.size() : 0, '0');
        text.insert(text.size() - places, ".");
    }
    return number < 0 && scaled != 0 ? "-" + text : text;
}

// Decimals that have no room are left out; without room for the rest there are asterisks.
KeyValue Str(const CallInput& in) {
    const auto width = in.Has(1) ? Size(in.Number(1)) : std::size_t{kStrWidth};
    int decimals = in.Has(2) ? static_cast<int>(std::min<std::size_t>(Size(in.Number(2)),
                                                                      std::size_t{kMostDecimals}))
                             : 0;
    auto text = Digits(in.Number(0), decimals);
    while (text.size() > width && decimals > 0) {
        text = Digits(in.Number(0), --decimals);
    }
    if (text.size() > width && !in.Has(1)) {
        throw KeyTrouble("STR() of a number of more than 10 digits isn't certain");
    }
    if (text.size() > width) {
        text.assign(width, '*');
    }
    in.scratch->assign(width - text.size(), ' ');
    in.scratch->append(text);
    return TextValue(*in.scratch);
}
KeyValue Val(const CallInput& in) {
    auto text = WithoutLeading(in.Text(0));
    // from_chars knows no plus, and leaves `number` as it is where there are no digits.
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    double number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    return NumberValue(std::isfinite(number) ? number : 0);
}

// ---- Dates

KeyValue DateText(const CallInput& in) {
    char room[16];
    if (IsBlankDate(in.values[0])) {
        in.scratch->assign(8, ' ');
    } else {
        const auto date = CalendarOf(DayIn(in.values[0]));
        std::snprintf(room, sizeof room, "%04d%02d%02d", date.year, date.month, date.day);
        in.scratch->assign(room);
    }
    return TextValue(*in.scratch);
}
KeyValue SortableDate(const CallInput& in) {
    if (!in.Has(1) || in.Number(1) != 1) {
        throw KeyTrouble("DTOC() without 1 depends on a setting");
    }
    return DateText(in);
}
KeyValue PartOfDate(const CallInput& in, int CalendarDate::*part) {
    return NumberValue(IsBlankDate(in.values[0]) ? 0 : CalendarOf(DayIn(in.values[0])).*part);
}
KeyValue Year(const CallInput& in) {
    return PartOfDate(in, &CalendarDate::year);
}
KeyValue Month(const CallInput& in) {
    return PartOfDate(in, &CalendarDate::month);
}
KeyValue Day(const CallInput& in) {
    return PartOfDate(in, &CalendarDate::day);
}

// ---- Conditions

KeyValue Deleted(const CallInput& in) {
    return LogicalValue(in.record->IsDeleted());
}
KeyValue Empty(const CallInput& in) {
    const auto& value = in.values[0];
    if (value.null) {
        return LogicalValue(false);
    }
    switch (value.type) {
        case KeyType::Text:
            return LogicalValue(value.text.find_first_not_of(" \t\r\n") == std::string_view::npos);
        case KeyType::Logical:
            return LogicalValue(!value.logical);
        default:
            return LogicalValue(value.number == 0);
    }
}
KeyValue IsNull(const CallInput& in) {
    return LogicalValue(in.values[0].null);
}
KeyValue Nvl(const CallInput& in) {
    return in.values[in.values[0].null ? 1 : 0];
}
KeyValue Iif(const CallInput& in) {
    return in.values[!in.values[0].null && in.Logical(0) ? 1 : 2];
}
KeyValue Not(const CallInput& in) {
    return LogicalValue(!in.Logical(0));
}
KeyValue And(const CallInput& in) {
    // FALSE decides even beside NULL, whose value wouldn't matter.
    for (const auto& value : in.values) {
        if (!value.null && !value.logical) {
            return LogicalValue(false);
        }
    }
    auto result = LogicalValue(true);
    result.null = in.values[0].null || in.values[1].null;
    return result;
}
// TRUE decides even beside NULL.
KeyValue Or(const CallInput& in) {
    for (const auto& value : in.values) {
        if (!value.null && value.logical) {
            return LogicalValue(true);
        }
    }
    auto result = LogicalValue(false);
    result.null = in.values[0].null || in.values[1].null;
    return result;
}

// ---- Arithmetic

KeyValue Sum(const CallInput& in) {
    return NumberValue(in.Number(0) + in.Number(1), in.values[0].type);
}
KeyValue Difference(const CallInput& in) {
    return NumberValue(in.Number(0) - in.Number(1), in.values[0].type);
}
KeyValue Product(const CallInput& in) {
    return NumberValue(in.Number(0) * in.Number(1));
}
KeyValue Quotient(const CallInput& in) {
    if (in.Number(1) == 0) {
        throw KeyTrouble("it divides by zero");
    }
    return NumberValue(in.Number(0) / in.Number(1));
}
KeyValue Negative(const CallInput& in) {
    return NumberValue(-in.Number(0));
}

// ---- Comparisons

// By both ways that SET EXACT can be: shorter texts padded, or compared as far as the right one
// goes.
template <typename Holds>
KeyValue CompareTexts(const CallInput& in, Holds holds) {
    const auto left = in.Text(0);
    const auto right = in.Text(1);
    const std::size_t width = std::max(left.size(), right.size());
    std::string padded_left(left);
    std::string padded_right(right);
    padded_left.resize(width, ' ');
    padded_right.resize(width, ' ');
    const bool exact = holds(padded_left.compare(padded_right));
    const bool inexact = holds(left.substr(0, right.size()).compare(right));
    if (exact != inexact) {
        throw KeyTrouble("whether \"" + std::string(WithoutTrailing(left)) + "\" and \"" +
                         std::string(WithoutTrailing(right)) +
                         "\" are the same depends on SET EXACT");
    }
    return LogicalValue(exact);
}
template <typename Holds>
KeyValue CompareNumbers(const CallInput& in, Holds holds) {
    return LogicalValue(
        holds(in.Number(0) < in.Number(1) ? -1 : (in.Number(0) > in.Number(1) ? 1 : 0)));
}

bool IsEqual(int order) {
    return order == 0;
}
bool IsOther(int order) {
    return order != 0;
}
bool IsLess(int order) {
    return order < 0;
}
bool IsLessOrEqual(int order) {
    return order <= 0;
}
bool IsGreater(int order) {
    return order > 0;
}
bool IsGreaterOrEqual(int order) {
    return order >= 0;
}
template <bool (*holds)(int)>
KeyValue Texts(const CallInput& in) {
    return CompareTexts(in, holds);
}
template <bool (*holds)(int)>
KeyValue Numbers(const CallInput& in) {
    return CompareNumbers(in, holds);
}
// "==" pads nothing, so that no setting has a say.
KeyValue SameText(const CallInput& in) {
    return LogicalValue(in.Text(0) == in.Text(1));
}
KeyValue SameLogical(const CallInput& in) {
    return LogicalValue(in.Logical(0) == in.Logical(1));
}
KeyValue OtherLogical(const CallInput& in) {
    return LogicalValue(in.Logical(0) != in.Logical(1));
}
KeyValue Contains(const CallInput& in) {
    return LogicalValue(in.Text(1).find(in.Text(0)) != std::string_view::npos);
}

// ---- Widths of texts

// A width that comes from a field differs between records: 0, which stands for no fixed width.
std::size_t LiteralSize(std::span<const NodePtr> arguments, std::size_t number) {
    const auto literal =
        number < arguments.size() ? arguments[number]->Literal() : std::optional<double>();
    return literal ? Size(*literal) : 0;
}
std::size_t WidthOfStr(std::span<const NodePtr> arguments) {
    return arguments.size() < 2 ? std::size_t{kStrWidth} : LiteralSize(arguments, 1);
}
std::size_t WidthOfDate(std::span<const NodePtr>) {
    return 8;
}
std::size_t WidthOfPadded(std::span<const NodePtr> arguments) {
    return LiteralSize(arguments, 1);
}
std::size_t WidthOfPart(std::span<const NodePtr> arguments) {
    return std::min(LiteralSize(arguments, 1), arguments[0]->Width());
}
std::size_t WidthOfSubstr(std::span<const NodePtr> arguments) {
    return arguments.size() < 3 ? arguments[0]->Width()
                                : std::min(LiteralSize(arguments, 2), arguments[0]->Width());
}
std::size_t WidthOfSum(std::span<const NodePtr> arguments) {
    const auto left = arguments[0]->Width();
    const auto right = arguments[1]->Width();
    return left == 0 || right == 0 ? 0 : left + right;
}
std::size_t WidthOfIif(std::span<const NodePtr> arguments) {
    return std::max(arguments[1]->Width(), arguments[2]->Width());
}

constexpr auto kText = KeyType::Text;
constexpr auto kNumber = KeyType::Number;
constexpr auto kLogical = KeyType::Logical;

constexpr std::array kFunctions = {
    Function{"upper", "t", kText, false, Upper, nullptr},
    Function{"lower", "t", kText, false, Lower, nullptr},
    Function{"alltrim", "t", kText, false, AllTrim, nullptr},
    Function{"ltrim", "t", kText, false, LTrim, nullptr},
    Function{"rtrim", "t", kText, false, RTrim, nullptr},
    Function{"trim", "t", kText, false, RTrim, nullptr},
    Function{"left", "tn", kText, false, Left, WidthOfPart},
    Function{"right", "tn", kText, false, Right, WidthOfPart},
    Function{"substr", "tn?n", kText, false, Substr, WidthOfSubstr},
    Function{"padr", "tn?t", kText, false, PadR, WidthOfPadded},
    Function{"padl", "tn?t", kText, false, PadL, WidthOfPadded},
    Function{"str", "n?nn", kText, false, Str, WidthOfStr},
    Function{"val", "t", kNumber, false, Val, nullptr},
    Function{"dtos", "d", kText, false, DateText, WidthOfDate},
    Function{"dtoc", "d?n", kText, false, SortableDate, WidthOfDate},
    Function{"year", "d", kNumber, false, Year, nullptr},
    Function{"month", "d", kNumber, false, Month, nullptr},
    Function{"day", "d", kNumber, false, Day, nullptr},
    Function{"deleted", "", kLogical, false, Deleted, nullptr},
    Function{"empty", "a", kLogical, true, Empty, nullptr},
    Function{"isnull", "a", kLogical, true, IsNull, nullptr},
    Function{"nvl", "as", std::nullopt, true, Nvl, nullptr},
    Function{"iif", "las", std::nullopt, true, Iif, WidthOfIif},
};

struct Operator {
    KeyType left;
    Function function;
};

constexpr std::array kOperators = {
    Operator{kText, {"+", "tt", kText, false, Joined, WidthOfSum}},
    Operator{kNumber, {"+", "nn", kNumber, false, Sum, nullptr}},
    Operator{KeyType::Date, {"+", "Dn", KeyType::Date, false, Sum, nullptr}},
    Operator{kNumber, {"-", "nn", kNumber, false, Difference, nullptr}},
    Operator{KeyType::Date, {"-", "Dn", KeyType::Date, false, Difference, nullptr}},
    Operator{kNumber, {"*", "nn", kNumber, false, Product, nullptr}},
    Operator{kNumber, {"/", "nn", kNumber, false, Quotient, nullptr}},
    Operator{kNumber, {"negative", "n", kNumber, false, Negative, nullptr}},
    Operator{kLogical, {"not", "l", kLogical, false, Not, nullptr}},
    Operator{kLogical, {"and", "ll", kLogical, true, And, nullptr}},
    Operator{kLogical, {"or", "ll", kLogical, true, Or, nullptr}},
    Operator{kText, {"=", "tt", kLogical, false, Texts<IsEqual>, nullptr}},
    Operator{kText, {"==", "tt", kLogical, false, SameText, nullptr}},
    Operator{kText, {"<>", "tt", kLogical, false, Texts<IsOther>, nullptr}},
    Operator{kText, {"<", "tt", kLogical, false, Texts<IsLess>, nullptr}},
    Operator{kText, {"<=", "tt", kLogical, false, Texts<IsLessOrEqual>, nullptr}},
    Operator{kText, {">", "tt", kLogical, false, Texts<IsGreater>, nullptr}},
    Operator{kText, {">=", "tt", kLogical, false, Texts<IsGreaterOrEqual>, nullptr}},
    Operator{kText, {"$", "tt", kLogical, false, Contains, nullptr}},
    Operator{kLogical, {"=", "ll", kLogical, false, SameLogical, nullptr}},
    Operator{kLogical, {"==", "ll", kLogical, false, SameLogical, nullptr}},
    Operator{kLogical, {"<>", "ll", kLogical, false, OtherLogical, nullptr}},
};

// Of numbers, and of dates and moments, which are numbers, too.
constexpr std::array kNumberComparisons = {
    Function{"=", "as", kLogical, false, Numbers<IsEqual>, nullptr},
    Function{"==", "as", kLogical, false, Numbers<IsEqual>, nullptr},
    Function{"<>", "as", kLogical, false, Numbers<IsOther>, nullptr},
    Function{"<", "as", kLogical, false, Numbers<IsLess>, nullptr},
    Function{"<=", "as", kLogical, false, Numbers<IsLessOrEqual>, nullptr},
    Function{">", "as", kLogical, false, Numbers<IsGreater>, nullptr},
    Function{">=", "as", kLogical, false, Numbers<IsGreaterOrEqual>, nullptr},
};

}  // namespace

const Function* FindFunction(std::string_view name) {
    // FoxPro takes a function's name from its first four letters on.
    constexpr std::size_t kShortest = 4;
    for (const auto& function : kFunctions) {
        const bool cut = name.size() >= kShortest && name.size() < function.name.size();
        if (EqualsNoCase(name, cut ? function.name.substr(0, name.size()) : function.name)) {
            return &function;
        }
    }
    return nullptr;
}

const Function* FindOperator(std::string_view sign, KeyType left) {
    for (const auto& candidate : kOperators) {
        if (candidate.left == left && candidate.function.name == sign) {
            return &candidate.function;
        }
    }
    if (left != KeyType::Text && left != KeyType::Logical) {
        for (const auto& candidate : kNumberComparisons) {
            if (candidate.name == sign) {
                return &candidate;
            }
        }
    }
    return nullptr;
}

}  // namespace vantry::foxpro
