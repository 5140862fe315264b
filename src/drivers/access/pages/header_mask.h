#pragma once
// The mask over a part of page 0: the same bytes in every file, so it keeps nothing secret.

#include "drivers/access/format.h"

#include <span>

namespace vantry::access {

// The masked area of page 0, both ways.
void MaskHeader(const Layout& layout, std::span<std::byte> page_zero);

}  // namespace vantry::access
