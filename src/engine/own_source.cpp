// Two connection strings rarely look alike even when they lead to one database, so their parts are
// compared: file or server, port, data source name, then what an owner means to the kind. When in
// doubt the answer is yes: a refused table is an annoyance, an emptied one is a loss.

#include "engine/own_source.h"

#include "core/driver_registry.h"
#include "core/kinds.h"
#include "data/connection_string.h"
#include "data/letter_case.h"
#include "files/file_name.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace vantry {
namespace {

// The words for one thing differ by driver; a string has one of them.
const std::string& FileOrServer(const ConnectionString& connection) {
    return connection.GetAny({"Data Source",
                              "DataSource",
                              "DBQ",
                              "SourceDB",
                              "SERVER",
                              "SERVERNAME",
                              "HOST",
                              "ADDRESS"});
}

const std::string& DatabaseOf(const ConnectionString& connection) {
    return connection.GetAny({"DATABASE", "DB", "Initial Catalog"});
}

const std::string& UserOf(const ConnectionString& connection) {
    return connection.GetAny({"User ID", "UID", "USER"});
}

// An empty server is the local one for every client library that is in use here.
bool IsThisMachine(std::string_view server) {
    constexpr std::string_view kNames[] = {"", ".", "(local)", "localhost", "127.0.0.1", "::1"};
    return std::any_of(std::begin(kNames), std::end(kNames), [&](std::string_view name) {
        return EqualsNoCase(name, server);
    });
}

bool SameFileOrServer(const std::string& source, const std::string& target) {
    if (SameName(source, target) || (IsThisMachine(source) && IsThisMachine(target))) {
        return true;
    }
    // Links and "./" lead to the same file by other names.
    std::error_code no_file;
    return std::filesystem::equivalent(
        file::ResolveFileName(source), file::ResolveFileName(target), no_file);
}

std::string_view PortOf(const ConnectionString& connection) {
    const auto& port = connection.Get("PORT");
    // A string without a port and one that names the usual one lead to the same server.
    return port.empty() ? ThisTarget().default_port : std::string_view(port);
}

// Who may log in, and by which driver, makes no difference to where a connection leads.
bool SamePlace(const ConnectionString& source, const ConnectionString& target) {
    const auto same = [&](std::string_view key) {
        return EqualsNoCase(source.Get(key), target.Get(key));
    };
    if (!SameFileOrServer(FileOrServer(source), FileOrServer(target)) || !same("DSN") ||
        !same("FILEDSN") || !same("SOCKET") || PortOf(source) != PortOf(target)) {
        return false;
    }
    // Strings without any place are the same only when they are so to the letter.
    const bool says_where = !FileOrServer(source).empty() || !DatabaseOf(source).empty() ||
                            source.Has("DSN") || source.Has("FILEDSN");
    return says_where || source.Text() == target.Text();
}

// The target's statements name no owner: the table is in what the connection opens for its user.
bool SameOwner(const TableRec& table,
               const ConnectionString& source,
               const ConnectionString& target) {
    const std::string_view owner = Trimmed(table.Owner);
    const bool same_database = EqualsNoCase(DatabaseOf(source), DatabaseOf(target));
    switch (ThisSource().owner_is) {
        case OwnerIs::Database:
            return owner.empty() ? same_database : EqualsNoCase(owner, DatabaseOf(target));
        case OwnerIs::Schema:
            return same_database && (owner.empty() || EqualsNoCase(owner, "dbo") ||
                                     EqualsNoCase(owner, UserOf(target)));
        case OwnerIs::User:
            return EqualsNoCase(owner.empty() ? std::string_view(UserOf(source)) : owner,
                                UserOf(target));
        case OwnerIs::Nothing:
            break;
    }
    return same_database;
}

std::string_view BareName(std::string_view name) {
    const std::string_view ending = ThisSource().file_ending;
    name = Trimmed(name);
    const bool is_file = !ending.empty() && name.size() > ending.size() &&
                         EqualsNoCase(name.substr(name.size() - ending.size()), ending);
    return is_file ? name.substr(0, name.size() - ending.size()) : name;
}

}  // namespace

bool IsItsOwnSource(const TableRec& source, const TableRec& target) {
    const bool same_kind = SourceType == TargetType || ThisSource().can_be_any_kind;
    if (!same_kind || !SameName(BareName(source.Name), BareName(target.Name))) {
        return false;
    }
    // Names first: parsing two strings for each of a thousand tables is what takes time.
    const auto from = WithDataSource(ConnectionString::Parse(SourceConnStr));
    const auto to = WithDataSource(ConnectionString::Parse(TargetConnStr));
    return SamePlace(from, to) && SameOwner(source, from, to);
}

int CursorForRows(const TableRec& source, const TableRec& target, int usual) {
    return !ThisSource().reads_beside_appends && IsItsOwnSource(source, target) ? adOpenStatic
                                                                                : usual;
}

}  // namespace vantry
