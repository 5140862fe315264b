// Pages are kept in chunks, as trees that were built in one go lie in order. Written is what was
// changed, when the transaction is about to be committed or too many chunks are kept. The end is
// counted here: the group's file may be longer for the rest of a transaction that made it shorter.

#include "drivers/foxpro/indexes/index_pages.h"

#include "drivers/foxpro/errors.h"

#include <algorithm>
#include <vector>

namespace vantry::foxpro {

IndexPages::IndexPages(file::FileGroup& group, file::FileGroup::Member member)
    : group_(&group), member_(member) {
    Refresh();
}

void IndexPages::Forget() {
    chunks_.clear();
    last_ = nullptr;
    changed_ = cut_ = false;
    // Half a page at the end is none: no address may lead into it.
    end_ = group_->SizeOf(member_) / kIndexPage * kIndexPage;
}

// Within a transaction nobody but this object changes the file; a rolled back one is over.
bool IndexPages::Refresh() {
    const std::uint64_t transaction = group_->InTransaction() ? group_->TransactionNumber() : 0;
    if (transaction == transaction_ && (transaction != 0 || version_ == group_->Version())) {
        return false;
    }
    transaction_ = transaction;
    version_ = group_->Version();
    Forget();
    return true;
}

std::span<std::byte> IndexPages::Find(PageAddress address, bool change) {
    if (address % kIndexPage != 0 || std::uint64_t{address} + kIndexPage > end_) {
        throw DamagedIndex(Path(),
                           "an address leads to " + std::to_string(address) + ", where no page is");
    }
    const auto number = static_cast<std::uint32_t>(address / kChunk);
    if (last_ == nullptr || last_number_ != number) {
        auto found = chunks_.find(number);
        if (found == chunks_.end()) {
            if (chunks_.size() >= kMostChunks) {
                // The group gives back what is written here, before the commit, too.
                Write();
                chunks_.clear();
                last_ = nullptr;
            }
            auto bytes = std::make_unique<std::byte[]>(kChunk);
            group_->Read(member_, std::uint64_t{number} * kChunk, {bytes.get(), kChunk});
            found = chunks_.try_emplace(number).first;
            found->second.bytes = std::move(bytes);
        }
        last_number_ = number;
        last_ = &found->second;
    }
    const std::size_t within = address % kChunk;
    if (change) {
        last_->changed |= 1U << (within / kIndexPage);
        changed_ = true;
    }
    return {last_->bytes.get() + within, kIndexPage};
}

// A free page of ours is zeros behind the link. Where it isn't, the list may be wrong, and a page
// that is in use would be handed out: better no list than that.
PageAddress IndexPages::Allocate() {
    const auto free = file::LoadU32(Page(0), kFreePageOffset);
    if (free != 0 && free != kNoPage) {
        bool usable = free % kIndexPage == 0 && free >= kTagHeaderSize &&
                      std::uint64_t{free} + kIndexPage <= end_;
        PageAddress next = 0;
        if (usable) {
            const auto page = Page(free);
            next = file::LoadU32(page, kNextFreePage);
            usable = std::all_of(page.begin() + sizeof next, page.end(), [](std::byte byte) {
                return byte == std::byte{0};
            });
        }
        file::Store(Change(0), kFreePageOffset, usable ? next : PageAddress{0});
        if (usable) {
            file::Store(Change(free), kNextFreePage, PageAddress{0});
            return free;
        }
    }
    return AllocateAtEnd(1);
}

PageAddress IndexPages::AllocateAtEnd(std::size_t pages) {
    if (end_ + pages * kIndexPage > kMaxFileSize) {
        throw TableIsFull(Path(), "an index has at most 2 GB");
    }
    const auto address = static_cast<PageAddress>(end_);
    end_ += pages * kIndexPage;
    for (std::size_t k = 0; k < pages; ++k) {
        const auto page = Change(static_cast<PageAddress>(address + k * kIndexPage));
        std::fill(page.begin(), page.end(), std::byte{0});
    }
    return address;
}

void IndexPages::Free(PageAddress address) {
    const auto next = file::LoadU32(Page(0), kFreePageOffset);
    const auto page = Change(address);
    // Nothing but zeros behind the link: Allocate takes no other page from the list.
    std::fill(page.begin(), page.end(), std::byte{0});
    file::Store(page, kNextFreePage, next == kNoPage ? PageAddress{0} : next);
    file::Store(Change(0), kFreePageOffset, address);
}

void IndexPages::Clear() {
    chunks_.clear();
    last_ = nullptr;
    end_ = 0;
}

void IndexPages::Write() {
    if (!changed_) {
        return;
    }
    std::vector<std::uint32_t> numbers;
    for (const auto& [number, chunk] : chunks_) {
        if (chunk.changed != 0) {
            numbers.push_back(number);
        }
    }
    // The order of the file: neighbouring chunks make fewer and longer writes.
    std::sort(numbers.begin(), numbers.end());
    for (const auto number : numbers) {
        auto& chunk = chunks_.at(number);
        for (std::size_t first = 0; first < kPagesOfChunk;) {
            std::size_t behind = first;
            while (behind < kPagesOfChunk && (chunk.changed >> behind & 1U) != 0) {
                ++behind;
            }
            const std::uint64_t at = std::uint64_t{number} * kChunk + first * kIndexPage;
            if (behind > first && at < end_) {
                const auto length =
                    std::min<std::uint64_t>((behind - first) * kIndexPage, end_ - at);
                group_->Write(member_, at, {chunk.bytes.get() + first * kIndexPage, length});
            }
            first = behind + 1;
        }
        chunk.changed = 0;
    }
    // What was to be cut once may have been grown over since.
    if (cut_ || group_->SizeOf(member_) > end_) {
        cut_ = true;
        group_->CutAfterCommit(member_, end_);
    }
    changed_ = false;
}

}  // namespace vantry::foxpro
