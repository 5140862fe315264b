#pragma once
// Writes sections of "Schema.ini", which say how the text driver reads a file.

#include <span>
#include <string>

namespace vantry {

// The state of the qualifier box, which holds for all files of a page.
struct QualifierChoice {
    int list_index = 0;  // 0 double quote, 1 single quote, 2 none, -1 the typed text
    std::string typed;
};

namespace text {

struct NewSection {
    std::string name;       // of the file
    std::string delimiter;  // one character, or the word that the user typed
    bool has_heading = false;
};

// One section. Begins with two empty lines.
std::string SectionText(const NewSection& file,
                        const QualifierChoice& qualifier,
                        int max_scan_rows);

// Writes the sections of `files` in front of what the folder's "Schema.ini" holds. The driver takes
// the first section of a name, so the older ones needn't be looked for. Throws DataError, leaving
// the older file as it is.
void PrependSections(const std::string& folder,
                     std::span<const NewSection> files,
                     const QualifierChoice& qualifier,
                     int max_scan_rows);

}  // namespace text
}  // namespace vantry
