#include "data/row_copies.h"

#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <random>
#include <string>

namespace vantry {
namespace {

// Against plain copies, through many rows and drops on both sides; some texts lie side by side.
TEST(RowCopies, GiveBackWhatWasAddedWhateverWasDropped) {
    std::mt19937 random(7);
    RowCopies copies;
    std::deque<std::string> kept;
    for (int step = 0; step < 20'000; ++step) {
        std::string memory(random() % 40, static_cast<char>('a' + step % 26));
        const std::string_view text = memory;
        const auto cut = text.size() / 2;
        const std::array row = {Cell::Text(text.substr(0, cut)),
                                Cell::Int64(step),
                                Cell::NumberText(text.substr(cut)),
                                Cell::Text("apart")};
        copies.Add(row);
        kept.push_back(memory + std::to_string(step));
        memory.assign(memory.size(), '-');
        if (random() % 50 == 0) {
            const auto dropped = random() % (kept.size() + 1);
            copies.DropFirst(dropped);
            kept.erase(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(dropped));
        } else if (random() % 9 == 0 && !kept.empty()) {
            copies.DropLast();
            kept.pop_back();
        } else if (random() % 1000 == 0) {
            copies.Clear();
            kept.clear();
        }
        ASSERT_EQ(copies.Count(), kept.size());
        if (!kept.empty()) {
            const auto k = random() % kept.size();
            const auto cells = copies.Row(k);
            ASSERT_EQ(std::string(cells[0].AsText()) + std::string(cells[2].AsText()) +
                          std::to_string(cells[1].AsInt64()),
                      kept[k]);
            ASSERT_EQ(cells[3].AsText(), "apart");
        }
    }
}

}  // namespace
}  // namespace vantry
