// Two different questions: in which character set this machine writes text (the locale's own, UTF-8
// by now), and which one the Windows machines of the same country had (files that say "ANSI", or
// say nothing, come from those). glibc answers the first; the second is a table by language.

#include "data/code_page.h"

#include <langinfo.h>

#include <array>
#include <clocale>
#include <cstdlib>
#include <map>

namespace vantry {
namespace {

constexpr int kUtf8CodePage = 65001;

// Not setlocale(): the program runs in the C locale, whatever the user's is.
std::string EnvironmentLocale(const char* category) {
    for (const char* variable : {"LC_ALL", category, "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    return "C";
}

struct LanguagePage {
    std::string_view languages;  // blank before and after each
    int code_page;
};
// Languages by the Windows code page that their desktops had; all others had 1252.
constexpr std::array<LanguagePage, 13> kLanguagePages{{
    {" bs cs hr hu pl ro sk sl sq sr@latin ", 1250},
    {" ab be bg ce cv kk ky mk mn os ru sah sr tg tt uk uz@cyrillic ", 1251},
    {" el ", 1253},
    {" az ku tr uz ", 1254},
    {" he iw yi ", 1255},
    {" ar fa ps ug ur ", 1256},
    {" et lt lv ", 1257},
    {" vi ", 1258},
    {" th ", 874},
    {" ja ", 932},
    {" zh_CN zh_SG ", 936},
    {" ko ", 949},
    {" zh zh_TW zh_HK zh_MO ", 950},
}};

std::optional<int> PageOfLanguage(const std::string& name) {
    for (const auto& entry : kLanguagePages) {
        if (entry.languages.find(" " + name + " ") != std::string_view::npos) {
            return entry.code_page;
        }
    }
    return std::nullopt;
}

}  // namespace

int LocaleCodePage() {
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    const std::string name = locale == nullptr ? "" : nl_langinfo_l(CODESET, locale);
    if (locale != nullptr) {
        freelocale(locale);
    }
    static const std::map<std::string, int, std::less<>> kOther = {
        {"KOI8-R", 20866},
        {"KOI8-U", 21866},
        {"EUC-JP", 20932},
        {"EUC-KR", 51949},
        {"GBK", 936},
        {"GB2312", 936},
        {"GB18030", 54936},
        {"BIG5", 950},
        {"TIS-620", 874},
    };
    const auto other = kOther.find(name);
    if (other != kOther.end()) {
        return other->second;
    }
    for (const auto& [prefix, base] :
         {std::pair<std::string_view, int>{"ISO-8859-", 28590}, {"CP", 0}}) {
        if (name.starts_with(prefix)) {
            const int number = std::atoi(name.c_str() + prefix.size());
            return number > 0 ? base + number : kUtf8CodePage;
        }
    }
    return kUtf8CodePage;  // UTF-8, and plain ASCII, which is part of it
}

int WindowsCodePageOfLocale() {
    const std::string locale = EnvironmentLocale("LC_CTYPE");
    const std::string with_country = locale.substr(0, locale.find_first_of(".@"));
    const std::string language = with_country.substr(0, with_country.find('_'));
    const auto modifier_at = locale.find('@');
    const std::string modifier = modifier_at == std::string::npos ? "" : locale.substr(modifier_at);
    for (const auto& name :
         {modifier.empty() ? with_country : language + modifier, with_country, language}) {
        if (const auto page = PageOfLanguage(name)) {
            return *page;
        }
    }
    return 1252;
}

}  // namespace vantry
