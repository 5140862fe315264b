#pragma once
// Keys of index entries: what the stored values of a row's key columns make, so that a byte-wise
// comparison sorts the rows. Byte for byte as the engine writes them, or not at all.

#include "drivers/access/catalogue/table_def.h"
#include "drivers/access/indexes/collation.h"
#include "drivers/access/rows/text_coding.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vantry::access {

enum class KeyResult : std::uint8_t {
    Ok,
    NoEntry,      // a row whose key columns are all null, in an index that ignores nulls
    UnknownForm,  // a value of a type whose keys aren't known
};

class KeyEncoder {
public:
    // `index` must belong to `def`. Of a table whose keys can't be made, Unsupported() says why.
    KeyEncoder(const FileHeader& header, const TableDef& def, const RealIndex& index);

    // A clause such as "the sort order of its column 'x' (041D) isn't supported"; empty: keys can
    // be made.
    const std::string& Unsupported() const { return unsupported_; }

    // `fields` holds the stored bytes of each key column in the index's order, nothing for null:
    // what RowView::Field gives, but for a Memo its text (LongValueReader::Read; kMemoKeyBytes of
    // it are enough). `key` is replaced. Throws BoundsError for values that are too short.
    KeyResult Encode(std::span<const std::optional<ByteSpan>> fields,
                     std::vector<std::byte>& key) const;
    static constexpr std::size_t kMemoKeyBytes = 4 * kMaxTextUnits + 2;

    // One column's part: appended. For seeking by a prefix of the columns.
    KeyResult AppendColumn(std::size_t column,
                           std::optional<ByteSpan> stored,
                           std::vector<std::byte>& key) const;

private:
    struct Column {
        ColumnType type;
        bool ascending;
        const Collation* collation = nullptr;
        TextCoding coding;
    };

    std::vector<Column> columns_;
    bool ignore_nulls_;
    bool ace_numeric_;
    std::string unsupported_;
};

}  // namespace vantry::access
