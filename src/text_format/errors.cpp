// The texts of what can be wrong with a text file. The first sentences of those that users of such
// files know from their former driver are in its words and punctuation (two blanks behind a full
// stop), with its numbers, because scripts look for them in logs; the sentences behind say what to
// do. Each names the file, and the line or the column where there is one.

#include "text_format/errors.h"

#include "data/message_text.h"

namespace vantry::text {
namespace {

constexpr const char* kSource = "Microsoft Jet database engine";

DataError Unspecified(std::string text) {
    return {kErrUnspecified, std::move(text), kSource};
}

}  // namespace

DataError FolderMissing(std::string_view folder) {
    return Unspecified(Quoted(folder) +
                       " is not a valid path.  Make sure that the path name is spelled correctly "
                       "and that you are connected to the server on which the file resides.");
}

// Its number is the one by which scripts know a missing table.
DataError FileMissing(std::string_view name) {
    return {kErrNoSuchTable,
            "The Microsoft Jet database engine could not find the object " + Quoted(name) +
                ".  Make sure the object exists and that you spell its name and the path name "
                "correctly.",
            kSource};
}

DataError CannotListFolder(std::string_view folder, std::string_view reason) {
    return Unspecified("The folder " + Quoted(folder) + " can't be listed: " + std::string(reason) +
                       ".  Check its permissions.");
}

// Rows behind the change may be halves of old and new lines, so reading stops.
DataError ChangedWhileRead(std::string_view path, std::int64_t row) {
    return Unspecified("The file " + Quoted(path) +
                       " was changed by another program while it was read" +
                       (row > 0 ? ", behind row " + std::to_string(row) : std::string()) +
                       ".  Start again when the file is complete.");
}

// Shown with what was counted, as a file may be one of text with a few odd bytes in it: then naming
// its character set lets it be read.
DataError NotText(std::string_view path, const ForeignBytes& found) {
    const bool nuls = found.nuls > 0;
    return Unspecified(
        "The file " + Quoted(path) +
        " is not a text file: " + std::to_string(nuls ? found.nuls : found.count) +
        " of its first " + std::to_string(found.looked_at) + " bytes are " +
        (nuls ? "NUL bytes" : "control characters") + ", the first in line " +
        std::to_string(found.first_line) + ".  Choose a text file" +
        (nuls ? "." : ", or name its CharacterSet in Schema.ini if they are meant."));
}

// Without a mark nothing is guessed.
DataError TwoByteText(std::string_view path) {
    return Unspecified("The file " + Quoted(path) +
                       " is text of two bytes a character without a byte order mark.  Set "
                       "CharacterSet=Unicode for this file in Schema.ini.");
}

DataError WideText(std::string_view path) {
    return Unspecified("The file " + Quoted(path) +
                       " is text of four bytes a character (UTF-32), which can't be read.  Save it "
                       "as UTF-8.");
}

// In all but made-up files a qualifier that is never closed has swallowed the rest.
DataError RowTooLong(std::string_view path, std::int64_t line) {
    return Unspecified("The row that begins in line " + std::to_string(line) + " of the file " +
                       Quoted(path) +
                       " is longer than 256 MB.  Check whether a text qualifier is missing at the "
                       "end of a field, or set TextDelimiter=none for this file in Schema.ini.");
}

DataError TooManyFields(std::string_view path, std::size_t count) {
    return Unspecified("Too many fields defined.  The file " + Quoted(path) + " has " +
                       std::to_string(count) +
                       " columns; at most 255 can be read.  Check the delimiter, or name the first "
                       "255 columns by Col lines in Schema.ini.");
}

DataError SchemaTooLarge(std::string_view path) {
    return Unspecified("The file " + Quoted(path) +
                       " is larger than 16 MB.  Delete the old sections at its end.");
}

DataError UnknownCharacterSet(std::string_view path, std::string_view word) {
    return Unspecified("The character set " + Quoted(word) + " that is set for the file " +
                       Quoted(path) +
                       " can't be read.  Use ANSI, OEM, Unicode or the number of a code page, such "
                       "as 65001, in Schema.ini.");
}

DataError FixedNeedsColumns(std::string_view path) {
    return Unspecified("The file " + Quoted(path) +
                       " is of fixed length: its section in Schema.ini must name every column with "
                       "its width, as in Col1=Name Text Width 20.");
}

// A row of which a part would be lost isn't read at all.
DataError RowHasSurplus(std::string_view path,
                        std::int64_t line,
                        std::size_t fields,
                        std::size_t columns) {
    return {kErrConversion,
            "File " + Quoted(path) + ", line " + std::to_string(line) + ": the row has " +
                std::to_string(fields) + " fields, the table " + std::to_string(columns) +
                (columns == 1 ? " column" : " columns") +
                ".  Put a value with the delimiter in it into text qualifiers, or name the further "
                "columns in the file's header or in Schema.ini.",
            kSource};
}

DataError LineTooLong(std::string_view path, std::int64_t line) {
    return {kErrConversion,
            "File " + Quoted(path) + ", line " + std::to_string(line) +
                ": the line goes on behind its last column.  Correct the widths in Schema.ini, or "
                "name the further columns there.",
            kSource};
}

DataError QualifierNotClosed(std::string_view path, std::int64_t line, std::int64_t lines) {
    return {kErrConversion,
            "File " + Quoted(path) + ", line " + std::to_string(line) +
                ": a text qualifier opens a value and is never closed, so that " +
                (lines == 0   ? "the rest of the line"
                 : lines == 1 ? "1 more line"
                              : std::to_string(lines) + " more lines") +
                " up to the end of the file became part of it.  Close it, or set "
                "TextDelimiter=none for this file in Schema.ini.",
            kSource};
}

DataError FieldDoesNotFit(const FieldPlace& place, std::string_view wanted, std::string_view hint) {
    return {kErrConversion,
            "File " + Quoted(place.path) + ", line " + std::to_string(place.line) + ", column " +
                Quoted(place.column) + ": the value " + Quoted(Shown(place.value)) + " is not " +
                std::string(wanted) + ".  " + std::string(hint),
            kSource};
}

// Scripts look for both of these; nothing needs to be added.
DataError UpdatesNotSupported() {
    return Unspecified("Updating data in a linked table is not supported by this ISAM.");
}

DataError DeletesNotSupported() {
    return Unspecified("Deleting data in a linked table is not supported by this ISAM.");
}

DataError ValueDoesNotFit(std::string_view file, std::string_view column, std::string_view reason) {
    return {kErrConversion,
            "File " + Quoted(file) + ", column " + Quoted(column) +
                ": the value can't be written: " + std::string(reason) + ".",
            kSource};
}

DataError TableExists(std::string_view name) {
    return {kErrSyntax, "Table " + Quoted(name) + " already exists.", kSource};
}

DataError TableNotThere(std::string_view name) {
    return {kErrNoSuchTable, "Table " + Quoted(name) + " does not exist.", kSource};
}

DataError BadTableName(std::string_view name) {
    return {kErrSyntax,
            Quoted(name) +
                " is not a valid name.  The name of a text table is a file name without "
                "a folder, such as orders.csv.",
            kSource};
}

DataError BadHeader(std::string_view path) {
    return {kErrSyntax,
            "The file " + Quoted(path) +
                " can't be created: the name of a column, or the delimiter, has a character that "
                "its character set hasn't.",
            kSource};
}

DataError BadColumnName(std::string_view column) {
    return {kErrSyntax,
            Quoted(column) +
                " is not a valid name.  The name of a column has no quotation marks "
                "and no line breaks.",
            kSource};
}

DataError BadColumnType(std::string_view column, std::string_view type) {
    return {kErrSyntax,
            "Syntax error in field definition.  A text file can't hold the type " + Quoted(type) +
                " of the column " + Quoted(column) + ".",
            kSource};
}

}  // namespace vantry::text
