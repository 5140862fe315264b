#pragma once
// The page encoding of .mdb files: RC4 over each whole page with a key of its own. Encoding and
// decoding are the same step.

#include "drivers/access/format.h"

#include <span>

namespace vantry::access {

// `key` is the file's (kEncryptionKeyOffset); page 0 is never encoded and 0 means plain pages:
// neither is touched.
void ApplyPageKey(std::uint32_t key, PageNumber page, std::span<std::byte> bytes);

// The masked area of page 0, both ways.
void MaskHeader(const Layout& layout, std::span<std::byte> page_zero);

}  // namespace vantry::access
