// The .dbf decides whether there is a table. It is written last, when what it needs is on the disk,
// and gets its name when it is whole; it is taken away while its sidecars stand aside under another
// name, from where they come back if the .dbf is still there (see BringBackSidecars).

#include "drivers/foxpro/write/table_creator.h"

#include "data/calendar.h"
#include "data/connection_string.h"
#include "data/letter_case.h"
#include "data/value_text.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/memo/memo_file.h"
#include "drivers/foxpro/table/code_page_marks.h"
#include "drivers/foxpro/table/header.h"
#include "drivers/foxpro/table/sidecars.h"
#include "drivers/foxpro/write/index_creator.h"
#include "drivers/foxpro/write/type_words.h"
#include "files/file.h"
#include "files/file_errors.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kNullFlagsFlags = kFieldSystem | kFieldBinary;

bool IsLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' ||
           (static_cast<unsigned char>(c) & 0x80U) != 0;
}
bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Letters beyond ASCII are let through: FoxPro takes those of its code page.
void CheckName(std::string_view name, std::string_view table) {
    const bool good =
        !name.empty() && IsLetter(name.front()) &&
        std::all_of(name.begin(), name.end(), [](char c) { return IsLetter(c) || IsDigit(c); });
    if (!good) {
        throw BadFieldDefinition(
            table, name, "needs another name: a letter first, then letters, digits and _");
    }
}

// The name in the header, in the table's code page: ten letters of the long one, with a number at
// the end where another field has these.
std::string ShortName(std::string_view stored, const std::vector<Field>& fields) {
    const auto taken = [&](std::string_view name) {
        return std::any_of(
            fields.begin(), fields.end(), [&](const Field& field) { return field.name == name; });
    };
    std::string name(stored.substr(0, kFieldNameLength));
    for (int number = 2; taken(name); ++number) {
        const auto digits = std::to_string(number);
        name = std::string(stored.substr(0, kFieldNameLength - digits.size())) + digits;
    }
    return name;
}

void NameField(Field& field,
               std::string_view name,
               const NewTable& table,
               const TextCoder& coder,
               const std::vector<Field>& others) {
    CheckName(name, table.name);
    std::string scratch;
    const auto upper = UpperCased(name);
    const auto stored = coder.Encode(upper, scratch);
    if (!stored) {
        throw BadFieldDefinition(
            table.name, name, "has a letter that the table's code page doesn't have");
    }
    const bool free = table.back_link.empty();
    if (stored->size() > (free ? kFieldNameLength : kMaxLongName)) {
        throw BadFieldDefinition(table.name,
                                 name,
                                 "has a name of more than " +
                                     std::to_string(free ? kFieldNameLength : kMaxLongName) +
                                     " letters");
    }
    field.name = ShortName(*stored, others);
    field.long_name = free ? field.name : LowerCased(name);
}

void PutDescriptor(const Field& field, std::span<std::byte> out) {
    std::memcpy(out.data() + kFieldNameOffset, field.name.data(), field.name.size());
    out[kFieldTypeOffset] = static_cast<std::byte>(field.type);
    file::Store(out, kFieldPositionOffset, static_cast<std::uint32_t>(field.offset));
    out[kFieldLengthOffset] = static_cast<std::byte>(field.length);
    out[kFieldDecimalsOffset] = static_cast<std::byte>(field.decimals);
    // Numbers and places are marked as no text, as FoxPro does.
    const bool no_text = std::string_view("ITYBWQ").find(field.type) != std::string_view::npos;
    unsigned flags = 0;
    flags |= field.nullable ? kFieldNullable : 0U;
    flags |= field.binary || no_text ? kFieldBinary : 0U;
    flags |= field.auto_increment ? kFieldAutoIncrement : 0U;
    flags |= field.hidden ? kNullFlagsFlags : 0U;
    out[kFieldFlagsOffset] = static_cast<std::byte>(flags);
    if (field.auto_increment) {
        file::Store(out, kFieldNextValueOffset, field.next_value);
        out[kFieldStepOffset] = static_cast<std::byte>(field.step);
    }
}

bool HasMemos(const TableLayout& layout) {
    return std::any_of(layout.fields.begin(), layout.fields.end(), [](const Field& field) {
        return field.IsMemo();
    });
}

// The oldest version that has all the types: programs before Visual FoxPro 9 refuse what they don't
// know by this byte.
Version VersionFor(const std::vector<Field>& fields) {
    auto version = Version::VisualFoxPro;
    for (const auto& field : fields) {
        if (field.type == 'V' || field.type == 'Q' || field.type == 'W') {
            return Version::VisualFoxProVarchar;
        }
        if (field.auto_increment) {
            version = Version::VisualFoxProAutoIncrement;
        }
    }
    return version;
}

void WriteFile(const std::string& path, ByteSpan bytes) {
    auto created = file::File::CreateNew(path, false);
    created.Write(0, bytes);
    created.Sync();
}

}  // namespace

