#pragma once
// From the names that tables have in SQL to the files of a folder. Files come from systems that
// ignore letter case, so a name that isn't there as spelled is looked for without regard to it.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::text {

// The name of the file that a table name means: the name itself, else with its last "#" for ".",
// else with every "#" for "."; each as spelled or, failing that, the first in byte order that
// differs in letter case only. Nothing if there is no such file.
std::optional<std::string> FindFile(const std::string& folder, std::string_view table_name);

// The name that a new table's file gets: a last "#" with no "." behind it becomes the "." of the
// extension.
std::string NewFileName(std::string_view table_name);

// How the catalogue spells a file's name: the last "." becomes "#".
std::string CatalogName(std::string_view file_name);

bool HasTableExtension(std::string_view file_name);

// Names of the regular files of a folder, in byte order. Throws DataError if it can't be listed.
std::vector<std::string> FilesOf(const std::string& folder);

// The folder as it is spelled on the disk; throws DataError if there is none.
std::string FindFolder(const std::string& folder);

std::string PathIn(const std::string& folder, std::string_view file_name);

}  // namespace vantry::text
