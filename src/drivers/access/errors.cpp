#include "drivers/access/errors.h"

#include "data/message_text.h"

namespace vantry::access {
namespace {

constexpr std::string_view kSource = "Vantry Access engine";
constexpr std::string_view kRepair =
    " Keep a copy of the file, then repair it with Compact and Repair in Access, or restore it "
    "from a backup.";

DataError Failure(std::string text) {
    return {kErrUnspecified, std::move(text), std::string(kSource)};
}

}  // namespace

DataError DamagedPage(std::string_view file, PageNumber page, std::string_view what) {
    return Failure("The database file " + Quoted(file) + " is damaged: page " +
                   std::to_string(page) + ", " + std::string(what) + "." + std::string(kRepair));
}

DataError DamagedFile(std::string_view file, std::string_view what) {
    return Failure("The database file " + Quoted(file) + " is damaged: " + std::string(what) + "." +
                   std::string(kRepair));
}

DataError CannotOpen(std::string_view path, std::string_view reason) {
    return Failure("Can't open the database file " + Quoted(path) + ": " + std::string(reason) +
                   ". Check the name and the permissions of the file and its folder.");
}

DataError CannotRead(std::string_view file, PageNumber page, std::string_view reason) {
    return Failure("Can't read page " + std::to_string(page) + " of the database file " +
                   Quoted(file) + ": " + std::string(reason) +
                   ". Check the disk or network drive, or whether another program cut the file.");
}

DataError NotAnAccessFile(std::string_view path, std::string_view what) {
    return Failure("Unrecognized database format " + Quoted(path) + ": " + std::string(what) +
                   ". Choose an Access database (.mdb or .accdb).");
}

DataError UnknownVersion(std::string_view path, int version) {
    return Failure("The database file " + Quoted(path) +
                   " was made by a version of Access that isn't known here (version byte " +
                   std::to_string(version) + "). Save it in the format of Access 2007-2016.");
}

DataError WrongPassword(std::string_view path, bool given) {
    return Failure(std::string("Not a valid password: the database file ") + Quoted(path) +
                   (given ? " has another one." : " has one, and none was given.") +
                   " Enter the database password.");
}

DataError UnknownEncryption(std::string_view path, std::string_view what) {
    return Failure("The database file " + Quoted(path) +
                   " is encrypted in a way that isn't known here (" + std::string(what) +
                   "). Open it in Access, choose Decrypt Database, and use the decrypted copy.");
}

DataError NoSuchTable(std::string_view file, std::string_view table) {
    return {kErrNoSuchTable,
            "The Microsoft Access database engine could not find the object " + Quoted(table) +
                " in " + Quoted(file) +
                ". Make sure the object exists and that its name is "
                "spelled correctly.",
            std::string(kSource)};
}

DataError CannotReadObject(std::string_view object, std::string_view reason) {
    return Failure(Quoted(object) + " can't be read: " + std::string(reason) + ".");
}

DataError UnreadableField(std::string_view table,
                          std::string_view column,
                          PageNumber page,
                          RowNumber row,
                          std::string_view what) {
    return {kErrConversion,
            "Table " + Quoted(table) + ", column " + Quoted(column) + ", page " +
                std::to_string(page) + ", row " + std::to_string(row) + ": " + std::string(what) +
                (what.ends_with('.') ? "" : ".") + " The other fields of the row can be read.",
            std::string(kSource)};
}

}  // namespace vantry::access
