// The file as the SQL layer's store: tables by name, queries by their text. What a bulk load hasn't
// committed yet is made visible before any question is answered, or a statement would miss rows
// that it has put in itself.

#include "drivers/access/database.h"

#include "data/ascii.h"
#include "data/letter_case.h"
#include "drivers/access/access_table.h"
#include "drivers/access/catalogue/saved_query.h"
#include "drivers/access/errors.h"

#include <algorithm>

namespace vantry::access {

void AccessDatabase::Settle() {
    file_->store->Settle();
}

void AccessDatabase::ExpectManyRows() {
    file_->store->ExpectManyRows();
}

std::vector<TableEntry> AccessDatabase::Tables() {
    file_->store->Settle();
    struct Named {
        std::string key;
        TableEntry entry;
    };
    std::vector<Named> listed;
    for (const auto& object : file_->catalog.Objects()) {
        // Sorted without regard to letter case.
        if (auto type = ListedType(object); !type.empty()) {
            listed.push_back({UpperCased(object.name), {object.name, std::move(type)}});
        }
    }
    std::sort(listed.begin(), listed.end(), [](const Named& left, const Named& right) {
        return left.key < right.key;
    });
    std::vector<TableEntry> tables;
    tables.reserve(listed.size());
    for (auto& named : listed) {
        tables.push_back(std::move(named.entry));
    }
    return tables;
}

std::shared_ptr<sql::StoredTable> AccessDatabase::OpenTable(std::string_view name) {
    file_->store->Settle();
    for (const auto& table : used_tables_) {
        if (EqualsNoCase(table->Name(), name)) {
            return table;
        }
    }
    const auto* object = file_->catalog.Find(name);
    if (object == nullptr || object->IsQuery()) {
        return nullptr;
    }
    // Not its connect text: that may hold a password.
    if (object->type == ObjectType::Link) {
        throw CannotReadObject(object->name,
                               "it is a link to table '" + object->foreign_name + "' of '" +
                                   object->database +
                                   "', and links aren't followed. Choose that file as the source");
    }
    if (object->type == ObjectType::OdbcLink) {
        throw CannotReadObject(object->name,
                               "it is a link to table '" + object->foreign_name +
                                   "' of an ODBC data source, and links aren't followed. Choose "
                                   "that data source as the source");
    }
    auto table = std::make_shared<AccessTable>(file_, *object);
    if (in_transaction_) {
        used_tables_.push_back(table);
    }
    return table;
}

std::optional<std::string> AccessDatabase::ViewText(std::string_view name) {
    file_->store->Settle();
    const auto* object = file_->catalog.Find(name);
    if (object == nullptr || !object->IsQuery()) {
        return std::nullopt;
    }
    return SavedQueryText(*file_->store, file_->catalog, *object);
}

}  // namespace vantry::access
