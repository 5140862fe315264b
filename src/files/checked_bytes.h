#pragma once
// Checked access to the bytes of a file's structure: no offset, length or count of a file is used
// without passing here. A step outside is a BoundsError, which the caller that knows the file and
// the place turns into a DataError.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <span>

namespace vantry::file {

using ByteSpan = std::span<const std::byte>;

// Something of the structure lies outside its bytes.
class BoundsError : public std::exception {
public:
    const char* what() const noexcept override { return "a length or offset points outside"; }
};

inline ByteSpan Slice(ByteSpan bytes, std::size_t offset, std::size_t length) {
    if (offset > bytes.size() || length > bytes.size() - offset) {
        throw BoundsError();
    }
    return bytes.subspan(offset, length);
}

// A number at `offset`, as it lies in memory: little-endian.
template <typename Number>
Number Load(ByteSpan bytes, std::size_t offset) {
    Number value;
    std::memcpy(&value, Slice(bytes, offset, sizeof(Number)).data(), sizeof(Number));
    return value;
}
template <typename Number>
void Store(std::span<std::byte> bytes, std::size_t offset, Number value) {
    if (offset > bytes.size() || sizeof(Number) > bytes.size() - offset) {
        throw BoundsError();
    }
    std::memcpy(bytes.data() + offset, &value, sizeof(Number));
}

inline std::uint8_t LoadU8(ByteSpan bytes, std::size_t offset) {
    return Load<std::uint8_t>(bytes, offset);
}
inline std::uint16_t LoadU16(ByteSpan bytes, std::size_t offset) {
    return Load<std::uint16_t>(bytes, offset);
}
inline std::uint32_t LoadU32(ByteSpan bytes, std::size_t offset) {
    return Load<std::uint32_t>(bytes, offset);
}
inline std::uint64_t LoadU64(ByteSpan bytes, std::size_t offset) {
    return Load<std::uint64_t>(bytes, offset);
}
inline std::uint16_t LoadBigU16(ByteSpan bytes, std::size_t offset) {
    return __builtin_bswap16(LoadU16(bytes, offset));
}
inline std::uint32_t LoadBigU32(ByteSpan bytes, std::size_t offset) {
    return __builtin_bswap32(LoadU32(bytes, offset));
}
inline void StoreBigU16(std::span<std::byte> bytes, std::size_t offset, std::uint16_t value) {
    Store(bytes, offset, __builtin_bswap16(value));
}
inline void StoreBigU32(std::span<std::byte> bytes, std::size_t offset, std::uint32_t value) {
    Store(bytes, offset, __builtin_bswap32(value));
}
inline void StoreBigU64(std::span<std::byte> bytes, std::size_t offset, std::uint64_t value) {
    Store(bytes, offset, __builtin_bswap64(value));
}

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "numbers are read as they lie in files");

}  // namespace vantry::file
