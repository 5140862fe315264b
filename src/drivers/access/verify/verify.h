#pragma once
// A check of a whole database file: every page owned once, every index entry at its row and in
// order, counts, chains and catalogue. For users whose file looks damaged, and for tests, which ask
// it after everything that writes.

#include "drivers/access/pages/page_source.h"

#include <filesystem>
#include <string>
#include <vector>

namespace vantry::access {

struct VerifyReport {
    // What contradicts the format: one sentence each, with table and page. Empty: the file is
    // sound.
    std::vector<std::string> findings;
    // What Access itself leaves behind and every reader lives with: row counts that are off, pages
    // without an owner. Our own writer leaves none of it.
    std::vector<std::string> notes;

    bool IsSound() const { return findings.empty(); }
    // One line each.
    std::string Text() const;
};

// Never throws for what is in the file: that is what it reports. Further findings of one kind in
// one table are counted, not listed.
VerifyReport Verify(PageSource& source);
// Throws DataError only if the file can't be opened as an Access file.
VerifyReport Verify(const std::filesystem::path& path, std::string_view password = {});

}  // namespace vantry::access
