#pragma once
// How the fields of a row are put behind one another.

#include <cstddef>
#include <cstring>

namespace vantry::access {

// Text is written in steps of eight bytes: what may be written behind a field's end.
inline constexpr std::size_t kFieldSlack = 16;

// Returns the place behind the value.
template <typename Number>
std::byte* Put(std::byte* out, Number value) {
    std::memcpy(out, &value, sizeof value);
    return out + sizeof value;
}

}  // namespace vantry::access
