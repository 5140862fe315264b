#pragma once
// A database in memory behind the storage interface: the SQL layer's own tests, the fuzzer and
// measurements stand on it. Values are kept in the kinds that the engines hand out; what doesn't
// fit a column is refused as they do. Statements that fail leave no trace.

#include "data/letter_case.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/sql/storage.h"

#include <map>
#include <set>

namespace vantry::sql::test {

struct MemoryRows {
    std::string name;
    std::vector<StoredColumn> columns;
    std::vector<std::vector<Value>> rows;
    std::vector<bool> deleted;
    std::set<std::size_t> indexed;  // columns that FindEqual knows
    std::size_t rows_read = 0;
    bool backwards = false;            // scans begin with the last row
    std::size_t row_limit = SIZE_MAX;  // reading more is an error: keeps the fuzzer's joins short
};

class MemoryScan : public TableScan {
public:
    MemoryScan(std::shared_ptr<MemoryRows> rows, std::span<const std::size_t> projection)
        : rows_(std::move(rows)), projection_(projection.begin(), projection.end()) {
        cells_.resize(projection_.size());
        texts_.resize(projection_.size());
        at_ = rows_->backwards ? static_cast<RowId>(rows_->rows.size()) : -1;
    }
    bool Next() override {
        const int step = rows_->backwards ? -1 : 1;
        for (at_ += step; at_ >= 0 && at_ < static_cast<RowId>(rows_->rows.size()); at_ += step) {
            const auto row = static_cast<std::size_t>(at_);
            if (!rows_->deleted[row] && (!only_ || only_->count(at_) > 0)) {
                Fill();
                return true;
            }
        }
        return false;
    }
    std::span<const Cell> Row() const override { return cells_; }
    RowId CurrentRow() const override { return at_; }
    bool Seek(RowId row) override {
        if (row < 0 || row >= static_cast<RowId>(rows_->rows.size()) ||
            rows_->deleted[static_cast<std::size_t>(row)]) {
            return false;
        }
        at_ = row;
        Fill();
        return true;
    }
    DataError FieldError(std::size_t position) const override {
        return {kErrConversion,
                "unreadable " + rows_->name + "." +
                    rows_->columns[projection_[position]].info.name + " row " +
                    std::to_string(at_ + 1)};
    }
    void KeepOnly(std::set<RowId> rows) { only_ = std::move(rows); }

private:
    void Fill() {
        if (++rows_->rows_read > rows_->row_limit) {
            throw DataError(kErrUnspecified, "row limit");
        }
        const auto& row = rows_->rows[static_cast<std::size_t>(at_)];
        for (std::size_t k = 0; k < projection_.size(); ++k) {
            cells_[k] = row[projection_[k]].AsCell();
            if (cells_[k].Kind() == ValueKind::Text) {
                // As in an engine, the text of the row before is overwritten.
                std::fill(texts_[k].begin(), texts_[k].end(), '#');
                texts_[k].assign(cells_[k].AsText());
                cells_[k] = Cell::Text(texts_[k]);
            }
        }
    }
    std::shared_ptr<MemoryRows> rows_;
    std::vector<std::size_t> projection_;
    std::vector<Cell> cells_;
    std::vector<std::string> texts_;
    RowId at_;
    std::optional<std::set<RowId>> only_;
};

class MemoryTable : public StoredTable {
public:
    explicit MemoryTable(std::shared_ptr<MemoryRows> rows) : rows_(std::move(rows)) {}
    const std::string& Name() const override { return rows_->name; }
    std::span<const StoredColumn> Columns() const override { return rows_->columns; }
    std::unique_ptr<TableScan> Scan(std::span<const std::size_t> projection) override {
        return std::make_unique<MemoryScan>(rows_, projection);
    }
    std::int64_t CountRows() override {
        return std::count(rows_->deleted.begin(), rows_->deleted.end(), false);
    }
    void Insert(std::span<const Cell> row) override {
        std::vector<Value> made;
        for (std::size_t k = 0; k < row.size(); ++k) {
            made.push_back(Fit(k, row[k]));
        }
        rows_->rows.push_back(std::move(made));
        rows_->deleted.push_back(false);
    }
    void Update(RowId row,
                std::span<const std::size_t> columns,
                std::span<const Cell> values) override {
        auto& stored = rows_->rows.at(static_cast<std::size_t>(row));
        for (std::size_t k = 0; k < columns.size(); ++k) {
            stored[columns[k]] = Fit(columns[k], values[k]);
        }
    }
    void Delete(RowId row) override { rows_->deleted.at(static_cast<std::size_t>(row)) = true; }
    std::unique_ptr<TableScan> FindEqual(std::size_t column,
                                         const Cell& value,
                                         std::span<const std::size_t> projection) override {
        if (rows_->indexed.count(column) == 0) {
            return nullptr;
        }
        std::set<RowId> found;
        const auto wanted = UpperCased(ToText(value));
        for (std::size_t k = 0; k < rows_->rows.size(); ++k) {
            if (UpperCased(ToText(rows_->rows[k][column].AsCell())) == wanted) {
                found.insert(static_cast<RowId>(k));
            }
        }
        auto scan = std::make_unique<MemoryScan>(rows_, projection);
        scan->KeepOnly(std::move(found));
        return scan;
    }

private:
    Value Fit(std::size_t k, const Cell& cell) const {
        const auto& column = rows_->columns[k];
        if (cell.IsUnset() || cell.IsNull() || cell.Kind() == ValueKind::Unreadable) {
            if (column.required && !cell.IsUnset()) {
                throw DataError(kErrConstraint, "Null in " + column.info.name);
            }
            return Value(cell.IsUnset() ? Cell::Null() : cell);
        }
        const int type = column.info.type;
        if (IsTextType(type)) {
            const auto text = ToText(cell);
            if (static_cast<std::int64_t>(text.size()) > column.info.defined_size) {
                throw DataError(kErrFieldTooSmall, "too long for " + column.info.name);
            }
            return Value(Cell::Text(text));
        }
        const auto as = [](const auto& value, auto make) {
            return value ? std::optional<Cell>(make(*value)) : std::nullopt;
        };
        const int scale = type == adCurrency ? 4 : column.info.scale;
        const auto made = IsDateType(type)     ? as(ToDateTime(cell), Cell::FromDateTime)
                          : type == adBoolean  ? as(ToBoolean(cell), Cell::Boolean)
                          : type == adDouble   ? as(ToDouble(cell), Cell::Double)
                          : IsBinaryType(type) ? std::optional<Cell>(cell)
                          : type == adCurrency || type == adNumeric
                              ? as(ToDecimal(cell, scale), Cell::FromDecimal)
                              : as(ToInt64(cell), Cell::Int64);
        if (!made) {
            throw DataError(kErrConversion, "doesn't fit " + column.info.name);
        }
        return Value(*made);
    }
    std::shared_ptr<MemoryRows> rows_;
};

class MemoryDatabase : public EmbeddedDatabase {
public:
    std::map<std::string, std::shared_ptr<MemoryRows>> tables;  // by upper-cased name
    std::map<std::string, std::string> views;
    std::vector<IndexDefinition> indexes;
    std::optional<TableDefinition> created;
    int rollbacks = 0;

