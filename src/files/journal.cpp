// The former content of pages, in slots of one size behind a header, so that playing it back
// restores a file whatever killed its writer. A slot proves itself by checksums and by the
// journal's random number, as a disk may hold old blocks under a new length; slots count only up to
// the last end of a batch that is whole, since pages are changed only after the batch that saves
// them is on the disk. Easy to get wrong: a journal may lie beside a file that it doesn't belong to
// (copied, restored, replaced); it is played back only if each page in the file is its image or the
// content that was to replace it.

#include "files/journal.h"

#include "files/checksum.h"
#include "files/file_errors.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <random>

namespace vantry::file {
namespace {

constexpr std::size_t kHeaderSize = 512;
constexpr std::array<char, 8> kMagic = {'V', 'y', 'J', 'r', 'n', 'l', '1', '\n'};
constexpr std::size_t kBlockSizeOffset = 8;
constexpr std::size_t kDatabaseSizeOffset = 16;
constexpr std::size_t kNonceOffset = 24;
constexpr std::size_t kHeaderSumOffset = kHeaderSize - 4;

constexpr std::size_t kSlotHeader = 64;
constexpr std::size_t kSlotKindOffset = 8;
constexpr std::size_t kSlotLengthOffset = 12;
constexpr std::size_t kSlotNumberOffset = 16;
constexpr std::size_t kSlotKnownOffset = 24;
constexpr std::size_t kSlotImageSumOffset = 28;
constexpr std::size_t kSlotSectorsOffset = 32;
constexpr std::size_t kSlotSumOffset = kSlotHeader - 4;
constexpr std::size_t kSectorSums = (kSlotSumOffset - kSlotSectorsOffset) / 4;
constexpr std::size_t kSectorSize = 512;

constexpr std::uint32_t kImage = 1;
constexpr std::uint32_t kBatchEnd = 2;
constexpr std::size_t kReserveStep = 16;  // slots

template <typename Number>
void Store(std::span<std::byte> bytes, std::size_t offset, Number value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}
template <typename Number>
Number Load(std::span<const std::byte> bytes, std::size_t offset) {
    Number value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

bool Same(std::span<const std::byte> left, std::span<const std::byte> right) {
    return left.size() == right.size() &&
           (left.empty() || std::memcmp(left.data(), right.data(), left.size()) == 0);
}

std::uint64_t RandomNonce() {
    std::random_device device;
    return static_cast<std::uint64_t>(device()) << 32 | device();
}

struct Header {
    bool intact = false;
    bool ours = false;  // the magic, or never written
    std::uint32_t block_size = 0;
    std::uint64_t database_size = 0;
    std::uint64_t nonce = 0;
};

Header ReadHeader(const File& file) {
    std::array<std::byte, kHeaderSize> bytes{};
    const std::size_t got = file.Read(0, bytes);
    Header header;
    header.ours =
        std::memcmp(bytes.data(), kMagic.data(), std::min(kMagic.size(), got)) == 0 ||
        std::all_of(bytes.begin(), bytes.end(), [](std::byte byte) { return byte == std::byte{}; });
    header.intact = got == kHeaderSize && header.ours &&
                    Load<std::uint32_t>(bytes, kHeaderSumOffset) ==
                        Crc32c(std::span(bytes).first(kHeaderSumOffset));
    header.block_size = Load<std::uint32_t>(bytes, kBlockSizeOffset);
    header.database_size = Load<std::uint64_t>(bytes, kDatabaseSizeOffset);
    header.nonce = Load<std::uint64_t>(bytes, kNonceOffset);
    return header;
}

// One pass over the slots of a journal beside its database.
class Player {
public:
    Player(File& database, const File& journal, std::uint32_t block_size)
        : database_(database),
          journal_(journal),
          header_(ReadHeader(journal)),
          slot_(kSlotHeader + block_size),
          block_(block_size) {
        const std::uint64_t size = journal.Size();
        slots_ = size < kHeaderSize ? 0 : (size - kHeaderSize) / slot_.size();
    }

    PlaybackResult Run() {
        if (!header_.ours) {
            throw NotAJournal(database_.Path(), journal_.Path());
        }
        const bool usable = header_.intact && header_.block_size == block_.size();
        const std::uint64_t synced = FindSyncedSlots();
        if (!usable) {
            // Its header never reached the disk, so nothing was changed, unless images say
            // otherwise.
            for (std::uint64_t slot = 0; slot < slots_; ++slot) {
                RequireUnchanged(slot);
            }
            return PlaybackResult::Unused;
        }
        if (database_.Size() < header_.database_size) {
            throw ForeignJournal(database_.Path(), journal_.Path());
        }
        for (std::uint64_t slot = 0; slot < slots_; ++slot) {
            if (slot < synced) {
                CheckSynced(slot);
            } else {
                RequireUnchanged(slot);
            }
        }
        if (synced == 0) {
            CutBrokenBlock();
            return PlaybackResult::Unused;
        }
        Restore(synced);
        return PlaybackResult::PlayedBack;
    }

private:
    // Reads a slot; false if it isn't whole. With a broken header any nonce will do.
    bool ReadSlot(std::uint64_t slot) {
        if (journal_.Read(kHeaderSize + slot * slot_.size(), slot_) != slot_.size()) {
            return false;
        }
        const std::span<const std::byte> bytes(slot_);
        const auto kind = Load<std::uint32_t>(bytes, kSlotKindOffset);
        const auto length = Load<std::uint32_t>(bytes, kSlotLengthOffset);
        return Load<std::uint32_t>(bytes, kSlotSumOffset) == Crc32c(bytes.first(kSlotSumOffset)) &&
               (!header_.intact || Load<std::uint64_t>(bytes, 0) == header_.nonce) &&
               (kind == kImage || kind == kBatchEnd) && length <= block_.size() &&
               Load<std::uint32_t>(bytes, kSlotImageSumOffset) == Crc32c(Image());
    }
    std::span<const std::byte> Image() const {
        return std::span<const std::byte>(slot_).subspan(
            kSlotHeader,
            std::min<std::size_t>(Load<std::uint32_t>(slot_, kSlotLengthOffset), block_.size()));
    }
    bool IsImage() const { return Load<std::uint32_t>(slot_, kSlotKindOffset) == kImage; }
    std::uint64_t BlockOffset() const {
        return Load<std::uint64_t>(slot_, kSlotNumberOffset) * block_.size();
    }

    // The end of the last batch that ends before `limit`, as the count of slots up to it; 0: none.
    std::uint64_t LastEnd(std::uint64_t limit) {
        for (std::uint64_t slot = limit; slot > 0; --slot) {
            if (ReadSlot(slot - 1) && !IsImage() &&
                Load<std::uint64_t>(slot_, kSlotNumberOffset) == slot - 1) {
                return slot;
            }
        }
        return 0;
    }

    // Slots of whole batches: these were on disk before any of their blocks changed. Of the last
    // batch the end may have reached the disk and another slot not, when the power failed during
    // its sync; its blocks are unchanged then, which Run() makes sure of.
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

    void CheckSynced(std::uint64_t slot) {
        if (!ReadSlot(slot)) {
            throw DamagedJournal(database_.Path(), journal_.Path());
        }
        if (!IsImage()) {
            return;
        }
        const auto image = Image();
        const auto current = std::span(block_).first(image.size());
        if (database_.Read(BlockOffset(), current) != current.size()) {
            throw ForeignJournal(database_.Path(), journal_.Path());
        }
        if (Load<std::uint32_t>(slot_, kSlotKnownOffset) == 0 || Same(image, current)) {
            return;
        }
        for (std::size_t sector = 0; sector * kSectorSize < image.size(); ++sector) {
            const std::size_t at = sector * kSectorSize;
            const std::size_t length = std::min(kSectorSize, image.size() - at);
            const auto now = std::span<const std::byte>(current).subspan(at, length);
            if (sector < kSectorSums && !Same(now, image.subspan(at, length)) &&
                Crc32c(now) != Load<std::uint32_t>(slot_, kSlotSectorsOffset + 4 * sector)) {
                throw ForeignJournal(database_.Path(), journal_.Path());
            }
        }
    }

    // A whole image of a batch that wasn't synced: its block can't have been changed yet.
    void RequireUnchanged(std::uint64_t slot) {
        if (!ReadSlot(slot) || !IsImage()) {
            return;
        }
        const auto image = Image();
        const auto current = std::span(block_).first(image.size());
        if (database_.Read(BlockOffset(), current) != current.size() || !Same(image, current)) {
            throw DamagedJournal(database_.Path(), journal_.Path());
        }
    }

    // Without an image nothing proves that the journal is this file's, so its former size isn't
    // restored: nothing refers to whole blocks behind it, and they do no harm.
    void CutBrokenBlock() {
        const std::uint64_t size = database_.Size();
        const std::uint64_t broken = size % block_.size();
        if (broken != 0 && size > header_.database_size) {
            database_.Truncate(size - broken);
        }
    }

    void Restore(std::uint64_t synced) {
        // From the last to the first: a block's first image is the one from before the transaction.
        for (std::uint64_t slot = synced; slot > 0; --slot) {
            if (!ReadSlot(slot - 1)) {
                throw DamagedJournal(database_.Path(), journal_.Path());
            }
            if (!IsImage()) {
                continue;
            }
            const auto image = Image();
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
    const File& journal_;
    Header header_;
    std::uint64_t slots_ = 0;
    std::vector<std::byte> slot_;
    std::vector<std::byte> block_;
};

}  // namespace

Journal::Journal(const std::string& database,
                 std::uint32_t block_size,
                 std::uint64_t database_size,
                 bool owner_only)
    : file_(File::CreateNew(PathFor(database), owner_only)),
      block_size_(block_size),
      nonce_(RandomNonce()),
      slot_(kSlotHeader + block_size) {
    std::array<std::byte, kHeaderSize> header{};
    std::memcpy(header.data(), kMagic.data(), kMagic.size());
    Store(header, kBlockSizeOffset, block_size_);
    Store(header, kDatabaseSizeOffset, database_size);
    Store(header, kNonceOffset, nonce_);
    Store(header, kHeaderSumOffset, Crc32c(std::span(header).first(kHeaderSumOffset)));
    file_.Write(0, header);
}

void Journal::ReserveImages(std::size_t count) {
    if (count <= reserved_) {
        return;
    }
    // One more slot for the end of each batch.
    const std::uint64_t wanted = (count / kReserveStep + 1) * kReserveStep;
    file_.Reserve(kHeaderSize, (wanted + 2) * slot_.size());
    reserved_ = wanted;
}

void Journal::WriteSlot(std::uint32_t kind,
                        std::uint64_t number,
                        std::span<const std::byte> image,
                        std::span<const std::byte> replacement) {
    const std::span<std::byte> slot(slot_);
    std::memset(slot.data(), 0, slot.size());
    Store(slot, 0, nonce_);
    Store(slot, kSlotKindOffset, kind);
    Store(slot, kSlotLengthOffset, static_cast<std::uint32_t>(image.size()));
    Store(slot, kSlotNumberOffset, number);
    Store(slot, kSlotImageSumOffset, Crc32c(image));
    if (!replacement.empty()) {
        Store(slot, kSlotKnownOffset, std::uint32_t{1});
        for (std::size_t sector = 0; sector < kSectorSums && sector * kSectorSize < image.size();
             ++sector) {
            const std::size_t at = sector * kSectorSize;
            const std::size_t length = std::min(kSectorSize, image.size() - at);
            Store(slot, kSlotSectorsOffset + 4 * sector, Crc32c(replacement.subspan(at, length)));
        }
    }
    Store(slot, kSlotSumOffset, Crc32c(slot.first(kSlotSumOffset)));
    if (!image.empty()) {
        std::memcpy(slot.data() + kSlotHeader, image.data(), image.size());
    }
    file_.Write(kHeaderSize + slots_ * slot.size(), slot);
    ++slots_;
}

void Journal::AddImage(std::uint64_t block,
                       std::span<const std::byte> image,
                       std::span<const std::byte> replacement) {
    WriteSlot(kImage, block, image, replacement);
    unsynced_ = true;
}

void Journal::Sync() {
    if (!unsynced_) {
        return;
    }
    WriteSlot(kBatchEnd, slots_, {}, {});
    file_.Sync();
    if (!named_) {
        SyncFolderOf(file_.Path());
        named_ = true;
    }
    unsynced_ = false;
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

PlaybackResult PlayBack(File& database, std::uint32_t block_size) {
    const std::string path = Journal::PathFor(database.Path());
    PlaybackResult result;
    {
        const auto journal = File::OpenIfThere(path, OpenMode::Read);
        if (!journal) {
            return PlaybackResult::NoJournal;
        }
        result = Player(database, *journal, block_size).Run();
    }
    RemoveFile(path);
    SyncFolderOf(path);
    return result;
}

}  // namespace vantry::file
