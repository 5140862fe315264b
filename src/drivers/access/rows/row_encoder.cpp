// A row is built front to back in one buffer that is large enough for any row of the table: fixed
// area, variable data, then the table of offsets backwards, then the null mask. Each column has its
// encoder as a member pointer, chosen once. Easy to get wrong: the fixed area has holes of deleted
// columns that must be there; offsets of missing columns repeat their neighbour's; a table without
// variable columns has no offset table at all.

#include "drivers/access/rows/row_encoder.h"

#include "data/value_convert.h"
#include "drivers/access/pages/data_page.h"
#include "drivers/access/rows/stored_bytes.h"

#include <algorithm>
#include <cstring>

namespace vantry::access {
namespace {

constexpr std::size_t kColumnCountSize = 2;

}  // namespace

std::string TypeName(const ColumnDef& column) {
    switch (column.type) {
        case ColumnType::Boolean:
            return "Yes/No";
        case ColumnType::Byte:
            return "Byte";
        case ColumnType::Integer:
            return "Integer";
        case ColumnType::Long:
            return "Long Integer";
        case ColumnType::Currency:
            return "Currency";
        case ColumnType::Single:
            return "Single";
        case ColumnType::Double:
            return "Double";
        case ColumnType::DateTime:
        case ColumnType::DateTimeExtended:
            return "Date/Time";
        case ColumnType::Binary:
            return "Binary(" + std::to_string(column.length) + ")";
        case ColumnType::Text:
            return "Text(" + std::to_string(column.length / 2) + ")";
        case ColumnType::Ole:
            return "OLE Object";
        case ColumnType::Memo:
            return "Memo";
        case ColumnType::Guid:
            return "Replication ID";
        case ColumnType::Numeric:
            return "Decimal(" + std::to_string(column.precision) + "," +
                   std::to_string(column.scale) + ")";
        case ColumnType::BigInt:
            return "Large Number";
        case ColumnType::Complex:
        case ColumnType::Unknown0D:
        case ColumnType::Unknown11:
            break;
    }
    return "a type that can't be written";
}

RowEncoder::RowEncoder(const TableDef& def, std::string table)
    : def_(&def), table_(std::move(table)), fields_(def.columns.size()) {
    fixed_end_ = kColumnCountSize + def.FixedAreaSize();
    mask_size_ = (std::size_t{def.max_columns} + 7) / 8;
    mask_.resize(mask_size_);
    starts_.resize(std::size_t{def.variable_count} + 1);
    variable_.resize(def.variable_count);
    std::size_t capacity = fixed_end_ + 2 * starts_.size() + 2 + mask_size_ + kFieldSlack;
    for (std::size_t position = 0; position < def.columns.size(); ++position) {
        const ColumnDef& def_column = def.columns[position];
        Column column;
        column.position = position;
        column.def = &def_column;
        column.mask_byte = def_column.number >> 3;
        column.mask_bit = std::byte{static_cast<unsigned char>(1U << (def_column.number & 7))};
        SetEncoder(column);
        if (def_column.IsFixed() && def_column.type == ColumnType::Boolean) {
            booleans_.push_back(column);
        } else if (def_column.IsFixed()) {
            column.fixed_offset = kColumnCountSize + def_column.fixed_offset;
            fixed_.push_back(column);
            // An index beyond the table's count is a fault of the definition: the column stays
            // null, rather than being written outside.
        } else if (def_column.variable_index < variable_.size()) {
            capacity += column.size + kFieldSlack;
            variable_[def_column.variable_index] = column;
        }
    }
    capacity_ = capacity;
    buffer_.resize(capacity);
}

// And the most bytes that a value of the column takes, for the buffer's size.
void RowEncoder::SetEncoder(Column& column) {
    const ColumnDef& def = *column.def;
    const std::size_t size = FixedSizeOf(def.type);
    column.size = std::max(size, std::size_t{def.length});
    switch (def.type) {
        case ColumnType::Byte:
            column.encode = &RowEncoder::EncodeByte;
            break;
        case ColumnType::Integer:
            column.encode = &RowEncoder::EncodeInteger;
            break;
        case ColumnType::Long:
            column.encode = &RowEncoder::EncodeLong;
            break;
        case ColumnType::BigInt:
            column.encode = &RowEncoder::EncodeBigInt;
            break;
        case ColumnType::Currency:
            column.encode = &RowEncoder::EncodeCurrency;
            break;
        case ColumnType::Single:
            column.encode = &RowEncoder::EncodeSingle;
            break;
        case ColumnType::Double:
            column.encode = &RowEncoder::EncodeDouble;
            break;
        case ColumnType::DateTime:
            column.encode = &RowEncoder::EncodeDate;
            break;
        case ColumnType::DateTimeExtended:
            column.encode = &RowEncoder::EncodeExtendedDate;
            break;
        case ColumnType::Numeric:
            column.encode = &RowEncoder::EncodeNumeric;
            break;
        case ColumnType::Guid:
            column.encode = &RowEncoder::EncodeGuid;
            break;
        case ColumnType::Text:
            column.encode = def.IsFixed() ? &RowEncoder::EncodeFixedText : &RowEncoder::EncodeText;
            break;
        case ColumnType::Binary:
            column.encode = &RowEncoder::EncodeBinary;
            break;
        case ColumnType::Memo:
            column.encode = &RowEncoder::EncodeMemo;
            column.size = kLongValueHeaderSize + kMaxInlineLongValue;
            break;
        case ColumnType::Ole:
            column.encode = &RowEncoder::EncodeOle;
            column.size = kLongValueHeaderSize + kMaxInlineLongValue;
            break;
        case ColumnType::Boolean:
        case ColumnType::Complex:
        case ColumnType::Unknown0D:
        case ColumnType::Unknown11:
            break;
    }
}

void RowEncoder::Encode(std::span<const Cell> row) {
    Build(row, nullptr);
}

void RowEncoder::Encode(std::span<const Cell> row, std::span<const StoredField> given) {
    // Stored fields may be longer than what would be written anew, such as a long value that
    // another program left in the row.
    std::size_t extra = 0;
    for (const StoredField& field : given) {
        extra += field.bytes.size();
    }
    buffer_.resize(capacity_ + extra);
    Build(row, given.data());
}

// A null field takes no bytes and leaves its bit of the mask clear.
std::byte* RowEncoder::PutField(const Column& column,
                                std::span<const Cell> row,
                                const StoredField* given,
                                std::byte* out) {
    Field& field = fields_[column.position];
    field.start = static_cast<std::uint32_t>(out - buffer_.data());
    field.is_null = true;
    field.length = 0;
    std::byte* end = out;
    if (given != nullptr && given[column.position].given) {
        const StoredField& stored = given[column.position];
        if (stored.is_null) {
            return out;
        }
        // Would overwrite the field behind it.
        if (column.fixed_offset != 0 && stored.bytes.size() > column.size) {
            ThrowStoredTooLong(column);
        }
        if (!stored.bytes.empty()) {
            std::memcpy(out, stored.bytes.data(), stored.bytes.size());
        }
        end = out + stored.bytes.size();
    } else {
        const Cell& cell = row[column.position];
        if (cell.IsNull() || cell.IsUnset()) {
            return out;
        }
        // Columns of several values and types of later versions: only Access can write them.
        if (column.encode == nullptr) {
            throw ReadOnlyColumn(NameOf(column));
        }
        end = (this->*column.encode)(column, cell, out);
    }
    field.is_null = false;
    field.length = static_cast<std::uint32_t>(end - out);
    mask_[column.mask_byte] |= column.mask_bit;
    return end;
}

// Front to back; see the head of row.h for the shape.
void RowEncoder::Build(std::span<const Cell> row, const StoredField* given) {
    pending_.clear();
    std::byte* const start = buffer_.data();
    std::memset(start, 0, fixed_end_);
    std::memset(mask_.data(), 0, mask_size_);
    Put(start, def_->max_columns);
    for (const Column& column : fixed_) {
        PutField(column, row, given, start + column.fixed_offset);
    }
    // A truth value has no bytes at all: it is its bit in the mask, and so is never null.
    for (const Column& column : booleans_) {
        bool value = false;
        if (given != nullptr && given[column.position].given) {
            const auto& stored = given[column.position].bytes;
            value = !stored.empty() && stored[0] != std::byte{};
        } else if (const Cell& cell = row[column.position]; !cell.IsNull() && !cell.IsUnset()) {
            const auto converted = cell.Kind() == ValueKind::Boolean
                                       ? std::optional(cell.AsBoolean())
                                       : ToBoolean(cell);
            if (!converted) {
                ThrowUnfit(column, cell);
            }
            value = *converted;
        }
        fields_[column.position] = {.is_null = !value, .start = 0, .length = 0};
        if (value) {
            mask_[column.mask_byte] |= column.mask_bit;
        }
    }
    std::byte* out = start + fixed_end_;
    if (!variable_.empty()) {
        for (std::size_t index = 0; index < variable_.size(); ++index) {
            starts_[index] = static_cast<std::uint16_t>(out - start);
            if (variable_[index].def != nullptr) {
                out = PutField(variable_[index], row, given, out);
            }
        }
        out = Put(out, static_cast<std::uint16_t>(out - start));
        for (std::size_t index = variable_.size(); index > 0; --index) {
            out = Put(out, starts_[index - 1]);
        }
        out = Put(out, def_->variable_count);
    }
    std::memcpy(out, mask_.data(), mask_size_);
    length_ = static_cast<std::size_t>(out - start) + mask_size_;
    // Known only when all fields are in: long values may have gone elsewhere by then.
    if (length_ > kJet4Layout.max_row_size) {
        throw RowTooLong(table_, length_, kJet4Layout.max_row_size);
    }
}

// A text that went elsewhere isn't in the row any more, but is still held for its key.
std::optional<ByteSpan> RowEncoder::KeyField(std::size_t column) const {
    static constexpr std::byte kTruth[2] = {std::byte{0}, std::byte{1}};
    const Field& field = fields_[column];
    const ColumnDef& def = def_->columns[column];
    if (def.type == ColumnType::Boolean && def.IsFixed()) {
        return ByteSpan(field.is_null ? kTruth : kTruth + 1, 1);
    }
    if (field.is_null) {
        return std::nullopt;
    }
    const auto bytes = ByteSpan(buffer_).subspan(field.start, field.length);
    if (!def.IsLongValue()) {
        return bytes;
    }
    for (const Pending& pending : pending_) {
        if (pending.column == column) {
            return pending.data;
        }
    }
    return bytes.subspan(std::min(bytes.size(), kLongValueHeaderSize));
}

void RowEncoder::WriteLongValues(LongValueSink& sink) {
    for (const Pending& pending : pending_) {
        sink.Write(pending.column,
                   pending.data,
                   std::span(buffer_).subspan(pending.header, kLongValueHeaderSize));
    }
    pending_.clear();
}

}  // namespace vantry::access
