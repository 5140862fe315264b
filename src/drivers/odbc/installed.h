#pragma once
// What the driver manager has registered: drivers of odbcinst.ini and data sources of odbc.ini, of
// the system and of the user, and under which further names we list a driver.
//
// Pages look for words in a driver's name ("MySQL", "SQL Server", "Oracle"). The names of Linux
// drivers hold none of them, so such a driver has a second name, the alias: "SQL Server (FreeTDS)".
// It stands in stored strings and means the driver that is called that here.

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantry::odbc {

enum class Protocol { Other, MySql, SqlServer, Oracle };

struct InstalledDriver {
    std::string name;
    std::string library;  // as registered: a path, or a name in the drivers' folder
};

struct InstalledSource {
    std::string name;
    std::string driver;  // a driver's name, or the path of a library
};

// A moment's view of both lists; user data sources come before those of the system.
struct Machine {
    std::vector<InstalledDriver> drivers;
    std::vector<InstalledSource> sources;

    // Empty lists when the driver manager can't be asked.
    static Machine Read();
    const InstalledDriver* FindDriver(std::string_view name) const;  // by name or alias
    const InstalledSource* FindSource(std::string_view name) const;
    // Whether a registered driver is this library, by the path that is registered.
    bool HasLibrary(std::string_view library) const;
    // The library behind what a DSN or a Driver key names: itself, when it is no driver's name.
    std::string LibraryOf(std::string_view driver) const;
};

Protocol ProtocolOf(std::string_view name, std::string_view library);
// The word by which pages know the protocol; empty for Other.
std::string_view WordOf(Protocol protocol);
// Nothing when the driver's own name holds the word, or needs none.
std::optional<std::string> AliasOf(std::string_view name, std::string_view library);
std::string_view BaseName(std::string_view path);
// Whether `library`, whatever its folder, is the driver known by `word` ("tdsodbc").
bool LibraryIs(std::string_view library, std::string_view word);

// What odbc.ini says of a data source, but for its driver: keys as written there. The user's file
// comes before the system's.
std::vector<std::pair<std::string, std::string>> KeysOfSource(const std::string& name);

// Whether a Driver key of this name, or alias, finds a registered driver.
bool IsInstalledDriver(std::string_view name);

// Whether a driver has the UTF-16 calls. Without them the driver manager would squeeze our text
// through the locale's character set, so such a driver is spoken to in bytes. True when the library
// can't be found: the driver manager then says why.
bool HasWideCalls(const std::string& library);

}  // namespace vantry::odbc
