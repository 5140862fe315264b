#include "files/file_name.h"

#include "data/letter_case.h"

#include <filesystem>
#include <system_error>

namespace vantry::file {

std::string ResolveFileName(std::string_view path) {
    namespace fs = std::filesystem;
    const fs::path wanted(path);
    std::error_code error;
    if (fs::exists(fs::symlink_status(wanted, error))) {
        return std::string(path);
    }
    const std::string name = UpperCased(wanted.filename().string());
    if (name.empty()) {
        return std::string(path);
    }
    const fs::path folder = wanted.has_parent_path() ? wanted.parent_path() : fs::path(".");
    std::string found;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string candidate = entry->path().filename().string();
        // Of several the first by name: a folder lists its entries in no order that lasts.
        if (UpperCased(candidate) == name && (found.empty() || candidate < found)) {
            found = candidate;
        }
    }
    return found.empty() ? std::string(path) : (wanted.parent_path() / found).string();
}

bool IsPlainFileName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

}  // namespace vantry::file
