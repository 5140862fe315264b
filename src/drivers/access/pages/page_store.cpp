// The Access side of the file layer's transactions: who may write, when connections see each
// other's rows, and which pages are free. A freed page is reused at once, lowest first, which keeps
// files small. Easy to get wrong: a page that was freed in this transaction must be cleared through
// the journal, since a roll-back brings it back, while one that was free before can simply be
// renewed; and pages behind those that the map covers count as free whether they are or not.

#include "drivers/access/pages/page_store.h"

#include "drivers/access/encryption/page_cipher.h"
#include "drivers/access/errors.h"
#include "drivers/access/pages/owned_pages.h"
#include "drivers/access/pages/usage_map_writer.h"
#include "drivers/access/write_errors.h"
#include "files/file.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace vantry::access {
namespace {

// The first page behind those with a given place.
constexpr PageNumber kFirstFreePage = kRelationshipsTablePage + 1;

// Who has the file open in the program Access, by its lock file: 64-byte records of computer and
// user name. Empty: none.
std::string UserOfLockFile(const std::string& path) {
    namespace fs = std::filesystem;
    fs::path lock_path(path);
    const bool ace = lock_path.extension().string().size() > 4;
    lock_path.replace_extension(ace ? ".laccdb" : ".ldb");
    const auto lock = file::File::OpenIfThere(lock_path.string(), file::OpenMode::Read);
    std::array<std::byte, 64> record{};
    if (!lock || lock->Read(0, record) < record.size()) {
        return {};
    }
    const auto text = [&](std::size_t offset) {
        std::string out;
        for (std::size_t at = offset; at < offset + 32 && record[at] != std::byte{}; ++at) {
            const char letter = static_cast<char>(record[at]);
            out += letter >= ' ' && letter <= '~' ? letter : '?';
        }
        out.erase(out.find_last_not_of(' ') + 1);
        return out;
    };
    return text(0) + "/" + text(32) + " ('" + lock->Path() + "')";
}

}  // namespace

std::unique_ptr<PageStore> PageStore::Open(const std::string& path, std::string_view password) {
    auto opened = file::File::Open(file::RealPath(path), file::OpenMode::ReadWriteIfAllowed);
    const auto start = ReadFileStart(opened.Descriptor(), path);
    FileHeader header = ParseFileHeader(start, path);
    Unlock(header, start, password, path);
    file::PagedFileOptions options;
    options.page_size = static_cast<std::uint32_t>(header.layout->page_size);
    options.max_size = header.layout->max_file_size;
    if (const auto cipher = header.cipher; cipher != nullptr) {
        options.decode = [cipher](PageNumber page, std::span<std::byte> bytes) {
            cipher->Decrypt(page, bytes);
        };
        options.encode = [cipher](PageNumber page, std::span<std::byte> bytes) {
            cipher->Encrypt(page, bytes);
        };
    }
    std::string name = std::filesystem::path(path).filename().string();
    auto file = std::make_unique<file::PagedFile>(std::move(opened), std::move(options));
    std::unique_ptr<PageStore> store(
        new PageStore(std::move(file), std::move(header), std::move(name)));
    CheckDecryption(*store);
    return store;
}

PageStore::PageStore(std::unique_ptr<file::PagedFile> file, FileHeader header, std::string name)
    : PageSource(std::move(header), std::move(name)), file_(std::move(file)) {
    file_->SetBeforeCommit([this] {
        WithFile(Name(), [this] {
            for (CommitListener* const listener : listeners_) {
                listener->BeforeCommit();
            }
        });
    });
}

PageStore::~PageStore() = default;

PageNumber PageStore::PageCount() {
    return file_->PageCount();
}

// A change by another connection shows at the first read behind it.
void PageStore::Read(PageNumber first, std::span<std::byte> out) {
    const auto pages = static_cast<PageNumber>(out.size() / PageSize());
    const PageNumber count = PageCount();
    if (first >= count || pages > count - first) {
        throw DamagedPage(
            Name(), std::max(first, count), "which is referred to, lies behind the file's end");
    }
    if (const std::uint64_t version = file_->Read(first, out); version != seen_version_) {
        seen_version_ = version;
        BumpVersion();
    }
}

bool PageStore::TryRead(PageNumber first, std::span<std::byte> out, std::uint64_t& stamp) {
    return file_->TryRead(first, out, stamp);
}

std::uint64_t PageStore::VersionOf(std::uint64_t stamp) const {
    // Version() follows the file's at the next Read(), and so do all who compare it.
    return stamp == seen_version_ && stamp == file_->Version() ? Version() : kStale;
}

void PageStore::Settle() {
    file_->Settle();
    if (const std::uint64_t version = file_->Version(); version != seen_version_) {
        seen_version_ = version;
        BumpVersion();
    }
}

// ---- Transactions -----------------------------------------------------------------------------

