// Decimals with more digits than a double holds. Expected rows are worked out by hand.

#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/sql_fixture.h"

#include <array>

namespace vantry::sql::test {
namespace {

class ExactTest : public SqlTest {
protected:
    ExactTest() {
        using D = MemoryDatabase;
        auto decimal = D::Column("q", adNumeric, 19, 2);
        decimal.info.precision = 28;
        auto narrow = D::Column("n", adNumeric, 19, 2);
        narrow.info.precision = 10;
        database_->AddTable("o",
                            {D::Column("id", adInteger, 4),
                             D::Column("c", adCurrency),
                             decimal,
                             narrow,
                             D::Column("d", adDouble)});
        for (const auto* row : {"1, 922337203685477.5807, 12345678901234567890123456.78, 1.10, 0.5",
                                "2, 922337203685477.5806, 12345678901234567890123456.79, 2.20, 2",
                                "3, -922337203685477.5808, -12345678901234567890123456.78, 3, 3.5",
                                "4, 2.5, 2, 2, 2",
                                "5, Null, Null, Null, Null"}) {
            connection_->Execute(std::string("insert into o values (") + row + ")");
        }
    }
};

constexpr const char* kBigQ = "12345678901234567890123456.78";

TEST_F(ExactTest, ExpressionsPassValuesOnUnchanged) {
    const Case cases[] = {
        {"select Max(c), Min(c), Max(q), Min(q) from o",
         "922337203685477.5807|-922337203685477.5808|12345678901234567890123456.79|"
         "-12345678901234567890123456.78"},
        {"select Nz(q, 0), CCur(c), IIf(True, c, 1), Choose(1, q, n) from o where id in (1, 5) "
         "and id = 1",
         "12345678901234567890123456.78|922337203685477.5807|922337203685477.5807|"
         "12345678901234567890123456.78"},
        {"select (select Max(q) from o where id = 1) from o where id = 1", kBigQ},
        {"select CStr(c) & '/' & q & '/' & n from o where id = 1",
         "922337203685477.5807/12345678901234567890123456.78/1.1"},
        {"select CCur('922337203685477.5807'), 12345678901234567890123456.78 from o where id = 1",
         "922337203685477.5807|12345678901234567890123456.78"},
        {"select q from o where id = 1 union select Null from o where id = 5 order by 1",
         "-\n12345678901234567890123456.78"},
    };
    Check(cases);
}

TEST_F(ExactTest, ComparisonsSeeEveryDigit) {
    const Case cases[] = {
        {"select id from o where c > 922337203685477.5806", "1"},
        {"select id from o where c = '922337203685477.5806'", "2"},
        {"select id from o where c <= -922337203685477.5808", "3"},
        {"select id from o where q between 12345678901234567890123456.785 and 1E+50", "2"},
        {"select id from o where q > -1E+50 and q < 1E+50 and q <> 2", "1\n2\n3"},
        {"select id from o where 12345678901234567890123456.79 in (q, 7)", "2"},
        {"select id from o where q in (select q from o where id = 1)", "1"},
        {"select id from o where q in (select d from o)", "4"},
        {"select id from o where q = d or c = id or n = q", "4"},
        {"select id from o order by c, id", "5\n3\n4\n2\n1"},
        {"select top 1 id from o order by q desc", "2"},
        {"select q, count(*) from o where id < 3 group by q",
         "12345678901234567890123456.78|1\n12345678901234567890123456.79|1"},
        {"select a.id, b.id from o as a inner join o as b on a.q = b.q order by a.id",
         "1|1\n2|2\n3|3\n4|4"},
        {"select a.id, b.id from o as a left join o as b on a.q = b.id order by a.id",
         "1|-\n2|-\n3|-\n4|2\n5|-"},
    };
    Check(cases);
}

TEST_F(ExactTest, SumsDifferencesAndProductsAreExactUpTo28Digits) {
    const Case cases[] = {
        {"select -q, -c, q * 1, q + 0, 0 - q from o where id = 1",
         "-12345678901234567890123456.78|-922337203685477.5807|12345678901234567890123456.78|"
         "12345678901234567890123456.78|-12345678901234567890123456.78"},
        {"select Sum(q), Sum(c) from o where id < 3",
         "24691357802469135780246913.57|1844674407370955.1613"},
        {"select Sum(distinct q), Sum(n) from o", "12345678901234567890123458.79|8.3"},
        {"select q - 12345678901234567890123456.77, c - 922337203685477.58 + 1 from o where id = 1",
         "0.01|1.0007"},
        {"select n + n - n, n * n, n * n * n from o where id = 1", "1.1|1.21|1.331"},
        {"select Int(c), Fix(c), Abs(c), Round(c, 2) from o where id = 3",
         "-922337203685478|-922337203685477|922337203685477.5808|"
         "-922337203685477.58"},
        {"select c / 2, c * d, c + id from o where id = 4", "1.25|5|6.5"},
        {"select Avg(c), Avg(q) from o where id = 4", "2.5|2"},
        {"select q * q from o where id = 1", "error: Overflow"},
        {"select CCur(q) from o where id = 1", "error: Overflow"},
    };
    Check(cases);
}

TEST_F(ExactTest, ChangesAndParametersKeepEveryDigit) {
    const auto update = connection_->Prepare("update o set q = Nz(?, 0) where q = ?", {});
    const std::array<Decimal, 2> numbers{
        Decimal{static_cast<Int128>(1234567890123456789) * 1'000'000'000 + 12'345'677, 2},
        Decimal{static_cast<Int128>(1234567890123456789) * 1'000'000'000 + 12'345'678, 2}};
    std::vector<Cell> values{Cell::FromDecimal(numbers[0]), Cell::FromDecimal(numbers[1])};
    EXPECT_EQ(update->Execute(values), 1);
    connection_->Execute("update o set c = -c, q = q - 0.01 where id = 1");
    EXPECT_EQ(Rows("select c, q from o where id = 1"),
              "-922337203685477.5807|12345678901234567890123456.76");
}

// The order of the bytes is the order of the numbers, and nothing is lost on the way.
TEST(ExactBytesTest, SortAsTheNumbersDo) {
    const auto text = [](const Decimal& number) {
        const ExactBytes exact(number);
        const auto bytes = exact.Bytes();
        return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    };
    Int128 most = 1;
    for (int k = 0; k < 38; ++k) {
        most *= 10;
    }
    --most;
    const Decimal ascending[] = {
        {-most, 0},  {-most, 1}, {-1000, 0}, {-123, 1}, {-12, 0},   {-1001, 3}, {-1, 0},
        {-most, 38}, {-15, 2},   {-1, 1},    {-1, 37},  {0, 0},     {1, 38},    {1, 37},
        {15, 37},    {1, 2},     {10, 2},    {15, 2},   {most, 38}, {1, 0},     {100001, 5},
        {1001, 3},   {most, 37}, {12, 0},    {123, 1},  {1000, 0},  {most, 1},  {most, 0}};
    std::vector<std::string> keys;
    for (const auto& number : ascending) {
        const auto key = text(number);
        const auto back = DecimalOfBytes(std::as_bytes(std::span(key)));
        ASSERT_TRUE(back.has_value());
        EXPECT_EQ(ToText(Cell::FromDecimal(WithoutTrailingZeros(*back))),
                  ToText(Cell::FromDecimal(WithoutTrailingZeros(number))));
        keys.push_back(key);
    }
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
    EXPECT_EQ(text({15, 1}), text({15000, 4}));
    EXPECT_EQ(text({0, 4}), text({0, 0}));
}

}  // namespace
}  // namespace vantry::sql::test
