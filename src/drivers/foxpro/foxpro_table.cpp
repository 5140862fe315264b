// What the SQL layer calls on a table. A statement's tables are locked when it first touches them
// and stay so until it ends; a row of a bulk load has a bracket of its own, in which refusing comes
// before writing, so that a refused row costs nothing of the batch before it.
#include "drivers/foxpro/foxpro_table.h"

#include "drivers/foxpro/column_info.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/table/record_scan.h"
#include "drivers/foxpro/write/candidate_keys.h"
#include "drivers/foxpro/write/table_writer.h"

#include <algorithm>

namespace vantry::foxpro {

FoxProTable::FoxProTable(std::shared_ptr<TableFile> file,
                         std::string name,
                         std::shared_ptr<OpenStatement> statement,
                         bool null_by_default)
    : file_(std::move(file)),
      name_(std::move(name)),
      statement_(std::move(statement)),
      null_by_default_(null_by_default) {
    const auto& layout = file_->Layout();
    for (std::size_t k = 0; k < layout.fields.size(); ++k) {
        if (!layout.fields[k].hidden) {
            shown_.push_back(k);
            columns_.push_back(DescribeColumn(layout.fields[k], layout, file_->Coder()));
        }
    }
}

// Tables before Visual FoxPro have no null, and take a blank for one. A field that a row leaves out
// is blank, whether it takes nulls or not.
TableRules FoxProTable::Rules() const {
    TableRules rules;
    const auto& layout = file_->Layout();
    for (std::size_t k = 0; k < shown_.size(); ++k) {
        const auto& field = layout.fields[shown_[k]];
        if (layout.IsVisual() && !field.null_bit && !field.auto_increment) {
            rules.required.push_back(columns_[k].info.name);
        }
    }
    rules.unique = CandidateKeysOf(file_, null_by_default_);
    return rules;
}

TableWriter& FoxProTable::Writer() {
    if ((file_->Layout().flags & kIsContainer) != 0) {
        throw CannotWrite(file_->Path(),
                          "it is a database container, whose records are changed by creating and "
                          "dropping tables");
    }
    return file_->Writer(null_by_default_);
}

void FoxProTable::Enter() {
    auto& tables = statement_->tables;
    if (std::find(tables.begin(), tables.end(), file_) == tables.end()) {
        file_->Group().Begin();
        tables.push_back(file_);
        file_->Reread();
    }
}

// In a statement that changes something, what is read is locked, too: rows that it finds are those
// that it changes.
std::unique_ptr<sql::TableScan> FoxProTable::Scan(std::span<const std::size_t> projection) {
    if (statement_->open && file_->Group().Writable()) {
        Enter();
        file_->FlushRecords();
    } else {
        file_->Refresh();
    }
    std::vector<std::size_t> fields;
    for (const auto column : projection) {
        fields.push_back(shown_.at(column));
    }
    return std::make_unique<RecordScan>(file_, fields);
}

std::int64_t FoxProTable::CountRows() {
    file_->Refresh();
    return CountRecords(*file_);
}

void FoxProTable::Insert(std::span<const Cell> row) {
    auto& writer = Writer();
    Enter();
    writer.Prepare(row);
    writer.Add();
}

// Preparing changes nothing and may throw; adding that throws has left half a row, and then the
// whole batch goes back, with the count of its rows in the error.
void FoxProTable::InsertBatched(std::span<const Cell> row) {
    auto& writer = Writer();
    auto& group = file_->Group();
    group.BeginRow();
    try {
        writer.Prepare(row);
    } catch (...) {
        group.EndRow(false);
        throw;
    }
    try {
        writer.Add();
    } catch (...) {
        group.FailRow();
    }
    group.EndRow(true);
}

void FoxProTable::Update(sql::RowId row,
                         std::span<const std::size_t> columns,
                         std::span<const Cell> values) {
    auto& writer = Writer();
    Enter();
    std::vector<std::size_t> fields;
    for (const auto column : columns) {
        fields.push_back(shown_.at(column));
    }
    writer.Update(static_cast<RecordNumber>(row), fields, values);
}

void FoxProTable::Delete(sql::RowId row) {
    auto& writer = Writer();
    Enter();
    writer.Delete(static_cast<RecordNumber>(row));
}

// The count of those that were visible: deleted records go, too, and nobody asked for them.
std::int64_t FoxProTable::DeleteAll() {
    auto& writer = Writer();
    Enter();
    const auto count = CountRecords(*file_);
    writer.Clear();
    return count;
}

}  // namespace vantry::foxpro
