#pragma once
// One value of a row, in two forms: Cell looks at memory that a row owns (no allocation, valid
// until the row moves on), Value owns what it holds. Nothing is lost on the way: decimals keep up
// to 38 digits, integers 64 bits, times nanoseconds; text is UTF-8.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>

namespace vantry {

__extension__ using Int128 = __int128;
__extension__ using UInt128 = unsigned __int128;

// A moment or a part of one. Day 0 is 1899-12-30; a time without a day has day 0, a day without a
// time 0 nanoseconds. Range of days: 0001-01-01 (-693593) to 9999-12-31 (2958465).
struct DateTime {
    std::int32_t day = 0;
    std::int64_t nanos = 0;  // since midnight, 0 .. 86'400'000'000'000 - 1

    friend bool operator==(const DateTime&, const DateTime&) = default;
    friend auto operator<=>(const DateTime&, const DateTime&) = default;
};

inline constexpr std::int64_t kNanosPerSecond = 1'000'000'000;
inline constexpr std::int64_t kNanosPerDay = 86'400 * kNanosPerSecond;
inline constexpr std::int32_t kMinDay = -693'593;   // 0001-01-01
inline constexpr std::int32_t kMaxDay = 2'958'465;  // 9999-12-31

// value = unscaled / 10^scale, |unscaled| < 10^38, scale 0 .. 38. The scale is part of the text
// form: 12.50 stays 12.50.
struct Decimal {
    Int128 unscaled = 0;
    std::uint8_t scale = 0;
};

enum class ValueKind : std::uint8_t {
    Unset,  // no value was given yet (a parameter or a new row's field); never comes out of a
            // cursor
    Null,
    Boolean,
    Int64,
    UInt64,  // only for values above the range of Int64
    Single,
    Double,
    Decimal,
    NumberText,  // a number still in its text, written just as AppendText writes the value: a
                 // canonical number (see IsCanonicalNumber in value_text.h), or a decimal of at
                 // most 38 digits with all digits of its scale (12.50)
    DateTime,
    Text,  // UTF-8
    Bytes,
    Unreadable,  // the source couldn't make a value of this field; the cursor knows why
};

// A view of one value. Text and bytes point into memory of whoever made the cell.
class Cell {
public:
    constexpr Cell() : int_(0) {}

    static Cell Null() { return Cell(ValueKind::Null); }
    static Cell Unreadable() { return Cell(ValueKind::Unreadable); }
    static Cell Boolean(bool value) {
        Cell cell(ValueKind::Boolean);
        cell.int_ = value ? 1 : 0;
        return cell;
    }
    static Cell Int64(std::int64_t value) {
        Cell cell(ValueKind::Int64);
        cell.int_ = value;
        return cell;
    }
    // Values that fit a signed integer become one.
    static Cell UInt64(std::uint64_t value) {
        Cell cell(value > INT64_MAX ? ValueKind::UInt64 : ValueKind::Int64);
        cell.uint_ = value;
        return cell;
    }
    static Cell Single(float value) {
        Cell cell(ValueKind::Single);
        cell.single_ = value;
        return cell;
    }
    static Cell Double(double value) {
        Cell cell(ValueKind::Double);
        cell.double_ = value;
        return cell;
    }
    static Cell FromDecimal(const vantry::Decimal& value) {
        Cell cell(ValueKind::Decimal);
        cell.scale_ = value.scale;
        const auto bits = static_cast<UInt128>(value.unscaled);
        cell.words_.low = static_cast<std::uint64_t>(bits);
        cell.words_.high = static_cast<std::uint64_t>(bits >> 64);
        return cell;
    }
    static Cell NumberText(std::string_view canonical) {
        return Cell(ValueKind::NumberText, canonical.data(), canonical.size());
    }
    static Cell FromDateTime(const vantry::DateTime& value) {
        Cell cell(ValueKind::DateTime);
        // In two registers: parts of a value just stored can't be loaded at one go without a wait.
        cell.words_ = {static_cast<std::uint32_t>(value.day),
                       static_cast<std::uint64_t>(value.nanos)};
        return cell;
    }
    static Cell Text(std::string_view utf8) {
        return Cell(ValueKind::Text, utf8.data(), utf8.size());
    }
    static Cell Bytes(std::span<const std::byte> bytes) {
        return Cell(ValueKind::Bytes, bytes.data(), bytes.size());
    }

