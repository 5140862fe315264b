// Page 0 says what the file is: engine, version, sort order, password, encryption. Most of it is
// masked with constant bytes. What isn't an Access file is refused with what it seems to be, as
// files with the right extension and other content are common. Easy to get wrong: the password
// cells of newer files aren't empty without a password, they repeat the mask of the creation date.

#include "drivers/access/pages/file_header.h"

#include "data/code_page.h"
#include "data/utf.h"
#include "drivers/access/encryption/page_cipher.h"
#include "drivers/access/errors.h"
#include "drivers/access/pages/header_mask.h"
#include "drivers/access/pages/page_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <system_error>

namespace vantry::access {
namespace {

constexpr std::string_view kOleContainerMagic = "\xD0\xCF\x11\xE0";

std::string_view AsChars(ByteSpan bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

const Layout& CheckIdentity(ByteSpan bytes, std::string_view path) {
    if (AsChars(bytes).starts_with(kOleContainerMagic)) {
        throw NotAnAccessFile(path, "it is an OLE container, perhaps an encrypted Office file");
    }
    if (bytes.size() < kVersionOffset + 4 || LoadU32(bytes, 0) != kFileMagic) {
        throw NotAnAccessFile(path, "it doesn't begin like an Access file");
    }
    const auto engine = AsChars(Slice(bytes, kEngineNameOffset, kEngineNameLength));
    if (engine == kMoneyEngineName) {
        throw NotAnAccessFile(path, "it is a Money file");
    }
    if (engine != kJetEngineName && engine != kAceEngineName) {
        throw NotAnAccessFile(path, "it names no known engine");
    }
    const auto version = LoadU8(bytes, kVersionOffset);
    // A later format may differ anywhere: reading it by guess would bring wrong values.
    if (version > kVersionNewest) {
        throw UnknownVersion(path, version);
    }
    const Layout& layout = version == kVersionJet3 ? kJet3Layout : kJet4Layout;
    if (bytes.size() < layout.page_size) {
        throw DamagedFile(path, "it is shorter than one page");
    }
    return layout;
}

// Jet 4: the cells are masked once more with the creation date as an int32, so that a file without
// a password holds that number ten times.
std::string PasswordJet4(ByteSpan page, double creation_date) {
    std::uint32_t mask = 0;
    // A damaged date would be no number to convert.
    if (std::fabs(creation_date) < 2147483648.0) {
        mask = static_cast<std::uint32_t>(static_cast<std::int32_t>(creation_date));
    }
    std::u16string units;
    for (std::size_t i = 0; i < kPasswordLengthJet4; i += 2) {
        const auto half = static_cast<std::uint16_t>(mask >> (8 * (i % 4)));
        const auto unit = static_cast<char16_t>(LoadU16(page, kPasswordOffset + i) ^ half);
        if (unit == 0) {
            break;
        }
        units.push_back(unit);
    }
    return Utf8FromUtf16(units);
}

std::string PasswordJet3(ByteSpan page, int code_page) {
    auto cells = AsChars(Slice(page, kPasswordOffset, kPasswordLengthJet3));
    cells = cells.substr(0, cells.find('\0'));
    std::string password;
    if (IsAscii(cells)) {
        password = cells;
    } else {
        CodePage(code_page).AppendUtf8(cells, password);
    }
    return password;
}

}  // namespace

FileHeader ParseFileHeader(ByteSpan bytes, std::string_view path) {
    const Layout& layout = CheckIdentity(bytes, path);
    std::vector<std::byte> page(bytes.begin(),
                                bytes.begin() + static_cast<std::ptrdiff_t>(layout.page_size));
    MaskHeader(layout, page);
    FileHeader header;
    header.layout = &layout;
    header.version = LoadU8(page, kVersionOffset);
    header.ace = AsChars(Slice(page, kEngineNameOffset, kEngineNameLength)) == kAceEngineName;
    header.code_page = LoadU16(page, kCodePageOffset);
    header.encryption_key = LoadU32(page, kEncryptionKeyOffset);
    if (layout.jet3) {
        header.sort_order.lcid = LoadU16(page, kSortOrderOffsetJet3);
        header.password = PasswordJet3(page, header.code_page);
    } else {
        header.sort_order.lcid = LoadU16(page, kSortOrderOffset);
        header.sort_order.version = LoadU8(page, kSortOrderOffset + kCollationVersionByte);
        header.creation_date = Load<double>(page, kCreationDateOffset);
        header.password = PasswordJet4(page, header.creation_date);
    }
    if (header.IsOfficeEncrypted()) {
        header.password.clear();  // the cells hold a filling then
    } else if (header.HasEncryptedPages()) {
        header.cipher = MakeJetEncoding(header.encryption_key);
    }
    return header;
}

void Unlock(FileHeader& header, ByteSpan bytes, std::string_view password, std::string_view path) {
    if (header.IsOfficeEncrypted()) {
        header.cipher = OpenOfficeCipher(bytes, header.encryption_key, password, path);
        return;
    }
    // The engine upper-cases nothing here: passwords differ by case.
    if (!header.password.empty() && password != header.password) {
        throw WrongPassword(path, !password.empty());
    }
}

void CheckDecryption(PageSource& source) {
    if (!source.Header().IsOfficeEncrypted()) {
        return;
    }
    const auto begins_with = [&](PageNumber page, PageType type) {
        std::vector<std::byte> bytes(source.PageSize());
        source.Read(page, bytes);
        return LoadU8(bytes, kPageTypeOffset) == static_cast<std::uint8_t>(type) &&
               LoadU8(bytes, kPageMarkOffset) == kPageMark;
    };
    // Two pages that every file has, of types that are known beforehand.
    if (!begins_with(kGlobalMapPage, PageType::Data) ||
        !begins_with(kObjectsTablePage, PageType::TableDefinition)) {
        throw DamagedFile(source.Name(),
                          "the password is right, but the pages can't be decrypted with its key");
    }
}

std::vector<std::byte> ReadFileStart(int descriptor, std::string_view path) {
    std::vector<std::byte> start(kJet4Layout.page_size);
    std::size_t filled = 0;
    while (filled < start.size()) {
        const auto got = ::pread(
            descriptor, start.data() + filled, start.size() - filled, static_cast<off_t>(filled));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            throw CannotOpen(path, std::generic_category().message(errno));
        }
        if (got == 0) {
            break;
        }
        filled += static_cast<std::size_t>(got);
    }
    start.resize(filled);
    return start;
}

std::unique_ptr<PageSource> OpenReadOnly(const std::filesystem::path& path,
                                         std::string_view password) {
    // Without waiting: the path may be a pipe, whose opening would never end.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) {
        throw CannotOpen(path.string(), std::generic_category().message(errno));
    }
    FileHeader header;
    try {
        const auto start = ReadFileStart(descriptor, path.string());
        header = ParseFileHeader(start, path.string());
        Unlock(header, start, password, path.string());
    } catch (...) {
        ::close(descriptor);
        throw;
    }
    auto source =
        std::make_unique<FilePageSource>(descriptor, std::move(header), path.filename().string());
    CheckDecryption(*source);
    return source;
}

}  // namespace vantry::access
