#pragma once
// A data source that is played from a script, for what no real one does on demand: fail at a chosen
// call. It keeps every statement that it was sent and every row that it took.

#include "core/driver_registry.h"
#include "data/calendar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantry::test {

using ValueRow = std::vector<Value>;

// Not inlined: the compiler loses sight of the kind that guards a value's view and warns.
[[gnu::noinline]] inline Value Int(std::int64_t value) {
    return Value(Cell::Int64(value));
}
[[gnu::noinline]] inline Value Text(std::string_view text) {
    return Value(Cell::Text(text));
}
[[gnu::noinline]] inline Value Bytes(std::string_view text) {
    return Value(Cell::Bytes(std::as_bytes(std::span(text.data(), text.size()))));
}
[[gnu::noinline]] inline Value Bool(bool value) {
    return Value(Cell::Boolean(value));
}
[[gnu::noinline]] inline Value Null() {
    return Value(Cell::Null());
}
[[gnu::noinline]] inline Value Unreadable() {
    return Value(Cell::Unreadable());
}

inline Value Moment(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    return Value(Cell::FromDateTime({*DayOf(year, month, day), *NanosOf(hour, minute, second)}));
}

class ScriptedDriver : public Driver {
public:
    // What a SELECT gives; a statement with "count(" gives the number of rows.
    std::vector<ColumnInfo> columns;
    std::vector<ValueRow> rows;

    // Execute may be had in two steps: its failure is the second's.
    bool answers_later = false;

    // Called before each operation ("Connect", "OpenCursor", "Next", "Execute", "Prepare",
    // "ExecutePrepared", "OpenAppender", "Append", "Settle") with its number among those of its
    // name, from 1. What it throws is what the operation throws. Counting and count queries aside.
    std::function<void(std::string_view operation, int number)> before;

    std::vector<std::string> queries;     // OpenCursor and OpenAppender
    std::vector<std::string> statements;  // Execute
    std::int64_t affected = -1;           // what each of them says
    std::vector<std::string> prepared;
    std::vector<ParameterInfo> parameters;  // of the last Prepare
    std::vector<ValueRow> taken;            // rows of ExecutePrepared and Append
    std::map<std::string, int, std::less<>> calls;

    // Rows of statements that go together: at most so many, and what becomes of the next one.
    std::size_t most_kept = 1;
    std::function<Statement::Keeping(std::span<const Cell> row, bool is_first)> keep;
    std::size_t longest_block = 0;
    // Called with each row before it is taken; what it throws refuses the row alone.
    std::function<void(std::span<const Cell> row)> judge = [](std::span<const Cell>) {};

    void FailAlways(const std::string& operation, const std::string& words) {
        FailFrom(operation, 1, words);
    }
    void FailFrom(const std::string& operation, int first, const std::string& words) {
        before = [=](std::string_view name, int number) {
            if (name == operation && number >= first) {
                throw DataError(kErrUnspecified, words);
            }
        };
    }
    void FailAt(const std::string& operation,
                const std::vector<int>& numbers,
                const std::string& words) {
        before = [=](std::string_view name, int number) {
            if (name == operation &&
                std::find(numbers.begin(), numbers.end(), number) != numbers.end()) {
                throw DataError(kErrUnspecified, words);
            }
        };
    }

    std::unique_ptr<DriverConnection> Connect(const ConnectionString&) override {
        Enter("Connect");
        return std::make_unique<Link>(*this);
    }

    void Enter(std::string_view operation) {
        const int number = ++calls[std::string(operation)];
        if (before) {
            before(operation, number);
        }
    }

private:
    static std::vector<Cell> Cells(const ValueRow& row) {
        std::vector<Cell> cells;
        for (const auto& value : row) {
            cells.push_back(value.AsCell());
        }
        return cells;
    }

    class Rows : public Cursor {
    public:
        Rows(ScriptedDriver& driver, std::vector<ColumnInfo> columns, std::vector<ValueRow> rows)
            : driver_(driver), columns_(std::move(columns)), rows_(std::move(rows)) {}
        std::span<const ColumnInfo> Columns() const override { return columns_; }
        bool Next() override {
            if (broken_) {
                throw DataError(kErrUnspecified, "read after the end of a broken cursor");
            }
            broken_ = true;
            driver_.Enter("Next");
            broken_ = false;
            if (next_ == rows_.size()) {
                return false;
            }
            row_ = Cells(rows_[next_++]);
            return true;
        }
        std::span<const Cell> Row() const override { return row_; }
        DataError FieldError(std::size_t column) const override {
            return {kErrConversion,
                    "row " + std::to_string(next_) + ", field " + std::to_string(column) +
                        " can't be read"};
        }

