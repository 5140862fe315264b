#pragma once
// Text as bytes that sort: the "General" collation of Access databases in its two versions. Letter
// case makes no difference; accents only break ties. Byte for byte what the engine itself writes,
// so that its own indexes stay right. Every text has a key.

#include "drivers/access/indexes/collation_weights.h"
#include "drivers/access/pages/file_header.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace vantry::access {

class Collation {
public:
    // Null for a sort order whose weights aren't known. Made at the first call for each.
    static const Collation* For(SortOrder order);

    // Appends the key of a text, its flag byte not included. Only the first 255 units count, and
    // blanks at their end don't.
    void AppendKey(std::u16string_view text, bool ascending, std::vector<std::byte>& key) const;

private:
    explicit Collation(std::string_view table) : weights_(table) {}

    CollationWeights weights_;
};

}  // namespace vantry::access
