#pragma once
// The rollback journal of one database file: a small file "<name>-journal" beside it that holds the
// former content of every block that a transaction is about to change. While it is there, the
// transaction isn't complete; a journal that nobody holds is played back by whoever opens the
// database next. Blocks behind the former end of the file need no image: playing back cuts them
// off.
//
// Layout, all numbers little-endian. Header, 512 bytes: 8 bytes magic, u32 block size, u32 0, u64
// size of the database before the transaction, u64 nonce, zeros, u32 CRC-32C of the 508 bytes
// before it. Then slots of equal size (64 + block size): u64 nonce, u32 kind (1 image, 2 end of a
// synced batch), u32 bytes of the image (fewer than a block only at the file's end), u64 block
// number (end: count of slots before it), u32 1 if the sums that follow are known, u32 CRC-32C of
// the image, 7 x u32 CRC-32C of the 512-byte sectors that the transaction writes in its place (from
// the eighth sector on they aren't kept), u32 CRC-32C of the 60 bytes before it; then the image.
//
// The sums of the new sectors prove that a journal belongs to the file as it stands: each sector of
// each block must be either the former or the new one. A journal beside a file that was replaced
// since then fails that and is never played back.

#include "files/file.h"

#include <optional>
#include <string>
#include <vector>

namespace vantry::file {

class Journal {
public:
    static std::string PathFor(const std::string& database) { return database + "-journal"; }

    // Makes the file and its header. `owner_only` as for the database. The caller holds the
    // writer's lock. The header alone needn't be on disk before the database grows: pages behind
    // its former end belong to nobody.
    Journal(const std::string& database,
            std::uint32_t block_size,
            std::uint64_t database_size,
            bool owner_only);
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;
    // Closes the file and leaves it where it is: only Remove() ends the transaction.
    ~Journal() = default;

    // Sets space aside for so many images in all, so that a full disk shows before anything is
    // promised.
    void ReserveImages(std::size_t count);
    // `image`: the block as it is in the database, shorter at the end of the file. `replacement`:
    // what will be written there, empty if it may be changed once more in this transaction.
    void AddImage(std::uint64_t block,
                  std::span<const std::byte> image,
                  std::span<const std::byte> replacement);
    // Everything added is on disk when it returns; the blocks may then be changed.
    void Sync();
    // The transaction is complete, and stays so: the folder is synced.
    void Remove();

private:
    void WriteSlot(std::uint32_t kind,
                   std::uint64_t number,
                   std::span<const std::byte> image,
                   std::span<const std::byte> replacement);

    File file_;
    std::uint32_t block_size_;
    std::uint64_t nonce_;
    std::uint64_t slots_ = 0;
    std::uint64_t reserved_ = 0;
    bool unsynced_ = false;
    bool named_ = false;  // the folder on disk has it
    std::vector<std::byte> slot_;
};

enum class PlaybackResult : std::uint8_t {
    NoJournal,
    Unused,      // it was cut before anything was changed: taken away
    PlayedBack,  // the database is as it was before the transaction
};

// Plays back the journal of a database that nobody is writing: the caller holds the writer's and
// the content lock, exclusively. Throws, leaving both files untouched, when the journal is damaged,
// belongs to another file, or isn't a journal.
PlaybackResult PlayBack(File& database, std::uint32_t block_size);

}  // namespace vantry::file
