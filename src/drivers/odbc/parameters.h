#pragma once
// The values of a prepared statement's parameters: cells of any kind, sent in the type that the
// parameter was given.

#include "data/driver.h"
#include "drivers/odbc/link.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantry::odbc {

class Parameters {
public:
    Parameters(const Link& link,
               const StatementHandle& statement,
               std::span<const ParameterInfo> infos);
    Parameters(const Parameters&) = delete;
    Parameters& operator=(const Parameters&) = delete;

    std::size_t Count() const { return slots_.size(); }
    // Small values are copied, long ones looked at until SendLongValues is done.
    void Set(std::size_t parameter, const Cell& value);
    // Whether a parameter that had a short value before has a long one now, since the last call.
    bool TakeTurnedLong() { return std::exchange(turned_long_, false); }
    // After an execution that asks for data: sends the long values in pieces. Returns the result of
    // the statement itself.
    SQLRETURN SendLongValues();

private:
    // How a parameter is bound; binding again costs a driver more than a value.
    struct Shape {
        SQLSMALLINT c_type = 0;
        SQLSMALLINT sql_type = 0;
        SQLULEN size = 0;
        SQLSMALLINT digits = 0;
        SQLPOINTER data = nullptr;

        friend bool operator==(const Shape&, const Shape&) = default;
    };
    struct Slot {
        ParameterInfo info;
        Shape bound;
        SQLLEN length = SQL_NULL_DATA;
        union {
            std::int64_t integer;
            double number;
            SQL_TIMESTAMP_STRUCT moment;
            SQL_TIME_STRUCT time;
            unsigned char bit;
        };
        std::string bytes;      // short texts and bytes, in the form that is sent; only grows
        SQLULEN text_size = 0;  // characters of the longest value so far
        std::string_view long_value;
        bool long_is_text = false;

        Slot() : moment{} {}
    };

    void SetNull(Slot& slot);
    void SetInteger(Slot& slot, std::int64_t value);
    void SetDouble(Slot& slot, double value);
    void SetDecimal(Slot& slot, const Cell& value);
    void SetBoolean(Slot& slot, bool value);
    void SetMoment(Slot& slot, const DateTime& value);
    void SetGuid(Slot& slot, std::string_view text);
    void SetText(Slot& slot, std::string_view utf8);
    void SetTextForm(Slot& slot, const Cell& value);
    void SetBytes(Slot& slot, std::span<const std::byte> bytes);
    // True when the value was of use for a parameter of that type.
    bool SetByType(Slot& slot, const Cell& value);
    void SetByKind(Slot& slot, const Cell& value);

    bool Narrow() const;
    SQLSMALLINT TextType(const Slot& slot, SQLULEN characters) const;
    void PutShort(Slot& slot, std::string_view bytes, Shape shape);
    void PutLong(Slot& slot, std::string_view value, bool is_text, Shape shape);
    void Bind(Slot& slot, const Shape& shape);
    void SendInPieces(std::string_view value, bool is_text);

    const Link& link_;
    const StatementHandle& statement_;
    std::vector<Slot> slots_;
    bool turned_long_ = false;
    std::string scratch_;
    std::u16string units_;
};

}  // namespace vantry::odbc
