// The form of Access 2010 and later. The pages have a random key of their own; the password only
// protects that key. So a slow hash is made once a file, and a page costs one short hash and AES.
// Every page is one chain of blocks: a change of one byte alters all that follows, so only whole
// pages are written.
#include "drivers/access/encryption/agile_description.h"
#include "drivers/access/encryption/office_scheme.h"
#include "drivers/access/errors.h"

#include <algorithm>

namespace vantry::access {
namespace {

constexpr std::byte kFill{0x36};
constexpr std::size_t kXmlOffset = 8;

using Purpose = std::array<std::uint8_t, 8>;
constexpr Purpose kVerifier = {0xFE, 0xA7, 0xD2, 0x76, 0x3B, 0x4B, 0x9E, 0x79};
constexpr Purpose kVerifierHash = {0xD7, 0xAA, 0x0F, 0x6D, 0x30, 0x61, 0x34, 0x4E};
constexpr Purpose kPageKey = {0x14, 0x6E, 0x0B, 0xE7, 0xAB, 0xAC, 0xD0, 0xD6};

class AgileCipher : public PageCipher {
public:
    // Of the description only the file's number is kept: its bytes and path are the caller's.
    AgileCipher(const OfficeDescription& description, AgileCipherSettings settings, SecretBytes key)
        : description_{{}, description.file_key, {}},
          settings_(std::move(settings)),
          key_(std::move(key)) {}

    void Decrypt(PageNumber page, std::span<std::byte> bytes) const override {
        Apply(Direction::Decrypt, page, bytes);
    }
    void Encrypt(PageNumber page, std::span<std::byte> bytes) const override {
        Apply(Direction::Encrypt, page, bytes);
    }

private:
    void Apply(Direction direction, PageNumber page, std::span<std::byte> bytes) const {
        // Page 0 stays readable in every scheme, because it says how the others are encrypted.
        if (page == 0) {
            return;
        }
        auto iv = HashOf(settings_.hash, settings_.salt, BlockOf(description_, page));
        // The hash may be longer or shorter than a block: cut, or filled up as the format says.
        iv.Resize(settings_.block_size, kFill);
        ApplyAes(direction, key_, iv, bytes);
    }

    OfficeDescription description_;
    AgileCipherSettings settings_;
    SecretBytes key_;
};

// What the password protects, decrypted with the key for one purpose.
class PasswordBox {
public:
    PasswordBox(const AgileDescription& description, ByteSpan password)
        : settings_(description.password),
          hash_(SpunHash(settings_.hash,
                         HashOf(settings_.hash, settings_.salt, password),
                         description.spin_count)) {}

    SecretBytes Open(const Purpose& purpose, const std::vector<std::byte>& encrypted) const {
        auto key = HashOf(settings_.hash, hash_, std::as_bytes(std::span(purpose)));
        key.Resize(settings_.key_size, kFill);
        SecretBytes iv{ByteSpan(settings_.salt)};
        iv.Resize(settings_.block_size, kFill);
        SecretBytes bytes{ByteSpan(encrypted)};
        ApplyAes(Direction::Decrypt, key, iv, std::span(bytes.data(), bytes.size()));
        return bytes;
    }

private:
    const AgileCipherSettings& settings_;
    SecretBytes hash_;
};

}  // namespace

std::unique_ptr<const PageCipher> OpenAgile(const OfficeDescription& description,
                                            ByteSpan password) {
    const auto xml = Slice(description.bytes, kXmlOffset, description.bytes.size() - kXmlOffset);
    auto agile = ParseAgileDescription({reinterpret_cast<const char*>(xml.data()), xml.size()},
                                       description.path);
    const PasswordBox box(agile, password);
    auto verifier = box.Open(kVerifier, agile.encrypted_verifier);
    // Encrypted were whole blocks; the verifier itself is as long as the salt.
    verifier.Resize(std::min(verifier.size(), agile.password.salt.size()));
    const auto expected = box.Open(kVerifierHash, agile.encrypted_verifier_hash);
    const auto hash = HashOf(agile.password.hash, verifier);
    if (!SameSecret(hash, expected.First(hash.size()))) {
        return nullptr;
    }
    auto key = box.Open(kPageKey, agile.encrypted_key);
    key.Resize(agile.pages.key_size);
    return std::make_unique<AgileCipher>(description, std::move(agile.pages), std::move(key));
}

}  // namespace vantry::access
