// Characters: UTF-8 and UTF-16, letter case and order, code pages.

#include "data/code_page.h"
#include "data/data_error.h"
#include "data/letter_case.h"
#include "data/letter_order.h"
#include "data/utf.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

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

TEST(Utf, IllFormedTextBecomesReplacementCharacters) {
    const std::tuple<std::string, std::u16string, bool> cases[] = {
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
    for (const auto& [text, units, valid] : cases) {
        EXPECT_EQ(Utf16FromUtf8(text), units) << text;
        EXPECT_EQ(IsValidUtf8(text), valid) << text;
        EXPECT_EQ(CountUtf16Units(text), units.size()) << text;
        EXPECT_EQ(Utf8FromUtf16(units) == text, valid) << text;
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

// No character may become two, and none may go with the locale (Turkish would make "İ" of "i").
TEST(LetterCase, ChangesEachCharacterByItself) {
    const std::array<const char*, 3> cases[] = {{"Straße", "STRAßE", "straße"},
                                                {"iI\u0131\u0130", "III\u0130", "ii\u0131i"},
                                                {"Ǆ ǅ ǆ", "Ǆ Ǆ Ǆ", "ǆ ǆ ǆ"},
                                                {"Σίσυφος", "ΣΊΣΥΦΟΣ", "σίσυφος"},
                                                {"Ёж\U00010400", "ЁЖ\U00010400", "ёж\U00010428"},
                                                {"a\xFF@[`{", "A\uFFFD@[`{", "a\uFFFD@[`{"}};
    for (const auto& [text, upper, lower] : cases) {
        EXPECT_EQ(UpperCased(text), upper);
        EXPECT_EQ(LowerCased(text), lower);
    }
    EXPECT_TRUE(SameName("  Größe", "GRÖßE "));
    EXPECT_FALSE(SameName("Größe", "Grösse"));
    EXPECT_FALSE(SameName("a\tb", "a b"));
}

// All letter cases of a letter, and no other letter, fold to one.
TEST(LetterCase, FoldsWhatDiffersInCaseAlone) {
    for (const std::u32string_view same :
         {U"Aa", U"Σσς", U"Ёё", U"Ǆǅǆ", U"ſsS", U"\u212Akk", U"µμ"}) {
        for (const char32_t c : same) {
            EXPECT_EQ(FoldedCase(c), FoldedCase(same[0])) << static_cast<unsigned>(c);
        }
    }
    EXPECT_NE(FoldedCase(U'\u0131'), FoldedCase(U'i'));
    EXPECT_NE(FoldedCase(U'@'), FoldedCase(U'`'));
    EXPECT_NE(FoldedCase(U'é'), FoldedCase(U'e'));
}

// Between the slashes letters ascend, or stand at one place; the blocks are those in which accents
// had been taken for letters behind z.
TEST(LetterOrder, FollowsTheAlphabetInEveryScript) {
    const std::u32string_view ascending =
        U" -09_a/anŋoz{/iıj/zþ|/αβγω/абвеиклэюя/אבג/ա\u0562/a€/€中/zαаא中한\U0001F600";
    const std::u32string_view at_one_place =
        U"aáãåāąạầæª/eéęệ/oøőờœ/dđð/lł/zžź/2²/αά/её/かが/f\uFB01";
    for (const bool ascends : {true, false}) {
        const auto letters = ascends ? ascending : at_one_place;
        for (std::size_t k = 1; k < letters.size(); ++k) {
            if (letters[k] != U'/' && letters[k - 1] != U'/') {
                const auto before = LetterPlace(letters[k - 1]);
                const auto place = LetterPlace(letters[k]);
                EXPECT_TRUE(ascends ? before < place : before == place) << k << ascends;
            }
        }
    }
}

TEST(Ascii, LettersStayApartFromTheirNeighbours) {
    EXPECT_TRUE(EqualsNoCase("AZaz09", "azAZ09"));
    EXPECT_FALSE(EqualsNoCase("@[", "`{"));
    EXPECT_FALSE(EqualsNoCase("\xC4", "\xE4"));
    EXPECT_TRUE(ContainsNoCase("xxFoxPro", "foxpro"));
    EXPECT_TRUE(ContainsNoCase("", ""));
    EXPECT_FALSE(StartsWithNoCase("ab", "abc"));
    EXPECT_TRUE(EndsWithNoCase("orders.DBF", ".dbf"));
    EXPECT_FALSE(EndsWithNoCase("bf", ".dbf"));
    EXPECT_EQ(HexValue('9') * 256 + HexValue('f') * 16 + HexValue('A'), 0x9FA);
    for (const char c : std::string_view("/:@G`g ")) {
        EXPECT_EQ(HexValue(c), -1) << c;
    }
    EXPECT_EQ(Trimmed(" \t a  "), "\t a");
    EXPECT_EQ(TrimBlanks(" \t a \n "), "a \n");
    EXPECT_EQ(TrimSpace(" \t\r\n"), "");
}

TEST(CodePage, KnownCharactersComeAndGo) {
    const std::tuple<int, std::string, std::string> cases[] = {
        {1252, "caf\xE9 \x80 \x9F", "café € Ÿ"},
        {1252, "\x81\x8D\x8F\x90\x9D", "\u0081\u008D\u008F\u0090\u009D"},  // undefined bytes
        {1251, "\xCF\xF0\xE8\xE2\xE5\xF2 \xB8 \x88", "Привет ё €"},
        {866, "\x8F\xE0\xA8\xF1", "Приё"},
        {874, "\xA1\xE9", "ก้"},
        {620, "\x86\x8D\x9C\xA7 \xE1\xB3", "ąćŁż ß│"},  // Polish, box signs as in 437
        {895, "\x80\x9E\xA9\xAD \xFE", "ČŘř§ ■"},       // Czech
        {737, "\x80\xE1", "Αά"},
        {949, "\xB0\xA1\x81\x41", "가갂"},
        {950, "\xA4\xA4\xA5\x5C", "中功"},  // the second ends in a backslash
        {10000, "\x8A\xA7", "äß"},
        {10029, "\x8B\x93", "čď"},
        {1258, "\xE2\xCC m\xF5\xEC ", "\u1EA7 m\u1EDB "},
        {54936, "\xD6\xD0\x81\x30\x81\x30\x94\x39\xDA\x33", "中\u0080\U0001F4A9"},
        {932, "\x93\xFA\x96\x7B \x83\x5C\xB1", "日本 ソｱ"},  // a second byte that is a backslash
        {936, "\xD6\xD0\x81\x40", "中丂"},
        {65001, "caf\xC3\xA9", "café"},
        {1200, "a\0\xAC\x20\x3D\xD8\x00\xDE"s, "a€\U0001F600"},
    };
    for (const auto& [number, its_bytes, its_text] : cases) {
        const CodePage page(number);
        std::string text = "+";
        page.AppendUtf8(its_bytes, text);
        EXPECT_EQ(text, "+" + its_text) << number;
        std::string bytes = "+";
        EXPECT_TRUE(page.AppendBytes(its_text, bytes)) << number;
        EXPECT_EQ(bytes, "+" + its_bytes) << number;
    }
}

const std::vector<int> kSingleByte = {437,  620,  737,  850,   852,   857,   860,  861,  863,
                                      865,  866,  874,  895,   1250,  1251,  1252, 1253, 1254,
                                      1255, 1256, 1257, 10000, 10006, 10007, 10029};

// Open bytes and control characters among them, in texts longer than a piece.
TEST(CodePage, EveryByteOfASingleByteSetComesBackAndNoneIsTheLetterOfAnotherSet) {
    std::string bytes;
    for (int i = 0; i < 3000; ++i) {
        bytes += static_cast<char>(i * 7);
    }
    for (const int number : kSingleByte) {
        const CodePage page(number);
        std::string text;
        EXPECT_EQ(page.AppendUtf8Strictly(bytes, text), std::nullopt) << number;
        std::string back;
        EXPECT_EQ(page.AppendBytesStrictly(text, back), std::nullopt) << number;
        EXPECT_EQ(back, bytes) << number;
        std::string controls;
        page.AppendUtf8("\x1A\x1C\x7F\x80", controls);
        EXPECT_TRUE(controls.starts_with("\x1A\x1C\x7F")) << number;
    }
    std::string greek;
    EXPECT_EQ(CodePage(1253).AppendBytesStrictly("aÿ", greek), 1U);  // FF is open there
}

// All pairs: those that decode come back as the pair itself or as another one of the same meaning.
TEST(CodePage, EveryPairOfADoubleByteSetComesBackAsTheSameCharacter) {
    for (const auto& [number, least] :
         std::vector<std::pair<int, int>>{{932, 9000}, {936, 23000}, {949, 17000}, {950, 13000}}) {
        const CodePage page(number);
        int characters = 0;
        for (int pair = 0x8000; pair < 0xFFFF; ++pair) {
            const std::string bytes = {static_cast<char>(pair >> 8), static_cast<char>(pair)};
            std::string text;
            if (page.AppendUtf8Strictly(bytes, text) || CountCodePoints(text) != 1) {
                continue;
            }
            ++characters;
            std::string back;
            ASSERT_EQ(page.AppendBytesStrictly(text, back), std::nullopt) << number << " " << pair;
            std::string again;
            page.AppendUtf8(back, again);
            ASSERT_EQ(again, text) << number << " " << pair;
        }
        EXPECT_GE(characters, least) << number;
    }
    std::string bytes;
    EXPECT_TRUE(CodePage(932).AppendBytes("①Ⅰ纊", bytes));  // each is there two or three times
    EXPECT_EQ(bytes, "\x87\x40\x87\x54\xFA\x5C");
}

struct BadCase {
    int page;
    std::string text;
    std::size_t at;      // of the first character that the set lacks
    std::string before;  // its bytes up to there
    std::string with_marks;
};

TEST(CodePage, WhatTheSetLacksIsReportedWithItsPlace) {
    const std::vector<BadCase> cases = {
        {1252, "aあé\U0010FFFFz", 1, "a", "a?\xE9?z"},
        {932, "aあé\U0010FFFFz", 4, "a\x82\xA0", "a\x82\xA0??z"},
        {895, "12345678ł", 8, "12345678", "12345678?"},
        {437, "é\xFFz", 2, "\x82", "\x82?z"},  // ill-formed UTF-8
        {1258, "ấ\u0416", 3, "\xE2\xEC", "\xE2\xEC?"},
        {20127, "aé", 1, "a", "a?"},
        {20932, "aあ\U0010FFFFz", 4, "a\xA4\xA2", "a\xA4\xA2?z"},
        {65001, "é\xE9z", 2, "é", "é?z"},
        {1200, "a\xFFz", 1, "a\0"s, "a\0?\0z\0"s},
    };
    for (const auto& expected : cases) {
        const CodePage page(expected.page);
        std::string bytes = "+";
        EXPECT_EQ(page.AppendBytesStrictly(expected.text, bytes), expected.at) << expected.page;
        EXPECT_EQ(bytes, "+" + expected.before) << expected.page;
        bytes.clear();
        EXPECT_FALSE(page.AppendBytes(expected.text, bytes)) << expected.page;
        EXPECT_EQ(bytes, expected.with_marks) << expected.page;
    }
    EXPECT_THROW(CodePage(896), DataError);
    EXPECT_THROW(CodePage(-1), DataError);
}

TEST(CodePage, BytesThatMeanNothingAreReportedAndDontTakeADelimiterAlong) {
    const std::vector<BadCase> cases = {
        {932, "a\x81", 1, "a", "a\uFFFD"},  // half a character at the end
        {932, "\xFF z", 0, "", "\uFFFD z"},
        {932, "\x82\xA0\x81,b", 2, "あ", "あ\uFFFD,b"},
        {936, "\xD6\xD0\xFE\xFF\xD6\xD0", 2, "中", "中\uFFFD中"},
        {950, "\xA4\xA4\xC7\xFF\xA4\xA4", 2, "中", "中\uFFFD中"},
        {65001, "a\xE9z", 1, "a", "a\uFFFDz"},
        {20932, "\xA4\xA2\xA4", 2, "あ", "あ\uFFFD"},
    };
    for (const auto& expected : cases) {
        const CodePage page(expected.page);
        std::string text;
        EXPECT_EQ(page.AppendUtf8Strictly(expected.text, text), expected.at) << expected.page;
        EXPECT_EQ(text, expected.before) << expected.page;
        text.clear();
        page.AppendUtf8(expected.text, text);
        EXPECT_EQ(text, expected.with_marks) << expected.page;
    }
}

TEST(CodePage, FollowsTheLanguageOfTheLocale) {
    const char* before = std::getenv("LC_ALL");
    const std::string saved = before == nullptr ? "" : before;
    const std::map<std::string, int> pages = {{"C", 1252},
                                              {"de_DE.UTF-8", 1252},
                                              {"ru_RU.UTF-8", 1251},
                                              {"pl_PL", 1250},
                                              {"sr_RS@latin", 1250},
                                              {"sr_RS", 1251},
                                              {"zh_TW.UTF-8", 950},
                                              {"zh_CN", 936},
                                              {"uz_UZ@cyrillic", 1251},
                                              {"ja_JP.UTF-8", 932}};
    for (const auto& [locale, page] : pages) {
        setenv("LC_ALL", locale.c_str(), 1);
        EXPECT_EQ(WindowsCodePageOfLocale(), page) << locale;
    }
    setenv("LC_ALL", "C.UTF-8", 1);
    EXPECT_EQ(LocaleCodePage(), 65001);
    saved.empty() ? unsetenv("LC_ALL") : setenv("LC_ALL", saved.c_str(), 1);
}

}  // namespace
}  // namespace vantry
