#pragma once
// Columns that hold several values: choices and attachments. The cell is a key into a hidden table
// that has one row for each value.

#include "drivers/access/catalogue/object_catalog.h"
#include "drivers/access/indexes/index_key.h"
#include "drivers/access/indexes/index_reader.h"
#include "drivers/access/rows/record_reader.h"

#include <memory>
#include <string>

namespace vantry::access {

// The values of one column as text: choices as they are, attachments by their file names, joined
// with ";".
class ComplexValueReader {
public:
    // Throws DataError when the hidden table isn't there. `source` must outlive it.
    ComplexValueReader(PageSource& source, ObjectCatalog& catalog, const ColumnDef& column);

    // Empty: no values. Valid until the next call.
    const std::string& Read(std::int32_t key);

private:
    TableDef flat_;
    std::size_t key_column_ = 0;  // position in flat_
    const RealIndex* index_ = nullptr;
    std::unique_ptr<RecordReader> records_;
    std::unique_ptr<IndexReader> entries_;
    std::unique_ptr<KeyEncoder> encoder_;
    std::vector<std::byte> seek_;
    std::string text_;
};

}  // namespace vantry::access
