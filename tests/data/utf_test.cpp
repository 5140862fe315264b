#include "data/utf.h"

#include <gtest/gtest.h>

#include <random>

namespace vantry {
namespace {

using namespace std::string_literals;

// Every length and every place around the eight-byte blocks.
TEST(Utf, AsciiIsToldFromTheRestAtEveryPlace) {
    for (std::size_t size = 0; size < 70; ++size) {
        std::string text(size, 'a');
        EXPECT_TRUE(IsAscii(text));
        for (std::size_t at = 0; at < size; ++at) {
            text[at] = '\x80';
            EXPECT_FALSE(IsAscii(text)) << size << " " << at;
            EXPECT_FALSE(IsValidUtf8(text)) << size << " " << at;
            text[at] = 'a';
        }
    }
}

struct UtfCase {
    std::string text;
    std::u16string units;
    bool valid;
};

TEST(Utf, IllFormedTextBecomesReplacementCharacters) {
    const std::vector<UtfCase> cases = {
        {"", u"", true},
        {"a\0b"s, u"a\0b"s, true},
        {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", u"\u0080\u07FF\u0800\uFFFF", true},
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\xD800\xDC00\xDBFF\xDFFF", true},
        {"\xED\x9F\xBF\xEE\x80\x80", u"\uD7FF\uE000", true},
        // Overlong, surrogates, above the last plane, stray and missing continuations.
        {"\xC0\x80", u"\uFFFD\uFFFD", false},
        {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD", false},
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", false},
        {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD", false},
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD", false},
        {"\xF5x\xFFy", u"\uFFFDx\uFFFDy", false},
        {"a\xE2\x82", u"a\uFFFD\uFFFD", false},
        {"\xE2\x82z\xBF", u"\uFFFD\uFFFDz\uFFFD", false},
    };
    for (const auto& expected : cases) {
        EXPECT_EQ(Utf16FromUtf8(expected.text), expected.units) << expected.text;
        EXPECT_EQ(IsValidUtf8(expected.text), expected.valid) << expected.text;
        EXPECT_EQ(CountUtf16Units(expected.text), expected.units.size()) << expected.text;
        if (expected.valid) {
            EXPECT_EQ(Utf8FromUtf16(expected.units), expected.text);
        }
    }
    EXPECT_EQ(Utf8FromUtf16(u"a\xD800z\xDC00"), "a\uFFFDz\uFFFD");
    EXPECT_EQ(Utf8FromUtf16(u"\xD83D"), "\uFFFD");
}

std::string RandomText(std::mt19937& random, std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        constexpr std::array<char32_t, 5> kTops = {0x7F, 0x7FF, 0xFFFF, 0x10FFFF, 0x7F};
        const auto c = static_cast<char32_t>(random() % (kTops[random() % kTops.size()] + 1));
        AppendUtf8(c >= 0xD800 && c <= 0xDFFF ? U'x' : c, text);
    }
    return text;
}

TEST(Utf, RandomTextsComeBackAndPrefixesNeverSplitACharacter) {
    std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): the same texts at each run
    for (std::size_t round = 0; round < 300; ++round) {
        const std::size_t length = round < 295 ? random() % 40 : 700 * (round - 294);
        const std::string text = RandomText(random, length);
        const std::u16string units = Utf16FromUtf8(text);
        ASSERT_EQ(Utf8FromUtf16(units), text);
        ASSERT_TRUE(IsValidUtf8(text));
        ASSERT_EQ(CountCodePoints(text), length);
        const std::size_t most = random() % (units.size() + 2);
        const auto prefix = PrefixOfUtf16Units(text, most);
        ASSERT_TRUE(IsValidUtf8(prefix));
        const std::size_t taken = CountUtf16Units(prefix);
        ASSERT_LE(taken, most);
        ASSERT_TRUE(taken == units.size() || taken + 1 >= most);
    }
}

}  // namespace
}  // namespace vantry
