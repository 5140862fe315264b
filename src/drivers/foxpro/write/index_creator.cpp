// A tag has one expression. Columns of an index of several become texts of fixed widths, one behind
// the other, so that no two rows have the same key unless all columns are equal; for numbers below
// zero that isn't their order, and nobody but FoxPro reads by it.
//
// The index file is made empty before it has content and before the table's header says that there
// is one: both come with one commit, and whatever is interrupted before leaves an empty file that
// means nothing.

#include "drivers/foxpro/write/index_creator.h"

#include "data/connection_string.h"
#include "data/letter_case.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/indexes/tag_header.h"
#include "drivers/foxpro/indexes/tree.h"
#include "drivers/foxpro/table/record_reader.h"
#include "drivers/foxpro/table/sidecars.h"
#include "files/file.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace vantry::foxpro {
namespace {

// Without entries a tag has three pages: a file larger than this has some, and isn't read.
constexpr std::uint64_t kLargestLeftover = 1U << 20;

// Those that may have a .cdx. The .mdx of dBase IV isn't written here.
bool CanHaveIndex(const TableLayout& layout) {
    return layout.IsVisual() || layout.version == Version::DBase3 ||
           layout.version == Version::FoxPro2Memo;
}

const Field& FieldOf(std::string_view column,
                     const TableLayout& layout,
                     std::string_view table,
                     std::string_view index) {
    for (const auto& field : layout.fields) {
        if (!field.hidden && (SameName(field.long_name, column) || SameName(field.name, column))) {
            return field;
        }
    }
    throw BadTagDefinition(table, index, column, "there is no such field");
}

// The field as a text of a fixed width.
std::string AsTextExpression(const Field& field, std::string_view table, std::string_view index) {
    const auto& name = field.long_name;
    const auto width = std::to_string(field.length);
    switch (field.type) {
        case 'C':
            return name;
        case 'V':
            return "PADR(" + name + "," + width + ")";
        case 'N':
        case 'F':
            return "STR(" + name + "," + width + "," + std::to_string(field.decimals) + ")";
        // As wide as the longest number of four bytes with its sign.
        case 'I':
            return "STR(" + name + ",11)";
        case 'D':
            return "DTOS(" + name + ")";
        case 'L':
            return "IIF(" + name + ",'T','F')";
        default:
            throw BadTagDefinition(table,
                                   index,
                                   name,
                                   "a field of the type " + std::string(1, field.type) +
                                       " can't be part of an index of several columns");
    }
}

// Ten letters, digits and _, another one for each index.
std::string TagName(std::string_view wanted, const std::vector<std::string>& taken) {
    std::string name = UpperCased(wanted);
    std::replace_if(
        name.begin(),
        name.end(),
        [](char c) { return !((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'); },
        '_');
    if (name.empty() || (name.front() >= '0' && name.front() <= '9')) {
        name.insert(name.begin(), '_');
    }
    name.resize(std::min(name.size(), kTagNameLength));
    auto unique = name;
    for (int number = 2; std::find(taken.begin(), taken.end(), unique) != taken.end(); ++number) {
        const auto digits = std::to_string(number);
        unique = name.substr(0, kTagNameLength - digits.size()) + digits;
    }
    return unique;
}

// Whether there is an index of that key already; a column that is unique is said to be so in two
// places.
bool Has(const std::vector<sql::IndexDefinition>& indexes, const std::string& column) {
    return std::any_of(indexes.begin(), indexes.end(), [&](const sql::IndexDefinition& index) {
        return index.unique && index.parts.size() == 1 &&
               SameName(index.parts.front().column, column);
    });
}

}  // namespace

TagDefinition TagFor(const sql::IndexDefinition& index,
                     const TableLayout& layout,
                     std::string_view table,
                     const std::vector<std::string>& taken) {
    TagDefinition tag;
    tag.name = TagName(index.name, taken);
    tag.candidate = index.unique || index.primary;
    tag.descending = index.parts.front().descending;
    for (const auto& part : index.parts) {
        const auto& field = FieldOf(part.column, layout, table, index.name);
        if (part.descending != tag.descending) {
            throw BadTagDefinition(
                table, index.name, part.column, "all columns of an index have one direction");
        }
        if (field.nullable && (index.disallow_null || index.primary)) {
            throw BadTagDefinition(table,
                                   index.name,
                                   part.column,
                                   "the field takes null values, and no index keeps them out");
        }
        if (!tag.expression.empty()) {
            tag.expression += "+";
        }
        tag.expression +=
            index.parts.size() == 1 ? field.long_name : AsTextExpression(field, table, index.name);
        // As elsewhere in SQL, NULL isn't the same as another NULL.
        if ((index.ignore_null || tag.candidate) && field.nullable) {
            tag.filter +=
                (tag.filter.empty() ? ".NOT.ISNULL(" : ".AND..NOT.ISNULL(") + field.long_name + ")";
        }
    }
    return tag;
}

std::vector<TagDefinition> TagsFor(const sql::TableDefinition& definition,
                                   const TableLayout& layout) {
    auto indexes = definition.indexes;
    for (const auto& column : definition.columns) {
        if ((column.primary_key || column.unique) && !Has(indexes, column.name)) {
            indexes.push_back({.name = column.name,
                               .parts = {{.column = column.name}},
                               .unique = true,
                               .primary = column.primary_key});
        }
    }
    std::vector<TagDefinition> tags;
    std::vector<std::string> taken;
    for (auto& index : indexes) {
        tags.push_back(TagFor(index, layout, definition.name, taken));
        taken.push_back(tags.back().name);
    }
    return tags;
}

void RequireKeyColumns(sql::TableDefinition& definition) {
    // As if it were said at the column: TagFor refuses a primary key over fields that take null.
    for (const auto& index : definition.indexes) {
        for (auto& column : definition.columns) {
            const bool in_key =
                index.primary && std::any_of(index.parts.begin(),
                                             index.parts.end(),
                                             [&](const sql::IndexDefinition::Part& part) {
                                                 return SameName(part.column, column.name);
                                             });
            column.not_null = column.not_null || in_key;
        }
    }
}

void AddIndex(const std::string& path,
              const TableOptions& options,
              std::span<const std::string> long_names,
              const sql::IndexDefinition& index,
              std::string_view table_name) {
    TableFile table(path, options, long_names, table_name);
    const auto& layout = table.Layout();
    if (!CanHaveIndex(layout)) {
        throw CannotWrite(path, "tables of its version have no such indexes");
    }
    if (!table.IndexTrouble().empty()) {
        throw CannotWrite(path, table.IndexTrouble());
    }
    if (!layout.back_link.empty()) {
        throw CannotWrite(path,
                          "the container " + layout.back_link +
                              " lists its indexes, and would not know of this one");
    }
    auto& group = table.Group();
    auto member = table.IndexMember();
    std::string created;
    if (!member) {
        const auto index_path = Sidecar(path, ".cdx");
        const auto stamp = file::StampOf(index_path);
        if (stamp && stamp->size != 0) {
            throw CannotWrite(
                path,
                "the file " + index_path + " is there and isn't the table's index; move it away");
        }
        if (!stamp) {
            static_cast<void>(file::File::CreateNew(index_path, false));
            file::SyncFolderOf(index_path);
            created = index_path;
        }
        member = group.Add(file::File::Open(index_path, file::OpenMode::ReadWrite),
                           {kIndexLockStart, 1});
    }
    try {
        group.Begin();
        // Only under the lock: another program may have made the index meanwhile.
        table.Reread();
        std::vector<std::string> taken;
        if (table.IndexMember()) {
            TagSet tags(group, *member, layout);
            for (const auto& tag : tags.Tags()) {
                taken.push_back(tag.name);
            }
            tags.AddTags(std::array{TagFor(index, layout, table_name, taken)}, WalkOver(table));
        } else {
            CreateIndex(group,
                        *member,
                        layout,
                        std::array{TagFor(index, layout, table_name, taken)},
                        WalkOver(table));
        }
        const auto flags = static_cast<std::byte>(layout.flags | kHasStructuralIndex);
        group.Write(TableFile::kTable, kTableFlagsOffset, {&flags, 1});
        group.Commit();
    } catch (...) {
        if (group.InTransaction()) {
            group.Rollback();
        }
        if (!created.empty()) {
            std::error_code ignored;
            std::filesystem::remove(created, ignored);
        }
        throw;
    }
}

void WriteNewIndex(const std::string& table_path,
                   const std::string& index_path,
                   const TableLayout& layout,
                   std::span<const TagDefinition> tags) {
    static_cast<void>(file::File::CreateNew(index_path, false));
    file::SyncFolderOf(index_path);
    const std::array others = {index_path};
    file::FileGroupOptions options;
    options.max_size = kMaxFileSize;
    file::FileGroup group(
        file::File::Open(table_path, file::OpenMode::ReadWrite), {}, others, options);
    const auto member = group.Add(file::File::Open(index_path, file::OpenMode::ReadWrite), {});
    group.Begin();
    try {
        CreateIndex(group, member, layout, tags, [](const auto&) {});
    } catch (...) {
        group.Rollback();
        throw;
    }
    group.Commit();
}

void RemoveEmptyIndex(const std::string& index_path) {
    const auto stamp = file::StampOf(index_path);
    if (!stamp || stamp->size > kLargestLeftover) {
        return;
    }
    bool empty = stamp->size == 0;
    if (!empty) {
        try {
            file::FileGroup group(file::File::Open(index_path, file::OpenMode::Read), {}, {}, {});
            IndexPages pages(group, file::FileGroup::kLeader);
            empty = true;
            for (const auto& header : ReadTagHeaders(pages)) {
                // The padding is of no matter: asked is only whether there is an entry.
                Tree tree(pages, {header.key_length, {}}, header.root, header.name);
                empty = empty && header.damage.empty() && tree.LastEntry().empty();
            }
        } catch (const DataError&) {
            return;
        }
    }
    if (empty) {
        file::RemoveFile(index_path);
    }
}

}  // namespace vantry::foxpro
