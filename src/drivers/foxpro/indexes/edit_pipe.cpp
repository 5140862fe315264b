#include "drivers/foxpro/indexes/edit_pipe.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kPartBytes =
    512U << 10;  // waking the other thread takes as long as merging some hundred
constexpr std::size_t kMostParts = 4;  // that wait

}  // namespace

EditPipe::~EditPipe() {
    std::unique_lock lock(mutex_);
    closing_ = true;
    changed_.notify_all();
    // Fill uses this object to its end, and a promised one always comes to run.
    changed_.wait(lock, [this] { return ended_ || !promised_; });
}

void EditPipe::Fill(const std::function<std::unique_ptr<TreeEdits>()>& sorted) noexcept {
    std::exception_ptr error;
    try {
        const auto edits = sorted();
        while (edits->Entry() != nullptr && PassOn(*edits)) {
        }
    } catch (...) {
        error = std::current_exception();
    }
    // Under the lock to the end: the owner may be gone as soon as it is free.
    const std::lock_guard lock(mutex_);
    error_ = error;
    ended_ = true;
    changed_.notify_all();
}

// One that was emptied, if there is one: its memory needn't be cleared and handed out again.
EditPipe::Part EditPipe::UsedPart() {
    const std::lock_guard lock(mutex_);
    Part part;
    if (!used_.empty()) {
        part = std::move(used_.back());
        used_.pop_back();
    }
    return part;
}

// False: nobody wants more.
bool EditPipe::PassOn(TreeEdits& edits) {
    Part part = UsedPart();
    part.entries.resize(std::max<std::size_t>(kPartBytes / size_, 1) * size_);
    part.removals.clear();
    std::size_t filled = 0;
    while (filled < part.entries.size() && edits.Entry() != nullptr) {
        if (part.removals.empty() && !edits.IsRemoval()) {
            const auto copied = edits.CopyTo(std::span(part.entries).subspan(filled));
            filled += copied;
            if (copied != 0) {
                continue;
            }
        }
        std::memcpy(part.entries.data() + filled, edits.Entry(), size_);
        // Nothing before this one was a removal; from here on each entry has its mark.
        if (edits.IsRemoval() && part.removals.empty()) {
            part.removals.resize(filled / size_);
        }
        if (edits.IsRemoval() || !part.removals.empty()) {
            part.removals.push_back(edits.IsRemoval() ? 1 : 0);
        }
        filled += size_;
        edits.Next();
    }
    part.entries.resize(filled);
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return closing_ || parts_.size() < kMostParts; });
    parts_.push_back(std::move(part));
    changed_.notify_all();
    return !closing_;
}

void EditPipe::TakePart() {
    // What is true at the end, and if Fill has failed.
    number_ = count_ = 0;
    entry_ = nullptr;
    removal_ = false;
    std::unique_lock lock(mutex_);
    if (!part_.entries.empty()) {
        used_.push_back(std::exchange(part_, {}));
    }
    changed_.wait(lock, [this] { return ended_ || !parts_.empty(); });
    if (parts_.empty()) {
        if (error_) {
            std::rethrow_exception(std::exchange(error_, nullptr));
        }
        return;
    }
    part_ = std::move(parts_.front());
    parts_.pop_front();
    changed_.notify_all();
    count_ = part_.entries.size() / size_;
    entry_ = part_.entries.data();
    removal_ = !part_.removals.empty() && part_.removals.front() != 0;
}

}  // namespace vantry::foxpro
