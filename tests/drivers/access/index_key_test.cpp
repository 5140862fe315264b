// Index keys of the types that no sample file has an index on: by the format's rules, and by the
// order that they must give. The other types are compared with real indexes in real_files_test.cpp.

#include "drivers/access/indexes/index_key.h"

#include "data/utf.h"
#include "drivers/access/encryption/page_cipher.h"
#include "drivers/access/pages/header_mask.h"

#include <gtest/gtest.h>

namespace vantry::access {
namespace {

using Bytes = std::vector<std::byte>;

Bytes FromHex(std::string_view text) {
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        if (text[i] == ' ') {
            ++i;
        }
        bytes.push_back(
            static_cast<std::byte>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16)));
    }
    return bytes;
}

template <typename Number>
Bytes Stored(Number number) {
    const auto bytes = std::as_bytes(std::span(&number, 1));
    return {bytes.begin(), bytes.end()};
}

Bytes Numeric(std::int64_t value) {
    Bytes bytes(kNumericSize);
    const std::uint64_t magnitude = static_cast<std::uint64_t>(value < 0 ? -value : value);
    bytes[0] = value < 0 ? std::byte{kNumericNegative} : std::byte{0};
    const auto low = static_cast<std::uint32_t>(magnitude);
    const auto high = static_cast<std::uint32_t>(magnitude >> 32);
    std::memcpy(bytes.data() + 9, &high, 4);
    std::memcpy(bytes.data() + 13, &low, 4);
    return bytes;
}

Bytes Utf16(std::string_view utf8) {
    const auto units = Utf16FromUtf8(utf8);
    const auto bytes = std::as_bytes(std::span(units));
    return {bytes.begin(), bytes.end()};
}

struct KeyOf {
    ColumnType type;
    bool ascending = true;
    std::uint8_t version = kVersionAce14;
    SortOrder sort_order{};
    KeyResult result = KeyResult::Ok;

    Bytes operator()(const std::optional<Bytes>& stored) {
        FileHeader header;
        header.version = version;
        TableDef def;
        def.columns.emplace_back();
        def.columns[0].type = def.columns[0].value_type = type;
        def.columns[0].sort_order = sort_order;
        RealIndex index;
        index.columns.push_back({0, 0, ascending});
        const KeyEncoder encoder(header, def, index);
        EXPECT_EQ(encoder.Unsupported(), "");
        const std::optional<ByteSpan> field =
            stored ? std::optional<ByteSpan>(*stored) : std::nullopt;
        Bytes key;
        result = encoder.Encode({&field, 1}, key);
        return key;
    }
};

