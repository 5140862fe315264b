// Rows of the source = rows of the target + rows of the reject file, by whatever way and fault.

#include "engine/reject_file.h"

#include "data/value_convert.h"
#include "engine/run_report.h"
#include "engine/run_session.h"
#include "engine/session_fixture.h"
#include "support/temp_dir.h"

#include <filesystem>
#include <map>
#include <set>

namespace vantry::test {
namespace {

constexpr int kRows = 205;

class RejectFileTest : public SessionTest {
protected:
    RejectFileTest() : RejectFileTest::SessionTest() { CurrentRejects = nullptr; }
    ~RejectFileTest() override { CurrentRejects = nullptr; }

    // The file as our own text source reads it: states by row, values checked against the source.
    std::map<std::int64_t, std::string> ReadBack(const std::string& path) {
        const std::filesystem::path file(path);
        Recordset rows;
        rows.Open("SELECT * FROM [" + file.filename().string() + "]",
                  "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + file.parent_path().string() +
                      ";Extended Properties=\"text;FMT=Delimited\"",
                  adOpenForwardOnly,
                  adLockReadOnly);
        std::map<std::int64_t, std::string> states;
        for (; !rows.Eof(); rows.MoveNext()) {
            const auto row = ToInt64(rows.Fields()[1].Value()).value_or(1);
            EXPECT_TRUE(states.emplace(row, ToText(rows.Fields()[2].Value())).second) << row;
            EXPECT_EQ(ToText(rows.Fields()[0].Value()), "src");
            EXPECT_FALSE(ToText(rows.Fields()[3].Value()).empty());
            const auto& as_read = source->rows[static_cast<std::size_t>(row - 1)];
            for (int k = 0; k < 2; ++k) {
                if (as_read[static_cast<std::size_t>(k)].AsCell().Kind() != ValueKind::Unreadable) {
                    EXPECT_EQ(ToText(rows.Fields()[4 + k].Value()),
                              ToText(as_read[static_cast<std::size_t>(k)].AsCell()));
                }
            }
        }
        return states;
    }
    // "2 refused, 30 taken back".
    static std::string Counted(const std::map<std::int64_t, std::string>& states) {
        std::map<std::string, int> counts;
        for (const auto& [row, state] : states) {
            ++counts[state];
        }
        std::string text;
        for (const auto& [state, count] : counts) {
            text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + state;
        }
        return text;
    }
};

DataError Unknown() {
    DataError error(kErrUnspecified, "gone");
    error.SetArrivedRows(std::nullopt);
    return error;
}

DataError Lost(std::int64_t rows) {
    DataError error(kErrUnspecified, "disk full");
    error.SetLostRows(rows);
    return error;
}

TEST_F(RejectFileTest, RowsOfTheSourceAreThoseOfTheTargetAndThoseOfTheFile) {
    const auto at = [](const std::set<int>& numbers, const DataError& error) {
        return [=](int number) {
            if (numbers.contains(number)) {
                throw DataError(error);
            }
        };
    };
    const DataError bad(kErrConstraint, "it's \"bad\",\r\nvery");
    const DataError third(kErrConversion, "Data too long for column 'name' at row 3");
    DataError half(kErrConstraint, "Duplicate entry");
    half.SetArrivedRows(40);
    const auto from = [](int first, const DataError& error) {
        return [=](int number) {
            if (number >= first) {
                throw DataError(error);
            }
        };
    };
    // To Access rows go by a statement, with long texts by a recordset; to MySQL in batches.
    const struct {
        const char* kind;
        const char* operation;
        std::function<void(int number)> fail;  // throws at calls of its choice
        std::vector<int> unreadable;           // rows, from 1
        const char* states;
        std::int64_t not_reached = 0;
        std::int64_t taken_back = 0;  // when the table is settled
    } cases[] = {
        {"ACCESS", "ExecutePrepared", at({}, bad), {}, ""},
        {"ACCESS", "ExecutePrepared", at({1, 7, 203}, bad), {9, 10}, "5 refused"},
        {"ACCESS", "Append", at({1, 7}, bad), {9, 205}, "4 refused"},
        {"ACCESS", "ExecutePrepared", from(11, bad), {}, "50 refused", 61},
        {"ACCESS", "ExecutePrepared", from(11, bad), {}, "50 refused, 4 taken back", 61, 4},
        {"ACCESS", "ExecutePrepared", at({5}, Unknown()), {}, "1 may have arrived"},
        {"ACCESS", "ExecutePrepared", at({60}, Lost(30)), {50}, "2 refused, 30 taken back"},
        {"ACCESS", "Settle", at({1}, Lost(205)), {}, "205 taken back"},
        {"ACCESS", "Next", at({101}, bad), {3}, "1 refused", 101},
        {"MySQL", "Execute", at({2}, bad), {}, "100 one of these"},
        {"MySQL", "Execute", at({1, 3}, third), {}, "2 refused, 103 with another"},
        {"MySQL", "Execute", at({1}, half), {}, "1 refused, 59 with another"},
        {"MySQL", "Execute", at({1}, Unknown()), {}, "100 may have arrived"},
        {"MySQL", "Execute", at({2}, bad), {150, 151}, "2 refused, 98 with another"},
        {"MySQL", "Next", at({151}, bad), {}, "50 not sent", 151},
        {"MySQL", "Append", at({3}, bad), {4}, "2 refused"},
    };
    const TempDir folder;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.kind) + " " + c.operation + ": " + c.states);
        ClearTable();
        TargetType = c.kind;
        const std::string_view operation_of_case = c.operation;
        const bool is_long = operation_of_case == "Append" || operation_of_case == "Settle";
        FillSource(kRows, is_long ? adLongVarWChar : adVarWChar);
        for (const int row : c.unreadable) {
            source->rows[static_cast<std::size_t>(row - 1)][1] = Unreadable();
        }
        const bool at_source = operation_of_case == "Next";
        int calls = 0;
        const auto play = [&](std::string_view operation, int) {
            if (operation == c.operation) {
                c.fail(++calls - (at_source ? 1 : 0));  // the count's row comes first
            } else if (operation == "Settle" && c.taken_back > 0) {
                throw Lost(c.taken_back);
            }
        };
        source->before = at_source ? play : std::function<void(std::string_view, int)>();
        target->before = at_source ? std::function<void(std::string_view, int)>() : play;
        RejectFile file((folder / (std::to_string(&c - cases) + ".log.rejects.csv")).string());
        CurrentRejects = &file;
        RunSession("");
        CurrentRejects = nullptr;
        source->before = target->before = {};
        const auto& report = ReportOf(0);
        EXPECT_EQ(file.Fault(), "");
        const std::map<std::int64_t, std::string> states =
            file.IsMade() ? ReadBack(file.Path()) : std::map<std::int64_t, std::string>();
        EXPECT_EQ(Counted(states), c.states);
        EXPECT_EQ(report.RowsRead, report.RowsLoaded + static_cast<std::int64_t>(states.size()));
        EXPECT_EQ(report.RowsRejected, static_cast<std::int64_t>(states.size()));
        EXPECT_EQ(report.FirstRowNotReached().value_or(0), c.not_reached);
        if (file.IsMade()) {
            EXPECT_EQ(ModeOf(file.Path()), 0600U);
            EXPECT_TRUE(RejectFile::IsOne(file.Path()));
        }
    }
}

}  // namespace
}  // namespace vantry::test
