#include "drivers/foxpro/indexes/letter_table.h"

#include "data/code_page.h"
#include "data/data_error.h"
#include "data/letter_case.h"

#include <algorithm>

namespace vantry::foxpro {
namespace {

bool HasLongCharacters(int code_page) {
    // A byte may be half a character there, so that no single one has a letter case.
    constexpr std::array kLong = {932, 936, 949, 950, 1361, 54936, 65001};
    return std::find(kLong.begin(), kLong.end(), code_page) != kLong.end();
}

// The byte of a letter in the other case, if there is one.
char InCase(char letter, const CodePage& page, std::string (*change)(std::string_view)) {
    std::string utf8;
    std::string bytes;
    page.AppendUtf8({&letter, 1}, utf8);
    return page.AppendBytes(change(utf8), bytes) && bytes.size() == 1 ? bytes.front() : letter;
}

}  // namespace

LetterTable::LetterTable(int code_page) {
    for (int k = 0; k < 256; ++k) {
        const char letter = static_cast<char>(k);
        const auto at = static_cast<std::size_t>(k);
        upper_[at] =
            letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
        lower_[at] =
            letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    if (HasLongCharacters(code_page)) {
        complete_ = false;
        return;
    }
    try {
        const CodePage page(code_page);
        for (std::size_t k = 0x80; k < 256; ++k) {
            upper_[k] = InCase(static_cast<char>(k), page, UpperCased);
            lower_[k] = InCase(static_cast<char>(k), page, LowerCased);
        }
    } catch (const DataError&) {
        complete_ = false;
    }
}

void LetterTable::Map(const Table& table, std::string& text) {
    for (char& letter : text) {
        letter = table[static_cast<unsigned char>(letter)];
    }
}

}  // namespace vantry::foxpro
