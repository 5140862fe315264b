// Five ways in which rows are added. A load is a prepared INSERT of parameters, or an appender:
// both put the cells that they are given into a row made once, and where parameters are the table's
// own columns in their order they hand the caller's row through untouched. The others go through a
// query and convert. Easy to get wrong: a text for a date column is converted here, by the
// statement's rules, before the engine sees it; and INSERT INTO t SELECT ... FROM t would never end
// if its rows weren't kept first.

#include "drivers/sql/run/insert.h"

#include "data/letter_case.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/plan/value_type.h"
#include "drivers/sql/run/change.h"
#include "drivers/sql/run/plain_query.h"
#include "drivers/sql/run/query.h"

namespace vantry::sql {
namespace {

using Database = std::shared_ptr<EmbeddedDatabase>;
using TablePtr = std::shared_ptr<StoredTable>;

TablePtr OpenOrThrow(const Database& database, const Dialect& dialect, const std::string& name) {
    auto table = database->OpenTable(name);
    if (!table) {
        // A saved query is no table, although FROM takes both.
        if (database->ViewText(name)) {
            throw NotSupported("Adding rows to the query '" + name + "'");
        }
        throw NoSuchTable(dialect.engine_name, name);
    }
    return table;
}

// The numbers of the columns that an INSERT names, or of all.
std::vector<std::size_t> TargetColumns(const StoredTable& table,
                                       const std::vector<std::string>& names) {
    std::vector<std::size_t> columns;
    for (const auto& name : names) {
        const auto column = FindColumn(table, name);
        if (!column) {
            throw UnknownTarget(name);
        }
        if (std::find(columns.begin(), columns.end(), *column) != columns.end()) {
            throw DuplicateTarget(name);
        }
        columns.push_back(*column);
    }
    if (names.empty()) {
        for (std::size_t k = 0; k < table.Columns().size(); ++k) {
            columns.push_back(k);
        }
    }
    return columns;
}

// Before anything runs: half a row would be a row of Nulls.
void CheckCount(std::size_t values, std::size_t columns) {
    if (values != columns) {
        throw DataError(kErrSyntax,
                        "Number of query values and destination fields are not the same.");
    }
}

// INSERT ... VALUES of literals and parameters: the way of a bulk load. The row is made once; a
// run sets the parameters' cells.
class RowInsert : public Statement {
public:
    RowInsert(const Insert& insert, Database database, const Dialect& dialect)
        : database_(std::move(database)), table_(OpenOrThrow(database_, dialect, insert.table)) {
        const auto columns = TargetColumns(*table_, insert.columns);
        CheckCount(insert.values.size(), columns.size());
        row_.resize(table_->Columns().size());
        // row_ keeps views of their values: they must not move.
        constants_.reserve(columns.size());
        for (std::size_t k = 0; k < columns.size(); ++k) {
            const auto& value = *insert.values[k];
            if (value.kind == Expression::Kind::Parameter) {
                parameters_.emplace_back(value.parameter, columns[k]);
                parameter_count_ = std::max(parameter_count_, value.parameter + 1);
            } else {
                constants_.push_back(ConvertForColumn(ConstantOf(value)->AsCell(),
                                                      table_->Columns()[columns[k]].info));
                row_[columns[k]] = constants_.back().AsCell();
            }
        }
        // Then the caller's cells are the row, and nothing is copied at all.
        whole_row_ = parameters_.size() == row_.size();
        for (const auto& [parameter, column] : parameters_) {
            whole_row_ = whole_row_ && parameter == column;
        }
    }

    static bool Fits(const Insert& insert) {
        return !insert.query &&
               std::all_of(insert.values.begin(), insert.values.end(), [](const auto& value) {
                   return value->kind == Expression::Kind::Parameter || ConstantOf(*value);
               });
    }

    std::int64_t Execute(std::span<const Cell> values) override {
        if (values.size() < parameter_count_) {
            throw NoSuchColumn();
        }
        if (whole_row_) {
            database_->InsertRow(*table_, values.first(row_.size()));
            return 1;
        }
        for (const auto& [parameter, column] : parameters_) {
            row_[column] = values[parameter];
        }
        database_->InsertRow(*table_, row_);
        return 1;
    }

private:
    Database database_;
    TablePtr table_;
    std::vector<Cell> row_;
    std::vector<Value> constants_;
    std::vector<std::pair<std::size_t, std::size_t>> parameters_;  // parameter, column
    bool whole_row_ = false;  // the parameters are the table's row as it stands
    std::size_t parameter_count_ = 0;
};

// INSERT ... VALUES with expressions.
class ComputedInsert : public Statement {
public:
    ComputedInsert(const Insert& insert, const Database& database, const Dialect& dialect)
        : database_(database),
          table_(OpenOrThrow(database, dialect, insert.table)),
          columns_(TargetColumns(*table_, insert.columns)),
          query_(CompileValues(insert.values, *database, dialect), database, dialect) {
        CheckCount(insert.values.size(), columns_.size());
    }

