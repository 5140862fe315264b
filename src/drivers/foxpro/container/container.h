#pragma once
// A database container: which tables and views it has, and the long names of their fields. It is a
// table itself, one record an object.

#include "drivers/foxpro/container/properties.h"
#include "drivers/foxpro/table/table_file.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::foxpro {

struct ContainerObject {
    std::int32_t id = 0;
    std::int32_t parent = 0;
    std::string type;  // "Table", "View", "Field", "Index", "Relation", "Connection", "Database"
    std::string name;  // as it was entered
    std::vector<Property> properties;
    RecordNumber record = 0;
};

struct ContainerTable {
    std::int32_t id = 0;
    std::string name;
    std::string path;  // of the .dbf, in the letter case that is there
    std::vector<std::string> long_names;
    bool has_rules = false;  // triggers or rules, which nobody runs here
};

struct ContainerView {
    std::string name;
    std::string sql;     // empty: of another data source
    std::string reason;  // why it can't be run
};

class Container {
public:
    // Throws DataError if the file is no container.
    Container(const std::string& path, const TableOptions& options);

    const std::string& Path() const { return file_->Path(); }
    std::string Folder() const;
    TableFile& File() { return *file_; }
    const TextCoder& Coder() const { return file_->Coder(); }

    // At the start of a statement: reads the container again if it has changed.
    void Refresh();
    // The same within a transaction of its files.
    void Reread();
    const std::vector<ContainerObject>& Objects() const { return objects_; }
    std::vector<ContainerTable> Tables() const;
    std::vector<ContainerView> Views() const;
    // In any letter case.
    std::optional<ContainerTable> FindTable(std::string_view name) const;
    std::optional<ContainerView> FindView(std::string_view name) const;

    // A text of an object's properties, out of the container's code page.
    std::string TextIn(const ContainerObject& object, std::uint8_t property) const;

private:
    void ReadObjects();
    ContainerTable Describe(const ContainerObject& object) const;
    std::string PathFor(const std::string& relative) const;

    std::unique_ptr<TableFile> file_;
    std::vector<ContainerObject> objects_;
    std::uint64_t version_ = 0;
};

}  // namespace vantry::foxpro