    private:
        ScriptedDriver& driver_;
        std::vector<ColumnInfo> columns_;
        std::vector<ValueRow> rows_;
        std::vector<Cell> row_;
        std::size_t next_ = 0;
        bool broken_ = false;
    };

    class Taker : public Statement, public Appender {
    public:
        Taker(ScriptedDriver& driver, std::string_view operation)
            : driver_(driver), operation_(operation), columns_(driver.columns) {}
        std::int64_t Execute(std::span<const Cell> values) override {
            Take(values);
            return 1;
        }
        std::span<const ColumnInfo> Columns() const override { return columns_; }
        void Append(std::span<const Cell> row) override { Take(row); }
        std::size_t MostKept() const override { return driver_.most_kept; }
        Keeping Keep(std::span<const Cell> row) override {
            const auto keeping = driver_.keep(row, kept_.empty());
            if (keeping != Keeping::Kept || kept_.size() == driver_.most_kept) {
                return keeping == Keeping::Alone ? keeping : Keeping::Full;
            }
            kept_.push_back(Copy(row));
            return keeping;
        }
        void SendKept(RowOutcomes& outcomes) override {
            driver_.longest_block = std::max(driver_.longest_block, kept_.size());
            outcomes.clear();
            for (const auto& row : std::exchange(kept_, {})) {
                auto& outcome = outcomes.emplace_back();
                try {
                    Take(Cells(row));
                } catch (const DataError& error) {
                    outcome = error;
                }
            }
        }

    private:
        void Take(std::span<const Cell> cells) {
            driver_.Enter(operation_);
            driver_.judge(cells);
            driver_.taken.push_back(Copy(cells));
        }
        static ValueRow Copy(std::span<const Cell> cells) { return {cells.begin(), cells.end()}; }
        ScriptedDriver& driver_;
        std::string operation_;
        std::vector<ColumnInfo> columns_;
        std::vector<ValueRow> kept_;
    };

    class Link : public DriverConnection {
    public:
        explicit Link(ScriptedDriver& driver) : driver_(driver) {}
        std::unique_ptr<Cursor> OpenCursor(std::string_view sql) override {
            driver_.queries.emplace_back(sql);
            driver_.Enter("OpenCursor");
            if (ContainsNoCase(sql, "count(")) {
                const auto count = static_cast<std::int64_t>(driver_.rows.size());
                return std::make_unique<Rows>(driver_,
                                              std::vector<ColumnInfo>{{"count", adInteger}},
                                              std::vector<ValueRow>{{Int(count)}});
            }
            return std::make_unique<Rows>(driver_, driver_.columns, driver_.rows);
        }
        std::int64_t Execute(std::string_view sql) override {
            driver_.statements.emplace_back(sql);
            driver_.Enter("Execute");
            return driver_.affected;
        }
        bool StartExecute(std::string_view sql) override {
            if (driver_.answers_later) {
                EXPECT_FALSE(std::exchange(is_awaited_, true)) << "the answer before wasn't read";
                driver_.statements.emplace_back(sql);
            }
            return driver_.answers_later;
        }
        std::int64_t FinishExecute() override {
            EXPECT_TRUE(std::exchange(is_awaited_, false));
            driver_.Enter("Execute");
            return driver_.affected;
        }
        std::unique_ptr<Statement> Prepare(std::string_view sql,
                                           std::span<const ParameterInfo> types) override {
            driver_.prepared.emplace_back(sql);
            driver_.parameters.assign(types.begin(), types.end());
            driver_.Enter("Prepare");
            return std::make_unique<Taker>(driver_, "ExecutePrepared");
        }
        std::unique_ptr<Appender> OpenAppender(std::string_view select_sql) override {
            driver_.queries.emplace_back(select_sql);
            driver_.Enter("OpenAppender");
            return std::make_unique<Taker>(driver_, "Append");
        }
        std::vector<TableEntry> Tables() override { return {}; }
        void Settle() override { driver_.Enter("Settle"); }

    private:
        ScriptedDriver& driver_;
        bool is_awaited_ = false;
    };
};

}  // namespace vantry::test
