// A whole database file. The mutator knows pages, their heads and the places of numbers; it repairs
// nothing.

#include "drivers/access/format.h"
#include "drivers/access/pages/header_mask.h"
#include "drivers/access/read_everything.h"

#include <algorithm>
#include <random>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace vantry::access {
namespace {

class Mutation {
public:
    Mutation(std::uint8_t* data, std::size_t size, unsigned seed)
        : data_(data), size_(size), random_(seed) {
        const bool jet3 = size > kVersionOffset && data[kVersionOffset] == kVersionJet3;
        layout_ = jet3 ? &kJet3Layout : &kJet4Layout;
        page_size_ = layout_->page_size;
        pages_ = size / page_size_;
    }

    // The new size.
    std::size_t Apply() {
        switch (Pick(8)) {
            case 0:
                SwapPages();
                return size_;
            case 1:
                CopyPage();
                return size_;
            case 2:
                return Pick(20) == 0 ? Pick(size_) / 512 * 512 : size_;
            case 3:
                MutateHeader();
                return size_;
            case 4:
                PutNumber(Page(Pick(pages_)) + Pick(96));
                return size_;
            case 5:
                PutNumber(Page(Pick(pages_)) + page_size_ - 4 - Pick(256));
                return size_;
            case 6:
                PutNumber(Page(Pick(pages_)) + Pick(page_size_ - 4));
                return size_;
            default: {
                const std::size_t at = Pick(page_size_ - 64);
                LLVMFuzzerMutate(Page(Pick(pages_)) + at, 64, 64);
                return size_;
            }
        }
    }

private:
    std::size_t Pick(std::size_t count) { return count == 0 ? 0 : random_() % count; }
    std::uint8_t* Page(std::size_t page) { return data_ + page * page_size_; }

    void SwapPages() {
        const auto left = Pick(pages_);
        const auto right = Pick(pages_);
        if (left != right) {
            std::swap_ranges(Page(left), Page(left) + page_size_, Page(right));
        }
    }

    void CopyPage() {
        const auto from = Pick(pages_);
        const auto to = Pick(pages_);
        if (from != to) {
            std::copy_n(Page(from), page_size_, Page(to));
        }
    }

    void MutateHeader() {
        const auto header = std::as_writable_bytes(std::span(data_, page_size_));
        MaskHeader(*layout_, header);
        LLVMFuzzerMutate(data_ + kVersionOffset + Pick(0x90), 4, 4);
        MaskHeader(*layout_, header);
    }

    void PutNumber(std::uint8_t* place) {
        const auto self =
            static_cast<std::uint32_t>((place - data_)) / static_cast<std::uint32_t>(page_size_);
        const auto last = static_cast<std::uint32_t>(pages_);
        const std::uint32_t numbers[] = {0,
                                         1,
                                         0xFFFFFFFF,
                                         0x7FFFFFFF,
                                         0x80000000,
                                         0x40000000,
                                         0xFFFF,
                                         0x1FFF,
                                         self,
                                         self << 8,
                                         self << 8 | 1,
                                         last,
                                         last - 1,
                                         (last - 1) << 8,
                                         static_cast<std::uint32_t>(Pick(pages_)),
                                         static_cast<std::uint32_t>(Pick(pages_)) << 8,
                                         static_cast<std::uint32_t>(random_())};
        const auto number = numbers[Pick(std::size(numbers))];
        std::memcpy(place, &number, Pick(2) == 0 ? 4 : 2);
    }

    std::uint8_t* data_;
    std::size_t size_;
    std::minstd_rand random_;
    const Layout* layout_;
    std::size_t page_size_;
    std::size_t pages_;
};

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data,
                                               std::size_t size,
                                               std::size_t max_size,
                                               unsigned int seed) {
    if (size < 2 * kJet4Layout.page_size) {
        return LLVMFuzzerMutate(data, size, max_size);
    }
    return Mutation(data, size, seed).Apply();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vantry::test::ReadEverything(std::as_bytes(std::span(data, size)));
    return 0;
}

}  // namespace vantry::access
