#include "check/value_judge.h"

#include "check/repeated_keys.h"
#include "check/unique_key.h"
#include "core/session_state.h"
#include "data/ado_types.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace vantry {
namespace {

Value Text(std::string_view text) {
    return Value(Cell::Text(text));
}
Value At(std::int32_t day, std::int64_t nanos) {
    return Value(Cell::FromDateTime({day, nanos}));
}
Value Tens(std::int64_t unscaled, int scale) {
    return Value(Cell::FromDecimal({unscaled, static_cast<std::uint8_t>(scale)}));
}

TEST(ValueJudge, GradesEachValueByWayAndTarget) {
    using enum TypeNames;
    using enum Grade;
    using enum Reason;
    using enum Way;
    const std::int64_t noon = 12 * 3600 * kNanosPerSecond;
    const Value null(Cell::Null());
    const Value no(Cell::Boolean(false));
    const Value yes(Cell::Boolean(true));
    const Value half(Cell::Single(0.5F));
    const Value big = Tens(9'007'199'254'740'993, 0);
    const auto number = [](std::int64_t value) { return Value(Cell::Int64(value)); };
    const struct {
        TypeNames kind;
        const char* words;
        Way way;
        int type;
        Value value;
        Grade grade;
        Reason reason;
    } cases[] = {
        {MySQL, "Decimal", Batch, adNumeric, Tens(1234, 2), Changed, Scale},
        {MySQL, "Decimal", Batch, adNumeric, Tens(1200, 2), Kept, None},
        {MySQL, "Decimal(5,2)", Batch, adNumeric, Tens(99'999'9, 3), Refused, Range},
        {MySQL, "Integer", Batch, adSingle, half, Changed, Scale},
        {MySQL, "Integer(300)", Batch, adInteger, number(1), Refused, NoType},
        {MySQL, "", Batch, adBigInt, null, Refused, NoType},
        {MySQL, "DateTime", Batch, adBoolean, no, Changed, OtherDay},
        {MySQL, "Varchar(3)", Batch, adVarWChar, Text("日本語"), Kept, None},
        {MySQL, "Varchar(3)", Batch, adVarWChar, Text("日本語!"), Refused, Length},
        {MySQL, "Varchar(3)", Batch, adVarWChar, null, Changed, Null},
        {MySQL, "DateTime", Batch, adDate, At(1, noon), Kept, None},
        {MySQL, "DateTime", Batch, adDate, At(1, noon + 1), Changed, SecondFraction},
        {MySQL, "DateTime", BatchRecordset, adDate, At(1, noon), Changed, TimeOfDay},
        {MySQL, "DateTime", BatchRecordset, adDate, null, Refused, Null},
        {Access, "Text(2)", Statement, adVarWChar, Text("😀"), Kept, None},
        {Access, "Text(2)", Statement, adVarWChar, Text("😀!"), Refused, Length},
        {Access, " yesno", Statement, adBoolean, null, Changed, Null},
        {Access, "Byte", Statement, adInteger, number(256), Refused, Range},
        {Access, "Long", Statement, adGUID, Text("{x}"), Refused, NotAValue},
        {Access, "Double", Statement, adNumeric, big, Changed, FloatPrecision},
        {Access, "DateTime", Statement, adDate, At(-657'435, 0), Refused, Range},
        {FoxPro, "Character(3)", Statement, adVarWChar, Text("ab   "), Changed, Blanks},
        {FoxPro, "Character(3)", Statement, adVarWChar, Text("日"), Refused, CodePage},
        {FoxPro, "Numeric(6,2)", Statement, adNumeric, Tens(1'000'00, 2), Refused, Range},
        {FoxPro, "Numeric(30,2)", Statement, adNumeric, Tens(1, 2), Refused, NoType},
        {Oracle, "Varchar2(2)", Statement, adBoolean, yes, Changed, Letters},
        {Oracle, "Varchar2(9)", Statement, adVarWChar, Text(""), Changed, EmptyText},
        {MSSQL, "datetime", Statement, adDate, At(-53'689, 0), Refused, Range},
        {MSSQL,
         "datetime",
         Statement,
         adDate,
         At(2'958'465, kNanosPerDay - 1'000'000),
         Refused,
         Range},
        {MSSQL, "Bit", Statement, adTinyInt, number(5), Changed, Truth},
        {MSSQL, "varchar(9)", Statement, adVarChar, Text("日"), Changed, CodePage},
    };
    for (const auto& each : cases) {
        ColumnJudge judge(HoldingOfWords(each.kind, each.words), {each.way, each.type});
        const auto verdict = judge(each.value.AsCell());
        EXPECT_TRUE(verdict.grade == each.grade && verdict.reason == each.reason)
            << "case " << &each - cases << ", " << each.words << ": grade "
            << static_cast<int>(verdict.grade) << ", reason " << static_cast<int>(verdict.reason);
    }
}

TEST(RepeatedKeys, FindsThemAmongMoreThanMemoryHolds) {
    RepeatedKeys keys;
    constexpr std::int64_t kRows = 1'000'000;
    for (int times = 0; times < 2; ++times) {
        keys.Add(7ULL * 0x9E3779B97F4A7C15U, 0);  // the target has it, and repeats it itself
    }
    for (std::int64_t row = 1; row <= kRows; ++row) {
        const std::int64_t value = row == kRows ? 12 : row;
        keys.Add(static_cast<std::uint64_t>(value) * 0x9E3779B97F4A7C15U, row);
    }
    const auto answer = keys.Find();
    EXPECT_EQ(answer.repeats, 2);
    EXPECT_EQ(answer.first, 7);
}

TEST(UniqueKey, RepeatsByItsRuleForNullsAndItsPartsDontRunTogether) {
    using enum TableRules::Nulls;
    TargetType = "ACCESS";
    const auto repeats = [](TableRules::Nulls nulls) {
        UniqueKey key({"k", {{"a"}, {"b"}}, nulls}, {});
        const Cell x = Cell::Text("x");
        const Cell empty = Cell::Text("");
        const Cell null = Cell::Null();
        std::int64_t row = 0;
        for (const auto& parts : std::vector<std::array<Cell, 2>>{
                 {x, empty}, {empty, x}, {x, null}, {x, null}, {null, null}, {null, null}}) {
            key.Add(parts, ++row);
        }
        return key.keys.Find().repeats;
    };
    EXPECT_EQ(repeats(TakeOut), 0);
    EXPECT_EQ(repeats(TakeOutIfAll), 1);
    EXPECT_EQ(repeats(Count), 2);
}

}  // namespace
}  // namespace vantry
