// Index keys of the types that no sample file has an index on: by the format's rules, and by the
// order that they must give. The other types are compared with real indexes in real_files_test.cpp.

#include "drivers/access/indexes/index_key.h"

#include "data/utf.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>

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
        {{ColumnType::Byte}, Stored(std::uint8_t{200}), "7F C8"},
        {{ColumnType::Currency}, Stored(std::int64_t{12'345}), "7F 8000000000003039"},
        {{ColumnType::Currency}, Stored(std::int64_t{-1}), "7F 7FFFFFFFFFFFFFFF"},
        {{ColumnType::Double}, Stored(1.0), "7F BFF0000000000000"},
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
        {{ColumnType::Numeric},
         Numeric(50'000'000'000),
         "7F FF" + std::string(16, '0') + "0000000BA43B7400"},
        {{ColumnType::Numeric, false, kVersionAce14}, Numeric(5), "80 00" + ones + "FFFA"},
        {{ColumnType::Numeric, false, kVersionAce14}, Numeric(-5), "80 FF" + zeros + "0005"},
    };
    for (auto [key, stored, hex] : cases) {
        EXPECT_EQ(key(stored), FromHex(hex)) << hex;
    }
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
        const char* const ascending[] = {
            "9", "a", "coop", "co-op", "copa", "cote", "coté", "coter", "z", "я", "𝄞", "𝄢"};
        for (std::size_t i = 1; i < std::size(ascending); ++i) {
            EXPECT_LT(key(ascending[i - 1], order), key(ascending[i], order)) << ascending[i];
        }
    }
    // Only the first 255 characters count.
    EXPECT_EQ(key(std::string(300, 'x'), legacy), key(std::string(255, 'x'), legacy));
}

// Texts on which ways to make a key easily part, with keys from another program: in clones without
// the shared files these stand for all of them.
TEST(IndexKey, OfTextInManyScripts) {
    constexpr auto kOld = kGeneralLegacyVersion;
    constexpr auto kNew = kGeneralVersion;
    const std::tuple<std::uint8_t, std::u16string_view, std::string_view> cases[] = {
        {kOld, u"e\u0301te\u0301", "7F516D51010E020E00"},
        {kNew, u"Zoe\u0308", "7F0EA90E7C0E210102021300"},
        {kOld, u"O\u02BCBrien", "7F644C69595162014800"},
        {kNew, u"\uFF10Y\u02EC\u0632\u02F9\u02D5_", "7F0D170EA7295F07440102394A00"},
        {kOld,
         u"\u0645\u064F\u062D\u064E\u0645\u064E\u0651\u062F",
         "7F79C679B279C64A79B4010808080208010101800B06A4800F06A3801306A300"},
        {kNew, u"\u05E9\u05C1\u05B8\u05DC\u05D5\u05B9\u05DD", "7F281B280E2807280F015E022D00"},
        {kOld, u"\uFF8A\uFF9E\uFF76", "7F7F2A7F0A01030101FF0280FF8000"},
        {kNew, u"\u0E44\u0E17\u0E22", "7F3C063C8B3CCD0103030300"},
        {kOld, u"\u10D2\u10D4\u10DD", "7F7DF17DF37DFE0100"},
        {kNew, u"\u0BA4\u0BAE\u0BBF\u0BB4\u0BCD", "7F3740374C37843760010202020400"},
        {kOld, u"\u30CF\u30AB\u30BF\u3099", "7F7F2A7F0A7F1A010202030101FF0280FF8000"},
        {kNew, u"\u309B1\U00018A05\u2026g", "7F0D19B024B7030A100E250101023F3F00"},
        {kOld, u"\u4CA2", "7F0100"},
        {kNew, u"\u221E \u25A0 \u2605", "7F0DFF070209BC07020A35017F020300"},
        {kOld, u"\uFB01sh", "7F53596B570100"},
        {kNew, u"\u2764\uFE0F", "7F0AEA0100"},
        {kOld, u"W\uF95EJi\u0329\uF238", "7F73F2155B59F85E010202025C00"},
        {kNew, u"\uD55C\uAD6D\uC5B4", "7FEA4CC173DA570100"},
    };
    for (const auto& [version, units, ascending] : cases) {
        EXPECT_EQ(KeyOfUnits(units, version, true), FromHex(ascending));
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

}  // namespace
}  // namespace vantry::access
