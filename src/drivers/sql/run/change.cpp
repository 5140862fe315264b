// UPDATE and DELETE are a query for the ids of rows, and for UPDATE the new values, followed by the
// changes. All rows are found before the first is changed: a row that moves, or an index that grows
// under the scan, would be met twice. Easy to get wrong: a join may find a row more than once, a
// value that can't be read must not become another one, and looking for the rows already happens
// under the lock that the change takes, or a row of another program could come in between.

#include "drivers/sql/run/change.h"

#include "drivers/sql/errors.h"
#include "drivers/sql/parse/parser.h"
#include "drivers/sql/run/insert.h"
#include "drivers/sql/run/plain_query.h"
#include "drivers/sql/run/query.h"

#include <functional>
#include <unordered_set>

namespace vantry::sql {
namespace {

using Database = std::shared_ptr<EmbeddedDatabase>;
using TablePtr = std::shared_ptr<StoredTable>;

// Rows are found first and changed afterwards, so that no changed row is met again.
class RowUpdate : public Statement {
public:
    RowUpdate(const Update& update, const Database& database, const Dialect& dialect)
        : database_(database),
          query_(CompileUpdate(update, *database, dialect, target_), database, dialect) {
        for (std::size_t k = 0; k < target_.columns.size(); ++k) {
            auto constant = ConstantOf(*update.assignments[k].value);
            if (constant) {
                constant = ConvertForColumn(constant->AsCell(), InfoOfTarget(k));
            } else {
                ++computed_;
            }
            constants_.push_back(std::move(constant));
        }
    }

    // Rows are looked for under the lock that they are changed under: nobody else's change comes
    // in between.
    std::int64_t Execute(std::span<const Cell> values) override {
        return Bracketed(*database_, [&] { return Change(values); });
    }

private:
    std::int64_t Change(std::span<const Cell> values) {
        query_.Start(values);
        std::vector<RowId> rows;
        std::vector<Value> computed;  // of each row the columns that aren't constant
        std::unordered_set<RowId> seen;
        const bool may_repeat = query_.SourceCount() > 1;
        while (query_.Next()) {
            const auto row = query_.RowOf(target_.source);
            if (may_repeat && !seen.insert(row).second) {
                continue;
            }
            rows.push_back(row);
            KeepComputed(computed);
        }
        query_.Stop();
        const auto table = query_.SharedTableOf(target_.source);
        std::vector<Cell> cells(constants_.size());
        std::size_t next = 0;
        for (const auto row : rows) {
            for (std::size_t k = 0; k < cells.size(); ++k) {
                cells[k] = constants_[k] ? constants_[k]->AsCell() : computed[next++].AsCell();
            }
            table->Update(row, target_.columns, cells);
        }
        return static_cast<std::int64_t>(rows.size());
    }

    const ColumnInfo& InfoOfTarget(std::size_t k) const {
        return query_.TableOf(target_.source).Columns()[target_.columns[k]].info;
    }

    void KeepComputed(std::vector<Value>& computed) {
        if (computed_ == 0) {
            return;
        }
        for (std::size_t k = 0; k < constants_.size(); ++k) {
            if (!constants_[k]) {
                if (query_.Row()[k].Kind() == ValueKind::Unreadable) {
                    throw query_.FieldError(k);
                }
                computed.push_back(ConvertForColumn(query_.Row()[k], InfoOfTarget(k)));
            }
        }
    }

    Database database_;
    ChangeTarget target_;
    Query query_;
    std::vector<std::optional<Value>> constants_;
    std::size_t computed_ = 0;
};

class RowDelete : public Statement {
public:
    RowDelete(const Delete& erase, const Database& database, const Dialect& dialect)
        : database_(database),
          query_(CompileDelete(erase, *database, dialect, target_), database, dialect) {}

    // Rows are looked for under the lock that they are changed under: nobody else's change comes
    // in between.
    std::int64_t Execute(std::span<const Cell> values) override {
        return Bracketed(*database_, [&] { return Change(values); });
    }

private:
    std::int64_t Change(std::span<const Cell> values) {
        query_.Start(values);
        std::vector<RowId> rows;
        std::unordered_set<RowId> seen;
        // One table finds each row once; only a join needs to remember them.
        const bool may_repeat = query_.SourceCount() > 1;
        while (query_.Next()) {
            const auto row = query_.RowOf(target_.source);
            if (!may_repeat || seen.insert(row).second) {
                rows.push_back(row);
            }
        }
        query_.Stop();
        const auto table = query_.SharedTableOf(target_.source);
        for (const auto row : rows) {
            table->Delete(row);
        }
        return static_cast<std::int64_t>(rows.size());
    }

