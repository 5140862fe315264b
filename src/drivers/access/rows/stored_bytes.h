#pragma once
// Writing the fields of a row one behind the other, as the row's encoders do.

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
