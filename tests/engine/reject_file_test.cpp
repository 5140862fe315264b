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
    std::multiset<std::string> Kinds(const std::map<std::int64_t, std::string>& states) {
        std::multiset<std::string> kinds;
        for (const auto& [row, state] : states) {
            kinds.insert(state);
        }
        return kinds;
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

struct FaultCase {
    const char* name;
    const char* kind;
    int text_type;
    const char* operation;
    std::function<void(int number)> fail;  // throws at calls of its choice
    std::vector<int> unreadable;           // rows, from 1
    int refused, one_of_these, with_another, not_sent, taken_back, may_have_arrived;
    std::int64_t not_reached;
};

TEST_F(RejectFileTest, RowsOfTheSourceAreThoseOfTheTargetAndThoseOfTheFile) {
    const auto at = [](std::set<int> numbers, DataError error) {
        return [=](int number) {
            if (numbers.contains(number)) {
                throw DataError(error);
            }
        };
    };
    const auto never = at({}, Unknown());
    const DataError bad(kErrConstraint, "it's \"bad\",\r\nvery");
    const DataError third(kErrConversion, "Data too long for column 'name' at row 3");
    DataError half(kErrConstraint, "Duplicate entry");
    half.SetArrivedRows(40);
    const auto from = [](int first, DataError error) {
        return [=](int number) {
            if (number >= first) {
                throw DataError(error);
            }
        };
    };
    const int kLong = adLongVarWChar;
    const FaultCase cases[] = {
        {"none", "ACCESS", adVarWChar, "ExecutePrepared", never, {}, 0, 0, 0, 0, 0, 0, 0},
        {"rows",
         "ACCESS",
         adVarWChar,
         "ExecutePrepared",
         at({1, 7, 203}, bad),
         {9, 10},
         5,
         0,
         0,
         0,
         0,
         0,
         0},
        {"appended", "ACCESS", kLong, "Append", at({1, 7}, bad), {9, 205}, 4, 0, 0, 0, 0, 0, 0},
        {"given up",
         "ACCESS",
         adVarWChar,
         "ExecutePrepared",
         from(11, bad),
         {},
         50,
         0,
         0,
         0,
         0,
         0,
         61},
        {"answer lost",
         "ACCESS",
         adVarWChar,
         "ExecutePrepared",
         at({5}, Unknown()),
         {},
         0,
         0,
         0,
         0,
         0,
         1,
         0},
        {"taken back",
         "ACCESS",
         adVarWChar,
         "ExecutePrepared",
         at({60}, Lost(30)),
         {50},
         2,
         0,
         0,
         0,
         30,
         0,
         0},
        {"lost at the end",
         "ACCESS",
         kLong,
         "Settle",
         at({1}, Lost(205)),
         {},
         0,
         0,
         0,
         0,
         205,
         0,
         0},
        {"source breaks", "ACCESS", adVarWChar, "Next", at({101}, bad), {3}, 1, 0, 0, 0, 0, 0, 101},
        {"batch", "MySQL", adVarWChar, "Execute", at({2}, bad), {}, 0, 100, 0, 0, 0, 0, 0},
        {"named", "MySQL", adVarWChar, "Execute", at({1, 3}, third), {}, 2, 0, 103, 0, 0, 0, 0},
        {"half", "MySQL", adVarWChar, "Execute", at({1}, half), {}, 1, 0, 59, 0, 0, 0, 0},
        {"unknown", "MySQL", adVarWChar, "Execute", at({1}, Unknown()), {}, 0, 0, 0, 0, 0, 100, 0},
        {"field", "MySQL", adVarWChar, "Execute", at({2}, bad), {150, 151}, 2, 0, 98, 0, 0, 0, 0},
        {"server gone", "MySQL", adVarWChar, "Next", at({151}, bad), {}, 0, 0, 0, 50, 0, 0, 151},
        {"memo", "MySQL", kLong, "Append", at({3}, bad), {4}, 2, 0, 0, 0, 0, 0, 0},
    };
    const TempDir folder;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ClearTable();
        TargetType = c.kind;
        FillSource(kRows, c.text_type);
        for (const int row : c.unreadable) {
            source->rows[static_cast<std::size_t>(row - 1)][1] = Unreadable();
        }
        const bool at_source = std::string_view(c.operation) == "Next";
        int calls = 0;
        const auto play = [&](std::string_view operation, int) {
            if (operation == c.operation) {
                c.fail(++calls - (at_source ? 1 : 0));  // the count's row comes first
            }
        };
        source->before = at_source ? play : std::function<void(std::string_view, int)>();
        target->before = at_source ? std::function<void(std::string_view, int)>() : play;
        RejectFile file((folder / (std::string(c.name) + ".log.rejects.csv")).string());
        CurrentRejects = &file;
        RunSession("");
        CurrentRejects = nullptr;
        source->before = target->before = {};
        const auto& report = ReportOf(0);
        EXPECT_EQ(file.Fault(), "");
        const std::map<std::int64_t, std::string> states =
            file.IsMade() ? ReadBack(file.Path()) : std::map<std::int64_t, std::string>();
        const auto kinds = Kinds(states);
        EXPECT_EQ(kinds.count("refused"), static_cast<std::size_t>(c.refused));
        EXPECT_EQ(kinds.count("one of these"), static_cast<std::size_t>(c.one_of_these));
        EXPECT_EQ(kinds.count("with another"), static_cast<std::size_t>(c.with_another));
        EXPECT_EQ(kinds.count("not sent"), static_cast<std::size_t>(c.not_sent));
        EXPECT_EQ(kinds.count("taken back"), static_cast<std::size_t>(c.taken_back));
        EXPECT_EQ(kinds.count("may have arrived"), static_cast<std::size_t>(c.may_have_arrived));
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
