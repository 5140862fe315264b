#pragma once
// How a run is getting on, in one line: which table, rows a second over the last ten seconds, time
// passed, when it will probably end, errors so far. For the runner's terminal line, its window and
// the status bar; whoever shows it asks Text() by its own clock.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace vantry {

class RunProgress {
public:
    using Clock = std::chrono::steady_clock;

    explicit RunProgress(Clock::time_point start) : start_(start), table_start_(start) {}

    // Cheap: may come with each row. `table` counts from 1; `total` is what the count of the
    // table's rows said, 0 while it isn't known.
    void Take(std::size_t table, std::size_t tables, std::int64_t rows, double total) {
        table_ = table;
        tables_ = tables;
        rows_ = rows;
        total_ = total;
    }
    // What CurrentRunReport says of the same, and of errors.
    void TakeFromReport(std::int64_t rows, double total);
    void TakeErrors(int errors) { errors_ = errors; }

    // To be called several times a second; keeps what the rate is made of.
    void Tick(Clock::time_point now);

    // Over the last ten seconds, or since the table began; negative as long as that is too short to
    // tell.
    double RowsPerSecond() const;
    // Seconds until the whole run ends; below 0: it can't be told yet. Tables to come are taken to
    // be as long as those so far are on the average.
    double SecondsLeft() const;
    // Of the whole run, from 0 to 1: tables count alike, and the running one by its rows.
    double Fraction() const;
    // "Table 2 of 5, 12,340 of 40,000 rows, 8,100 rows/s, 0:01:12, ends in about 0:00:40, 3 errors"
    std::string Text() const;

private:
    struct Sample {
        Clock::time_point at;
        std::int64_t rows;
    };
    static constexpr std::size_t kSamples = 32;

    Clock::time_point start_;
    Clock::time_point table_start_;
    Clock::time_point now_ = start_;
    std::size_t table_ = 0;
    std::size_t tables_ = 0;
    std::size_t seen_table_ = 0;
    std::int64_t rows_ = 0;
    double total_ = 0;
    int errors_ = 0;
    std::array<Sample, kSamples> samples_{};  // a ring
    std::size_t sample_count_ = 0;
};

// "1,234,567"; "1:02:03".
std::string GroupedNumber(std::int64_t number);
std::string ClockText(double seconds);

}  // namespace vantry
