#pragma once
// One projection of a table: turns records into cells.

#include "data/data_error.h"
#include "data/value.h"
#include "drivers/foxpro/table/table_file.h"

#include <string>
#include <vector>

namespace vantry::foxpro {

class RecordDecoder {
public:
    // `fields` are numbers of fields in the table's layout; the table must outlive it.
    RecordDecoder(TableFile& table, std::span<const std::size_t> fields);

    // `record` has the layout's record length; the cells look into it.
    void Decode(ByteSpan record, RecordNumber number);
    std::span<const Cell> Cells() const { return cells_; }
    // Why the field at `position` is Unreadable.
    DataError FieldError(std::size_t position) const;
    // Whether fields are read from other files.
    bool HasMemos() const { return has_memos_; }

private:
    enum class Kind : std::uint8_t {
        Text,
        Bytes,
        Number,
        Date,
        Moment,
        Logical,
        Integer,
        Double,
        Currency,
        MemoText,
        MemoBytes,
        ReversedInteger,  // dBase 7
        ReversedDouble,
        Unknown,
    };
    struct Plan {
        Kind kind = Kind::Unknown;
        const Field* field = nullptr;
        std::string scratch;
        std::string fault;
    };
    static Kind KindOf(const Field& field, const TableLayout& layout);
    Cell DecodeField(Plan& plan, const RecordView& record);
    Cell DecodeText(Plan& plan, std::string_view stored);
    Cell DecodeMemo(Plan& plan, ByteSpan pointer);
    Cell Fault(Plan& plan, std::string reason);

    TableFile* table_;
    std::vector<Plan> plans_;
    std::vector<Cell> cells_;
    RecordNumber number_ = 0;
    bool has_memos_ = false;
};

}  // namespace vantry::foxpro
