// Files and entry can't be changed in one step, so one of them decides: the entry. A table is made
// before it is entered; a file that says that it belongs to the container, has no record and isn't
// entered is what a killed program left, and makes room. A table that is dropped stands aside under
// another name until the entry is gone: if it isn't, the files come back when the table is wanted
// next. All of it is done while the container is locked, so that nobody takes half a change of
// another program for an interrupted one.

#include "drivers/foxpro/write/container_tables.h"

#include "data/connection_string.h"
#include "data/letter_case.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/table/code_page_marks.h"
#include "drivers/foxpro/table/header.h"
#include "drivers/foxpro/table/sidecars.h"
#include "drivers/foxpro/write/index_creator.h"
#include "files/file.h"
#include "files/file_lock.h"
#include "files/file_name.h"

#include <algorithm>
#include <filesystem>

namespace vantry::foxpro {
namespace {

namespace fs = std::filesystem;

void RequireFreeName(const Container& container, const std::string& name) {
    std::string scratch;
    const auto stored = container.Coder().Encode(name, scratch);
    if (!stored) {
        throw BadTableDefinition(name, "the container's code page doesn't have all of its letters");
    }
    if (stored->size() > kMaxLongName) {
        throw BadTableDefinition(name, "its name has more than 128 letters");
    }
    // A "!" parts container and table in FoxPro's commands.
    if (!file::IsPlainFileName(name) || name.find('\\') != std::string::npos ||
        name.find('!') != std::string::npos) {
        throw BadTableDefinition(name,
                                 "that can't be the name of a table in a container, whose file "
                                 "lies beside it");
    }
    if (container.FindTable(name) || container.FindView(name)) {
        throw BadTableDefinition(name, "the container has a table or view of that name");
    }
}

void MakeRoom(const Container& container, const NewTable& table) {
    // Tables whose drop was interrupted come back first: their names are still taken.
    for (const auto& listed : container.Tables()) {
        if (!file::StampOf(listed.path)) {
            BringBackTableAside(listed.path);
        }
    }
    // What still stands aside was dropped.
    ForgetTableAside(table.path);
    if (!file::StampOf(table.path)) {
        return;
    }
    const auto header = HeaderOfFile(table.path);
    if (!header || header->record_count != 0 || !NamesAsItsOwn(container, table.path)) {
        throw BadTableDefinition(table.name,
                                 "the file " + table.path +
                                     " is there and the container doesn't know it. Move the file "
                                     "away, or choose another name");
    }
    RemoveTableFiles(table.path);
}

// Tags come in the order of the indexes, those of single columns behind them.
std::string PrimaryTag(const sql::TableDefinition& definition,
                       const std::vector<TagDefinition>& tags) {
    for (std::size_t k = 0; k < definition.indexes.size(); ++k) {
        if (definition.indexes[k].primary) {
            return tags[k].name;
        }
    }
    for (const auto& column : definition.columns) {
        for (const auto& tag : tags) {
            if (column.primary_key && tag.candidate && SameName(tag.expression, column.name)) {
                return tag.name;
            }
        }
    }
    return {};
}

TableEntryOfContainer EntryFor(const NewTable& table,
                               const TableLayout& layout,
                               const std::vector<TagDefinition>& tags,
                               std::string primary_tag) {
    TableEntryOfContainer entry;
    entry.name = table.name;
    // Without a folder, as the file always lies beside the container.
    entry.file = fs::path(table.path).filename().string();
    entry.primary_tag = std::move(primary_tag);
    for (const auto& field : layout.fields) {
        if (!field.hidden) {
            entry.fields.push_back(field.long_name);
        }
    }
    for (const auto& tag : tags) {
        entry.tags.push_back({tag.name, tag.candidate});
    }
    return entry;
}

}  // namespace

bool NamesAsItsOwn(const Container& container, const std::string& path) {
    const auto header = HeaderOfFile(path);
    if (!header || header->layout.back_link.empty()) {
        return false;
    }
    const auto marked = CodePageOfMark(header->layout.code_page_mark);
    const TextCoder coder(marked.value_or(WindowsCodePageOfLocale()), false);
    std::string scratch;
    std::string link(
        coder.Decode(header->layout.back_link, scratch).value_or(header->layout.back_link));
    std::replace(link.begin(), link.end(), '\\', '/');
    // By the name alone: folders before it are often those of another machine.
    return SameName(fs::path(link).filename().string(),
                    fs::path(container.Path()).filename().string());
}

void CreateTableIn(Container& container, NewTable table, const sql::TableDefinition& definition) {
    // Takes the lock, under which all that follows looks at names and files.
    ContainerChange change(container);
    RequireFreeName(container, table.name);
    table.path =
        file::ResolveFileName((fs::path(container.Folder()) / (table.name + ".dbf")).string());
    // Lower case is what all containers have, and what FoxPro writes.
    table.back_link = LowerCased(fs::path(container.Path()).filename().string());
    const auto layout = LayoutFor(table, definition.columns);
    const auto tags = TagsFor(definition, layout);
    MakeRoom(container, table);
    WriteNewTable(table, layout, tags);
    try {
        change.AddTable(EntryFor(table, layout, tags, PrimaryTag(definition, tags)));
        change.Commit();
    } catch (...) {
        RemoveTableFiles(table.path);
        throw;
    }
}

void DropTableFrom(Container& container, const ContainerTable& table) {
    ContainerChange change(container);
    change.RemoveTable(table);
    SetTableAside(table.path);
    try {
        change.Commit();
    } catch (...) {
        BringBackTableAside(table.path);
        throw;
    }
    ForgetTableAside(table.path);
}

void BringBackTable(Container& container, const ContainerTable& table) {
    if (!file::StampOf(table.path) && IsTableAside(table.path)) {
        // Waits for whoever is dropping it just now.
        ContainerChange change(container);
        if (container.FindTable(table.name) && !file::StampOf(table.path)) {
            BringBackTableAside(table.path);
        }
    }
}

}  // namespace vantry::foxpro
