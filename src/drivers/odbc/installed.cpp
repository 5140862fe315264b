// The driver manager's lists are walked by "next" from a fresh environment on, in the narrow form:
// the files are bytes. Which protocol a driver speaks goes by its library first, because names
// are whatever a user wrote into odbcinst.ini. Easy to get wrong: whether a driver has the UTF-16
// calls is only found by looking into its library, in the folder where the driver manager would
// find it.

#include "drivers/odbc/installed.h"

#include "data/connection_string.h"
#include "data/data_error.h"
#include "drivers/odbc/handles.h"
#include "drivers/odbc/text_form.h"

#include <dlfcn.h>
#include <odbcinst.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <mutex>

namespace vantry::odbc {
namespace {

constexpr std::size_t kNameBytes = 1024;
constexpr std::size_t kMoreBytes = 8192;
constexpr std::size_t kMostEntries = 10'000;  // a list that never ends

struct Entry {
    std::string name;
    std::string more;
};

std::string TextOf(const std::vector<SQLCHAR>& buffer, SQLSMALLINT length) {
    const auto size = std::clamp<std::size_t>(
        length > 0 ? static_cast<std::size_t>(length) : 0, 0, buffer.size() - 1);
    return TextOfUnits(buffer.data(), size);
}

// Both lists are walked alike: by "next" from a fresh environment on.
template <typename ListCall>
std::vector<Entry> ListAll(ListCall list) {
    std::vector<Entry> entries;
    const auto environment = OpenEnvironment();
    std::vector<SQLCHAR> name(kNameBytes);
    std::vector<SQLCHAR> more(kMoreBytes);
    while (entries.size() < kMostEntries) {
        SQLSMALLINT name_length = 0;
        SQLSMALLINT more_length = 0;
        const auto result = list(environment.Get(),
                                 SQL_FETCH_NEXT,
                                 name.data(),
                                 static_cast<SQLSMALLINT>(name.size()),
                                 &name_length,
                                 more.data(),
                                 static_cast<SQLSMALLINT>(more.size()),
                                 &more_length);
        if (!SQL_SUCCEEDED(result)) {
            break;
        }
        Entry entry{TextOf(name, name_length), TextOf(more, more_length)};
        if (entry.name.find_first_not_of(' ') != std::string::npos) {
            entries.push_back(std::move(entry));
        }
    }
    return entries;
}

// The value of `key` in a list "key=value", each closed by a zero byte.
std::string AttributeOf(const std::string& attributes, std::string_view key) {
    for (std::size_t begin = 0; begin < attributes.size();) {
        const auto end = std::min(attributes.find('\0', begin), attributes.size());
        const auto pair = std::string_view(attributes).substr(begin, end - begin);
        const auto equals = pair.find('=');
        if (equals != std::string_view::npos && EqualsNoCase(pair.substr(0, equals), key)) {
            return std::string(pair.substr(equals + 1));
        }
        begin = end + 1;
    }
    return {};
}

// Where the driver manager looks for a library: bare names in the folder "odbc" beside its own.
std::vector<std::string> PlacesOf(const std::string& library) {
    if (library.find('/') != std::string::npos) {
        return {library};
    }
    std::vector<std::string> places;
    Dl_info manager{};
    if (dladdr(reinterpret_cast<void*>(&SQLDriverConnectW), &manager) != 0 &&
        manager.dli_fname != nullptr) {
        const auto folder = std::filesystem::path(manager.dli_fname).parent_path();
        places.push_back((folder / "odbc" / library).string());
        places.push_back((folder / library).string());
    }
    places.push_back(library);
    return places;
}

// Of a section; without a key the names of its keys, each closed by a zero byte.
std::string ProfileText(const std::string& section, const char* key) {
    std::vector<char> buffer(kMoreBytes);
    const int length = SQLGetPrivateProfileString(
        section.c_str(), key, "", buffer.data(), static_cast<int>(buffer.size()), "odbc.ini");
    const auto size = static_cast<std::size_t>(std::max(length, 0));
    return {buffer.data(), std::min(size, buffer.size())};
}

bool LookForWideCalls(const std::string& library) {
    for (const auto& place : PlacesOf(library)) {
        if (void* handle = dlopen(place.c_str(), RTLD_LAZY | RTLD_LOCAL)) {
            const bool wide = dlsym(handle, "SQLDriverConnectW") != nullptr;
            dlclose(handle);
            return wide;
        }
    }
    // What can't be loaded here fails at the connect, by whichever calls.
    return true;
}

}  // namespace

Machine Machine::Read() {
    Machine machine;
    try {
        for (auto& entry : ListAll(SQLDrivers)) {
            machine.drivers.push_back({std::move(entry.name), AttributeOf(entry.more, "Driver")});
        }
        for (auto& entry : ListAll(SQLDataSources)) {
            machine.sources.push_back({std::move(entry.name), std::move(entry.more)});
        }
    } catch (const DataError&) {
        return {};  // a connection by one of them will tell
    }
    return machine;
}

const InstalledDriver* Machine::FindDriver(std::string_view name) const {
    for (const auto& driver : drivers) {
        if (EqualsNoCase(driver.name, name)) {
            return &driver;
        }
    }
    for (const auto& driver : drivers) {
        const auto alias = AliasOf(driver.name, driver.library);
        if (alias && EqualsNoCase(*alias, name)) {
            return &driver;
        }
    }
    return nullptr;
}

const InstalledSource* Machine::FindSource(std::string_view name) const {
    const auto found = std::find_if(sources.begin(), sources.end(), [&](const auto& source) {
        return EqualsNoCase(source.name, name);
    });
    return found != sources.end() ? &*found : nullptr;
}

bool Machine::HasLibrary(std::string_view library) const {
    return std::any_of(drivers.begin(), drivers.end(), [&](const InstalledDriver& driver) {
        return driver.library == library;
    });
}

std::string Machine::LibraryOf(std::string_view driver) const {
    const auto* found = FindDriver(driver);
    return found != nullptr ? found->library : std::string(driver);
}

std::vector<std::pair<std::string, std::string>> KeysOfSource(const std::string& name) {
    std::vector<std::pair<std::string, std::string>> keys;
    const std::string names = ProfileText(name, nullptr);
    for (std::size_t begin = 0; begin < names.size();) {
        const std::string key = names.substr(begin, names.find('\0', begin) - begin);
        begin += key.size() + 1;
        if (!key.empty() && !EqualsNoCase(key, "Driver")) {
            keys.emplace_back(key, ProfileText(name, key.c_str()));
        }
    }
    return keys;
}

std::string_view BaseName(std::string_view path) {
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

bool LibraryIs(std::string_view library, std::string_view word) {
    return ContainsNoCase(BaseName(library), word);
}

Protocol ProtocolOf(std::string_view name, std::string_view library) {
    struct Rule {
        std::string_view library;
        std::string_view name;
        Protocol protocol;
    };
    // Libraries first: a name is whatever somebody wrote into a file. "MySQL Server" is no SQL
    // Server, so MySQL comes before it.
    static constexpr Rule kRules[] = {
        {"maodbc", "mysql", Protocol::MySql},
        {"myodbc", "mariadb", Protocol::MySql},
        {"tdsodbc", "sql server", Protocol::SqlServer},
        {"msodbcsql", "freetds", Protocol::SqlServer},
        {"sqora", "oracle", Protocol::Oracle},
    };
    for (const auto& rule : kRules) {
        if (LibraryIs(library, rule.library)) {
            return rule.protocol;
        }
    }
    for (const auto& rule : kRules) {
        if (ContainsNoCase(name, rule.name)) {
            return rule.protocol;
        }
    }
    return Protocol::Other;
}

std::string_view WordOf(Protocol protocol) {
    switch (protocol) {
        case Protocol::MySql:
            return "MySQL";
        case Protocol::SqlServer:
            return "SQL Server";
        case Protocol::Oracle:
            return "Oracle";
        case Protocol::Other:
            break;
    }
    return {};
}

std::optional<std::string> AliasOf(std::string_view name, std::string_view library) {
    const auto word = WordOf(ProtocolOf(name, library));
    if (word.empty() || ContainsNoCase(name, word)) {
        return std::nullopt;
    }
    return std::string(word) + " (" + std::string(name) + ")";
}

bool IsInstalledDriver(std::string_view name) {
    return Machine::Read().FindDriver(name) != nullptr;
}

bool HasWideCalls(const std::string& library) {
    static std::mutex mutex;
    static std::map<std::string, bool> known;
    const std::lock_guard lock(mutex);
    const auto found = known.find(library);
    if (found != known.end()) {
        return found->second;
    }
    return known[library] = library.empty() || LookForWideCalls(library);
}

}  // namespace vantry::odbc
