// One table has what is fixed for a type, its token and length; values go by kind. Easy to get
// wrong: times count in units of their own scale, a datetime in 300ths of a second, the halves of
// money stand in the other order, and "(max)" values come in pieces.

#include "support/tds/types.h"

#include "data/calendar.h"
#include "data/code_page.h"
#include "data/connection_string.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace vantry::test::tds {
namespace {

struct KindFacts {
    std::string_view name;
    Kind kind;
    unsigned token;
    unsigned length;  // of a fixed value, or the longest of a variable one; 0: by the column
    int default_size = 0;
};
// The first of a kind counts on the way out.
constexpr KindFacts kFacts[] = {
    {"bit", Kind::Bit, kBitToken, 1},
    {"tinyint", Kind::TinyInt, kIntegerToken, 1},
    {"smallint", Kind::SmallInt, kIntegerToken, 2},
    {"int", Kind::Int, kIntegerToken, 4},
    {"bigint", Kind::BigInt, kIntegerToken, 8},
    {"real", Kind::Real, kFloatToken, 4},
    {"float", Kind::Float, kFloatToken, 8},
    {"smallmoney", Kind::SmallMoney, 0x6E, 4},
    {"money", Kind::Money, 0x6E, 8},
    {"numeric", Kind::Decimal, 0x6C, 0},
    {"decimal", Kind::Decimal, 0x6A, 0},
    {"char", Kind::Char, 0xAF, 0, 1},
    {"varchar", Kind::VarChar, 0xA7, 0, 1},
    {"nchar", Kind::NChar, 0xEF, 0, 1},
    {"nvarchar", Kind::NVarChar, 0xE7, 0, 1},
    {"sysname", Kind::NVarChar, 0xE7, 0, 128},
    {"text", Kind::Text, 0x23, 0x7FFFFFFF},
    {"ntext", Kind::NText, 0x63, 0x7FFFFFFE},
    {"binary", Kind::Binary, 0xAD, 0, 1},
    {"varbinary", Kind::VarBinary, 0xA5, 0, 1},
    {"image", Kind::Image, 0x22, 0x7FFFFFFF},
    {"uniqueidentifier", Kind::Guid, 0x24, 16},
    {"date", Kind::Date, 0x28, 3},
    {"time", Kind::Time, 0x29, 0},
    {"datetime2", Kind::DateTime2, 0x2A, 0},
    {"datetimeoffset", Kind::DateTimeOffset, 0x2B, 0},
    {"datetime", Kind::DateTime, 0x6F, 8},
    {"smalldatetime", Kind::SmallDateTime, 0x6F, 4},
    {"timestamp", Kind::RowVersion, 0xAD, 8, 8},
};

constexpr std::uint32_t kTimestampUserType = 80;

const KindFacts& FactsOf(const Type& type) {
    return *std::find_if(std::begin(kFacts), std::end(kFacts), [&](const KindFacts& facts) {
        return facts.kind == type.kind && (type.kind != Kind::Decimal || facts.name == type.name);
    });
}

unsigned DecimalBytes(int precision) {
    return precision <= 9 ? 5 : precision <= 19 ? 9 : precision <= 28 ? 13 : 17;
}
unsigned TimeBytes(int scale) {
    return scale <= 2 ? 3 : scale <= 4 ? 4 : 5;
}
std::string Latin1Of(std::string_view utf8) {
    static const CodePage page(1252);
    std::string bytes;
    page.AppendBytes(utf8, bytes);
    return bytes;
}

// A text or bytes as they travel: those of a fixed width filled up, which they aren't in the store,
// as the server compares without regard to blanks at the end.
std::string BytesOf(const Type& type, const Cell& value) {
    const auto data = value.AsBytes();
    const std::string_view view(reinterpret_cast<const char*>(data.data()), data.size());
    std::string bytes(view);
    if (IsNarrowText(type.kind)) {
        bytes = Latin1Of(view);
    } else if (IsWideText(type.kind)) {
        Writer units;
        units.Units(Utf16FromUtf8(view));
        bytes = units.bytes;
    }
    const auto width = static_cast<std::size_t>(std::max(type.size, 0));
    if (type.kind == Kind::Char && bytes.size() < width) {
        bytes.resize(width, ' ');
    }
    while (type.kind == Kind::NChar && bytes.size() < 2 * width) {
        bytes.append(" \0", 2);
    }
    return bytes;
}

// In pieces, as a server does that reads a long value page by page.
void PutPieces(std::string_view bytes, Writer& out) {
    constexpr std::size_t kPiece = 8000;
    out.U64(bytes.size());
    for (; !bytes.empty(); bytes.remove_prefix(std::min(kPiece, bytes.size()))) {
        const auto piece = bytes.substr(0, kPiece);
        out.U32(static_cast<std::uint32_t>(piece.size()));
        out.Raw(piece);
    }
    out.U32(0);
}

void PutDecimal(const Type& type, const Cell& value, Writer& out) {
    const auto decimal = ToDecimal(value, type.scale).value_or(vantry::Decimal{});
    const unsigned length = DecimalBytes(type.precision);
    out.U8(length);
    out.U8(decimal.unscaled < 0 ? 0 : 1);
    const auto whole =
        static_cast<UInt128>(decimal.unscaled < 0 ? -decimal.unscaled : decimal.unscaled);
    for (unsigned k = 0; k < length - 1; ++k) {
        out.U8(static_cast<unsigned>(whole >> (8 * k) & 0xFF));
    }
}

void PutMoney(const Type& type, const Cell& value, Writer& out) {
    const auto units =
        static_cast<std::int64_t>(ToDecimal(value, 4).value_or(vantry::Decimal{}).unscaled);
    if (type.kind == Kind::Money) {
        out.Put(static_cast<std::int32_t>(units >> 32));  // the upper half comes first
    }
    out.Put(static_cast<std::int32_t>(units));
}

void PutMoment(const Type& type, const Cell& value, Writer& out) {
    const bool has_offset = type.kind == Kind::DateTimeOffset;
    const auto moment = has_offset ? ReadOffsetMoment(value.AsText())
                                   : OffsetMoment{ToDateTime(value).value_or(vantry::DateTime{})};
    const auto [day, nanos] = moment.utc;
    if (type.kind == Kind::DateTime) {
        out.U8(8);
        out.Put(day - kDay1900, 4);
        out.Put((nanos * 3 + 5'000'000) / 10'000'000, 4);
        return;
    }
    if (type.kind == Kind::SmallDateTime) {
        out.U8(4);
        out.Put(day - kDay1900, 2);
        out.Put(nanos / (60 * kNanosPerSecond), 2);
        return;
    }
    const unsigned time_bytes = type.kind == Kind::Date ? 0 : TimeBytes(type.scale);
    const unsigned day_bytes = type.kind == Kind::Time ? 0 : 3;
    out.U8(time_bytes + day_bytes + (has_offset ? 2 : 0));
    out.Put(nanos / NanosPerUnit(type.scale), time_bytes);
    out.Put(day - kMinDay, day_bytes);
    out.Put(moment.offset_minutes, has_offset ? 2 : 0);
}

void PutGuid(std::string_view text, Writer& out) {
    // The first three groups are numbers, and so stand with their last byte first.
    constexpr std::array kOrder = {6, 4, 2, 0, 11, 9, 16, 14, 19, 21, 24, 26, 28, 30, 32, 34};
    out.U8(16);
    for (const int at : kOrder) {
        unsigned byte = 0;
        std::from_chars(text.data() + at, text.data() + at + 2, byte, 16);
        out.U8(byte);
    }
}

void PutNumber(const Type& type, const Cell& value, Writer& out) {
    const unsigned length = FactsOf(type).length;
    out.U8(length);
    switch (type.kind) {
        case Kind::Real:
            out.Put(std::bit_cast<std::uint32_t>(static_cast<float>(ToDouble(value).value_or(0))));
            break;
        case Kind::Float:
            out.Put(std::bit_cast<std::uint64_t>(ToDouble(value).value_or(0)));
            break;
        case Kind::Money:
        case Kind::SmallMoney:
            PutMoney(type, value, out);
            break;
        default:
            out.Put(value.AsInt64(), length);
            break;
    }
}

bool HasShortLength(Kind kind) {
    return kind == Kind::Char || kind == Kind::VarChar || kind == Kind::NChar ||
           kind == Kind::NVarChar || kind == Kind::Binary || kind == Kind::VarBinary ||
           kind == Kind::RowVersion;
}
bool IsOldLong(Kind kind) {
    return kind == Kind::Text || kind == Kind::NText || kind == Kind::Image;
}

}  // namespace

