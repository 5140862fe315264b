// The container is a table, and is checked as one first; then its objects against each other, by
// number, parent and name, and each table that it lists: its file, what that says about the
// container, its fields against those listed, its tags against its index. Easy to get wrong: what
// is deleted keeps its number, so numbers have gaps and parents may be gone with their children.

#include "drivers/foxpro/verify/container_verify.h"

#include "data/data_error.h"
#include "data/letter_case.h"
#include "drivers/foxpro/container/container.h"
#include "drivers/foxpro/indexes/tag_set.h"
#include "drivers/foxpro/verify/verify.h"
#include "drivers/foxpro/write/container_tables.h"
#include "files/file.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <set>

namespace vantry::foxpro {
namespace {

namespace fs = std::filesystem;

constexpr std::array kTypes = {kTableType,
                               kViewType,
                               kFieldType,
                               kIndexType,
                               kRelationType,
                               kConnectionType,
                               kDatabaseType,
                               std::string_view("UserDefined")};

class ContainerVerifier {
public:
    explicit ContainerVerifier(const std::string& path) : container_(path, {}) {}

    std::vector<std::string> Run() {
        findings_ = Verify(container_.Path());
        constexpr std::uint8_t kFlags = kIsContainer | kHasMemo | kHasStructuralIndex;
        if (container_.File().Layout().flags != kFlags) {
            Find("its header doesn't say that it is a container with memos and index");
        }
        for (const auto& object : container_.Objects()) {
            objects_.emplace(object.id, &object);
        }
        CheckDatabaseObjects();
        for (const auto& object : container_.Objects()) {
            CheckObject(object);
        }
        CheckNames();
        for (const auto& table : container_.Tables()) {
            CheckTable(table);
        }
        CheckStrayTables();
        return std::move(findings_);
    }

private:
    void Find(std::string what) { findings_.push_back(std::move(what)); }
    static std::string Name(const ContainerObject& object) {
        return "object " + std::to_string(object.id) + " (" + object.type + " " + object.name + ")";
    }
    bool Is(std::int32_t id, std::string_view type) const {
        const auto found = objects_.find(id);
        return found != objects_.end() && found->second->type == type;
    }

    void CheckDatabaseObjects() {
        // The fifth one, of dependencies, came with later versions.
        constexpr std::size_t kWithoutDependencies = 4;
        for (std::size_t k = 0; k < kWithoutDependencies; ++k) {
            const auto id = static_cast<std::int32_t>(k) + 1;
            if (!Is(id, kDatabaseType) || objects_.at(id)->name != kDatabaseObjects[k]) {
                Find("object " + std::to_string(id) + " isn't the " +
                     std::string(kDatabaseObjects[k]) + " that every container has there");
            }
        }
        if (Is(1, kDatabaseType) &&
            FindProperty(objects_.at(1)->properties, kPropertyVersion) == nullptr) {
            Find("the container doesn't say its version");
        }
    }

    void CheckObject(const ContainerObject& object) {
        // FoxPro goes to an object by its number as that of a record, and would find another one.
        if (static_cast<RecordNumber>(object.id) != object.record) {
            Find(Name(object) + " stands in record " + std::to_string(object.record));
        }
        if (std::find(kTypes.begin(), kTypes.end(), object.type) == kTypes.end()) {
            Find(Name(object) + " is of a type that containers don't have");
        }
        const bool part =
            object.type == kFieldType || object.type == kIndexType || object.type == kRelationType;
        // Views have fields, too, and everything that is no part stands below the container itself.
        const bool has_parent = part ? Is(object.parent, kTableType) || Is(object.parent, kViewType)
                                     : object.parent == kContainerRoot;
        if (!has_parent) {
            Find(Name(object) + " belongs to object " + std::to_string(object.parent) +
                 ", which is none that can have it");
        }
        if (object.name.empty()) {
            Find(Name(object) + " has no name");
        }
        if (object.type == kTableType &&
            (FindProperty(object.properties, kPropertyPath) == nullptr ||
             FindProperty(object.properties, kPropertyClass) == nullptr)) {
            Find(Name(object) + " lacks its file or class");
        }
        if (object.type == kRelationType) {
            CheckRelation(object);
        }
    }

    // Both ends go by tags, which the container lists below their tables.
    void CheckRelation(const ContainerObject& relation) {
        const auto other = container_.FindTable(container_.TextIn(relation, kPropertyParentTable));
        if (!other) {
            Find(Name(relation) + " leads to a table that isn't there");
            return;
        }
        if (!HasTag(relation.parent, container_.TextIn(relation, kPropertyChildTag)) ||
            !HasTag(other->id, container_.TextIn(relation, kPropertyParentTag))) {
            Find(Name(relation) + " goes by a tag that isn't there");
        }
    }

