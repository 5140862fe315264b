#include "engine/verification.h"

#include "core/settings.h"
#include "data/ado_types.h"
#include "data/data_error.h"
#include "engine/row_loader.h"
#include "engine/session_fixture.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <memory>
#include <sstream>
#include <tuple>
#include <utility>
#include <vector>

namespace vantry::test {
namespace {

class VerificationTest : public RunTest {
protected:
    ~VerificationTest() override { CurrentSettings = {}; }
};

TEST_F(VerificationTest, AValueIsItselfInEachTypeThatHoldsItAndNoOtherOne) {
    const auto dec = [](std::int64_t unscaled, std::uint8_t scale) {
        return Cell::FromDecimal({unscaled, scale});
    };
    const std::array seven = {std::byte{'7'}};
    const Cell noon = Cell::FromDateTime({45000, 43'200 * kNanosPerSecond});
    struct {
        int source;
        int target;
        Cell read;
        Cell stored;
        bool same;
    } const cases[] = {
        {adNumeric, adDouble, dec(1250, 2), Cell::Double(12.5), true},
        {adNumeric, adInteger, dec(1234, 2), Cell::Int64(12), false},
        {adInteger, adNumeric, Cell::NumberText("-7"), dec(-700, 2), true},
        {adDouble, adNumeric, Cell::Double(0.1 + 0.2), dec(30000000000000004, 17), true},
        {adDouble, adNumeric, Cell::Double(0.1 + 0.2), dec(3, 1), false},
        {adBigInt,
         adDouble,
         Cell::Int64(9007199254740993),
         Cell::Double(9007199254740992.0),
         false},
        {adBigInt, adNumeric, Cell::Int64(1LL << 60), dec(1LL << 60, 0), true},
        {adDouble, adBigInt, Cell::Double(1e18), Cell::Int64(1'000'000'000'000'000'000), true},
        {adNumeric, adNumeric, dec(123456789012345678, 3), dec(123456789012345679, 3), false},
        {adSingle, adDouble, Cell::Single(0.1F), Cell::Double(double{0.1F}), true},
        {adSingle, adDouble, Cell::Single(0.1F), Cell::Double(0.1), true},
        {adDouble, adSingle, Cell::Double(0.123456789), Cell::Single(0.123456789F), false},
        {adDouble, adDouble, Cell::Double(-0.0), Cell::Int64(0), true},
        {adBoolean, adChar, Cell::Boolean(true), Cell::Text("T"), false},
        {adBoolean, adChar, Cell::Boolean(true), Cell::Text("True"), true},
        {adBoolean, adSmallInt, Cell::Boolean(true), Cell::Int64(1), true},
        {adBoolean, adChar, Cell::Null(), Cell::Text("F"), false},
        {adInteger, adBoolean, Cell::Int64(5), Cell::Boolean(true), false},
        {adVarWChar, adWChar, Cell::Text("ab"), Cell::Text("ab   "), false},
        {adVarWChar, adVarWChar, Cell::Text("ab"), Cell::Text("ab "), false},
        {adVarWChar, adVarWChar, Cell::Null(), Cell::Text(""), false},
        {adVarWChar, adInteger, Cell::Text("007"), Cell::Int64(7), false},
        {adVarWChar, adInteger, Cell::Text(" 7.50"), dec(75, 1), true},
        {adInteger, adVarWChar, Cell::Int64(7), Cell::Text("7"), true},
        {adGUID, adVarWChar, Cell::Text("{ab-1}"), Cell::Text("AB-1"), true},
        {adDBTimeStamp,
         adDate,
         Cell::FromDateTime({45000, 43'200 * kNanosPerSecond + 1}),
         noon,
         false},
        {adDouble, adSingle, Cell::Double(0.1), Cell::Single(0.1F), true},
        {adDouble, adVarChar, Cell::Double(1e300), Cell::Text("1.0000000000000000E+300"), true},
        {adInteger, adLongVarBinary, Cell::Int64(7), Cell::Bytes(seven), true},
        {adDBTimeStamp, adDBDate, noon, Cell::FromDateTime({45000, 0}), false},
    };
    TargetType = "ACCESS";
    for (const auto& c : cases) {
        const auto column = ContentColumnOf(c.source, c.target);
        EXPECT_EQ(ContentHash(c.read, column) == ContentHash(c.stored, AsReadBack(column)), c.same)
            << c.source << ' ' << c.target << ' ' << ToText(c.read) << ' ' << ToText(c.stored);
    }
}

TEST_F(VerificationTest, ATargetSpoiledBehindOurBackIsFoundButForTwoCellsThatChangedPlaces) {
    struct {
        const char* spoil;
        const char* columns;
        std::int64_t rows;
        std::int64_t first;
    } const cases[] = {
        {"", "", 0, 0},
        {"update t set price = 12.35 where id = 17", "price ", 1, 17},
        {"delete from t where id = 40", "id price name at ", 0, 40},
        {"insert into t select * from t where id = 3", "id price name at ", 0, 200},
        {"update t set at = #2024-01-02 10:11:13# where id = 200", "at ", 1, 199},
        {"update t set name = 'n' where id > 100", "name ", 99, 101},
        // The row stands in another place now: no row is named.
        {"insert into t select id, 1 as price, name, at from t where id = 40;"
         "delete from t where id = 40 and price > 2",
         "price ",
         0,
         0},
        {"update t set name = IIf(id = 5, 'name 6', 'name 5') where id in (5, 6)", "", 0, 0},
    };
    const TempDir folder;
    std::string csv = "id,price,name,at\n";
    for (int k = 1; k <= 200; ++k) {
        // One is refused: its name is too long.
        csv += std::to_string(k) + ",12.34,name " + (k == 150 ? std::string(30, 'x') : "") +
               std::to_string(k) + ",2024-01-02 10:11:12\n";
    }
    folder.Write("s.csv", csv);
    SourceType = "TEXT";
    TargetType = "ACCESS";
    SourceConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder.Path().string() +
                    ";Extended Properties=\"text;FMT=Delimited\"";
    TargetConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + (folder / "t.mdb").string();
    Catalog().Create(TargetConnStr);
    SrcTables.resize(1);
    DstTables.resize(1);
    SrcTables[0].Name = "s.csv";
    DstTables[0].Name = "t";
    for (const char* name : {"id", "price", "name", "at"}) {
        auto& row = ColMaps.emplace_back();
        row.SCName = row.DCName = name;
        row.SSelected = 1;
    }
    const std::string before = "insert into t values (3, 1.5, 'old', #2020-01-01#)";
    for (const bool verify : {true, false}) {
        CurrentSettings.VerifyRuns = verify;
        for (const auto& c : cases) {
            SCOPED_TRACE(c.spoil);
            Connection target;
            target.Open(TargetConnStr);
            target.Execute("create table t (id long, price double, name text(20), at datetime)");
            const bool appends = std::string_view(c.spoil).find("select") == std::string_view::npos;
            if (appends) {
                target.Execute(before);
            }
            CurrentRunReport = {};
            TableVerification verification(0);
            ASSERT_EQ(LoadRowsGeneric(0), kTrue) << Log();
            std::istringstream spoils(c.spoil);
            for (std::string sql; std::getline(spoils, sql, ';');) {
                target.Execute(sql);
            }
            verification.Finish();
            target.Execute("drop table t");
            target.Close();
            const auto& found = ReportOf(0).Verified;
            if (!verify) {
                EXPECT_EQ(found.result, Verification::Result::NotAsked);
                continue;
            }
            std::string columns;
            for (const auto& column : found.columns) {
                columns += column + " ";
            }
            EXPECT_EQ(
                found.result,
                *c.columns == '\0' ? Verification::Result::Same : Verification::Result::Differs)
                << found.why_not;
            EXPECT_EQ(columns, c.columns);
            EXPECT_EQ(found.target_before, appends ? 1 : 0);
            EXPECT_EQ(found.rows.value_or(0), c.rows);
            EXPECT_EQ(found.first_row.value_or(0), c.first);
        }
    }
}

// One row of a number, in two parts of which the second has none. The first one may end within a
// row, and such parts read wrong; there may be no connection for the second one.
enum class PartsAre { Whole, Cut, Unreachable };

class RowInParts : public TargetRows {
public:
    explicit RowInParts(PartsAre are, std::int64_t value = 7, bool is_second = false)
        : are_(are), is_second_(is_second), left_(!is_second), cell_(Cell::Int64(value)) {}
    std::vector<int> Types() const override { return {adInteger}; }
    bool Next() override {
        if (is_second_ && are_ == PartsAre::Unreachable) {
            throw DataError(kErrInUse, "There is no second connection.");
        }
        return std::exchange(left_, false);
    }
    std::span<const Cell> Row() const override { return {&cell_, 1}; }
    std::vector<std::unique_ptr<TargetRows>> Parts(std::size_t) const override {
        std::vector<std::unique_ptr<TargetRows>> parts;
        parts.push_back(std::make_unique<RowInParts>(are_, are_ == PartsAre::Cut ? 1 : 7));
        parts.push_back(std::make_unique<RowInParts>(are_, 7, true));
        return parts;
    }
    bool EndsWithRow() const override { return are_ != PartsAre::Cut; }

private:
    PartsAre are_;
    bool is_second_;
    bool left_;
    Cell cell_;
};

using PartsTest = SessionTest;

TEST_F(PartsTest, AreBelievedOnlyIfTheyEndWithARowAndNothingIsWhereRowsAreUnknown) {
    using enum Verification::Result;
    using enum PartsAre;
    AddColumn("n", adInteger);
    CurrentSettings.VerifyRuns = true;
    for (const auto& [are, unknown, result] : {std::tuple(Whole, 0, Same),
                                               std::tuple(Cut, 0, Same),
                                               std::tuple(Unreachable, 0, Same),
                                               std::tuple(Whole, 1, NotDone)}) {
        CurrentRunReport = {};
        const auto open = [are = are] { return std::make_unique<RowInParts>(are); };
        TableVerification verification(0, open, false);
        const Cell seven = Cell::Int64(7);
        CurrentSums->Add({&seven, 1});
        ReportOf(0).RowsUnknown = unknown;
        verification.Finish();
        EXPECT_EQ(ReportOf(0).Verified.result, result)
            << static_cast<int>(are) << ReportOf(0).Verified.why_not;
    }
    CurrentSettings = {};
}

}  // namespace
}  // namespace vantry::test
