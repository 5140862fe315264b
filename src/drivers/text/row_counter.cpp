// A qualifier changes what the bytes behind it mean, up to the next one: the parity of qualifiers
// before a byte says whether it is inside, for 64 bytes in a few steps. That holds as long as a
// qualifier opens a field at its beginning; a block with one elsewhere is counted byte by byte.
// Easy to get wrong: what the last byte of a block was decides how the next one begins, and a
// doubled qualifier is one that closes and opens again.

#include "drivers/text/row_counter.h"

#include "text_format/byte_masks.h"
#include "text_format/errors.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <string>
#include <thread>

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

// Bytes of a file from which on a second thread pays.
constexpr std::int64_t kWorthTwo = std::int64_t{4} << 20;
// So far behind the middle a line break is looked for.
constexpr std::size_t kNearMiddle = std::size_t{4} << 10;

void CountOn(RowCounter& counter,
             const TextFile& file,
             std::int64_t begin,
             std::int64_t end,
             std::size_t window) {
    const auto bytes = std::make_unique<char[]>(window + kWindowPadding);
    while (begin < end) {
        const auto wanted =
            std::min<std::uint64_t>(window, static_cast<std::uint64_t>(end - begin));
        const std::size_t got = file.Read(begin, bytes.get(), static_cast<std::size_t>(wanted));
        if (got == 0) {
            throw ChangedWhileRead(file.Path());  // it ended before its end
        }
        counter.Add({bytes.get(), got});
        begin += static_cast<std::int64_t>(got);
    }
}

// Behind a line feed in the middle; `end` if there is none near it.
std::int64_t BreakNearMiddle(const TextFile& file, std::int64_t begin, std::int64_t end) {
    const std::int64_t middle = begin + (end - begin) / 2;
    std::string bytes(kNearMiddle, '\0');
    bytes.resize(file.Read(middle, bytes.data(), bytes.size()));
    const auto feed = bytes.find('\n');
    return feed == std::string::npos ? end : middle + static_cast<std::int64_t>(feed) + 1;
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

// The second half is counted as if a row began there. Whether that is so, the first half tells:
// inside a field the count goes on from its end.
std::int64_t CountRows(const TextFile& file,
                       const SplitRules& rules,
                       std::int64_t begin,
                       std::int64_t end,
                       std::size_t window) {
    RowCounter counter(rules);
    const std::int64_t middle = end - begin < kWorthTwo ? end : BreakNearMiddle(file, begin, end);
    RowCounter second(rules);
    std::exception_ptr failure;
    std::thread other;
    try {
        if (middle < end) {
            other = std::thread([&] {
                try {
                    CountOn(second, file, middle, end, window);
                } catch (...) {
                    failure = std::current_exception();
                }
            });
        }
    } catch (const std::exception&) {
        // No thread to be had: the count goes on behind the middle.
    }
    const bool has_second = other.joinable();
    std::exception_ptr first_failure;
    try {
        CountOn(counter, file, begin, middle, window);
    } catch (...) {
        first_failure = std::current_exception();
    }
    if (has_second) {
        other.join();
    }
    if (first_failure) {
        std::rethrow_exception(first_failure);
    }
    if (has_second && counter.IsBetweenRows()) {
        if (failure) {
            std::rethrow_exception(failure);
        }
        return counter.Rows() + second.Rows();
    }
    CountOn(counter, file, middle, end, window);
    return counter.Rows();
}

}  // namespace vantry::text
