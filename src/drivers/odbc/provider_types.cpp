// What the native OLE DB providers of SQL Server and Oracle report for their servers' types, so
// that a session which names a provider finds the types that it was made with: maps of columns are
// stored by type, and a column that changed its type would be refused when the session is opened.
// The tables give the provider's own figures; what depends on the column is filled in behind. Easy
// to get wrong: type names come with sizes and remarks behind the first word, "(max)" types are the
// long ones, and a NUMBER without digits is a floating one.

#include "data/connection_string.h"
#include "drivers/odbc/types.h"

#include <algorithm>

namespace vantry::odbc {
namespace {

constexpr std::int64_t kOwnSize = -1;  // the column's own size
constexpr int kOwn = -1;               // the column's own precision or scale

struct ProviderType {
    std::string_view name;
    int type;
    std::int64_t size = kOwnSize;
    int precision = kDoesNotApply;
    int scale = kDoesNotApply;
};

constexpr ProviderType kSqlServerTypes[] = {
    {"int", adInteger, 4, 10},
    {"smallint", adSmallInt, 2, 5},
    {"tinyint", adUnsignedTinyInt, 1, 3},
    {"bigint", adBigInt, 8, 19},
    {"bit", adBoolean, 2},
    {"decimal", adNumeric, 19, kOwn, kOwn},
    {"numeric", adNumeric, 19, kOwn, kOwn},
    {"money", adCurrency, 8, 19},
    {"smallmoney", adCurrency, 8, 10},
    {"float", adDouble, 8, 15},
    {"real", adSingle, 4, 7},
    {"datetime", adDBTimeStamp, 16, 23, 3},
    {"smalldatetime", adDBTimeStamp, 16, 16, 0},
    {"char", adChar},
    {"varchar", adVarChar},
    {"text", adLongVarChar, kMaxLongBytes},
    {"nchar", adWChar},
    {"nvarchar", adVarWChar},
    {"sysname", adVarWChar, 128},
    {"ntext", adLongVarWChar, kMaxLongText},
    {"xml", adLongVarWChar, kMaxLongText},
    {"binary", adBinary},
    {"varbinary", adVarBinary},
    {"image", adLongVarBinary, kMaxLongBytes},
    {"timestamp", adBinary, 8},
    {"rowversion", adBinary, 8},
    {"uniqueidentifier", adGUID, 16},
    {"sql_variant", adVariant},
    // Newer than the provider: it gets them as text.
    {"date", adVarWChar, 10},
    {"time", adVarWChar, 16},
    {"datetime2", adVarWChar, 27},
    {"datetimeoffset", adVarWChar, 34},
};

constexpr ProviderType kOracleTypes[] = {
    {"CHAR", adChar},
    {"VARCHAR2", adVarChar},
    {"VARCHAR", adVarChar},
    {"NCHAR", adWChar},
    {"NVARCHAR2", adVarWChar},
    {"LONG", adLongVarChar, kMaxLongBytes},
    {"CLOB", adLongVarChar, kMaxLongBytes},
    {"NCLOB", adLongVarWChar, kMaxLongText},
    {"RAW", adVarBinary},
    {"LONG RAW", adLongVarBinary, kMaxLongBytes},
    {"BLOB", adLongVarBinary, kMaxLongBytes},
    {"BFILE", adLongVarBinary, kMaxLongBytes},
    {"NUMBER", adVarNumeric, 19, kOwn, kOwn},
    {"FLOAT", adDouble, 8, 15},
    {"BINARY_FLOAT", adSingle, 4, 7},
    {"BINARY_DOUBLE", adDouble, 8, 15},
    {"DATE", adDBTimeStamp, 16, 19, 0},
    {"TIMESTAMP", adDBTimeStamp, 16, kOwn, kOwn},
    {"INTERVAL", adVarChar},
    {"ROWID", adVarChar},
};

constexpr int kOracleDigits = 38;
constexpr std::uint64_t kMostShortCharacters = 8000;

// "int identity", "numeric() identity", "TIMESTAMP(6) WITH TIME ZONE": the first word counts, but
// for the one type of two words.
std::string_view FirstWord(std::string_view type_name) {
    constexpr std::string_view kTwoWords = "long raw";
    if (type_name.size() >= kTwoWords.size() &&
        EqualsNoCase(type_name.substr(0, kTwoWords.size()), kTwoWords)) {
        return type_name.substr(0, kTwoWords.size());
    }
    return type_name.substr(0, type_name.find_first_of(" (["));
}

// The long forms of SQL Server's short types, "(max)".
int LongFormOf(int type) {
    switch (type) {
        case adVarChar:
            return adLongVarChar;
        case adVarWChar:
            return adLongVarWChar;
        case adVarBinary:
            return adLongVarBinary;
        default:
            return type;
    }
}

bool HasMaximalSize(const Described& described) {
    return described.sql_type == SQL_LONGVARCHAR || described.sql_type == SQL_WLONGVARCHAR ||
           described.sql_type == SQL_LONGVARBINARY || described.size == 0 ||
           described.size > kMostShortCharacters;
}

void FillNumber(Provider provider, const Described& described, ColumnInfo& info) {
    const auto digits = static_cast<int>(std::min<std::uint64_t>(described.size, 254));
    const bool exact = described.sql_type == SQL_DECIMAL || described.sql_type == SQL_NUMERIC;
    const bool fits = exact && digits <= kOracleDigits && described.digits >= 0;
    info.precision = fits ? digits : kOracleDigits;
    info.scale = fits ? described.digits : kDoesNotApply;
    if (provider == Provider::MsdaOra && fits) {
        info.type = adNumeric;
    }
}

}  // namespace

std::optional<ColumnInfo> ProviderInfo(Provider provider, const Described& described) {
    if (provider == Provider::Odbc) {
        return std::nullopt;
    }
    const auto word = FirstWord(described.type_name);
    const auto types = provider == Provider::SqlOleDb
                           ? std::span<const ProviderType>(kSqlServerTypes)
                           : std::span<const ProviderType>(kOracleTypes);
    const auto found = std::find_if(types.begin(), types.end(), [&](const ProviderType& type) {
        return EqualsNoCase(type.name, word);
    });
    const auto plain = PlainInfo(described);
    if (found == types.end()) {
        // Oracle's driver calls a NUMBER by the standard's name.
        if (provider != Provider::SqlOleDb && plain.type == adNumeric) {
            ColumnInfo number = plain;
            number.type = adVarNumeric;
            FillNumber(provider, described, number);
            return number;
        }
        return std::nullopt;
    }
    ColumnInfo info;
    info.type = found->type;
    info.defined_size = found->size;
    info.precision = found->precision == kOwn ? plain.precision : found->precision;
    info.scale = found->scale == kOwn ? plain.scale : found->scale;
    if (info.type == adVarNumeric) {
        FillNumber(provider, described, info);
    }
    if (found->size == kOwnSize) {
        if (provider == Provider::SqlOleDb && LongFormOf(info.type) != info.type &&
            HasMaximalSize(described)) {
            info.type = LongFormOf(info.type);
            info.defined_size = info.type == adLongVarWChar ? kMaxLongText : kMaxLongBytes;
        } else {
            info.defined_size = plain.defined_size;
        }
    }
    return info;
}

}  // namespace vantry::odbc
