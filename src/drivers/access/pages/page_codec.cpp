#include "drivers/access/pages/page_codec.h"

#include <numeric>
#include <utility>

namespace vantry::access {

void ApplyPageKey(std::uint32_t key, PageNumber page, std::span<std::byte> bytes) {
    if (key == 0 || page == 0) {
        return;
    }
    const std::uint32_t page_key = key ^ page;
    std::array<std::uint8_t, 256> state;
    std::iota(state.begin(), state.end(), std::uint8_t{0});
    std::uint8_t j = 0;
    for (std::size_t i = 0; i < state.size(); ++i) {
        const auto key_byte = static_cast<std::uint8_t>(page_key >> (8 * (i % 4)));
        j = static_cast<std::uint8_t>(j + state[i] + key_byte);
        std::swap(state[i], state[j]);
    }
    std::uint8_t i = 0;
    j = 0;
    for (auto& byte : bytes) {
        i = static_cast<std::uint8_t>(i + 1);
        j = static_cast<std::uint8_t>(j + state[i]);
        std::swap(state[i], state[j]);
        byte ^= std::byte{state[static_cast<std::uint8_t>(state[i] + state[j])]};
    }
}

void MaskHeader(const Layout& layout, std::span<std::byte> page_zero) {
    const auto area = page_zero.subspan(kMaskedOffset, layout.masked_length);
    for (std::size_t i = 0; i < area.size(); ++i) {
        area[i] ^= std::byte{kHeaderMask[i]};
    }
}

}  // namespace vantry::access
