// libcrypto's contexts are made for each call and freed by a guard: a call works on a page or more,
// so that costs nothing, and no state is shared between threads. What libcrypto refuses here is
// never the file's fault (lengths are checked before), so it is told as a failure of the machine's
// own.
#include "drivers/access/encryption/crypto.h"

#include "data/data_error.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <memory>
#include <numeric>
#include <utility>

namespace vantry::access {
namespace {

// SHA-512's.
constexpr std::size_t kLongestHash = 64;

void Require(bool worked) {
    if (!worked) {
        throw DataError(kErrUnspecified,
                        "The machine's encryption library (libcrypto) refused to work. Check its "
                        "installation; in a restricted mode it may lack an old hash or cipher.");
    }
}

struct FreeDigest {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
struct FreeCipher {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using DigestContext = std::unique_ptr<EVP_MD_CTX, FreeDigest>;
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, FreeCipher>;

const EVP_MD* Algorithm(HashKind kind) {
    switch (kind) {
        case HashKind::Md5:
            return EVP_md5();
        case HashKind::Sha1:
            return EVP_sha1();
        case HashKind::Sha256:
            return EVP_sha256();
        case HashKind::Sha384:
            return EVP_sha384();
        case HashKind::Sha512:
            return EVP_sha512();
    }
    return nullptr;
}

// Null for sizes that a description may name and no cipher has.
const EVP_CIPHER* Aes(std::size_t key_size, bool chained) {
    switch (key_size) {
        case 16:
            return chained ? EVP_aes_128_cbc() : EVP_aes_128_ecb();
        case 24:
            return chained ? EVP_aes_192_cbc() : EVP_aes_192_ecb();
        case 32:
            return chained ? EVP_aes_256_cbc() : EVP_aes_256_ecb();
        default:
            return nullptr;
    }
}

unsigned char* Raw(std::byte* bytes) {
    return reinterpret_cast<unsigned char*>(bytes);
}
const unsigned char* Raw(ByteSpan bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

void Digest(
    EVP_MD_CTX* context, const EVP_MD* algorithm, ByteSpan first, ByteSpan second, std::byte* out) {
    Require(EVP_DigestInit_ex(context, algorithm, nullptr) == 1 &&
            EVP_DigestUpdate(context, first.data(), first.size()) == 1 &&
            EVP_DigestUpdate(context, second.data(), second.size()) == 1 &&
            EVP_DigestFinal_ex(context, Raw(out), nullptr) == 1);
}

}  // namespace

SecretBytes& SecretBytes::operator=(SecretBytes&& other) noexcept {
    if (this != &other) {
        Wipe();
        bytes_ = std::move(other.bytes_);
    }
    return *this;
}

void SecretBytes::Resize(std::size_t size, std::byte fill) {
    // By hand: a vector that grows by itself leaves the secret behind in the memory that it gives
    // back.
    std::vector<std::byte> resized(size, fill);
    std::copy_n(bytes_.begin(), std::min(size, bytes_.size()), resized.begin());
    Wipe();
    bytes_ = std::move(resized);
}

void SecretBytes::Wipe() {
    if (!bytes_.empty()) {
        OPENSSL_cleanse(bytes_.data(), bytes_.size());
    }
}

void WipeText(std::u16string& text) {
    OPENSSL_cleanse(text.data(), text.size() * sizeof(char16_t));
}

bool SameSecret(ByteSpan left, ByteSpan right) {
    // In a time that doesn't depend on where they differ.
    return left.size() == right.size() &&
           CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

std::size_t SizeOf(HashKind kind) {
    return static_cast<std::size_t>(EVP_MD_get_size(Algorithm(kind)));
}

std::optional<HashKind> HashNamed(std::string_view name) {
    // Both spellings are in use.
    constexpr std::pair<std::string_view, HashKind> kNames[] = {
        {"SHA1", HashKind::Sha1},
        {"SHA-1", HashKind::Sha1},
        {"SHA256", HashKind::Sha256},
        {"SHA-256", HashKind::Sha256},
        {"SHA384", HashKind::Sha384},
        {"SHA-384", HashKind::Sha384},
        {"SHA512", HashKind::Sha512},
        {"SHA-512", HashKind::Sha512},
    };
    for (const auto& [known, kind] : kNames) {
        if (name == known) {
            return kind;
        }
    }
    return std::nullopt;
}

SecretBytes HashOf(HashKind kind, ByteSpan first, ByteSpan second) {
    const DigestContext context(EVP_MD_CTX_new());
    Require(context != nullptr);
    SecretBytes hash(SizeOf(kind));
    Digest(context.get(), Algorithm(kind), first, second, hash.data());
    return hash;
}

SecretBytes SpunHash(HashKind kind, const SecretBytes& start, std::uint32_t rounds) {
    const DigestContext context(EVP_MD_CTX_new());
    Require(context != nullptr);
    const EVP_MD* const algorithm = Algorithm(kind);
    SecretBytes hash{ByteSpan(start)};
    SecretBytes next(kLongestHash);
    // The round's number goes before the hash so far: that makes a table of common starts useless.
    // There may be millions of rounds, so nothing is allocated in here.
    for (std::uint32_t round = 0; round < rounds; ++round) {
        Digest(context.get(), algorithm, LittleEndian(round), hash, next.data());
        std::copy_n(next.data(), hash.size(), hash.data());
    }
    return hash;
}

// By hand, as libcrypto has it only in its legacy provider, which many machines leave out.
Rc4::Rc4(ByteSpan key) {
    std::iota(state_.begin(), state_.end(), std::uint8_t{0});
    std::uint8_t j = 0;
    for (std::size_t i = 0; i < state_.size(); ++i) {
        j = static_cast<std::uint8_t>(j + state_[i] +
                                      std::to_integer<unsigned>(key[i % key.size()]));
        std::swap(state_[i], state_[j]);
    }
}

void Rc4::Apply(std::span<std::byte> bytes) {
    for (auto& byte : bytes) {
        i_ = static_cast<std::uint8_t>(i_ + 1);
        j_ = static_cast<std::uint8_t>(j_ + state_[i_]);
        std::swap(state_[i_], state_[j_]);
        byte ^= std::byte{state_[static_cast<std::uint8_t>(state_[i_] + state_[j_])]};
    }
}

void ApplyAes(Direction direction, ByteSpan key, ByteSpan iv, std::span<std::byte> bytes) {
    const CipherContext context(EVP_CIPHER_CTX_new());
    // Without a vector the blocks stand alone, as the older scheme has them.
    const EVP_CIPHER* const algorithm = Aes(key.size(), !iv.empty());
    Require(context != nullptr && algorithm != nullptr);
    // libcrypto may write over what it reads if both begin at the same byte.
    int written = 0;
    Require(EVP_CipherInit_ex(context.get(),
                              algorithm,
                              nullptr,
                              Raw(key),
                              iv.empty() ? nullptr : Raw(iv),
                              direction == Direction::Encrypt ? 1 : 0) == 1 &&
            EVP_CIPHER_CTX_set_padding(context.get(), 0) == 1 &&
            EVP_CipherUpdate(context.get(),
                             Raw(bytes.data()),
                             &written,
                             Raw(bytes),
                             static_cast<int>(bytes.size())) == 1 &&
            static_cast<std::size_t>(written) == bytes.size());
}

std::array<std::byte, 4> LittleEndian(std::uint32_t value) {
    return {std::byte(value & 0xFF),
            std::byte(value >> 8 & 0xFF),
            std::byte(value >> 16 & 0xFF),
            std::byte(value >> 24)};
}

}  // namespace vantry::access
