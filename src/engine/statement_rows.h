#pragma once
// Rows through one prepared INSERT with a parameter a column, executed once a row: each row is a
// statement of its own, its error is known when Execute returns, and the row is judged by it.

#include "engine/table_load.h"

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

    std::string insert_;
    Command command_;
    std::vector<Column> columns_;
};

// Behind a row of LoadRowsGeneric: counts it if it went well, moves label and bar.
void ShowRow(LoadState& load);
// Lets events in while the count of loaded rows stands at a multiple of ten; failing rows find it
// there again and again, so a table full of errors can be cancelled, too.
void HandOver(const LoadState& load);

// True as "T" and all else as "F", for a target without booleans.
Cell AsLetter(const Cell& value);

}  // namespace vantry