    Database database_;
    ChangeTarget target_;
    Query query_;
};

class TableClearing : public Statement {
public:
    TableClearing(Database database, TablePtr table)
        : database_(std::move(database)), table_(std::move(table)) {}
    std::int64_t Execute(std::span<const Cell>) override {
        return Bracketed(*database_, [&] { return table_->DeleteAll(); });
    }

private:
    Database database_;
    TablePtr table_;
};

// The table of a DELETE without a condition; null for other ones.
// An engine empties a table faster than it deletes its rows.
TablePtr TableToClear(const Delete& erase, const Database& database) {
    const bool plain = !erase.where && erase.tables.size() == 1 &&
                       erase.tables[0].kind == TableExpression::Kind::Named &&
                       (erase.target.empty() || NamesTable(erase.target, erase.tables[0]));
    return plain ? database->OpenTable(erase.tables[0].name) : nullptr;
}

void TakeTransactionStep(EmbeddedDatabase& database, TransactionStep step) {
    switch (step) {
        case TransactionStep::Begin:
            return database.BeginTransaction();
        case TransactionStep::Commit:
            return database.CommitTransaction();
        case TransactionStep::Rollback:
            return database.RollbackTransaction();
    }
}

// Statements that aren't about rows: done when executed, each time anew.
class Definition : public Statement {
public:
    explicit Definition(std::function<void()> work) : work_(std::move(work)) {}
    std::int64_t Execute(std::span<const Cell>) override {
        work_();
        return 0;
    }

private:
    std::function<void()> work_;
};

void DropTableOf(EmbeddedDatabase& database, const std::string& name) {
    std::shared_ptr<StoredTable> table;
    try {
        table = database.OpenTable(name);
        if (!table) {
            throw NoSuchTableToDrop(name);
        }
    } catch (const DataError& error) {
        if (error.Number() == kErrNoSuchTable) {
            throw;
        }
        // Which is how a user gets rid of it.
        // A damaged table can still be dropped.
    }
    // Closed first: an engine won't drop what is open.
    table.reset();
    Bracketed(database, [&] {
        database.DropTable(name);
        return 0;
    });
}

// SELECT by Execute: run to its end, so that its errors are seen.
class RowWalk : public Statement {
public:
    RowWalk(const Select& select, const Database& database, const Dialect& dialect)
        : query_(CompileSelect(select, *database, dialect), database, dialect) {}
    std::int64_t Execute(std::span<const Cell> values) override {
        query_.Start(values);
        while (query_.Next()) {
        }
        query_.Stop();
        return -1;
    }

private:
    Query query_;
};

}  // namespace

std::unique_ptr<Statement> PrepareChange(std::string_view sql,
                                         std::shared_ptr<EmbeddedDatabase> database,
                                         const Dialect& dialect) {
    auto parsed = ParseStatement(sql, dialect.kind);
    if (auto* select = std::get_if<Select>(&parsed.content)) {
        if (select->into) {
            return PrepareSelectInto(std::move(*select), database, dialect);
        }
        return std::make_unique<RowWalk>(*select, database, dialect);
    }
    if (const auto* insert = std::get_if<Insert>(&parsed.content)) {
        return PrepareInsert(*insert, database, dialect);
    }
    if (const auto* update = std::get_if<Update>(&parsed.content)) {
        return std::make_unique<RowUpdate>(*update, database, dialect);
    }
    if (const auto* erase = std::get_if<Delete>(&parsed.content)) {
        if (auto table = TableToClear(*erase, database)) {
            return std::make_unique<TableClearing>(database, std::move(table));
        }
        return std::make_unique<RowDelete>(*erase, database, dialect);
    }
    if (const auto* create = std::get_if<CreateTable>(&parsed.content)) {
        return std::make_unique<Definition>(
            [database, definition = create->definition] { CreateTableIn(*database, definition); });
    }
    if (const auto* drop = std::get_if<DropTable>(&parsed.content)) {
        return std::make_unique<Definition>(
            [database, name = drop->table] { DropTableOf(*database, name); });
    }
    if (const auto* step = std::get_if<TransactionStep>(&parsed.content)) {
        return std::make_unique<Definition>(
            [database, step = *step] { TakeTransactionStep(*database, step); });
    }
    const auto& create = std::get<CreateIndex>(parsed.content);
    return std::make_unique<Definition>(
        [database, table = create.table, index = create.index, engine = dialect.engine_name] {
            if (!database->OpenTable(table)) {
                throw NoSuchTable(engine, table);
            }
            Bracketed(*database, [&] {
                database->CreateIndex(table, index);
                return 0;
            });
        });
}

}  // namespace vantry::sql
