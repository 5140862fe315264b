#pragma once
// The pages of an index file: read and changed in memory, written into the group's transaction when
// there are enough of them, and the list of free ones.

#include "drivers/foxpro/indexes/cdx_format.h"
#include "files/file_group.h"

#include <memory>
#include <string>
#include <unordered_map>

namespace vantry::foxpro {

class IndexPages {
public:
    IndexPages(file::FileGroup& group, file::FileGroup::Member member);

    const std::string& Path() const { return group_->PathOf(member_); }
    // Before each piece of work: forgets what may have changed since. True if it did.
    bool Refresh();
    // Bytes of the file, with the pages that were added.
    std::uint64_t Size() const { return end_; }

    // Both throw DataError for an address that is no page of the file. What they return is good
    // until the next call of either, or of Allocate() or Free().
    ByteSpan Page(PageAddress address) { return Find(address, false); }
    std::span<std::byte> Change(PageAddress address) { return Find(address, true); }

    // ---- Inside a transaction
    // One page, of zeros; a free one if there is one.
    PageAddress Allocate();
    // Neighbouring pages at the end of the file.
    PageAddress AllocateAtEnd(std::size_t pages);
    void Free(PageAddress address);
    // Takes all pages away.
    void Clear();
    // Puts what was changed into the transaction.
    void Write();

private:
    static constexpr std::size_t kPagesOfChunk = 32;
    static constexpr std::size_t kChunk = kPagesOfChunk * kIndexPage;
    static constexpr std::size_t kMostChunks = 512;

    struct Chunk {
        std::unique_ptr<std::byte[]> bytes;
        std::uint32_t changed = 0;  // a bit for each page
    };
    std::span<std::byte> Find(PageAddress address, bool change);
    void Forget();

    file::FileGroup* group_;
    file::FileGroup::Member member_;
    std::uint64_t transaction_ = 0;  // 0: outside of one
    std::uint64_t version_ = 0;
    std::uint64_t end_ = 0;
    std::unordered_map<std::uint32_t, Chunk> chunks_;
    std::uint32_t last_number_ = 0;  // of the chunk that was asked for last
    Chunk* last_ = nullptr;
    bool changed_ = false;
    bool cut_ = false;  // the file is to be cut behind this transaction
};

}  // namespace vantry::foxpro