    bool HasTag(std::int32_t table, std::string_view name) const {
        return std::any_of(container_.Objects().begin(),
                           container_.Objects().end(),
                           [&](const ContainerObject& object) {
                               return object.parent == table && object.type == kIndexType &&
                                      SameName(object.name, name);
                           });
    }

    void CheckNames() {
        // Names of what was dropped are free again: Objects() has none of that.
        std::set<std::string> names;
        for (const auto& object : container_.Objects()) {
            const bool table = object.type == kTableType || object.type == kViewType;
            if (table && !names.insert(UpperCased(object.name)).second) {
                Find("two tables or views have the name " + object.name);
            }
        }
    }

    void CheckTable(const ContainerTable& table) {
        if (!file::StampOf(table.path)) {
            Find("the file of the table " + table.name + " is missing");
            return;
        }
        if (!NamesAsItsOwn(container_, table.path)) {
            Find("the file of the table " + table.name + " doesn't name the container as its own");
        }
        for (const auto& finding : Verify(table.path)) {
            Find("table " + table.name + ": " + finding);
        }
        // Opened once more: the checks below need the fields and the index as the engine reads
        // them.
        try {
            TableFile file(table.path, {}, {}, table.name);
            CheckFields(table, file.Layout());
            CheckTags(table, file);
        } catch (const DataError& error) {
            Find("table " + table.name + ": " + error.Description());
        }
    }

    // Order and number are what FoxPro goes by; names tell whether the order is right.
    void CheckFields(const ContainerTable& table, const TableLayout& layout) {
        std::vector<std::string> fields;
        for (const auto& field : layout.fields) {
            if (!field.hidden) {
                fields.push_back(field.name);
            }
        }
        if (fields.size() != table.long_names.size()) {
            Find("the container lists " + std::to_string(table.long_names.size()) +
                 " fields of the table " + table.name + ", which has " +
                 std::to_string(fields.size()));
            return;
        }
        // The short names begin as the long ones; a number at the end may keep them apart.
        constexpr std::size_t kCompared = 6;
        for (std::size_t k = 0; k < fields.size(); ++k) {
            const auto long_name = UpperCased(table.long_names[k]);
            const auto length = std::min({kCompared, fields[k].size(), long_name.size()});
            if (fields[k].compare(0, length, long_name, 0, length) != 0) {
                Find("the container calls the field " + fields[k] + " of the table " + table.name +
                     " " + table.long_names[k]);
            }
        }
    }

    // The list in the container and the index must agree, or FoxPro asks to repair the container.
    void CheckTags(const ContainerTable& table, TableFile& file) {
        std::set<std::string> listed;
        for (const auto& object : container_.Objects()) {
            if (object.parent == table.id && object.type == kIndexType) {
                listed.insert(UpperCased(object.name));
            }
        }
        std::set<std::string> there;
        if (const auto index = file.IndexMember()) {
            for (const auto& tag : TagSet(file.Group(), *index, file.Layout()).Tags()) {
                there.insert(UpperCased(tag.name));
            }
        }
        if (listed != there) {
            Find("the container lists other tags of the table " + table.name +
                 " than its index has");
        }
        const auto primary = container_.TextIn(*objects_.at(table.id), kPropertyPrimaryTag);
        if (!primary.empty() && !listed.contains(UpperCased(primary))) {
            Find("the primary key of the table " + table.name + " has no tag");
        }
    }

    // FoxPro refuses a table whose container doesn't know it.
    void CheckStrayTables() {
        std::set<std::string> listed;
        for (const auto& table : container_.Tables()) {
            listed.insert(fs::path(table.path).filename().string());
        }
        for (const auto& entry : fs::directory_iterator(container_.Folder())) {
            const auto name = entry.path().filename().string();
            if (EqualsNoCase(entry.path().extension().string(), ".dbf") && !listed.contains(name) &&
                NamesAsItsOwn(container_, entry.path().string())) {
                Find("the file " + name + " names the container as its own, which doesn't list it");
            }
        }
    }

    Container container_;
    std::map<std::int32_t, const ContainerObject*> objects_;
    std::vector<std::string> findings_;
};

}  // namespace

std::vector<std::string> VerifyContainer(const std::string& path) {
    try {
        return ContainerVerifier(path).Run();
    } catch (const DataError& error) {
        return {error.Description()};
    }
}

}  // namespace vantry::foxpro
