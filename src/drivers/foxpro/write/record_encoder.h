#pragma once
// A row's values as the bytes of a record, in two steps: everything that can be refused is refused
// by the first, which writes nothing; the second adds the memos.

#include "data/data_error.h"
#include "data/value.h"
#include "drivers/foxpro/table/table_file.h"

#include <string>
#include <vector>

namespace vantry::foxpro {

class RecordEncoder {
public:
    // `null_by_default`: a nullable column without a value is NULL; otherwise it is blank.
    RecordEncoder(TableFile& table, bool null_by_default);

    // A record of blanks.
    void PutBlank(std::span<std::byte> record) const;
    // Encodes `value` into the field, which is blank or holds a former value. Throws DataError
    // naming table, field and value when it doesn't fit. Memos are remembered for AppendMemos().
    void Encode(std::size_t field, const Cell& value, std::span<std::byte> record);
    // The same for every field that is shown, in their order; Unset is the default. `next_values`:
    // of auto-increment fields, by field; those used are advanced.
    void EncodeRow(std::span<const Cell> row,
                   std::vector<std::uint32_t>& next_values,
                   std::span<std::byte> record);
    // Before a record's fields are encoded one by one.
    void ForgetMemos() { memos_.clear(); }
    // Adds the memos of the record that was encoded last, and writes their places into it.
    void AppendMemos(std::span<std::byte> record);
    // Numbers of the fields that are shown.
    const std::vector<std::size_t>& Shown() const { return shown_; }

private:
    struct Memo {
        std::size_t field;
        std::uint32_t kind;
        std::string_view content;
    };
    // The value alone, which isn't NULL.
    void EncodeValue(std::size_t field, const Cell& value, std::span<std::byte> record);
    void EncodeText(const Field& field,
                    std::size_t number,
                    std::string_view text,
                    std::span<std::byte> out,
                    std::span<std::byte> record);
    void EncodeBytes(const Field& field,
                     ByteSpan bytes,
                     std::span<std::byte> out,
                     std::span<std::byte> record);
    void EncodeMemo(std::size_t number, const Cell& value, std::span<std::byte> out);
    void EncodeNumber(const Field& field, const Cell& value, std::span<std::byte> out);
    void EncodeMoment(const Field& field, const Cell& value, std::span<std::byte> out);
    void SetBit(std::size_t bit, bool value, std::span<std::byte> record) const;
    void SetNull(const Field& field, std::span<std::byte> record);
    std::string_view InCodePage(const Field& field, std::string_view text, std::string& scratch);
    DataError DoesNotFit(const Field& field, const Cell& value, std::string_view why) const;

    TableFile* table_;
    const TableLayout* layout_;
    bool null_by_default_;
    std::vector<std::byte> blank_;
    std::vector<std::size_t> shown_;
    std::vector<std::string> scratch_;  // a field
    std::vector<Memo> memos_;
};

}  // namespace vantry::foxpro
