#include "core/folders.h"

#include "data/paths.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace vantry {
namespace {

namespace fs = std::filesystem;

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

bool IsAbsolute(const std::string& path) {
    return path.starts_with('/');
}

}  // namespace

std::string ProgramFolder() {
    // The link of the running process, so that a program started through a symbolic link or the
    // search path still finds what stands beside itself.
    std::error_code error;
    const auto executable = fs::read_symlink("/proc/self/exe", error);
    return error ? std::string(".") : executable.parent_path().string();
}

std::string WhichApplicationFolder(const FolderFacts& facts) {
    if (IsAbsolute(facts.vantry_home)) {
        return facts.vantry_home;
    }
    // Root can write in /usr, too: without the second question its sessions would lie beside the
    // program.
    if (facts.can_write && !facts.program_folder.starts_with("/usr/")) {
        return facts.program_folder;
    }
    if (IsAbsolute(facts.data_home)) {
        return JoinPath(facts.data_home, "vantry");
    }
    if (IsAbsolute(facts.home)) {
        return JoinPath(facts.home, ".local/share/vantry");
    }
    return facts.program_folder;
}

std::string ApplicationFolder() {
    FolderFacts facts;
    facts.program_folder = ProgramFolder();
    facts.can_write = access(facts.program_folder.c_str(), W_OK) == 0;
    facts.vantry_home = Variable("VANTRY_HOME");
    facts.data_home = Variable("XDG_DATA_HOME");
    facts.home = Variable("HOME");
    std::string folder = WhichApplicationFolder(facts);
    std::error_code error;
    if (folder != facts.program_folder && fs::create_directories(folder, error)) {
        // Connection strings with passwords will lie in it.
        fs::permissions(folder, fs::perms::owner_all, error);
    }
    return folder;
}

std::string ProgramPath(const std::string& application_folder, std::string_view name) {
    const std::string path = JoinPath(application_folder, std::string(name));
    std::error_code error;
    // A program that lies beside the data comes first, as in an installation that was copied as a
    // folder.
    return fs::exists(path, error) ? path : JoinPath(ProgramFolder(), std::string(name));
}

}  // namespace vantry
