// The plan of a row: where each wanted field lies, worked out once a scan. Rows that follow it are
// decoded in one pass without exceptions or allocation; anything else (an older row with fewer
// columns, a field that is out of place) is left to the careful decoder by answering false. Easy to
// get wrong: every offset that comes from the row is compared with the row's end before it is used,
// as there is no ByteSpan here to catch it.

#include "drivers/access/rows/quick_row.h"

#include "drivers/access/rows/field.h"
#include "drivers/access/rows/text_coding.h"

#include <algorithm>

namespace vantry::access {
namespace {

// Types whose value lies in the row and nowhere else.
bool IsQuick(const ColumnDef& column) {
    if (column.IsCalculated()) {
        return false;
    }
    switch (column.type) {
        case ColumnType::Boolean:
            return column.IsFixed();
        case ColumnType::Byte:
        case ColumnType::Integer:
        case ColumnType::Long:
        case ColumnType::BigInt:
        case ColumnType::Currency:
        case ColumnType::Single:
        case ColumnType::Double:
        case ColumnType::DateTime:
        case ColumnType::Numeric:
        case ColumnType::Guid:
        case ColumnType::Text:
        case ColumnType::Binary:
            return true;
        default:
            return false;
    }
}

template <typename Number>
Number At(const std::byte* place) {
    Number value;
    std::memcpy(&value, place, sizeof value);
    return value;
}

}  // namespace

QuickRow::QuickRow(const Layout& layout,
                   const TableDef& def,
                   std::span<const std::size_t> projection)
    : columns_(def.max_columns),
      mask_size_((std::size_t{def.max_columns} + 7) / 8),
      fixed_end_(sizeof(std::uint16_t)),
      has_variables_(def.variable_count != 0) {
    // Rows of Jet 3 have another shape, and such files are old and small.
    possible_ = !layout.jet3 && !projection.empty();
    for (const auto position : projection) {
        const auto& column = def.columns.at(position);
        possible_ = possible_ && IsQuick(column) && column.number < columns_;
        const auto size = static_cast<std::uint16_t>(FixedSizeOf(column.type));
        Field field{column.type,
                    column.IsFixed(),
                    static_cast<std::uint8_t>(column.number & 7),
                    column.scale,
                    static_cast<std::uint16_t>(column.number >> 3),
                    column.variable_index,
                    size};
        if (column.HasFixedStorage()) {
            const std::size_t start = sizeof(std::uint16_t) + std::size_t{column.fixed_offset};
            field.place = static_cast<std::uint16_t>(start);
            field.length = size != 0 ? size : column.length;
            possible_ = possible_ && start <= layout.page_size;
            fixed_end_ = std::max(fixed_end_, start + field.length);
        } else if (column.HasVariableStorage()) {
            possible_ = possible_ && has_variables_;
            variable_needed_ = std::max(variable_needed_, std::size_t{column.variable_index} + 1);
        }
        fields_.push_back(field);
    }
}

// One field whose place has been checked; false for a value that wants care. Part of Decode's loop,
// and only for reading apart from it: a call a field costs as much as most fields.
[[gnu::always_inline]] inline bool QuickRow::DecodeField(const Field& field,
                                                         ByteSpan stored,
                                                         Cell& cell,
                                                         TextRoom& room) {
    const std::byte* const place = stored.data();
    switch (field.type) {
        case ColumnType::Byte:
            cell = Cell::Int64(At<std::uint8_t>(place));
            return true;
        case ColumnType::Integer:
            cell = Cell::Int64(At<std::int16_t>(place));
            return true;
        case ColumnType::Long:
            cell = Cell::Int64(At<std::int32_t>(place));
            return true;
        case ColumnType::BigInt:
            cell = Cell::Int64(At<std::int64_t>(place));
            return true;
        case ColumnType::Currency:
            cell = Cell::FromDecimal({At<std::int64_t>(place), kCurrencyScale});
            return true;
        case ColumnType::Single:
            cell = Cell::Single(At<float>(place));
            return true;
        case ColumnType::Double:
            cell = Cell::Double(At<double>(place));
            return true;
        // A number that is no date gets its error from the careful way.
        case ColumnType::DateTime: {
            const auto value = DateTimeFromSerial(At<double>(place));
            if (value) {
                cell = Cell::FromDateTime(*value);
            }
            return value.has_value();
        }
        case ColumnType::Numeric: {
            const auto value = DecimalFromNumeric(stored, field.scale);
            if (value) {
                cell = Cell::FromDecimal(*value);
            }
            return value.has_value();
        }
        case ColumnType::Guid: {
            char* const text = room.Take(kGuidTextSize);
            if (text != nullptr) {
                PutGuid(stored, text);
                room.Keep(kGuidTextSize);
                cell = Cell::Text({text, kGuidTextSize});
            }
            return text != nullptr;
        }
        case ColumnType::Text: {
            if (TextCoding::IsCompressed(stored)) {
                const std::string_view text(reinterpret_cast<const char*>(place) + 2,
                                            stored.size() - 2);
                if (TextCoding::IsPlainAscii(text)) {
                    cell = Cell::Text(text);
                    return true;
                }
            }
            char* const text = room.Take(TextCoding::RoomFor(stored));
            const char* const end = text != nullptr ? TextCoding::PutSimple(stored, text) : nullptr;
            if (end != nullptr) {
                const auto size = static_cast<std::size_t>(end - text);
                room.Keep(size);
                cell = Cell::Text({text, size});
            }
            return end != nullptr;
        }
        default:
            cell = Cell::Bytes(stored);
            return true;
    }
}

// False: nothing of the row is of use, and the careful way must do it.
bool QuickRow::Decode(ByteSpan row, Cell* cells, TextRoom& room) const {
    const std::byte* const begin = row.data();
    if (row.size() < fixed_end_ + mask_size_ || At<std::uint16_t>(begin) != columns_) {
        return false;
    }
    const std::size_t mask_at = row.size() - mask_size_;
    const std::byte* const mask = begin + mask_at;
    std::size_t variable_end = 0;
    if (variable_needed_ > 0) {
        const std::size_t count = mask_at >= 4 ? At<std::uint16_t>(mask - 2) : 0;
        if (count < variable_needed_ || 4 + 2 * count > mask_at) {
            return false;
        }
        variable_end = mask_at - 4 - 2 * count;
    }
    for (const auto& field : fields_) {
        const bool bit = (static_cast<unsigned>(mask[field.mask_byte]) >> field.mask_bit & 1U) != 0;
        Cell& cell = *cells++;
        if (field.type == ColumnType::Boolean) {
            cell = Cell::Boolean(bit);
            continue;
        }
        if (!bit) {
            cell = Cell::Null();
            continue;
        }
        // A variable field begins where the offset table says and ends where the next begins.
        std::size_t start = field.place;
        std::size_t length = field.length;
        if (!field.fixed) {
            // The table of offsets runs backwards from the mask: the next field's is before this
            // one's.
            const std::byte* const at = mask - 4 - std::size_t{field.place} * 2;
            start = At<std::uint16_t>(at);
            const std::size_t end = At<std::uint16_t>(at - 2);
            if (start > end || end > variable_end || end - start < field.length) {
                return false;
            }
            length = end - start;
        }
        if (!DecodeField(field, row.subspan(start, length), cell, room)) {
            return false;
        }
    }
    return true;
}

}  // namespace vantry::access
