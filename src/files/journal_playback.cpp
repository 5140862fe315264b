// Playing a journal back restores a file whatever killed its writer. Everything is checked first:
// that the journal is this database's own, and that each sector of each block which it saved is
// either the saved one or one that it said would be written. Easy to get wrong: slots behind the
// last end of a batch may be there in part, but then no page of theirs has been changed; and a
// journal without any image says nothing but how far the file was made to grow.

#include "files/checked_bytes.h"
#include "files/checksum.h"
#include "files/file_errors.h"
#include "files/journal.h"
#include "files/journal_trust.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

namespace vantry::file {

using namespace journal_format;  // NOLINT(google-build-using-namespace): the format it reads

namespace {

bool Same(std::span<const std::byte> left, std::span<const std::byte> right) {
    return left.size() == right.size() &&
           (left.empty() || std::memcmp(left.data(), right.data(), left.size()) == 0);
}

}  // namespace

class Playback::Player {
public:
    Player(File& database, File journal, std::uint32_t block_size)
        : database_(database),
          journal_(std::move(journal)),
          slot_(kSlotHeader + block_size),
          block_(block_size) {}

    void Check() {
        // Before a byte of it is believed.
        RequireTrusted(journal_, database_);
        header_ = ReadJournalHeader(journal_);
        if (header_.old) {
            throw OldJournal(database_.Path(), journal_.Path());
        }
        if (!header_.ours) {
            throw NotAJournal(database_.Path(), journal_.Path());
        }
        const std::uint64_t size = journal_.Size();
        slots_ = size < kHeaderSize ? 0 : (size - kHeaderSize) / slot_.size();
        usable_ = header_.intact && header_.block_size == block_.size();
        synced_ = FindSyncedSlots();
        if (!usable_) {
            // Its header never reached the disk, so nothing was changed, unless images say
            // otherwise.
            synced_ = 0;
            for (std::uint64_t slot = 0; slot < slots_; ++slot) {
                RequireUnchanged(slot);
            }
            return;
        }
        // Shorter than before the transaction, which only ever grows it until it is committed:
        // another program has cut it, or it was replaced.
        if (database_.Size() < header_.database_size) {
            throw ForeignJournal(database_.Path(), journal_.Path());
        }
        GatherSums();
        for (std::uint64_t slot = 0; slot < slots_; ++slot) {
            if (slot < synced_) {
                CheckSynced(slot);
            } else {
                RequireUnchanged(slot);
            }
        }
        if (!first_block_saved_ && FirstBlockSum(database_, block_.size(), header_.database_size) !=
                                       header_.first_block_sum) {
            throw ForeignJournal(database_.Path(), journal_.Path());
        }
    }

    PlaybackResult Run() {
        if (synced_ == 0) {
            CutGrowth();
            return PlaybackResult::Unused;
        }
        Restore();
        return PlaybackResult::PlayedBack;
    }

private:
    // Reads a slot; false if it isn't whole. With a broken header any nonce will do.
    bool ReadSlot(std::uint64_t slot) {
        if (journal_.Read(kHeaderSize + slot * slot_.size(), slot_) != slot_.size()) {
            return false;
        }
        const std::span<const std::byte> bytes(slot_);
        const auto kind = LoadU32(bytes, kSlotKindOffset);
        return LoadU32(bytes, kSlotSumOffset) == Crc32c(bytes.first(kSlotSumOffset)) &&
               (!header_.intact || LoadU64(bytes, 0) == header_.nonce) &&
               (kind == kImage || kind == kBatchEnd || kind == kSums) &&
               LoadU32(bytes, kSlotLengthOffset) <= block_.size() &&
               LoadU32(bytes, kSlotContentSumOffset) == Crc32c(Content());
    }
    std::span<const std::byte> Content() const {
        return std::span<const std::byte>(slot_).subspan(
            kSlotHeader, std::min<std::size_t>(LoadU32(slot_, kSlotLengthOffset), block_.size()));
    }
    bool Is(std::uint32_t kind) const { return LoadU32(slot_, kSlotKindOffset) == kind; }
    std::uint64_t Number() const { return LoadU64(slot_, kSlotNumberOffset); }
    std::uint64_t BlockOffset() const { return Number() * block_.size(); }

    // The end of the last batch that ends before `limit`, as the count of slots up to it; 0: none.
    std::uint64_t LastEnd(std::uint64_t limit) {
        for (std::uint64_t slot = limit; slot > 0; --slot) {
            // By its number, too: an end of another place would be an old block of the disk.
            if (ReadSlot(slot - 1) && Is(kBatchEnd) && Number() == slot - 1) {
                return slot;
            }
        }
        return 0;
    }

    // Slots of whole batches: these were on disk before any of their blocks changed. Of the last
    // batch the end may have reached the disk and another slot not, when the power failed during
    // its sync; its blocks are unchanged then, which Check() makes sure of.
    std::uint64_t FindSyncedSlots() {
        const std::uint64_t end = LastEnd(slots_);
        const std::uint64_t start = end == 0 ? 0 : LastEnd(end - 1);
        for (std::uint64_t slot = start; slot < end; ++slot) {
            if (!ReadSlot(slot)) {
                return start;
            }
        }
        return end;
    }

    void GatherSums() {
        for (std::uint64_t slot = 0; slot < synced_; ++slot) {
            if (!ReadSlot(slot) || !Is(kSums)) {
                continue;
            }
            const auto content = Content();
            for (std::size_t at = 0; at + kSumsEntry <= content.size(); at += kSumsEntry) {
                SectorSums sums{};
                std::memcpy(sums.data(), content.data() + at + 8, sizeof sums);
                // Several a block: the kill may have come behind any of its writes.
                written_[LoadU64(content, at)].push_back(sums);
            }
        }
    }

