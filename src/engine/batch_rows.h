#pragma once
// Rows as text, 100 to an INSERT: a round trip a row would be the whole cost of a load into MySQL.
// While the server works on one batch the next is built, where the driver can do that; its answer
// is read before anything else is sent or an error is told.
//
// A batch is sent or lost as a whole. A row of which a field couldn't be read leaves its batch
// malformed, and the server refuses it; the log has one error for the batch, with the count of rows
// reached, and the rows stay counted there. The report counts what the server took.

#include "engine/mysql_values.h"
#include "engine/table_load.h"

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

class BatchRows final : public RowStrategy {
public:
    explicit BatchRows(LoadState& load);
    ~BatchRows() override;

    void Begin() override;
    bool TakeRow() override;
    // A cancel throws the unfinished batch away: its rows were never sent.
    void End() override;
    void Settle() override;

private:
    // Ends the batch with `end` and sends it. Its rows are gone from here either way: sent again,
    // some of them could arrive twice.
    void SendBatch(std::string_view end);
    // Tells what became of the batch that was sent, as of the row at which it went out. `show`
    // moves the counter's label to there when all is well.
    enum class Show : bool { No, Yes };
    void FinishSent(Show show);

    struct Sent {
        std::int64_t rows;
        std::int64_t loaded;  // these three are the walk's own when it was sent
        std::int64_t read;
        bool row_ok;
        bool answered;
        std::exception_ptr failure;  // to send it
        std::int64_t taken = -1;     // rows, as the answer at once has it
    };

    struct Column {
        Field* source;
        AppendPiece append;
    };
    std::string insert_head_;
    Command command_;
    std::vector<Column> columns_;
    std::string batch_;  // the statement so far
    std::int64_t rows_in_batch_ = 0;
    std::optional<Sent> sent_;
};

}  // namespace vantry
