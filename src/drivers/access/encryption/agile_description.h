#pragma once
// The XML in which the newer form of encryption describes itself: how pages are encrypted, and how
// the password protects the key of the pages.

#include "drivers/access/encryption/crypto.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace vantry::access {

struct AgileCipherSettings {
    std::vector<std::byte> salt;
    std::size_t block_size = 0;  // bytes
    std::size_t key_size = 0;    // bytes: 16, 24 or 32
    HashKind hash = HashKind::Sha1;
};

struct AgileDescription {
    AgileCipherSettings pages;
    AgileCipherSettings password;
    std::uint32_t spin_count = 0;
    std::vector<std::byte> encrypted_verifier;
    std::vector<std::byte> encrypted_verifier_hash;
    std::vector<std::byte> encrypted_key;
};

// `xml` is UTF-8 without an end mark. Throws DataError, naming `path`: as damaged where it isn't
// well formed or its lengths can't be, as unknown where it names a cipher, hash or key holder that
// isn't AES in chained blocks, SHA and a password.
AgileDescription ParseAgileDescription(std::string_view xml, std::string_view path);

}  // namespace vantry::access
