// A block of properties is a list of names followed by blocks of values, one for the table and one
// for each column that has any; a value names its property by place in the list. Values are kept as
// bytes: what most of them mean is between Access and its forms. Easy to get wrong: the lengths
// nest three deep and include themselves, and later versions put more behind a value than is known
// here.

#include "drivers/access/catalogue/properties.h"

#include "data/connection_string.h"
#include "data/letter_case.h"

namespace vantry::access {
namespace {

constexpr std::uint32_t kMagicJet4 = 0x0032524D;  // "MR2"
constexpr std::uint32_t kMagicJet3 = 0x00444B4B;  // "KKD"
constexpr std::uint16_t kNameListBlock = 0x0080;
constexpr std::uint16_t kObjectBlock = 0x0000;
constexpr std::uint16_t kColumnBlock = 0x0001;
constexpr std::size_t kBlockHeader = 4 + 2;
constexpr std::size_t kValueHeader = 2 + 1 + 1 + 2 + 2;

std::vector<std::string> ParseNames(ByteSpan list, const TextCoding& coding) {
    std::vector<std::string> names;
    ByteReader reader(list);
    while (reader.Remaining() >= 2) {
        names.push_back(coding.Name(reader.Take(reader.Take<std::uint16_t>())));
    }
    return names;
}

void ParseValues(ByteSpan block,
                 const std::vector<std::string>& names,
                 const TextCoding& coding,
                 std::vector<Property>& out) {
    const std::size_t head = LoadU32(block, 0);
    // The owner's name stands in a head with a length of its own; the table's has none.
    ByteReader head_reader(Slice(block, 0, head), 4);
    std::string owner;
    if (head_reader.Remaining() >= 2) {
        owner = coding.Name(head_reader.Take(head_reader.Take<std::uint16_t>()));
    }
    ByteReader reader(block, head);
    while (reader.Remaining() >= kValueHeader) {
        const std::size_t start = reader.Position();
        const std::size_t length = reader.Take<std::uint16_t>();
        reader.Take<std::uint8_t>();  // whether DDL set it
        Property property;
        property.owner = owner;
        property.type = reader.Take<std::uint8_t>();
        const std::size_t name = reader.Take<std::uint16_t>();
        const auto value = reader.Take(reader.Take<std::uint16_t>());
        // A value without a name is one of a damaged or newer file. The others are still good.
        if (name < names.size()) {
            property.name = names[name];
            property.value.assign(value.begin(), value.end());
            out.push_back(std::move(property));
        }
        // The length may cover more than is known here.
        if (length > reader.Position() - start) {
            reader.Take(length - (reader.Position() - start));
        }
    }
}

}  // namespace

std::vector<Property> ParseProperties(ByteSpan block, const TextCoding& coding) {
    std::vector<Property> properties;
    if (block.size() < 4) {
        return properties;
    }
    ByteReader reader(block);
    const auto magic = reader.Take<std::uint32_t>();
    // Another program's block: a table without properties can be read, so this is no error.
    if (magic != kMagicJet4 && magic != kMagicJet3) {
        return properties;
    }
    std::vector<std::string> names;
    while (reader.Remaining() >= kBlockHeader) {
        const std::size_t length = reader.Take<std::uint32_t>();
        const auto type = reader.Take<std::uint16_t>();
        // Would never get on otherwise.
        if (length < kBlockHeader) {
            throw BoundsError();
        }
        const auto content = reader.Take(length - kBlockHeader);
        if (type == kNameListBlock) {
            names = ParseNames(content, coding);
        } else if (type == kObjectBlock || type == kColumnBlock) {
            ParseValues(content, names, coding, properties);
        }
    }
    return properties;
}

const Property* FindProperty(const std::vector<Property>& properties,
                             std::string_view owner,
                             std::string_view name) {
    for (const auto& property : properties) {
        if (EqualsNoCase(property.name, name) && SameName(property.owner, owner)) {
            return &property;
        }
    }
    return nullptr;
}

}  // namespace vantry::access
