#pragma once
// What a page shows of a text file before it is read as a table: its first lines, and how they fall
// into columns by the delimiter and the qualifier that the user has chosen so far. Simpler than the
// reading itself on purpose: it judges the choice, not the data.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

inline constexpr std::size_t kPreviewLines = 100;
// No more than that of a file is looked at, however long its lines are.
inline constexpr std::size_t kPreviewBytes = 2 * 1024 * 1024;

struct PreviewLine {
    std::string text;  // UTF-8, without its end
    bool cut = false;  // the file goes on behind it in the same line
};

// The first lines, in the character set that the file's byte order mark or the locale says; CR LF,
// LF and CR end a line. Throws DataError.
std::vector<PreviewLine> ReadPreview(const std::string& path);

struct LineFields {
    std::vector<std::string_view> fields;  // parts of the line, qualifiers included
    bool whole = true;  // false: a qualifier isn't closed, or no delimiter follows a closing one
};

// With a qualifier a delimiter within a qualified field doesn't count. An empty delimiter is never
// found.
LineFields SplitLine(std::string_view line, std::string_view delimiter, std::string_view qualifier);

// Without any of the qualifiers in it.
std::string WithoutQualifier(std::string_view field, std::string_view qualifier);

struct PreviewFormat {
    std::string delimiter;
    std::string qualifier;
    bool names_in_first_line = false;
    std::string heading = "F";  // followed by the column's number, where the file has no names
};

// The lines as a grid of 100 rows, the heading row included; the last one stays empty.
class PreviewTable {
public:
    PreviewTable() = default;
    PreviewTable(std::vector<PreviewLine> lines, const PreviewFormat& format);
    PreviewTable(PreviewTable&&) noexcept = default;
    PreviewTable& operator=(PreviewTable&&) noexcept = default;

    // False: the first line can't be split, and there are no columns.
    bool Valid() const { return valid_; }
    std::size_t Columns() const { return heading_row_.size(); }
    // Without the heading row.
    std::size_t Rows() const { return row_count_; }
    // The heading row as the first line has it.
    const std::string& Heading(std::size_t column) const { return heading_row_[column]; }
    // The columns' names, without qualifiers.
    const std::string& Name(std::size_t column) const { return names_[column]; }
    // Empty where the row has no such field. The first line's fields keep their qualifiers.
    std::string Cell(std::size_t row, std::size_t column) const;

private:
    void PlaceFirst(const PreviewLine& line, const PreviewFormat& format);
    void PlaceFurther(const PreviewLine& line, const PreviewFormat& format);

    std::vector<PreviewLine> lines_;  // the fields are parts of them
    std::string qualifier_;
    bool valid_ = true;
    bool first_row_as_it_is_ = false;
    std::size_t row_count_ = 0;
    std::vector<std::string> heading_row_;
    std::vector<std::string> names_;
    std::vector<std::vector<std::string_view>> rows_;
};

}  // namespace vantry
