#pragma once
// Compares what arrived with the rows as they were made: every row, every column, by value. Throws
// std::runtime_error that names the first row and column that differ.

#include <cstdint>
#include <filesystem>
#include <string>

namespace vantry::bench {

// How the text that is compared was written.
struct ArrivedForm {
    char delimiter = '\t';
    // A field may stand in these, which are not part of it; '\0' for none.
    char qualifier = '\0';
    // A qualifier inside a qualified field is doubled; else it stands as it is and only the
    // delimiter ends a field.
    bool doubled = false;
    bool heading = true;
    std::string null_text;  // how a null note reads
    // A database may keep its rows in another order than they came in.
    bool in_order = true;
};

void CheckArrived(const std::filesystem::path& path, std::int64_t rows, const ArrivedForm& form);

// Lines of a file, for a peer's own result. Throws when there are fewer than `rows`.
void CheckLineCount(const std::filesystem::path& path, std::int64_t rows);
// The records that a DBF table's header counts, likewise. Throws when they aren't `rows`.
void CheckDbfCount(const std::filesystem::path& path, std::int64_t rows);

}  // namespace vantry::bench
