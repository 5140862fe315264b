#pragma once
// Random values of the sorts at which types, forms and drivers part: edges of ranges, texts that
// look like something else, moments that calendars leave out.

#include "data/value.h"

#include <cstdint>
#include <iterator>
#include <random>
#include <string>

namespace vantry::bench {

enum class Odd { Whole, Decimal, Double, Single, Moment, Text, Memo, Bytes, Truth };

// The same seed gives the same values.
class OddValues {
public:
    void Seed(unsigned seed) { random_.seed(seed); }
    // Null, too, but for a truth value.
    Value Of(Odd odd);

    std::int64_t Any(std::int64_t least, std::int64_t most) {
        return std::uniform_int_distribution<std::int64_t>(least, most)(random_);
    }
    template <typename Of>
    const auto& OneOf(const Of& of) {
        return of[static_cast<std::size_t>(Any(0, static_cast<std::int64_t>(std::size(of)) - 1))];
    }

private:
    Cell Decimal();
    Cell Double();
    Cell Moment();
    std::string Text();
    std::string Memo();
    std::string Bytes();

    std::mt19937 random_;
};

}  // namespace vantry::bench
