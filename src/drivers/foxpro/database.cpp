// A name in a statement leads to a table by two roads: the container's list, or a file of that
// name. Open tables are kept by the path of their file, so that a table under two names is one, and
// are looked at again before each statement: another program may have put a new file in their
// place. Easy to get wrong: a statement takes the container's lock before the table's when it makes
// one, and holds the table's already when it drops one.

#include "drivers/foxpro/database.h"

#include "data/connection_string.h"
#include "data/letter_case.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/table/header.h"
#include "drivers/foxpro/write/container_tables.h"
#include "drivers/foxpro/write/index_creator.h"
#include "drivers/foxpro/write/table_creator.h"
#include "files/file.h"
#include "files/file_errors.h"
#include "files/file_name.h"

#include <algorithm>
#include <filesystem>

namespace vantry::foxpro {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kTableExtension = ".dbf";

bool HasExtension(std::string_view name, std::string_view extension) {
    return name.size() > extension.size() &&
           EqualsNoCase(name.substr(name.size() - extension.size()), extension);
}

// Whether the folder's list has the table: one of a container is that one's. What can't be read is
// listed, so that opening it says why.
bool IsFreeTable(const std::string& path) {
    const auto header = HeaderOfFile(path);
    return !header || header->layout.back_link.empty();
}

}  // namespace

FoxProDatabase::FoxProDatabase(DatabaseOptions options) : options_(std::move(options)) {
    if (options_.container) {
        container_ = std::make_unique<Container>(options_.path, options_.tables);
        folder_ = container_->Folder();
        return;
    }
    folder_ = options_.path;
    std::error_code error;
    if (!fs::is_directory(folder_, error)) {
        throw CannotOpen(folder_,
                         "there is no such folder. Enter the folder in which the DBF files are");
    }
}

FoxProDatabase::~FoxProDatabase() = default;

// A folder lists its free tables; what belongs to a container is listed by that one.
std::vector<TableEntry> FoxProDatabase::Tables() {
    std::vector<TableEntry> tables;
    if (container_) {
        container_->Refresh();
        for (auto& table : container_->Tables()) {
            tables.push_back({std::move(table.name), "TABLE"});
        }
        for (auto& view : container_->Views()) {
            tables.push_back({std::move(view.name), "VIEW"});
        }
    } else {
        std::error_code error;
        for (fs::directory_iterator entry(folder_, error), end; !error && entry != end;
             entry.increment(error)) {
            const auto name = entry->path().filename().string();
            std::error_code unknown;
            if (HasExtension(name, kTableExtension) && entry->is_regular_file(unknown) &&
                IsFreeTable(entry->path().string())) {
                tables.push_back({name.substr(0, name.size() - kTableExtension.size()), "TABLE"});
            }
        }
        if (error) {
            throw file::SystemError(folder_, "listed", error.value());
        }
    }
    std::sort(tables.begin(), tables.end(), [](const TableEntry& left, const TableEntry& right) {
        const auto upper_left = UpperCased(left.name);
        const auto upper_right = UpperCased(right.name);
        return upper_left != upper_right ? upper_left < upper_right : left.name < right.name;
    });
    return tables;
}

// A bare name is in the folder; one with a path is where the path says, from the folder on if it
// isn't absolute. The extension may be left out.
std::optional<FoxProDatabase::Place> FoxProDatabase::PlaceOf(std::string_view name) {
    std::string wanted(Trimmed(name));
    std::replace(wanted.begin(), wanted.end(), '\\', '/');
    if (wanted.empty() || wanted.find('\0') != std::string::npos || wanted.back() == '/') {
        return std::nullopt;
    }
    if (!HasExtension(wanted, kTableExtension)) {
        wanted += kTableExtension;
    }
    Place place;
    place.path = file::ResolveFileName((fs::path(folder_) / wanted).string());
    place.name = fs::path(wanted).stem().string();
    return place;
}

std::string_view FoxProDatabase::NameInContainer(std::string_view name) const {
    const auto mark = name.find('!');
    if (mark != std::string_view::npos &&
        SameName(name.substr(0, mark), fs::path(container_->Path()).stem().string())) {
        name.remove_prefix(mark + 1);
    }
    return name;
}

std::optional<FoxProDatabase::Place> FoxProDatabase::Find(std::string_view name) {
    if (container_) {
        container_->Refresh();
        name = NameInContainer(name);
        if (auto table = container_->FindTable(name)) {
            BringBackTable(*container_, *table);
            return Place{
                std::move(table->path), std::move(table->name), std::move(table->long_names)};
        }
        if (container_->FindView(name)) {
            return std::nullopt;
        }
    }
    auto place = PlaceOf(name);
    std::error_code error;
    if (place && !fs::exists(place->path, error)) {
        place.reset();
    }
    // What belongs to the container and isn't in it, a killed program has left.
    if (place && container_ && NamesAsItsOwn(*container_, place->path)) {
        place.reset();
    }
    return place;
}

// One object a file and connection, so that a batch of rows and a query beside it see each other.
std::shared_ptr<TableFile> FoxProDatabase::OpenFile(const Place& place) {
    const auto path = file::RealPath(place.path);
    if (const auto open = open_.find(path); open != open_.end()) {
        if (open->second->IsStillThere()) {
            open->second->Refresh();
            return open->second;
        }
        open_.erase(open);
    }
    auto opened = std::make_shared<TableFile>(path, options_.tables, place.long_names, place.name);
    if (expect_many_rows_) {
        opened->Group().ExpectManyRows();
    }
    RequireOwn(*opened);
    open_.emplace(path, opened);
    return opened;
}