    ValueKind Kind() const { return kind_; }
    bool IsNull() const { return kind_ == ValueKind::Null; }
    bool IsUnset() const { return kind_ == ValueKind::Unset; }
    // Text, NumberText and Bytes: the cell points at memory that it doesn't own.
    bool IsView() const {
        return kind_ == ValueKind::Text || kind_ == ValueKind::NumberText ||
               kind_ == ValueKind::Bytes;
    }

    // Each of these is valid for its own kind only; value_text.h and value_convert.h convert.
    bool AsBoolean() const { return int_ != 0; }
    std::int64_t AsInt64() const { return int_; }
    std::uint64_t AsUInt64() const { return uint_; }
    float AsSingle() const { return single_; }
    double AsDouble() const { return double_; }
    vantry::Decimal AsDecimal() const {
        const UInt128 bits = (static_cast<UInt128>(words_.high) << 64) | words_.low;
        return {static_cast<Int128>(bits), scale_};
    }
    vantry::DateTime AsDateTime() const {
        return {static_cast<std::int32_t>(static_cast<std::uint32_t>(words_.low)),
                static_cast<std::int64_t>(words_.high)};
    }
    // Text or the digits of a NumberText.
    std::string_view AsText() const { return {static_cast<const char*>(view_.data), view_.size}; }
    std::span<const std::byte> AsBytes() const {
        return {static_cast<const std::byte*>(view_.data), view_.size};
    }

private:
    explicit constexpr Cell(ValueKind kind) : int_(0), kind_(kind) {}
    Cell(ValueKind kind, const void* data, std::size_t size) : view_{data, size}, kind_(kind) {}

    struct Words {
        std::uint64_t low;
        std::uint64_t high;
    };
    struct View {
        const void* data;
        std::size_t size;
    };
    union {
        std::int64_t int_;
        std::uint64_t uint_;
        float single_;
        double double_;
        Words words_;
        View view_;
    };
    ValueKind kind_ = ValueKind::Unset;
    std::uint8_t scale_ = 0;
};

// A value that owns its text or bytes.
class Value {
public:
    Value() = default;
    explicit Value(const Cell& cell) { Assign(cell); }
    Value(const Value& other) { Assign(other.cell_); }
    Value(Value&& other) noexcept = default;
    Value& operator=(const Value& other) {
        if (this != &other) {
            Assign(other.cell_);
        }
        return *this;
    }
    Value& operator=(Value&& other) noexcept = default;
    ~Value() = default;

    // Copies what the cell looks at; the cell may look at this value's own memory.
    void Assign(const Cell& cell) {
        if (!cell.IsView()) {
            cell_ = cell;
            return;
        }
        const auto bytes = cell.AsBytes();
        if (bytes.size() > capacity_ || !storage_) {
            auto fresh = std::make_unique<char[]>(bytes.size() + 1);
            if (!bytes.empty()) {
                std::memcpy(fresh.get(), bytes.data(), bytes.size());
            }
            storage_ = std::move(fresh);
            capacity_ = bytes.size();
        } else if (!bytes.empty()) {
            std::memmove(storage_.get(), bytes.data(), bytes.size());
        }
        const std::string_view copy(storage_.get(), bytes.size());
        switch (cell.Kind()) {
            case ValueKind::NumberText:
                cell_ = Cell::NumberText(copy);
                break;
            case ValueKind::Text:
                cell_ = Cell::Text(copy);
                break;
            default:
                cell_ = Cell::Bytes(std::as_bytes(std::span(copy.data(), copy.size())));
                break;
        }
    }

    const Cell& AsCell() const { return cell_; }
    bool IsNull() const { return cell_.IsNull(); }

private:
    Cell cell_;
    std::unique_ptr<char[]> storage_;
    std::size_t capacity_ = 0;
};

}  // namespace vantry
