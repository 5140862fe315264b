// Tables are made from the Unicode library's converter, by asking it for each byte, each pair of a
// lead byte, and each character found: some pairs of the Far Eastern sets mean the same character,
// and the library knows which of them Windows writes.
//
// Two things would be got wrong by taking the library's answers as they are: its DOS pages swap
// three control characters (1A, 1C, 7F), though in files they are themselves; and bytes that a set
// leaves open must come back, and must not become letters of another set. The sets that the
// library doesn't know, Mazovia and Kamenicky, are written down here.

#include "data/code_page_tables.h"

#include "data/data_error.h"
#include "data/utf.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>

namespace vantry {
namespace {

constexpr int kDosLatinUs = 437;
constexpr char32_t kFirstLatin = 0xA0;
constexpr char32_t kPrivateUse = 0xF700;

// DOS pages of the years before Windows that only programs of their countries used. From B0 on both
// are as page 437.
struct OwnPage {
    int number;
    std::u16string_view from_80_to_af;
};
constexpr std::size_t kOwnCharacters = 0x30;
constexpr std::array<OwnPage, 2> kOwnPages{{
    {620, u"ÇüéâäàąçêëèïîćÄĄĘęłôöĆûùŚÖÜ¢Ł¥śƒŹŻóÓńŃźż¿⌐¬½¼¡«»"},  // Mazovia, Polish
    {895, u"ČüéďäĎŤčěĚĹÍľĺÄÁÉžŽôöÓůÚýÖÜŠĽÝŘťáíóúňŇŮÔšřŕŔ¼§«»"},  // Kamenicky, Czech and Slovak
}};
static_assert(std::all_of(kOwnPages.begin(), kOwnPages.end(), [](const OwnPage& page) {
    return page.from_80_to_af.size() == kOwnCharacters;
}));

const OwnPage* FindOwnPage(int number) {
    const auto* const found =
        std::find_if(kOwnPages.begin(), kOwnPages.end(), [&](const OwnPage& page) {
            return page.number == number;
        });
    return found == kOwnPages.end() ? nullptr : found;
}

// The library's names of a code page, the likeliest first. Its names in "windows-" follow the
// numbers, but not for all pages.
std::vector<std::string> NamesOf(int number) {
    const std::string digits = std::to_string(number);
    std::vector<std::string> names = {"windows-" + digits, "ibm-" + digits};
    if (number > 28590 && number <= 28606) {
        names.push_back("ISO-8859-" + std::to_string(number - 28590));
        names.push_back("iso-8859_" + std::to_string(number - 28590) + "-1998");
    } else if (number == 20932) {
        names.emplace_back("EUC-JP");
    }
    return names;
}

// Adds a character to the tables; the first bytes of a character are those that are written.
class TableMaker {
public:
    TableMaker() { tables_->pages.emplace_back().fill(CodePageTables::kNone); }

    void AddSingle(unsigned byte, char32_t code_point) {
        tables_->single[byte] = Decoded(code_point);
        Write(code_point, byte);
    }
    void AddPair(unsigned lead, unsigned trail, char32_t code_point) {
        std::uint8_t& index = tables_->pairs_of[lead];
        if (index == 0) {
            tables_->pairs.emplace_back();
            index = static_cast<std::uint8_t>(tables_->pairs.size());
        }
        tables_->pairs[index - 1U][trail] = Decoded(code_point);
    }
    void Write(char32_t code_point, unsigned bytes) {
        std::uint8_t& page = tables_->page_of[code_point >> 8];
        if (page == 0) {
            page = static_cast<std::uint8_t>(tables_->pages.size());
            tables_->pages.push_back(tables_->pages[0]);
        }
        auto& place = tables_->pages[page][code_point & 0xFF];
        if (place == CodePageTables::kNone) {
            place = static_cast<std::uint16_t>(bytes);
        }
    }
    bool Has(unsigned byte) const { return tables_->single[byte].length != 0; }
    bool Writes(char32_t code_point) const {
        return tables_->BytesOf(code_point) != CodePageTables::kNone;
    }
    std::shared_ptr<const CodePageTables> Take() { return std::move(tables_); }

private:
    static DecodedCharacter Decoded(char32_t code_point) {
        std::string text;
        AppendUtf8(code_point, text);
        DecodedCharacter character;
        std::copy(text.begin(), text.end(), character.bytes.begin());
        character.length = static_cast<std::uint8_t>(text.size());
        return character;
    }

