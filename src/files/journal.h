#pragma once
// The rollback journal of one database file: a small file "<name>-journal" beside it that holds the
// former content of every block that a transaction is about to change. While it is there, the
// transaction isn't complete; a journal that nobody holds is played back by whoever opens the
// database next. Blocks behind the former end of the file need no image: playing back cuts them
// off. Its bytes are described in journal_format.h.
//
// A journal writes into a database, so it must be the database's own. By who wrote it: only
// somebody who may write the database may have written its journal, or have the right to
// (journal_trust.h). And by content: each sector that a transaction wrote must be the former one or
// one whose sum the journal took down before it was written. A journal beside a file that was
// replaced since then fails that and is never played back. The file's number isn't looked at, so
// that both may be copied to another disk.

#include "files/file.h"
#include "files/journal_format.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vantry::file {

class Journal {
public:
    static std::string PathFor(const std::string& database) { return database + "-journal"; }

    // Makes the file and its header, open to nobody who may not write the database. The caller
    // holds the writer's lock. The header alone needn't be on disk before the database grows: pages
    // behind its former end belong to nobody.
    Journal(const File& database, std::uint32_t block_size, std::uint64_t database_size);
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;
    // Closes the file and leaves it where it is: only Remove() ends the transaction.
    ~Journal() = default;

    // Sets space aside for so many images in all, so that a full disk shows before anything is
    // promised.
    void ReserveImages(std::size_t count);
    // The database is about to be made that long: what a killed program leaves behind the former
    // end, up to there, is its own.
    void NoteGrowth(std::uint64_t length);
    // `image`: the block as it is in the database, shorter at the end of the file.
    void AddImage(std::uint64_t block, std::span<const std::byte> image);
    // `replacement`: what is written over a block that has an image, before each time that it is.
    void AddReplacement(std::uint64_t block, std::span<const std::byte> replacement);
    // Everything added is on disk when it returns; the blocks may then be changed.
    void Sync();
    // The same of several, whose folder is synced once for all of them.
    static void SyncAll(std::span<Journal* const> journals);
    // The transaction is complete, and stays so: the folder is synced.
    void Remove();

private:
    void WriteHeader();
    void WriteSlot(std::uint32_t kind, std::uint64_t number, std::span<const std::byte> content);
    void WriteSums();
    bool SyncContent();

    File file_;
    JournalHeader header_;
    std::uint64_t slots_ = 0;
    std::uint64_t reserved_ = 0;
    bool unsynced_ = false;
    bool named_ = false;  // the folder on disk has it
    std::vector<std::byte> slot_;
    std::vector<std::byte> sums_;  // of replacements, until there is a slot full of them
};

enum class PlaybackResult : std::uint8_t {
    NoJournal,
    Unused,      // it was cut before anything was changed: taken away
    PlayedBack,  // the database is as it was before the transaction
};

// Plays back the journal of a database that nobody is writing: the caller holds the writer's and
// the content lock, exclusively. Check() throws, leaving both files untouched, when the journal is
// damaged, belongs to another file, or isn't a journal; Run() comes behind it. In two steps, so
// that of several files all are checked before one is changed.
class Playback {
public:
    Playback(File& database, std::uint32_t block_size);
    ~Playback();
    Playback(Playback&& other) noexcept;
    void Check();
    PlaybackResult Run();

private:
    class Player;
    std::unique_ptr<Player> player_;  // null: no journal
};

inline PlaybackResult PlayBack(File& database, std::uint32_t block_size) {
    Playback playback(database, block_size);
    playback.Check();
    return playback.Run();
}

// Takes away a journal that a complete transaction left beside `database`. Throws if what is there
// isn't one.
void RemoveLeftJournal(const std::string& database);

}  // namespace vantry::file
