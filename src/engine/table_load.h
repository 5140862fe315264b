#pragma once
// The one way in which the rows of a table are loaded: count them, open them, walk them, see a
// cancel, flush what was sent, and report. How a row is written is a RowStrategy's business:
//
// - RecordsetRows: AddNew and Update on a recordset of the target (engine/recordset_rows.h)
// - StatementRows: a prepared INSERT, executed once a row (engine/statement_rows.h)
// - BatchRows: 100 rows in the text of one INSERT (engine/batch_rows.h)
// - LineRows: a line of a text file (text/text_writer.cpp)
//
// LoadRowsGeneric and LoadRowsMySQL choose a strategy and give it to a DatabaseLoad; the text run
// walks each of its tables by WalkRows.

#include "engine/error_scope.h"
#include "engine/row_ledger.h"
#include "engine/run_report.h"
#include "engine/run_view.h"
#include "engine/source_statements.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>

namespace vantry {

struct RowCounts {
    double total = 0;         // what the count query said: any number, also a wrong one
    std::int64_t read = 0;    // tried; grows just before a row is written
    std::int64_t loaded = 0;  // as the log and the counter's label have it
};

// A table on its way, shared by the walk and its strategy.
struct LoadState {
    const TableRec& source;
    const TableRec& target;
    TableReport& report;
    ErrorScope& scope;
    RowCounts& rows;
    RowLedger& ledger;
};

// How rows are written. The walk calls Begin, TakeRow for each row, then End; all three make each
// step that may fail a statement of the scope, so that its error is logged with the row and the
// rest goes on. TakeRow is the only call per row: what differs by column is chosen in Begin.
class RowStrategy {
public:
    explicit RowStrategy(LoadState& load) : load_(load) {}
    RowStrategy(const RowStrategy&) = delete;
    RowStrategy& operator=(const RowStrategy&) = delete;
    virtual ~RowStrategy() = default;

    // Opens the target, chooses the way of each column, sets up the bar.
    virtual void Begin() = 0;
    // Writes the row on which the source stands, moves the source on, counts and shows it. False
    // once a cancel was seen.
    virtual bool TakeRow() = 0;
    // After the last row, also after a cancel: sends and flushes what is still held.
    virtual void End() = 0;
    // In place of End when the table is given up: the rows that were sent are to stay. Throws what
    // became of them where they can't.
    virtual void Settle() {}

protected:
    // A row in which a field failed has been logged; sent, it would hold something else in that
    // field's place.
    template <typename Write>
    void Send(Write&& write) {
        if (load_.scope.RowOK) {
            SendRows(1, [&] {
                try {
                    write();
                } catch (const DataError& error) {
                    AfterRefusal(load_, error, write);
                }
            });
        }
    }
    // Counts `rows` rows where they are: in the target, refused, or not to be known. The error of
    // a failed `write` says so. They are the oldest that the ledger keeps, or the one on which the
    // source stands.
    template <typename Write>
    void SendRows(std::int64_t rows, Write&& write) {
        load_.scope([&] {
            try {
                write();
            } catch (const DataError& error) {
                // Stopped by a cancel, and surely not stored: no more than not reached.
                if (!IsCancelled(error) || error.ArrivedRows() != 0) {
                    load_.ledger.Refused(rows, error);
                }
                throw;
            }
            load_.ledger.Stored(rows);
        });
    }

    LoadState& load_;
};

// How long a run waits in all for target files that another program holds.
extern std::chrono::duration<double> TargetPatience;

// What comes after a row that the target refused: where another program holds the target's file,
// the row is tried again, for TargetPatience in all of a run; then the table is given up. Anything
// else is thrown on.
void AfterRefusal(LoadState& load, const DataError& error, const std::function<void()>& again);

void WalkRows(LoadState& load, RowStrategy& strategy);

// ---- Steps before the walk

// What is wrong with a session that has no target for this table.
DataError NoTargetFor(const TableRec& source);

// The column that a row of the map loads: a rebuilt table has the source's names.
inline const std::string& TargetColumnName(const TableRec& source, const ColMapRec& row) {
    return source.LoadOption == "DROP" ? row.SCName : row.DCName;
}

// "INSERT INTO table (columns) VALUES ", in the target's dialect.
std::string InsertHead(const TableRec& source, const TableRec& target);

// Runs the count on SrcRS. False when the count couldn't be had: `rows.total` is then as it was.
bool CountSourceRows(LoadState& load, const SourceStatements& statements, int cursor_type);
void OpenSourceRows(LoadState& load, const SourceStatements& statements, int cursor_type);
// Takes what the source remarks over into the report; before it is closed, too.
void NoteRemarks(LoadState& load);

// Long or binary, or as long to this target: no parameter and no statement's text can carry such a
// field there, and no line of fixed width.
bool IsLongField(int type);
// The same of any field of the open source. False when the source isn't open, which is an error of
// the scope.
bool HasLongFields(LoadState& load);

// The bar goes from 1 to the count of rows; below two rows its upper end stays what it was.
void StartBar(const LoadState& load);

bool CancelRequested();
// A statement was stopped by a cancel: the walk's variables are set where the view hasn't done it
// yet.
void NoteCancelled();
// Set by it: the walk clears it before each table, to tell a step that was stopped from one that
// failed for its own reason while a cancel waited.
extern bool StatementStopped;
inline void NoteIfCancelled(const std::exception& error) {
    if (IsCancelled(error)) {
        NoteCancelled();
    }
}

// Whether the target's statements go to a server, whose answers may take any time.
bool TargetIsServer();

// Does what may take long, and throws what it throws: a view that is a window lives on meanwhile.
template <typename Work>
void Waited(Work&& work) {
    std::exception_ptr failure;
    CurrentRunView->WaitFor([&] {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
    });
    if (failure) {
        std::rethrow_exception(failure);
    }
}
// Moves the counter's label.
inline void ShowCounter(const LoadState& load) {
    CurrentRunView->SetRowCounter(load.rows.loaded, load.rows.total);
}

// ---- Loads into a database

struct LoadRules {
    int error_limit = 0;                           // the error that gives the table up
    std::int64_t RowCounts::*shown_row = nullptr;  // the row number of an error's line
    Reading reading = Reading::RowLoad;
};

// One table's load into a database, from the first connection to the line with the count.
class DatabaseLoad {
public:
    DatabaseLoad(i16 i, const LoadRules& rules);
    DatabaseLoad(const DatabaseLoad&) = delete;  // its parts point at one another
    DatabaseLoad& operator=(const DatabaseLoad&) = delete;

    LoadState& State() { return state_; }

    // Opens SrcConn and SrcRS, asks `choose` for the strategy, which must outlive the call, and
    // walks. False when the error limit gave the table up: what had been sent is flushed then, too,
    // and the line that says so is the caller's to write.
    template <typename Choose>
    bool Run(Choose&& choose) {
        const bool whole = scope_.Run([&] {
            OpenSource();
            if (!scope_.Cancelled) {
                strategy_ = &choose();
                WalkRows(state_, *strategy_);
            }
            Close();
        });
        Finish(whole);
        return whole;
    }

private:
    void OpenSource();
    void Close();
    void Finish(bool whole);
    void SettleGivenUp();
    void CountLostTarget();

    LoadRules rules_;
    RowCounts rows_;
    RowLedger ledger_;
    ErrorScope scope_;
    LoadState state_;
    RowStrategy* strategy_ = nullptr;
};

}  // namespace vantry
