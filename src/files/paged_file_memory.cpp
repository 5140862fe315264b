// The pages that a transaction has changed, in memory.

#include "files/file_errors.h"
#include "files/paged_file.h"

#include <algorithm>
#include <cstring>

namespace vantry::file {
namespace {

constexpr std::size_t kChunkPages = 64;        // of the page memory
constexpr std::uint64_t kMostGrowPages = 256;  // that the file is given at once

}  // namespace

std::byte* PagedFile::TakeBuffer() {
    if (free_buffers_.empty()) {
        const std::size_t page_size = options_.page_size;
        chunks_.push_back(std::make_unique<std::byte[]>(kChunkPages * page_size));
        // The last one is taken first: in the order of the addresses.
        for (std::size_t page = kChunkPages; page > 0; --page) {
            free_buffers_.push_back(chunks_.back().get() + (page - 1) * page_size);
        }
    }
    std::byte* const buffer = free_buffers_.back();
    free_buffers_.pop_back();
    return buffer;
}

void PagedFile::ForgetTransaction() {
    // A bulk load goes on with the next transaction at once; a large one's memory isn't kept for
    // ever.
    constexpr std::size_t kKeptChunks = 4;
    frames_.clear();
    free_buffers_.clear();
    if (chunks_.size() > kKeptChunks) {
        chunks_.resize(kKeptChunks);
    }
    for (auto chunk = chunks_.rbegin(); chunk != chunks_.rend(); ++chunk) {
        for (std::size_t page = kChunkPages; page > 0; --page) {
            free_buffers_.push_back(chunk->get() + (page - 1) * options_.page_size);
        }
    }
    finished_.clear();
    journaled_.clear();
    renewed_.clear();
    images_.clear();
    changed_existing_ = 0;
    undo_ = false;
    half_row_ = false;
    ++view_;
}

PagedFile::Frame& PagedFile::Load(std::uint32_t page, bool read) {
    const auto [entry, fresh] = frames_.try_emplace(page);
    if (fresh) {
        std::byte* const buffer = TakeBuffer();
        entry->second.bytes = buffer;
        if (read) {
            try {
                ReadFromDisk(page, {buffer, options_.page_size});
            } catch (...) {
                free_buffers_.push_back(buffer);
                frames_.erase(page);
                throw;
            }
        }
    }
    return entry->second;
}

std::span<const std::byte> PagedFile::Look(std::uint32_t page) {
    return {Load(page, true).bytes, options_.page_size};
}

std::span<std::byte> PagedFile::Change(std::uint32_t page) {
    BumpVersion();
    Frame& frame = Load(page, true);
    // Pages that this row has appended need no image: they are cut off.
    if (undo_ && page < pages_at_mark_ && frame.mark != mark_) {
        Image image{page, std::make_unique<std::byte[]>(options_.page_size)};
        std::memcpy(image.bytes.get(), frame.bytes, options_.page_size);
        images_.push_back(std::move(image));
        frame.mark = mark_;
    }
    if (!frame.changed) {
        frame.changed = true;
        if (Matters(page)) {
            ++changed_existing_;
            if (!journaled_.contains(page)) {
                OpenJournal();
                // Room for the images is taken now: a full disk shows at the row that is too much.
                journal_->ReserveImages(journaled_.size() + changed_existing_);
            }
        }
    }
    return {frame.bytes, options_.page_size};
}

std::span<std::byte> PagedFile::Renew(std::uint32_t page) {
    BumpVersion();
    Frame& frame = Load(page, false);
    if (frame.changed && Matters(page)) {
        --changed_existing_;
    }
    // For the rest of the transaction: its former content is not saved, so it can't be put back.
    renewed_.insert(page);
    std::memset(frame.bytes, 0, options_.page_size);
    frame.changed = true;
    frame.mark = mark_;
    return {frame.bytes, options_.page_size};
}

std::uint32_t PagedFile::Append() {
    const std::uint64_t end = OffsetOf(page_count_) + options_.page_size;
    if (end > options_.max_size) {
        throw SizeLimit(Path(), options_.max_size);
    }
    if (end > reserved_) {
        // A full disk shows here, for the row that needs the page, and not when earlier rows are
        // committed.
        OpenJournal();
        const std::uint64_t wanted =
            std::min(options_.max_size,
                     end + std::min<std::uint64_t>(page_count_ - base_pages_, kMostGrowPages) *
                               options_.page_size);
        journal_->NoteGrowth(wanted);
        file_.Reserve(reserved_, wanted - reserved_);
        reserved_ = wanted;
    }
    const std::uint32_t page = page_count_;
    Frame& frame = Load(page, false);
    std::memset(frame.bytes, 0, options_.page_size);
    frame.changed = true;
    frame.mark = mark_;
    BumpVersion();
    ++page_count_;
    return page;
}

}  // namespace vantry::file
