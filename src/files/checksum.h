#pragma once
// CRC-32C (polynomial 0x1EDC6F41, reflected), the sum of the journal's headers and pages.

#include <cstddef>
#include <cstdint>
#include <span>

namespace vantry::file {

std::uint32_t Crc32c(std::span<const std::byte> bytes, std::uint32_t before = 0);

}  // namespace vantry::file
