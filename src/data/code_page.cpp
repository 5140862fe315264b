#include "data/data_error.h"
#include "data/text_scan.h"
#include "data/utf.h"

#include <iconv.h>
#include <langinfo.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace vantry {
namespace {

constexpr int kUtf8CodePage = 65001;
constexpr int kVietnamese = 1258;
// Bytes converted in one go on the stack.
constexpr std::size_t kChunk = 512;
constexpr std::size_t kFailed = static_cast<std::size_t>(-1);

class Converter {
public:
    Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
    ~Converter() {
        if (IsOpen()) {
            iconv_close(handle_);
        }
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool IsOpen() const { return handle_ != invalid_; }

    // Converts the whole of `in`; `on_bad(at)` appends what stands for the ill-formed place and
    // returns how many bytes of input to pass over. Starts and ends in the initial shift state.
    template <typename OnBad>
    void Convert(std::string_view in, std::string& out, OnBad on_bad) const {
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        char* from = const_cast<char*>(in.data());  // NOLINT(cppcoreguidelines-pro-type-const-cast)
        std::size_t left = in.size();
        bool flushing = false;
        while (true) {
            std::array<char, 1024> chunk;
            char* to = chunk.data();
            std::size_t room = chunk.size();
            const std::size_t result = flushing ? iconv(handle_, nullptr, nullptr, &to, &room)
                                                : iconv(handle_, &from, &left, &to, &room);
            const int error = result == kFailed ? errno : 0;
            out.append(chunk.data(), chunk.size() - room);
            if (error == E2BIG) {
                continue;
            }
            if (flushing) {
                return;
            }
            if (error != 0) {
                // A character that waits for its accent is still inside the converter.
                to = chunk.data();
                room = chunk.size();
                iconv(handle_, nullptr, nullptr, &to, &room);
                out.append(chunk.data(), chunk.size() - room);
                errno = error;
                const std::size_t skipped = std::min(on_bad(in.size() - left, out), left);
                from += skipped;
                left -= skipped;
            } else {
                flushing = left == 0;
            }
        }
    }

private:
    static inline const iconv_t invalid_ =
        reinterpret_cast<iconv_t>(-1);  // NOLINT(performance-no-int-to-ptr)
    iconv_t handle_;
};

bool EightAscii(std::string_view text, std::size_t at) {
    return text.size() - at >= 8 && (EightAt(text.data() + at) & 0x8080808080808080) == 0;
}

// The platform's names of a code page, the likeliest first.
std::vector<std::string> NamesOf(int number) {
    switch (number) {
        case 1200:
            return {"UTF-16LE"};
        case 1201:
            return {"UTF-16BE"};
        case 10000:
            return {"MACINTOSH"};
        case 10006:
            return {"MACGREEK"};
        case 10007:
            return {"MAC-CYRILLIC"};
        case 10029:
            return {"MAC-CENTRALEUROPE"};
        case 20127:
            return {"US-ASCII"};
        case 20866:
            return {"KOI8-R"};
        case 20932:
            return {"EUC-JP"};
        case 21866:
            return {"KOI8-U"};
        case 51949:
            return {"EUC-KR"};
        case 54936:
            return {"GB18030"};
        default:
            break;
    }
    if (number > 28590 && number <= 28606) {
        return {"ISO-8859-" + std::to_string(number - 28590)};
    }
    const std::string digits = std::to_string(number);
    return {"CP" + digits, "WINDOWS-" + digits, "IBM" + digits};
}

std::string NameOf(int number) {
    for (const auto& name : NamesOf(number)) {
        if (Converter(name.c_str(), "UTF-8").IsOpen() &&
            Converter("UTF-8", name.c_str()).IsOpen()) {
            return name;
        }
    }
    throw DataError(kErrUnspecified,
                    "The character set " + std::to_string(number) +
                        " isn't known on this computer. Choose another one, for example 1252.");
}

}  // namespace

struct CodePage::Tables {
    explicit Tables(int number);

