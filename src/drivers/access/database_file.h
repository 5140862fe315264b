#pragma once
// An open database file: its pages and its catalogue. Shared by the connection's tables and scans,
// any of which may be the last to go.

#include "drivers/access/catalogue/object_catalog.h"
#include "drivers/access/pages/page_store.h"

#include <memory>
#include <string>

namespace vantry::access {

struct DatabaseFile {
    DatabaseFile(const std::string& path, std::string_view password)
        : store(PageStore::Open(path, password)), catalog(*store) {}

    std::unique_ptr<PageStore> store;
    ObjectCatalog catalog;
};

}  // namespace vantry::access
