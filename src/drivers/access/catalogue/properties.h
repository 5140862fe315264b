#pragma once
// Property blocks (LvProp of MSysObjects): named values of an object and of its columns.

#include "drivers/access/rows/text_coding.h"

#include <string>
#include <string_view>
#include <vector>

namespace vantry::access {

struct Property {
    std::string owner;  // the column's name; empty for the object itself
    std::string name;
    std::uint8_t type = 0;  // column type code of the value
    std::vector<std::byte> value;
};

// Throws BoundsError where a length of the block runs outside; an empty block has no properties.
std::vector<Property> ParseProperties(ByteSpan block, const TextCoding& coding);

// Nothing when there is none.
const Property* FindProperty(const std::vector<Property>& properties,
                             std::string_view owner,
                             std::string_view name);

}  // namespace vantry::access