std::optional<Type> ParseType(std::string_view declared) {
    const auto open = declared.find('(');
    auto name = declared.substr(0, open);
    name = name.substr(0, name.find_last_not_of(' ') + 1);
    const auto ending = name.find("_text");
    name = name.substr(0, ending);
    const auto* facts = std::find_if(std::begin(kFacts), std::end(kFacts), [&](const auto& f) {
        return EqualsNoCase(f.name, name);
    });
    if (facts == std::end(kFacts)) {
        return std::nullopt;
    }
    Type type;
    type.kind = facts->kind;
    type.name = facts->name;
    type.size = facts->default_size;
    const bool timed = type.kind == Kind::Time || type.kind == Kind::DateTime2 ||
                       type.kind == Kind::DateTimeOffset;
    type.scale = timed ? 7 : 0;
    if (open != std::string_view::npos) {
        const std::string arguments(declared.substr(open + 1));
        const int first =
            EqualsNoCase(arguments.substr(0, 3), "max") ? kMax : std::atoi(arguments.c_str());
        const auto comma = arguments.find(',');
        type.size = first == 0x7FFFFFFF ? kMax : first;
        if (type.kind == Kind::Decimal) {
            type.precision = first;
            type.scale = comma == std::string::npos ? 0 : std::atoi(arguments.c_str() + comma + 1);
        } else if (timed) {
            type.scale = first;
        }
    }
    return type;
}

