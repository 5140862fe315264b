#include "drivers/access/pages/header_mask.h"

namespace vantry::access {

// The same bytes once more take the mask off or put it on.
void MaskHeader(const Layout& layout, std::span<std::byte> page_zero) {
    const auto area = page_zero.subspan(kMaskedOffset, layout.masked_length);
    for (std::size_t i = 0; i < area.size(); ++i) {
        area[i] ^= std::byte{kHeaderMask[i]};
    }
}

}  // namespace vantry::access
