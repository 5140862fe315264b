#include "drivers/foxpro/foxpro_table.h"

#include "drivers/foxpro/column_info.h"
#include "drivers/foxpro/table/record_scan.h"

namespace vantry::foxpro {

FoxProTable::FoxProTable(std::shared_ptr<TableFile> file, std::string name)
    : file_(std::move(file)), name_(std::move(name)) {
    const auto& layout = file_->Layout();
    for (std::size_t k = 0; k < layout.fields.size(); ++k) {
        if (!layout.fields[k].hidden) {
            shown_.push_back(k);
            columns_.push_back(DescribeColumn(layout.fields[k], layout, file_->Coder()));
        }
    }
}

std::unique_ptr<sql::TableScan> FoxProTable::Scan(std::span<const std::size_t> projection) {
    file_->Refresh();
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

}  // namespace vantry::foxpro
