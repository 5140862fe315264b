// A heap of the runs, with the first of all entries on top. Two things make it quick. What decides
// between two entries is kept beside them as a number, taken from where the blocks of entries that
// the runs stand in begin to differ: as a rule all of these are of one small part of the order. And
// where one run has several of the next entries, as it has of a key that occurs often, they are
// passed on together.

#include "drivers/foxpro/indexes/merged_runs.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kReadBytes = 64 * kIndexPage;
constexpr std::size_t kMostOfBlock = 256;  // entries

// The entries of packed leaves, one after the other.
class PackedRun final : public TreeEdits {
public:
    PackedRun(const PackedEntries& packed, const TreeShape& shape)
        : packed_(&packed), shape_(shape) {
        Load();
    }
    void Next() override { Skip(1); }
    std::size_t Ahead() const override { return node_.count - number_; }
    void Skip(std::size_t entries) override {
        number_ += entries;
        entry_ += entries * shape_.EntrySize();
        if (number_ == node_.count) {
            Load();
        }
    }

private:
    void Load() {
        number_ = 0;
        entry_ = nullptr;
        if (leaves_.empty() && read_ < packed_->size) {
            ReadMore();
        }
        if (!leaves_.empty()) {
            DecodeNode(leaves_.first(kIndexPage), shape_, node_);
            leaves_ = leaves_.subspan(kIndexPage);
            entry_ = node_.entries.data();
        }
    }
    void ReadMore() {
        const auto length = std::min<std::uint64_t>(packed_->size - read_, kReadBytes);
        if (packed_->file != nullptr) {
            buffer_.resize(length);
            packed_->file->Read(packed_->start + read_, buffer_);
            leaves_ = buffer_;
        } else {
            leaves_ = ByteSpan(packed_->leaves).subspan(read_, length);
        }
        read_ += length;
    }

    const PackedEntries* packed_;
    TreeShape shape_;
    std::uint64_t read_ = 0;
    std::vector<std::byte> buffer_;
    ByteSpan leaves_;  // not decoded yet
    Node node_;
    std::size_t number_ = 0;
};

class MergedRuns final : public TreeEdits {
public:
    MergedRuns(std::span<const PackedEntries> runs, const EditList& rest, const TreeShape& shape)
        : size_(shape.EntrySize()) {
        for (const auto& run : runs) {
            AddPart(std::make_unique<PackedRun>(run, shape));
        }
        AddPart(std::make_unique<EditList>(rest));
        Settle();
        for (std::size_t k = parts_.size() / 2; k-- > 0;) {
            SiftDown(k);
        }
        Stand();
    }
    void Next() override { Skip(1); }
    std::size_t Ahead() const override { return ahead_; }
    void Skip(std::size_t entries) override {
        auto& front = parts_.front();
        front.entry += entries * size_;
        front.left -= entries;
        ahead_ -= entries;
        if (ahead_ != 0) {
            entry_ = front.entry;
            return;
        }
        if (front.left == 0 && !EnterBlock(front)) {
            std::swap(front, parts_.back());
            parts_.pop_back();
            SiftDown(0);
            Stand();
            return;
        }
        front.start = StartOfEntry(front.entry);
        if (parts_.size() > 1 && IsBefore(parts_[runner_up_], front)) {
            std::swap(front, parts_[runner_up_]);
            SiftDown(runner_up_);
            Stand();
        } else {
            entry_ = front.entry;
            ahead_ = Stretch();
        }
    }
    std::size_t CopyTo(std::span<std::byte> out) override {
        std::size_t filled = 0;
        while (filled < out.size() && entry_ != nullptr) {
            const auto entries = std::min(ahead_, (out.size() - filled) / size_);
            std::memcpy(out.data() + filled, entry_, entries * size_);
            filled += entries * size_;
            Skip(entries);
        }
        return filled;
    }

private:
    struct Part {
        std::uint64_t start = 0;  // of its entry, from `decides_` on
        const std::byte* entry = nullptr;
        std::size_t left = 0;   // of its block, from this entry on
        std::size_t block = 0;  // entries that stand behind each other, the first of `edits`
        std::unique_ptr<TreeEdits> edits;
    };

