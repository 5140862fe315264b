#pragma once
// How a column of a result is described to callers, and in which form its values are fetched.

#include "data/driver.h"
#include "drivers/odbc/link.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::odbc {

// What the fetched bytes of a value are.
enum class Form : std::uint8_t {
    Int32,
    Int64,
    UInt64,
    Single,  // as a double
    Double,
    Bit,
    Date,             // SQL_DATE_STRUCT
    Timestamp,        // SQL_TIMESTAMP_STRUCT
    TimeOfTimestamp,  // the same, of which the time counts
    MomentText,       // the same, handed on as text: a provider that knows no such type
    Bytes,
    WideText,  // UTF-16
    // From here on characters:
    IntegerText,
    NumberText,
    DecimalText,
    FlagText,
    MomentIso,
    TimeIso,
    GuidText,
    Text,
};

// A column as the driver describes it.
struct Described {
    std::string name;
    std::string type_name;  // only asked for where something hangs on it
    int sql_type = 0;
    std::uint64_t size = 0;  // characters, bytes or digits
    int digits = 0;
    std::int64_t display_size = 0;
    bool is_unsigned = false;
};

struct Column {
    ColumnInfo info;
    Form form = Form::Text;
    int digits = 0;       // of a MomentText: those of its seconds
    bool has_day = true;  // of a MomentText
    bool has_time = true;
    std::size_t bytes = 0;  // a bound value needs at most so many; 0: read in pieces
};

// The columns of an executed or prepared statement.
std::vector<Column> DescribeColumns(const Link& link, const StatementHandle& statement);

// Of one column.
Column ColumnOf(const Described& described, const Traits& traits, const Tuning& tuning);

// Type, sizes and numbers by the driver's own word alone.
ColumnInfo PlainInfo(const Described& described);
// What the native provider would say of a column of the server type `described.type_name`; nothing
// if it isn't known.
std::optional<ColumnInfo> ProviderInfo(Provider provider, const Described& described);

// The C type in which the driver manager is asked for a form.
SQLSMALLINT CTypeOf(Form form);
inline constexpr bool IsCharacters(Form form) {
    return form >= Form::IntegerText;
}
inline constexpr bool HasFixedSize(Form form) {
    return form < Form::Bytes;
}
// What the driver puts behind a value; it counts in the buffer's size and not in the value's
// length.
inline constexpr std::size_t TerminatorBytes(Form form) {
    return form == Form::WideText ? 2 : IsCharacters(form) ? 1 : 0;
}

inline constexpr std::int64_t kMaxLongText = 1'073'741'823;  // characters
inline constexpr std::int64_t kMaxLongBytes = 2'147'483'647;

}  // namespace vantry::odbc
