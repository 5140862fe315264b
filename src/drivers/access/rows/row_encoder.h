#pragma once
// Values of a row in their stored form. One encoder a column, chosen when the table is opened; the
// row is put together in a buffer that is used again.
//
// Conversions are the engine's: numbers round half to even and must fit, text given for a number or
// date is read in local and ISO forms, Yes/No takes Null as No, text fields take anything's text
// form.

#include "data/value.h"
#include "drivers/access/catalogue/table_def.h"
#include "drivers/access/write_errors.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vantry::access {

// Puts the 12-byte field of a long value into a row, writing its data elsewhere where needed.
class LongValueSink {
public:
    virtual ~LongValueSink() = default;
    // `data` is more than fits the row. Fills `header` (12 bytes).
    virtual void Write(std::size_t column, ByteSpan data, std::span<std::byte> header) = 0;
};

// Data of a long value up to this length stays in the row.
inline constexpr std::size_t kMaxInlineLongValue = 64;

class RowEncoder {
public:
    // `table` is for messages. `def` must outlive it.
    RowEncoder(const TableDef& def, std::string table);

    // Encodes the row: one cell a column of `def`, in its order; Unset is null here. Long values
    // that don't stay in the row are remembered: WriteLongValues() must follow before Bytes() are
    // complete. Throws DataError naming table and column.
    void Encode(std::span<const Cell> row);
    // The same with some fields given in stored form, which are taken over as they are (nothing:
    // null): for changing a row. `given` has one entry a column.
    struct StoredField {
        bool given = false;
        bool is_null = false;
        ByteSpan bytes;
    };
    void Encode(std::span<const Cell> row, std::span<const StoredField> given);

    // The fields' stored bytes as index keys want them, for each column in the order of `def`; of a
    // Memo its text, also when it goes elsewhere, but not that of one given in stored form. Valid
    // until the next Encode().
    std::optional<ByteSpan> KeyField(std::size_t column) const;
    // Of a long value that goes elsewhere.
    bool HasLongValues() const { return !pending_.empty(); }
    void WriteLongValues(LongValueSink& sink);
    std::span<const std::byte> Bytes() const { return {buffer_.data(), length_}; }

private:
    struct Column {
        std::size_t position = 0;  // in the row of cells
        const ColumnDef* def = nullptr;
        std::byte* (RowEncoder::*encode)(const Column&, const Cell&, std::byte*) = nullptr;
        std::size_t mask_byte = 0;
        std::byte mask_bit{};
        std::size_t fixed_offset = 0;  // in the row
        std::size_t size = 0;          // of the stored value, or the most that is possible
    };
    struct Field {  // of the row being made
        bool is_null = true;
        std::uint32_t start = 0;
        std::uint32_t length = 0;
    };
    struct Pending {
        std::size_t column = 0;  // position in `def`
        std::size_t header = 0;  // offset in the row
        ByteSpan data;           // of the caller's cell or of `own`
        std::u16string own;
    };

    static void SetEncoder(Column& column);
    void Build(std::span<const Cell> row, const StoredField* given);
    // Puts one field at `out`, which has room for the longest; its end.
    std::byte* PutField(const Column& column,
                        std::span<const Cell> row,
                        const StoredField* given,
                        std::byte* out);
    [[noreturn]] void ThrowStoredTooLong(const Column& column) const;

    // Each writes the stored form at `out` and returns its end; a null cell never arrives.
    std::byte* EncodeByte(const Column&, const Cell&, std::byte*);
    std::byte* EncodeInteger(const Column&, const Cell&, std::byte*);
    std::byte* EncodeLong(const Column&, const Cell&, std::byte*);
    std::byte* EncodeBigInt(const Column&, const Cell&, std::byte*);
    std::byte* EncodeCurrency(const Column&, const Cell&, std::byte*);
    std::byte* EncodeSingle(const Column&, const Cell&, std::byte*);
    std::byte* EncodeDouble(const Column&, const Cell&, std::byte*);
    std::byte* EncodeDate(const Column&, const Cell&, std::byte*);
    std::byte* EncodeExtendedDate(const Column&, const Cell&, std::byte*);
    std::byte* EncodeNumeric(const Column&, const Cell&, std::byte*);
    std::byte* EncodeGuid(const Column&, const Cell&, std::byte*);
    std::byte* EncodeText(const Column&, const Cell&, std::byte*);
    std::byte* EncodeFixedText(const Column&, const Cell&, std::byte*);
    std::byte* EncodeBinary(const Column&, const Cell&, std::byte*);
    std::byte* EncodeMemo(const Column&, const Cell&, std::byte*);
    std::byte* EncodeOle(const Column&, const Cell&, std::byte*);

    std::int64_t WholeNumber(const Column&, const Cell&, std::int64_t low, std::int64_t high);
    // `data` is the caller's cell's, or that of `own`, which is taken over if the data must be
    // kept.
    std::byte* PutLongValue(const Column&, ByteSpan data, std::u16string&& own, std::byte*);
    ByteSpan BytesOf(const Cell& cell);
    std::string_view TextOf(const Cell& cell);
    FieldName NameOf(const Column& column) const { return {table_, column.def->name}; }
    [[noreturn]] void ThrowUnfit(const Column&, const Cell&) const;

    const TableDef* def_;
    std::string table_;
    std::vector<Column> fixed_;  // Yes/No columns apart
    std::vector<Column> booleans_;
    std::vector<Column> variable_;  // by variable index, with gaps left out
    std::size_t fixed_end_ = 0;     // offset of the variable data
    std::size_t mask_size_ = 0;

    std::size_t capacity_ = 0;  // of any row of values
    std::vector<std::byte> buffer_;
    std::size_t length_ = 0;
    std::vector<Field> fields_;  // by position in `def`
    std::vector<Pending> pending_;
    std::vector<std::uint16_t> starts_;  // of the variable data, by variable index
    std::vector<std::byte> mask_;
    std::string scratch_;
    std::u16string units_;
};

// What a column's type is called in messages: "Long Integer", "Text(50)".
std::string TypeName(const ColumnDef& column);

}  // namespace vantry::access
