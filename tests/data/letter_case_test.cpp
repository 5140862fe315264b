#include "data/letter_case.h"

#include "data/letter_order.h"
#include "data/utf.h"

#include <gtest/gtest.h>

#include <ranges>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {
namespace {

using namespace std::string_view_literals;

struct CaseOf {
    std::string text;
    std::string upper;
    std::string lower;
};

// No character may become two, and none may go with the locale (Turkish would make "İ" of "i").
TEST(LetterCase, ChangesEachCharacterByItself) {
    for (const auto& expected :
         std::vector<CaseOf>{{"Straße", "STRAßE", "straße"},
                             {"iI\u0131\u0130", "III\u0130", "ii\u0131i"},
                             {"Ǆ ǅ ǆ", "Ǆ Ǆ Ǆ", "ǆ ǆ ǆ"},
                             {"Σίσυφος", "ΣΊΣΥΦΟΣ", "σίσυφος"},
                             {"Ёж\U00010400", "ЁЖ\U00010400", "ёж\U00010428"},
                             {"a\xFF@[`{", "A\uFFFD@[`{", "a\uFFFD@[`{"}}) {
        EXPECT_EQ(UpperCased(expected.text), expected.upper);
        EXPECT_EQ(LowerCased(expected.text), expected.lower);
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

// Each line ascends, or stands at one place; the blocks are those in which accents had been taken
// for letters behind z.
TEST(LetterOrder, FollowsTheAlphabetInEveryScript) {
    for (const auto ascending : std::views::split(
             U" -09_a;anŋoz{;iıj;zþ|;αβγω;абвеиклэюя;אבג;ա\u0562;a€;€中;zαаא中한\U0001F600"sv,
             U';')) {
        for (std::size_t k = 1; k < ascending.size(); ++k) {
            EXPECT_LT(LetterPlace(ascending[k - 1]), LetterPlace(ascending[k]))
                << static_cast<unsigned>(ascending[k]);
        }
    }
    for (const auto one_place :
         std::views::split(U"aáãåāąạầæª;eéęệ;oøőờœ;dđð;lł;zžź;2²;αά;её;かが;f\uFB01"sv, U';')) {
        for (const char32_t c : one_place) {
            EXPECT_EQ(LetterPlace(c), LetterPlace(one_place[0])) << static_cast<unsigned>(c);
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
    const std::string hex = "0123456789abcdefABCDEF";
    for (int c = 0; c < 128; ++c) {
        const auto at = hex.find(static_cast<char>(c));
        const int value = at == std::string::npos ? -1 : static_cast<int>(at < 16 ? at : at - 6);
        EXPECT_EQ(HexValue(static_cast<char>(c)), value) << c;
    }
    EXPECT_EQ(Trimmed(" \t a  "), "\t a");
    EXPECT_EQ(TrimBlanks(" \t a \n "), "a \n");
    EXPECT_EQ(TrimSpace(" \t\r\n"), "");
}

}  // namespace
}  // namespace vantry
