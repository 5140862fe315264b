// A field's kind is settled once, when the projection is made; a record then takes one switch a
// field. Cells look into the record where its bytes are the value (plain ASCII text, most numbers);
// what has to be converted is put beside it, in room that is used again. Memos are read by the
// thread that owns the table alone, as their file has one reader.

#include "drivers/foxpro/table/record_decoder.h"

#include "data/calendar.h"
#include "data/message_text.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/table/number_text.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace vantry::foxpro {
namespace {

constexpr std::int64_t kNanosPerMilli = 1'000'000;
constexpr std::int32_t kMillisPerSecond = 1000;

bool IsBlank(ByteSpan bytes) {
    for (const auto byte : bytes) {
        if (byte != std::byte{' '} && byte != std::byte{0}) {
            return false;
        }
    }
    return true;
}

std::string_view WithoutPadding(std::string_view text) {
    constexpr std::uint64_t kBlanks = 0x2020202020202020U;
    std::size_t size = text.size();
    // Most fields are much wider than their texts.
    while (size >= sizeof kBlanks) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + size - sizeof word, sizeof word);
        if (word != kBlanks) {
            size -= static_cast<std::size_t>(std::countl_zero(word ^ kBlanks)) / 8;
            break;
        }
        size -= sizeof word;
    }
    while (size > 0 && (text[size - 1] == ' ' || text[size - 1] == '\0')) {
        --size;
    }
    return text.substr(0, size);
}

// Digits of a date; -1 if one isn't.
int Digits(const std::byte* at, int count) {
    int number = 0;
    for (int k = 0; k < count; ++k) {
        const unsigned digit = std::to_integer<unsigned>(at[k]) - '0';
        if (digit > 9) {
            return -1;
        }
        number = number * 10 + static_cast<int>(digit);
    }
    return number;
}

// Blanks, zeros and NULs are no date; a month 13 is a fault of its record.
std::optional<Cell> ReadDate(ByteSpan bytes) {
    const int year = Digits(bytes.data(), 4);
    const int month = Digits(bytes.data() + 4, 2);
    const int day = Digits(bytes.data() + 6, 2);
    if (year > 0 && month > 0) {
        if (const auto number = DayOf(year, month, day)) {
            return Cell::FromDateTime({*number, 0});
        }
        return std::nullopt;
    }
    const bool zeros = year == 0 && month == 0 && day == 0;
    return zeros || IsBlank(bytes) ? std::optional(Cell::Null()) : std::nullopt;
}

// A day number and milliseconds. Seconds are all that the field has for its users; its writers
// leave fractions of rounding behind.
std::optional<Cell> ReadMoment(ByteSpan bytes) {
    if (IsBlank(bytes)) {
        return Cell::Null();
    }
    const auto julian = file::Load<std::int32_t>(bytes, 0);
    const auto millis = file::Load<std::int32_t>(bytes, 4);
    // A writer's own rounding may pass the end of the day, by less than a second.
    if (julian < kMinDay + kJulianDayZero || julian > kMaxDay + kJulianDayZero || millis < 0 ||
        millis >= kMillisPerDay + kMillisPerSecond) {
        return std::nullopt;
    }
    std::int32_t day = julian - kJulianDayZero;
    std::int32_t seconds = (millis + kMillisPerSecond / 2) / kMillisPerSecond;
    if (seconds >= kMillisPerDay / kMillisPerSecond) {
        seconds -= kMillisPerDay / kMillisPerSecond;
        ++day;
    }
    if (day > kMaxDay) {
        return std::nullopt;
    }
    return Cell::FromDateTime({day, seconds * kMillisPerSecond * kNanosPerMilli});
}

std::optional<Cell> ReadDouble(double value) {
    return std::isfinite(value) ? std::optional(Cell::Double(value)) : std::nullopt;
}

