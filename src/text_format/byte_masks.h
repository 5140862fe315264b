#pragma once
// 64 bytes at a time: where the separators are, as bits. The lowest bit is the first byte.

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace vantry::text {

struct ByteMasks {
    std::uint64_t breaks = 0;      // CR and LF
    std::uint64_t delimiters = 0;  // the given byte
    std::uint64_t qualifiers = 0;  // the other given byte
    std::uint64_t odd = 0;         // below 9 or above 0x7F
};

#ifdef __SSE2__

// `at` is readable for 64 bytes. Masks that the caller doesn't use cost nothing once inlined.
inline ByteMasks MasksOf(const char* at, char delimiter, char qualifier) {
    const __m128i delimiters = _mm_set1_epi8(delimiter);
    const __m128i qualifiers = _mm_set1_epi8(qualifier);
    const __m128i line_feeds = _mm_set1_epi8('\n');
    const __m128i returns = _mm_set1_epi8('\r');
    const __m128i first_plain = _mm_set1_epi8(9);
    ByteMasks masks;
    const auto bits = [](__m128i hits, int part) {
        return static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm_movemask_epi8(hits)))
               << (16 * part);
    };
    for (int part = 0; part < 4; ++part) {
        const __m128i bytes =
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + std::ptrdiff_t{16} * part));
        masks.breaks |= bits(
            _mm_or_si128(_mm_cmpeq_epi8(bytes, line_feeds), _mm_cmpeq_epi8(bytes, returns)), part);
        masks.delimiters |= bits(_mm_cmpeq_epi8(bytes, delimiters), part);
        masks.qualifiers |= bits(_mm_cmpeq_epi8(bytes, qualifiers), part);
        masks.odd |= bits(_mm_cmplt_epi8(bytes, first_plain), part);  // signed: above 0x7F is below
    }
    return masks;
}

#else

inline ByteMasks MasksOf(const char* at, char delimiter, char qualifier) {
    ByteMasks masks;
    for (unsigned k = 0; k < 64; ++k) {
        const char byte = at[k];
        const std::uint64_t bit = std::uint64_t{1} << k;
        masks.breaks |= byte == '\n' || byte == '\r' ? bit : 0;
        masks.delimiters |= byte == delimiter ? bit : 0;
        masks.qualifiers |= byte == qualifier ? bit : 0;
        masks.odd |= static_cast<unsigned char>(byte) - 9U > 0x76U ? bit : 0;
    }
    return masks;
}

#endif

// The first `wanted` at or behind `from`, or `size`; looks at 16 bytes at a time, as what is sought
// is mostly near. The window is readable for 64 bytes behind `size`.
inline std::size_t FindByte(const char* window, std::size_t size, std::size_t from, char wanted) {
#ifdef __SSE2__
    const __m128i pattern = _mm_set1_epi8(wanted);
    for (; from < size; from += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(window + from));
        const auto hits =
            static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, pattern)));
        if (hits != 0) {
            return std::min(from + static_cast<std::size_t>(std::countr_zero(hits)), size);
        }
    }
    return size;
#else
    const void* const hit = from < size ? std::memchr(window + from, wanted, size - from) : nullptr;
    return hit == nullptr ? size : static_cast<std::size_t>(static_cast<const char*>(hit) - window);
#endif
}

// Whether all of `text` is ASCII above the control bytes. Readable for 16 bytes behind its end.
inline bool IsPlainText(std::string_view text) {
#ifdef __SSE2__
    const __m128i first_plain = _mm_set1_epi8(9);
    for (std::size_t at = 0; at < text.size(); at += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + at));
        auto odd =
            static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmplt_epi8(bytes, first_plain)));
        if (text.size() - at < 16) {
            odd &= (1U << (text.size() - at)) - 1;
        }
        if (odd != 0) {
            return false;
        }
    }
    return true;
#else
    return std::all_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) - 9U <= 0x76U;
    });
#endif
}

