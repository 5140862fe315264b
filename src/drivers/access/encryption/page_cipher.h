#pragma once
// How the pages of an encrypted file are made plain and back. Page 0 is never encrypted; every
// other page is encrypted whole, in place, by a key of its own that hangs on its number: the same
// page always gives the same bytes, and a page is moved by encrypting it anew.

#include "drivers/access/bytes.h"
#include "drivers/access/format.h"

#include <memory>
#include <span>
#include <string_view>

namespace vantry::access {

class PageCipher {
public:
    virtual ~PageCipher() = default;
    PageCipher() = default;
    PageCipher(const PageCipher&) = delete;
    PageCipher& operator=(const PageCipher&) = delete;

    // One whole page, in place; from any thread. Page 0 is left as it is.
    virtual void Decrypt(PageNumber page, std::span<std::byte> bytes) const = 0;
    virtual void Encrypt(PageNumber page, std::span<std::byte> bytes) const = 0;
};

// The page encoding of .mdb files: anybody can undo it, no password is asked.
std::unique_ptr<const PageCipher> MakeJetEncoding(std::uint32_t file_key);

// The cipher of an .accdb file that is encrypted with a password, by the description in its first
// page (`page_zero`, as it is on disk). `file_key` is the header's kEncryptionKeyOffset, not 0.
// Throws DataError, naming `path`: for a wrong or missing password, for a description that is
// damaged, and for a scheme that isn't known here.
std::unique_ptr<const PageCipher> OpenOfficeCipher(ByteSpan page_zero,
                                                   std::uint32_t file_key,
                                                   std::string_view password,
                                                   std::string_view path);

}  // namespace vantry::access
