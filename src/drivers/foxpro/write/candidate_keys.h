#pragma once
// What a table's candidate and primary tags ask of its rows. A UNIQUE tag refuses none: it only
// leaves later ones out.

#include "data/driver.h"
#include "drivers/foxpro/table/table_file.h"

#include <memory>
#include <vector>

namespace vantry::foxpro {

// `file` must not be written to as long as the keys are used. Throws DataError if the table takes
// no changes for the sake of a tag.
std::vector<TableRules::Unique> CandidateKeysOf(const std::shared_ptr<TableFile>& file,
                                                bool null_by_default);

}  // namespace vantry::foxpro