bool IsWideText(Kind kind) {
    return kind == Kind::NChar || kind == Kind::NVarChar || kind == Kind::NText;
}
bool IsNarrowText(Kind kind) {
    return kind == Kind::Char || kind == Kind::VarChar || kind == Kind::Text;
}
bool IsBytes(Kind kind) {
    return kind == Kind::Binary || kind == Kind::VarBinary || kind == Kind::Image ||
           kind == Kind::RowVersion;
}

void PutType(const Type& type, Writer& out) {
    const auto& facts = FactsOf(type);
    constexpr unsigned kNullable = 1;
    out.U32(type.kind == Kind::RowVersion ? kTimestampUserType : 0);
    out.U16(kNullable);
    out.U8(facts.token);
    if (IsOldLong(type.kind)) {
        out.U32(facts.length);
    } else if (HasShortLength(type.kind)) {
        const int bytes = IsWideText(type.kind) ? 2 * type.size : type.size;
        out.U16(type.size == kMax ? kNoValue : static_cast<unsigned>(bytes));
    } else if (type.kind == Kind::Decimal) {
        out.U8(DecimalBytes(type.precision));
        out.U8(static_cast<unsigned>(type.precision));
        out.U8(static_cast<unsigned>(type.scale));
    } else if (facts.length == 0) {
        out.U8(static_cast<unsigned>(type.scale));
    } else if (type.kind != Kind::Date) {
        out.U8(facts.length);
    }
    if (IsWideText(type.kind) || IsNarrowText(type.kind)) {
        out.Raw(kCollation);
    }
    if (IsOldLong(type.kind)) {
        out.U8(1);  // of the parts of the table's name
        out.LongText("t");
    }
}

void PutValue(const Type& type, const Cell& value, Writer& out) {
    if (value.IsNull()) {
        if (HasShortLength(type.kind)) {
            type.size == kMax ? out.U64(kNoPieces) : out.U16(kNoValue);
        } else {
            out.U8(0);
        }
        return;
    }
    if (HasShortLength(type.kind) || IsOldLong(type.kind)) {
        const auto bytes = BytesOf(type, value);
        if (IsOldLong(type.kind)) {
            out.U8(16);  // a pointer to the text and its time stamp, which nobody reads
            out.Raw(std::string(24, 'p'));
            out.U32(static_cast<std::uint32_t>(bytes.size()));
            out.Raw(bytes);
        } else if (type.size == kMax) {
            PutPieces(bytes, out);
        } else {
            out.U16(static_cast<unsigned>(bytes.size()));
            out.Raw(bytes);
        }
    } else if (type.kind == Kind::Decimal) {
        PutDecimal(type, value, out);
    } else if (type.kind == Kind::Guid) {
        PutGuid(value.AsText(), out);
    } else if (type.kind >= Kind::Date && type.kind <= Kind::SmallDateTime) {
        PutMoment(type, value, out);
    } else {
        PutNumber(type, value, out);
    }
}

OffsetMoment ReadOffsetMoment(std::string_view text) {
    constexpr std::size_t kOffset = 6;
    const auto end = text.size() - kOffset;
    OffsetMoment moment;
    moment.utc = ParseIsoDateTime(text.substr(0, end - 1)).value_or(vantry::DateTime{});
    moment.offset_minutes = std::stoi(std::string(text.substr(end + 1, 2))) * 60 +
                            std::stoi(std::string(text.substr(end + 4)));
    if (text[end] == '-') {
        moment.offset_minutes = -moment.offset_minutes;
    }
    moment.utc.nanos -= moment.offset_minutes * 60 * kNanosPerSecond;
    const auto days = moment.utc.nanos < 0 ? -1 : moment.utc.nanos / kNanosPerDay;
    moment.utc.nanos -= days * kNanosPerDay;
    moment.utc.day += static_cast<std::int32_t>(days);
    return moment;
}

int CharactersOf(const Type& type) {
    const int places = type.scale > 0 ? type.scale + 1 : 0;
    return type.kind == Kind::Time             ? 8 + places
           : type.kind == Kind::DateTime2      ? 19 + places
           : type.kind == Kind::DateTimeOffset ? 26 + places
                                               : 0;
}

std::string MomentText(const vantry::DateTime& moment, int digits) {
    std::string text;
    const auto unit = NanosPerUnit(digits);
    AppendIsoDateTime({moment.day, moment.nanos / kNanosPerSecond * kNanosPerSecond}, text);
    if (digits > 0) {
        const auto fraction = std::to_string(moment.nanos % kNanosPerSecond / unit);
        text +=
            "." + std::string(static_cast<std::size_t>(digits) - fraction.size(), '0') + fraction;
    }
    return text;
}

}  // namespace vantry::test::tds