// dBase 7: big-endian, in an order in which bytes compare as the numbers do.
// Positive numbers have their sign bit flipped, negative ones all bits.
double ReversedDouble(ByteSpan bytes) {
    std::uint64_t bits = __builtin_bswap64(file::LoadU64(bytes, 0));
    constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
    bits = (bits & kSign) != 0 ? bits ^ kSign : ~bits;
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace

RecordDecoder::Kind RecordDecoder::KindOf(const Field& field, const TableLayout& layout) {
    if (field.IsMemo()) {
        return field.type == 'M' && !field.binary ? Kind::MemoText : Kind::MemoBytes;
    }
    switch (field.type) {
        case 'C':
        case 'V':
            return field.binary ? Kind::Bytes : Kind::Text;
        case 'Q':
        case '0':
            return Kind::Bytes;
        case 'N':
        case 'F':
            return Kind::Number;
        case 'D':
            return Kind::Date;
        case 'T':
            return Kind::Moment;
        case '@':
            // How dBase 7 counts it isn't known for sure.
            return layout.IsDBase7() ? Kind::Unknown : Kind::Moment;
        case 'L':
            return Kind::Logical;
        case 'I':
        case '+':
            return layout.IsDBase7() ? Kind::ReversedInteger : Kind::Integer;
        case 'B':
            return layout.IsVisual() ? Kind::Double : Kind::Unknown;
        case 'O':
            return layout.IsDBase7() ? Kind::ReversedDouble : Kind::Unknown;
        case 'Y':
            return Kind::Currency;
        default:
            return Kind::Unknown;
    }
}

RecordDecoder::RecordDecoder(TableFile& table, std::span<const std::size_t> fields)
    : table_(&table), plans_(fields.size()), cells_(fields.size()) {
    for (std::size_t k = 0; k < fields.size(); ++k) {
        auto& plan = plans_[k];
        plan.field = &table.Layout().fields.at(fields[k]);
        plan.kind = KindOf(*plan.field, table.Layout());
        has_memos_ = has_memos_ || plan.field->IsMemo();
    }
}

Cell RecordDecoder::Fault(Plan& plan, std::string reason) {
    plan.fault = std::move(reason);
    return Cell::Unreadable();
}

DataError RecordDecoder::FieldError(std::size_t position) const {
    const auto& plan = plans_.at(position);
    return BadField(table_->Path(), number_, plan.field->long_name, plan.fault);
}

void RecordDecoder::Decode(ByteSpan bytes, RecordNumber number) {
    number_ = number;
    made_.Clear();
    const RecordView record{&table_->Layout(), bytes, number};
    for (std::size_t k = 0; k < plans_.size(); ++k) {
        auto& plan = plans_[k];
        cells_[k] = record.IsNull(*plan.field) ? Cell::Null() : DecodeField(plan, record, made_);
    }
}

bool RecordDecoder::DecodeWithoutMemos(ByteSpan bytes, Cell* cells, MadeTexts& made) {
    const RecordView record{&table_->Layout(), bytes, 0};
    for (auto& plan : plans_) {
        Cell& cell = *cells++;
        if (record.IsNull(*plan.field)) {
            cell = Cell::Null();
        } else if (!plan.IsMemo()) {
            cell = DecodeField(plan, record, made);
            if (cell.Kind() == ValueKind::Unreadable) {
                return false;
            }
        }
    }
    return true;
}

void RecordDecoder::DecodeMemos(ByteSpan bytes, RecordNumber number, Cell* cells) {
    number_ = number;
    const RecordView record{&table_->Layout(), bytes, number};
    for (std::size_t k = 0; k < plans_.size(); ++k) {
        auto& plan = plans_[k];
        if (plan.IsMemo() && !record.IsNull(*plan.field)) {
            cells[k] = DecodeMemo(plan, record.Bytes(*plan.field));
        }
    }
}

Cell RecordDecoder::DecodeText(Plan& plan, std::string_view stored, MadeTexts& made) {
    const auto text = table_->Coder().Decode(stored, converted_);
    if (!text) {
        return Fault(plan, table_->Coder().Trouble());
    }
    return Cell::Text(text->data() == converted_.data() ? made.Copy(*text) : *text);
}

// Pointer 0 is an empty text, as null has a flag of its own; for bytes, which nothing reads as
// empty, it is null.
Cell RecordDecoder::DecodeMemo(Plan& plan, ByteSpan pointer) {
    if (table_->Memos() == nullptr) {
        return table_->MemosAreMissing() ? Cell::Null()
                                         : Fault(plan, "memos of this kind of table can't be read");
    }
    try {
        const auto block = MemoBlockIn(pointer);
        if (block == 0) {
            return plan.kind == Kind::MemoText ? Cell::Text({}) : Cell::Null();
        }
        // The next memo of the record is read into the same bytes.
        const auto content = AsText(table_->Memos()->Read(block));
        if (plan.kind == Kind::MemoBytes) {
            plan.memo.assign(content);
            return Cell::Bytes(std::as_bytes(std::span(plan.memo)));
        }
        const auto text = table_->Coder().Decode(content, plan.memo);
        if (!text) {
            return Fault(plan, table_->Coder().Trouble());
        }
        if (text->data() != plan.memo.data()) {
            plan.memo.assign(*text);
        }
        return Cell::Text(plan.memo);
    } catch (const file::BoundsError&) {
        return Fault(
            plan,
            "its memo leads outside the file " + Quoted(table_->MemoPath()) + " or is no memo");
    }
}

Cell RecordDecoder::DecodeField(Plan& plan, const RecordView& record, MadeTexts& made) {
    const Field& field = *plan.field;
    const auto bytes = record.Bytes(field);
    std::optional<Cell> cell;
    switch (plan.kind) {
        case Kind::Text:
            // Blanks at the end of a V are its own, those of a C are padding.
            return DecodeText(
                plan,
                field.short_bit ? AsText(record.ValueBytes(field)) : WithoutPadding(AsText(bytes)),
                made);
        case Kind::Bytes:
            return Cell::Bytes(record.ValueBytes(field));
        case Kind::Number:
            cell = ReadNumber(AsText(bytes));
            break;
        case Kind::Date:
            cell = ReadDate(bytes);
            break;
        case Kind::Moment:
            cell = ReadMoment(bytes);
            break;
        case Kind::Logical:
            switch (std::to_integer<char>(bytes[0])) {
                case 'T':
                case 't':
                case 'Y':
                case 'y':
                    return Cell::Boolean(true);
                case 'F':
                case 'f':
                case 'N':
                case 'n':
                    return Cell::Boolean(false);
                case ' ':
                case '\0':
                    // Visual FoxPro has NULL beside it, and takes a blank for false.
                    return record.layout->IsVisual() ? Cell::Boolean(false) : Cell::Null();
                case '?':
                    return Cell::Null();
                default:
                    break;
            }
            break;
        case Kind::Integer:
            return Cell::Int64(file::Load<std::int32_t>(bytes, 0));
        case Kind::Double:
            cell = ReadDouble(file::Load<double>(bytes, 0));
            break;
        case Kind::Currency:
            return Cell::FromDecimal({file::Load<std::int64_t>(bytes, 0), kCurrencyScale});
        case Kind::MemoText:
        case Kind::MemoBytes:
            return DecodeMemo(plan, bytes);
        case Kind::ReversedInteger: {
            const auto raw = __builtin_bswap32(file::LoadU32(bytes, 0));
            return Cell::Int64(static_cast<std::int32_t>(raw ^ 0x80000000U));
        }
        case Kind::ReversedDouble:
            cell = IsBlank(bytes) ? Cell::Null() : ReadDouble(ReversedDouble(bytes));
            break;
        case Kind::Unknown:
            return Fault(plan, "its type " + std::string(1, field.type) + " can't be read");
    }
    if (cell) {
        return *cell;
    }
    std::string reason = "it holds " + Quoted(Shown(AsText(bytes)));
    reason += ", which is no value of its type ";
    reason += field.type;
    return Fault(plan, std::move(reason));
}

}  // namespace vantry::foxpro
