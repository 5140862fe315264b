// An object's id is the number of its record, by which FoxPro finds it again: records are only
// marked as deleted, never reused or packed. What a table's entry drags along isn't only its
// children; a relation stands below the table that refers, and names the one that is referred to.

#include "drivers/foxpro/container/container_change.h"

#include "data/letter_case.h"
#include "drivers/foxpro/errors.h"

namespace vantry::foxpro {

ContainerChange::ContainerChange(Container& container) : container_(&container) {
    writer_ = &container.File().Writer(true);
    container.File().Group().Begin();
    open_ = true;
    try {
        // Only under the lock: until then another program may add objects, whose numbers would be
        // given twice.
        container.Reread();
        next_id_ = static_cast<std::int32_t>(container.File().RecordCount()) + 1;
    } catch (...) {
        container.File().Group().Rollback();
        throw;
    }
}

ContainerChange::~ContainerChange() {
    if (open_) {
        container_->File().Group().Rollback();
    }
}

Property ContainerChange::PathProperty(std::string_view file) const {
    std::string scratch;
    const auto stored = container_->File().Coder().Encode(file, scratch);
    if (!stored) {
        throw CannotWrite(
            container_->Path(),
            "its code page doesn't have all letters of the file's name " + std::string(file));
    }
    return TextProperty(kPropertyPath, *stored);
}

// RIINFO stays blank and CODE and USER empty, which is what all objects but stored procedures have.
std::int32_t ContainerChange::AddObject(std::int32_t parent,
                                        std::string_view type,
                                        std::string_view name,
                                        const std::vector<Property>& properties) {
    const auto bytes = PropertyBytes(properties);
    std::vector<Cell> row(kContainerFields, Cell());
    row[kContainerObjectId] = Cell::Int64(next_id_);
    row[kContainerParentId] = Cell::Int64(parent);
    row[kContainerObjectType] = Cell::Text(type);
    row[kContainerObjectName] = Cell::Text(name);
    if (!bytes.empty()) {
        row[kContainerProperty] = Cell::Bytes(bytes);
    }
    writer_->Prepare(row);
    writer_->Add();
    return next_id_++;
}

void ContainerChange::AddTag(std::int32_t table, const TableEntryOfContainer::Tag& tag) {
    AddObject(table,
              kIndexType,
              LowerCased(tag.name),
              {ByteProperty(kPropertyUnique, tag.unique ? 1 : 0)});
}

void ContainerChange::AddTable(const TableEntryOfContainer& table) {
    std::vector<Property> properties = {ByteProperty(kPropertyClass, kClassTable),
                                        PathProperty(table.file)};
    if (!table.primary_tag.empty()) {
        properties.push_back(TextProperty(kPropertyPrimaryTag, LowerCased(table.primary_tag)));
    }
    const auto id = AddObject(kContainerRoot, kTableType, table.name, properties);
    for (const auto& field : table.fields) {
        AddObject(id, kFieldType, field, {});
    }
    for (const auto& tag : table.tags) {
        AddTag(id, tag);
    }
}

void ContainerChange::RemoveTable(const ContainerTable& table) {
    for (const auto& object : container_->Objects()) {
        const bool own = object.id == table.id || object.parent == table.id;
        const bool refers = object.type == kRelationType &&
                            SameName(container_->TextIn(object, kPropertyParentTable), table.name);
        if (own || refers) {
            writer_->Delete(object.record);
        }
    }
}

void ContainerChange::Commit() {
    open_ = false;
    container_->File().Group().Commit();
}

}  // namespace vantry::foxpro
