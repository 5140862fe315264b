#pragma once
// One projection of a table: turns records into cells.

#include "data/data_error.h"
#include "data/made_texts.h"
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
    // For a decoder of a second thread's: one cell a field, which look into `record` or `made`;
    // those of memos are left as they are. False: a field can't be read, and the whole record is
    // for the scan's own decoder.
    bool DecodeWithoutMemos(ByteSpan record, Cell* cells, MadeTexts& made);
    // Into such cells: those of the memos.
    void DecodeMemos(ByteSpan record, RecordNumber number, Cell* cells);
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
        std::string memo;
        std::string fault;

        bool IsMemo() const { return kind == Kind::MemoText || kind == Kind::MemoBytes; }
    };
    static Kind KindOf(const Field& field, const TableLayout& layout);
    Cell DecodeField(Plan& plan, const RecordView& record, MadeTexts& made);
    Cell DecodeText(Plan& plan, std::string_view stored, MadeTexts& made);
    Cell DecodeMemo(Plan& plan, ByteSpan pointer);
    Cell Fault(Plan& plan, std::string reason);

    TableFile* table_;
    std::vector<Plan> plans_;
    std::vector<Cell> cells_;
    MadeTexts made_;
    std::string converted_;
    RecordNumber number_ = 0;
    bool has_memos_ = false;
};

}  // namespace vantry::foxpro
