// Numbers as text, and values as numbers.

#include "data/short_number.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <tuple>

namespace vantry {
namespace {

std::string DoubleText(double value) {
    std::string text;
    AppendDouble(value, text);
    return text;
}

std::string DecimalText(Int128 unscaled, int scale) {
    return ToText(Cell::FromDecimal({unscaled, static_cast<std::uint8_t>(scale)}));
}

const Int128 kMostDigits = ParseDecimal(std::string(38, '9'))->unscaled;

TEST(NumberText, DoublesAreWrittenPlainInTheMiddleAndWithExponentsOutside) {
    const std::vector<std::pair<double, const char*>> cases = {
        {0.0, "0"},
        {1, "1"},
        {-12.34, "-12.34"},
        {0.1 + 0.2, "0.30000000000000004"},
        {1.0 / 3, "0.3333333333333333"},
        {0.0001, "0.0001"},
        {0.00001, "1E-05"},
        {0.000015, "1.5E-05"},
        {999999999999999.0, "999999999999999"},
        {-1e15, "-1E+15"},
        {1234567890123456.0, "1.234567890123456E+15"},
        {std::numeric_limits<double>::max(), "1.7976931348623157E+308"},
        {std::numeric_limits<double>::denorm_min(), "5E-324"},
        {std::numeric_limits<double>::quiet_NaN(), "NaN"},
        {-std::numeric_limits<double>::infinity(), "-Infinity"},
    };
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(DoubleText(value), text);
    }
    EXPECT_EQ(ToText(Cell::Single(0.1F)), "0.1");
    EXPECT_EQ(ToText(Cell::Single(16777216.0F)), "16777216");
    EXPECT_EQ(ToText(Cell::Single(3.4028235E+38F)), "3.4028235E+38");
}

TEST(NumberText, IntegersAndDecimalsKeepEveryDigit) {
    EXPECT_EQ(ToText(Cell::Int64(INT64_MIN)), "-9223372036854775808");
    EXPECT_EQ(ToText(Cell::UInt64(UINT64_MAX)), "18446744073709551615");
    EXPECT_EQ(DecimalText(1250, 2), "12.5");
    EXPECT_EQ(DecimalText(-5, 3), "-0.005");
    EXPECT_EQ(DecimalText(99'999'999, 7), "9.9999999");
    EXPECT_EQ(DecimalText(-100'000'001, 8), "-1.00000001");
    EXPECT_EQ(DecimalText(10'000'001, 7) + DecimalText(1, 7), "1.00000010.0000001");
    EXPECT_EQ(DecimalText(-1'000'000, 4), "-100");
    EXPECT_EQ(DecimalText(0, 2), "0");
    EXPECT_EQ(DecimalText(-kMostDigits, 0), "-" + std::string(38, '9'));
    EXPECT_EQ(DecimalText(kMostDigits, 38), "0." + std::string(38, '9'));
    EXPECT_EQ(DecimalText(Int128{INT64_MAX} * 1000, 1), "922337203685477580700");
    EXPECT_EQ(DecimalText(Int128{10'000'000'000'000'000'000U}, 0), "10000000000000000000");
}

// Doubles of every magnitude and of the few decimals that the short way writes.
TEST(NumberText, DoublesReadBackAndNoShorterTextWould) {
    std::mt19937_64 random(11);  // NOLINT(cert-msc51-cpp): the same values at each run
    for (int round = 0; round < 60000; ++round) {
        double value = 0;
        if (round % 3 == 0) {
            const std::uint64_t bits = random();
            std::memcpy(&value, &bits, sizeof value);
        } else {
            constexpr std::array<double, 6> kPowers = {1, 10, 100, 1000, 1e4, 1e6};
            const auto whole = static_cast<std::int64_t>(random() >> (random() % 63 + 1));
            value = static_cast<double>(round % 2 == 0 ? whole : -whole) / kPowers[random() % 6];
        }
        if (!std::isfinite(value)) {
            continue;
        }
        const std::string text = DoubleText(value);
        ASSERT_EQ(std::strtod(text.c_str(), nullptr), value) << text;
        ASSERT_EQ(ParseDouble(text), value) << text;
        std::array<char, 32> fifteen{};
        std::snprintf(fifteen.data(), fifteen.size(), "%.15g", value);
        const auto digits = static_cast<std::size_t>(std::count_if(
            text.begin(),
            text.begin() + static_cast<std::ptrdiff_t>(std::min(text.find('E'), text.size())),
            [](char c) { return c >= '0' && c <= '9'; }));
        if (std::strtod(fifteen.data(), nullptr) == value) {
            ASSERT_LE(digits, 15U + 4U) << text;  // up to four zeros before the first digit
        }
        const bool short_plain = text.find('E') == std::string::npos && digits <= 15;
        ASSERT_TRUE(!short_plain || IsCanonicalNumber(text)) << text;
    }
}

TEST(NumberText, DecimalsAndIntegersReadBack) {
    std::mt19937_64 random(12);  // NOLINT(cert-msc51-cpp): the same values at each run
    for (int round = 0; round < 20000; ++round) {
        const auto wide = (static_cast<UInt128>(random()) << 64) | random();
        const auto magnitude =
            static_cast<Int128>((wide >> (random() % 127)) % static_cast<UInt128>(kMostDigits));
        const Decimal value{random() % 2 == 0 ? magnitude : -magnitude,
                            static_cast<std::uint8_t>(random() % 39)};
        std::string text;
        AppendDecimal(value, text);
        const auto back = ParseDecimal(text);
        ASSERT_TRUE(back) << text;
        ASSERT_TRUE(back->unscaled == value.unscaled && back->scale == value.scale) << text;
        const auto whole = static_cast<std::int64_t>(random() >> (random() % 64));
        ASSERT_EQ(ParseInt64(ToText(Cell::Int64(whole))), whole);
        ASSERT_EQ(ToText(Cell::Int64(whole)), std::to_string(whole));
    }
}

TEST(NumberText, OnlyNumbersAreReadAsNumbers) {
    EXPECT_EQ(ParseInt64(" +12 "), 12);
    EXPECT_EQ(ParseInt64("-9223372036854775808"), INT64_MIN);
    for (const auto* text :
         {"", " ", "+", "-", "+-1", "1.0", "1e3", "0x1", "9223372036854775808", "1 2", "1,000"}) {
        EXPECT_FALSE(ParseInt64(text)) << text;
    }
    EXPECT_EQ(ParseDouble(" 1. "), 1.0);
    EXPECT_EQ(ParseDouble("-.5"), -0.5);
    EXPECT_EQ(ParseDouble("+1.5E+3"), 1500.0);
    for (std::istringstream texts(". 1e 1e+ nan -Infinity 0x1p3 &H1F 1,5 1e999 --1 1.2.3 $1");
         texts;) {
        std::string text;
        texts >> text;  // none is left at the end
        EXPECT_FALSE(ParseDouble(text)) << text;
    }
    EXPECT_EQ(ParseDecimal("+00012.50")->scale, 2);
    EXPECT_TRUE(ParseDecimal(std::string(50, '0') + std::string(38, '9'))->unscaled == kMostDigits);
    for (const std::string& text : {std::string(39, '9'),
                                    "0." + std::string(39, '0'),
                                    std::string("1e2"),
                                    std::string("."),
                                    std::string("1..2")}) {
        EXPECT_FALSE(ParseDecimal(text)) << text;
    }
    for (const auto* text : {"TRUE", " yes", "On", "-1", "0.5", "1e3"}) {
        EXPECT_EQ(ParseBoolean(text), true) << text;
    }
    for (const auto* text : {"false", "NO", "off ", "0", "-0.0"}) {
        EXPECT_EQ(ParseBoolean(text), false) << text;
    }
    EXPECT_FALSE(ParseBoolean("T"));
    EXPECT_FALSE(ParseBoolean(""));
}

// Whatever a short text of number characters is, it is canonical exactly if it is what its own
// value is written as.
TEST(NumberText, ACanonicalNumberIsOneThatIsWrittenAsItStands) {
    std::mt19937 random(13);  // NOLINT(cert-msc51-cpp): the same texts at each run
    constexpr std::string_view kAlphabet = "00001259--..E+ ";
    int canonical = 0;
    for (int round = 0; round < 200000; ++round) {
        std::string text;
        const std::size_t length = random() % 9;
        for (std::size_t i = 0; i < length; ++i) {
            text += kAlphabet[random() % kAlphabet.size()];
        }
        const auto value = ParseDouble(text);
        const bool expected =
            value && DoubleText(*value) == text && text.find('E') == std::string::npos;
        ASSERT_EQ(IsCanonicalNumber(text), expected) << '"' << text << '"';
        canonical += expected ? 1 : 0;
    }
    EXPECT_GT(canonical, 1000);
    EXPECT_TRUE(IsCanonicalNumber("999999999999999"));
    EXPECT_TRUE(IsCanonicalNumber("-0.000123456789012345"));
    EXPECT_FALSE(IsCanonicalNumber("0.0000123"));
    EXPECT_FALSE(IsCanonicalNumber("1000000000000000"));
    EXPECT_FALSE(IsCanonicalNumber("12345678.12345678"));
}

// Each text of up to 17 of these signs at each length, at the end of its memory: what the quick way
// takes must be what the careful one makes of it, and all that has only digits and a point it
// takes.
TEST(NumberText, ShortNumbersAreReadAsTheCarefulWayReadsThem) {
    std::uint64_t state = 7;
    for (int k = 0; k < 200'000; ++k) {
        std::string text(k % 3 == 0 ? "-" : "");
        const int size = k % 18;
        for (int at = 0; at < size; ++at) {
            state = state * 6364136223846793005U + 1442695040888963407U;
            text += (k % 5 == 0 ? "0123456789.-/:e \x80" : "0123456789012345.")[state >> 60];
        }
        ShortNumber number{-1, 99};
        const bool taken = ReadShortNumber(text, number);
        const auto careful = ParseDecimal(text);
        const std::string body = text.substr(text.starts_with('-') ? 1 : 0);
        const auto points = std::count(body.begin(), body.end(), '.');
        const bool plain = !body.empty() && body.size() <= 16 &&
                           points <= (body.size() > 1 ? 1 : 0) &&
                           body.find_first_not_of("0123456789.") == body.npos;
        ASSERT_EQ(taken, plain) << text;
        ASSERT_TRUE(!taken || (careful && careful->unscaled == number.unscaled &&
                               careful->scale == number.scale))
            << text;
    }
}

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
    const std::tuple<Cell, std::optional<std::int64_t>, std::optional<std::int64_t>> cases[] = {
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
    for (const auto& [value, exact, rounded] : cases) {
        EXPECT_EQ(ToInt64(value), exact) << ToText(value);
        EXPECT_EQ(ToInt64Rounded(value), rounded) << ToText(value);
    }
}

TEST(ValueConvert, DecimalsRoundHalfToEvenAndKeepThirtyEightDigits) {
    const std::string nines(38, '9');
    const std::string below_one = "0." + nines;
    const std::string too_long = nines + ".5";
    // scale: -1: as it is.
    const std::tuple<Cell, int, const char*> cases[] = {
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
    for (const auto& [value, scale, text] : cases) {
        EXPECT_EQ(DecimalText(scale < 0 ? ToDecimal(value) : ToDecimal(value, scale)), text)
            << ToText(value);
    }
}

TEST(ValueConvert, DoublesAreTheNearestAndBooleansAndDatesComeFromNumbersAndTexts) {
    EXPECT_EQ(ToDouble(DecimalCell(1, 1)), 0.1);
    EXPECT_EQ(ToDouble(DecimalCell(9007199254740997, 1)), 900719925474099.7);
    EXPECT_EQ(ToDouble(DecimalCell(Int128{INT64_MAX} * INT64_MAX / 1000, 38)),
              8.5070591730234615e-4);
    EXPECT_EQ(ToDouble(Cell::UInt64(UINT64_MAX)), 18446744073709551616.0);
    EXPECT_EQ(ToDouble(Cell::Text(" 2.5 ")), 2.5);
    EXPECT_EQ(ToDouble(Cell::FromDateTime({-1, kNanosPerDay / 4})), -1.25);
    EXPECT_FALSE(ToDouble(Cell::Text("True")));
    EXPECT_EQ(ToBoolean(Cell::Int64(-1)), true);
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
    EXPECT_FALSE(ToDateTime(Cell::Boolean(true)));
}

}  // namespace
}  // namespace vantry
