#pragma once
// Hashes and ciphers as the Office encryption needs them, over libcrypto; RC4 is our own, because
// libcrypto keeps it in a module that not every machine has.

#include "drivers/access/bytes.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::access {

// Key material: wiped when it goes.
class SecretBytes {
public:
    SecretBytes() = default;
    explicit SecretBytes(std::size_t size) : bytes_(size) {}
    explicit SecretBytes(ByteSpan bytes) : bytes_(bytes.begin(), bytes.end()) {}
    SecretBytes(SecretBytes&& other) noexcept = default;
    SecretBytes& operator=(SecretBytes&& other) noexcept;
    SecretBytes(const SecretBytes&) = delete;
    SecretBytes& operator=(const SecretBytes&) = delete;
    ~SecretBytes() { Wipe(); }

    std::size_t size() const { return bytes_.size(); }
    std::byte* data() { return bytes_.data(); }
    const std::byte* data() const { return bytes_.data(); }
    operator ByteSpan() const { return bytes_; }  // NOLINT(google-explicit-constructor): a view
    ByteSpan First(std::size_t count) const { return ByteSpan(bytes_).first(count); }
    // Cut, or filled up with `fill` at the end.
    void Resize(std::size_t size, std::byte fill = std::byte{});

private:
    void Wipe();

    std::vector<std::byte> bytes_;
};

// For a text that a password passed through.
void WipeText(std::u16string& text);

// Bytes compared in a time that doesn't tell where they differ.
bool SameSecret(ByteSpan left, ByteSpan right);

enum class HashKind : std::uint8_t { Md5, Sha1, Sha256, Sha384, Sha512 };
std::size_t SizeOf(HashKind kind);
// "SHA1", "SHA-512" and so on; nothing for a name that isn't known.
std::optional<HashKind> HashNamed(std::string_view name);

// Of `first` followed by `second`. Throws DataError only when libcrypto fails of itself.
SecretBytes HashOf(HashKind kind, ByteSpan first, ByteSpan second = {});

// The hash of `start`, then `rounds` times the hash of the round's number (u32) and the last hash:
// slow by design, so that passwords are dear to guess.
SecretBytes SpunHash(HashKind kind, const SecretBytes& start, std::uint32_t rounds);

// RC4 with a fresh state; the same step both ways.
class Rc4 {
public:
    explicit Rc4(ByteSpan key);  // 1 to 256 bytes
    void Apply(std::span<std::byte> bytes);

private:
    std::array<std::uint8_t, 256> state_;
    std::uint8_t i_ = 0;
    std::uint8_t j_ = 0;
};

enum class Direction : std::uint8_t { Decrypt, Encrypt };
// AES without padding, in place; `key` has 16, 24 or 32 bytes and `bytes` whole blocks of 16. An
// empty `iv` means block by block (ECB), one of 16 bytes chained blocks (CBC).
void ApplyAes(Direction direction, ByteSpan key, ByteSpan iv, std::span<std::byte> bytes);

// A u32 as it stands in a file.
std::array<std::byte, 4> LittleEndian(std::uint32_t value);

}  // namespace vantry::access