    bool IsSingleByte() const { return !decoded.empty(); }
    void BuildSingleByte();
    void DecodeSingleByte(std::string_view bytes, std::string& out) const;
    bool EncodeSingleByte(std::string_view utf8, std::string& out) const;

    struct Decoded {
        std::array<char, 3> bytes{};
        std::uint8_t length = 0;
    };
    static_assert(sizeof(Decoded) == 4);
    struct Page {
        std::array<std::int16_t, 256> bytes;
    };

    // Null for UTF-8.
    std::unique_ptr<Converter> to_utf8;
    std::unique_ptr<Converter> from_utf8;
    std::string question_mark = "?";
    bool ascii_stays = true;  // each ASCII character is the same one byte in the set

    // Single-byte sets: what each byte is in UTF-8, and the byte of each character of the basic
    // plane, in pages of 256 characters; -1 where the set has none.
    std::vector<Decoded> decoded;
    std::array<std::uint8_t, 256> page_of{};
    std::vector<Page> pages;
};

CodePage::Tables::Tables(int number) {
    if (number == kUtf8CodePage) {
        return;
    }
    const std::string name = NameOf(number);
    to_utf8 = std::make_unique<Converter>("UTF-8", name.c_str());
    from_utf8 = std::make_unique<Converter>(name.c_str(), "UTF-8");

    std::string ascii(128, '\0');
    for (std::size_t i = 0; i < ascii.size(); ++i) {
        ascii[i] = static_cast<char>(i);
    }
    const auto drop = [](std::size_t, std::string&) -> std::size_t { return 1; };
    std::string there;
    std::string back;
    to_utf8->Convert(ascii, there, drop);
    from_utf8->Convert(ascii, back, drop);
    ascii_stays = there == ascii && back == ascii;
    question_mark.clear();
    from_utf8->Convert("?", question_mark, drop);
    // Vietnamese writes accents as characters of their own, which the platform puts together.
    if (number != kVietnamese) {
        BuildSingleByte();
    }
}

void CodePage::Tables::BuildSingleByte() {
    std::vector<Decoded> table(256);
    std::vector<char32_t> code_points(256);
    for (std::size_t byte = 0; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        bool undefined = false;
        bool incomplete = false;
        std::string text;
        to_utf8->Convert({&character, 1}, text, [&](std::size_t, std::string&) -> std::size_t {
            incomplete = errno == EINVAL;
            undefined = true;
            return 1;
        });
        if (incomplete) {
            return;  // a lead byte: the set has characters of several bytes
        }
        if (undefined || text.empty()) {
            text.clear();
            vantry::AppendUtf8(static_cast<char32_t>(byte), text);
        }
        std::size_t end = 0;
        code_points[byte] = NextCodePoint(text, end);
        if (end != text.size() || text.size() > 3) {
            return;
        }
        std::copy(text.begin(), text.end(), table[byte].bytes.begin());
        table[byte].length = static_cast<std::uint8_t>(text.size());
    }
    decoded = std::move(table);
    Page empty;
    empty.bytes.fill(-1);
    pages.push_back(empty);
    // Backwards, so that of two bytes with one character the lower one is written.
    for (std::size_t byte = 256; byte-- > 0;) {
        const char32_t code_point = code_points[byte];
        std::uint8_t& page = page_of[code_point >> 8];
        if (page == 0) {
            page = static_cast<std::uint8_t>(pages.size());
            pages.push_back(empty);
        }
        pages[page].bytes[code_point & 0xFF] = static_cast<std::int16_t>(byte);
    }
}

void CodePage::Tables::DecodeSingleByte(std::string_view bytes, std::string& out) const {
    std::array<char, 3 * kChunk + 1> chunk;
    while (!bytes.empty()) {
        const std::string_view part = bytes.substr(0, kChunk);
        bytes.remove_prefix(part.size());
        char* to = chunk.data();
        for (std::size_t at = 0; at < part.size();) {
            if (ascii_stays && EightAscii(part, at)) {
                std::memcpy(to, part.data() + at, 8);
                at += 8;
                to += 8;
                continue;
            }
            const Decoded& character = decoded[static_cast<unsigned char>(part[at++])];
            std::memcpy(to, &character, sizeof character);  // the length goes where the next begins
            to += character.length;
        }
        out.append(chunk.data(), to);
    }
}

bool CodePage::Tables::EncodeSingleByte(std::string_view utf8, std::string& out) const {
    bool whole = true;
    std::array<char, kChunk> chunk;
    std::size_t used = 0;
    for (std::size_t at = 0; at < utf8.size();) {
        if (used + 8 > chunk.size()) {
            out.append(chunk.data(), used);
            used = 0;
        }
        if (ascii_stays && EightAscii(utf8, at)) {
            std::memcpy(chunk.data() + used, utf8.data() + at, 8);
            at += 8;
            used += 8;
            continue;
        }
        const char32_t code_point = NextCodePoint(utf8, at);
        const int byte =
            code_point < 0x10000 ? pages[page_of[code_point >> 8]].bytes[code_point & 0xFF] : -1;
        chunk[used++] = byte < 0 ? '?' : static_cast<char>(byte);
        whole = whole && byte >= 0;
    }
    out.append(chunk.data(), used);
    return whole;
}

CodePage::CodePage(int number) : number_(number) {
    // Tables of single-byte sets are the same for all; a converter has a state of its own.
    static std::mutex mutex;
    static std::map<int, std::shared_ptr<const Tables>> known;
    const std::lock_guard lock(mutex);
    const auto found = known.find(number);
    if (found != known.end()) {
        tables_ = found->second;
        return;
    }
    tables_ = std::make_shared<const Tables>(number);
    if (tables_->IsSingleByte()) {
        known.emplace(number, tables_);
    }
}

CodePage::~CodePage() = default;
CodePage::CodePage(CodePage&&) noexcept = default;
CodePage& CodePage::operator=(CodePage&&) noexcept = default;

void CodePage::AppendUtf8(std::string_view bytes, std::string& out) const {
    const Tables& tables = *tables_;
    if (tables.ascii_stays && IsAscii(bytes)) {
        out.append(bytes);
        return;
    }
    if (tables.IsSingleByte()) {
        tables.DecodeSingleByte(bytes, out);
        return;
    }
    if (!tables.to_utf8) {
        if (IsValidUtf8(bytes)) {
            out.append(bytes);
            return;
        }
        for (std::size_t at = 0; at < bytes.size();) {
            vantry::AppendUtf8(NextCodePoint(bytes, at), out);
        }
        return;
    }
    tables.to_utf8->Convert(bytes, out, [](std::size_t, std::string& text) -> std::size_t {
        vantry::AppendUtf8(U'\uFFFD', text);
        return 1;
    });
}

bool CodePage::AppendBytes(std::string_view utf8, std::string& out) const {
    const Tables& tables = *tables_;
    if (tables.ascii_stays && IsAscii(utf8)) {
        out.append(utf8);
        return true;
    }
    if (tables.IsSingleByte()) {
        return tables.EncodeSingleByte(utf8, out);
    }
    bool whole = true;
    if (!tables.from_utf8) {
        whole = IsValidUtf8(utf8);
        for (std::size_t at = 0; at < utf8.size();) {
            vantry::AppendUtf8(NextCodePoint(utf8, at), out);
        }
        return whole;
    }
    tables.from_utf8->Convert(utf8, out, [&](std::size_t at, std::string& bytes) {
        whole = false;
        bytes.append(tables.question_mark);
        std::size_t next = at;
        NextCodePoint(utf8, next);
        return next - at;
    });
    return whole;
}

namespace {

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
