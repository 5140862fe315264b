#pragma once
// What a table's header says: its fields, and where in a record their bytes lie. Everything that
// reads or writes records, memos or keys goes by it.

#include "drivers/foxpro/format.h"
#include "files/checked_bytes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::foxpro {

using file::ByteSpan;
// From 1 on; records keep their number until the table is packed.
using RecordNumber = std::uint32_t;

struct Field {
    std::string name;        // as in the header: upper case, at most 10 letters, 32 in dBase 7
    std::string long_name;   // of the container, else as `name`: what users and statements say
    char type = 'C';         // the letter of the header
    std::size_t offset = 0;  // in the record, whose byte 0 is the deletion mark
    std::size_t length = 0;
    std::size_t decimals = 0;
    bool hidden = false;  // system field
    bool nullable = false;
    bool binary = false;  // C, V, M: not in the table's code page
    bool auto_increment = false;
    std::uint32_t next_value = 0;  // auto-increment
    std::uint8_t step = 0;
    // Bits of the field of null flags.
    std::optional<std::size_t> null_bit;   // 1: the value is NULL
    std::optional<std::size_t> short_bit;  // V, Q: 1: the value's length is the field's last byte

    bool IsMemo() const {
        return type == 'M' || type == 'G' || type == 'P' || type == 'W' ||
               (type == 'B' && length == kMemoPointerText);
    }
};

struct TableLayout {
    Version version = Version::VisualFoxPro;
    std::uint8_t flags = 0;           // kHasStructuralIndex, ...
    std::uint8_t code_page_mark = 0;  // as in the header
    int code_page = 0;                // Windows or DOS number by which text is read and written
    std::size_t header_length = 0;
    std::size_t record_length = 0;
    std::vector<Field> fields;              // hidden ones too, in the order of the header
    std::optional<std::size_t> null_flags;  // number of the field of null flags
    std::string back_link;                  // path of the container, empty for a free table
    // What the table is called: by its file, without the extension, and by its container.
    std::vector<std::string> names;
    std::string trouble;  // what is wrong with the header and could be read all the same

    bool IsVisual() const {
        return version == Version::VisualFoxPro || version == Version::VisualFoxProAutoIncrement ||
               version == Version::VisualFoxProVarchar;
    }
    bool IsDBase7() const { return version == Version::DBase7 || version == Version::DBase7Memo; }
    std::uint64_t OffsetOf(RecordNumber record) const {
        return header_length + std::uint64_t{record - 1} * record_length;
    }
};

// One record's raw bytes.
struct RecordView {
    const TableLayout* layout = nullptr;
    ByteSpan bytes;  // layout->record_length of them
    RecordNumber number = 0;

    bool IsDeleted() const { return bytes[0] == kDeletedRecord; }
    ByteSpan Bytes(const Field& field) const { return bytes.subspan(field.offset, field.length); }
    bool Bit(std::size_t bit) const {
        const auto& flags = layout->fields[*layout->null_flags];
        return (std::to_integer<unsigned>(bytes[flags.offset + bit / 8]) >> (bit % 8) & 1U) != 0;
    }
    bool IsNull(const Field& field) const { return field.null_bit && Bit(*field.null_bit); }
    // Of V and Q the bytes that count, of others all; no more than there are, whatever the record
    // says.
    ByteSpan ValueBytes(const Field& field) const {
        const auto all = Bytes(field);
        if (!field.short_bit || !Bit(*field.short_bit)) {
            return all;
        }
        const auto used = std::to_integer<std::size_t>(all.back());
        return all.first(used < all.size() ? used : all.size() - 1);
    }
};

}  // namespace vantry::foxpro
