#pragma once
// Rows as text, 100 to an INSERT: a round trip a row would be the whole cost of a load into MySQL.
//
// A batch is sent or lost as a whole. A row of which a field couldn't be read leaves its batch
// malformed, and the server refuses it; the log has one error for the batch, with the count of rows
// reached, and the rows stay counted there. The report counts what the server took.

#include "engine/mysql_values.h"
#include "engine/table_load.h"

#include <string>
#include <string_view>
#include <vector>

namespace vantry {

class BatchRows final : public RowStrategy {
public:
    using RowStrategy::RowStrategy;

    void Begin() override;
    bool TakeRow() override;
    // A cancel throws the unfinished batch away: its rows were never sent.
    void End() override;
    void Settle() override;

private:
    // Ends the batch with `end` and executes it. Its rows are gone from here either way: sent
    // again, some of them could arrive twice.
    void SendBatch(std::string_view end);

    struct Column {
        Field* source;
        AppendPiece append;
    };
    std::string insert_head_;
    Command command_;
    std::vector<Column> columns_;
    std::string batch_;
    std::int64_t rows_in_batch_ = 0;
};

}  // namespace vantry
