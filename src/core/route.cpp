// Looks into the connection string for what names a place, by the keys of all kinds in one order,
// and takes its last part: that is what the user typed or picked. The page may show other text by
// now, so that nothing here is told what its fields hold.
// Easy to get wrong: passwords stand in the same string, so that only known keys are ever shown.
#include "core/route.h"

#include "core/kinds.h"
#include "core/session_state.h"
#include "data/ascii.h"
#include "data/connection_string.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

namespace vantry {
namespace {

struct KindName {
    std::string_view kind;
    std::string_view words;
};
constexpr KindName kKindNames[] = {{"ORACLE", "Oracle"},
                                   {"ACCESS", "MS Access"},
                                   {"FOXPRO", "FoxPro/DBF"},
                                   {"MySQL", "MySQL"},
                                   {"MSSQL", "MS SQL Server"},
                                   {"ODBC", "ODBC"},
                                   {"TEXT", "text files"},
                                   {"TEXTPOLL", "a polled folder"}};

std::string FolderInWords(const std::string& folder) {
    return "the folder " + LastPartOf(folder);
}

// A folder of text or DBF files stands where others have a file.
bool NamesAFolder(const ConnectionString& connection, const std::string& place) {
    return ContainsNoCase(connection.Get("Extended Properties"), "text") ||
           EqualsNoCase(connection.Get("SourceType"), "DBF") || place.ends_with('/');
}

}  // namespace

Side SideOfPage(std::string_view page) {
    for (const auto& kind : AllKinds()) {
        if (kind.source.page == page) {
            return Side::Source;
        }
        if (kind.target.page == page) {
            return Side::Target;
        }
    }
    return Side::None;
}

std::string_view KindInWords(std::string_view kind) {
    for (const auto& name : kKindNames) {
        if (name.kind == kind) {
            return name.words;
        }
    }
    return {};
}

std::string LastPartOf(const std::string& path) {
    const auto end = path.find_last_not_of('/');
    if (end == std::string::npos) {
        return path;
    }
    const auto before = path.rfind('/', end);
    return path.substr(before == std::string::npos ? 0 : before + 1,
                       end - (before == std::string::npos ? 0 : before + 1) + 1);
}

std::string CountInWords(std::size_t count, std::string_view one, std::string_view many) {
    return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

std::string PlaceInWords(const std::string& connection_string) {
    const auto connection = ConnectionString::Parse(connection_string);
    const std::string& database = connection.GetAny({"Database", "Initial Catalog"});
    const std::string& server = connection.GetAny({"Server", "Data Source", "DBQ", "SourceDB"});
    // A path is the database itself; a plain name is a server.
    const std::string& place = connection.GetAny({"Data Source", "DBQ", "SourceDB"});
    if (place.find('/') != std::string::npos) {
        return NamesAFolder(connection, place) ? FolderInWords(place) : LastPartOf(place);
    }
    const std::string& dsn = connection.Get("DSN");
    if (server.empty() && dsn.empty()) {
        return database;
    }
    const std::string where = server.empty() ? "the data source " + dsn : server;
    return database.empty() ? where : database + " on " + where;
}

std::string SourceInWords() {
    const std::string place = PlaceInWords(SourceConnStr);
    if (place.empty()) {
        return {};
    }
    const bool files = ThisSource().text_files;
    return place + ", " +
           CountInWords(SrcTables.size(), files ? "file" : "table", files ? "files" : "tables");
}

std::string TargetInWords() {
    if (ThisTarget().loader != Loader::Files) {
        return PlaceInWords(TargetConnStr);
    }
    return TextDestDir.empty() ? std::string()
                               : TextDestExt + " files in " + FolderInWords(TextDestDir);
}

std::string RouteInWords(const std::string& source, const std::string& target) {
    const auto side = [](const std::string& words, std::string_view kind) {
        return words.empty() ? std::string(KindInWords(kind)) : words;
    };
    return side(source, SourceType) + " \u2192 " + side(target, TargetType);
}

std::string ReadOnlyInWords(const std::string& path) {
    // By the rights of the moment, as opening the file goes by them.
    const auto allows = [](const std::string& name, int what) {
        return ::faccessat(AT_FDCWD, name.c_str(), what, AT_EACCESS) == 0;
    };
    if (path.find('/') == std::string::npos || !allows(path, F_OK)) {
        return {};
    }
    constexpr const char* kRemedy =
        " may not be written: a run will fail. Give it write permission, or choose another target.";
    if (!allows(path, W_OK)) {
        return LastPartOf(path) + kRemedy;
    }
    // What a run changes in a file is noted beside it first.
    std::error_code error;
    const auto folder = std::filesystem::path(path).parent_path();
    if (!std::filesystem::is_directory(path, error) && !allows(folder.string(), W_OK)) {
        return "The folder of " + LastPartOf(path) + kRemedy;
    }
    return {};
}

std::string ReadOnlyTargetInWords() {
    return ReadOnlyInWords(
        ThisTarget().loader == Loader::Files
            ? TextDestDir
            : ConnectionString::Parse(TargetConnStr).GetAny({"Data Source", "DBQ", "SourceDB"}));
}

std::string StaleFieldInWords(const std::string& connected,
                              const std::string& field_then,
                              const std::string& field_now) {
    const std::string is = (connected.empty() ? "Something else" : connected) + " is connected; ";
    if (field_then == field_now) {
        return is + "what was changed since has not been loaded.";
    }
    return field_now.empty() ? is + "the field has been emptied since."
                             : is + LastPartOf(field_now) + " has not been loaded.";
}

}  // namespace vantry