TEST(IndexKey, FollowsTheRulesForEachType) {
    const std::string zeros(28, '0');
    const std::string ones(28, 'F');
    const struct {
        KeyOf key;
        std::optional<Bytes> stored;
        std::string hex;
    } cases[] = {
        {{ColumnType::Boolean}, Bytes{std::byte{1}}, "7F00"},
        {{ColumnType::Boolean}, Bytes{std::byte{0}}, "7FFF"},
        {{ColumnType::Boolean, false}, Bytes{std::byte{1}}, "80FF"},
        {{ColumnType::Long}, std::nullopt, "00"},
        {{ColumnType::Long, false}, std::nullopt, "FF"},
        {{ColumnType::Currency}, Stored(std::int64_t{12'345}), "7F 8000000000003039"},
        {{ColumnType::Double}, Stored(-1.0), "7F 400FFFFFFFFFFFFF"},
        {{ColumnType::Single, false}, Stored(1.0F), "80 407FFFFF"},
        {{ColumnType::Guid},
         FromHex("33221100554477668899AABBCCDDEEFF"),
         "7F 0011223344556677 09 8899AABBCCDDEEFF 08"},
        {{ColumnType::Binary}, FromHex("0102"), "7F 0102000000000000 02"},
        // Jet's numbers and ACE's, of both signs and directions.
        {{ColumnType::Numeric, true, kVersionJet4}, Numeric(5), "7F FF" + zeros + "0005"},
        {{ColumnType::Numeric, true, kVersionJet4}, Numeric(-5), "7F 00" + ones + "FFFA"},
        {{ColumnType::Numeric, false, kVersionJet4}, Numeric(5), "80 FF" + ones + "FFFA"},
        {{ColumnType::Numeric, false, kVersionAce14}, Numeric(5), "80 00" + ones + "FFFA"},
        {{ColumnType::Numeric, false, kVersionAce14}, Numeric(-5), "80 FF" + zeros + "0005"},
    };
    for (auto [key, stored, hex] : cases) {
        EXPECT_EQ(key(stored), FromHex(hex)) << hex;
    }
}

TEST(IndexKey, SortsAsTheValuesDo) {
    const auto expect_order = [](ColumnType type, const std::vector<Bytes>& values) {
        KeyOf up{type};
        KeyOf down{type, false};
        for (std::size_t i = 1; i < values.size(); ++i) {
            EXPECT_LT(up(values[i - 1]), up(values[i])) << static_cast<int>(type) << ' ' << i;
            EXPECT_GT(down(values[i - 1]), down(values[i])) << static_cast<int>(type) << ' ' << i;
        }
    };
    expect_order(ColumnType::Double,
                 {Stored(-1e300),
                  Stored(-2.5),
                  Stored(-1e-300),
                  Stored(0.0),
                  Stored(1e-300),
                  Stored(3.0),
                  Stored(1e300)});
    expect_order(ColumnType::Currency,
                 {Stored(INT64_MIN),
                  Stored(std::int64_t{-1}),
                  Stored(std::int64_t{0}),
                  Stored(std::int64_t{1}),
                  Stored(INT64_MAX)});
    expect_order(
        ColumnType::Numeric,
        {Numeric(-50'000'000'000), Numeric(-5), Numeric(0), Numeric(7), Numeric(50'000'000'000)});
    expect_order(ColumnType::Byte, {Stored(std::uint8_t{0}), Stored(std::uint8_t{200})});
}

TEST(IndexKey, OfText) {
    const SortOrder legacy{kEnglishLcid, kGeneralLegacyVersion};
    const SortOrder general{kEnglishLcid, kGeneralVersion};
    const auto key = [](std::string_view text, SortOrder order, bool ascending = true) {
        return KeyOf{ColumnType::Text, ascending, kVersionAce14, order}(Utf16(text));
    };
    EXPECT_EQ(key("Tables", legacy), FromHex("7F 6D4A4C5E516B 0100"));
    EXPECT_EQ(key("été", legacy), FromHex("7F 516D51 01 0E020E 00"));
    EXPECT_EQ(key("a-b", legacy), FromHex("7F 4A4C 01010101 800B0682 00"));
    EXPECT_EQ(key("", legacy), FromHex("7F 0100"));
    EXPECT_EQ(key("a", legacy, false), FromHex("80 B5FEFF 00"));
    // Case and trailing blanks make no difference, accents and hyphens a late one.
    for (const auto order : {legacy, general}) {
        EXPECT_EQ(key("Straße", order), key("STRASSE  ", order));
        EXPECT_LT(key("cote", order), key("coté", order));
        EXPECT_LT(key("coté", order), key("coter", order));
        EXPECT_LT(key("coop", order), key("co-op", order));
        EXPECT_LT(key("co-op", order), key("copa", order));
        EXPECT_LT(key("9", order), key("a", order));
        EXPECT_LT(key("z", order), key("я", order));
        EXPECT_LT(key("𝄞", order), key("𝄢", order));
    }
    // Only the first 255 characters count.
    EXPECT_EQ(key(std::string(300, 'x'), legacy), key(std::string(255, 'x'), legacy));
}

// A wrong key would make the row unfindable for the engine: such rows are refused by the writer.
TEST(IndexKey, SaysWhatItCannotMake) {
    KeyOf text{ColumnType::Text};
    EXPECT_TRUE(text(Utf16("a\u0E01")).size() < 6);  // Thai isn't among the weights
    EXPECT_EQ(text.result, KeyResult::UnknownCharacter);
    KeyOf binary{ColumnType::Binary};
    binary(Bytes{});
    EXPECT_EQ(binary.result, KeyResult::UnknownForm);

    FileHeader header;
    TableDef def;
    def.columns.emplace_back();
    def.columns[0].name = "Namn";
    def.columns[0].sort_order = {0x041D, 0};
    RealIndex index;
    index.columns.push_back({0, 0, true});
    const KeyEncoder encoder(header, def, index);
    EXPECT_NE(encoder.Unsupported().find("'Namn' (language 041D, version 0)"), std::string::npos);
}

// The mask of the file header is the key stream of one key of the same cipher.
TEST(PageCodec, MakesTheKeyStreamThatMasksTheHeader) {
    Bytes page(kMaskedLengthJet4);
    MakeJetEncoding(0x6B39DAC7U ^ 1U)->Encrypt(1, page);
    EXPECT_TRUE(std::equal(page.begin(), page.end(), kHeaderMask.begin(), [](auto a, auto b) {
        return static_cast<std::uint8_t>(a) == b;
    }));
}

}  // namespace
}  // namespace vantry::access
