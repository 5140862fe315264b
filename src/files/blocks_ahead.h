#pragma once
// Blocks of a file's rows that a second thread fills in order, some ahead of the scan that uses
// them. Worth it for files of many blocks.

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <limits>
#include <optional>
#include <thread>

namespace vantry::file {

class BlocksAhead {
public:
    // One that is used, one that is filled, and enough between them that neither thread has to wake
    // up the other for each.
    static constexpr std::uint32_t kBlocks = 8;

    // `fill` is called on the second thread with the place of a block, by turns 0 to kBlocks - 1;
    // false: there is no further one. What it works on must outlive this object, and is its alone
    // until Next() has come to the end. Throws std::exception if there is no thread to be had.
    explicit BlocksAhead(std::function<bool(std::size_t)> fill);
    // Waits for the block that is being filled.
    ~BlocksAhead();
    BlocksAhead(const BlocksAhead&) = delete;
    BlocksAhead& operator=(const BlocksAhead&) = delete;

    // The place of the next block, which is the caller's until the next call; nothing, for good,
    // behind the last. Throws what `fill` threw, behind the blocks before it.
    std::optional<std::size_t> Next();

private:
    void Work() noexcept;

    std::function<bool(std::size_t)> fill_;
    // Counted from the start; block n lies at n % kBlocks. The end counts as a block.
    std::atomic<std::uint32_t> filled_ = 0;
    std::atomic<std::uint32_t> used_ = 0;
    std::atomic<bool> stop_ = false;
    std::atomic<std::uint32_t> end_ = std::numeric_limits<std::uint32_t>::max();
    bool in_use_ = false;
    std::exception_ptr failure_;
    std::thread worker_;
};

// The same with the blocks themselves.
template <typename Block>
class Ahead {
public:
    template <typename Fill>
    explicit Ahead(Fill fill)
        : ring_([this, fill](std::size_t place) { return fill(blocks_[place]); }) {}

    // Null behind the last.
    Block* Next() {
        const auto place = ring_.Next();
        return place ? &blocks_[*place] : nullptr;
    }

private:
    std::array<Block, BlocksAhead::kBlocks> blocks_;
    BlocksAhead ring_;  // ends before the blocks do
};

}  // namespace vantry::file
