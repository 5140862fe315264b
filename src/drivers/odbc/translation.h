#pragma once
// From a connection string as sessions store it to the one that the installed driver understands.
// Sessions name Windows drivers and OLE DB providers; what they mean is a kind of server.

#include "data/connection_string.h"
#include "drivers/odbc/installed.h"

#include <string>

namespace vantry::odbc {

// Whose column types a session expects.
enum class Provider { Odbc, SqlOleDb, MsdaOra, OraOleDb };

struct Login {
    std::string text;     // for the driver manager; holds the password
    std::string source;   // who speaks in errors: the driver's or the data source's name
    std::string library;  // empty when it isn't known
    Provider provider = Provider::Odbc;
    unsigned answer_timeout_s = 600;  // for the first byte of each answer
};

// Throws DataError when no driver of the wanted kind is installed: the text names the package.
Login Translate(const ConnectionString& connection, const Machine& machine);

// `value` as it can stand behind "key=": in braces when the grammar needs them.
std::string QuotedValue(const std::string& value);

}  // namespace vantry::odbc