TableLayout LayoutFor(const NewTable& table, std::span<const sql::ColumnDefinition> columns) {
    TableLayout layout;
    layout.code_page = table.code_page;
    const auto mark = MarkOfCodePage(table.code_page);
    if (!mark) {
        throw BadTableDefinition(table.name,
                                 "FoxPro tables have no mark for the code page " +
                                     std::to_string(table.code_page) +
                                     ". Name another one by CodePage= in the connection string");
    }
    layout.code_page_mark = *mark;
    const TextCoder coder(table.code_page, false);
    std::string scratch;
    const auto link = coder.Encode(table.back_link, scratch);
    if (!link || link->size() >= kBackLinkSize) {
        throw BadTableDefinition(table.name,
                                 "the container's file name has letters that the table's code page "
                                 "doesn't have, or is too long");
    }
    layout.back_link = *link;
    // The first byte of a record is its deletion mark.
    std::size_t offset = 1;
    for (const auto& column : columns) {
        auto field = FieldFor(column, table.null_by_default, table.name);
        NameField(field, column.name, table, coder, layout.fields);
        field.offset = offset;
        offset += field.length;
        layout.fields.push_back(std::move(field));
    }
    layout.version = VersionFor(layout.fields);
    // The field of null flags comes last, as in all files of the product.
    if (const auto bits = AssignNullBits(layout.fields); bits != 0) {
        Field flags;
        flags.name = flags.long_name = kNullFlagsName;
        flags.type = '0';
        flags.hidden = true;
        flags.offset = offset;
        flags.length = (bits + 7) / 8;
        offset += flags.length;
        layout.null_flags = layout.fields.size();
        layout.fields.push_back(std::move(flags));
    }
    if (layout.fields.size() > kMaxFields) {
        throw BadTableDefinition(table.name,
                                 "it would have more than 255 fields (254 with null values)");
    }
    if (offset > kMaxRecordLength) {
        throw BadTableDefinition(
            table.name, "its records would have more than 65,500 bytes; make some fields memos");
    }
    layout.record_length = offset;
    layout.header_length =
        kFixedHeaderSize + kDescriptorSize * layout.fields.size() + 1 + kBackLinkSize;
    layout.flags = HasMemos(layout) ? kHasMemo : 0;
    return layout;
}

// Places of fields are written though FoxPro sums them up itself: other readers go by them.
std::vector<std::byte> HeaderBytes(const TableLayout& layout, bool with_end_mark) {
    std::vector<std::byte> bytes(layout.header_length + (with_end_mark ? 1 : 0));
    const auto today = CalendarOf(Now().day);
    bytes[kVersionOffset] = static_cast<std::byte>(layout.version);
    bytes[kUpdateDateOffset] = static_cast<std::byte>(today.year % 100);
    bytes[kUpdateDateOffset + 1] = static_cast<std::byte>(today.month);
    bytes[kUpdateDateOffset + 2] = static_cast<std::byte>(today.day);
    const std::span<std::byte> out(bytes);
    file::Store(out, kHeaderLengthOffset, static_cast<std::uint16_t>(layout.header_length));
    file::Store(out, kRecordLengthOffset, static_cast<std::uint16_t>(layout.record_length));
    bytes[kTableFlagsOffset] = static_cast<std::byte>(layout.flags);
    bytes[kCodePageMarkOffset] = static_cast<std::byte>(layout.code_page_mark);
    std::size_t at = kFixedHeaderSize;
    for (const auto& field : layout.fields) {
        PutDescriptor(field, out.subspan(at, kDescriptorSize));
        at += kDescriptorSize;
    }
    bytes[at++] = kHeaderTerminator;
    std::memcpy(bytes.data() + at,
                layout.back_link.data(),
                std::min(layout.back_link.size(), kBackLinkSize - 1));
    if (with_end_mark) {
        bytes.back() = kEndOfTable;
    }
    return bytes;
}

void WriteNewTable(const NewTable& table,
                   const TableLayout& layout,
                   std::span<const TagDefinition> tags) {
    if (IsTableAside(table.path)) {
        throw CannotWrite(table.path,
                          "a container's table of that name was being dropped when the program was "
                          "stopped. Open that container, and the drop is undone");
    }
    // Before any of its sidecars is touched: an empty memo file there is another table's.
    if (file::StampOf(table.path)) {
        throw file::AlreadyExists(table.path);
    }
    ForgetSetAside(table.path);
    const auto memo_path = Sidecar(table.path, ".fpt");
    const auto index_path = Sidecar(table.path, ".cdx");
    const bool memos = HasMemos(layout);
    auto marked = layout;
    if (!tags.empty()) {
        marked.flags |= kHasStructuralIndex;
        RemoveEmptyIndex(index_path);
        if (file::StampOf(index_path)) {
            throw CannotWrite(index_path, "the file is there; move it away");
        }
    }
    if (memos) {
        RemoveEmptyMemoFile(memo_path);
        WriteFile(memo_path, NewMemoFile(MemoFormat::Fpt, {}));
    }
    const auto beside = table.path + ".new-" + std::to_string(::getpid());
    bool there = false;
    const auto forget = [&] {
        std::error_code ignored;
        std::filesystem::remove(there ? table.path : beside, ignored);
        if (memos) {
            std::filesystem::remove(memo_path, ignored);
        }
        if (!tags.empty()) {
            std::filesystem::remove(index_path, ignored);
        }
    };
    try {
        file::RemoveFile(beside);  // of a killed program that had our number
        WriteFile(beside, HeaderBytes(marked, true));
        if (!tags.empty()) {
            WriteNewIndex(beside, index_path, marked, tags);
        }
        file::RenameNoReplace(beside, table.path);
        there = true;
        file::SyncFolderOf(table.path);
    } catch (const DataError& error) {
        forget();
        throw file::ToldOf(error, table.path, beside);
    } catch (...) {
        forget();
        throw;
    }
}

// The .dbf goes between setting its sidecars aside and forgetting them: at every moment either it
// is there and they can come back, or it is gone and they mean nothing.
void RemoveTableFiles(const std::string& path) {
    SetSidecarsAside(path);
    file::RemoveFile(path);
    file::SyncFolderOf(path);
    ForgetSetAside(path);
}

}  // namespace vantry::foxpro
