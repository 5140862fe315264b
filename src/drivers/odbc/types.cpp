// Two questions about a column: which type do sessions know it by, and in which form is it fetched.
// The first goes by the driver's description (or the provider's table), the second also by who the
// driver is. Easy to get wrong: described sizes that mean nothing (SQLite, unlimited columns of
// PostgreSQL), sizes in characters against buffers in bytes, and MySQL's dates of zeros and times
// of 800 hours, which only text can hold.

#include "drivers/odbc/types.h"

#include "drivers/odbc/text_form.h"

#include <algorithm>
#include <array>

namespace vantry::odbc {
namespace {

// Types of SQL Server's own drivers that have no code in the standard.
constexpr int kSqlServerXml = -152;
constexpr int kSqlServerUdt = -151;
constexpr int kSqlServerTime = -154;

constexpr std::size_t kUtf16UnitsPerCharacter = 2;
constexpr std::size_t kShortTextBytes = 64;    // numbers, dates, identifiers as characters
constexpr std::size_t kDecimalExtraBytes = 4;  // sign, point, a zero before it, the terminator

std::int64_t Capped(std::uint64_t size, std::int64_t cap) {
    return size == 0 || size > static_cast<std::uint64_t>(cap) ? cap
                                                               : static_cast<std::int64_t>(size);
}

ColumnInfo Make(int type,
                std::int64_t size,
                int precision = kDoesNotApply,
                int scale = kDoesNotApply) {
    ColumnInfo info;
    info.type = type;
    info.defined_size = size;
    info.precision = precision;
    info.scale = scale;
    return info;
}

bool IsBinaryCode(int sql_type) {
    return sql_type == SQL_BINARY || sql_type == SQL_VARBINARY || sql_type == SQL_LONGVARBINARY ||
           sql_type == kSqlServerUdt;
}

bool IsLongCode(int sql_type) {
    return sql_type == SQL_LONGVARCHAR || sql_type == SQL_WLONGVARCHAR ||
           sql_type == SQL_LONGVARBINARY || sql_type == kSqlServerXml || sql_type == kSqlServerUdt;
}

bool IsMomentCode(int sql_type) {
    return sql_type == SQL_TYPE_DATE || sql_type == SQL_TYPE_TIME || sql_type == SQL_TYPE_TIMESTAMP;
}

// ---- What the driver is asked

std::string AttributeText(const Link& link,
                          const StatementHandle& statement,
                          SQLUSMALLINT column,
                          SQLUSMALLINT attribute) {
    constexpr std::size_t kUnits = 256;
    SQLSMALLINT bytes = 0;
    if (link.GetTraits().wide_calls) {
        std::array<SQLWCHAR, kUnits> text{};
        SQLColAttributeW(statement.Get(),
                         column,
                         attribute,
                         text.data(),
                         static_cast<SQLSMALLINT>((kUnits - 1) * sizeof(SQLWCHAR)),
                         &bytes,
                         nullptr);
        const auto* end = std::find(text.begin(), text.end(), SQLWCHAR{0});
        return TextOfUnits(text.data(), static_cast<std::size_t>(end - text.begin()));
    }
    std::array<SQLCHAR, kUnits> text{};
    SQLColAttribute(statement.Get(),
                    column,
                    attribute,
                    text.data(),
                    static_cast<SQLSMALLINT>(kUnits - 1),
                    &bytes,
                    nullptr);
    const auto* end = std::find(text.begin(), text.end(), SQLCHAR{0});
    return TextOfUnits(text.data(), static_cast<std::size_t>(end - text.begin()));
}

// 0 where a driver doesn't know the attribute: signed, and of no display size.
SQLLEN AttributeNumber(const StatementHandle& statement,
                       SQLUSMALLINT column,
                       SQLUSMALLINT attribute) {
    SQLLEN number = 0;
    SQLColAttribute(statement.Get(), column, attribute, nullptr, 0, nullptr, &number);
    return number;
}

// One call for both forms of SQLDescribeCol.
template <typename Unit, typename DescribeCall>
SQLRETURN DescribeBy(DescribeCall describe,
                     const StatementHandle& statement,
                     SQLUSMALLINT column,
                     Described& described) {
    // Expressions of SQLite are named by their whole text.
    std::vector<Unit> name(1024);
    SQLSMALLINT length = 0;
    SQLSMALLINT type = 0;
    SQLSMALLINT digits = 0;
    SQLSMALLINT nullable = 0;
    SQLULEN size = 0;
    const auto result = describe(statement.Get(),
                                 column,
                                 name.data(),
                                 static_cast<SQLSMALLINT>(name.size() - 1),
                                 &length,
                                 &type,
                                 &size,
                                 &digits,
                                 &nullable);
    const auto end = std::find(name.begin(), name.end(), Unit{0});
    described.name = TextOfUnits(name.data(), static_cast<std::size_t>(end - name.begin()));
    described.sql_type = type;
    described.size = size;
    described.digits = digits;
    return result;
}

Described Describe(const Link& link, const StatementHandle& statement, SQLUSMALLINT column) {
    const auto& traits = link.GetTraits();
    Described described;
    link.Check(traits.wide_calls
                   ? DescribeBy<SQLWCHAR>(SQLDescribeColW, statement, column, described)
                   : DescribeBy<SQLCHAR>(SQLDescribeCol, statement, column, described),
               statement);
    described.is_unsigned = AttributeNumber(statement, column, SQL_DESC_UNSIGNED) != 0;
    described.display_size = AttributeNumber(statement, column, SQL_DESC_DISPLAY_SIZE);
    // Asked for only where it tells apart what the type's number doesn't.
    if (traits.provider != Provider::Odbc || traits.dialect == Dialect::MySql) {
        described.type_name = AttributeText(link, statement, column, SQL_DESC_TYPE_NAME);
    }
    return described;
}

// ---- Forms

Form IntegerForm(const Described& described) {
    switch (described.sql_type) {
        case SQL_TINYINT:
        case SQL_SMALLINT:
            return Form::Int32;
        case SQL_INTEGER:
            return described.is_unsigned ? Form::Int64 : Form::Int32;
        case SQL_BIGINT:
            return described.is_unsigned ? Form::UInt64 : Form::Int64;
        default:
            return Form::IntegerText;
    }
}

Form FloatForm(int sql_type) {
    if (sql_type == SQL_REAL) {
        return Form::Single;
    }
    return sql_type == SQL_FLOAT || sql_type == SQL_DOUBLE ? Form::Double : Form::NumberText;
}

Form MomentForm(const Described& described, Dialect dialect) {
    // As text MySQL's date of all zeros and its times of 800 hours arrive; as a structure the
    // driver makes a null or an error of them. Structures of times have no fractions besides.
    if (described.sql_type == SQL_TYPE_TIME || described.sql_type == kSqlServerTime) {
        return dialect == Dialect::SqlServer ? Form::TimeOfTimestamp : Form::TimeIso;
    }
    if (dialect == Dialect::MySql || !IsMomentCode(described.sql_type)) {
        return Form::MomentIso;
    }
    return described.sql_type == SQL_TYPE_DATE ? Form::Date : Form::Timestamp;
}

// A source whose values have types of their own, whatever the column says: as characters nothing is
// turned into something else.
Form UntypedForm(int type, int sql_type) {
    if (IsBinaryCode(sql_type) || IsBinaryType(type)) {
        return Form::Bytes;
    }
    if (IsIntegerType(type)) {
        return Form::IntegerText;
    }
    switch (type) {
        case adSingle:
        case adDouble:
            return Form::NumberText;
        case adCurrency:
        case adDecimal:
        case adNumeric:
        case adVarNumeric:
            return Form::DecimalText;
        case adBoolean:
            return Form::FlagText;
        case adGUID:
            return Form::GuidText;
        case adDBTime:
            return Form::TimeIso;
        default:
            return IsDateType(type) ? Form::MomentIso : Form::Text;
    }
}

// How a value travels, which isn't what the column is called: the type that the provider reports is
// for the map, the form is chosen so that no driver changes a value on its way.
Form FormOf(const Described& described, int type, const Traits& traits) {
    if (traits.dialect == Dialect::Sqlite) {
        return UntypedForm(type, described.sql_type);
    }
    const Form text = traits.utf8_text ? Form::Text : Form::WideText;
    if (IsIntegerType(type)) {
        return IntegerForm(described);
    }
    if (IsDateType(type)) {
        return MomentForm(described, traits.dialect);
    }
    if (IsBinaryType(type)) {
        return Form::Bytes;
    }
    if (IsTextType(type)) {
        return IsMomentCode(described.sql_type) ? Form::MomentText : text;
    }
    switch (type) {
        case adSingle:
        case adDouble:
            return FloatForm(described.sql_type);
        case adBoolean:
            return described.sql_type == SQL_BIT ? Form::Bit : Form::FlagText;
        case adGUID:
            return Form::GuidText;
        case adCurrency:
        case adNumeric:
        case adVarNumeric:
            return Form::DecimalText;
        default:
            return text;
    }
}

// Bytes of one bound value with its terminator; 0 where no size holds.
std::size_t BytesFor(Form form, const Described& described, std::size_t character_bytes) {
    const auto size = static_cast<std::size_t>(described.size);
    switch (form) {
        case Form::Int32:
            return 4;
        case Form::Int64:
        case Form::UInt64:
        case Form::Single:
        case Form::Double:
            return 8;
        case Form::Bit:
            return 1;
        case Form::Date:
            return sizeof(SQL_DATE_STRUCT);
        case Form::Timestamp:
        case Form::TimeOfTimestamp:
        case Form::MomentText:
            return sizeof(SQL_TIMESTAMP_STRUCT);
        case Form::Bytes:
            return size;
        case Form::WideText:
            return size == 0 ? 0 : (size * kUtf16UnitsPerCharacter + 1) * sizeof(SQLWCHAR);
        case Form::DecimalText:
            return std::max(kShortTextBytes, size + kDecimalExtraBytes);
        case Form::Text:
            return size == 0 ? 0 : size * character_bytes + 1;
        default:
            return kShortTextBytes;
    }
}

// SQLite keeps values longer than the column says. PostgreSQL's driver gives its columns without a
// limit one of 255 and more.
bool SizeMeansNothing(const Described& described, Dialect dialect, Form form) {
    constexpr std::uint64_t kUnlimited = 255;
    const bool text = form == Form::Text || form == Form::WideText;
    return dialect == Dialect::Sqlite ||
           (dialect == Dialect::PostgreSql && text && described.size >= kUnlimited);
}

bool HasNoUpperSize(const Described& described, int type) {
    constexpr std::uint64_t kNoTotal = static_cast<std::uint64_t>(std::int64_t{SQL_NO_TOTAL});
    return IsLongCode(described.sql_type) || IsLongType(type) || described.size == kNoTotal ||
           described.size > static_cast<std::uint64_t>(kMaxLongBytes);
}

}  // namespace

ColumnInfo PlainInfo(const Described& described) {
    const auto size = described.size;
    const bool is_unsigned = described.is_unsigned;
    switch (described.sql_type) {
        case SQL_CHAR:
            return Make(adChar, Capped(size, kMaxLongBytes));
        case SQL_VARCHAR:
            return Make(adVarChar, Capped(size, kMaxLongBytes));
        case SQL_LONGVARCHAR:
            return Make(adLongVarChar, Capped(size, kMaxLongBytes));
        case SQL_WCHAR:
            return Make(adWChar, Capped(size, kMaxLongText));
        case SQL_WVARCHAR:
            return Make(adVarWChar, Capped(size, kMaxLongText));
        case SQL_WLONGVARCHAR:
        case kSqlServerXml:
            return Make(adLongVarWChar, Capped(size, kMaxLongText));
        case SQL_DECIMAL:
        case SQL_NUMERIC:
            return Make(adNumeric,
                        19,
                        static_cast<int>(std::min<std::uint64_t>(size, 254)),
                        described.digits);
        case SQL_BIT:
            return Make(adBoolean, 2);
        case SQL_TINYINT:
            return Make(is_unsigned ? adUnsignedTinyInt : adTinyInt, 1, 3);
        case SQL_SMALLINT:
            return Make(is_unsigned ? adUnsignedSmallInt : adSmallInt, 2, 5);
        case SQL_INTEGER:
            return Make(is_unsigned ? adUnsignedInt : adInteger, 4, 10);
        case SQL_BIGINT:
            return Make(is_unsigned ? adUnsignedBigInt : adBigInt, 8, is_unsigned ? 20 : 19);
        case SQL_REAL:
            return Make(adSingle, 4, 7);
        case SQL_FLOAT:
        case SQL_DOUBLE:
            return Make(adDouble, 8, 15);
        case SQL_TYPE_DATE:
            return Make(adDBDate, 6, 10, 0);
        case SQL_TYPE_TIME:
        case kSqlServerTime:
            return Make(adDBTime, 6, 8, 0);
        case SQL_TYPE_TIMESTAMP:
            return Make(adDBTimeStamp,
                        16,
                        static_cast<int>(std::min<std::uint64_t>(size, 254)),
                        described.digits);
        case SQL_BINARY:
            return Make(adBinary, Capped(size, kMaxLongBytes));
        case SQL_VARBINARY:
            return Make(adVarBinary, Capped(size, kMaxLongBytes));
        case SQL_LONGVARBINARY:
        case kSqlServerUdt:
            return Make(adLongVarBinary, Capped(size, kMaxLongBytes));
        case SQL_GUID:
            return Make(adGUID, 16);
        default:
            return Make(adChar,
                        Capped(static_cast<std::uint64_t>(
                                   std::max<std::int64_t>(described.display_size, 0)),
                               kMaxLongBytes));
    }
}

Column ColumnOf(const Described& given, const Traits& traits, const Tuning& tuning) {
    Described described = given;
    if (traits.dialect == Dialect::MySql && described.sql_type == SQL_BINARY &&
        EqualsNoCase(described.type_name, "bit")) {
        described.size = (described.size + 7) / 8;  // the driver gives bits
    }
    Column column;
    const auto provided = ProviderInfo(traits.provider, described);
    column.info = provided ? *provided : PlainInfo(described);
    column.info.name = described.name;
    column.form = FormOf(described, column.info.type, traits);
    column.digits = described.digits;
    column.has_day = described.sql_type != SQL_TYPE_TIME;
    column.has_time = described.sql_type != SQL_TYPE_DATE;
    const bool unsure = SizeMeansNothing(described, traits.dialect, column.form) ||
                        HasNoUpperSize(described, column.info.type);
    column.bytes = unsure ? 0 : BytesFor(column.form, described, tuning.character_bytes);
    if (column.bytes > tuning.bound_bytes) {
        // Wider than is worth binding for every row of a block: fetched by pieces, as long values
        // are.
        column.bytes = 0;
    }
    return column;
}

std::vector<Column> DescribeColumns(const Link& link, const StatementHandle& statement) {
    SQLSMALLINT count = 0;
    link.Check(SQLNumResultCols(statement.Get(), &count), statement);
    std::vector<Column> columns;
    for (int k = 1; k <= count; ++k) {
        const auto described = Describe(link, statement, static_cast<SQLUSMALLINT>(k));
        columns.push_back(ColumnOf(described, link.GetTraits(), link.GetTuning()));
    }
    return columns;
}

SQLSMALLINT CTypeOf(Form form) {
    switch (form) {
        case Form::Int32:
            return SQL_C_SLONG;
        case Form::Int64:
            return SQL_C_SBIGINT;
        case Form::UInt64:
            return SQL_C_UBIGINT;
        // MariaDB's driver (3.1.15) puts the floats of a block eight bytes apart.
        case Form::Single:
        case Form::Double:
            return SQL_C_DOUBLE;
        case Form::Bit:
            return SQL_C_BIT;
        case Form::Date:
            return SQL_C_TYPE_DATE;
        case Form::Timestamp:
        case Form::TimeOfTimestamp:
        case Form::MomentText:
            return SQL_C_TYPE_TIMESTAMP;
        case Form::Bytes:
            return SQL_C_BINARY;
        case Form::WideText:
            return SQL_C_WCHAR;
        default:
            return SQL_C_CHAR;
    }
}

}  // namespace vantry::odbc
