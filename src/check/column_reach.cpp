#include "check/column_reach.h"

#include "data/utf.h"

#include <optional>

namespace vantry {

void ColumnReach::Longest(const Cell& value) {
    longest_ = std::max(
        longest_,
        static_cast<std::int64_t>(value.Kind() == ValueKind::Text ? CountCodePoints(value.AsText())
                                                                  : value.AsText().size()));
}

void ColumnReach::Other(const Cell& value) {
    if (value.Kind() == ValueKind::Unreadable) {
        return;
    }
    if (value.Kind() == ValueKind::Decimal) {
        places_ = std::max<int>(places_, WithoutTrailingZeros(value.AsDecimal()).scale);
    } else if (const auto decimal =
                   value.Kind() == ValueKind::NumberText ? ToDecimal(value) : std::nullopt) {
        places_ = std::max<int>(places_, WithoutTrailingZeros(*decimal).scale);
    }
    if (const auto number = ToDouble(value)) {
        Number(*number);
    }
}

void ColumnReach::Add(const ColumnReach& others) {
    nulls_ += others.nulls_;
    longest_ = std::max(longest_, others.longest_);
    places_ = std::max(places_, others.places_);
    for (std::size_t scale = 0; scale < scaled_.size(); ++scale) {
        scaled_[scale].least = std::min(scaled_[scale].least, others.scaled_[scale].least);
        scaled_[scale].most = std::max(scaled_[scale].most, others.scaled_[scale].most);
    }
    least_ = std::min(least_, others.least_);
    most_ = std::max(most_, others.most_);
    earliest_ = std::min(earliest_, others.earliest_);
    latest_ = std::max(latest_, others.latest_);
}

Extent ColumnReach::Result() const {
    Extent extent;
    extent.nulls = nulls_;
    extent.longest = longest_;
    extent.places = places_;
    // Ends that never met a value still stand the wrong way round.
    double least = least_;
    double most = most_;
    for (std::size_t scale = 0; scale < scaled_.size(); ++scale) {
        // For the eye: of numbers that a double doesn't hold the last digits don't matter here.
        if (scaled_[scale].least <= scaled_[scale].most) {
            const auto ten = static_cast<double>(kTens[scale]);
            least = std::min(least, static_cast<double>(scaled_[scale].least) / ten);
            most = std::max(most, static_cast<double>(scaled_[scale].most) / ten);
        }
    }
    if (least <= most) {
        extent.least = least;
        extent.most = most;
    }
    if (earliest_ <= latest_) {
        extent.earliest = earliest_;
        extent.latest = latest_;
    }
    return extent;
}

}  // namespace vantry
