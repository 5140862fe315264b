// Each text begins with what callers and logs compare (the engine's own words, where it has some)
// and goes on with the place and with what the user can do. Values in them are cut, so that a Memo
// doesn't fill a log.

#include "drivers/access/write_errors.h"

#include "data/message_text.h"

namespace vantry::access {
namespace {

constexpr std::string_view kSource = "Microsoft Access Database Engine";

std::string At(FieldName field) {
    return "'" + std::string(field.table) + "." + std::string(field.column) + "'";
}

DataError Error(int number, std::string text) {
    return {number, std::move(text), std::string(kSource)};
}

}  // namespace

DataError CannotWriteJet3(std::string_view file) {
    return Error(kErrUnspecified,
                 "Cannot update. The database " + Quoted(file) +
                     " is of version 97, which can only be read. Convert it to the format of "
                     "Access 2000 or later, or write into a new database.");
}

DataError CannotWriteFile(std::string_view file, std::string_view reason) {
    return Error(kErrUnspecified,
                 "Cannot update. The database " + Quoted(file) + " can't be changed: " +
                     std::string(reason) + ". Write into a new database instead.");
}

// With the user's name from the lock file: it is often a colleague at another machine.
DataError OpenInAccess(std::string_view file, std::string_view user) {
    return Error(kErrUnspecified,
                 "Could not use " + Quoted(file) + "; file already in use by " + std::string(user) +
                     ". Close it there, or delete the lock file if nobody has it open.");
}

DataError CannotChangeTable(std::string_view table, std::string_view reason) {
    return Error(kErrUnspecified,
                 "The table " + Quoted(table) + " can't be changed: " + std::string(reason) + ".");
}

DataError CannotChangeSystemTable(std::string_view table) {
    return CannotChangeTable(
        table, "it belongs to the database itself. Choose another name for your table");
}

DataError ValueDoesNotFit(FieldName field, std::string_view value, std::string_view type) {
    return Error(kErrConversion,
                 "The value " + Quoted(Shown(value)) + " can't be converted for the field " +
                     At(field) + " (" + std::string(type) + ").");
}

DataError TextTooLong(FieldName field, std::size_t units, std::size_t limit) {
    return Error(kErrFieldTooSmall,
                 "The field is too small to accept the amount of data you attempted to add.  Try "
                 "inserting or pasting less data. (Field " +
                     At(field) + ": " + std::to_string(units) + ", at most " +
                     std::to_string(limit) + ".)");
}

DataError ValueOutOfRange(FieldName field, std::string_view value, std::string_view type) {
    return Error(kErrConversion,
                 "Numeric field overflow: the value " + Quoted(Shown(value)) +
                     " is too large for the field " + At(field) + " (" + std::string(type) + ").");
}

DataError NullNotAllowed(FieldName field) {
    return Error(kErrConversion,
                 "The field " + At(field) +
                     " cannot contain a Null value because the Required property for this field "
                     "is set to True.  Enter a value in this field.");
}

DataError EmptyTextNotAllowed(FieldName field) {
    return Error(
        kErrConversion,
        "Field " + At(field) + " cannot be a zero-length string.  Enter a text, or Null for none.");
}

DataError DefaultNotUnderstood(FieldName field, std::string_view expression) {
    return Error(kErrUnspecified,
                 "The default value " + Quoted(Shown(expression)) + " of the field " + At(field) +
                     " can't be worked out here: give the field a value.");
}

DataError RowTooLong(std::string_view table, std::size_t bytes, std::size_t limit) {
    return Error(kErrUnspecified,
                 "Record is too large: a row of the table " + Quoted(table) + " would take " +
                     std::to_string(bytes) + " bytes, at most " + std::to_string(limit) +
                     " are possible. Use memo fields for long texts.");
}

DataError ReadOnlyColumn(FieldName field) {
    return Error(kErrConversion,
                 "The field " + At(field) +
                     " can't be written: its value is worked out or kept by Access itself.");
}

DataError DuplicateKey(std::string_view table, std::string_view index) {
    return Error(kErrUnspecified,
                 "The changes you requested to the table were not successful because they would "
                 "create duplicate values in the index, primary key, or relationship.  Change the "
                 "data in the field or fields that contain duplicate data, remove the index, or "
                 "redefine the index to permit duplicate entries and try again. (Table " +
                     Quoted(table) + ", index " + Quoted(index) + ".)");
}

DataError KeyIsNull(std::string_view table, std::string_view index) {
    return Error(kErrUnspecified,
                 "Index or primary key cannot contain a Null value. (Table " + Quoted(table) +
                     ", index " + Quoted(index) + ".)");
}

DataError NoParentRow(std::string_view table, std::string_view relation) {
    return Error(kErrUnspecified,
                 "You cannot add or change a record because a related record is required in "
                 "another table. (Table " +
                     Quoted(table) + ", relationship " + Quoted(relation) + ".)");
}

// One text for both, deleting the row and changing its key.
DataError ChildRowsExist(std::string_view table, std::string_view child) {
    return Error(kErrUnspecified,
                 "The record cannot be deleted or changed because table " + Quoted(child) +
                     " includes related records. (Table " + Quoted(table) + ".)");
}

DataError DatabaseExists(std::string_view path) {
    return Error(kErrUnspecified,
                 "Database already exists. The file " + Quoted(path) +
                     " is there: choose another name, or delete it first.");
}

DataError TableExists(std::string_view table) {
    return Error(kErrSyntax, "Table " + Quoted(table) + " already exists.");
}

DataError TableMissing(std::string_view table) {
    return Error(kErrNoSuchTable, "Table " + Quoted(table) + " does not exist.");
}

DataError BadFieldDefinition(std::string_view column, std::string_view what) {
    return Error(kErrSyntax,
                 "Syntax error in field definition. (Field " + Quoted(column) + ": " +
                     std::string(what) + ".)");
}

DataError FieldSizeTooLong(std::string_view column) {
    return Error(kErrSyntax, "Size of field " + Quoted(column) + " is too long.");
}

DataError BadName(std::string_view what, std::string_view name, std::string_view reason) {
    return Error(kErrSyntax,
                 Quoted(name) + " is not a valid name for " + std::string(what) + ": " +
                     std::string(reason) + ".");
}

DataError BadDefinition(std::string_view table, std::string_view what) {
    return Error(kErrSyntax,
                 "Syntax error in CREATE TABLE statement. (Table " + Quoted(table) + ": " +
                     std::string(what) + ".)");
}

}  // namespace vantry::access
