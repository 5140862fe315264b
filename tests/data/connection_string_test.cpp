#include "data/connection_string.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

// "key=value" with bars between; in angle brackets where the grammar is that of OLE DB.
std::string Shown(const ConnectionString& parsed) {
    std::string pairs;
    for (const auto& pair : parsed.Pairs()) {
        pairs.append(pairs.empty() ? "" : "|").append(pair.key + "=" + pair.value);
    }
    return parsed.IsOleDb() ? "<" + pairs + ">" : pairs;
}

TEST(ConnectionString, IsReadInTheGrammarThatItsProviderDecides) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {";;=x; ;novalue", ""},
        {"DRIVER={MySQL (built in)};SERVER=h;USER=;PASSWORD=a b;Option=3",
         "DRIVER=MySQL (built in)|SERVER=h|USER=|PASSWORD=a b|Option=3"},
        // What is inside the braces isn't grammar, and the first of a repeated key wins.
        {"Driver={a;b};pwd={p;w}}d};PWD=other; Server = {  h } ;x",
         "Driver=a;b|pwd=p;w}d|Server=  h "},
        {"PWD={Provider=x;};SERVER=h", "PWD=Provider=x;|SERVER=h"},
        {"PWD={open;SERVER=h", "PWD={open|SERVER=h"},
        {"PWD=a=b\"c'", "PWD=a=b\"c'"},
        // DSN and DRIVER exclude each other.
        {"DSN=one;DRIVER=two;UID=u", "DSN=one|UID=u"},
        {"Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/x y/z;"
         "Extended Properties=\"text;FMT=Delimited\";\"",
         "<Provider=Microsoft.Jet.OLEDB.4.0|Data Source=/x y/z|"
         "Extended Properties=text;FMT=Delimited>"},
        {"Provider=P;Extended Properties=\"text;FMT=Delimited",
         "<Provider=P|Extended Properties=text;FMT=Delimited>"},
        {"Provider=P;Data Source=/x\"", "<Provider=P|Data Source=/x>"},
        {"Provider=P;a='it''s;\"';b=\"say \"\"x\"\"\" ;c==d=e",
         "<Provider=P|a=it's;\"|b=say \"x\"|c=d=e>"},
        // Typed passwords that begin with a quote, or look quoted in part.
        {"Provider=P;Password='tis;x=1", "<Provider=P|Password='tis|x=1>"},
        {"Provider=P;Password=\"a\"b;x=1", "<Provider=P|Password=\"a\"b|x=1>"},
        {"Provider=P;Jet OLEDB:Database Password=a\"",
         "<Provider=P|Jet OLEDB:Database Password=a\">"},
        // The last wins, but for the provider.
        {"PROVIDER=P;x=1;X=2;provider=Q", "<PROVIDER=P|x=2>"},
    };
    for (const auto& [text, pairs] : cases) {
        const auto parsed = ConnectionString::Parse(text);
        EXPECT_EQ(Shown(parsed), pairs) << text;
        EXPECT_EQ(parsed.Text(), text);
    }
    EXPECT_EQ(ConnectionString::Parse("Provider=P;c==d=e").Get("c=d"), "e");
    // Keys are found in any letter case.
    const auto parsed = ConnectionString::Parse("UID=;User=u;SERVER=h");
    EXPECT_EQ(parsed.Get("server"), "h");
    EXPECT_TRUE(parsed.Has("uid"));
    EXPECT_FALSE(parsed.Has("PWD"));
    EXPECT_EQ(parsed.GetAny({"PWD", "user", "SERVER"}), "u");
    EXPECT_EQ(parsed.GetAny({"UID", "User"}), "");
    EXPECT_EQ(parsed.GetAny({"PWD"}), "");
}

TEST(ConnectionString, NoPasswordIsLeftInAMaskedText) {
    const std::pair<const char*, const char*> cases[] = {
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
    for (const auto& [text, masked] : cases) {
        EXPECT_EQ(ConnectionString::Parse(text).Masked(), masked);
    }
    const auto connection = ConnectionString::Parse("PWD={ab}}cd};Password=abcd;UID=u");
    EXPECT_EQ(MaskSecrets("Can't open {ab}}cd}: ab}cd, abcd, abcdabcd, u", connection),
              "Can't open *****: *****, *****, **********, u");
}

}  // namespace
}  // namespace vantry
