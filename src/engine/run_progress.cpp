#include "engine/run_progress.h"

#include "engine/run_report.h"

#include <algorithm>
#include <cmath>

namespace vantry {
namespace {

constexpr std::chrono::milliseconds kBetweenSamples{400};
constexpr std::chrono::seconds kRateTime{10};

double Seconds(RunProgress::Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

}  // namespace

void RunProgress::TakeFromReport(std::int64_t rows, double total) {
    const auto& tables = CurrentRunReport.Tables;
    std::size_t table = 0;
    int errors = 0;
    for (const auto& report : tables) {
        table += report.Outcome != TableOutcome::NotReached ? 1 : 0;
        errors += report.Errors;
    }
    errors_ = errors;
    Take(std::max<std::size_t>(table, 1), std::max<std::size_t>(tables.size(), 1), rows, total);
}

void RunProgress::Tick(Clock::time_point now) {
    now_ = now;
    if (table_ != seen_table_ ||
        // Also where the count falls: a polled file begins at its first row again under the same
        // number.
        (sample_count_ > 0 && samples_[(sample_count_ - 1) % kSamples].rows > rows_)) {
        seen_table_ = table_;
        table_start_ = now;
        sample_count_ = 0;
    }
    if (sample_count_ == 0 ||
        now - samples_[(sample_count_ - 1) % kSamples].at >= kBetweenSamples) {
        samples_[sample_count_++ % kSamples] = {now, rows_};
    }
}

double RunProgress::RowsPerSecond() const {
    const std::size_t kept = std::min(sample_count_, kSamples);
    for (std::size_t k = kept; k > 0; --k) {  // the oldest first
        const auto& sample = samples_[(sample_count_ - k) % kSamples];
        if (now_ - sample.at <= kRateTime) {
            const double seconds = Seconds(now_ - sample.at);
            return seconds < 0.2 ? -1 : static_cast<double>(rows_ - sample.rows) / seconds;
        }
    }
    return 0;
}

double RunProgress::SecondsLeft() const {
    const double rate = RowsPerSecond();
    const double left = total_ - static_cast<double>(rows_);
    if (rate <= 0 || total_ <= 0 || table_ == 0 || left < 0) {
        return -1;
    }
    const double table_left = left / rate;
    // The tables to come are taken to need as long as those so far: their rows aren't counted yet.
    const double until_table_end = Seconds(now_ - start_) + table_left;
    const auto to_come = static_cast<double>(tables_ - std::min(table_, tables_));
    return table_left + until_table_end / static_cast<double>(table_) * to_come;
}

double RunProgress::Fraction() const {
    if (table_ == 0 || tables_ == 0) {
        return 0;
    }
    const double of_table =
        total_ > 0 ? std::clamp(static_cast<double>(rows_) / total_, 0.0, 1.0) : 0;
    return (static_cast<double>(table_ - 1) + of_table) / static_cast<double>(tables_);
}

std::string RunProgress::Text() const {
    std::string text = "Table " + std::to_string(table_) + " of " + std::to_string(tables_) + ", " +
                       GroupedNumber(rows_);
    if (total_ > 0 && total_ < 1e15) {
        text += " of " + GroupedNumber(static_cast<std::int64_t>(total_));
    }
    text += " rows, ";
    if (const double rate = RowsPerSecond(); rate >= 0) {
        text += GroupedNumber(std::llround(rate)) + " rows/s, ";
    }
    text += ClockText(Seconds(now_ - start_));
    if (const double left = SecondsLeft(); left >= 0) {
        text += ", ends in about " + ClockText(left);
    }
    return errors_ > 0
               ? text + ", " + GroupedNumber(errors_) + (errors_ == 1 ? " error" : " errors")
               : text;
}

std::string GroupedNumber(std::int64_t number) {
    std::string digits = std::to_string(number);
    for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > (number < 0 ? 1 : 0);
         at -= 3) {
        digits.insert(static_cast<std::size_t>(at), ",");
    }
    return digits;
}

std::string ClockText(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::clamp(seconds, 0.0, 3.6e8));
    const auto two = [](std::int64_t number) {
        return (number < 10 ? "0" : "") + std::to_string(number);
    };
    return std::to_string(whole / 3600) + ":" + two(whole / 60 % 60) + ":" + two(whole % 60);
}

}  // namespace vantry
