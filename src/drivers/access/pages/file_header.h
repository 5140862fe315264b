#pragma once
// Page 0 of a database file: what kind of file it is, and whether it can be opened.

#include "drivers/access/bytes.h"
#include "drivers/access/format.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::access {

class PageCipher;
class PageSource;

struct SortOrder {
    std::uint16_t lcid = kEnglishLcid;
    std::uint8_t version = kGeneralLegacyVersion;

    friend bool operator==(const SortOrder&, const SortOrder&) = default;
};

struct FileHeader {
    const Layout* layout = &kJet4Layout;
    std::uint8_t version = kVersionJet4;
    bool ace = false;  // .accdb
    int code_page = 1252;
    std::uint32_t encryption_key = 0;
    SortOrder sort_order;
    double creation_date = 0;
    std::string password;  // UTF-8, empty: none; of a file that isn't encrypted with it
    // Makes pages plain and back; none: they are plain. ParseFileHeader knows that of files that
    // need no password for it, Unlock adds the others'.
    std::shared_ptr<const PageCipher> cipher;

    bool HasEncryptedPages() const { return encryption_key != 0; }
    // Encrypted with a password, whose right one gives the key.
    bool IsOfficeEncrypted() const { return HasEncryptedPages() && version > kVersionJet4; }
};

// `path` is for messages. Throws DataError for what isn't an Access file and for a version that
// isn't known. `bytes` begin at the file's start; a file shorter than a page is refused.
FileHeader ParseFileHeader(ByteSpan bytes, std::string_view path);

// Refuses what `password` (UTF-8, may be empty) doesn't open; `bytes` as for ParseFileHeader. For a
// file that is encrypted with its password, sets the cipher of the header; that takes some tens of
// milliseconds, because such passwords are hashed slowly by design.
void Unlock(FileHeader& header, ByteSpan bytes, std::string_view password, std::string_view path);

// After Unlock: whether the two pages with a known beginning are plain now. A file whose
// description of its encryption is damaged behind the verifier is found here, not by its first
// query.
void CheckDecryption(PageSource& source);

// The first page's worth of bytes of an open file, for ParseFileHeader. Throws DataError.
std::vector<std::byte> ReadFileStart(int descriptor, std::string_view path);

// Opens a file only for reading, past all locks: for the verifier and for tests. Throws DataError.
std::unique_ptr<PageSource> OpenReadOnly(const std::filesystem::path& path,
                                         std::string_view password = {});

}  // namespace vantry::access
