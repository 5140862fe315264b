#pragma once
// Edits of a tree that another thread puts in order while this one applies them.

#include "drivers/foxpro/indexes/tree.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace vantry::foxpro {

class EditPipe : public TreeEdits {
public:
    explicit EditPipe(const TreeShape& shape) : size_(shape.EntrySize()) {}
    // Waits for the end of Fill, if one was promised, which stops early then.
    ~EditPipe() override;
    void PromiseFill() { promised_ = true; }

    // On the other thread, once: passes on what `sorted` makes.
    void Fill(const std::function<std::unique_ptr<TreeEdits>()>& sorted) noexcept;

    // On this one: to the first edit, and to the next one. Both throw what Fill met with.
    void Start() { TakePart(); }
    void Next() override { Skip(1); }
    std::size_t Ahead() const override { return part_.removals.empty() ? count_ - number_ : 1; }
    void Skip(std::size_t entries) override {
        number_ += entries;
        if (number_ == count_) {
            TakePart();
        } else {
            entry_ += entries * size_;
            removal_ = !part_.removals.empty() && part_.removals[number_] != 0;
        }
    }

private:
    struct Part {
        std::vector<std::byte> entries;
        std::vector<std::uint8_t> removals;  // empty if there is none
    };
    Part UsedPart();
    void TakePart();
    bool PassOn(TreeEdits& edits);

    std::size_t size_;
    bool promised_ = false;
    Part part_;  // whose edits are being applied
    std::size_t number_ = 0;
    std::size_t count_ = 0;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Part> parts_;
    std::vector<Part> used_;
    bool closing_ = false;
    bool ended_ = false;
    std::exception_ptr error_;
};

}  // namespace vantry::foxpro
