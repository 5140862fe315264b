#pragma once
// Rows through one prepared INSERT with a parameter a column. Each row is a statement of its own
// and is judged by its own outcome, whether it goes by itself or, where the driver can do that,
// together with others (Command::Keep): log, counts and the rows of the target are the same.

#include "engine/table_load.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vantry {

class StatementRows final : public RowStrategy {
public:
    using RowStrategy::RowStrategy;

    void Begin() override;
    bool TakeRow() override;
    void End() override;
    void Settle() override;

private:
    // One field's way from the source into its parameter; the function is chosen once a table.
    struct Column {
        Field* source = nullptr;
        Parameter* parameter = nullptr;
        void (*bind)(Column&) = nullptr;
    };
    static void BindField(Column& column);
    static void BindLetterBoolean(Column& column);
    static void BindBinaryBoolean(Column& column);
    // By the type of the source's field and what the target's row says of booleans.
    static auto BinderOf(int type) -> void (*)(Column&);

    // One for each field of the source, with its type, size, precision and scale.
    void AppendParameters();

    // ---- Rows that are kept back to go together

    // How many may be kept at this row; 1: it goes by itself.
    std::size_t RoomForRows();
    // Sends the row on which the source stands, or keeps it; true when its outcome is known.
    bool SendOrKeep();
    bool KeepRow();
    // Once more where another program holds the target; `refusal` is the first try's, if it had
    // one.
    void SendRow(std::optional<DataError> refusal);
    // Sends the rows that are kept and tells what became of each. The source stands behind them, or
    // with `on_last` on the last of them, which is then shown by the walk.
    void SendKept(bool on_last);
    // The same for the sake of the row on which the source stands. False: it is left out.
    bool MakeWay();
    void Grow(bool all_well);
    // Behind a row whose outcome is known.
    void ShowAndHandOver();
    // Behind a row that is kept: as if it and all before it were loaded.
    void HandOverAhead();

    std::string insert_;
    Command command_;
    std::vector<Column> columns_;
    std::vector<std::int64_t> kept_;  // the rows' numbers
    RowOutcomes outcomes_;
    std::size_t most_kept_ = 0;  // by the driver; 0 is unknown
    std::size_t block_rows_ = kMostTogether;
    bool is_server_ = false;  // the target's
    bool left_out_ = false;   // the row on which the source stands, by a cancel
    int ahead_ = 0;           // hand-overs that came before their row's outcome
    std::chrono::steady_clock::time_point first_kept_;

    static constexpr std::size_t kMostTogether = 50;
};

// Behind a row of LoadRowsGeneric: counts it if it went well, moves label and bar.
void ShowRow(LoadState& load);
// Lets events in while the count of loaded rows stands at a multiple of ten; failing rows find it
// there again and again, so a table full of errors can be cancelled, too.
void HandOver(const LoadState& load);

// True as "T" and all else as "F", for a target without booleans.
Cell AsLetter(const Cell& value);

}  // namespace vantry
