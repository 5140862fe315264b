// Writing a journal. A slot proves itself by checksums and by the journal's random number, as a
// disk may hold old blocks under a new length; slots count only up to the last end of a batch that
// is whole, since pages are changed only after the batch that saves them is on the disk. Easy to
// get wrong: what is written over a page more than once in a transaction needs its sums each time,
// and those must be on the disk before it, too.

#include "files/journal.h"

#include "files/checked_bytes.h"
#include "files/checksum.h"
#include "files/file_errors.h"
#include "files/journal_trust.h"

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <optional>
#include <random>
#include <utility>

namespace vantry::file {

using namespace journal_format;  // NOLINT(google-build-using-namespace): the format it writes

namespace {

constexpr std::size_t kReserveStep = 16;  // slots

std::uint64_t RandomNonce() {
    std::random_device device;
    return static_cast<std::uint64_t>(device()) << 32 | device();
}

File NewJournal(const std::string& database) {
    const std::string path = Journal::PathFor(database);
    if (IsThere(path)) {
        // Checked although CreateNew refuses as well: the error names the database, and what can be
        // done.
        throw JournalInTheWay(database, path);
    }
    return File::CreateNew(path, true);
}

}  // namespace

// Nothing is left of a journal whose header couldn't be written: it would stand in the way.
Journal::Journal(const File& database, std::uint32_t block_size, std::uint64_t database_size)
    : file_(NewJournal(database.Path())), slot_(kSlotHeader + block_size) {
    try {
        GrantLike(file_, database);
        header_.block_size = block_size;
        header_.first_block_sum = FirstBlockSum(database, block_size, database_size);
        header_.database_size = database_size;
        header_.grown_to = database_size;
        header_.nonce = RandomNonce();
        WriteHeader();
    } catch (...) {
        ::unlink(file_.Path().c_str());
        throw;
    }
}

void Journal::WriteHeader() {
    const auto bytes = BytesOf(header_);
    file_.Write(0, bytes);
}

void Journal::ReserveImages(std::size_t count) {
    if (count <= reserved_) {
        return;
    }
    // More slots for the end of each batch, and for sums.
    const std::uint64_t wanted = (count / kReserveStep + 1) * kReserveStep;
    const std::size_t entries = (slot_.size() - kSlotHeader) / kSumsEntry;
    file_.Reserve(kHeaderSize, (wanted + wanted / entries + 3) * slot_.size());
    reserved_ = wanted;
}

void Journal::NoteGrowth(std::uint64_t length) {
    // Not flushed: a header that a power failure loses is allowed for by the playback (CutGrowth).
    header_.grown_to = length;
    WriteHeader();
}

void Journal::WriteSlot(std::uint32_t kind,
                        std::uint64_t number,
                        std::span<const std::byte> content) {
    const std::span<std::byte> slot(slot_);
    // What an earlier, longer content has left would go into the file as well.
    std::memset(slot.data(), 0, slot.size());
    Store(slot, 0, header_.nonce);
    Store(slot, kSlotKindOffset, kind);
    Store(slot, kSlotLengthOffset, static_cast<std::uint32_t>(content.size()));
    Store(slot, kSlotNumberOffset, number);
    Store(slot, kSlotContentSumOffset, Crc32c(content));
    Store(slot, kSlotSumOffset, Crc32c(slot.first(kSlotSumOffset)));
    if (!content.empty()) {
        std::memcpy(slot.data() + kSlotHeader, content.data(), content.size());
    }
    file_.Write(kHeaderSize + slots_ * slot.size(), slot);
    ++slots_;
    unsynced_ = true;
}

void Journal::WriteSums() {
    if (!sums_.empty()) {
        WriteSlot(kSums, 0, sums_);
        sums_.clear();
    }
}

void Journal::AddImage(std::uint64_t block, std::span<const std::byte> image) {
    WriteSlot(kImage, block, image);
}

void Journal::AddReplacement(std::uint64_t block, std::span<const std::byte> replacement) {
    const std::size_t at = sums_.size();
    sums_.resize(at + kSumsEntry);
    const auto sums = SumsOf(replacement);
    Store(std::span(sums_), at, block);
    std::memcpy(sums_.data() + at + sizeof block, sums.data(), sizeof sums);
    if (sums_.size() + kSumsEntry > slot_.size() - kSlotHeader) {
        WriteSums();
    }
}

void Journal::Sync() {
    Journal* const self = this;
    SyncAll({&self, 1});
}

void Journal::SyncAll(std::span<Journal* const> journals) {
    std::vector<Journal*> synced;
    for (Journal* const journal : journals) {
        if (journal->SyncContent()) {
            synced.push_back(journal);
        }
    }
    std::optional<std::filesystem::path> last;
    for (Journal* const journal : synced) {
        if (!journal->named_) {
            auto folder = std::filesystem::path(journal->file_.Path()).parent_path();
            if (folder != last) {
                SyncFolderOf(journal->file_.Path());
                last = std::move(folder);
            }
            journal->named_ = true;
        }
        journal->unsynced_ = false;
    }
}

// False: there was nothing to sync.
bool Journal::SyncContent() {
    WriteSums();
    if (!unsynced_) {
        return false;
    }
    // Within the same flush as what it ends: the playback looks whether the rest got there, too.
    WriteSlot(kBatchEnd, slots_, {});
    file_.Sync();
    return true;
}

void Journal::Remove() {
    RemoveFile(file_.Path());
    try {
        SyncFolderOf(file_.Path());
    } catch (const std::exception&) {
        // The transaction is committed: for every reader the journal is gone, and its changes are
        // on the disk. Only a power failure may bring it back yet. A folder that can't be synced
        // fails the next transaction before it changes anything.
    }
}

}  // namespace vantry::file
