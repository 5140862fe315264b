// A folder is a database, and a file in it a table whose name may be spelled in several ways:
// "orders.csv", "orders#csv", in any letter case. What is spelled exactly wins; then the first name
// in byte order that differs in case alone, so that the choice doesn't depend on the order in which
// the file system lists. Easy to get wrong: "#" is also a character of file names, so it is taken
// for a dot only when no file has it. Names with "/" or ".." in them are no tables: they would lead
// out of the folder.

#include "text_format/file_names.h"

#include "data/connection_string.h"
#include "data/letter_case.h"
#include "files/file_name.h"
#include "text_format/errors.h"
#include "text_format/format.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace vantry::text {
namespace fs = std::filesystem;
namespace {

bool Exists(const std::string& path) {
    std::error_code error;
    return fs::exists(path, error);
}

// The entry of `folder` that differs from `name` in letter case only.
std::optional<std::string> FindEntryNoCase(const std::string& folder, std::string_view name) {
    const std::string wanted = UpperCased(name);
    std::optional<std::string> found;
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    while (!error && entry != fs::directory_iterator()) {
        std::string candidate = entry->path().filename().string();
        if (UpperCased(candidate) == wanted && (!found || candidate < *found)) {
            found = std::move(candidate);
        }
        entry.increment(error);
    }
    return found;
}

std::optional<std::string> FindAsSpelledOrNoCase(const std::string& folder,
                                                 const std::string& name) {
    if (!file::IsPlainFileName(name)) {
        return std::nullopt;
    }
    return Exists(PathIn(folder, name)) ? std::optional(name) : FindEntryNoCase(folder, name);
}

}  // namespace

std::optional<std::string> FindFile(const std::string& folder, std::string_view table_name) {
    const std::string name(table_name);
    if (auto found = FindAsSpelledOrNoCase(folder, name)) {
        return found;
    }
    const auto mark = name.rfind('#');
    if (mark == std::string::npos) {
        return std::nullopt;
    }
    std::string dotted = name;
    // The last one alone before all of them: a name may hold both "#" and dots.
    dotted[mark] = '.';
    if (auto found = FindAsSpelledOrNoCase(folder, dotted)) {
        return found;
    }
    std::replace(dotted.begin(), dotted.end(), '#', '.');
    return FindAsSpelledOrNoCase(folder, dotted);
}

// "orders#csv" makes orders.csv; "a#1.csv" has its dot and keeps the "#".
std::string NewFileName(std::string_view table_name) {
    std::string name(table_name);
    const auto mark = name.rfind('#');
    if (mark != std::string::npos && name.find('.', mark) == std::string::npos) {
        name[mark] = '.';
    }
    return name;
}

std::string CatalogName(std::string_view file_name) {
    std::string name(file_name);
    if (const auto dot = name.rfind('.'); dot != std::string::npos) {
        name[dot] = '#';
    }
    return name;
}

bool HasTableExtension(std::string_view file_name) {
    const auto dot = file_name.rfind('.');
    if (dot == std::string_view::npos) {
        return false;
    }
    return std::any_of(
        std::begin(kTableExtensions), std::end(kTableExtensions), [&](std::string_view extension) {
            return EqualsNoCase(file_name.substr(dot + 1), extension);
        });
}

std::vector<std::string> FilesOf(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    while (!error && entry != fs::directory_iterator()) {
        std::error_code unknown;  // a link that leads nowhere is no file
        if (entry->is_regular_file(unknown)) {
            names.push_back(entry->path().filename().string());
        }
        entry.increment(error);
    }
    if (error) {
        throw CannotListFolder(folder, error.message());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string FindFolder(const std::string& folder) {
    std::error_code error;
    if (folder.empty() || folder.find('\0') != std::string::npos) {
        throw FolderMissing(folder);
    }
    if (fs::is_directory(folder, error)) {
        return folder;
    }
    fs::path found = fs::path(folder).is_absolute() ? "/" : ".";
    // Paths from other machines may differ in letter case in any of their parts.
    for (const fs::path& part : fs::path(folder).relative_path()) {
        const std::string name = part.string();
        if (name.empty()) {
            continue;  // what stands behind a closing "/"
        }
        const std::string here = found.string();
        // As it is spelled first: two folders may differ in letter case alone.
        if (Exists(PathIn(here, name))) {
            found /= name;
        } else if (const auto other = FindEntryNoCase(here, name)) {
            found /= *other;
        } else {
            throw FolderMissing(folder);
        }
    }
    if (!fs::is_directory(found, error)) {
        throw FolderMissing(folder);
    }
    return found.string();
}

std::string PathIn(const std::string& folder, std::string_view file_name) {
    std::string path = folder;
    if (!path.ends_with('/')) {
        path += '/';
    }
    path += file_name;
    return path;
}

}  // namespace vantry::text