// Whether `text` is ASCII above the control bytes and well-formed characters of two bytes alone:
// most texts in Latin, Greek, Cyrillic, Hebrew or Arabic letters. Readable for 16 bytes behind its
// end.
inline bool IsPlainUtf8(std::string_view text) {
#ifdef __SSE2__
    const auto bits = [](__m128i hits) {
        return static_cast<std::uint32_t>(_mm_movemask_epi8(hits));
    };
    std::uint32_t open = 0;  // a first byte was the last of the 16
    for (std::size_t at = 0; at < text.size(); at += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + at));
        const std::size_t count = std::min<std::size_t>(text.size() - at, 16);
        const std::uint32_t there = (1U << count) - 1;
        const std::uint32_t odd = bits(_mm_cmplt_epi8(bytes, _mm_set1_epi8(9))) & there;
        if ((odd | open) == 0) {
            continue;
        }
        // As signed bytes: 0xC2 .. 0xDF begin a character, 0x80 .. 0xBF end it.
        const std::uint32_t firsts =
            bits(_mm_and_si128(_mm_cmpgt_epi8(bytes, _mm_set1_epi8(-63)),
                               _mm_cmplt_epi8(bytes, _mm_set1_epi8(-32)))) &
            there;
        const std::uint32_t lasts = bits(_mm_cmplt_epi8(bytes, _mm_set1_epi8(-64))) & there;
        const std::uint32_t wanted = firsts << 1 | open;
        if ((firsts | lasts) != odd || lasts != (wanted & there)) {
            return false;
        }
        open = wanted >> count;
    }
    return open == 0;
#else
    return IsPlainText(text);
#endif
}

// Copies `text` to `out` with each two of `wanted` that stand together made one; returns the end.
// 16 bytes behind both may be touched.
inline char* CopyUndoubled(std::string_view text, char wanted, char* out) {
    const char* from = text.data();
    const char* const end = from + text.size();
#ifdef __SSE2__
    const __m128i pattern = _mm_set1_epi8(wanted);
    while (from < end) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
        const auto hits =
            static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, pattern)));
        const std::ptrdiff_t step =
            std::min<std::ptrdiff_t>(hits == 0 ? 16 : std::countr_zero(hits) + 1, end - from);
        from += step;
        out += step;
        if (from < end && from[-1] == wanted && *from == wanted) {
            ++from;
        }
    }
#else
    while (from < end) {
        *out++ = *from++;
        if (from < end && from[-1] == wanted && *from == wanted) {
            ++from;
        }
    }
#endif
    return out;
}

// Walks over the places of interest in a window that is readable for 64 bytes behind its end.
// `kEvents` says which: what ends a field, or what ends a line.
enum class WalkEvents : std::uint8_t { Separators, Breaks };

template <WalkEvents kEvents>
class MaskWalk {
public:
    MaskWalk(const char* window, std::size_t size, char delimiter, char qualifier)
        : window_(window), size_(size), delimiter_(delimiter), qualifier_(qualifier) {
        if (size_ > 0) {
            Load(0);
        }
    }

    // The next place, or the window's size when there is none.
    std::size_t Next() {
        while (bits_ == 0) {
            if (base_ + 64 >= size_) {
                return size_;
            }
            Load(base_ + 64);
        }
        const auto place = base_ + static_cast<std::size_t>(std::countr_zero(bits_));
        bits_ &= bits_ - 1;
        return place;
    }

    // Goes on at `place`, which is at or behind the last one returned.
    void MoveTo(std::size_t place) {
        if (place - base_ >= 64) {
            odd_ = ~std::uint64_t{0};  // nobody has looked at what is passed over
            if (place >= size_) {
                bits_ = 0;
                base_ = size_;
                return;
            }
            Load(place & ~std::size_t{63});
        }
        bits_ &= ~std::uint64_t{0} << (place - base_);
    }

    // Whether all bytes since the last call were plain, give or take 64 at the ends.
    bool TakePlain() {
        const bool plain = odd_ == 0;
        odd_ = last_odd_;
        return plain;
    }

private:
    void Load(std::size_t base) {
        base_ = base;
        const ByteMasks masks = MasksOf(window_ + base, delimiter_, qualifier_);
        if constexpr (kEvents == WalkEvents::Separators) {
            bits_ = masks.breaks | masks.delimiters;
        } else {
            bits_ = masks.breaks;
        }
        last_odd_ = masks.odd;
        if (size_ - base < 64) {
            const std::uint64_t inside = (std::uint64_t{1} << (size_ - base)) - 1;
            bits_ &= inside;
            last_odd_ &= inside;
        }
        odd_ |= last_odd_;
    }
    const char* window_;
    std::size_t size_;
    char delimiter_;
    char qualifier_;
    std::size_t base_ = 0;
    std::uint64_t bits_ = 0;
    std::uint64_t odd_ = 0;
    std::uint64_t last_odd_ = 0;
};

}  // namespace vantry::text
