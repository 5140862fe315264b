// Index keys of the types that no sample file has an index on: by the format's rules, and by the
// order that they must give. The other types are compared with real indexes in real_files_test.cpp.

#include "drivers/access/indexes/index_key.h"

#include "data/utf.h"
#include "drivers/access/encryption/page_cipher.h"
#include "drivers/access/pages/header_mask.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

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

Bytes KeyOfUnits(std::u16string_view units, std::uint8_t version, bool ascending) {
    const auto bytes = std::as_bytes(std::span(units));
    return KeyOf{ColumnType::Text, ascending, kVersionAce14, {kEnglishLcid, version}}(
        Bytes(bytes.begin(), bytes.end()));
}

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
        {{ColumnType::Binary}, Bytes{}, "7F"},
        {{ColumnType::Binary, false}, Bytes{}, "80"},
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

// Texts on which ways to make a key easily part, with keys from another program: in clones without
// the shared files these stand for all of them.
TEST(IndexKey, OfTextInManyScripts) {
    const struct {
        std::uint8_t version;
        std::u16string units;
        std::string_view ascending;
    } cases[] = {
        {kGeneralLegacyVersion, {0x0065, 0x0301, 0x0074, 0x0065, 0x0301}, "7F516D51010E020E00"},
        {kGeneralVersion, {0x005A, 0x006F, 0x0065, 0x0308}, "7F0EA90E7C0E210102021300"},
        {kGeneralLegacyVersion,
         {0x004F, 0x02BC, 0x0042, 0x0072, 0x0069, 0x0065, 0x006E},
         "7F644C69595162014800"},
        {kGeneralVersion,
         {0xFF10, 0x0059, 0x02EC, 0x0632, 0x02F9, 0x02D5, 0x005F},
         "7F0D170EA7295F07440102394A00"},
        {kGeneralLegacyVersion,
         {0x0645, 0x064F, 0x062D, 0x064E, 0x0645, 0x064E, 0x0651, 0x062F},
         "7F79C679B279C64A79B4010808080208010101800B06A4800F06A3801306A300"},
        {kGeneralVersion,
         {0x05E9, 0x05C1, 0x05B8, 0x05DC, 0x05D5, 0x05B9, 0x05DD},
         "7F281B280E2807280F015E022D00"},
        {kGeneralLegacyVersion, {0xFF8A, 0xFF9E, 0xFF76}, "7F7F2A7F0A01030101FF0280FF8000"},
        {kGeneralVersion, {0x0E44, 0x0E17, 0x0E22}, "7F3C063C8B3CCD0103030300"},
        {kGeneralLegacyVersion, {0x10D2, 0x10D4, 0x10DD}, "7F7DF17DF37DFE0100"},
        {kGeneralVersion,
         {0x0BA4, 0x0BAE, 0x0BBF, 0x0BB4, 0x0BCD},
         "7F3740374C37843760010202020400"},
        {kGeneralLegacyVersion,
         {0x30CF, 0x30AB, 0x30BF, 0x3099},
         "7F7F2A7F0A7F1A010202030101FF0280FF8000"},
        {kGeneralVersion,
         {0x309B, 0x0031, 0xD822, 0xDE05, 0x2026, 0x0067},
         "7F0D19B024B7030A100E250101023F3F00"},
        {kGeneralLegacyVersion, {0x4CA2}, "7F0100"},
        {kGeneralVersion,
         {0x221E, 0x0020, 0x25A0, 0x0020, 0x2605},
         "7F0DFF070209BC07020A35017F020300"},
        {kGeneralLegacyVersion, {0xFB01, 0x0073, 0x0068}, "7F53596B570100"},
        {kGeneralVersion, {0x2764, 0xFE0F}, "7F0AEA0100"},
        {kGeneralLegacyVersion,
         {0x0057, 0xF95E, 0x004A, 0x0069, 0x0329, 0xF238},
         "7F73F2155B59F85E010202025C00"},
        {kGeneralVersion, {0xD55C, 0xAD6D, 0xC5B4}, "7FEA4CC173DA570100"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(KeyOfUnits(each.units, each.version, true), FromHex(each.ascending));
    }
}

// 4,000 texts over the whole plane with keys from another program, in both orders, ascending and
// descending. Own code can't check itself here: the verifier makes keys by it, too.
TEST(IndexKey, OfTextEqualsAnotherProgramsKeys) {
    const auto path = std::filesystem::path(VANTRY_SHARED_DATA).parent_path() / "formats" /
                      "access-key-vectors.tsv";
    if (!std::filesystem::exists(path)) {
        GTEST_SKIP() << path << " isn't there";
    }
    std::ifstream vectors(path);
    int keys = 0;
    int wrong = 0;
    for (std::string line; std::getline(vectors, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::istringstream fields(line);
        std::string order;
        std::string text;
        std::getline(fields, order, '\t');
        std::getline(fields, text, '\t');
        std::u16string units;
        for (std::size_t at = 0; at < text.size(); at += 4) {
            units.push_back(static_cast<char16_t>(std::stoi(text.substr(at, 4), nullptr, 16)));
        }
        const std::uint8_t version = order == "legacy" ? kGeneralLegacyVersion : kGeneralVersion;
        for (const bool ascending : {true, false}) {
            std::string wanted;
            std::getline(fields, wanted, '\t');
            ++keys;
            if (KeyOfUnits(units, version, ascending) != FromHex(wanted) && wrong++ < 5) {
                ADD_FAILURE() << line;
            }
        }
    }
    EXPECT_EQ(keys, 16'000);
    EXPECT_EQ(wrong, 0);
}

// A wrong key would make the row unfindable for the engine: such rows are refused by the writer.
TEST(IndexKey, SaysWhatItCannotMake) {
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