// A container from a stranger may name any file: one outside of its folder has to say that it is
// the container's.
void FoxProDatabase::RequireOwn(const TableFile& table) const {
    if (!container_) {
        return;
    }
    const auto inside = fs::path(table.Path()).lexically_relative(file::RealPath(folder_));
    if (!inside.empty() && *inside.begin() != "..") {
        return;
    }
    if (!NamesAsItsOwn(*container_, table.Path())) {
        throw CannotOpen(table.Path(),
                         "it lies outside of the container's folder and doesn't name the container "
                         "as its own");
    }
}

std::shared_ptr<sql::StoredTable> FoxProDatabase::OpenTable(std::string_view name) {
    const auto place = Find(name);
    if (!place) {
        return nullptr;
    }
    return std::make_shared<FoxProTable>(
        OpenFile(*place), place->name, statement_, options_.null_by_default);
}

std::optional<std::string> FoxProDatabase::ViewText(std::string_view name) {
    if (!container_) {
        return std::nullopt;
    }
    container_->Refresh();
    auto view = container_->FindView(NameInContainer(name));
    if (!view) {
        return std::nullopt;
    }
    if (!view->reason.empty()) {
        throw CannotOpen(view->name, view->reason);
    }
    return std::move(view->sql);
}

// ---- Changes ----------------------------------------------------------------------------------

// New tags are in the order of bytes. Whoever asks for another one would find rows in an order that
// he didn't ask for.
void FoxProDatabase::RequireMachineOrder(std::string_view table) const {
    if (!options_.collation.empty()) {
        throw BadTableDefinition(table,
                                 "its index would be in the order " + options_.collation +
                                     ", and new ones are only made in the order MACHINE. Take "
                                     "Collate= out of the connection string");
    }
}

void FoxProDatabase::CreateTable(const sql::TableDefinition& definition) {
    auto columns = definition;
    RequireKeyColumns(columns);
    const bool has_keys =
        !columns.indexes.empty() ||
        std::any_of(columns.columns.begin(), columns.columns.end(), [](const auto& column) {
            return column.primary_key || column.unique;
        });
    if (has_keys) {
        RequireMachineOrder(definition.name);
    }
    NewTable table;
    table.code_page = options_.tables.code_page.value_or(WindowsCodePageOfLocale());
    table.null_by_default = options_.null_by_default;
    if (container_) {
        table.name = NameInContainer(Trimmed(definition.name));
        return CreateTableIn(*container_, std::move(table), columns);
    }
    const auto place = PlaceOf(definition.name);
    if (!place) {
        throw BadTableDefinition(definition.name, "that can't be the name of a file");
    }
    table.path = place->path;
    table.name = place->name;
    const auto layout = LayoutFor(table, columns.columns);
    WriteNewTable(table, layout, TagsFor(columns, layout));
}

// The table is opened by itself for that, and by everybody else anew.
void FoxProDatabase::CreateIndex(std::string_view table, const sql::IndexDefinition& index) {
    RequireMachineOrder(table);
    const auto place = Find(table);
    if (!place) {
        throw CannotOpen(table, "there is no such table");
    }
    const auto path = file::RealPath(place->path);
    OpenFile(*place)->Group().Settle();
    open_.erase(path);
    AddIndex(path, options_.tables, place->long_names, index, place->name);
}

void FoxProDatabase::DropTable(std::string_view name) {
    const auto place = Find(name);
    if (!place) {
        throw CannotOpen(name, "there is no such table");
    }
    const auto path = file::RealPath(place->path);
    std::shared_ptr<TableFile> opened;
    try {
        opened = OpenFile(*place);
    } catch (const DataError&) {
        // A damaged table can still be dropped.
    }
    if (opened) {
        opened->Group().Begin();
        statement_->tables.push_back(opened);
    }
    if (const auto listed = container_ ? container_->FindTable(NameInContainer(name))
                                       : std::optional<ContainerTable>()) {
        DropTableFrom(*container_, *listed);
    } else {
        RemoveTableFiles(path);
    }
    open_.erase(path);
}

void FoxProDatabase::BeginStatement() {
    statement_->open = true;
}

void FoxProDatabase::CommitStatement() {
    // One table as a rule. Where there are more, the changes of each are whole.
    while (!statement_->tables.empty()) {
        const auto table = statement_->tables.back();
        statement_->tables.pop_back();
        table->Group().Commit();
    }
    statement_->open = false;
}

// Last come, first gone: a statement over several tables undoes them in turn.
void FoxProDatabase::RollbackStatement() {
    while (!statement_->tables.empty()) {
        const auto table = statement_->tables.back();
        statement_->tables.pop_back();
        table->Group().Rollback();
    }
    statement_->open = false;
}

void FoxProDatabase::InsertRow(sql::StoredTable& table, std::span<const Cell> row) {
    static_cast<FoxProTable&>(table).InsertBatched(row);
}

void FoxProDatabase::Settle() {
    for (const auto& [path, file] : open_) {
        file->Group().Settle();
    }
}

std::vector<std::string> FoxProDatabase::TakeRemarks() {
    std::vector<std::string> remarks;
    for (const auto& [path, table] : open_) {
        if (table->TakeMissedMemos()) {
            remarks.push_back(MemosMissed(table->Path(), table->MemoPath()));
        }
    }
    return remarks;
}

void FoxProDatabase::ExpectManyRows() {
    expect_many_rows_ = true;
    for (const auto& [path, file] : open_) {
        file->Group().ExpectManyRows();
    }
}

}  // namespace vantry::foxpro
