// Most text is ASCII in the compressed form, and is then handed out as it lies in the page. The
// rest is converted in strides of four or eight characters; those of compressed text depend on no
// guess which of them are ASCII. Easy to get wrong: a zero byte in compressed text switches to
// pairs of bytes and back, an odd byte at the end is no character, and surrogates must be seen in
// pairs, which the strides leave to the slow way.

#include "drivers/access/rows/text_coding.h"

#include "data/data_error.h"

#include <algorithm>

namespace vantry::access {
namespace {

constexpr int kDefaultCodePage = 1252;

std::string_view AsChars(ByteSpan bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// UTF-16 as it lies there.
void AppendUnits(ByteSpan pairs, std::u16string& out) {
    const std::size_t count = pairs.size() / 2;  // an odd last byte is no character
    const std::size_t before = out.size();
    out.resize(before + count);
    if (count > 0) {
        std::memcpy(out.data() + before, pairs.data(), count * 2);
    }
}

std::shared_ptr<const CodePage> OpenCodePage(int number) {
    try {
        return std::make_shared<CodePage>(number);
    } catch (const DataError&) {
        // Most files whose code page number isn't known are Western ones.
        return std::make_shared<CodePage>(kDefaultCodePage);
    }
}

// Room for `size` characters in `scratch`, which only ever grows here: its size isn't the text's.
char* Room(std::string& scratch, std::size_t size) {
    if (scratch.size() < size) {
        scratch.resize(size);
    }
    return scratch.data();
}

char* PutUnit(char16_t unit, char* out) {
    if (unit < 0x80) {
        *out++ = static_cast<char>(unit);
    } else if (unit < 0x800) {
        *out++ = static_cast<char>(0xC0 | unit >> 6);
        *out++ = static_cast<char>(0x80 | (unit & 0x3F));
    } else {
        *out++ = static_cast<char>(0xE0 | unit >> 12);
        *out++ = static_cast<char>(0x80 | (unit >> 6 & 0x3F));
        *out++ = static_cast<char>(0x80 | (unit & 0x3F));
    }
    return out;
}

constexpr std::uint64_t kOnes = 0x0101010101010101;
constexpr std::uint64_t kTops = 0x8080808080808080;

template <typename Word>
Word At(const char* place) {
    Word word;
    std::memcpy(&word, place, sizeof word);
    return word;
}

// The last `count` characters before `end`, fewer than eight of `size` in all, the first one
// lowest; ones for those that are missing.
std::uint64_t LastOf(const char* end, std::size_t count, std::size_t size) {
    const char* const begin = end - count;
    const auto byte = [&](std::size_t at) {
        return std::uint64_t{static_cast<unsigned char>(begin[at])} << 8 * at;
    };
    std::uint64_t word = 0;
    if (size >= sizeof word) {
        word = At<std::uint64_t>(end - sizeof word) >> 8 * (sizeof word - count);
    } else if (count >= sizeof(std::uint32_t)) {
        word =
            At<std::uint32_t>(begin) | std::uint64_t{At<std::uint32_t>(end - sizeof(std::uint32_t))}
                                           << 8 * (count - sizeof(std::uint32_t));
    } else {
        word = byte(0) | byte(count / 2) | byte(count - 1);
    }
    return word | kOnes << 8 * count;
}

// `count` characters as UTF-8; returns the end. Writes up to 16 bytes whatever they are: which of
// them take two can't be guessed, and a wrong guess costs more than all eight.
char* PutLatin1(std::uint64_t word, std::size_t count, char* out) {
    char* const end = out + count + ((word >> 7 & kOnes) * kOnes >> 56);
    for (std::size_t i = 0; i < sizeof word; ++i, word >>= 8) {
        const auto byte = static_cast<unsigned>(word & 0xFF);
        const unsigned two = byte >> 7;
        const unsigned first = (byte & (two - 1)) | ((0xC0 | byte >> 6) & (0 - two));
        out[0] = static_cast<char>(first);
        out[1] = static_cast<char>(0x80 | (byte & 0x3F));
        out += 1 + two;
    }
    return end;
}

// One byte a character, as UTF-8: up to two bytes each, and as many as eight more are written to.
// The end, or null where a zero byte switches to pairs.
char* PutCompressed(std::string_view text, char* out) {
    const char* const end = text.data() + text.size();
    for (std::size_t left = text.size(); left > 0;) {
        const std::size_t count = std::min(left, sizeof(std::uint64_t));
        const std::uint64_t word =
            count == sizeof word ? At<std::uint64_t>(end - left) : LastOf(end, count, text.size());
        if (((word - kOnes) & ~word & kTops) != 0) {
            return nullptr;
        }
        if ((word & kTops) == 0) {
            std::memcpy(out, &word, sizeof word);
            out += count;
        } else {
            out = PutLatin1(word, count, out);
        }
        left -= count;
    }
    return out;
}

// UTF-16 as UTF-8, up to three bytes a unit: the end, or null if there are surrogates. Four
// characters at a time as long as they are ASCII.
char* PutUnits(ByteSpan pairs, char* out) {
    const std::size_t count = pairs.size() / 2;
    for (std::size_t i = 0; i < count;) {
        if (count - i >= 4) {
            auto four = At<std::uint64_t>(AsChars(pairs).data() + i * 2);
            if ((four & 0xFF80FF80FF80FF80) == 0) {
                four = (four | four >> 8) & 0x0000FFFF0000FFFF;
                const auto packed = static_cast<std::uint32_t>(four | four >> 16);
                std::memcpy(out, &packed, sizeof(packed));
                out += sizeof(packed);
                i += 4;
                continue;
            }
        }
        const auto unit = At<char16_t>(AsChars(pairs).data() + i++ * 2);
        if (unit >= 0xD800 && unit <= 0xDFFF) {
            return nullptr;
        }
        out = PutUnit(unit, out);
    }
    return out;
}

}  // namespace

TextCoding::TextCoding(const FileHeader& header) : TextCoding(header, 0) {}

TextCoding::TextCoding(const FileHeader& header, int code_page) : jet3_(header.layout->jet3) {
    if (jet3_) {
        code_page_ = OpenCodePage(code_page != 0 ? code_page : header.code_page);
    }
}

std::string TextCoding::Name(ByteSpan stored) const {
    std::string name;
    if (jet3_) {
        code_page_->AppendUtf8(AsChars(stored), name);
    } else {
        std::u16string units;
        AppendUnits(stored, units);
        AppendUtf8FromUtf16(units, name);
    }
    return name;
}

std::string_view TextCoding::DecodeSlowly(ByteSpan stored, std::string& scratch) const {
    if (jet3_) {
        if (const auto text = AsChars(stored); IsAscii(text)) {
            return text;
        }
        scratch.clear();
        code_page_->AppendUtf8(AsChars(stored), scratch);
        return scratch;
    }
    // Long texts aren't worth the room that every one of them might take.
    constexpr std::size_t kLong = 64 * 1024;
    if (stored.size() <= kLong) {
        char* const room = Room(scratch, RoomFor(stored));
        if (const char* end = PutSimple(stored, room)) {
            return {room, static_cast<std::size_t>(end - room)};
        }
    }
    scratch.clear();
    AppendUtf8FromUtf16(Units(stored), scratch);
    return scratch;
}

char* TextCoding::PutSimple(ByteSpan stored, char* room) {
    if (!IsCompressed(stored)) {
        return PutUnits(stored, room);
    }
    return PutCompressed(AsChars(stored.subspan(2)), room);
}

std::u16string TextCoding::Units(ByteSpan stored) const {
    std::u16string units;
    if (jet3_) {
        std::string utf8;
        code_page_->AppendUtf8(AsChars(stored), utf8);
        AppendUtf16FromUtf8(utf8, units);
    } else if (IsCompressed(stored)) {
        AppendDecompressed(stored.subspan(2), units);
    } else {
        AppendUnits(stored, units);
    }
    return units;
}

void AppendDecompressed(ByteSpan bytes, std::u16string& out) {
    bool pairs = false;
    std::size_t i = 0;
    while (i < bytes.size()) {
        const auto low = static_cast<std::uint8_t>(bytes[i]);
        if (low == 0) {
            pairs = !pairs;
            ++i;
        } else if (!pairs) {
            out.push_back(low);
            ++i;
        } else if (i + 1 < bytes.size()) {
            out.push_back(static_cast<char16_t>(low | static_cast<unsigned>(bytes[i + 1]) << 8));
            i += 2;
        } else {
            break;
        }
    }
}

}  // namespace vantry::access