    std::int64_t Execute(std::span<const Cell> values) override {
        query_.Start(values);
        query_.Next();
        std::vector<Value> converted;
        converted.reserve(columns_.size());
        std::vector<Cell> row(table_->Columns().size());
        for (std::size_t k = 0; k < columns_.size(); ++k) {
            converted.push_back(
                ConvertForColumn(query_.Row()[k], table_->Columns()[columns_[k]].info));
            row[columns_[k]] = converted.back().AsCell();
        }
        query_.Stop();
        database_->InsertRow(*table_, row);
        return 1;
    }

private:
    Database database_;
    TablePtr table_;
    std::vector<std::size_t> columns_;
    Query query_;
};

// The rows of a query go into a table. They are kept first when they come from that table.
std::int64_t InsertRows(Query& query,
                        EmbeddedDatabase& database,
                        StoredTable& table,
                        const std::vector<std::size_t>& columns) {
    const auto infos = table.Columns();
    std::vector<Cell> row(infos.size());
    std::vector<Value> converted(columns.size());
    const auto insert = [&](std::span<const Cell> cells) {
        for (std::size_t k = 0; k < columns.size(); ++k) {
            const auto& info = infos[columns[k]].info;
            // Only texts need the statement's conversion; what else differs the engine fits.
            const bool as_it_is = cells[k].Kind() != ValueKind::Text || IsTextType(info.type);
            if (!as_it_is) {
                converted[k] = ConvertForColumn(cells[k], info);
            }
            row[columns[k]] = as_it_is ? cells[k] : converted[k].AsCell();
        }
        table.Insert(row);
    };
    // A value that couldn't be read ends the statement: it must not become Null.
    const auto readable = [&] {
        for (std::size_t k = 0; k < columns.size(); ++k) {
            if (query.Row()[k].Kind() == ValueKind::Unreadable) {
                throw query.FieldError(k);
            }
        }
    };
    bool same_table = false;
    for (std::size_t k = 0; k < query.SourceCount(); ++k) {
        // By name: the query may have opened it a second time.
        same_table = same_table || SameName(query.TableOf(k).Name(), table.Name());
    }
    std::vector<std::vector<Value>> kept;
    while (same_table && query.Next()) {
        readable();
        auto& values = kept.emplace_back();
        for (const auto& cell : query.Row()) {
            values.emplace_back(cell);
        }
    }
    return Bracketed(database, [&] {
        std::int64_t count = 0;
        std::vector<Cell> cells(columns.size());
        for (const auto& values : kept) {
            for (std::size_t k = 0; k < cells.size(); ++k) {
                cells[k] = values[k].AsCell();
            }
            insert(cells);
            ++count;
        }
        while (!same_table && query.Next()) {
            readable();
            insert(query.Row());
            ++count;
        }
        query.Stop();
        return count;
    });
}

class QueryInsert : public Statement {
public:
    QueryInsert(const Insert& insert, const Database& database, const Dialect& dialect)
        : database_(database),
          table_(OpenOrThrow(database, dialect, insert.table)),
          query_(CompileSelect(*insert.query, *database, dialect), database, dialect) {
        auto names = insert.columns;
        // INSERT INTO t SELECT b, a FROM u puts b into b.
        if (names.empty()) {
            // Without a column list the query's names say where its columns go.
            for (const auto& info : query_.Columns()) {
                names.push_back(info.name);
            }
        }
        columns_ = TargetColumns(*table_, names);
        CheckCount(query_.Columns().size(), columns_.size());
    }

    std::int64_t Execute(std::span<const Cell> values) override {
        query_.Start(values);
        return InsertRows(query_, *database_, *table_, columns_);
    }

private:
    Database database_;
    TablePtr table_;
    std::vector<std::size_t> columns_;
    Query query_;
};

bool Exists(EmbeddedDatabase& database, const std::string& name) {
    try {
        return database.OpenTable(name) != nullptr;
    } catch (const DataError&) {
        return false;  // missing, or there but unreadable: the engine itself says which
    }
}

// The definition of a table that can hold a query's result.
ColumnDefinition DefinitionFor(const ColumnInfo& info) {
    ColumnDefinition column;
    column.name = info.name;
    // No short column is wider; a size of 2 GB wouldn't fit an int.
    const auto size = static_cast<int>(std::min<std::int64_t>(info.defined_size, 510));
    switch (info.type) {
        case adUnsignedTinyInt:
            column.type = "BYTE";
            break;
        case adSmallInt:
            column.type = "SHORT";
            break;
        case adInteger:
            column.type = "LONG";
            break;
        case adSingle:
            column.type = "SINGLE";
            break;
        case adCurrency:
            column.type = "CURRENCY";
            break;
        case adBoolean:
            column.type = "BIT";
            break;
        case adGUID:
            column.type = "GUID";
            break;
        case adNumeric:
            column.type = "DECIMAL";
            column.size = info.precision;
            column.scale = info.scale;
            break;
        case adLongVarBinary:
            column.type = "LONGBINARY";
            break;
        default:
            if (IsDateType(info.type)) {
                column.type = "DATETIME";
            } else if (IsBinaryType(info.type)) {
                column.type = "BINARY";
                column.size = size;
            } else if (!IsTextType(info.type)) {
                column.type = "DOUBLE";
            } else if (IsLongType(info.type) || size > 255) {
                column.type = "MEMO";
            } else {
                column.type = "VARCHAR";
                column.size = std::max(size, 1);
            }
    }
    return column;
}

class SelectInto : public Statement {
public:
    SelectInto(Select select, const Database& database, const Dialect& dialect)
        : database_(database),
          into_(std::exchange(select.into, std::nullopt).value()),
          query_(CompileSelect(select, *database, dialect), database, dialect) {}

