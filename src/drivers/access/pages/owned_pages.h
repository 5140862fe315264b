#pragma once
// Which pages of a file belong to anything: found by the catalogue, for pages that the file's map
// of free pages says nothing about.

#include "drivers/access/pages/page_source.h"

#include <vector>

namespace vantry::access {

// One entry a page. Throws DataError or BoundsError where the catalogue, a definition or a map is
// damaged: what a page belongs to isn't known then.
std::vector<bool> FindOwnedPages(PageSource& source);

}  // namespace vantry::access
