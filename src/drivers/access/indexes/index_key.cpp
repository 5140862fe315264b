// A key is a flag byte a column (null or not) and the value in a form that sorts byte by byte; a
// descending column has its bytes inverted. Numbers are turned round to most significant byte
// first, with the sign bit flipped; texts are a matter of Collation. Easy to get wrong: the engine
// itself sorts descending decimals of Jet files wrongly, and its keys must be matched, not
// corrected, or its next lookup misses the row.

#include "drivers/access/indexes/index_key.h"

namespace vantry::access {
namespace {

constexpr std::byte kNullAscending{0x00};
constexpr std::byte kNullDescending{0xFF};
constexpr std::byte kValueAscending{0x7F};
constexpr std::byte kValueDescending{0x80};

constexpr std::size_t kBinaryGroup = 8;
constexpr std::byte kBinaryMore{0x09};

void InvertFrom(std::size_t start, std::vector<std::byte>& key) {
    for (std::size_t i = start; i < key.size(); ++i) {
        key[i] = ~key[i];
    }
}

// The stored little-endian bytes, most significant first.
void AppendReversed(ByteSpan stored, std::size_t size, std::vector<std::byte>& key) {
    const auto bytes = Slice(stored, 0, size);
    key.insert(key.end(), bytes.rbegin(), bytes.rend());
}

void AppendInteger(ByteSpan stored, std::size_t size, bool ascending, std::vector<std::byte>& key) {
    const std::size_t start = key.size();
    AppendReversed(stored, size, key);
    key[start] ^= std::byte{0x80};
    if (!ascending) {
        InvertFrom(start, key);
    }
}

// IEEE numbers sort like integers once negative ones are inverted.
void AppendFloat(ByteSpan stored, std::size_t size, bool ascending, std::vector<std::byte>& key) {
    const std::size_t start = key.size();
    AppendReversed(stored, size, key);
    if ((key[start] & std::byte{0x80}) != std::byte{0}) {
        InvertFrom(start, key);
    } else {
        key[start] ^= std::byte{0x80};
    }
    if (!ascending) {
        InvertFrom(start, key);
    }
}

void AppendNumeric(ByteSpan stored, bool ascending, bool ace, std::vector<std::byte>& key) {
    const std::size_t start = key.size();
    const bool negative = LoadU8(stored, 0) != 0;
    key.push_back(stored[0]);
    // Stored are four words, the most significant one first, but each with its lowest byte first.
    for (std::size_t word = 0; word < 4; ++word) {
        AppendReversed(Slice(stored, 1 + word * 4, 4), 4, key);
    }
    if (ace) {
        key[start] = std::byte{0xFF};
        if (negative == ascending) {
            InvertFrom(start, key);
        }
    } else {
        // Jet gives descending keys the first byte of ascending ones: a defect that its indexes
        // are full of.
        if (negative == ascending) {
            InvertFrom(start, key);
        }
        key[start] = negative ? std::byte{0x00} : std::byte{0xFF};
    }
}

// Groups of eight bytes with a count behind each: a shorter value sorts before its continuation.
// An empty value has no group at all: the flag byte before it is its whole key.
void AppendBinary(ByteSpan bytes, bool ascending, std::vector<std::byte>& key) {
    if (bytes.empty()) {
        return;
    }
    const std::byte flip = ascending ? std::byte{0x00} : std::byte{0xFF};
    while (bytes.size() > kBinaryGroup) {
        for (const auto byte : bytes.first(kBinaryGroup)) {
            key.push_back(byte ^ flip);
        }
        // Not inverted in a descending key: of the counts only the last one is.
        key.push_back(kBinaryMore);
        bytes = bytes.subspan(kBinaryGroup);
    }
    for (std::size_t i = 0; i < kBinaryGroup; ++i) {
        key.push_back((i < bytes.size() ? bytes[i] : std::byte{0}) ^ flip);
    }
    key.push_back(static_cast<std::byte>(bytes.size()) ^ flip);
}

// In the order of its text, not of its bytes: the first three fields are stored as numbers.
void AppendGuidKey(ByteSpan stored, bool ascending, std::vector<std::byte>& key) {
    constexpr std::size_t kOrder[kGuidSize] = {
        3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    const auto bytes = Slice(stored, 0, kGuidSize);
    std::array<std::byte, kGuidSize> ordered;
    for (std::size_t i = 0; i < kGuidSize; ++i) {
        ordered[i] = bytes[kOrder[i]];
    }
    AppendBinary(ordered, ascending, key);
}

std::string HexOf(unsigned number) {
    constexpr char kHex[] = "0123456789ABCDEF";
    std::string text;
    for (int shift = 12; shift >= 0; shift -= 4) {
        text.push_back(kHex[number >> shift & 0xF]);
    }
    return text;
}

// A clause for messages; empty: keys of the column can be made.
std::string WhyUnsupported(const ColumnDef& column) {
    const std::string name = "its column '" + column.name + "'";
    if (column.IsCalculated()) {
        return name + " is calculated";
    }
    switch (column.type) {
        case ColumnType::Ole:
        case ColumnType::Unknown0D:
        case ColumnType::Unknown11:
            return name + " is of a type without an order";
        case ColumnType::Text:
        case ColumnType::Memo:
            if (Collation::For(column.sort_order) == nullptr) {
                return "the sort order of " + name + " (language " + HexOf(column.sort_order.lcid) +
                       ", version " + std::to_string(column.sort_order.version) +
                       ") isn't supported";
            }
            return "";
        default:
            return "";
    }
}

}  // namespace

KeyEncoder::KeyEncoder(const FileHeader& header, const TableDef& def, const RealIndex& index)
    : ignore_nulls_(index.IgnoresNulls()), ace_numeric_(header.version >= kVersionAce12) {
    if (header.layout->jet3) {
        unsupported_ = "files of Access 97 are only read";
        return;
    }
    for (const auto& part : index.columns) {
        const auto& column = def.columns[part.position];
        if (unsupported_.empty()) {
            unsupported_ = WhyUnsupported(column);
        }
        columns_.push_back({column.type,
                            part.ascending,
                            column.IsText() ? Collation::For(column.sort_order) : nullptr,
                            TextCoding(header, column.code_page)});
    }
}

KeyResult KeyEncoder::Encode(std::span<const std::optional<ByteSpan>> fields,
                             std::vector<std::byte>& key) const {
    key.clear();
    bool all_null = true;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        all_null = all_null && !fields[i];
        if (const auto result = AppendColumn(i, fields[i], key); result != KeyResult::Ok) {
            return result;
        }
    }
    return all_null && ignore_nulls_ ? KeyResult::NoEntry : KeyResult::Ok;
}

KeyResult KeyEncoder::AppendColumn(std::size_t column,
                                   std::optional<ByteSpan> stored,
                                   std::vector<std::byte>& key) const {
    const auto& part = columns_[column];
    if (!stored) {
        key.push_back(part.ascending ? kNullAscending : kNullDescending);
        return KeyResult::Ok;
    }
    key.push_back(part.ascending ? kValueAscending : kValueDescending);
    switch (part.type) {
        case ColumnType::Boolean: {
            // True is -1 in Access, and so comes before False.
            const bool value = LoadU8(*stored, 0) != 0;
            key.push_back(value == part.ascending ? std::byte{0x00} : std::byte{0xFF});
            return KeyResult::Ok;
        }
        case ColumnType::Byte: {
            const auto value = std::byte{LoadU8(*stored, 0)};
            key.push_back(part.ascending ? value : ~value);
            return KeyResult::Ok;
        }
        case ColumnType::Integer:
        case ColumnType::Long:
        case ColumnType::Currency:
        case ColumnType::BigInt:
        case ColumnType::Complex:
            AppendInteger(*stored, FixedSizeOf(part.type), part.ascending, key);
            return KeyResult::Ok;
        case ColumnType::Single:
        case ColumnType::Double:
        case ColumnType::DateTime:
            AppendFloat(*stored, FixedSizeOf(part.type), part.ascending, key);
            return KeyResult::Ok;
        case ColumnType::Numeric:
            AppendNumeric(*stored, part.ascending, ace_numeric_, key);
            return KeyResult::Ok;
        case ColumnType::Guid:
            AppendGuidKey(*stored, part.ascending, key);
            return KeyResult::Ok;
        case ColumnType::DateTimeExtended:
            AppendBinary(Slice(*stored, 0, kExtendedDateSize), part.ascending, key);
            return KeyResult::Ok;
        case ColumnType::Binary:
            AppendBinary(*stored, part.ascending, key);
            return KeyResult::Ok;
        case ColumnType::Text:
        case ColumnType::Memo:
            if (part.collation == nullptr) {
                return KeyResult::UnknownForm;
            }
            part.collation->AppendKey(part.coding.Units(*stored), part.ascending, key);
            return KeyResult::Ok;
        default:
            return KeyResult::UnknownForm;
    }
}

}  // namespace vantry::access
