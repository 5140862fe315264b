#pragma once
// Reading a table's header: what every version has in common ends up in a TableLayout, and nothing
// that contradicts the file's size passes.

#include "drivers/foxpro/table/table_layout.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::foxpro {

// As many bytes from the file's start as a header can have.
inline constexpr std::size_t kLongestHeader = 65'535;

struct Header {
    TableLayout layout;
    std::uint32_t record_count = 0;  // what the header says
};

// `start` holds the file's first bytes: all up to the first record if they are there. Throws
// DataError naming the file and what is wrong with it.
Header ParseHeader(ByteSpan start, std::uint64_t file_size, std::string_view path);
// Opens the file for this alone; nothing where no header can be read.
std::optional<Header> HeaderOfFile(const std::string& path);

// Gives each V, Q and nullable field its bits, in the order of the fields: the short bit first.
// Returns their number.
std::size_t AssignNullBits(std::vector<Field>& fields);

}  // namespace vantry::foxpro
