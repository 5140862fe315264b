// Stored strings speak to drivers of another system. What they name is turned into an installed
// driver of the same protocol, keys into that driver's words, and the rest is left as it is: most
// keys are the driver's own matter. Easy to get wrong: the first of a repeated key wins, braces
// around a value are part of it for some drivers, an empty user hides what a data source says, and
// a string from a stranger must not get a library loaded.

#include "drivers/odbc/translation.h"

#include "drivers/odbc/errors.h"

#include <algorithm>
#include <charconv>
#include <span>
#include <string_view>
#include <vector>

namespace vantry::odbc {
namespace {

using Pair = ConnectionString::Pair;

// Keys that say something to a Windows provider and nothing to any driver.
constexpr std::string_view kDroppedKeys[] = {"Provider",
                                             "Persist Security Info",
                                             "Use Procedure for Prepare",
                                             "Auto Translate",
                                             "Packet Size",
                                             "Use Encryption for Data",
                                             "Tag with column collation when possible",
                                             "Connect Timeout",
                                             "Connection Timeout",
                                             "Location",
                                             "Mode"};

struct Rename {
    std::string_view from;
    std::string_view to;
};
constexpr Rename kLoginNames[] = {{"User ID", "UID"}, {"Password", "PWD"}};
constexpr Rename kSqlServerNames[] = {{"Data Source", "SERVER"},
                                      {"Address", "SERVER"},
                                      {"Addr", "SERVER"},
                                      {"Network Address", "SERVER"},
                                      {"Server", "SERVER"},
                                      {"Initial Catalog", "DATABASE"},
                                      {"Database", "DATABASE"},
                                      {"User ID", "UID"},
                                      {"User", "UID"},
                                      {"uid", "UID"},
                                      {"Password", "PWD"},
                                      {"pwd", "PWD"},
                                      {"Application Name", "APP"},
                                      {"Workstation ID", "WSID"}};
constexpr Rename kOracleNames[] = {{"Data Source", "DBQ"},
                                   {"Server", "DBQ"},
                                   {"User ID", "UID"},
                                   {"User", "UID"},
                                   {"Password", "PWD"}};
constexpr Rename kAnySourceNames[] = {{"Data Source", "DSN"},
                                      {"User ID", "UID"},
                                      {"Password", "PWD"},
                                      {"Initial Catalog", "DATABASE"}};

// The pairs of the string to be; the first of a repeated key wins.
class Keys {
public:
    const std::string* Find(std::string_view key) const {
        const auto found = std::find_if(pairs_.begin(), pairs_.end(), [&](const Pair& pair) {
            return EqualsNoCase(pair.key, key);
        });
        return found != pairs_.end() ? &found->value : nullptr;
    }
    void Add(std::string_view key, std::string_view value) {
        if (Find(key) == nullptr) {
            pairs_.push_back({std::string(key), std::string(value)});
        }
    }
    // Keeps the key's place where it has one.
    void Replace(std::string_view key, std::string_view value) {
        for (auto& pair : pairs_) {
            if (EqualsNoCase(pair.key, key)) {
                pair = {std::string(key), std::string(value)};
                return;
            }
        }
        Add(key, value);
    }
    void Drop(std::string_view key) {
        std::erase_if(pairs_, [&](const Pair& pair) { return EqualsNoCase(pair.key, key); });
    }
    void RenameAll(std::span<const Rename> names) {
        const auto old = std::exchange(pairs_, {});
        for (const auto& pair : old) {
            const auto name = std::find_if(names.begin(), names.end(), [&](const Rename& rename) {
                return EqualsNoCase(rename.from, pair.key);
            });
            Add(name != names.end() ? name->to : std::string_view(pair.key), pair.value);
        }
    }
    // Driver and data source first, as the driver manager wants them.
    std::string Text() const {
        std::string text;
        for (const bool naming : {true, false}) {
            for (const auto& pair : pairs_) {
                if (IsNaming(pair.key) == naming) {
                    text += pair.key + "=" + Written(pair) + ";";
                }
            }
        }
        return text;
    }

private:
    static bool IsNaming(std::string_view key) {
        return EqualsNoCase(key, "DRIVER") || EqualsNoCase(key, "DSN") ||
               EqualsNoCase(key, "FILEDSN");
    }
    static std::string Written(const Pair& pair) {
        return EqualsNoCase(pair.key, "DRIVER") ? "{" + pair.value + "}" : QuotedValue(pair.value);
    }
    std::vector<Pair> pairs_;
};

Keys KeysOf(const ConnectionString& connection) {
    Keys keys;
    for (const auto& pair : connection.Pairs()) {
        const bool dropped = connection.IsOleDb() &&
                             std::any_of(std::begin(kDroppedKeys),
                                         std::end(kDroppedKeys),
                                         [&](auto key) { return EqualsNoCase(key, pair.key); });
        if (!dropped) {
            keys.Add(pair.key, pair.value);
        }
    }
    return keys;
}

// A driver of the protocol: the preferred libraries in their order, then whatever is registered.
const InstalledDriver* DriverFor(Protocol protocol, const Machine& machine) {
    static constexpr std::string_view kPreferred[] = {
        "tdsodbc", "msodbcsql", "sqora", "maodbc", "myodbc"};
    const auto speaks = [&](const InstalledDriver& driver) {
        return ProtocolOf(driver.name, driver.library) == protocol;
    };
    for (const auto library : kPreferred) {
        for (const auto& driver : machine.drivers) {
            if (LibraryIs(driver.library, library) && speaks(driver)) {
                return &driver;
            }
        }
    }
    const auto any = std::find_if(machine.drivers.begin(), machine.drivers.end(), speaks);
    return any != machine.drivers.end() ? &*any : nullptr;
}

const InstalledDriver& RequireDriver(Protocol protocol, const Machine& machine) {
    if (const auto* driver = DriverFor(protocol, machine)) {
        return *driver;
    }
    switch (protocol) {
        case Protocol::SqlServer:
            throw NoDriverOfKind("SQL Server", "Install the Debian package tdsodbc");
        case Protocol::Oracle:
            throw NoDriverOfKind("Oracle",
                                 "Install Oracle's Instant Client with its ODBC package (basic and "
                                 "odbc, from Oracle) and register it in odbcinst.ini");
        case Protocol::MySql:
        case Protocol::Other:
            break;
    }
    throw NoDriverOfKind("MySQL", "Install the Debian package odbc-mariadb");
}

// "(local)" and "." mean this machine, with or without an instance behind them.
std::string ServerName(const std::string& server) {
    for (const std::string_view local : {"(local)", "."}) {
        const bool starts = server.size() >= local.size() &&
                            EqualsNoCase(std::string_view(server).substr(0, local.size()), local);
        const char next = server.size() > local.size() ? server[local.size()] : '\\';
        if (starts && (next == '\\' || next == ',')) {
            return "localhost" + server.substr(local.size());
        }
    }
    return server;
}

// What a driver has to be told beside what the session says.
void AddDriverSettings(const std::string& library, Keys& keys) {
    if (LibraryIs(library, "tdsodbc")) {
        keys.Replace("ClientCharset", "UTF-8");  // text is fetched and sent as bytes
    } else if (LibraryIs(library, "maodbc")) {
        // The driver takes the login timeout for the connection alone: a server that accepts and
        // then is silent would hold us for good.
        keys.Add("CONN_TIMEOUT", "15");
    } else if (LibraryIs(library, "sqlite")) {
        keys.Add("StepAPI", "1");  // rows come one by one; otherwise all are read at the start
    }
}

void SetSqlServerKeys(const InstalledDriver& driver, Keys& keys) {
    keys.RenameAll(kSqlServerNames);
    if (const auto* integrated = keys.Find("Integrated Security")) {
        if (!EqualsNoCase(*integrated, "false") && !EqualsNoCase(*integrated, "no")) {
            keys.Add("Trusted_Connection", "Yes");
        }
        keys.Drop("Integrated Security");
    }
    if (const auto* server = keys.Find("SERVER")) {
        keys.Replace("SERVER", ServerName(*server));
    }
    if (LibraryIs(driver.library, "tdsodbc")) {
        keys.Add("TDS_Version", "7.4");
    } else if (LibraryIs(driver.library, "msodbcsql") &&
               (LibraryIs(driver.library, "18") || driver.name.find("18") != std::string::npos)) {
        // From this version on the driver encrypts and checks certificates unless it is told not
        // to; the sessions' servers have self-made ones.
        keys.Add("Encrypt", "Optional");
        keys.Add("TrustServerCertificate", "Yes");
    }
}

// It is ours and no driver's. 0 stands for the usual one, never for none.
unsigned TakeAnswerTimeout(Keys& keys) {
    constexpr std::string_view kKey = "ANSWER_TIMEOUT";
    constexpr unsigned kOneDay = 86'400;
    const auto* text = keys.Find(kKey);
    if (text == nullptr) {
        return Login().answer_timeout_s;
    }
    unsigned seconds = 0;
    const auto [rest, error] = std::from_chars(text->data(), text->data() + text->size(), seconds);
    if (error != std::errc() || rest != text->data() + text->size() || seconds > kOneDay) {
        throw BadTimeLimit(kKey, *text);
    }
    keys.Drop(kKey);
    return seconds == 0 ? Login().answer_timeout_s : seconds;
}

// Keys by which a driver manager or a driver loads, or writes, a file of the string's own choice: a
// description of a source that names its driver's library, an extension of SQLite, the client
// library's plug-ins, a store of keys.
constexpr std::string_view kFileKeys[] = {
    "SAVEFILE", "LoadExt", "PLUGIN_DIR", "PLUGINDIR", "KeyStoreLocation", "CEKeystoreProvider"};

// A user who can write a session must not thereby have a program run: a string names drivers that
// the machine's owner has registered, never a library by its path.
void RefuseLibraries(const Keys& keys, const Machine& machine) {
    const auto* name = keys.Find("DRIVER");
    if (name != nullptr && name->find_first_of("/;{}") != std::string::npos &&
        machine.FindDriver(*name) == nullptr && !machine.HasLibrary(*name)) {
        throw UnregisteredLibrary(*name);
    }
    const auto* description = keys.Find("FILEDSN");
    if (description != nullptr && description->find('/') != std::string::npos) {
        throw RefusedKey("FILEDSN");
    }
    for (const auto key : kFileKeys) {
        if (keys.Find(key) != nullptr) {
            throw RefusedKey(key);
        }
    }
}

Login Finish(Keys& keys,
             const Machine& machine,
             std::string source,
             std::string library,
             Provider provider) {
    RefuseLibraries(keys, machine);
    const unsigned answer_timeout_s = TakeAnswerTimeout(keys);
    AddDriverSettings(library, keys);
    return {keys.Text(), std::move(source), std::move(library), provider, answer_timeout_s};
}

Login WithDriver(const InstalledDriver& driver,
                 Keys& keys,
                 const Machine& machine,
                 Provider provider) {
    keys.Replace("DRIVER", driver.name);
    return Finish(keys, machine, driver.name, driver.library, provider);
}

Login ByDriverName(const std::string& name, Keys& keys, const Machine& machine) {
    const auto* driver = machine.FindDriver(name);
    const bool by_its_name = driver != nullptr && EqualsNoCase(driver->name, name);
    const auto protocol =
        driver != nullptr ? ProtocolOf(driver->name, driver->library) : ProtocolOf(name, name);
    const bool is_library = name.find(".so") != std::string::npos;
    if (driver == nullptr && protocol != Protocol::Other && !is_library) {
        driver = &RequireDriver(protocol, machine);
    }
    switch (protocol) {
        case Protocol::SqlServer:
            if (driver != nullptr && !by_its_name) {
                SetSqlServerKeys(*driver, keys);
            } else if (const auto* server = keys.Find("SERVER")) {
                keys.Replace("SERVER", ServerName(*server));
            }
            break;
        case Protocol::Oracle:
            keys.RenameAll(kOracleNames);
            break;
        case Protocol::MySql:
        case Protocol::Other:
            break;
    }
    if (protocol != Protocol::MySql) {
        keys.RenameAll(kLoginNames);
    }
    if (driver != nullptr) {
        return WithDriver(*driver, keys, machine, Provider::Odbc);
    }
    keys.Replace("DRIVER", name);  // without the braces of the other grammar
    return Finish(keys, machine, name, name, Provider::Odbc);
}

Login BySourceName(Keys& keys, const Machine& machine) {
    keys.RenameAll(kLoginNames);
    const auto* dsn = keys.Find("DSN");
    const std::string name = dsn != nullptr ? *dsn : std::string("ODBC");
    for (const auto key : {"UID", "PWD"}) {
        // An empty one would hide what the data source itself says.
        if (const auto* value = keys.Find(key); value != nullptr && value->empty()) {
            keys.Drop(key);
        }
    }
    const auto* source = dsn != nullptr ? machine.FindSource(*dsn) : nullptr;
    return Finish(keys,
                  machine,
                  name,
                  source != nullptr ? machine.LibraryOf(source->driver) : std::string(),
                  Provider::Odbc);
}

// The driver manager would take an empty name of a data source for any that it has, and ends the
// process over one of a driver.
void RequireName(const Keys& keys) {
    const auto is_empty = [&](std::string_view key) {
        const auto* name = keys.Find(key);
        return name != nullptr && name->empty();
    };
    if (is_empty("DSN")) {
        throw NoSourceNamed();
    }
    if (is_empty("DRIVER") && keys.Find("DSN") == nullptr) {
        throw NoDriverNamed();
    }
}

Login ByOdbcKeys(Keys& keys, const Machine& machine) {
    const auto* driver = keys.Find("DRIVER");
    if (driver == nullptr || driver->empty() || *driver == "{}") {
        if (driver != nullptr) {
            keys.Replace("DRIVER", "");
        }
        RequireName(keys);
        keys.Drop("DRIVER");
        return BySourceName(keys, machine);
    }
    std::string name = *driver;
    if (name.size() > 1 && name.front() == '{' && name.back() == '}') {
        name = name.substr(1, name.size() - 2);  // the other grammar knows no braces
    }
    return ByDriverName(name, keys, machine);
}

// The wizard appends the database that was chosen each time that its page is left: of several the
// last one is meant, in this grammar, too. With the first one the tables of the database that was
// chosen would be looked for in another.
void TakeLastDatabase(const ConnectionString& connection, Keys& keys, const Machine& machine) {
    const auto* name = keys.Find("DRIVER");
    if (name != nullptr && keys.Find("Database") != nullptr &&
        ProtocolOf(*name, machine.LibraryOf(*name)) == Protocol::SqlServer) {
        // With a provider the string is read by the other grammar, in which the last one counts.
        keys.Replace("Database",
                     ConnectionString::Parse("Provider=;" + connection.Text()).Get("Database"));
    }
}

Login ByAnySourceProvider(Keys& keys, const Machine& machine) {
    keys.RenameAll(kAnySourceNames);
    if (const auto* extended = keys.Find("Extended Properties")) {
        const auto inner = ConnectionString::Parse(*extended);
        keys.Drop("Extended Properties");
        for (const auto& pair : inner.Pairs()) {
            keys.Add(pair.key, pair.value);
        }
    }
    return ByOdbcKeys(keys, machine);
}

}  // namespace

std::string QuotedValue(const std::string& value) {
    // Only where it must be: some drivers take braces for part of the value.
    const bool plain =
        value.find_first_of(";}") == std::string::npos &&
        (value.empty() || (value.front() != '{' && value.front() != ' ' && value.back() != ' '));
    if (plain) {
        return value;
    }
    std::string quoted = "{";
    for (const char c : value) {
        quoted += c;
        if (c == '}') {
            quoted += c;
        }
    }
    return quoted + "}";
}

Login Translate(const ConnectionString& connection, const Machine& machine) {
    auto keys = KeysOf(connection);
    const auto& provider = connection.Get("Provider");
    if (ContainsNoCase(provider, "SQLOLEDB")) {
        const auto& driver = RequireDriver(Protocol::SqlServer, machine);
        SetSqlServerKeys(driver, keys);
        return WithDriver(driver, keys, machine, Provider::SqlOleDb);
    }
    const bool ms_oracle = ContainsNoCase(provider, "MSDAORA");
    if (ms_oracle || ContainsNoCase(provider, "OraOLEDB")) {
        const auto& driver = RequireDriver(Protocol::Oracle, machine);
        keys.RenameAll(kOracleNames);
        return WithDriver(
            driver, keys, machine, ms_oracle ? Provider::MsdaOra : Provider::OraOleDb);
    }
    if (connection.IsOleDb()) {
        return ByAnySourceProvider(keys, machine);
    }
    TakeLastDatabase(connection, keys, machine);
    return ByOdbcKeys(keys, machine);
}

}  // namespace vantry::odbc
