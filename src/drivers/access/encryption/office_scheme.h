#pragma once
// The schemes by which a password protects an .accdb file, one function each. All of them take the
// same: what the file says of its encryption, and the password. None of them keeps the password;
// what they derive from it is wiped with the cipher.

#include "drivers/access/encryption/crypto.h"
#include "drivers/access/encryption/page_cipher.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace vantry::access {

struct OfficeDescription {
    ByteSpan bytes;              // from the version numbers on
    std::uint32_t file_key = 0;  // of the header: a part of each page's key
    std::string_view path;       // for messages
};

// The key of a page begins with these four bytes.
std::array<std::byte, 4> BlockOf(const OfficeDescription& description, PageNumber page);

// Each returns nothing where the password is wrong (`password` is UTF-16, as it is hashed), and
// throws BoundsError where the description points outside, DataError where it can't be followed.

// Version 1.1: RC4 and MD5, 40 bits.
std::unique_ptr<const PageCipher> OpenBinaryRc4(const OfficeDescription& description,
                                                ByteSpan password);
// Versions 2.2 to 4.2: RC4 or AES with SHA-1, described by a CryptoAPI header.
std::unique_ptr<const PageCipher> OpenCryptoApi(const OfficeDescription& description,
                                                ByteSpan password);
// Version 4.4: AES in chained blocks, described by XML.
std::unique_ptr<const PageCipher> OpenAgile(const OfficeDescription& description,
                                            ByteSpan password);

}  // namespace vantry::access
