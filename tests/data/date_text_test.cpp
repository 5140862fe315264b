#include "data/value_text.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <random>
#include <sstream>
#include <tuple>

namespace vantry {
namespace {

// The form is process-wide: each test leaves the one that it found.
class DateText : public ::testing::Test {
protected:
    void TearDown() override { SetLocalDateForm(before_); }
    DateForm before_ = LocalDateForm();
};

constexpr DateForm kIso{};
constexpr DateForm kAmerican{DateOrder::MonthDayYear, '/', true, true};
constexpr DateForm kGerman{DateOrder::DayMonthYear, '.', true, false};

DateTime At(int year,
            int month,
            int day,
            int hour = 0,
            int minute = 0,
            int second = 0,
            std::int64_t nanos = 0) {
    return {DayOf(year, month, day).value(), NanosOf(hour, minute, second, nanos).value()};
}

TEST_F(DateText, DaysAgreeWithTheCalendarOfTheLibrary) {
    using std::chrono::days, std::chrono::sys_days, std::chrono::year_month_day;
    const auto day_zero = sys_days(std::chrono::year(1899) / std::chrono::December / 30);
    for (std::int32_t day = kMinDay; day <= kMaxDay; ++day) {
        const year_month_day expected(day_zero + days(day));
        const CalendarDate date = CalendarOf(day);
        ASSERT_EQ(date.year, static_cast<int>(expected.year())) << day;
        ASSERT_EQ(date.month, static_cast<int>(static_cast<unsigned>(expected.month()))) << day;
        ASSERT_EQ(date.day, static_cast<int>(static_cast<unsigned>(expected.day()))) << day;
        ASSERT_EQ(DayOf(date.year, date.month, date.day), day);
    }
    EXPECT_EQ(DayOf(1, 1, 1), kMinDay);
    EXPECT_EQ(DayOf(9999, 12, 31), kMaxDay);
    std::istringstream none(
        "1900 2 29 2024 2 30 2024 4 31 2024 13 1 2024 0 1 2024 1 0 0 1 1 10000 1 1 2024 -1 1");
    for (int y = 0, m = 0, d = 0; none >> y >> m >> d;) {
        EXPECT_FALSE(DayOf(y, m, d)) << y << " " << m << " " << d;
    }
    EXPECT_TRUE(DayOf(2000, 2, 29));
}

TEST_F(DateText, SerialsCountTheirFractionForwardAlsoBeforeDayZero) {
    const std::vector<std::pair<double, DateTime>> cases = {
        {36526, At(2000, 1, 1)},
        {-1.25, At(1899, 12, 29, 6)},
        {-0.5, {0, kNanosPerDay / 2}},
        {kMinDay - 0.75, At(1, 1, 1, 18)},
        {45000.99999999999, At(2023, 3, 16)},  // a hair before midnight
        {-1.9999999999999, {0, 0}},
    };
    for (const auto& [serial, value] : cases) {
        EXPECT_EQ(FromSerial(serial), value) << serial;
    }
    EXPECT_EQ(ToSerial(At(1899, 12, 29, 6)), -1.25);
    for (const double serial : {2958466.0, -693594.0, 1e300, -1e300, std::nan("")}) {
        EXPECT_FALSE(FromSerial(serial)) << serial;
    }
    std::mt19937_64 random(5);  // NOLINT(cert-msc51-cpp): the same values at each run
    for (int round = 0; round < 20000; ++round) {
        const auto day = static_cast<std::int32_t>(
            kMinDay + static_cast<std::int64_t>(random() % (kMaxDay - kMinDay + 1)));
        const DateTime value{day, static_cast<std::int64_t>(random() % 86400) * kNanosPerSecond};
        ASSERT_EQ(FromSerial(ToSerial(value)), value) << value.day << " " << value.nanos;
    }
}

TEST_F(DateText, IsWrittenInTheLocalForm) {
    const std::tuple<DateForm, DateTime, const char*> cases[] = {
        {kIso, At(2024, 5, 1, 13, 4, 5), "2024-05-01 13:04:05"},
        {kIso, {0, 0}, "00:00:00"},
        {kIso, {0, kNanosPerDay - 1}, "23:59:59.999999999"},
        {kAmerican, At(2024, 5, 1, 13, 4, 5, 120'000'000), "05/01/2024 01:04:05.12 PM"},
        {kAmerican, At(1, 1, 1, 0, 30), "01/01/0001 12:30:00 AM"},
        {kAmerican, {0, kNanosPerDay / 2}, "12:00:00 PM"},
        {kGerman, At(9999, 12, 31, 23, 59, 59), "31.12.9999 23:59:59"},
        {{DateOrder::DayMonthYear, '/', false, false}, At(2024, 5, 1), "1/5/2024"},
        {kIso, {INT32_MAX, INT64_MAX}, "9999-12-31 23:59:59.999999999"},  // no crash
    };
    for (const auto& [form, value, text] : cases) {
        SetLocalDateForm(form);
        EXPECT_EQ(ToText(Cell::FromDateTime(value)), text);
    }
    SetLocalDateForm(kAmerican);
    std::string iso;
    AppendIsoDateTime({0, 0}, iso);
    AppendIsoDateTime(At(2024, 5, 1, 1, 2, 3, 500), iso);
    EXPECT_EQ(iso, "1899-12-30 00:00:002024-05-01 01:02:03.0000005");
    EXPECT_EQ(ShortDate(At(2024, 5, 1, 12)), "05/01/2024");
    EXPECT_EQ(TimeAmPm(At(2024, 5, 1, 0, 3, 4)), "12:03:04 AM");
}

TEST_F(DateText, WhatAnyFormWritesIsReadBackAsTheSame) {
    std::mt19937_64 random(6);  // NOLINT(cert-msc51-cpp): the same values at each run
    for (const auto order :
         {DateOrder::YearMonthDay, DateOrder::MonthDayYear, DateOrder::DayMonthYear}) {
        for (const char separator : {'-', '/', '.', ' '}) {
            for (int flags = 0; flags < 4; ++flags) {
                const DateForm form{order, separator, flags % 2 == 0, flags >= 2};
                SetLocalDateForm(form);
                for (int round = 0; round < 500; ++round) {
                    constexpr std::array<std::int64_t, 4> kUnits = {
                        kNanosPerDay, kNanosPerSecond, 1'000'000, 1};
                    const std::int64_t unit = kUnits[random() % kUnits.size()];
                    DateTime value{
                        static_cast<std::int32_t>(
                            kMinDay +
                            static_cast<std::int64_t>(random() % (kMaxDay - kMinDay + 1))),
                        static_cast<std::int64_t>(random() % kNanosPerDay) / unit * unit};
                    value.day = round % 50 == 0 ? 0 : value.day;
                    const std::string text = ToText(Cell::FromDateTime(value));
                    ASSERT_EQ(ParseDateTime(text), value) << text;
                    std::string iso;
                    AppendIsoDateTime(value, iso);
                    ASSERT_EQ(ParseIsoDateTime(iso), value) << iso;
                    ASSERT_EQ(ParseDateTime(iso), value) << iso;
                }
            }
        }
    }
}

TEST_F(DateText, FormsOfDatesAreReadByTheOrderOfTheLocale) {
    const DateTime may_first = At(2024, 5, 1);
    const DateForm british{DateOrder::DayMonthYear, '/', true, false};
    const std::tuple<const char*, DateForm, std::optional<DateTime>> cases[] = {
        {"05/01/2024", kAmerican, may_first},
        {"01/05/2024", british, may_first},
        {"1.5.24", kGerman, may_first},
        {"2024/5/1", kAmerican, may_first},
        {"05/01/2024", kIso, may_first},
        {"01-MAY-24", kIso, may_first},
        {"2024-may-01", kAmerican, may_first},
        {"May 1, 2024", kIso, may_first},
        {" 5/1/2024 1:04 pm ", kAmerican, At(2024, 5, 1, 13, 4)},
        {"5/1/2024 12:04:05 AM", kAmerican, At(2024, 5, 1, 0, 4, 5)},
        {"2024-05-01T13:04:05.5", kAmerican, At(2024, 5, 1, 13, 4, 5, 500'000'000)},
        {"7:05", kAmerican, DateTime{0, NanosOf(7, 5, 0).value()}},
        {"1/1/29", kAmerican, At(2029, 1, 1)},
        {"1/1/30", kAmerican, At(1930, 1, 1)},
        // The order makes these impossible, and nothing is swapped.
        {"13/02/2024", kAmerican, std::nullopt},
        {"2024-13-02", kIso, std::nullopt},
        {"02/30/2024", kAmerican, std::nullopt},
        // Not dates, however near.
        {"", kIso, std::nullopt},
        {"1.2.10", kAmerican, std::nullopt},  // a version number
        {"1/2-2024", kAmerican, std::nullopt},
        {"1/2/204", kAmerican, std::nullopt},
        {"1/2/2024 25:00", kAmerican, std::nullopt},
        {"1/2/2024 13:00 PM", kAmerican, std::nullopt},
        {"12:60", kAmerican, std::nullopt},
        {"2024-05-01 10:00:00Z", kIso, std::nullopt},
        {"2024-05-01 10:00:00.1234567891", kIso, std::nullopt},
        {"Mai 1, 2024", kAmerican, std::nullopt},
    };
    for (const auto& [text, form, value] : cases) {
        EXPECT_EQ(ParseDateTime(text, form), value) << text;
    }
    for (const auto* text : {"2024-05-01 ",
                             "2024-05-01 1:00:00",
                             "2024-5-1",
                             "24-05-01",
                             "2024-05-01 10:00:00.",
                             "2024-05-01 10:00:00,5",
                             "2024-05-01 1"}) {
        EXPECT_FALSE(ParseIsoDateTime(text)) << text;
    }
    EXPECT_EQ(ParseIsoTime("23:59:59.000001")->nanos, kNanosPerDay - 999'999'000);
    EXPECT_FALSE(ParseIsoTime("838:59:59"));
}

TEST_F(DateText, PicturesTakeTheMinuteBehindAnHour) {
    const DateTime value = At(2024, 3, 5, 14, 7, 9);
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"yyyy-mm-dd-hh-nn-ss", "2024-03-05-14-07-09"},
        {"dd_mmm_yy_hh_m_ss", "05_Mar_24_14_7_09"},
        {"hh:mm:ss AMPM", "02:07:09 PM"},
        {"dddd, mmmm d, yyyy", "Tuesday, March 5, 2024"},
        {"yyyy-mm-ddThh:nn", "2024-03-05T14:07"},  // a letter of no element
        {"h:nn am/pm qwc", "2:07 PM qwc"},
    };
    for (const auto& [picture, text] : cases) {
        EXPECT_EQ(FormatDateTime(value, picture), text);
    }
}

// Each locale in a process of its own, as the form is worked out once.
TEST(DateTextLocaleDeathTest, FormComesFromTheEnvironment) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"C", "2024-05-01 13:04:05"},
        {"no_SUCH", "2024-05-01 13:04:05"},
        {"en_US.UTF-8", "05/01/2024 01:04:05 PM"},
        {"de_DE.UTF-8", "01.05.2024 13:04:05"},
        {"en_GB.UTF-8", "01/05/2024 13:04:05"},
        {"sv_SE.UTF-8", "2024-05-01 13:04:05"},
    };
    for (const auto& [locale, text] : cases) {
        const locale_t there = newlocale(LC_TIME_MASK, locale, nullptr);
        const bool missing = there == nullptr;
        if (!missing) {
            freelocale(there);
        } else if (std::string_view(locale) != "no_SUCH") {
            continue;  // not installed here
        }
        setenv("LC_ALL", locale, 1);
        EXPECT_EXIT(
            {
                std::fputs(ToText(Cell::FromDateTime(At(2024, 5, 1, 13, 4, 5))).c_str(), stderr);
                std::exit(0);
            },
            ::testing::ExitedWithCode(0),
            text);
        unsetenv("LC_ALL");
    }
}

}  // namespace
}  // namespace vantry
