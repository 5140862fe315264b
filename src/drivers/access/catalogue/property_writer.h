#pragma once
// Making property blocks; the other direction is properties.h.

#include "drivers/access/catalogue/properties.h"

#include <vector>

namespace vantry::access {

// Values of the same owner must follow one another.
std::vector<std::byte> BuildProperties(const std::vector<Property>& properties);

// A text value as a property holds it.
std::vector<std::byte> PropertyText(std::string_view utf8);

}  // namespace vantry::access
