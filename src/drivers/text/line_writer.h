#pragma once
// Makes the line of a new row, in the form in which it is read back, and adds lines to a file.

#include "data/value.h"
#include "drivers/text/field_reader.h"
#include "drivers/text/table_layout.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vantry::text {

class LineWriter {
public:
    // `source` must outlive the writer.
    LineWriter(const TableSource& source, const TableLayout& layout);
    LineWriter(const LineWriter&) = delete;  // the readers look at its forms
    LineWriter& operator=(const LineWriter&) = delete;

    // The row's line with its line break, in the file's character set. Throws DataError, naming
    // file and column, if a value doesn't fit its column or couldn't be read back.
    const std::string& LineOf(std::span<const Cell> row);

private:
    void AppendValue(std::size_t position, const Cell& value);
    bool AppendNumber(const TextColumn& column, const Cell& value);
    bool AppendPlain(const TextColumn& column, const Cell& value);
    const std::optional<DatePicture>& PictureOf(const TextColumn& column) const {
        return column.picture ? column.picture : source_.format.picture;
    }
    void RequireYear(const TextColumn& column, const DateTime& value, const DateTime& read) const;
    void AppendText(const TextColumn& column, std::string_view text);
    void PadField(const TextColumn& column, std::size_t width);
    [[noreturn]] void Refuse(const TextColumn& column, std::string_view reason) const;

    const TableSource& source_;
    std::vector<TextColumn> columns_;
    FileForms forms_;
    std::vector<FieldReader> readers_;  // what is written must be readable
    MadeTexts made_;
    std::string field_;  // UTF-8
    std::string line_;   // as it goes into the file
};

// The line with the names of the columns, in UTF-8 and with its line break.
std::string HeaderLine(const TableFormat& format, std::span<const std::string> names);

// What the present statement has added to files, so that it can be taken back.
class AppendJournal {
public:
    // Adds `line` to the end of the file, with a line break before it if the last line has none. A
    // line is written whole or not at all. Throws DataError.
    void Append(const std::shared_ptr<TextFile>& file,
                const TextEncoding& encoding,
                std::string_view line);
    void Commit() { files_.clear(); }
    // Cuts the files back to what they were; leaves a file alone that another program has added to.
    void Rollback();

private:
    struct Grown {
        std::shared_ptr<TextFile> file;
        std::uint64_t old_size;
        std::uint64_t new_size;
    };
    std::vector<Grown> files_;
};

}  // namespace vantry::text
