#pragma once
// What the header of a tag says, and the directory that leads to the headers.

#include "drivers/foxpro/indexes/index_pages.h"
#include "drivers/foxpro/indexes/key_expression.h"

#include <array>
#include <string>
#include <vector>

namespace vantry::foxpro {

struct TagHeader {
    std::string name;
    PageAddress address = 0;
    PageAddress root = 0;
    std::size_t key_length = 0;
    std::uint8_t options = 0;
    std::uint8_t kind = 0;
    std::string collation;
    bool descending = false;
    std::string expression;
    std::string filter;
    std::array<std::byte, kTagHeaderSize> bytes{};  // as they stand in the file
    std::string damage;                             // what is wrong with it
};

// All tags, in the order of their names. Throws DataError if the file is no index, or its directory
// can't be read.
std::vector<TagHeader> ReadTagHeaders(IndexPages& pages);

// The bytes of a header, without root, of a tag of these properties.
void EncodeTagHeader(TagHeader& header);

// Makes the content of the file anew: directory, headers, and an empty tree for each tag. `pads`:
// of the keys, by tag. Sets addresses and roots. The names are in order.
void WriteSkeleton(IndexPages& pages,
                   std::span<TagHeader> headers,
                   std::span<const std::byte> pads);

// After its tree has another root.
void StoreRoot(IndexPages& pages, const TagHeader& header, PageAddress root);

// The page counts as changed for engines that keep pages.
void CountChange(IndexPages& pages);

}  // namespace vantry::foxpro
