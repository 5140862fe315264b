#pragma once
// The columns of one file: named by its header or by "Schema.ini", typed by that or by a look at
// the values.

#include "drivers/text/field_reader.h"
#include "drivers/text/row_reader.h"
#include "drivers/text/table_format.h"
#include "text_format/encoding.h"
#include "text_format/text_file.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vantry::text {

struct TableLayout {
    std::vector<TextColumn> columns;
    std::int64_t first_row = 0;             // where it begins in the file
    std::int64_t scanned_rows = 0;          // that the guesses rest upon
    std::optional<std::int64_t> row_count;  // known if all rows were looked at
};

// A file and how it is read, all but its columns.
struct TableSource {
    std::shared_ptr<TextFile> file;
    TableFormat format;
    TextEncoding encoding;

    SplitRules Rules() const;
    FileForms Forms() const;
};

// Opens the file and finds its character set. Throws DataError if it can't be read or isn't text.
TableSource OpenSource(const std::string& path, TableFormat format);

// Reads the header and as many rows as the format says. Throws DataError.
TableLayout FindLayout(const TableSource& source, ReaderSizes sizes = {});

// Names as they may be used in SQL: characters that names can't have replaced, empty ones named,
// repeated ones numbered.
class ColumnNamer {
public:
    std::string Next(std::string_view wanted);

private:
    std::vector<std::string> taken_;  // upper-cased
};

// Layouts that were found before: a session asks for the columns, the count and the rows of a file
// one after the other, and looking at all rows each time would be as slow as reading them. A file
// that was written within the last seconds isn't remembered, for it might change without its time
// doing so. Safe to use from several threads.
class LayoutCache {
public:
    std::shared_ptr<const TableLayout> Find(const TableSource& source);

private:
    struct Entry {
        file::FileStamp stamp;
        std::shared_ptr<const TableLayout> layout;
    };
    std::mutex mutex_;
    std::map<std::string, Entry> entries_;  // by path and format
};

}  // namespace vantry::text
