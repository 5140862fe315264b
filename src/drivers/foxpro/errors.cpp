// All texts of the engine's errors, in one place so that they speak alike: what can't be done, with
// which file or field, why, and what helps. Numbers are those by which the layers above tell kinds
// apart; a text that names a value shows it shortened and in one line (the callers see to that).
#include "drivers/foxpro/errors.h"

#include "data/message_text.h"

namespace vantry::foxpro {
namespace {

constexpr std::string_view kSource = "Vantry FoxPro engine";
constexpr std::string_view kRestore = " Keep a copy of the file, and restore it from a backup.";

DataError Failure(std::string text, int number = kErrUnspecified) {
    return {number, std::move(text), std::string(kSource)};
}

}  // namespace

DataError CannotOpen(std::string_view path, std::string_view reason) {
    return Failure("Can't open " + Quoted(path) + ": " + std::string(reason) + ".");
}

DataError NotATable(std::string_view path, std::string_view what) {
    return Failure("Not a table: " + Quoted(path) + ", " + std::string(what) +
                   ". Choose a DBF table of dBase, FoxPro or Visual FoxPro.");
}

DataError DamagedTable(std::string_view path, std::string_view what) {
    return Failure("The table " + Quoted(path) + " is damaged: " + std::string(what) + "." +
                   std::string(kRestore));
}

DataError DamagedIndex(std::string_view path, std::string_view what) {
    return Failure("The index " + Quoted(path) + " is damaged: " + std::string(what) +
                   ". Make it anew in FoxPro (REINDEX), or load into a table without an index.");
}

DataError DamagedContainer(std::string_view path, std::string_view what) {
    return Failure("The database container " + Quoted(path) + " is damaged: " + std::string(what) +
                   "." + std::string(kRestore));
}

DataError CannotWrite(std::string_view path, std::string_view why) {
    return Failure("Can't write to " + Quoted(path) + ": " + std::string(why) + ".");
}

DataError BadField(std::string_view path,
                   std::uint32_t record,
                   std::string_view field,
                   std::string_view what) {
    return Failure("The field " + Quoted(field) + " of record " + std::to_string(record) +
                       " of the table " + Quoted(path) + " can't be read: " + std::string(what) +
                       ". Correct it in the table, or leave the column out.",
                   kErrConversion);
}

// Said at the end of the walk, not at its beginning: what is there has been read by then.
std::string MemosMissed(std::string_view path, std::string_view memo_path) {
    return "The memo file " + Quoted(memo_path) + " is missing: all memos of the table " +
           Quoted(path) + " were read as null. Bring the file back and load the table again.";
}

DataError RecordsMissing(std::string_view path, std::uint32_t there, std::uint32_t missing) {
    return DamagedTable(path,
                        "its header counts " + std::to_string(std::uint64_t{there} + missing) +
                            " records, and the file ends behind record " + std::to_string(there) +
                            ", which was the last one to be read");
}

DataError TableIsFull(std::string_view path, std::string_view limit) {
    return Failure("The table " + Quoted(path) + " is full: " + std::string(limit) +
                   ". Load the rest into another table.");
}

DataError ValueDoesNotFit(std::string_view table,
                          std::string_view field,
                          std::string_view value,
                          std::string_view why) {
    return Failure("The value " + Quoted(value) + " doesn't fit the field " + Quoted(field) +
                       " of the table " + Quoted(table) + ": " + std::string(why) +
                       ". Correct the value, or choose another type for the field.",
                   kErrConversion);
}

DataError TextTooLong(std::string_view table,
                      std::string_view field,
                      std::string_view value,
                      std::size_t bytes,
                      std::size_t width) {
    return Failure("The value " + Quoted(value) + " is too long for the field " + Quoted(field) +
                       " of the table " + Quoted(table) + ": " + std::to_string(bytes) +
                       " bytes for a width of " + std::to_string(width) +
                       ". Make the field wider, or a memo.",
                   kErrFieldTooSmall);
}

DataError NotInCodePage(std::string_view table,
                        std::string_view field,
                        std::string_view character,
                        int code_page) {
    return Failure("The character " + Quoted(character) + " for the field " + Quoted(field) +
                       " of the table " + Quoted(table) + " isn't in its code page " +
                       std::to_string(code_page) +
                       ". Correct the value, or make the table with another code page "
                       "(CodePage= in the connection string).",
                   kErrConversion);
}

// In the words of the product's own message, which users know to search for.
DataError NullNotAllowed(std::string_view table, std::string_view field) {
    return Failure("Field " + std::string(field) + " does not accept null values (table " +
                       Quoted(table) +
                       "). Make the field nullable, or leave rows without a value "
                       "out.",
                   kErrConstraint);
}

DataError BadFieldDefinition(std::string_view table,
                             std::string_view field,
                             std::string_view what) {
    return Failure("Can't create the table " + Quoted(table) + ": the field " + Quoted(field) +
                       " " + std::string(what) + ".",
                   kErrSyntax);
}

DataError BadTableDefinition(std::string_view table, std::string_view what) {
    return Failure("Can't create the table " + Quoted(table) + ": " + std::string(what) + ".",
                   kErrSyntax);
}

DataError UnsupportedTag(std::string_view path,
                         std::string_view tag,
                         std::string_view expression,
                         std::string_view why) {
    return Failure("The table of " + Quoted(path) + " takes no changes here: its tag " +
                   Quoted(tag) + " on " + Quoted(expression) + " can't be kept right, as " +
                   std::string(why) + ". Load into a table without this tag.");
}

DataError BadTagDefinition(std::string_view path,
                           std::string_view tag,
                           std::string_view expression,
                           std::string_view why) {
    return Failure("Can't create the index " + Quoted(tag) + " on " + Quoted(expression) + " of " +
                       Quoted(path) + ": " + std::string(why) + ".",
                   kErrSyntax);
}

DataError KeyNotMade(std::string_view path,
                     std::string_view tag,
                     std::string_view expression,
                     std::uint32_t record,
                     std::string_view why) {
    return Failure("The key of record " + std::to_string(record) + " of " + Quoted(path) +
                       " in the tag " + Quoted(tag) + " on " + Quoted(expression) +
                       " can't be made: " + std::string(why) +
                       ". Correct the record in FoxPro, or load into a table without this tag.",
                   kErrConversion);
}

// Deleted records are named because their user doesn't see the record that stands in the way.
DataError DuplicateKey(std::string_view path,
                       std::string_view tag,
                       std::string_view expression,
                       std::uint32_t record) {
    return Failure("Uniqueness of index " + std::string(tag) + " is violated: in " + Quoted(path) +
                       " record " + std::to_string(record) + " has the same value of " +
                       Quoted(expression) + " (deleted records count, too).",
                   kErrConstraint);
}

}  // namespace vantry::foxpro
