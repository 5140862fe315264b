// Words lead to a type code with the size that the kind gives it when none is written, and type
// codes to what they hold; so a created column and one that exists are judged by the same rows.
// Easy to get wrong: what a word means differs by kind (INTEGER is four bytes in Access's CREATE,
// "Decimal" alone has no places in MySQL and SQL Server), a FoxPro number's precision counts its
// point and its sign, and lengths count characters, UTF-16 units or bytes.

#include "check/column_holding.h"

#include "data/ado_types.h"
#include "data/code_page.h"
#include "data/letter_case.h"
#include "data/value_text.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <optional>

namespace vantry {
namespace {

constexpr std::int64_t kSecond = kNanosPerSecond;
constexpr std::int64_t kMilli = kSecond / 1000;
constexpr int kAnySize = -1;  // in `usual`: without a size it is the long form
constexpr int kMostDecimalDigits = 38;
constexpr std::int64_t kBlobBytes = 65'535;

// adBSTR, adDBTime and adDecimal mark types that share their code with a neighbour otherwise:
// TextOf, Moment and HoldingOfWords look for them.
struct Word {
    TypeNames kind;
    std::string_view word;
    int type;
    int usual = 0;   // size or precision where none is written
    int widest = 0;  // CREATE refuses more; 0: no such limit
};

// clang-format off
using enum TypeNames;
constexpr Word kWords[] = {
    {Access, "TEXT",       adVarWChar, kAnySize, 255},
    {Access, "MEMO",       adLongVarWChar},
    {Access, "BYTE",       adUnsignedTinyInt},
    {Access, "INTEGER",    adInteger},
    {Access, "LONG",       adInteger},
    {Access, "SMALLINT",   adSmallInt},
    {Access, "SINGLE",     adSingle},
    {Access, "DOUBLE",     adDouble},
    {Access, "CURRENCY",   adCurrency},
    {Access, "DATETIME",   adDate},
    {Access, "DATE",       adDate},
    {Access, "YESNO",      adBoolean},
    {Access, "OLEOBJECT",  adLongVarBinary},

    {FoxPro, "CHARACTER",  adChar, 1, 254},
    {FoxPro, "NUMERIC",    adNumeric, 10, 20},
    {FoxPro, "INTEGER",    adInteger},
    {FoxPro, "LONG",       adInteger},
    {FoxPro, "B",          adDouble},
    {FoxPro, "DOUBLE",     adDouble},
    {FoxPro, "SINGLE",     adDouble},
    {FoxPro, "Y",          adCurrency},
    {FoxPro, "CURRENCY",   adCurrency},
    {FoxPro, "LOGICAL",    adBoolean},
    {FoxPro, "DATE",       adDBDate},
    {FoxPro, "DATETIME",   adDBTimeStamp},
    {FoxPro, "MEMO",       adLongVarChar},
    {FoxPro, "MEMOBIN",    adLongVarBinary},
    {FoxPro, "GENERAL",    adLongVarBinary},

    {Oracle, "VARCHAR2",   adVarChar, 0, 4000},
    {Oracle, "VARCHAR",    adVarChar, 0, 4000},
    {Oracle, "CHAR",       adChar, 1, 2000},
    {Oracle, "NUMBER",     adVarNumeric, kAnySize, kMostDecimalDigits},
    {Oracle, "DATE",       adDBTimeStamp},
    {Oracle, "CLOB",       adLongVarChar},
    {Oracle, "LONG",       adLongVarChar},
    {Oracle, "BLOB",       adLongVarBinary},
    {Oracle, "LONG RAW",   adLongVarBinary},

    {MySQL,  "TINYINT",    adTinyInt},
    {MySQL,  "SMALLINT",   adSmallInt},
    {MySQL,  "INTEGER",    adInteger, 0, 255},
    {MySQL,  "INT",        adInteger, 0, 255},
    {MySQL,  "DOUBLE",     adDouble},
    {MySQL,  "DECIMAL",    adNumeric, 10, 65},
    {MySQL,  "VARCHAR",    adVarWChar, 0, 16'383},
    {MySQL,  "CHAR",       adWChar, 1, 255},
    {MySQL,  "TEXT",       adBSTR},  // of 65,535 bytes
    {MySQL,  "LONGTEXT",   adLongVarWChar},
    {MySQL,  "BLOB",       adVarBinary, static_cast<int>(kBlobBytes)},
    {MySQL,  "LONGBLOB",   adLongVarBinary},
    {MySQL,  "DATETIME",   adDBTimeStamp},

    {MSSQL,  "BIT",        adBoolean},
    {MSSQL,  "TINYINT",    adUnsignedTinyInt},
    {MSSQL,  "SMALLINT",   adSmallInt},
    {MSSQL,  "INT",        adInteger},
    {MSSQL,  "REAL",       adSingle},
    {MSSQL,  "FLOAT",      adDouble},
    {MSSQL,  "MONEY",      adCurrency},
    {MSSQL,  "SMALLMONEY", adDecimal, 10},
    {MSSQL,  "DECIMAL",    adNumeric, 18, kMostDecimalDigits},
    {MSSQL,  "NUMERIC",    adNumeric, 18, kMostDecimalDigits},
    {MSSQL,  "CHAR",       adChar, 1, 8000},
    {MSSQL,  "VARCHAR",    adVarChar, 1, 8000},
    {MSSQL,  "TEXT",       adLongVarChar},
    {MSSQL,  "NCHAR",      adWChar, 1, 4000},
    {MSSQL,  "NVARCHAR",   adVarWChar, 1, 4000},
    {MSSQL,  "NTEXT",      adLongVarWChar},
    {MSSQL,  "BINARY",     adBinary, 1, 8000},
    {MSSQL,  "VARBINARY",  adVarBinary, 1, 8000},
    {MSSQL,  "IMAGE",      adLongVarBinary},
    {MSSQL,  "DATETIME",   adDBTimeStamp},
    {MSSQL,  "SMALLDATETIME", adDBTime},  // of minutes
    {MSSQL,  "UNIQUEIDENTIFIER", adGUID},
};

// By kind: days and the steps of a moment.
struct MomentRow {
    TypeNames kind;
    std::int32_t first_day;
    std::int64_t step;
};
constexpr MomentRow kMoments[] = {
    {Access, -657'434, kMilli},       // the year 100
    {FoxPro, kMinDay, kSecond},
    {Oracle, kMinDay, kSecond},
    {MySQL, kMinDay, kSecond},
    {MSSQL, -53'688, 10 * kMilli},    // 1753; three steps of 1/300 s are 10 ms
};
// clang-format on

Holding Whole(std::int64_t low, std::int64_t high) {
    Holding holding;
    holding.form = Form::Whole;
    holding.low = low;
    holding.high = high;
    return holding;
}

template <typename Integer>
Holding WholeOf() {
    const auto high = std::min<std::uint64_t>(std::numeric_limits<Integer>::max(), INT64_MAX);
    return Whole(static_cast<std::int64_t>(std::numeric_limits<Integer>::min()),
                 static_cast<std::int64_t>(high));
}

Holding Of(Form form) {
    Holding holding;
    holding.form = form;
    return holding;
}

Holding Exact(TypeNames kind, const FieldShape& shape) {
    Holding holding = Of(Form::Exact);
    // Oracle's number without a size, and a decimal whose size nobody knows: digits where needed.
    if (shape.precision <= 0 || shape.precision == kDoesNotApply) {
        holding.digits = kMostDecimalDigits;
        // Negative: as many places as there is room for.
        holding.scale = -1;
        return holding;
    }
    holding.scale = shape.scale == kDoesNotApply ? 0 : shape.scale;
    // In a FoxPro table the width is that of the field, in which the point has its place.
    const int point = kind == FoxPro && holding.scale > 0 ? 1 : 0;
    holding.digits = std::max(shape.precision - holding.scale - point, 0);
    return holding;
}

// `shape` of a column that is created has no scale: it is the kind's usual type.
Holding Moment(TypeNames kind, const FieldShape& shape) {
    constexpr int kDigitsOfNanos = 9;
    constexpr int kWidthOfMinutes = 16;  // yyyy-mm-dd hh:mm
    const int scale = shape.scale == kDoesNotApply ? 0 : shape.scale;
    Holding holding = Of(Form::Moment);
    for (const auto& row : kMoments) {
        if (row.kind == kind) {
            holding.first_day = row.first_day;
            holding.step = row.step;
        }
    }
    if (kind == MSSQL &&
        (shape.type == adDBTime || (shape.precision == kWidthOfMinutes && scale == 0))) {
        holding.first_day = 2;      // 1900
        holding.last_day = 65'537;  // 2079-06-06
        holding.step = 60 * kSecond;
    } else if (kind == MSSQL && scale > 3 && scale <= kDigitsOfNanos) {
        // A newer type than the usual one, to parts of a microsecond and from the year 1 on.
        holding.first_day = kMinDay;
        holding.step = kSecond;
        for (int k = 0; k < scale; ++k) {
            holding.step /= 10;
        }
    } else {
        holding.thirds = kind == MSSQL;
    }
    return holding;
}

Holding TextOf(TypeNames kind, const FieldShape& shape) {
    Holding holding = Of(Form::Text);
    const bool is_long = IsLongType(shape.type);
    holding.length = is_long ? 0 : std::max<std::int64_t>(shape.size, 0);
    const bool narrow =
        shape.type == adChar || shape.type == adVarChar || shape.type == adLongVarChar;
    const bool fixed = shape.type == adChar || shape.type == adWChar;
    switch (kind) {
        case Access:
            holding.length_in = LengthIn::Utf16Units;
            break;
        case FoxPro:
            holding.length_in = LengthIn::Bytes;
            // A new table gets the page of the machine that makes it; characters beyond it are
            // refused, not replaced.
            holding.code_page = WindowsCodePageOfLocale();
            holding.cuts_blanks = shape.type == adChar;
            break;
        case Oracle:
            holding.length_in = LengthIn::Bytes;
            holding.empty_is_null = true;
            holding.pads = fixed;
            break;
        case MySQL:
            if (shape.type == adBSTR) {
                holding.length = kBlobBytes;
                holding.length_in = LengthIn::Bytes;
            }
            // The server gives such a text back without the blanks at its end.
            holding.cuts_blanks = fixed;
            break;
        case MSSQL:
            // Which page a column without Unicode has is its collation's; this is the usual one.
            if (narrow) {
                holding.length_in = LengthIn::Bytes;
                holding.code_page = 1252;
                holding.page_loses = true;
            } else {
                holding.length_in = LengthIn::Utf16Units;
            }
            holding.pads = fixed;
            break;
        case Neutral:
            break;
    }
    return holding;
}

// Types whose precision is the width of a field of digits.
bool IsWidthOfDigits(int type) {
    return type == adNumeric || type == adDecimal || type == adVarNumeric;
}

Holding HoldingOfType(TypeNames kind, const FieldShape& shape) {
    switch (shape.type) {
        case adTinyInt:
            return WholeOf<std::int8_t>();
        case adUnsignedTinyInt:
            return WholeOf<std::uint8_t>();
        case adSmallInt:
            return WholeOf<std::int16_t>();
        case adUnsignedSmallInt:
            return WholeOf<std::uint16_t>();
        case adInteger:
            return WholeOf<std::int32_t>();
        case adUnsignedInt:
            return WholeOf<std::uint32_t>();
        case adBigInt:
        case adUnsignedBigInt:
            return WholeOf<std::int64_t>();
        case adSingle:
            return Of(Form::Single);
        case adDouble:
            return Of(Form::Double);
        case adCurrency: {
            Holding holding = Exact(Neutral, {adNumeric, 0, 19, 4});
            holding.high = INT64_MAX;  // less than its nineteen digits could say
            return holding;
        }
        case adDecimal:
        case adNumeric:
        case adVarNumeric:
            return Exact(kind, shape);
        case adBoolean: {
            Holding holding = Of(Form::Truth);
            holding.null_is_false = kind == Access;
            return holding;
        }
        case adDBDate:
            return kind == Access ? Moment(kind, shape) : Of(Form::Day);
        case adDate:
        case adDBTime:
        case adDBTimeStamp:
            return Moment(kind, shape);
        case adGUID:
            return Of(Form::Guid);
        case adBinary:
        case adVarBinary:
        case adLongVarBinary: {
            Holding holding = Of(Form::Bytes);
            holding.length = IsLongType(shape.type) ? 0 : std::max<std::int64_t>(shape.size, 0);
            holding.pads = shape.type == adBinary && kind != FoxPro;
            // Without a content there is no memo, and what has none is a null.
            holding.empty_is_null = kind == FoxPro;
            // A text is written into it as into a memo.
            holding.code_page = kind == FoxPro ? WindowsCodePageOfLocale() : 0;
            return holding;
        }
        default:
            return TextOf(kind, shape);
    }
}

Holding Refused(std::string_view words, std::string fault) {
    Holding holding;
    holding.type = words;
    holding.fault = std::move(fault);
    return holding;
}

struct SizedWord {
    std::string word;
    std::optional<int> size;
    int scale = 0;
};

// "Decimal(10,2)" as its word in capitals and its numbers.
SizedWord Split(std::string_view words) {
    SizedWord split;
    const auto open = words.find('(');
    split.word = UpperCased(Trimmed(words.substr(0, open)));
    if (open == std::string_view::npos) {
        return split;
    }
    auto rest = words.substr(open + 1);
    rest = rest.substr(0, rest.find(')'));
    const auto comma = rest.find(',');
    split.size = static_cast<int>(ParseInt64(Trimmed(rest.substr(0, comma))).value_or(0));
    if (comma != std::string_view::npos) {
        split.scale = static_cast<int>(ParseInt64(Trimmed(rest.substr(comma + 1))).value_or(0));
    }
    return split;
}

}  // namespace

Holding HoldingOfField(TypeNames kind, const FieldShape& shape, std::string type_name) {
    Holding holding = HoldingOfType(kind, shape);
    holding.half_away = kind != Access;
    holding.all_doubles = kind == Access;
    holding.truth_is_number = kind == Access || kind == FoxPro;
    holding.converts = kind == MSSQL || kind == MySQL;
    holding.sign_in_width = kind == FoxPro && IsWidthOfDigits(shape.type);
    holding.type = std::move(type_name);
    return holding;
}

Holding HoldingOfWords(TypeNames kind, std::string_view words) {
    const auto split = Split(words);
    if (split.word.empty()) {
        return Refused(words, "the target has no type for it");
    }
    const auto* const row =
        std::find_if(std::begin(kWords), std::end(kWords), [&](const Word& word) {
            return word.kind == kind && word.word == split.word;
        });
    if (row == std::end(kWords)) {
        return Refused(words, "the target has no type of that name");
    }
    // From here on the words are a column that exists: both kinds of question end in the same rows.
    FieldShape shape{row->type, 0, 0, 0};
    const int size = split.size.value_or(row->usual);
    // A word whose size CREATE doesn't take costs the whole table, not only this column.
    if (split.size && row->widest > 0 && (size > row->widest || size < 1) &&
        !IsIntegerType(row->type)) {
        return Refused(words, "a size must be 1 to " + std::to_string(row->widest) + " there");
    }
    if (IsIntegerType(row->type) && row->widest > 0 && size > row->widest) {
        return Refused(words, "a display width must be 0 to " + std::to_string(row->widest));
    }
    if (size == kAnySize && row->type == adVarWChar) {
        shape.type = adLongVarWChar;  // a text without a length is a memo
    } else if (IsTextType(row->type) || IsBinaryType(row->type)) {
        shape.size = size;
    } else {
        shape.precision = size == kAnySize ? 0 : size;
        shape.scale = row->type == adDecimal && !split.size ? 4 : split.scale;
    }
    if (shape.scale > shape.precision && shape.precision > 0) {
        return Refused(words, "it has more places than digits");
    }
    return HoldingOfField(kind, shape, std::string(Trimmed(words)));
}

NameLimits NameLimitsOfTarget() {
    switch (KindOf(TargetType).types) {
        case Access:
            return {64, 64, 255, false};
        case FoxPro:
            // A table of a folder has its fields' names in its header alone.
            return {FoxDestMode == "DBC" ? 128U : 10U, 0, 255, true};
        case Oracle:
            return {30, 30, 1000, true};
        case MySQL:
            return {64, 64, 4096, false};
        case MSSQL:
            return {128, 128, 1024, false};
        case Neutral:
            break;
    }
    return {};
}

}  // namespace vantry
