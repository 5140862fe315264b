// A new record starts as a copy of the blank one, so that a field without a value, the null flags
// and what lies behind the last field need no thought of their own. Values that come as text are
// read by the text forms that the program writes; everything is rounded in decimals, half away from
// zero, as FoxPro does, and never cut.

#include "drivers/foxpro/write/record_encoder.h"

#include "data/calendar.h"
#include "data/message_text.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/table/number_text.h"

#include <array>
#include <cmath>
#include <cstring>

namespace vantry::foxpro {
namespace {

constexpr std::int64_t kNanosPerMilli = 1'000'000;

// The bytes of a field that nobody has set.
// Binary types are zeros, all others blanks; a V or Q of length 0 says so in its last byte.
void PutBlankField(const Field& field, const TableLayout& layout, std::span<std::byte> out) {
    const bool zeros = field.type == 'T' || field.type == 'I' || field.type == 'Y' ||
                       field.type == '0' || (field.type == 'B' && layout.IsVisual()) ||
                       (field.IsMemo() && field.length == kMemoPointerBinary);
    std::memset(out.data(), zeros ? 0 : ' ', out.size());
    if (field.short_bit) {
        out.back() = std::byte{0};
    }
}

void PutDigits(int number, int count, std::byte* to) {
    for (; count > 0; number /= 10) {
        to[--count] = static_cast<std::byte>('0' + number % 10);
    }
}

template <typename Number>
void PutNumber(Number number, std::span<std::byte> out) {
    std::memcpy(out.data(), &number, sizeof number);
}

std::string_view WithoutBlanksBehind(std::string_view text) {
    const auto end = text.find_last_not_of(' ');
    return text.substr(0, end == std::string_view::npos ? 0 : end + 1);
}

}  // namespace

RecordEncoder::RecordEncoder(TableFile& table, bool null_by_default)
    : table_(&table),
      layout_(&table.Layout()),
      null_by_default_(null_by_default),
      blank_(layout_->record_length, std::byte{0}),
      scratch_(layout_->fields.size()) {
    blank_[0] = kLiveRecord;
    for (std::size_t k = 0; k < layout_->fields.size(); ++k) {
        const auto& field = layout_->fields[k];
        PutBlankField(field, *layout_, std::span(blank_).subspan(field.offset, field.length));
        if (!field.hidden) {
            shown_.push_back(k);
        }
    }
    for (const auto& field : layout_->fields) {
        if (field.short_bit) {
            SetBit(*field.short_bit, true, blank_);
        }
    }
}

void RecordEncoder::PutBlank(std::span<std::byte> record) const {
    std::memcpy(record.data(), blank_.data(), blank_.size());
}

void RecordEncoder::SetBit(std::size_t bit, bool value, std::span<std::byte> record) const {
    // Where a field has a bit, the table has null flags (AssignNullBits).
    auto& byte = record[layout_->fields[*layout_->null_flags].offset + bit / 8];
    const std::byte mask{static_cast<unsigned char>(1U << (bit % 8))};
    byte = value ? byte | mask : byte & ~mask;
}

DataError RecordEncoder::DoesNotFit(const Field& field,
                                    const Cell& value,
                                    std::string_view why) const {
    return ValueDoesNotFit(table_->Path(), field.long_name, vantry::Shown(ToText(value)), why);
}

// Tables before Visual FoxPro have no null: it becomes a blank, which reads as null for numbers and
// dates. The bytes under a null flag are blank, too, for readers that don't know the flags.
void RecordEncoder::SetNull(const Field& field, std::span<std::byte> record) {
    if (!field.null_bit) {
        if (layout_->IsVisual()) {
            throw NullNotAllowed(table_->Path(), field.long_name);
        }
    } else {
        SetBit(*field.null_bit, true, record);
    }
    std::memcpy(record.data() + field.offset, blank_.data() + field.offset, field.length);
    // The blank bytes say length 0, which counts only with this bit.
    if (field.short_bit) {
        SetBit(*field.short_bit, true, record);
    }
}

std::string_view RecordEncoder::InCodePage(const Field& field,
                                           std::string_view text,
                                           std::string& scratch) {
    const auto bytes = table_->Coder().Encode(text, scratch);
    if (!bytes) {
        const auto& trouble = table_->Coder().Trouble();
        throw trouble.empty() ? NotInCodePage(table_->Path(),
                                              field.long_name,
                                              table_->Coder().FirstMissing(text),
                                              table_->Coder().CodePageNumber())
                              : CannotWrite(table_->Path(), trouble);
    }
    return *bytes;
}

void RecordEncoder::EncodeBytes(const Field& field,
                                ByteSpan bytes,
                                std::span<std::byte> out,
                                std::span<std::byte> record) {
    if (!bytes.empty()) {
        std::memcpy(out.data(), bytes.data(), bytes.size());
    }
    // Binary values, too, have blanks behind them in files of the product.
    std::memset(out.data() + bytes.size(), ' ', out.size() - bytes.size());
    if (field.short_bit) {
        // A value that fills the field leaves no byte for a length.
        const bool is_short = bytes.size() < out.size();
        SetBit(*field.short_bit, is_short, record);
        if (is_short) {
            out.back() = static_cast<std::byte>(bytes.size());
        }
    }
}

// Blanks at the end are no part of a C, so a text that is too long by them alone still fits.
void RecordEncoder::EncodeText(const Field& field,
                               std::size_t number,
                               std::string_view text,
                               std::span<std::byte> out,
                               std::span<std::byte> record) {
    auto bytes = InCodePage(field, text, scratch_[number]);
    // Blanks at the end of a V belong to it, and are never dropped.
    if (bytes.size() > out.size() && !field.short_bit) {
        bytes = WithoutBlanksBehind(bytes);
    }
    if (bytes.size() > out.size()) {
        throw TextTooLong(
            table_->Path(), field.long_name, vantry::Shown(text), bytes.size(), out.size());
    }
    EncodeBytes(field, std::as_bytes(std::span(bytes)), out, record);
}

// The text stays where it is until the row is known to be good: only then memos are written.
void RecordEncoder::EncodeMemo(std::size_t number, const Cell& value, std::span<std::byte> out) {
    const auto& field = layout_->fields[number];
    if (table_->Memos() == nullptr) {
        throw CannotWrite(table_->Path(),
                          "its memo file " + table_->MemoPath() + " is missing. Bring it back");
    }
    std::string_view content;
    auto& scratch = scratch_[number];
    const bool text = field.type == 'M' && !field.binary;
    if (value.Kind() == ValueKind::Text || value.Kind() == ValueKind::Bytes) {
        const auto given =
            value.Kind() == ValueKind::Text ? value.AsText() : AsText(value.AsBytes());
        content =
            text || value.Kind() == ValueKind::Text ? InCodePage(field, given, scratch) : given;
    } else {
        scratch = ToText(value);
        content = scratch;
    }
    // AppendMemos sets the place when the memo is written; an empty one has none.
    std::memcpy(out.data(), blank_.data() + field.offset, out.size());
    if (content.empty()) {
        return;
    }
    // Contents of a W are marked as text in files of the product.
    const bool is_text = field.type == 'M' || field.type == 'W';
    const auto kind = field.type == 'G' ? kFptObject : is_text ? kFptText : kFptPicture;
    memos_.push_back({number, kind, content});
}

void RecordEncoder::EncodeNumber(const Field& field, const Cell& value, std::span<std::byte> out) {
    constexpr std::string_view kNoNumber = "it is no number";
    if (value.Kind() == ValueKind::Text || value.Kind() == ValueKind::Bytes) {
        const auto text =
            value.Kind() == ValueKind::Text ? value.AsText() : AsText(value.AsBytes());
        // As decimal if it can be: a double keeps 15 digits, and an N has up to 20.
        if (const auto decimal = ParseDecimal(text)) {
            return EncodeNumber(field, Cell::FromDecimal(*decimal), out);
        }
        if (const auto number = ParseDouble(text)) {
            return EncodeNumber(field, Cell::Double(*number), out);
        }
        throw DoesNotFit(field, value, kNoNumber);
    }
    if (field.type == 'N' || field.type == 'F') {
        switch (WriteNumber(value, field.decimals, out)) {
            case NumberFit::Fits:
                return;
            case NumberFit::TooLarge:
                throw DoesNotFit(field,
                                 value,
                                 "it has too many digits for N(" + std::to_string(field.length) +
                                     "," + std::to_string(field.decimals) + ")");
            case NumberFit::NotANumber:
                throw DoesNotFit(field, value, kNoNumber);
        }
    }
    if (field.type == 'B') {
        const auto number = ToDouble(value);
        if (!number || !std::isfinite(*number)) {
            throw DoesNotFit(field, value, kNoNumber);
        }
        return PutNumber(*number, out);
    }
    const bool currency = field.type == 'Y';
    if (!currency && value.Kind() == ValueKind::NumberText) {
        // Most whole numbers come as their digits; the others are rounded below.
        const auto whole = ParseInt64(value.AsText());
        if (whole && *whole >= INT32_MIN && *whole <= INT32_MAX) {
            return PutNumber(static_cast<std::int32_t>(*whole), out);
        }
    }
    const auto scaled = ScaledNumber(value, currency ? kCurrencyScale : 0);
    const Int128 limit = currency ? Int128{INT64_MAX} : Int128{INT32_MAX};
    if (!scaled || *scaled > limit || *scaled < -limit - 1) {
        throw DoesNotFit(field,
                         value,
                         !scaled && !ToDouble(value) ? kNoNumber
                         : currency                  ? "it is outside the range of a currency"
                                    : "it is outside the range of a whole number of four bytes");
    }
    currency ? PutNumber(static_cast<std::int64_t>(*scaled), out)
             : PutNumber(static_cast<std::int32_t>(*scaled), out);
}

// Half a second and more is the next second; on the last day of the calendar there is none.
void RecordEncoder::EncodeMoment(const Field& field, const Cell& value, std::span<std::byte> out) {
    auto moment = ToDateTime(value);
    if (!moment || moment->day < kMinDay || moment->day > kMaxDay) {
        throw DoesNotFit(field, value, "it is no date of the years 1 to 9999");
    }
    if (field.type == 'D') {
        const auto date = CalendarOf(moment->day);
        PutDigits(date.year, 4, out.data());
        PutDigits(date.month, 2, out.data() + 4);
        PutDigits(date.day, 2, out.data() + 6);
        return;
    }
    std::int64_t seconds = (moment->nanos + kNanosPerSecond / 2) / kNanosPerSecond;
    if (seconds == kNanosPerDay / kNanosPerSecond) {
        seconds = 0;
        if (++moment->day > kMaxDay) {
            throw DoesNotFit(field, value, "rounded to the second it is behind the year 9999");
        }
    }
    PutNumber(moment->day + kJulianDayZero, out.first(4));
    PutNumber(static_cast<std::int32_t>(seconds * kNanosPerSecond / kNanosPerMilli),
              out.subspan(4));
}

void RecordEncoder::Encode(std::size_t number, const Cell& value, std::span<std::byte> record) {
    const auto& field = layout_->fields[number];
    if (value.IsNull()) {
        return SetNull(field, record);
    }
    if (field.null_bit) {
        SetBit(*field.null_bit, false, record);
    }
    EncodeValue(number, value, record);
}

void RecordEncoder::EncodeValue(std::size_t number,
                                const Cell& value,
                                std::span<std::byte> record) {
    const auto& field = layout_->fields[number];
    const auto out = record.subspan(field.offset, field.length);
    if (field.IsMemo()) {
        return EncodeMemo(number, value, out);
    }
    switch (field.type) {
        case 'C':
        case 'V':
        case 'Q':
            if (value.Kind() == ValueKind::Text) {
                return EncodeText(field, number, value.AsText(), out, record);
            }
            if (value.Kind() != ValueKind::Bytes) {
                return EncodeText(field, number, ToText(value), out, record);
            }
            // Bytes for a field of text are a text in UTF-8.
            if (!field.binary && field.type != 'Q') {
                return EncodeText(field, number, AsText(value.AsBytes()), out, record);
            }
            if (value.AsBytes().size() > out.size()) {
                throw TextTooLong(
                    table_->Path(), field.long_name, "bytes", value.AsBytes().size(), out.size());
            }
            return EncodeBytes(field, value.AsBytes(), out, record);
        case 'N':
        case 'F':
        case 'I':
        case 'B':
        case 'Y':
            return EncodeNumber(field, value, out);
        case 'D':
        case 'T':
            return EncodeMoment(field, value, out);
        case 'L': {
            const auto truth = ToBoolean(value);
            if (!truth) {
                throw DoesNotFit(field, value, "it is neither true nor false");
            }
            out[0] = static_cast<std::byte>(*truth ? 'T' : 'F');
            return;
        }
        default:
            throw CannotWrite(table_->Path(),
                              "its field " + field.long_name + " is of the type " +
                                  std::string(1, field.type) + ", which isn't written here");
    }
}

// A column without a value: the next number, null if the connection says so, otherwise blank. A
// number that was given moves the next one behind it, or it would be handed out again.
void RecordEncoder::EncodeRow(std::span<const Cell> row,
                              std::vector<std::uint32_t>& next_values,
                              std::span<std::byte> record) {
    PutBlank(record);
    memos_.clear();
    for (std::size_t k = 0; k < shown_.size(); ++k) {
        const auto& value = row[k];
        const auto& field = layout_->fields[shown_[k]];
        if (!value.IsUnset()) {
            // No bit of a blank record says NULL.
            value.IsNull() ? SetNull(field, record) : EncodeValue(shown_[k], value, record);
            if (field.auto_increment && !value.IsNull()) {
                const auto given = file::Load<std::int32_t>(record, field.offset);
                auto& next = next_values[shown_[k]];
                if (std::int64_t{given} >= std::int64_t{static_cast<std::int32_t>(next)}) {
                    // May pass INT32_MAX, which is refused when the next number is to be handed
                    // out.
                    next = static_cast<std::uint32_t>(given) + field.step;
                }
            }
        } else if (field.auto_increment) {
            auto& next = next_values[shown_[k]];
            if (next > INT32_MAX) {
                throw CannotWrite(table_->Path(),
                                  "its field " + field.long_name + " has no next number left");
            }
            PutNumber(next, record.subspan(field.offset, field.length));
            next += field.step;
        } else if (field.null_bit && null_by_default_) {
            SetNull(field, record);
        }
    }
}

void RecordEncoder::AppendMemos(std::span<std::byte> record) {
    for (const auto& memo : memos_) {
        const auto& field = layout_->fields[memo.field];
        const auto block =
            table_->Memos()->Append(std::as_bytes(std::span(memo.content)), memo.kind);
        const auto out = record.subspan(field.offset, field.length);
        if (field.length == kMemoPointerBinary) {
            PutNumber(block, out);
        } else {
            WriteNumber(Cell::Int64(block), 0, out);
        }
    }
    memos_.clear();
}

}  // namespace vantry::foxpro
