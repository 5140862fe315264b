#pragma once
// The mask over a part of page 0, which hides it from a glance and from nothing else.

#include "drivers/access/format.h"

#include <span>

namespace vantry::access {

// The masked area of page 0, both ways.
void MaskHeader(const Layout& layout, std::span<std::byte> page_zero);

}  // namespace vantry::access
