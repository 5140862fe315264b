#include "drivers/access/text_coding.h"

#include "data/data_error.h"

namespace vantry::access {
namespace {

constexpr int kDefaultCodePage = 1252;

std::string_view AsChars(ByteSpan bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

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

// One byte a character, no switches, as UTF-8.
void AppendLatin1(std::string_view text, std::string& out) {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            out.push_back(c);
        } else {
            out.push_back(static_cast<char>(0xC0 | byte >> 6));
            out.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
        }
    }
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

bool TextCoding::IsPlainAscii(std::string_view text) {
    // A zero byte or one above 7F: in eight bytes at a time both show in the top bit of
    // (x - 01..01) | x, bar a borrow that only ever adds a false alarm.
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    constexpr std::uint64_t kTops = 0x8080808080808080;
    std::uint64_t odd = 0;
    std::size_t i = 0;
    for (; i + 8 <= text.size(); i += 8) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + i, sizeof(word));
        odd |= (word - kOnes) | word;
    }
    if ((odd & kTops) != 0) {
        return false;
    }
    for (; i < text.size(); ++i) {
        if (static_cast<unsigned char>(text[i] - 1) >= 0x7F) {
            return false;
        }
    }
    return true;
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
    scratch.clear();
    if (IsCompressed(stored)) {
        const auto text = AsChars(stored.subspan(2));
        if (text.find('\0') == std::string_view::npos) {
            AppendLatin1(text, scratch);
            return scratch;
        }
    }
    AppendUtf8FromUtf16(Units(stored), scratch);
    return scratch;
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
