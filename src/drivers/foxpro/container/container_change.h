#pragma once
// One change of a container, whole or not at all: the objects of a table come, or go with
// everything that belongs to them. The table's own files are the caller's business.

#include "drivers/foxpro/container/container.h"
#include "drivers/foxpro/write/table_writer.h"

#include <string>
#include <vector>

namespace vantry::foxpro {

// What a container says about a table.
struct TableEntryOfContainer {
    struct Tag {
        std::string name;
        bool unique = false;  // candidate or primary
    };
    std::string name;  // at most 128 bytes in the container's code page
    std::string file;  // from the container's folder on
    std::vector<std::string> fields;
    std::vector<Tag> tags;
    std::string primary_tag;  // empty: none
};

class ContainerChange {
public:
    // Keeps everybody else out of the container and reads it as it is now. Throws DataError if it
    // is in use for longer than the lock timeout, or can't be written.
    explicit ContainerChange(Container& container);
    // Rolls back unless it was committed.
    ~ContainerChange();
    ContainerChange(const ContainerChange&) = delete;
    ContainerChange& operator=(const ContainerChange&) = delete;

    // All of these throw DataError for what has no place in the container.
    void AddTable(const TableEntryOfContainer& table);
    void AddTag(std::int32_t table, const TableEntryOfContainer::Tag& tag);
    // The new object's id.
    std::int32_t AddObject(std::int32_t parent,
                           std::string_view type,
                           std::string_view name,
                           const std::vector<Property>& properties);
    // With its fields, tags and relations, and the relations of others to it.
    void RemoveTable(const ContainerTable& table);
    void Commit();

private:
    Property PathProperty(std::string_view file) const;

    Container* container_;
    TableWriter* writer_ = nullptr;
    std::int32_t next_id_ = 0;
    bool open_ = false;
};

}  // namespace vantry::foxpro
