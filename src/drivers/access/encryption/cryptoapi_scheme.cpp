// The two older forms: what was written before the XML. Both hash salt and password once into a
// base, and then base and page into the page's key; the CryptoAPI form has AES beside RC4, with or
// without 50,000 rounds of hashing. The flags decide about the rounds, not the cipher: Access
// itself writes AES without the AES flag, and then without rounds.
#include "drivers/access/encryption/office_scheme.h"
#include "drivers/access/errors.h"

#include <algorithm>
#include <cstring>

namespace vantry::access {
namespace {

constexpr std::size_t kSaltSize = 16;
constexpr std::size_t kVerifierSize = 16;

// The key for the verifier, which belongs to no page.
constexpr std::array<std::byte, 4> kVerifierBlock = {};

ByteSpan Written(std::span<std::byte> bytes) {
    return bytes;
}

// ---- Version 1.1 ------------------------------------------------------------------------------

class BinaryRc4 : public PageCipher {
public:
    BinaryRc4(const OfficeDescription& description, SecretBytes base)
        : description_{{}, description.file_key, {}}, base_(std::move(base)) {}

    Rc4 Stream(ByteSpan block) const { return Rc4(HashOf(HashKind::Md5, base_, block)); }
    void Decrypt(PageNumber page, std::span<std::byte> bytes) const override {
        if (page != 0) {
            Stream(BlockOf(description_, page)).Apply(bytes);
        }
    }
    void Encrypt(PageNumber page, std::span<std::byte> bytes) const override {
        // The same stream once more gives back what it was applied to.
        Decrypt(page, bytes);
    }

private:
    OfficeDescription description_;
    SecretBytes base_;  // 5 bytes
};

// Sixteen times the five bytes and the salt, hashed once more: the format's own recipe, which no
// library has.
SecretBytes BinaryRc4Base(ByteSpan salt, ByteSpan password) {
    constexpr std::size_t kBaseSize = 5;
    constexpr std::size_t kRepetitions = 16;
    const auto hash = HashOf(HashKind::Md5, password);
    SecretBytes repeated(kRepetitions * (kBaseSize + kSaltSize));
    for (std::size_t i = 0; i < kRepetitions; ++i) {
        std::byte* const at = repeated.data() + i * (kBaseSize + kSaltSize);
        std::memcpy(at, hash.data(), kBaseSize);
        std::memcpy(at + kBaseSize, salt.data(), kSaltSize);
    }
    auto base = HashOf(HashKind::Md5, repeated);
    base.Resize(kBaseSize);
    return base;
}

// ---- CryptoAPI --------------------------------------------------------------------------------

enum Flags : std::uint32_t { kUsesCryptoApi = 0x04, kUsesAes = 0x20 };
enum Algorithms : std::uint32_t {
    kByFlags = 0,
    kRc4 = 0x6801,
    kAes128 = 0x660E,
    kAes192 = 0x660F,
    kAes256 = 0x6610,
    kSha1 = 0x8004,
};
constexpr std::uint32_t kStandardRounds = 50000;

struct CryptoApiHeader {
    bool aes = false;
    std::size_t key_size = 0;  // bytes
    std::uint32_t rounds = 0;
    ByteSpan salt;
    ByteSpan encrypted_verifier;
    ByteSpan encrypted_hash;    // 20 bytes, for AES filled up to 32
    std::size_t hash_size = 0;  // of them, those that count
};

[[noreturn]] void ThrowUnknown(const OfficeDescription& description, const std::string& what) {
    throw UnknownEncryption(description.path, what);
}

std::string Hex(std::uint32_t number) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text = "0x";
    for (int shift = 12; shift >= 0; shift -= 4) {
        text += kDigits[number >> shift & 0xF];
    }
    return text;
}

std::size_t AesKeySize(std::uint32_t algorithm) {
    return algorithm == kAes256 ? 32 : algorithm == kAes192 ? 24 : 16;
}

CryptoApiHeader ReadCryptoApi(const OfficeDescription& description) {
    ByteReader reader(description.bytes, 4);
    CryptoApiHeader out;
    const auto flags = reader.Take<std::uint32_t>();
    if ((flags & kUsesCryptoApi) == 0) {
        ThrowUnknown(description,
                     "an external provider, version " +
                         std::to_string(LoadU16(description.bytes, 0)) + "." +
                         std::to_string(LoadU16(description.bytes, 2)));
    }
    // By its own length, because the provider's name at its end is of no interest.
    ByteReader header(reader.Take(reader.Take<std::uint32_t>()));
    header.Take(8);  // the flags again, and a size that is always 0
    const auto algorithm = header.Take<std::uint32_t>();
    const auto hash = header.Take<std::uint32_t>();
    auto bits = header.Take<std::uint32_t>();
    if (hash != kSha1 && hash != kByFlags) {
        ThrowUnknown(description, "hash " + Hex(hash));
    }
    const bool standard = (flags & kUsesAes) != 0;
    out.aes = standard || algorithm == kAes128 || algorithm == kAes192 || algorithm == kAes256;
    out.rounds = standard ? kStandardRounds : 0;
    const bool is_known = algorithm == kRc4 || algorithm == kByFlags || algorithm == kAes128 ||
                          algorithm == kAes192 || algorithm == kAes256;
    if (!is_known) {
        ThrowUnknown(description, "cipher " + Hex(algorithm));
    }
    // Old files leave the size out and mean the cipher's usual one.
    if (bits == 0) {
        bits = out.aes ? static_cast<std::uint32_t>(AesKeySize(algorithm) * 8) : 40;
    }
    out.key_size = bits / 8;
    const bool right_size = out.aes ? bits == 128 || bits == 192 || bits == 256
                                    : bits % 8 == 0 && bits >= 40 && bits <= 128;
    if (!right_size) {
        ThrowUnknown(description, "keys of " + std::to_string(bits) + " bits");
    }
    if (reader.Take<std::uint32_t>() != kSaltSize) {
        throw BoundsError();
    }
    out.salt = reader.Take(kSaltSize);
    out.encrypted_verifier = reader.Take(kVerifierSize);
    const auto hash_size = reader.Take<std::uint32_t>();
    if (hash_size == 0 || hash_size > SizeOf(HashKind::Sha1)) {
        throw BoundsError();
    }
    out.hash_size = hash_size;
    out.encrypted_hash = reader.Take(out.aes ? 32 : SizeOf(HashKind::Sha1));
    return out;
}

class CryptoApiCipher : public PageCipher {
public:
    CryptoApiCipher(const OfficeDescription& description,
                    const CryptoApiHeader& header,
                    SecretBytes base)
        : description_{{}, description.file_key, {}},
          aes_(header.aes),
          key_size_(header.key_size),
          base_(std::move(base)) {}

