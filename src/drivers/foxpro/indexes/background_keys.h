#pragma once
// Keys of new records, made, sorted and packed on a second thread while the owner of the tags goes
// on with further rows: those of tags whose key is a field as it stands (Tag::IsMadeInBackground).

#include "drivers/foxpro/indexes/edit_pipe.h"
#include "drivers/foxpro/indexes/tag.h"
#include "files/background_jobs.h"

#include <array>
#include <atomic>
#include <exception>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vantry::foxpro {

class BackgroundKeys {
public:
    using Tags = std::vector<std::unique_ptr<Tag>>;

    // All must outlive it; `memory` as with TagSet.
    BackgroundKeys(const TableLayout& layout,
                   const std::string& table,
                   const Tags& tags,
                   std::size_t memory);

    // The record is copied. Until Wait or Forget nobody else touches the tags whose keys are made
    // here.
    void Add(const RecordView& record);
    // Until all keys are in the batches. Throws DataError for one that couldn't be made.
    void Wait();
    // The same for records that are no longer wanted, if there are any. The batches are empty, or
    // to be cleared.
    void Forget();
    // Bytes that only a merge with the trees frees, as of the last block since Wait.
    std::size_t KeptBytes() const { return kept_; }

    // What the batches hold, in order, while they aren't changed; null if there is no thread. After
    // Wait.
    std::unique_ptr<EditPipe> Sorted(const Tag& tag);

private:
    struct Block {
        std::vector<std::byte> bytes;
        std::vector<RecordNumber> numbers;
    };
    // One is filled, the others wait or are in work. Enough for the rows that come while a tag is
    // packed.
    static constexpr std::size_t kBlocks = 6;

    void HandOver();
    void Digest(const Block& block) noexcept;
    void PackOldest();

    const TableLayout* layout_;
    const std::string* table_;
    const Tags* tags_;
    std::size_t memory_;
    std::size_t block_bytes_;
    std::array<Block, kBlocks> blocks_;
    std::size_t filled_ = 0;  // number of the one that is filled
    std::atomic<std::size_t> kept_ = 0;
    SortRoom room_;              // of the second thread
    std::exception_ptr error_;   // of the second thread, until it rests
    file::BackgroundJobs jobs_;  // last: it ends before what it uses
};

}  // namespace vantry::foxpro
