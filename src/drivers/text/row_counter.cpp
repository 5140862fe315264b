#include "drivers/text/row_counter.h"

#include "text_format/byte_masks.h"

#include <algorithm>

namespace vantry::text {
namespace {

constexpr std::size_t kStep = 64;

bool IsBreak(char byte) {
    return byte == '\n' || byte == '\r';
}

// Bit k: whether the bits up to it, its own included, are odd in number.
std::uint64_t Parities(std::uint64_t bits) {
    for (int shift = 1; shift < 64; shift *= 2) {
        bits ^= bits << shift;
    }
    return bits;
}

}  // namespace

RowCounter::RowCounter(const SplitRules& rules) {
    if (rules.layout == SplitRules::Layout::Delimited) {
        delimiter_ = rules.delimiter[0];
        // Without qualifiers a break stands for them, whose mask isn't used.
        qualifier_ = rules.qualifier.empty() ? '\n' : rules.qualifier[0];
    }
}

bool RowCounter::CanCount(const SplitRules& rules) {
    if (rules.layout != SplitRules::Layout::Delimited) {
        return rules.layout == SplitRules::Layout::RaggedEdge;
    }
    return !RowSplitter(rules, 0).IsCareful() && !IsBreak(rules.delimiter[0]) &&
           rules.delimiter != rules.qualifier &&
           (rules.qualifier.empty() || !IsBreak(rules.qualifier[0]));
}

void RowCounter::Add(std::string_view bytes) {
    for (std::size_t at = 0; at < bytes.size(); at += kStep) {
        AddBlock(bytes.data() + at, std::min(kStep, bytes.size() - at));
    }
}

// Fields open their qualifiers at their beginning, and a qualifier inside is two of them: then
// what stands between qualifiers is what an odd number of them stands before.
void RowCounter::AddBlock(const char* at, std::size_t size) {
    ByteMasks masks = MasksOf(at, delimiter_, qualifier_);
    const std::uint64_t there = size < kStep ? (std::uint64_t{1} << size) - 1 : ~std::uint64_t{0};
    const bool has_qualifiers = qualifier_ != '\n';
    masks.breaks &= there;
    masks.qualifiers &= has_qualifiers ? there : 0;
    masks.delimiters &= delimiter_ != '\n' ? there : 0;
    const std::uint64_t inside =
        Parities(masks.qualifiers) ^ (state_ == State::Qualified ? ~std::uint64_t{0} : 0);
    const std::uint64_t openings = masks.qualifiers & inside;
    const std::uint64_t closings = masks.qualifiers & ~inside;
    masks.breaks &= ~inside;
    masks.delimiters &= ~inside;
    const auto was = [this](State state) { return std::uint64_t{state_ == state ? 1U : 0U}; };
    const std::uint64_t behind_break = masks.breaks << 1 | was(State::BehindBreak);
    // A doubled qualifier closes its field and opens it again.
    const std::uint64_t may_open = behind_break | masks.delimiters << 1 |
                                   was(State::BehindDelimiter) | closings << 1 |
                                   was(State::BehindClosing);
    if ((openings & ~may_open) != 0) {
        AddBytes(at, size);
        return;
    }
    // Rarely more than one: quicker than counting bits without an instruction for it.
    for (std::uint64_t ends = masks.breaks & ~behind_break; ends != 0; ends &= ends - 1) {
        ++rows_;
    }
    const std::uint64_t last = std::uint64_t{1} << (size - 1);
    state_ = (inside & last) != 0             ? State::Qualified
             : (masks.breaks & last) != 0     ? State::BehindBreak
             : (masks.delimiters & last) != 0 ? State::BehindDelimiter
             : (closings & last) != 0         ? State::BehindClosing
                                              : State::Inside;
}

// Only where there are qualifiers.
void RowCounter::AddBytes(const char* at, std::size_t size) {
    for (std::size_t k = 0; k < size; ++k) {
        const State next = Behind(state_, at[k]);
        rows_ += next == State::BehindBreak && state_ != State::BehindBreak ? 1 : 0;
        state_ = next;
    }
}

RowCounter::State RowCounter::Behind(State state, char byte) const {
    if (byte == qualifier_ && state != State::Inside) {
        return state == State::Qualified ? State::BehindClosing : State::Qualified;
    }
    if (state == State::Qualified) {
        return State::Qualified;
    }
    if (IsBreak(byte)) {
        return State::BehindBreak;
    }
    return byte == delimiter_ ? State::BehindDelimiter : State::Inside;
}

}  // namespace vantry::text
