#include "data/value_convert.h"

#include "data/value_text.h"

#include <gtest/gtest.h>

#include <limits>

namespace vantry {
namespace {

Cell DecimalCell(Int128 unscaled, int scale) {
    return Cell::FromDecimal({unscaled, static_cast<std::uint8_t>(scale)});
}

std::string DecimalText(const std::optional<Decimal>& value) {
    std::string text;
    if (value) {
        AppendDecimal(*value, text);  // with the decimals of its scale
    }
    return value ? text : "nothing";
}

TEST(ValueConvert, IntegersAreExactOrNothing) {
    struct Case {
        Cell value;
        std::optional<std::int64_t> exact;
        std::optional<std::int64_t> rounded;
    };
    const std::vector<Case> cases = {
        {Cell::Null(), {}, {}},
        {Cell::Boolean(true), -1, -1},
        {Cell::UInt64(UINT64_MAX), {}, {}},
        {Cell::Double(2.5), {}, 2},
        {Cell::Double(-9223372036854775808.0), INT64_MIN, INT64_MIN},
        {Cell::Double(9223372036854775808.0), {}, {}},
        {Cell::Double(std::numeric_limits<double>::quiet_NaN()), {}, {}},
        {DecimalCell(-1200, 2), -12, -12},
        {DecimalCell(1250, 3), {}, 1},
        {Cell::Text(" 42 "), 42, 42},
        {Cell::Text("4.2e1"), 42, 42},
        {Cell::Text("-9223372036854775808"), INT64_MIN, INT64_MIN},
        {Cell::Text("9223372036854775808"), {}, {}},
        {Cell::Text("1e99999999999"), {}, {}},
        {Cell::Text("12x"), {}, {}},
        {Cell::NumberText("7.5"), {}, 8},
        {Cell::FromDateTime({36526, 0}), 36526, 36526},
    };
    for (const auto& expected : cases) {
        EXPECT_EQ(ToInt64(expected.value), expected.exact) << ToText(expected.value);
        EXPECT_EQ(ToInt64Rounded(expected.value), expected.rounded) << ToText(expected.value);
    }
}

TEST(ValueConvert, DecimalsRoundHalfToEvenAndKeepThirtyEightDigits) {
    struct Case {
        Cell value;
        int scale;  // -1: as it is
        const char* text;
    };
    const std::string nines(38, '9');
    const std::string below_one = "0." + nines;
    const std::string too_long = nines + ".5";
    const std::vector<Case> cases = {
        {Cell::Double(0.1), -1, "0.1"},
        {Cell::Double(1e20), -1, "100000000000000000000"},
        {Cell::Double(1e38), -1, "nothing"},
        {Cell::Double(1e-50), -1, "nothing"},
        {Cell::Double(1e-50), 2, "0.00"},
        {Cell::Double(2.675), 2, "2.68"},  // by its digits, not by what the bits hold
        {Cell::Double(-0.125), 2, "-0.12"},
        {DecimalCell(135, 2), 1, "1.4"},
        {DecimalCell(5, 0), 3, "5.000"},
        {Cell::Text(nines), 0, nines.c_str()},
        {Cell::Text(nines), 1, "nothing"},
        {Cell::Text(below_one), 37, "1.0000000000000000000000000000000000000"},
        {Cell::Text(too_long), 0, "nothing"},
        {Cell::Int64(INT64_MIN), 4, "-9223372036854775808.0000"},
        {Cell::Text("1 e5"), -1, "nothing"},
        {Cell::Int64(1), 39, "nothing"},
    };
    for (const auto& expected : cases) {
        EXPECT_EQ(DecimalText(expected.scale < 0 ? ToDecimal(expected.value)
                                                 : ToDecimal(expected.value, expected.scale)),
                  expected.text)
            << ToText(expected.value);
    }
}

TEST(ValueConvert, DoublesAreTheNearest) {
    EXPECT_EQ(ToDouble(DecimalCell(1, 1)), 0.1);
    EXPECT_EQ(ToDouble(DecimalCell(-123456789012345678, 20)), -0.00123456789012345678);
    EXPECT_EQ(ToDouble(DecimalCell(Int128{INT64_MAX} * INT64_MAX / 1000, 38)),
              8.5070591730234615e-4);
    EXPECT_EQ(ToDouble(Cell::UInt64(UINT64_MAX)), 18446744073709551616.0);
    EXPECT_EQ(ToDouble(Cell::Text(" 2.5 ")), 2.5);
    EXPECT_EQ(ToDouble(Cell::FromDateTime({-1, kNanosPerDay / 4})), -1.25);
    EXPECT_FALSE(ToDouble(Cell::Text("True")));
}

TEST(ValueConvert, BooleansAndDatesComeFromNumbersAndTexts) {
    EXPECT_EQ(ToBoolean(Cell::Int64(2)), true);
    EXPECT_EQ(ToBoolean(DecimalCell(0, 4)), false);
    EXPECT_EQ(ToBoolean(Cell::Text("no")), false);
    EXPECT_EQ(ToBoolean(Cell::NumberText("0.5")), true);
    EXPECT_FALSE(ToBoolean(Cell::Text("maybe")));
    EXPECT_FALSE(ToBoolean(Cell::Null()));
    EXPECT_FALSE(ToBoolean(Cell::FromDateTime({1, 0})));
    EXPECT_EQ(ToDateTime(Cell::Double(-1.25)), (DateTime{-1, kNanosPerDay / 4}));
    EXPECT_EQ(ToDateTime(Cell::NumberText("36526.5")), (DateTime{36526, kNanosPerDay / 2}));
    EXPECT_EQ(ToDateTime(Cell::Text("2000-01-01")), (DateTime{36526, 0}));
    EXPECT_FALSE(ToDateTime(Cell::Text("36526")));
    EXPECT_FALSE(ToDateTime(Cell::Int64(INT64_MAX)));
}

}  // namespace
}  // namespace vantry
