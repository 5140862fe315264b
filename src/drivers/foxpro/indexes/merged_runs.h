#pragma once
// Sorted runs of entries that were packed away, read back and merged into one order.

#include "drivers/foxpro/indexes/tree.h"
#include "files/scratch_file.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace vantry::foxpro {

// Sorted entries, packed as leaves one behind the other: in a file, or here if that doesn't work.
struct PackedEntries {
    const file::ScratchFile* file = nullptr;
    std::uint64_t start = 0;
    std::uint64_t size = 0;
    std::vector<std::byte> leaves;
};

// The entries of all runs and of `rest`, which has no removals. `runs`, and what `rest` is over,
// must outlive it.
std::unique_ptr<TreeEdits> MergeRuns(std::span<const PackedEntries> runs,
                                     const EditList& rest,
                                     const TreeShape& shape);

}  // namespace vantry::foxpro
