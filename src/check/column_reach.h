#pragma once
// What the values of a column reach to: its longest text, its widest number, its earliest date.

#include "check/type_check.h"
#include "data/short_number.h"
#include "data/value.h"
#include "data/value_convert.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace vantry {

// Inline: every value of a table passes through Note.
class ColumnReach {
public:
    void Note(const Cell& value) {
        switch (value.Kind()) {
            case ValueKind::Null:
                ++nulls_;
                break;
            case ValueKind::Int64:
                Digits(value.AsInt64(), 0);
                break;
            case ValueKind::Boolean:
                Number(value.AsBoolean() ? -1 : 0);
                break;
            case ValueKind::Double:
                Number(value.AsDouble());
                break;
            case ValueKind::Single:
                Number(value.AsSingle());
                break;
            case ValueKind::NumberText: {
                ShortNumber number;
                if (ReadShortNumber(value.AsText(), number)) {
                    Digits(number.unscaled, number.scale);
                } else {
                    Other(value);
                }
                break;
            }
            case ValueKind::Decimal: {
                const auto decimal = value.AsDecimal();
                if (decimal.unscaled == static_cast<std::int64_t>(decimal.unscaled) &&
                    decimal.scale < kTens.size()) {
                    Digits(static_cast<std::int64_t>(decimal.unscaled), decimal.scale);
                } else {
                    Other(value);
                }
                break;
            }
            case ValueKind::DateTime:
                earliest_ = std::min(earliest_, value.AsDateTime());
                latest_ = std::max(latest_, value.AsDateTime());
                break;
            case ValueKind::Text:
            case ValueKind::Bytes:
                // No text has more letters than bytes: only a longer one needs to be counted.
                if (value.AsText().size() > static_cast<std::size_t>(longest_)) {
                    Longest(value);
                }
                break;
            default:
                Other(value);
        }
    }
    // What other values of the column reach to.
    void Add(const ColumnReach& others);

    Extent Result() const;

private:
    static constexpr auto kTens = [] {
        std::array<std::int64_t, 19> tens{1};
        for (std::size_t k = 1; k < tens.size(); ++k) {
            tens[k] = tens[k - 1] * 10;
        }
        return tens;
    }();

    void Number(double number) {
        least_ = std::min(least_, number);
        most_ = std::max(most_, number);
    }
    // By the digits as they are: a division a value would cost more than all the rest.
    void Digits(std::int64_t unscaled, std::size_t scale) {
        const auto places = static_cast<std::size_t>(places_);
        // Zeros behind the places that were met already add none, and most values end there.
        if (scale > places && unscaled % kTens[scale - places] != 0) {
            places_ = WithoutTrailingZeros({unscaled, static_cast<std::uint8_t>(scale)}).scale;
        }
        scaled_[scale].least = std::min(scaled_[scale].least, unscaled);
        scaled_[scale].most = std::max(scaled_[scale].most, unscaled);
    }
    // A longest value so far is rare among millions: kept out of the way of the others.
    [[gnu::noinline]] void Longest(const Cell& value);
    [[gnu::noinline]] void Other(const Cell& value);

    std::int64_t nulls_ = 0;
    std::int64_t longest_ = 0;
    int places_ = 0;
    struct Ends {
        std::int64_t least = INT64_MAX;
        std::int64_t most = INT64_MIN;
    };
    std::array<Ends, kTens.size()> scaled_;  // of numbers with so many places
    double least_ = HUGE_VAL;
    double most_ = -HUGE_VAL;
    DateTime earliest_{kMaxDay + 1, 0};
    DateTime latest_{kMinDay - 1, 0};
};

}  // namespace vantry
