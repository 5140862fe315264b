#include "data/connection_string.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

struct ParseCase {
    const char* text;
    bool ole_db;
    std::vector<std::pair<std::string, std::string>> pairs;
};

TEST(ConnectionString, IsReadInTheGrammarThatItsProviderDecides) {
    const std::vector<ParseCase> cases = {
        {"", false, {}},
        {";;=x; ;novalue", false, {}},
        {"DRIVER={MySQL (built in)};SERVER=h;USER=;PASSWORD=a b;Option=3",
         false,
         {{"DRIVER", "MySQL (built in)"},
          {"SERVER", "h"},
          {"USER", ""},
          {"PASSWORD", "a b"},
          {"Option", "3"}}},
        // What is inside the braces isn't grammar, and the first of a repeated key wins.
        {"Driver={a;b};pwd={p;w}}d};PWD=other; Server = {  h } ;x",
         false,
         {{"Driver", "a;b"}, {"pwd", "p;w}d"}, {"Server", "  h "}}},
        {"PWD={Provider=x;};SERVER=h", false, {{"PWD", "Provider=x;"}, {"SERVER", "h"}}},
        {"PWD={open;SERVER=h", false, {{"PWD", "{open"}, {"SERVER", "h"}}},
        {"PWD=a=b\"c'", false, {{"PWD", "a=b\"c'"}}},
        // DSN and DRIVER exclude each other.
        {"DSN=one;DRIVER=two;UID=u", false, {{"DSN", "one"}, {"UID", "u"}}},
        {"Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/x y/z;"
         "Extended Properties=\"text;FMT=Delimited\";\"",
         true,
         {{"Provider", "Microsoft.Jet.OLEDB.4.0"},
          {"Data Source", "/x y/z"},
          {"Extended Properties", "text;FMT=Delimited"}}},
        {"Provider=P;Extended Properties=\"text;FMT=Delimited",
         true,
         {{"Provider", "P"}, {"Extended Properties", "text;FMT=Delimited"}}},
        {"Provider=P;Data Source=/x\"", true, {{"Provider", "P"}, {"Data Source", "/x"}}},
        {"Provider=P;a='it''s;\"';b=\"say \"\"x\"\"\" ;c==d=e",
         true,
         {{"Provider", "P"}, {"a", "it's;\""}, {"b", "say \"x\""}, {"c=d", "e"}}},
        // Typed passwords that begin with a quote, or look quoted in part.
        {"Provider=P;Password='tis;x=1",
         true,
         {{"Provider", "P"}, {"Password", "'tis"}, {"x", "1"}}},
        {"Provider=P;Password=\"a\"b;x=1",
         true,
         {{"Provider", "P"}, {"Password", "\"a\"b"}, {"x", "1"}}},
        {"Provider=P;Jet OLEDB:Database Password=a\"",
         true,
         {{"Provider", "P"}, {"Jet OLEDB:Database Password", "a\""}}},
        // The last wins, but for the provider.
        {"PROVIDER=P;x=1;X=2;provider=Q", true, {{"PROVIDER", "P"}, {"x", "2"}}},
    };
    for (const auto& expected : cases) {
        const auto parsed = ConnectionString::Parse(expected.text);
        std::vector<std::pair<std::string, std::string>> pairs;
        for (const auto& pair : parsed.Pairs()) {
            pairs.emplace_back(pair.key, pair.value);
        }
        EXPECT_EQ(pairs, expected.pairs) << expected.text;
        EXPECT_EQ(parsed.IsOleDb(), expected.ole_db) << expected.text;
        EXPECT_EQ(parsed.Text(), expected.text);
    }
}

TEST(ConnectionString, KeysAreFoundInAnyLetterCase) {
    const auto parsed = ConnectionString::Parse("UID=;User=u;SERVER=h");
    EXPECT_EQ(parsed.Get("server"), "h");
    EXPECT_TRUE(parsed.Has("uid"));
    EXPECT_FALSE(parsed.Has("PWD"));
    EXPECT_EQ(parsed.GetAny({"PWD", "user", "SERVER"}), "u");
    EXPECT_EQ(parsed.GetAny({"UID", "User"}), "");
    EXPECT_EQ(parsed.GetAny({"PWD"}), "");
}

struct MaskCase {
    const char* text;
    const char* masked;
};

TEST(ConnectionString, NoPasswordIsLeftInAMaskedText) {
    const std::vector<MaskCase> cases = {
        {"DRIVER={d};PWD=S3cr3t-Ünique;UID=u", "DRIVER={d};PWD=*****;UID=u"},
        {"PWD={p;w}}d};Password=second;Server=h", "PWD=*****;Password=*****;Server=h"},
        {"PWD={p;w}left over;UID=u", "PWD=*****;UID=u"},
        {"Provider=P;Data Source=/x;jet oledb:database password=\"a;b\"",
         "Provider=P;Data Source=/x;jet oledb:database password=*****"},
        {"Provider=MSDASQL;Extended Properties=\"DSN=x;PWD=hidden;UID=u\";DSN=y",
         "Provider=MSDASQL;Extended Properties=\"DSN=x;PWD=*****;UID=u\";DSN=y"},
        {"SERVER=h;PWD=;UID=u", "SERVER=h;PWD=;UID=u"},
        // A short one is no reason to tear other words apart.
        {"SERVER=server;UID=e;PWD=e", "SERVER=server;UID=*****;PWD=*****"},
    };
    for (const auto& expected : cases) {
        EXPECT_EQ(ConnectionString::Parse(expected.text).Masked(), expected.masked);
    }
    const auto connection = ConnectionString::Parse("PWD={ab}}cd};Password=abcd;UID=u");
    EXPECT_EQ(MaskSecrets("Can't open {ab}}cd}: ab}cd, abcd, abcdabcd, u", connection),
              "Can't open *****: *****, *****, **********, u");
}

}  // namespace
}  // namespace vantry