    // The verifier and its hash are decrypted as one: the stream goes on from the one to the other.
    bool Fits(const CryptoApiHeader& header) const {
        std::vector<std::byte> both(header.encrypted_verifier.begin(),
                                    header.encrypted_verifier.end());
        both.insert(both.end(), header.encrypted_hash.begin(), header.encrypted_hash.end());
        Apply(Direction::Decrypt, kVerifierBlock, both);
        const auto plain = Written(both);
        const auto hash = HashOf(HashKind::Sha1, plain.first(kVerifierSize));
        return SameSecret(hash.First(header.hash_size),
                          plain.subspan(kVerifierSize, header.hash_size));
    }
    void Decrypt(PageNumber page, std::span<std::byte> bytes) const override {
        if (page != 0) {
            Apply(Direction::Decrypt, BlockOf(description_, page), bytes);
        }
    }
    void Encrypt(PageNumber page, std::span<std::byte> bytes) const override {
        if (page != 0) {
            Apply(Direction::Encrypt, BlockOf(description_, page), bytes);
        }
    }

private:
    void Apply(Direction direction, ByteSpan block, std::span<std::byte> bytes) const {
        if (aes_) {
            ApplyAes(direction, AesKey(block), {}, bytes);
        } else {
            Rc4(Rc4Key(block)).Apply(bytes);
        }
    }
    // 40-bit keys are filled up with zeros, other lengths are taken as they are.
    SecretBytes Rc4Key(ByteSpan block) const {
        auto key = HashOf(HashKind::Sha1, base_, block);
        key.Resize(key_size_);
        if (key_size_ == 5) {
            key.Resize(16);
        }
        return key;
    }
    // A hash is shorter than the longest key: two hashes of it, each over a mask of 64 bytes.
    SecretBytes AesKey(ByteSpan block) const {
        const auto hash = HashOf(HashKind::Sha1, base_, block);
        const auto masked = [&](std::byte mask) {
            SecretBytes bytes(0);
            bytes.Resize(64, mask);
            for (std::size_t i = 0; i < hash.size(); ++i) {
                bytes.data()[i] ^= hash.data()[i];
            }
            return HashOf(HashKind::Sha1, bytes);
        };
        auto key = masked(std::byte{0x36});
        const auto rest = masked(std::byte{0x5C});
        const std::size_t half = key.size();
        key.Resize(half + rest.size());
        std::memcpy(key.data() + half, rest.data(), rest.size());
        key.Resize(key_size_);
        return key;
    }

    OfficeDescription description_;
    bool aes_;
    std::size_t key_size_;
    SecretBytes base_;
};

}  // namespace

std::unique_ptr<const PageCipher> OpenBinaryRc4(const OfficeDescription& description,
                                                ByteSpan password) {
    ByteReader reader(description.bytes, 4);
    const auto salt = reader.Take(kSaltSize);
    // What is too short ends in a BoundsError, which OpenOfficeCipher turns into a message.
    const auto encrypted = reader.Take(kVerifierSize + SizeOf(HashKind::Md5));
    auto cipher = std::make_unique<BinaryRc4>(description, BinaryRc4Base(salt, password));
    std::vector<std::byte> both(encrypted.begin(), encrypted.end());
    cipher->Stream(kVerifierBlock).Apply(both);
    const auto hash = HashOf(HashKind::Md5, Written(both).first(kVerifierSize));
    if (!SameSecret(hash, Written(both).subspan(kVerifierSize))) {
        return nullptr;
    }
    return cipher;
}

std::unique_ptr<const PageCipher> OpenCryptoApi(const OfficeDescription& description,
                                                ByteSpan password) {
    const auto header = ReadCryptoApi(description);
    const auto start = HashOf(HashKind::Sha1, header.salt, password);
    auto cipher = std::make_unique<CryptoApiCipher>(
        description, header, SpunHash(HashKind::Sha1, start, header.rounds));
    if (!cipher->Fits(header)) {
        return nullptr;
    }
    return cipher;
}

}  // namespace vantry::access