    void CheckSynced(std::uint64_t slot) {
        if (!ReadSlot(slot)) {
            throw DamagedJournal(database_.Path(), journal_.Path());
        }
        if (!Is(kImage)) {
            return;
        }
        const auto image = Content();
        // No transaction saves what lies behind the former end.
        if (Number() > header_.database_size / block_.size() ||
            BlockOffset() + image.size() > header_.database_size) {
            throw DamagedJournal(database_.Path(), journal_.Path());
        }
        const auto current = std::span(block_).first(image.size());
        if (database_.Read(BlockOffset(), current) != current.size()) {
            throw ForeignJournal(database_.Path(), journal_.Path());
        }
        if (Number() == 0) {
            first_block_saved_ = true;
            if (Crc32c(image) != header_.first_block_sum) {
                throw DamagedJournal(database_.Path(), journal_.Path());
            }
        }
        if (!Same(image, current) && !IsPlanned(image, current)) {
            throw ForeignJournal(database_.Path(), journal_.Path());
        }
    }

    // Each sector is the former one or one of those that were to be written.
    bool IsPlanned(std::span<const std::byte> image, std::span<const std::byte> current) const {
        const auto written = written_.find(Number());
        const auto sums = SumsOf(current);
        for (std::size_t sector = 0; sector * kSectorSize < image.size(); ++sector) {
            const std::size_t at = sector * kSectorSize;
            const std::size_t length = std::min(kSectorSize, image.size() - at);
            const bool planned =
                Same(current.subspan(at, length), image.subspan(at, length)) ||
                (written != written_.end() &&
                 std::any_of(written->second.begin(),
                             written->second.end(),
                             [&](const SectorSums& plan) { return plan[sector] == sums[sector]; }));
            if (!planned) {
                return false;
            }
        }
        return true;
    }

    // A whole image of a batch that wasn't synced: its block can't have been changed yet.
    void RequireUnchanged(std::uint64_t slot) {
        if (!ReadSlot(slot) || !Is(kImage)) {
            return;
        }
        const auto image = Content();
        const auto current = std::span(block_).first(image.size());
        if (database_.Read(BlockOffset(), current) != current.size() || !Same(image, current)) {
            throw DamagedJournal(database_.Path(), journal_.Path());
        }
    }

    // Nothing refers to what lies behind the former end. It goes as far as this transaction has put
    // it there: a file that is longer has been used by another program since then, or has lost the
    // header's last state by a power failure, and only what isn't a whole block is cut off.
    void CutGrowth() {
        const std::uint64_t size = database_.Size();
        if (!usable_ || size <= header_.database_size) {
            return;
        }
        const std::uint64_t end =
            size <= header_.grown_to ? header_.database_size : size - size % block_.size();
        if (end != size) {
            database_.Truncate(end);
            database_.Sync();
        }
    }

    void Restore() {
        // From the last to the first: a block's first image is the one from before the transaction.
        for (std::uint64_t slot = synced_; slot > 0; --slot) {
            if (!ReadSlot(slot - 1)) {
                throw DamagedJournal(database_.Path(), journal_.Path());
            }
            if (!Is(kImage)) {
                continue;
            }
            const auto image = Content();
            const auto current = std::span(block_).first(image.size());
            if (database_.Read(BlockOffset(), current) != current.size() || !Same(image, current)) {
                database_.Write(BlockOffset(), image);
            }
        }
        if (database_.Size() != header_.database_size) {
            database_.Truncate(header_.database_size);
        }
        database_.Sync();
    }

    File& database_;
    const File journal_;
    JournalHeader header_;
    bool usable_ = false;
    std::uint64_t slots_ = 0;
    std::uint64_t synced_ = 0;  // slots of whole batches; 0: nothing was changed
    bool first_block_saved_ = false;
    std::unordered_map<std::uint64_t, std::vector<SectorSums>> written_;  // by block
    std::vector<std::byte> slot_;
    std::vector<std::byte> block_;

    friend class Playback;
};

Playback::Playback(File& database, std::uint32_t block_size) {
    auto journal =
        File::OpenIfThere(Journal::PathFor(database.Path()), OpenMode::Read, Links::Refused);
    if (journal) {
        player_ = std::make_unique<Player>(database, std::move(*journal), block_size);
    }
}

Playback::~Playback() = default;
Playback::Playback(Playback&&) noexcept = default;

void Playback::Check() {
    if (player_) {
        player_->Check();
    }
}

PlaybackResult Playback::Run() {
    if (!player_) {
        return PlaybackResult::NoJournal;
    }
    const auto result = player_->Run();
    // Behind the flush of the database: gone before it, a power failure would leave a file that
    // nobody can put right.
    RemoveFile(player_->journal_.Path());
    SyncFolderOf(player_->journal_.Path());
    return result;
}

void RemoveLeftJournal(const std::string& database) {
    const std::string path = Journal::PathFor(database);
    {
        const auto journal = File::OpenIfThere(path, OpenMode::Read, Links::Refused);
        if (!journal) {
            return;
        }
        if (const auto header = ReadJournalHeader(*journal); !header.ours && !header.old) {
            throw NotAJournal(database, path);
        }
    }
    RemoveFile(path);
    SyncFolderOf(path);
}

}  // namespace vantry::file