    std::int64_t Execute(std::span<const Cell> values) override {
        TableDefinition definition;
        definition.name = into_;
        std::vector<std::size_t> columns;
        for (const auto& info : query_.Columns()) {
            columns.push_back(columns.size());
            definition.columns.push_back(DefinitionFor(info));
        }
        // A table that was made stays, empty, when its rows can't be read.
        CreateTableIn(*database_, definition);
        const auto table = database_->OpenTable(into_);
        query_.Start(values);
        return InsertRows(query_, *database_, *table, columns);
    }

private:
    Database database_;
    std::string into_;
    Query query_;
};

class TableAppender : public Appender {
public:
    TableAppender(PlainQuery plain, Database database)
        : database_(std::move(database)), plain_(std::move(plain)) {
        // Columns that the SELECT doesn't name stay Unset: their default, or Null.
        row_.resize(plain_.table->Columns().size());
        whole_row_ = plain_.columns.size() == row_.size();
        for (std::size_t k = 0; k < plain_.columns.size(); ++k) {
            whole_row_ = whole_row_ && plain_.columns[k] == k;
        }
    }
    std::span<const ColumnInfo> Columns() const override { return plain_.infos; }
    void Append(std::span<const Cell> row) override {
        if (whole_row_) {
            return database_->InsertRow(*plain_.table, row);
        }
        for (std::size_t k = 0; k < plain_.columns.size(); ++k) {
            row_[plain_.columns[k]] = row[k];
        }
        database_->InsertRow(*plain_.table, row_);
    }

private:
    Database database_;
    PlainQuery plain_;
    std::vector<Cell> row_;
    bool whole_row_ = false;
};

}  // namespace

Value ConvertForColumn(const Cell& value, const ColumnInfo& column) {
    const auto family = FamilyOf(column.type);
    // True is -1, in a column of numbers, too.
    if (value.Kind() == ValueKind::Boolean && family == Family::Number) {
        return Value(Cell::Int64(value.AsBoolean() ? -1 : 0));
    }
    if (value.Kind() != ValueKind::Text || family == Family::Text || family == Family::Unknown) {
        return Value(value);
    }
    const auto text = Trimmed(value.AsText());
    if (family == Family::Date) {
        if (const auto date = ParseDateTime(text)) {
            return Value(Cell::FromDateTime(*date));
        }
    } else if (family == Family::Boolean) {
        if (const auto truth = ParseBoolean(text)) {
            return Value(Cell::Boolean(*truth));
        }
    } else if (family == Family::Number) {
        if (const auto whole = ParseInt64(text)) {
            return Value(Cell::Int64(*whole));
        }
        if (const auto decimal = ParseDecimal(text)) {
            return Value(Cell::FromDecimal(*decimal));
        }
        if (const auto number = ParseDouble(text)) {
            return Value(Cell::Double(*number));
        }
    } else {
        return Value(value);
    }
    throw TypeMismatch(text, "a value for the field '" + column.name + "'");
}

void CreateTableIn(EmbeddedDatabase& database, const TableDefinition& definition) {
    if (Exists(database, definition.name)) {
        throw TableExists(definition.name);
    }
    Bracketed(database, [&] {
        database.CreateTable(definition);
        return 0;
    });
}

std::unique_ptr<Statement> PrepareInsert(const Insert& insert,
                                         std::shared_ptr<EmbeddedDatabase> database,
                                         const Dialect& dialect) {
    if (insert.query) {
        return std::make_unique<QueryInsert>(insert, std::move(database), dialect);
    }
    if (RowInsert::Fits(insert)) {
        return std::make_unique<RowInsert>(insert, std::move(database), dialect);
    }
    return std::make_unique<ComputedInsert>(insert, std::move(database), dialect);
}

std::unique_ptr<Statement> PrepareSelectInto(Select select,
                                             const std::shared_ptr<EmbeddedDatabase>& database,
                                             const Dialect& dialect) {
    return std::make_unique<SelectInto>(std::move(select), database, dialect);
}

std::unique_ptr<Appender> MakeAppender(const Select& select,
                                       const std::shared_ptr<EmbeddedDatabase>& database,
                                       const Dialect& dialect) {
    auto plain = MatchPlainQuery(select, *database);
    if (!plain || plain->count_only) {
        // A plain query that couldn't be matched has a name that isn't there, mostly.
        CompileSelect(select, *database, dialect);  // says what isn't there
        throw NotSupported("Adding rows to anything but the columns of a table");
    }
    return std::make_unique<TableAppender>(std::move(*plain), database);
}

}  // namespace vantry::sql
