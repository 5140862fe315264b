// Lengths are little-endian and numbers big-endian, as the product writes them. What is unknown
// goes through as bytes, so that an object that is written again loses nothing.
#include "drivers/foxpro/container/properties.h"

#include <algorithm>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kIdLength = 1;  // of the u16 before the id; nothing else was seen

}  // namespace

std::vector<Property> ParseProperties(file::ByteSpan bytes) {
    std::vector<Property> properties;
    while (!bytes.empty()) {
        const std::size_t length = file::LoadU32(bytes, 0);
        const auto item = file::Slice(bytes, 0, length);
        // A length below that of the head would never come to the next item.
        if (length < kPropertyHead || file::LoadU16(item, 4) != kIdLength) {
            throw file::BoundsError();
        }
        const auto value = item.subspan(kPropertyHead);
        properties.push_back({file::LoadU8(item, 6), {value.begin(), value.end()}});
        bytes = bytes.subspan(length);
    }
    return properties;
}

std::vector<std::byte> PropertyBytes(const std::vector<Property>& properties) {
    std::vector<std::byte> bytes;
    for (const auto& property : properties) {
        const std::size_t start = bytes.size();
        const std::size_t length = kPropertyHead + property.value.size();
        bytes.resize(start + kPropertyHead);
        const auto head = std::span(bytes).subspan(start);
        file::Store(head, 0, static_cast<std::uint32_t>(length));
        file::Store(head, 4, static_cast<std::uint16_t>(kIdLength));
        file::Store(head, 6, property.id);
        bytes.insert(bytes.end(), property.value.begin(), property.value.end());
    }
    return bytes;
}

const Property* FindProperty(const std::vector<Property>& properties, std::uint8_t id) {
    const auto found = std::find_if(properties.begin(),
                                    properties.end(),
                                    [id](const Property& property) { return property.id == id; });
    return found == properties.end() ? nullptr : &*found;
}

std::string TextOf(const std::vector<Property>& properties, std::uint8_t id) {
    std::string text;
    if (const auto* const property = FindProperty(properties, id)) {
        for (const auto byte : property->value) {
            if (byte == std::byte{0}) {
                break;
            }
            text += static_cast<char>(byte);
        }
    }
    return text;
}

Property TextProperty(std::uint8_t id, std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    Property property{id, {bytes.begin(), bytes.end()}};
    property.value.push_back(std::byte{0});
    return property;
}

Property ByteProperty(std::uint8_t id, std::uint8_t value) {
    return {id, {static_cast<std::byte>(value)}};
}

Property NumberProperty(std::uint8_t id, std::int32_t value) {
    Property property{id, std::vector<std::byte>(4)};
    file::StoreBigU32(property.value, 0, static_cast<std::uint32_t>(value));
    return property;
}

}  // namespace vantry::foxpro
