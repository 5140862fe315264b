// The Vietnamese Windows set has letters and tones as characters of their own, Unicode most of the
// pairs as one. What is read is composed, so that texts compare like those typed elsewhere; what is
// written is taken apart again: letter with its circumflex or horn, then the tone.

#include "data/vietnamese.h"

#include "data/utf.h"

#include <unicode/normalizer2.h>

#include <string_view>

namespace vantry {
namespace {

const icu::Normalizer2* Composing() {
    UErrorCode error = U_ZERO_ERROR;
    return icu::Normalizer2::getNFCInstance(error);
}

}  // namespace

void ComposeVietnamese(std::string& text, std::size_t begin) {
    UErrorCode error = U_ZERO_ERROR;
    const auto apart = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data() + begin, static_cast<std::int32_t>(text.size() - begin)));
    const auto composed = Composing()->normalize(apart, error);
    if (U_SUCCESS(error) != 0) {
        text.resize(begin);
        composed.toUTF8String(text);
    }
}

std::string VietnameseParts(char32_t code_point) {
    constexpr std::u16string_view kTones = u"\u0300\u0301\u0303\u0309\u0323";
    icu::UnicodeString apart;
    if (Composing()->getDecomposition(static_cast<UChar32>(code_point), apart) == 0) {
        return {};
    }
    for (std::int32_t k = 0; k < apart.length(); ++k) {
        const char16_t tone = apart[k];
        if (kTones.find(tone) != std::u16string_view::npos) {
            UErrorCode error = U_ZERO_ERROR;
            // Without the tone the rest composes to a letter that the set has.
            apart.remove(k, 1);
            std::string parts;
            (Composing()->normalize(apart, error) + tone).toUTF8String(parts);
            return parts;
        }
    }
    return {};
}

}  // namespace vantry
