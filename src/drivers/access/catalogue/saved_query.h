#pragma once
// Saved queries: their SQL text, put together from the rows of MSysQueries.

#include "drivers/access/catalogue/object_catalog.h"

#include <string>

namespace vantry::access {

// The text of a query that gives rows and needs nothing from the user. Throws DataError saying why
// for every other kind.
std::string SavedQueryText(PageSource& source, ObjectCatalog& catalog, const CatalogObject& query);

}  // namespace vantry::access
