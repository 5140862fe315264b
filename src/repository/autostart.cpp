#include "repository/autostart.h"

#include "data/data_error.h"
#include "data/paths.h"
#include "files/file.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace vantry {
namespace {

// Those of our files begin so; another one of the name isn't touched.
constexpr const char* kBeginning = "[Desktop Entry]\nType=Application\nName=Vantry scheduler\n";

std::string Variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

std::string EntryFile() {
    std::string config = Variable("XDG_CONFIG_HOME");
    if (!config.starts_with('/')) {
        const std::string home = Variable("HOME");
        if (home.empty()) {
            throw DataError(kErrUnspecified, "Neither HOME nor XDG_CONFIG_HOME is set.");
        }
        config = JoinPath(home, ".config");
    }
    return JoinPath(config, "autostart/vytimer.desktop");
}

bool IsOurs(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    return text.starts_with(kBeginning);
}

void RequireOurs(const std::string& file) {
    if (!IsOurs(file)) {
        throw DataError(kErrUnspecified,
                        "\"" + file + "\" is none of Vantry's entries: it is left as it is.");
    }
}

// A word of the command, quoted twice: for the command and for the value of the entry. A per cent
// sign would stand for a file.
std::string Word(const std::string& word) {
    std::string quoted = "\"";
    for (const char c : word) {
        switch (c) {
            case '"':
            case '`':
            case '$':
                quoted += "\\\\";
                break;
            case '\\':
                quoted += "\\\\\\";
                break;
            case '%':
                quoted += '%';
                break;
            default:
                break;
        }
        quoted += c;
    }
    return quoted + "\"";
}

}  // namespace

std::string InstallAutostart(const std::string& program) {
    std::string file = EntryFile();
    if (program.find('\n') != std::string::npos) {
        throw DataError(kErrUnspecified, "The path \"" + program + "\" can't stand in an entry.");
    }
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path(), error);
    if (file::StampOf(file)) {
        RequireOurs(file);
    }
    std::string command = Word(program);
    // The desktop's own sessions don't know it.
    if (const std::string home = Variable("VANTRY_HOME"); home.starts_with('/')) {
        command = "env " + Word("VANTRY_HOME=" + home) + " " + command;
    }
    const std::string text = kBeginning + ("Exec=" + command) + "\n";
    file::RemoveFile(file + ".part");
    auto written = file::File::CreateNew(file + ".part", true);
    written.Write(0, std::as_bytes(std::span(text)));
    written.Sync();
    file::RenameReplacing(file + ".part", file);
    return file;
}

std::string RemoveAutostart() {
    std::string file = EntryFile();
    if (!file::StampOf(file)) {
        return {};
    }
    RequireOurs(file);
    file::RemoveFile(file);
    return file;
}

}  // namespace vantry
