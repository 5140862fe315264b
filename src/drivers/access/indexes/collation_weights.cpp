// The tables list 102,000 characters, most of them in runs that differ by nothing or by one; what
// is left is packed as differences, and unpacked at the first text key of a sort order into two
// arrays that a binary search walks. Latin characters go past it. Easy to get wrong: a run's first
// character isn't stored but follows from the lengths before it, so that a gap in the input must be
// a run of ignored characters.

#include "drivers/access/indexes/collation_weights.h"

#include <algorithm>
#include <stdexcept>

namespace vantry::access {
namespace {

constexpr std::size_t kPlane = 0x10000;
constexpr std::uint8_t kHasLength = 0x80;
constexpr std::size_t kInlineBytes = 2;  // that a run holds itself
constexpr std::size_t kMaxInlineBytes = 8;

[[noreturn]] void ThrowBadTable() {
    throw std::logic_error("the table of a sort order is damaged");
}

// The bytes behind a text of base 64, one at a time.
class TableReader {
public:
    explicit TableReader(std::string_view text) : text_(text) {}

    std::uint8_t Byte() {
        while (bits_ < 8) {
            if (at_ == text_.size() || text_[at_] == '=') {
                ThrowBadTable();
            }
            word_ = word_ << 6 | Digit(text_[at_++]);
            bits_ += 6;
        }
        bits_ -= 8;
        return static_cast<std::uint8_t>(word_ >> bits_);
    }

    // Groups of seven bits, the low ones first; the top bit of a byte says that another follows.
    std::uint64_t Number() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const std::uint8_t byte = Byte();
            value |= std::uint64_t{byte & 0x7FU} << shift;
            if (byte < 0x80) {
                return value;
            }
        }
        ThrowBadTable();
    }
    // A signed number: its sign is in the lowest bit.
    std::uint64_t Difference() {
        const std::uint64_t value = Number();
        return (value & 1) == 0 ? value >> 1 : ~(value >> 1);
    }

private:
    static std::uint32_t Digit(char letter) {
        constexpr std::string_view kDigits =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        const std::size_t digit = kDigits.find(letter);
        if (digit == std::string_view::npos) {
            ThrowBadTable();
        }
        return static_cast<std::uint32_t>(digit);
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::uint32_t word_ = 0;
    unsigned bits_ = 0;
};

// Where a value is kept: in the run itself or, by its position, in a list beside it.
template <typename Held, typename Value>
Held Keep(Value value, bool wide, std::vector<Value>& list) {
    if (wide) {
        list.push_back(value);
        value = static_cast<Value>(list.size() - 1);
    }
    if (static_cast<Held>(value) != value) {
        ThrowBadTable();
    }
    return static_cast<Held>(value);
}

}  // namespace

CollationWeights::CollationWeights(std::string_view table) {
    TableReader reader(table);
    // Each value is stored as its distance from the former one of the same size.
    std::array<std::uint64_t, kMaxInlineBytes + 1> former{};  // inline value by its size
    for (std::size_t next = 0; next < kPlane;) {
        const std::uint8_t head = reader.Byte();
        const std::uint8_t number = head & static_cast<std::uint8_t>(~kHasLength);
        const std::uint64_t length = (head & kHasLength) != 0 ? reader.Number() : 1;
        if (number >= kWeightShapeCount || length == 0 || length > kPlane - next) {
            ThrowBadTable();
        }
        const WeightShape& shape = kWeightShapes[number];
        Run run{.inline_value = 0, .extra = 0, .shape = number};
        if (shape.inline_size > 0) {
            std::uint64_t& value = former[shape.inline_size];
            value += reader.Difference();
            run.inline_value = Keep<std::uint16_t>(value, shape.inline_size > kInlineBytes, wide_);
        }
        if (shape.extra_size > 0) {
            run.extra = Keep<std::uint8_t>(
                static_cast<std::uint32_t>(reader.Number()), shape.extra_size > 1, wide_extras_);
        }
        if (shape.growth == WeightGrowth::Cycle && run.extra >= kWeightCycleCount) {
            ThrowBadTable();
        }
        first_.push_back(static_cast<char16_t>(next));
        runs_.push_back(run);
        next += length;
    }
    for (std::size_t unit = 0; unit < kDirect; ++unit) {
        direct_[unit] = Find(static_cast<char16_t>(unit));
    }
}

Weight CollationWeights::Find(char16_t unit) const {
    // The first run begins at 0, so there is always one at or before the unit.
    const auto behind = std::upper_bound(first_.begin(), first_.end(), unit);
    const auto at = static_cast<std::size_t>(behind - first_.begin()) - 1;
    const Run& run = runs_[at];
    const WeightShape& shape = kWeightShapes[run.shape];
    const unsigned offset = unit - first_[at];
    Weight weight{.inline_value =
                      shape.inline_size > kInlineBytes ? wide_[run.inline_value] : run.inline_value,
                  .extra = shape.extra_size > 1 ? wide_extras_[run.extra] : run.extra,
                  .kind = shape.kind,
                  .inline_size = shape.inline_size,
                  .extra_size = shape.extra_size};
    if (shape.growth == WeightGrowth::Step) {
        weight.inline_value += offset;
    } else if (shape.growth == WeightGrowth::Cycle) {
        const WeightCycle& cycle = kWeightCycles[run.extra];
        weight.inline_value += offset / cycle.period;
        weight.extra = cycle.extras[offset % cycle.period];
        weight.extra_size = weight.extra == 0 ? 0 : 1;
    }
    return weight;
}

}  // namespace vantry::access
