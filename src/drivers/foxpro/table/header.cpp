// Three layouts of headers lead to one TableLayout. A field's place in the record is summed up, as
// only Visual FoxPro writes it and the others leave an address of their memory there. Where a
// number contradicts another, the reader that made the most files decides: FoxPro goes by the two
// lengths of the header, so these must fit the file and the fields, and the count of fields comes
// from walking them.

#include "drivers/foxpro/table/header.h"

#include "drivers/foxpro/errors.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace vantry::foxpro {
namespace {

using file::LoadU16;
using file::LoadU32;
using file::LoadU8;

bool IsKnown(std::uint8_t version) {
    constexpr std::array kVersions = {Version::FoxBase,
                                      Version::DBase3,
                                      Version::DBase7,
                                      Version::VisualFoxPro,
                                      Version::VisualFoxProAutoIncrement,
                                      Version::VisualFoxProVarchar,
                                      Version::DBase4SqlTable,
                                      Version::DBase4SqlSystem,
                                      Version::DBase3Memo,
                                      Version::DBase4Memo,
                                      Version::DBase7Memo,
                                      Version::DBase4SqlMemo,
                                      Version::ClipperSixMemo,
                                      Version::FoxPro2Memo,
                                      Version::FoxBaseMemo};
    return std::find(kVersions.begin(), kVersions.end(), static_cast<Version>(version)) !=
           kVersions.end();
}

std::string Hex(std::uint8_t byte) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%02X", byte);
    return text;
}

// Up to the first zero, without blanks behind.
std::string NameIn(ByteSpan bytes) {
    std::string name;
    for (const auto byte : bytes) {
        if (byte == std::byte{0}) {
            break;
        }
        name += static_cast<char>(byte);
    }
    while (!name.empty() && name.back() == ' ') {
        name.pop_back();
    }
    return name;
}

// Flags mean something in Visual FoxPro alone; elsewhere the same bytes are junk. Clipper keeps the
// high byte of a text's width where others have decimals.
Field ReadDescriptor(ByteSpan bytes, const TableLayout& layout) {
    Field field;
    field.name = NameIn(bytes.first(kFieldNameSize));
    field.type = static_cast<char>(bytes[kFieldTypeOffset]);
    field.length = LoadU8(bytes, kFieldLengthOffset);
    field.decimals = LoadU8(bytes, kFieldDecimalsOffset);
    if (layout.IsVisual()) {
        const auto flags = LoadU8(bytes, kFieldFlagsOffset);
        field.hidden = (flags & kFieldSystem) != 0;
        field.nullable = (flags & kFieldNullable) != 0;
        field.binary = (flags & kFieldBinary) != 0;
        field.auto_increment = (flags & kFieldAutoIncrement) != 0;
        if (field.auto_increment) {
            field.next_value = LoadU32(bytes, kFieldNextValueOffset);
            field.step = LoadU8(bytes, kFieldStepOffset);
        }
    } else if (field.type == 'C') {
        field.length += 256 * field.decimals;  // Clipper
        field.decimals = 0;
    }
    return field;
}

// Up to the terminator, a zero of a sloppy writer, or the end of the header, whichever comes first.
void ReadFields(ByteSpan header, TableLayout& layout, std::string_view path) {
    std::size_t at = kFixedHeaderSize;
    while (at < header.size() && header[at] != kHeaderTerminator && header[at] != std::byte{0}) {
        if (at + kDescriptorSize > header.size()) {
            throw DamagedTable(path, "its header ends within the description of a field");
        }
        layout.fields.push_back(ReadDescriptor(header.subspan(at, kDescriptorSize), layout));
        at += kDescriptorSize;
    }
    if (layout.IsVisual() && at + 1 + kBackLinkSize <= header.size()) {
        layout.back_link = NameIn(header.subspan(at + 1, kBackLinkSize));
    }
}

void ReadDBase7Fields(ByteSpan header, TableLayout& layout, std::string_view path) {
    std::size_t at = kDBase7FirstDescriptor;
    while (at < header.size() && header[at] != kHeaderTerminator && header[at] != std::byte{0}) {
        if (at + kDBase7DescriptorSize > header.size()) {
            throw DamagedTable(path, "its header ends within the description of a field");
        }
        const auto bytes = header.subspan(at, kDBase7DescriptorSize);
        Field field;
        field.name = NameIn(bytes.first(kDBase7NameSize));
        field.type = static_cast<char>(bytes[kDBase7TypeOffset]);
        field.length = LoadU8(bytes, kDBase7LengthOffset);
        field.decimals = LoadU8(bytes, kDBase7DecimalsOffset);
        layout.fields.push_back(std::move(field));
        at += kDBase7DescriptorSize;
    }
}

// Sixteen bytes a field, thirty-two fields, and records at a fixed place.
Header ReadFoxBase(ByteSpan start, std::uint64_t file_size, std::string_view path) {
    Header header;
    auto& layout = header.layout;
    layout.version = Version::FoxBase;
    layout.header_length = kFoxBaseFirstRecord;
    if (file_size < layout.header_length || start.size() < layout.header_length) {
        throw DamagedTable(path, "it is shorter than its header");
    }
    header.record_count = LoadU16(start, kFoxBaseRecordCountOffset);
    layout.record_length = LoadU16(start, kFoxBaseRecordLengthOffset);
    std::size_t at = kFoxBaseHeaderSize;
    while (layout.fields.size() < kFoxBaseMaxFields && start[at] != kHeaderTerminator &&
           start[at] != std::byte{0}) {
        const auto bytes = start.subspan(at, kFoxBaseDescriptorSize);
        Field field;
        field.name = NameIn(bytes.first(kFieldNameSize));
        field.type = static_cast<char>(bytes[kFieldTypeOffset]);
        field.length = LoadU8(bytes, kFoxBaseFieldLengthOffset);
        field.decimals = LoadU8(bytes, kFoxBaseFieldDecimalsOffset);
        layout.fields.push_back(std::move(field));
        at += kFoxBaseDescriptorSize;
    }
    return header;
}