    void AddPart(std::unique_ptr<TreeEdits> edits) {
        Part part;
        part.edits = std::move(edits);
        if (Stands(part)) {
            parts_.push_back(std::move(part));
        }
    }
    static bool Stands(Part& part) {
        part.entry = part.edits->Entry();
        part.left = part.block = std::min(part.edits->Ahead(), kMostOfBlock);
        return part.entry != nullptr;
    }
    // A block is in order: what its first and its last entry have in common, all have.
    std::size_t CommonWith(const Part& part, std::size_t most) const {
        // Another one than the first part, which enters a block.
        const auto* const one = parts_.back().entry;
        most = CommonLength(one, part.entry, most);
        return CommonLength(one, part.entry + (part.left - 1) * size_, most);
    }
    // Behind the last entry of the block before. False: there is none.
    bool EnterBlock(Part& part) {
        part.edits->Skip(part.block);
        if (!Stands(part)) {
            return false;
        }
        // What is common to all grows again, too, but looking at all of them each time costs more
        // than it saves where there are many.
        if (++blocks_ >= parts_.size() || CommonWith(part, common_) < common_) {
            Settle();
        }
        return true;
    }
    // By which bytes the entries are compared first.
    void Settle() {
        blocks_ = 0;
        common_ = size_;
        for (const auto& part : parts_) {
            common_ = CommonWith(part, common_);
        }
        // Eight bytes, if an entry has so many.
        decides_ = std::min(common_, size_ - std::min(size_, sizeof(std::uint64_t)));
        for (auto& part : parts_) {
            part.start = StartOfEntry(part.entry);
        }
    }
    std::uint64_t StartOfEntry(const std::byte* entry) const {
        return StartOf(entry + decides_, size_ - decides_);
    }
    bool IsBefore(std::uint64_t start, const std::byte* entry, const Part& right) const {
        return start != right.start ? start < right.start
                                    : std::memcmp(entry, right.entry, size_) < 0;
    }
    bool IsBefore(const Part& left, const Part& right) const {
        return IsBefore(left.start, left.entry, right);
    }
    void Stand() {
        entry_ = parts_.empty() ? nullptr : parts_.front().entry;
        // The second of all is one of the two below the top, so a single comparison tells whether
        // the next entry of the first part is still the first.
        runner_up_ = parts_.size() > 2 && IsBefore(parts_[2], parts_[1]) ? 2 : 1;
        ahead_ = parts_.size() == 1 ? parts_.front().left : 1;
    }
    // How many of the first part's entries come before all others, or fewer than that.
    std::size_t Stretch() const {
        const auto& front = parts_.front();
        std::size_t known = 1;
        while (known < front.left) {
            const std::size_t probe = std::min(2 * known, front.left);
            const auto* const entry = front.entry + (probe - 1) * size_;
            if (parts_.size() > 1 && !IsBefore(StartOfEntry(entry), entry, parts_[runner_up_])) {
                break;
            }
            known = probe;
        }
        return known;
    }
    void SiftDown(std::size_t at) {
        for (std::size_t child = 2 * at + 1; child < parts_.size(); child = 2 * at + 1) {
            child +=
                child + 1 < parts_.size() && IsBefore(parts_[child + 1], parts_[child]) ? 1 : 0;
            if (!IsBefore(parts_[child], parts_[at])) {
                return;
            }
            std::swap(parts_[at], parts_[child]);
            at = child;
        }
    }

    std::size_t size_;
    std::size_t common_ = 0;   // bytes that all blocks begin with
    std::size_t decides_ = 0;  // the first byte that is in the numbers
    std::size_t blocks_ = 0;   // entered since they were looked at together
    std::size_t runner_up_ = 1;
    std::size_t ahead_ = 0;  // entries of the first part that stand behind each other and are next
    std::vector<Part> parts_;
};

}  // namespace

std::unique_ptr<TreeEdits> MergeRuns(std::span<const PackedEntries> runs,
                                     const EditList& rest,
                                     const TreeShape& shape) {
    return std::make_unique<MergedRuns>(runs, rest, shape);
}

}  // namespace vantry::foxpro
