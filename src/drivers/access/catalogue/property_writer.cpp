// The block of properties that a new table gets, for the rules and defaults of its columns. It is
// the counterpart of properties.cpp: names first, each once, then values that refer to them by
// place. Properties must come ordered by their owner, as each owner's are one block.

#include "drivers/access/catalogue/property_writer.h"

#include "drivers/access/pages/data_page.h"

#include <algorithm>

namespace vantry::access {
namespace {

constexpr std::uint32_t kMagic = 0x0032524D;  // "MR2"
constexpr std::uint16_t kNameListBlock = 0x0080;
constexpr std::uint16_t kObjectBlock = 0x0000;
constexpr std::uint16_t kColumnBlock = 0x0001;
// As the engine marks what a statement has set.
constexpr std::uint8_t kSetByDdl = 1;

using Bytes = std::vector<std::byte>;

template <typename Number>
void Put(Bytes& out, Number value) {
    const auto bytes = std::as_bytes(std::span(&value, 1));
    out.insert(out.end(), bytes.begin(), bytes.end());
}
void PutSized(Bytes& out, const Bytes& content) {
    Put(out, static_cast<std::uint16_t>(content.size()));
    out.insert(out.end(), content.begin(), content.end());
}
void PutBlock(Bytes& out, std::uint16_t type, const Bytes& content) {
    Put(out, static_cast<std::uint32_t>(content.size() + 6));
    Put(out, type);
    out.insert(out.end(), content.begin(), content.end());
}

}  // namespace

Bytes PropertyText(std::string_view utf8) {
    Bytes out;
    for (const char16_t unit : Utf16FromUtf8(utf8)) {
        Put(out, unit);
    }
    return out;
}

Bytes BuildProperties(const std::vector<Property>& properties) {
    Bytes out;
    Put(out, kMagic);
    std::vector<std::string> names;
    for (const Property& property : properties) {
        if (std::find(names.begin(), names.end(), property.name) == names.end()) {
            names.push_back(property.name);
        }
    }
    Bytes list;
    for (const std::string& name : names) {
        PutSized(list, PropertyText(name));
    }
    PutBlock(out, kNameListBlock, list);
    for (auto property = properties.begin(); property != properties.end();) {
        const std::string& owner = property->owner;
        const Bytes owner_text = PropertyText(owner);
        Bytes content;
        Put(content, static_cast<std::uint32_t>(owner_text.size() + 6));
        PutSized(content, owner_text);
        for (; property != properties.end() && property->owner == owner; ++property) {
            const auto name = std::find(names.begin(), names.end(), property->name);
            Put(content, static_cast<std::uint16_t>(property->value.size() + 8));
            Put(content, kSetByDdl);
            Put(content, property->type);
            Put(content, static_cast<std::uint16_t>(name - names.begin()));
            PutSized(content, property->value);
        }
        PutBlock(out, owner.empty() ? kObjectBlock : kColumnBlock, content);
    }
    return out;
}

}  // namespace vantry::access