// The length that a type has by itself; 0: the header's.
// A field of another length than its type has would be read past its end.
std::size_t FixedLength(const Field& field, const TableLayout& layout) {
    switch (field.type) {
        case 'L':
            return 1;
        case 'D':
        case 'T':
        case 'Y':
        case 'O':
        case '@':
            return 8;
        case 'I':
        case '+':
            return 4;
        case 'B':
            return layout.IsVisual() ? 8 : 0;
        default:
            return 0;
    }
}

// Where each field lies, and whether all of it is possible.
void PlaceFields(TableLayout& layout, std::string_view path) {
    if (layout.fields.empty()) {
        throw DamagedTable(path, "its header has no fields");
    }
    if (layout.fields.size() > kMaxFields) {
        throw DamagedTable(path,
                           "its header has " + std::to_string(layout.fields.size()) + " fields");
    }
    std::size_t offset = 1;
    for (auto& field : layout.fields) {
        const auto fixed = FixedLength(field, layout);
        if (field.length == 0 || (fixed != 0 && field.length != fixed)) {
            throw DamagedTable(path,
                               "its field " + field.name + " of type " + field.type + " has " +
                                   std::to_string(field.length) + " bytes");
        }
        if (field.IsMemo() && field.length != kMemoPointerBinary &&
            field.length != kMemoPointerText) {
            throw DamagedTable(
                path,
                "its memo field " + field.name + " has " + std::to_string(field.length) + " bytes");
        }
        field.long_name = field.name;
        field.offset = offset;
        offset += field.length;
    }
    if (offset > layout.record_length) {
        throw DamagedTable(path,
                           "its fields have " + std::to_string(offset) +
                               " bytes, while its records have " +
                               std::to_string(layout.record_length) + " (bytes 10 and 11)");
    }
    if (offset < layout.record_length) {
        layout.trouble = "its records have more bytes than its fields";
    }
    const auto bits = AssignNullBits(layout.fields);
    for (std::size_t k = 0; k < layout.fields.size(); ++k) {
        if (layout.fields[k].type == '0') {
            layout.fields[k].hidden = true;
            layout.null_flags = k;
        }
    }
    if (bits == 0) {
        return;
    }
    if (!layout.null_flags || layout.fields[*layout.null_flags].length * 8 < bits) {
        throw DamagedTable(path, "its fields need more null flags than its records have");
    }
}

}  // namespace

std::size_t AssignNullBits(std::vector<Field>& fields) {
    // In the order of the fields, and the bit of a short value before that of a null: the file
    // itself doesn't say which bit is whose.
    std::size_t bits = 0;
    for (auto& field : fields) {
        if (field.type == 'V' || field.type == 'Q') {
            field.short_bit = bits++;
        }
        if (field.nullable) {
            field.null_bit = bits++;
        }
    }
    return bits;
}

Header ParseHeader(ByteSpan start, std::uint64_t file_size, std::string_view path) {
    if (start.empty()) {
        throw NotATable(path, "it is empty");
    }
    const auto version = LoadU8(start, kVersionOffset);
    if (!IsKnown(version)) {
        throw NotATable(path, "its first byte is " + Hex(version) + ", which no version has");
    }
    if (start.size() < kFixedHeaderSize) {
        throw NotATable(path, "it has " + std::to_string(start.size()) + " bytes only");
    }
    Header header;
    auto& layout = header.layout;
    if (static_cast<Version>(version) == Version::FoxBase) {
        header = ReadFoxBase(start, file_size, path);
    } else {
        layout.version = static_cast<Version>(version);
        layout.flags = LoadU8(start, kTableFlagsOffset);
        layout.code_page_mark = LoadU8(start, kCodePageMarkOffset);
        layout.header_length = LoadU16(start, kHeaderLengthOffset);
        layout.record_length = LoadU16(start, kRecordLengthOffset);
        header.record_count = LoadU32(start, kRecordCountOffset);
        if (!layout.IsVisual() && LoadU8(start, kEncryptedOffset) == 1) {
            throw NotATable(path, "it is encrypted (byte 15). Decrypt it in dBase first");
        }
        if (layout.header_length < kSmallestHeader) {
            throw DamagedTable(path,
                               "its header has " + std::to_string(layout.header_length) +
                                   " bytes (bytes 8 and 9)");
        }
        if (layout.header_length > file_size || layout.header_length > start.size()) {
            throw DamagedTable(path,
                               "its header should have " + std::to_string(layout.header_length) +
                                   " bytes (bytes 8 and 9), and the file has " +
                                   std::to_string(file_size));
        }
        const auto bytes = start.first(layout.header_length);
        layout.IsDBase7() ? ReadDBase7Fields(bytes, layout, path) : ReadFields(bytes, layout, path);
    }
    PlaceFields(layout, path);
    return header;
}

std::optional<Header> HeaderOfFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> start(kLongestHeader);
    in.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(in.gcount()));
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    try {
        return ParseHeader(std::as_bytes(std::span(start)), error ? 0 : size, path);
    } catch (const DataError&) {
        return std::nullopt;
    }
}

}  // namespace vantry::foxpro
