#pragma once
// Keys of texts in the order GENERAL of code page 1252.

#include "drivers/foxpro/indexes/cdx_format.h"

#include <span>
#include <string_view>

namespace vantry::foxpro {

// The text's key, cut or padded with zeros to the size of `out`. Blanks at its end don't count.
void GeneralKey(std::string_view text, std::span<std::byte> out);

}  // namespace vantry::foxpro
