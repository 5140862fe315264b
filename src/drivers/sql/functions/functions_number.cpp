// Conversions, arithmetic and questions about a value. A conversion (CInt, CCur ...) refuses what
// doesn't fit rather than cutting it, and Null, which other functions pass on. Numbers in the exact
// form of exact_number.h arrive as blobs and stay exact where the entry says so. Easy to get wrong:
// whole results are returned as whole numbers, or a count of 10 is compared and shown as 10.0;
// rounding is half to even, but seen on the decimal that the user wrote and not on its double.

#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/functions/functions.h"

#include <cmath>
#include <random>

namespace vantry::sql {
namespace {

// Conversions promise a value of their type.
void RefuseNull(const FunctionCall& call) {
    if (call.IsNull(0)) {
        throw InvalidUseOfNull();
    }
}

// CByte, CInt, CLng: rounded first, then looked at.
template <std::int64_t kLeast, std::int64_t kMost>
void ToWhole(FunctionCall& call) {
    RefuseNull(call);
    const auto number = call.Whole(0);
    if (number < kLeast || number > kMost) {
        throw Overflow();
    }
    call.Return(number);
}

void ToTruth(FunctionCall& call) {
    RefuseNull(call);
    call.Return(call.Number(0) != 0);
}

void ToCurrency(FunctionCall& call) {
    RefuseNull(call);
    const auto rounded = ToDecimal(Cell::FromDecimal(call.Exact(0)), 4);
    // A currency is 64 bits with four decimals.
    if (!rounded || rounded->unscaled > INT64_MAX || rounded->unscaled < INT64_MIN) {
        throw Overflow();
    }
    call.Return(*rounded);
}

void ToDoubleNumber(FunctionCall& call) {
    RefuseNull(call);
    call.Return(call.Number(0));
}

void ToSingleNumber(FunctionCall& call) {
    RefuseNull(call);
    const auto number = call.Number(0);
    // As a float it would be infinite.
    if (std::abs(number) > static_cast<double>(std::numeric_limits<float>::max())) {
        throw Overflow();
    }
    call.Return(static_cast<double>(static_cast<float>(number)));
}

void ToTextForm(FunctionCall& call) {
    RefuseNull(call);
    call.Return(call.Text(0));
}

void Absolute(FunctionCall& call) {
    // The exact form: nothing passes through a double.
    if (call.IsBlob(0)) {
        auto number = call.Exact(0);
        number.unscaled = number.unscaled < 0 ? -number.unscaled : number.unscaled;
        call.Return(number);
    } else if (call.IsWhole(0) && call.Whole(0) != INT64_MIN) {
        call.Return(std::int64_t{std::abs(call.Whole(0))});
    } else {
        call.Return(std::abs(call.Number(0)));
    }
}

void Sign(FunctionCall& call) {
    const auto number = call.Number(0);
    call.Return(std::int64_t{number > 0 ? 1 : number < 0 ? -1 : 0});
}

void ReturnWhole(const FunctionCall& call, double number) {
    // Above, not every whole number is a double, and below it is exactly one.
    if (std::abs(number) < 9e15) {
        call.Return(static_cast<std::int64_t>(number));
    } else {
        call.Return(number);
    }
}

// The whole number towards zero, or below.
Decimal WholePart(Decimal number, bool below) {
    const bool negative = number.unscaled < 0;
    bool fraction = false;
    // Digit by digit: a scale of 38 has no power of ten in 64 bits.
    for (; number.scale > 0; --number.scale) {
        fraction = fraction || number.unscaled % 10 != 0;
        number.unscaled /= 10;
    }
    number.unscaled -= below && negative && fraction ? 1 : 0;
    return number;
}

void Int(FunctionCall& call) {
    if (call.IsBlob(0)) {
        return call.Return(WholePart(call.Exact(0), true));
    }
    ReturnWhole(call, std::floor(call.Number(0)));
}

void Fix(FunctionCall& call) {
    if (call.IsBlob(0)) {
        return call.Return(WholePart(call.Exact(0), false));
    }
    ReturnWhole(call, std::trunc(call.Number(0)));
}

// Half to even. Seen as decimals: 2.675 is half way although its double is a little below.
void Round(FunctionCall& call) {
    const auto places = call.count > 1 ? call.Whole(1) : 0;
    // A double has no digits behind the 22nd place that mean anything.
    if (places < 0 || places > 22) {
        call.Refuse();
    }
    if (call.IsWhole(0)) {
        return call.Return(call.Whole(0));
    }
    if (call.IsBlob(0)) {
        const auto exact = call.Exact(0);
        const auto rounded = ToDecimal(Cell::FromDecimal(exact), static_cast<int>(places));
        return call.Return(places < exact.scale && rounded ? *rounded : exact);
    }
    const auto number = call.Number(0);
    if (const auto rounded = ToDecimal(Cell::Double(number), static_cast<int>(places))) {
        call.Return(*ToDouble(Cell::FromDecimal(*rounded)));
    } else {
        call.Return(number);
    }
}

void SquareRoot(FunctionCall& call) {
    if (call.Number(0) < 0) {
        call.Refuse();
    }
    call.Return(std::sqrt(call.Number(0)));
}

void Logarithm(FunctionCall& call) {
    // The C library would answer minus infinity.
    if (call.Number(0) <= 0) {
        call.Refuse();
    }
    call.Return(std::log(call.Number(0)));
}

template <double (*kFunction)(double)>
void Plain(FunctionCall& call) {
    call.Return(kFunction(call.Number(0)));
}

void Random(FunctionCall& call) {
    // Random numbers need no certain order, but threads must not share a generator.
    static thread_local std::minstd_rand generator(std::random_device{}());
    call.Return(std::uniform_real_distribution<double>(0, 1)(generator));
}

void IsNumeric(FunctionCall& call) {
    call.Return(!call.IsNull(0) && !call.IsBlob(0) &&
                (!call.IsText(0) || ParseDouble(call.Text(0)).has_value()));
}

void IsDate(FunctionCall& call) {
    call.Return(call.IsText(0) && ParseDateTime(call.Text(0)).has_value());
}

void IsEmpty(FunctionCall& call) {
    call.Return(false);  // no value of a row is without a value or Null
}

// Partition(number, from, to, width): the span in which the number falls, as "  1: 10".
void Partition(FunctionCall& call) {
    const auto number = call.Whole(0);
    const auto from = call.Whole(1);
    const auto to = call.Whole(2);
    const auto width = call.Whole(3);
    constexpr std::int64_t kLimit = 1'000'000'000'000;
    if (from < 0 || to <= from || width < 1 || to > kLimit || width > kLimit) {
        call.Refuse();
    }
    // Both ends are as wide as the widest bound, so that the spans sort as texts.
    const auto digits = std::max(std::to_string(from - 1).size(), std::to_string(to + 1).size());
    const auto padded = [&](std::optional<std::int64_t> bound) {
        const auto text = bound ? std::to_string(*bound) : std::string();
        return std::string(digits - std::min(digits, text.size()), ' ') + text;
    };
    std::string text;
    if (number < from) {
        text = padded(std::nullopt) + ':' + padded(from - 1);
    } else if (number > to) {
        text = padded(to + 1) + ':' + padded(std::nullopt);
    } else {
        const auto first = from + (number - from) / width * width;
        text = padded(first) + ':' + padded(std::min(to, first + width - 1));
    }
    call.Return(std::string_view(text));
}

constexpr FunctionEntry kNumber[] = {
    {"CBool", 1, 1, "n", 'b', ToTruth, true},
    {"CByte", 1, 1, "n", 'y', ToWhole<0, 255>, true},
    {"CInt", 1, 1, "n", 'i', ToWhole<INT16_MIN, INT16_MAX>, true},
    {"CLng", 1, 1, "n", 'l', ToWhole<INT32_MIN, INT32_MAX>, true},
    {"CCur", 1, 1, "v", 'c', ToCurrency, true, nullptr, false, 0, true},
    {"CDbl", 1, 1, "n", 'n', ToDoubleNumber, true},
    {"CSng", 1, 1, "n", 's', ToSingleNumber, true},
    {"CStr", 1, 1, "t", 't', ToTextForm, true},
    {"Abs", 1, 1, "n", 'v', Absolute, false, nullptr, false, 0, true},
    {"Sgn", 1, 1, "n", 'i', Sign},
    {"Int", 1, 1, "n", 'v', Int, false, nullptr, false, 0, true},
    {"Fix", 1, 1, "n", 'v', Fix, false, nullptr, false, 0, true},
    {"Round", 1, 2, "n", 'v', Round, false, nullptr, false, 0, true},
    {"Sqr", 1, 1, "n", 'n', SquareRoot},
    {"Exp", 1, 1, "n", 'n', Plain<std::exp>},
    {"Log", 1, 1, "n", 'n', Logarithm},
    {"Sin", 1, 1, "n", 'n', Plain<std::sin>},
    {"Cos", 1, 1, "n", 'n', Plain<std::cos>},
    {"Tan", 1, 1, "n", 'n', Plain<std::tan>},
    {"Atn", 1, 1, "n", 'n', Plain<std::atan>},
    {"Rnd", 0, 1, "n", 's', Random, true, nullptr, true},
    {"IsNumeric", 1, 1, "v", 'b', IsNumeric, true},
    {"IsDate", 1, 1, "v", 'b', IsDate, true},
    {"IsEmpty", 1, 1, "v", 'b', IsEmpty, true},
    {"Partition", 4, 4, "n", 't', Partition},
};

}  // namespace

std::span<const FunctionEntry> NumberFunctions() {
    return kNumber;
}

}  // namespace vantry::sql
