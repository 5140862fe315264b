// A connection string leads to a driver by its provider, else by its driver's name; what stands for
// neither is ODBC's. A data source over a driver of our own is written out as that driver's string
// first, with the keys that the system has stored for it. Easy to get wrong: who comes first. A
// test's driver goes before all, an installed driver before ours of the same name, and the built-in
// MySQL before any other one where it is named as such.
#include "core/driver_registry.h"

#include "drivers/access/driver.h"
#include "drivers/foxpro/driver.h"
#include "drivers/mysql/driver.h"
#include "drivers/odbc/driver.h"
#include "drivers/odbc/installed.h"
#include "drivers/text/driver.h"

#include <map>

namespace vantry {
namespace {

std::map<std::string, std::shared_ptr<Driver>>& RegisteredDrivers() {
    static std::map<std::string, std::shared_ptr<Driver>> drivers;
    return drivers;
}

// Made at first use: a run that touches no server loads no client library's state.
Driver& TextDriver() {
    static const auto driver = text::MakeTextDriver();
    return *driver;
}

Driver& MySqlDriver() {
    static const auto driver = mysql::MakeMySqlDriver();
    return *driver;
}

Driver& OdbcDriver() {
    static const auto driver = odbc::MakeOdbcDriver();
    return *driver;
}

Driver& AccessDriver() {
    static const auto driver = access::MakeAccessDriver();
    return *driver;
}

Driver& FoxProDriver() {
    static const auto driver = foxpro::MakeFoxProDriver();
    return *driver;
}

Driver& DriverForProvider(const ConnectionString& connection, const std::string& provider) {
    if (ContainsNoCase(provider, "Microsoft.Jet.OLEDB") ||
        ContainsNoCase(provider, "Microsoft.ACE.OLEDB")) {
        const auto& extended = connection.Get("Extended Properties");
        // At its beginning alone: the properties of text sources begin so, perhaps behind a quote.
        return ContainsNoCase(extended.substr(0, 5), "text") ? TextDriver() : AccessDriver();
    }
    // With any version behind it.
    if (provider.size() >= 8 && EqualsNoCase(provider.substr(0, 8), "vfpoledb")) {
        return FoxProDriver();
    }
    return OdbcDriver();
}

// Names that stand for a driver of our own. A driver of that name that is installed comes first, so
// that a user who has one gets it.
Driver& DriverForOdbcName(const std::string& name) {
    if (EqualsNoCase(name, "MySQL (built in)")) {
        return MySqlDriver();
    }
    if (odbc::IsInstalledDriver(name)) {
        return OdbcDriver();
    }
    // Both words: "access" alone is part of names of other vendors' drivers.
    if (ContainsNoCase(name, "Access") && ContainsNoCase(name, "mdb")) {
        return AccessDriver();
    }
    if (ContainsNoCase(name, "FoxPro")) {
        return FoxProDriver();
    }
    // A session that was saved where another MySQL driver was installed runs here all the same.
    if (ContainsNoCase(name, "MySQL") || ContainsNoCase(name, "MariaDB")) {
        return MySqlDriver();
    }
    return OdbcDriver();
}

// A value in the form of either grammar that reads back as it is.
std::string Wrapped(const std::string& value, bool ole_db) {
    const char close = ole_db ? '"' : '}';
    std::string text(1, ole_db ? '"' : '{');
    for (const char c : value) {
        text += c;
        if (c == close) {
            text += c;
        }
    }
    return text + close;
}

// The driver that a data source names; empty without such a source.
std::string DriverOfSource(const std::string& dsn) {
    const auto machine = odbc::Machine::Read();
    const auto* const source = machine.FindSource(dsn);
    return source == nullptr ? std::string() : source->driver;
}

}  // namespace

ConnectionString WithDataSource(const ConnectionString& connection) {
    const std::string& dsn = connection.Get("DSN");
    if (dsn.empty() || connection.Has("Driver")) {
        return connection;
    }
    const std::string& provider = connection.Get("Provider");
    const std::string driver = DriverOfSource(dsn);
    const bool by_provider =
        !provider.empty() && &DriverForProvider(connection, provider) != &OdbcDriver();
    // A path is a library, whatever words are in it.
    const bool by_driver = driver.find('/') == std::string::npos && !driver.empty() &&
                           &DriverForOdbcName(driver) != &OdbcDriver();
    if (driver.empty() || (!by_provider && !by_driver)) {
        return connection;
    }
    std::string text = by_provider ? "Provider=" + provider : "Driver=" + Wrapped(driver, false);
    const auto add = [&](const std::string& key, const std::string& value) {
        text += ";" + key + "=" + Wrapped(value, by_provider);
    };
    for (const auto& pair : connection.Pairs()) {
        // An empty login would hide what the data source itself says.
        if (!pair.value.empty() && !EqualsNoCase(pair.key, "DSN") &&
            !EqualsNoCase(pair.key, "Provider")) {
            add(pair.key, pair.value);
        }
    }
    for (const auto& [key, value] : odbc::KeysOfSource(dsn)) {
        if (connection.Get(key).empty()) {
            add(key, value);
        }
    }
    return ConnectionString::Parse(text);
}

void RegisterDriver(const std::string& provider, std::shared_ptr<Driver> driver) {
    if (driver) {
        RegisteredDrivers()[provider] = std::move(driver);
    } else {
        RegisteredDrivers().erase(provider);
    }
}

Driver& DriverFor(const ConnectionString& connection) {
    const auto& provider = connection.Get("Provider");
    // Before all others, so that a test's driver stands in for a real one of the same name.
    if (const auto found = RegisteredDrivers().find(provider); found != RegisteredDrivers().end()) {
        return *found->second;
    }
    if (!provider.empty()) {
        return DriverForProvider(connection, provider);
    }
    if (const auto& name = connection.Get("Driver"); !name.empty()) {
        return DriverForOdbcName(name);
    }
    if (connection.Text().empty()) {
        throw DataError(kErrInvalidArgument,
                        "There is no connection string: choose the source or target again.");
    }
    return OdbcDriver();
}

}  // namespace vantry
