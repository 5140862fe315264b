#pragma once
// Rows through AddNew and Update on a recordset of the target's mapped columns: the way of tables
// with long or binary columns, which no parameter and no statement's text can carry on every
// target.

#include "engine/table_load.h"

#include <string>
#include <vector>

namespace vantry {

// One field's way from the source into the new row. Field k of the source belongs to field k of the
// target.
struct RecordsetColumn {
    Field* source = nullptr;
    Field* target = nullptr;  // null: the target has no such field
    std::int32_t position = 0;
    std::string* scratch = nullptr;  // for a carrier's own use, within its call
    void (*carry)(RecordsetColumn&) = nullptr;

    Field& Target() const;  // throws where there is none, and says why
    void Put(const Cell& value) { Target().SetValue(value); }
};
using RecordsetCarrier = void (*)(RecordsetColumn&);

void CopyField(RecordsetColumn& column);

// Through which rows are added: exactly the mapped columns, so that places agree with the source's.
std::string AddingSelect(const TableRec& source, const TableRec& target);

// In what the two loaders differ here.
struct RecordsetManner {
    bool client_cursor = false;             // of the target's connection
    RecordsetCarrier (*carrier)(int type);  // by the source field's type; once a table
    // What follows a row, written or not: counts, label, bar, hand-overs to the event loop.
    void (*after_row)(LoadState& load);
};

class RecordsetRows final : public RowStrategy {
public:
    RecordsetRows(LoadState& load, const RecordsetManner& manner)
        : RowStrategy(load), manner_(manner) {}

    void Begin() override;
    bool TakeRow() override;
    void End() override;
    void Settle() override;

private:
    RecordsetManner manner_;
    std::vector<RecordsetColumn> columns_;
    std::string scratch_;
    bool is_server_ = false;  // the target's
};

}  // namespace vantry
