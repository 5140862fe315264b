#include "data/utf.h"

#include "data/data_error.h"

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

struct PageCase {
    int page;
    std::string bytes;
    std::string text;
};

TEST(CodePage, KnownCharactersComeAndGo) {
    const std::vector<PageCase> cases = {
        {1252, "caf\xE9 \x80 \x9F", "café € Ÿ"},
        {1252, "\x81\x8D\x8F\x90\x9D", "\u0081\u008D\u008F\u0090\u009D"},  // undefined bytes
        {437, "\x81 \xE1 \xB3 \xFE", "ü ß │ ■"},
        {850, "\x9B \xD5", "ø ı"},
        {1251, "\xCF\xF0\xE8\xE2\xE5\xF2 \xB8 \x88", "Привет ё €"},
        {866, "\x8F\xE0\xA8\xF1", "Приё"},
        {1250, "\xE8\xF8\x9E", "čřž"},
        {874, "\xA1\xE9", "ก้"},
        {932, "\x93\xFA\x96\x7B \x83\x5C\xB1", "日本 ソｱ"},  // a second byte that is a backslash
        {936, "\xD6\xD0\x81\x40", "中丂"},
        {65001, "caf\xC3\xA9", "café"},
        {1200, "a\0\xAC\x20\x3D\xD8\x00\xDE"s, "a€\U0001F600"},
    };
    for (const auto& expected : cases) {
        const CodePage page(expected.page);
        std::string text = "+";
        page.AppendUtf8(expected.bytes, text);
        EXPECT_EQ(text, "+" + expected.text) << expected.page;
        std::string bytes = "+";
        EXPECT_TRUE(page.AppendBytes(expected.text, bytes)) << expected.page;
        EXPECT_EQ(bytes, "+" + expected.bytes) << expected.page;
    }
}

TEST(CodePage, EveryByteOfASingleByteSetComesBackAlsoInLongTexts) {
    std::string bytes;
    for (int i = 0; i < 3000; ++i) {
        bytes += static_cast<char>(i * 7);
    }
    for (const int number : {437, 850, 852, 866, 1250, 1251, 1252, 1253, 1254, 1256, 1257}) {
        const CodePage page(number);
        std::string text;
        page.AppendUtf8(bytes, text);
        std::string back;
        EXPECT_TRUE(page.AppendBytes(text, back)) << number;
        EXPECT_EQ(back, bytes) << number;
    }
}

TEST(CodePage, WhatTheSetLacksIsAQuestionMarkAndTold) {
    for (const auto& [number, expected] :
         std::vector<std::pair<int, std::string>>{{1252, "a?\xE9?z"}, {932, "a\x82\xA0??z"}}) {
        const CodePage page(number);
        std::string bytes;
        EXPECT_FALSE(page.AppendBytes("aあé\U0010FFFFz", bytes)) << number;
        EXPECT_EQ(bytes, expected) << number;
    }
    std::string text;
    CodePage(932).AppendUtf8("a\x81", text);  // half a character at the end
    CodePage(932).AppendUtf8("\xFF z", text);
    CodePage(65001).AppendUtf8("\xE9", text);
    EXPECT_EQ(text, "a\uFFFD\uFFFD z\uFFFD");
    EXPECT_THROW(CodePage(895), DataError);
    EXPECT_THROW(CodePage(-1), DataError);
}

TEST(CodePage, FollowsTheLanguageOfTheLocale) {
    const char* before = std::getenv("LC_ALL");
    const std::string saved = before == nullptr ? "" : before;
    for (const auto& [locale, page] :
         std::vector<std::pair<std::string, int>>{{"C", 1252},
                                                  {"de_DE.UTF-8", 1252},
                                                  {"ru_RU.UTF-8", 1251},
                                                  {"pl_PL", 1250},
                                                  {"sr_RS@latin", 1250},
                                                  {"sr_RS", 1251},
                                                  {"zh_TW.UTF-8", 950},
                                                  {"zh_CN", 936},
                                                  {"uz_UZ@cyrillic", 1251},
                                                  {"ja_JP.UTF-8", 932}}) {
        setenv("LC_ALL", locale.c_str(), 1);
        EXPECT_EQ(WindowsCodePageOfLocale(), page) << locale;
    }
    setenv("LC_ALL", "C.UTF-8", 1);
    EXPECT_EQ(LocaleCodePage(), 65001);
    saved.empty() ? unsetenv("LC_ALL") : setenv("LC_ALL", saved.c_str(), 1);
}

}  // namespace
}  // namespace vantry