// Asked before each transaction, as Access may have opened the file since the last.
void PageStore::RequireWritable() {
    if (GetLayout().jet3) {
        throw CannotWriteJet3(Name());
    }
    if (Header().version > kVersionNewest) {
        throw CannotWriteFile(Name(), "it is of a newer version than this program knows");
    }
    if (file::StampOf(Path()).value_or(file::FileStamp{}).size % PageSize() != 0) {
        throw CannotWriteFile(Name(),
                              "its size isn't a whole number of pages, so it is cut or damaged");
    }
    if (const std::string user = UserOfLockFile(Path()); !user.empty()) {
        throw OpenInAccess(Name(), user);
    }
}

// Other connections may have freed and used pages since ours ended.
void PageStore::StartTransaction() {
    BumpVersion();
    free_pages_.reset();
    freed_.clear();
    search_from_ = kFirstFreePage;
    CoverEnd();
}

// A transaction that was killed may have left pages behind those that the map of free pages covers.
// A bitmap made later takes all that it finds for used, so they are given to it as free here, where
// nothing else is half done.
void PageStore::CoverEnd() {
    const PageNumber end = PageCount();
    if (end <= kFirstFreePage || FreePages().Covers(end - 1)) {
        return;
    }
    std::vector<bool> owned;
    try {
        owned = FindOwnedPages(*this);
    } catch (const DataError&) {
        return;
    } catch (const BoundsError&) {
        return;
    }
    std::vector<PageNumber> lost;
    for (PageNumber page = kFirstFreePage; page < end; ++page) {
        if (!owned[page] && !FreePages().Covers(page)) {
            lost.push_back(page);
        }
    }
    FreePages().Remove(end - 1);
    for (const PageNumber page : lost) {
        FreePages().Add(page);
    }
}

void PageStore::Begin() {
    RequireWritable();
    file_->Begin();
    try {
        StartTransaction();
    } catch (...) {
        file_->Rollback();
        throw;
    }
}

void PageStore::Commit() {
    BumpVersion();
    file_->Commit();
}

void PageStore::Rollback() {
    BumpVersion();
    file_->Rollback();
}

void PageStore::BeginRow(bool undo) {
    if (!file_->InTransaction()) {
        RequireWritable();
    }
    const std::uint64_t before = file_->TransactionNumber();
    file_->BeginRow(undo);
    if (file_->TransactionNumber() != before) {
        try {
            StartTransaction();
        } catch (...) {
            file_->EndRow(false);
            throw;
        }
    }
    BumpVersion();
}

void PageStore::EndRow(bool keep) {
    if (!keep) {
        // A page freed by the row is in use again. Pages freed earlier in the batch stay known.
        BumpVersion();
        search_from_ = kFirstFreePage;
    }
    file_->EndRow(keep);
}

void PageStore::Remember(CommitListener& listener) {
    if (std::find(listeners_.begin(), listeners_.end(), &listener) == listeners_.end()) {
        listeners_.push_back(&listener);
    }
}

void PageStore::Forget(CommitListener& listener) {
    std::erase(listeners_, &listener);
}

std::span<std::byte> PageStore::Change(PageNumber page) {
    if (page >= PageCount()) {
        throw DamagedPage(Name(), page, "which is referred to, lies behind the file's end");
    }
    BumpVersion();
    return file_->Change(page);
}

ByteSpan PageStore::Look(PageNumber page) {
    if (page >= PageCount()) {
        throw DamagedPage(Name(), page, "which is referred to, lies behind the file's end");
    }
    return file_->Look(page);
}

void PageStore::SafePoint() {
    file_->SafePoint();
}

// ---- Free pages -------------------------------------------------------------------------------

PageNumber PageStore::Append() {
    BumpVersion();
    return file_->Append();
}

UsageMapWriter& PageStore::FreePages() {
    if (!free_pages_) {
        free_pages_ = std::make_unique<UsageMapWriter>(
            *this, RowPointer{kGlobalMapPage, 0}, UsageMapWriter::Kind::FreePages);
    }
    return *free_pages_;
}

PageNumber PageStore::Allocate() {
    if (search_from_ < PageCount()) {
        auto free = FreePages().Next(search_from_, PageCount());
        // A map that was made elsewhere may call its own pages free.
        for (const PageNumber own : free ? FreePages().BitmapPages() : std::vector<PageNumber>()) {
            if (free == own) {
                free = FreePages().Next(own + 1, PageCount());
            }
        }
        if (free) {
            search_from_ = *free + 1;
            FreePages().Remove(*free);
            // See the head of this file.
            if (freed_.contains(*free)) {
                const auto bytes = Change(*free);
                std::memset(bytes.data(), 0, bytes.size());
            } else {
                BumpVersion();
                file_->Renew(*free);
            }
            return *free;
        }
        search_from_ = kMaxPageNumber;
    }
    const PageNumber page = Append();
    FreePages().Remove(page);
    return page;
}

void PageStore::Free(PageNumber page) {
    BumpVersion();
    FreePages().Add(page);
    freed_.insert(page);
    search_from_ = std::min(search_from_, page);
}

}  // namespace vantry::access
