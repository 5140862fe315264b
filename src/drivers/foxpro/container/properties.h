#pragma once
// The property list of an object in a container: items of an id and a value. Ids that nobody knows
// keep their bytes.

#include "drivers/foxpro/format.h"
#include "files/checked_bytes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::foxpro {

struct Property {
    std::uint8_t id = 0;
    std::vector<std::byte> value;
};

// Throws file::BoundsError if an item is longer than what is left.
std::vector<Property> ParseProperties(file::ByteSpan bytes);
std::vector<std::byte> PropertyBytes(const std::vector<Property>& properties);

const Property* FindProperty(const std::vector<Property>& properties, std::uint8_t id);
// A text up to its zero; empty if there is none.
std::string TextOf(const std::vector<Property>& properties, std::uint8_t id);

Property TextProperty(std::uint8_t id, std::string_view text);
Property ByteProperty(std::uint8_t id, std::uint8_t value);
Property NumberProperty(std::uint8_t id, std::int32_t value);

}  // namespace vantry::foxpro
