// The objects of a container are few, and its index helps FoxPro alone: all records are read at
// once. A table's file is looked for where the container says, from its own folder on, whatever the
// letter case; a path that leads out of that folder is taken only if the file there says that it
// belongs to this container.

#include "drivers/foxpro/container/container.h"

#include "data/connection_string.h"
#include "data/letter_case.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/table/record_decoder.h"
#include "drivers/foxpro/table/record_reader.h"
#include "files/file_name.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace vantry::foxpro {
namespace {

namespace fs = std::filesystem;

constexpr std::array kRuleProperties = {
    kPropertyRule, kPropertyInsertTrigger, kPropertyUpdateTrigger, kPropertyDeleteTrigger};

std::string Trimmed(const Cell& cell) {
    return cell.Kind() == ValueKind::Text ? std::string(vantry::Trimmed(cell.AsText()))
                                          : std::string();
}

std::int32_t NumberIn(const Cell& cell) {
    return cell.Kind() == ValueKind::Int64 ? static_cast<std::int32_t>(cell.AsInt64()) : 0;
}

}  // namespace

Container::Container(const std::string& path, const TableOptions& options) {
    if (std::error_code error; !fs::exists(path, error)) {
        throw CannotOpen(path, "there is no such database container. Check its name");
    }
    file_ = std::make_unique<TableFile>(path, options, std::span<const std::string>());
    const auto& fields = file_->Layout().fields;
    // By place and type, as everything below goes by the fields' places.
    if (fields.size() < kContainerFields || fields[kContainerObjectId].type != 'I' ||
        fields[kContainerParentId].type != 'I' || fields[kContainerObjectType].type != 'C' ||
        fields[kContainerObjectName].type != 'C' || fields[kContainerProperty].type != 'M') {
        throw NotATable(path, "it isn't a database container (*.dbc)");
    }
    ReadObjects();
}

std::string Container::Folder() const {
    const auto folder = fs::path(Path()).parent_path().string();
    return folder.empty() ? "." : folder;
}

void Container::Refresh() {
    file_->Refresh();
    if (version_ != file_->Group().Version()) {
        ReadObjects();
    }
}

void Container::Reread() {
    file_->Reread();
    if (version_ != file_->Group().Version()) {
        ReadObjects();
    }
}

std::string Container::TextIn(const ContainerObject& object, std::uint8_t property) const {
    const auto stored = TextOf(object.properties, property);
    std::string scratch;
    // A path that the code page can't read may still be the one on the disk: it is taken as it is.
    const auto text = file_->Coder().Decode(stored, scratch);
    return std::string(text.value_or(stored));
}

void Container::ReadObjects() {
    objects_.clear();
    version_ = file_->Group().Version();
    constexpr std::array<std::size_t, 5> kFields = {kContainerObjectId,
                                                    kContainerParentId,
                                                    kContainerObjectType,
                                                    kContainerObjectName,
                                                    kContainerProperty};
    RecordDecoder decoder(*file_, kFields);
    for (RecordReader reader(*file_); reader.Next();) {
        // What was dropped keeps its record and so its number; it is no object any more.
        if (reader.View().IsDeleted()) {
            continue;
        }
        decoder.Decode(reader.Bytes(), reader.Number());
        const auto cells = decoder.Cells();
        ContainerObject object;
        object.id = NumberIn(cells[0]);
        object.parent = NumberIn(cells[1]);
        object.type = Trimmed(cells[2]);
        object.name = Trimmed(cells[3]);
        object.record = reader.Number();
        // Without its properties an object is no use, and to pass over it would hide a table.
        if (cells[4].Kind() == ValueKind::Unreadable) {
            throw decoder.FieldError(4);
        }
        if (cells[4].Kind() == ValueKind::Bytes) {
            try {
                object.properties = ParseProperties(cells[4].AsBytes());
            } catch (const file::BoundsError&) {
                throw DamagedContainer(
                    Path(),
                    "the properties of " + object.type + " '" + object.name + "' are no list");
            }
        }
        objects_.push_back(std::move(object));
    }
}

std::string Container::PathFor(const std::string& relative) const {
    std::string name = relative;
    std::replace(name.begin(), name.end(), '\\', '/');
    // Each folder on the way may be spelled in another letter case.
    fs::path path = Folder();
    const fs::path wanted(name);
    // A drive, or the root of another machine, doesn't say where the file is on this one.
    if (wanted.is_absolute() || name.find(':') != std::string::npos) {
        throw DamagedContainer(Path(),
                               "it places a table at '" + relative +
                                   "', which isn't below a folder of this machine. Copy the table "
                                   "beside the container");
    }
    for (const auto& part : wanted) {
        path = part == ".." || part == "."
                   ? path / part
                   : fs::path(file::ResolveFileName((path / part).string()));
    }
    return path.lexically_normal().string();
}

// Field objects stand in the order of the fields, so no names are matched here.
ContainerTable Container::Describe(const ContainerObject& object) const {
    ContainerTable table;
    table.id = object.id;
    table.name = object.name;
    auto relative = TextIn(object, kPropertyPath);
    if (relative.empty()) {
        relative = object.name + ".dbf";
    }
    table.path = PathFor(relative);
    for (const auto& field : objects_) {
        if (field.type == kFieldType && field.parent == object.id) {
            table.long_names.push_back(field.name);
        }
    }
    table.has_rules =
        std::any_of(kRuleProperties.begin(), kRuleProperties.end(), [&](std::uint8_t id) {
            return !TextOf(object.properties, id).empty();
        });
    return table;
}

std::vector<ContainerTable> Container::Tables() const {
    std::vector<ContainerTable> tables;
    for (const auto& object : objects_) {
        if (object.type == kTableType && object.parent == kContainerRoot) {
            tables.push_back(Describe(object));
        }
    }
    return tables;
}

// Listed even if they can't be run: a user who knows the view should learn why.
std::vector<ContainerView> Container::Views() const {
    std::vector<ContainerView> views;
    for (const auto& object : objects_) {
        if (object.type != kViewType || object.parent != kContainerRoot) {
            continue;
        }
        ContainerView view;
        view.name = object.name;
        view.sql = TextIn(object, kPropertySqlText);
        const auto* const kind = FindProperty(object.properties, kPropertyClass);
        if (kind != nullptr && !kind->value.empty() &&
            kind->value[0] == std::byte{kClassRemoteView}) {
            view.reason = "it asks another data source. Choose that one as the source";
        } else if (view.sql.empty()) {
            view.reason = "the container has no statement for it";
        }
        views.push_back(std::move(view));
    }
    return views;
}

std::optional<ContainerTable> Container::FindTable(std::string_view name) const {
    for (const auto& object : objects_) {
        if (object.type == kTableType && object.parent == kContainerRoot &&
            SameName(object.name, name)) {
            return Describe(object);
        }
    }
    return std::nullopt;
}

std::optional<ContainerView> Container::FindView(std::string_view name) const {
    for (auto& view : Views()) {
        if (SameName(view.name, name)) {
            return view;
        }
    }
    return std::nullopt;
}

}  // namespace vantry::foxpro
