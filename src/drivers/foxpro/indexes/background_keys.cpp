// Records are gathered into blocks that are large enough to be worth waking a thread, and few
// enough that little memory waits. A statement of some rows never fills one: its keys are made
// where they are wanted, without a thread.

#include "drivers/foxpro/indexes/background_keys.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kBlockBytes = 512U << 10;
constexpr std::size_t kWorthABlock = 16U << 10;  // by then it will be filled

}  // namespace

BackgroundKeys::BackgroundKeys(const TableLayout& layout,
                               const std::string& table,
                               const Tags& tags,
                               std::size_t memory)
    : layout_(&layout),
      table_(&table),
      tags_(&tags),
      memory_(memory),
      block_bytes_(std::min(kBlockBytes, memory)),
      room_(table) {}

void BackgroundKeys::Add(const RecordView& record) {
    auto& block = blocks_[filled_];
    if (block.bytes.size() + record.bytes.size() > block.bytes.capacity() &&
        block.bytes.size() >= kWorthABlock) {
        block.bytes.reserve(block_bytes_ + record.bytes.size());
    }
    block.bytes.insert(block.bytes.end(), record.bytes.begin(), record.bytes.end());
    block.numbers.push_back(record.number);
    if (block.bytes.size() < block_bytes_) {
        return;
    }
    if (jobs_.Start()) {
        HandOver();
    } else {
        Digest(block);
        block = {};
    }
}

void BackgroundKeys::HandOver() {
    // The next block of the ring is free then: at most the other kBlocks - 1 wait or are being
    // read.
    jobs_.Post([this, &block = blocks_[filled_]] { Digest(block); }, kBlocks - 1);
    filled_ = (filled_ + 1) % kBlocks;
    blocks_[filled_].bytes.clear();
    blocks_[filled_].numbers.clear();
}

void BackgroundKeys::Wait() {
    jobs_.Wait();
    // What filled no block is done here; the second thread is at rest, so the batches are free.
    auto& block = blocks_[filled_];
    if (!block.numbers.empty()) {
        Digest(block);
        block.bytes.clear();
        block.numbers.clear();
    }
    kept_ = 0;
    if (error_) {
        std::rethrow_exception(std::exchange(error_, nullptr));
    }
}

void BackgroundKeys::Forget() {
    jobs_.Wait();
    blocks_[filled_].bytes.clear();
    blocks_[filled_].numbers.clear();
    error_ = nullptr;
    kept_ = 0;
    room_.packed.Clear();
}

void BackgroundKeys::Digest(const Block& block) noexcept {
    // Needs no lock: jobs run one after the other, and the owner looks at it when they are done.
    if (error_) {
        return;
    }
    try {
        for (const auto& tag : *tags_) {
            if (!tag->IsMadeInBackground()) {
                continue;
            }
            ByteSpan bytes = block.bytes;
            for (const auto number : block.numbers) {
                const RecordView record{layout_, bytes.first(layout_->record_length), number};
                bytes = bytes.subspan(layout_->record_length);
                if (tag->MakeKey(*table_, record, tag->key)) {
                    tag->batch.Add(tag->key, number, false);
                }
            }
        }
        PackOldest();
        std::size_t kept = 0;
        for (const auto& tag : *tags_) {
            // A flush without the table passes over such a tag, so its bytes would never be freed
            // by one.
            if (tag->IsMadeInBackground() && !tag->NeedsTable()) {
                kept += tag->batch.PackedBytes() + (tag->batch.CanPack() ? 0 : tag->batch.Bytes());
            }
        }
        kept_ = kept;
    } catch (...) {
        error_ = std::current_exception();
    }
}

// One tag at a time, in turn: packing all of them at once would take so long that the owner had to
// wait for a free block.
void BackgroundKeys::PackOldest() {
    for (;;) {
        std::size_t gathered = 0;
        Tag* oldest = nullptr;
        for (const auto& tag : *tags_) {
            if (tag->IsMadeInBackground() && !tag->NeedsTable() && tag->batch.CanPack()) {
                gathered += tag->batch.Bytes();
                if (oldest == nullptr || tag->batch.Count() > oldest->batch.Count()) {
                    oldest = tag.get();
                }
            }
        }
        if (oldest == nullptr || gathered < memory_) {
            return;
        }
        oldest->batch.Pack(room_);
    }
}

std::unique_ptr<EditPipe> BackgroundKeys::Sorted(const Tag& tag) {
    if (!jobs_.Start()) {
        return nullptr;
    }
    auto pipe = std::make_unique<EditPipe>(tag.Shape());
    // No limit: there is a job for each tag, and one that waited here would wait for a pipe that
    // nobody empties yet.
    jobs_.Post([this, &tag, to = pipe.get()] { to->Fill([&] { return tag.batch.Sorted(room_); }); },
               SIZE_MAX);
    pipe->PromiseFill();  // not before: without memory there is no job
    return pipe;
}

}  // namespace vantry::foxpro
