#pragma once
// A cell in the form in which a parameter of some type sends it.

#include "data/driver.h"
#include "drivers/odbc/link.h"

#include <span>
#include <string>
#include <string_view>

namespace vantry::odbc {

// How a parameter is declared to the driver; declaring it anew costs a driver more than a value.
struct Shape {
    SQLSMALLINT c_type = 0;  // 0: not yet known
    SQLSMALLINT sql_type = 0;
    SQLULEN size = 0;
    SQLSMALLINT digits = 0;

    friend bool operator==(const Shape&, const Shape&) = default;
};

struct Encoded {
    Shape shape;
    bool is_null = false;
    bool is_long = false;          // to be sent in pieces: `bytes` is then the cell's own memory
    bool long_is_text = false;     // whose UTF-8 has yet to be turned into the driver's text
    std::string_view bytes;        // as they are sent, good until the next value
    std::size_t whole_digits = 0;  // of a decimal, before its point
};

// What the values of a parameter were up to now: its shape grows with them and never shrinks.
struct Former {
    Shape shape;
    SQLULEN text_size = 0;  // characters of the longest
};

inline constexpr std::size_t kDecimalDigits = 38;

// The next power of two, so that a longer value seldom means a new binding.
SQLULEN RoomFor(SQLULEN size);

class ValueEncoder {
public:
    explicit ValueEncoder(const Link& link) : link_(link) {}

    Encoded Encode(const ParameterInfo& info, const Cell& value, Former& former);
    // Whether texts are sent as bytes.
    bool Narrow() const { return link_.GetTraits().utf8_text; }

private:
    struct Target {
        const ParameterInfo& info;
        Former& former;
        Encoded encoded;
    };
    void EncodeNull(Target& to);
    void EncodeInteger(Target& to, std::int64_t value);
    void EncodeUntyped(Target& to);  // the text in scratch_
    void EncodeDouble(Target& to, double value);
    void EncodeDecimal(Target& to, const Cell& value);
    void EncodeBoolean(Target& to, bool value);
    void EncodeMoment(Target& to, const DateTime& value);
    void EncodeGuid(Target& to, std::string_view text);
    void EncodeText(Target& to, std::string_view utf8);
    void EncodeTextForm(Target& to, const Cell& value);
    void EncodeBytes(Target& to, std::span<const std::byte> bytes);
    // True when the value was of use for a parameter of that type.
    bool EncodeByType(Target& to, const Cell& value);
    void EncodeByKind(Target& to, const Cell& value);
    SQLSMALLINT TextType(const ParameterInfo& info, SQLULEN characters) const;
    template <typename Fixed>
    void PutFixed(Target& to, const Fixed& value, const Shape& shape);

    const Link& link_;
    std::string scratch_;
    std::string fixed_;  // the bytes of the last number or moment
    std::u16string units_;
};

}  // namespace vantry::odbc
