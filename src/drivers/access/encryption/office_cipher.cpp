// Page 0 says how an .accdb file is encrypted: a length, two version numbers, and a description
// whose form hangs on them. This file finds the description and picks the scheme; whether a
// password fits is answered by a verifier inside the description, so that no page has to be guessed
// at.
#include "data/utf.h"
#include "drivers/access/encryption/office_scheme.h"
#include "drivers/access/errors.h"

namespace vantry::access {
namespace {

// The user slots of page 0 begin here, so no description reaches further.
constexpr std::size_t kDescriptionEnd = 0xE00;
constexpr std::size_t kShortestDescription = 8;
// What Access takes at most; longer ones are no file's password.
constexpr std::size_t kLongestPassword = 255;

constexpr std::uint16_t kAgileVersion = 4;
constexpr std::uint16_t kCryptoApiMinor = 2;

std::unique_ptr<const PageCipher> OpenByVersion(const OfficeDescription& description,
                                                ByteSpan password) {
    const auto major = LoadU16(description.bytes, 0);
    const auto minor = LoadU16(description.bytes, 2);
    if (major == kAgileVersion && minor == kAgileVersion) {
        return OpenAgile(description, password);
    }
    if (major == 1 && minor == 1) {
        return OpenBinaryRc4(description, password);
    }
    if (major >= 2 && major <= 4 && minor == kCryptoApiMinor) {
        return OpenCryptoApi(description, password);
    }
    throw UnknownEncryption(description.path,
                            "version " + std::to_string(major) + "." + std::to_string(minor));
}

}  // namespace

std::array<std::byte, 4> BlockOf(const OfficeDescription& description, PageNumber page) {
    return LittleEndian(description.file_key ^ page);
}

std::unique_ptr<const PageCipher> OpenOfficeCipher(ByteSpan page_zero,
                                                   std::uint32_t file_key,
                                                   std::string_view password,
                                                   std::string_view path) {
    constexpr std::string_view kContradiction =
        "the description of its encryption contradicts itself";
    std::u16string units = Utf16FromUtf8(password);
    if (units.size() > kLongestPassword) {
        throw WrongPassword(path, true);
    }
    // What is hashed is UTF-16, lowest byte first and without an end.
    const SecretBytes secret(std::as_bytes(std::span(units)));
    WipeText(units);
    std::unique_ptr<const PageCipher> cipher;
    try {
        const std::size_t length = LoadU16(page_zero, kOfficeEncryptionOffset);
        const std::size_t begin = kOfficeEncryptionOffset + 2;
        if (length < kShortestDescription || begin + length > kDescriptionEnd) {
            throw BoundsError();
        }
        cipher = OpenByVersion({Slice(page_zero, begin, length), file_key, path}, secret);
    } catch (const BoundsError&) {
        throw DamagedFile(path, kContradiction);
    }
    if (cipher == nullptr) {
        throw WrongPassword(path, !password.empty());
    }
    return cipher;
}

}  // namespace vantry::access
