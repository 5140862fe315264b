// Pages pick drivers by words in their names ("ACCESS", "MYSQL" ...). Here a driver's name often
// lacks the word (FreeTDS, MariaDB, SQLite), so the list holds it once more under a name that has
// it; and what is built in stands there as if it were installed. Easy to get wrong: the order. A
// page proposes the first that fits.
#include "connectors/odbc_enumeration.h"

#include "data/connection_string.h"

#include <algorithm>

namespace vantry {
namespace {

// Ahead of the second names of installed drivers: the built-in one streams its rows, where an ODBC
// driver for MySQL first fetches the whole table into memory.
constexpr const char* kMySqlBuiltIn = "MySQL (built in)";
constexpr const char* kAccessBuiltIn = "Microsoft Access Driver (*.mdb, *.accdb)";
constexpr const char* kFoxProBuiltIn = "Microsoft Visual FoxPro Driver";

bool Contains(const std::vector<std::string>& names, const std::string& name) {
    return std::any_of(names.begin(), names.end(), [&](const std::string& other) {
        return EqualsNoCase(other, name);
    });
}

void AddNew(std::vector<std::string>& names, const std::string& name) {
    if (!Contains(names, name)) {
        names.push_back(name);
    }
}

// The name under which the library of a data source is registered, for one that names the library.
std::string RegisteredName(const odbc::InstalledSource& source, const odbc::Machine& machine) {
    // A data source may name its library's file in place of a driver; files are compared without
    // their folders, as the two entries may reach one file by different paths.
    if (machine.FindDriver(source.driver) == nullptr) {
        for (const auto& driver : machine.drivers) {
            if (!driver.library.empty() &&
                odbc::BaseName(driver.library) == odbc::BaseName(source.driver)) {
                return driver.name;
            }
        }
    }
    return source.driver;
}

std::string DriverDescription(const odbc::InstalledSource& source, const odbc::Machine& machine) {
    const auto name = RegisteredName(source, machine);
    return odbc::AliasOf(name, machine.LibraryOf(name)).value_or(name);
}

}  // namespace

std::vector<std::string> OdbcDriverNames(const odbc::Machine& machine) {
    std::vector<std::string> names;
    for (const auto& driver : machine.drivers) {
        names.push_back(driver.name);
    }
    AddNew(names, kMySqlBuiltIn);
    for (const auto& driver : machine.drivers) {
        if (const auto alias = odbc::AliasOf(driver.name, driver.library)) {
            AddNew(names, *alias);
        }
    }
    AddNew(names, kAccessBuiltIn);
    AddNew(names, kFoxProBuiltIn);
    return names;
}

std::vector<DsnRec> OdbcDsnRecords(const odbc::Machine& machine) {
    std::vector<DsnRec> records;
    for (const auto& source : machine.sources) {
        records.push_back({source.name, DriverDescription(source, machine)});
    }
    // Pages read the first element without asking.
    if (records.empty()) {
        records.emplace_back();
    }
    return records;
}

void EnumerateOdbcDrivers() {
    OdbcDrivers = OdbcDriverNames(odbc::Machine::Read());
}

void EnumerateOdbcDsns() {
    OdbcDsns = OdbcDsnRecords(odbc::Machine::Read());
}

}  // namespace vantry