    std::vector<TableEntry> Tables() override {
        std::vector<TableEntry> entries;
        for (const auto& [key, rows] : tables) {
            entries.push_back({rows->name, "TABLE"});
        }
        return entries;
    }
    std::shared_ptr<StoredTable> OpenTable(std::string_view name) override {
        const auto found = tables.find(UpperCased(name));
        return found == tables.end() ? nullptr : std::make_shared<MemoryTable>(found->second);
    }
    std::optional<std::string> ViewText(std::string_view name) override {
        const auto found = views.find(UpperCased(name));
        return found == views.end() ? std::nullopt : std::optional(found->second);
    }
    void CreateTable(const TableDefinition& definition) override {
        created = definition;
        std::vector<StoredColumn> columns;
        for (const auto& column : definition.columns) {
            StoredColumn stored;
            stored.info = InfoFor(column);
            stored.required = column.not_null;
            columns.push_back(stored);
        }
        AddTable(definition.name, std::move(columns));
    }
    void DropTable(std::string_view name) override { tables.erase(UpperCased(name)); }
    void CreateIndex(std::string_view, const IndexDefinition& index) override {
        indexes.push_back(index);
    }
    void BeginStatement() override {
        saved_.clear();
        for (const auto& [key, rows] : tables) {
            saved_[key] = *rows;
        }
    }
    void RollbackStatement() override {
        ++rollbacks;
        for (auto& [key, rows] : tables) {
            if (saved_.count(key) > 0) {
                *rows = saved_[key];
            }
        }
    }

    MemoryRows& AddTable(const std::string& name, std::vector<StoredColumn> columns) {
        auto rows = std::make_shared<MemoryRows>();
        rows->name = name;
        rows->columns = std::move(columns);
        tables[UpperCased(name)] = rows;
        return *rows;
    }
    MemoryRows& Rows(std::string_view name) { return *tables.at(UpperCased(name)); }

    static StoredColumn Column(std::string name, int type, std::int64_t size = 8, int scale = 255) {
        StoredColumn column;
        column.info = {std::move(name), type, size, 255, scale};
        return column;
    }

private:
    static ColumnInfo InfoFor(const ColumnDefinition& column) {
        static const std::map<std::string, int> kTypes = {{"LONG", adInteger},
                                                          {"INTEGER", adInteger},
                                                          {"SHORT", adSmallInt},
                                                          {"DOUBLE", adDouble},
                                                          {"CURRENCY", adCurrency},
                                                          {"DATETIME", adDate},
                                                          {"BIT", adBoolean},
                                                          {"YESNO", adBoolean},
                                                          {"MEMO", adLongVarWChar},
                                                          {"DECIMAL", adNumeric}};
        const auto found = kTypes.find(column.type);
        const int type = found == kTypes.end() ? adVarWChar : found->second;
        const std::int64_t size = type == adVarWChar ? column.size.value_or(255)
                                  : IsTextType(type) ? 536870910
                                                     : 8;
        return {column.name, type, size, 255, column.scale.value_or(255)};
    }
    std::map<std::string, MemoryRows> saved_;
};

}  // namespace vantry::sql::test
