#pragma once
// Finds values that repeat in a unique key, among any number of rows in memory that stays flat:
// each key is a number of 64 bits; a few hundred thousand are kept, more go to a file without a
// name, in parts that are small enough to be sorted one by one.

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace vantry {

class RepeatedKeys {
public:
    RepeatedKeys() = default;

    // `row`: of the source from 1; 0 for a row that the target has already.
    void Add(std::uint64_t key, std::int64_t row);

    struct Answer {
        std::int64_t repeats = 0;  // rows of the source whose key an earlier one or the target has
        std::int64_t first = 0;    // the first of them
    };
    // Once, behind the last Add. `repeated` is told each such row, in no order. Throws
    // std::runtime_error when the file can't be used.
    Answer Find(const std::function<void(std::int64_t row)>& repeated = {});

private:
    struct Entry {
        std::uint64_t key;
        std::int64_t row;
    };
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    void Spill();
    static void Count(std::vector<Entry>& entries,
                      Answer& answer,
                      const std::function<void(std::int64_t)>& repeated);

    std::vector<Entry> entries_;
    std::vector<std::unique_ptr<std::FILE, CloseFile>> parts_;
};

}  // namespace vantry