    std::shared_ptr<CodePageTables> tables_ = std::make_shared<CodePageTables>();
};

// The one character of the basic plane that the bytes mean; nothing if they mean none.
std::optional<char32_t> CharacterOf(UConverter* converter, std::string_view bytes) {
    std::array<char16_t, 4> units{};
    UErrorCode error = U_ZERO_ERROR;
    const auto count = ucnv_toUChars(converter,
                                     units.data(),
                                     static_cast<std::int32_t>(units.size()),
                                     bytes.data(),
                                     static_cast<std::int32_t>(bytes.size()),
                                     &error);
    return U_SUCCESS(error) != 0 && count == 1 ? std::optional<char32_t>(units[0]) : std::nullopt;
}

// Which bytes of one or two the library writes for a character, if it does.
std::optional<unsigned> BytesFor(UConverter* converter, char16_t unit) {
    std::array<char, 4> bytes{};
    UErrorCode error = U_ZERO_ERROR;
    const auto count = ucnv_fromUChars(
        converter, bytes.data(), static_cast<std::int32_t>(bytes.size()), &unit, 1, &error);
    if (U_SUCCESS(error) == 0 || count < 1 || count > 2) {
        return std::nullopt;
    }
    const auto first = static_cast<unsigned char>(bytes[0]);
    return count == 1 ? first : (unsigned{first} << 8) | static_cast<unsigned char>(bytes[1]);
}

void AddPairs(UConverter* converter, unsigned lead, TableMaker& maker) {
    for (unsigned trail = 0; trail < 256; ++trail) {
        const std::array<char, 2> pair = {static_cast<char>(lead), static_cast<char>(trail)};
        const auto character = CharacterOf(converter, {pair.data(), pair.size()});
        if (!character) {
            continue;
        }
        maker.AddPair(lead, trail, *character);
        if (!maker.Writes(*character)) {
            const auto unit = static_cast<char16_t>(*character);
            maker.Write(*character, BytesFor(converter, unit).value_or((lead << 8) | trail));
        }
    }
}

// Bytes that a single-byte set leaves open.
void AddOpenBytes(TableMaker& maker) {
    for (unsigned byte = 0x80; byte < 256; ++byte) {
        if (!maker.Has(byte)) {
            maker.AddSingle(byte, byte < kFirstLatin ? byte : kPrivateUse + byte);
        }
    }
}

std::shared_ptr<const CodePageTables> MakeTables(int number) {
    const OwnPage* const own = FindOwnPage(number);
    const CodePageConverter opened(own != nullptr ? kDosLatinUs : number);
    UConverter* const converter = opened.Handle();
    // EBCDIC and UTF-16 can't go by tables in which ASCII is itself.
    if (CharacterOf(converter, "A") != U'A' || ucnv_getMaxCharSize(converter) > 2) {
        return nullptr;
    }
    UErrorCode error = U_ZERO_ERROR;
    std::array<UBool, 256> is_lead{};
    if (ucnv_getMaxCharSize(converter) == 2) {
        ucnv_getStarters(converter, is_lead.data(), &error);
        if (U_SUCCESS(error) == 0) {
            return nullptr;
        }
    }
    TableMaker maker;
    for (unsigned byte = 0; byte < 256; ++byte) {
        const char one = static_cast<char>(byte);
        if (byte < 0x80) {
            maker.AddSingle(byte, byte);
        } else if (own != nullptr && byte - 0x80 < kOwnCharacters) {
            maker.AddSingle(byte, own->from_80_to_af[byte - 0x80]);
        } else if (is_lead[byte] != 0) {
            AddPairs(converter, byte, maker);
        } else if (const auto character = CharacterOf(converter, {&one, 1})) {
            maker.AddSingle(byte, *character);
        }
    }
    if (ucnv_getMaxCharSize(converter) == 1) {
        AddOpenBytes(maker);
    }
    return maker.Take();
}

}  // namespace

void CodePageConverter::Closer::operator()(UConverter* handle) const {
    ucnv_close(handle);
}

CodePageConverter::CodePageConverter(int number) {
    for (const auto& name : NamesOf(number)) {
        UErrorCode error = U_ZERO_ERROR;
        handle_.reset(ucnv_open(name.c_str(), &error));
        if (handle_ && U_SUCCESS(error) != 0) {
            break;
        }
        handle_.reset();
    }
    UErrorCode error = U_ZERO_ERROR;
    if (handle_) {
        ucnv_setToUCallBack(
            handle_.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
        ucnv_setFromUCallBack(
            handle_.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
        // Without it "what looks like it" would be written for some characters.
        ucnv_setFallback(handle_.get(), 0);
    }
    if (!handle_ || U_SUCCESS(error) == 0) {
        throw DataError(kErrUnspecified,
                        "The character set " + std::to_string(number) +
                            " isn't known on this computer. Choose another one, for example 1252.");
    }
}

// One character at a time: where one is refused, what came before it is whole.
std::size_t CodePageConverter::Decode(std::string_view bytes, std::string& out) const {
    const std::lock_guard lock(mutex_);
    ucnv_resetToUnicode(handle_.get());
    const char* at = bytes.data();
    const char* const end = at + bytes.size();
    while (at < end) {
        UErrorCode error = U_ZERO_ERROR;
        const char* next = at;
        const UChar32 code_point = ucnv_getNextUChar(handle_.get(), &next, end, &error);
        if (U_SUCCESS(error) == 0) {
            break;
        }
        AppendUtf8(static_cast<char32_t>(code_point), out);
        at = next;
    }
    return static_cast<std::size_t>(at - bytes.data());
}

std::size_t CodePageConverter::Encode(std::string_view utf8, std::string& out) const {
    const std::lock_guard lock(mutex_);
    std::size_t at = 0;
    while (at < utf8.size()) {
        std::size_t next = at;
        std::u16string units;
        const char32_t code_point = NextCodePoint(utf8, next);
        AppendUtf16FromUtf8(utf8.substr(at, next - at), units);
        std::array<char, 16> bytes;
        UErrorCode error = U_ZERO_ERROR;
        const auto count = ucnv_fromUChars(handle_.get(),
                                           bytes.data(),
                                           static_cast<std::int32_t>(bytes.size()),
                                           units.data(),
                                           static_cast<std::int32_t>(units.size()),
                                           &error);
        if (U_SUCCESS(error) == 0 || (code_point == 0xFFFD && next - at == 1)) {
            break;
        }
        out.append(bytes.data(), static_cast<std::size_t>(count));
        at = next;
    }
    return at;
}

std::shared_ptr<const CodePageTables> TablesOfCodePage(int number) {
    static std::mutex mutex;
    static std::map<int, std::shared_ptr<const CodePageTables>> known;
    const std::lock_guard lock(mutex);
    const auto found = known.find(number);
    if (found != known.end()) {
        return found->second;
    }
    return known.emplace(number, MakeTables(number)).first->second;
}

}  // namespace vantry
