#pragma once
// The check of a whole index file against the format and against the table.

#include "drivers/foxpro/indexes/tag_state.h"

#include <memory>
#include <string>
#include <vector>

namespace vantry::foxpro {

// What is wrong, in words with tag and page; empty: nothing.
std::vector<std::string> VerifyTags(IndexPages& pages,
                                    std::span<const std::unique_ptr<Tag>> tags,
                                    const RecordWalk& walk);

}  // namespace vantry::foxpro
