// A file of a few lines that people write by hand, read whole when a program starts. What isn't
// understood is told and passed over: a slip in one line must not turn the others off. Easy to get
// wrong: the file may be a pipe or a folder, and one that others can write must not name a command.
#include "core/settings.h"

#include "data/ascii.h"
#include "data/paths.h"
#include "data/value_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <utility>

namespace vantry {

Settings CurrentSettings;

namespace {

constexpr std::size_t kLongestFile = 64 * 1024;

std::set<std::string> ToldFaults;
std::vector<std::string> UntoldFaults;

void AddFault(std::string fault) {
    // The file may be read more than once a process; each of its faults is told once.
    if (ToldFaults.insert(fault).second) {
        UntoldFaults.push_back(std::move(fault));
    }
}

bool TakeFlag(bool& flag, std::string_view value) {
    const auto given = ParseBoolean(value);
    flag = given.value_or(flag);
    return given.has_value();
}

// One line's effect; nothing said: it is understood.
std::string TakeKey(Settings& settings, std::string_view key, std::string_view value) {
    struct Flag {
        std::string_view name;
        bool Settings::*place;
    };
    static constexpr Flag kFlags[] = {{"VerifyRuns", &Settings::VerifyRuns},
                                      {"SpreadsheetSafe", &Settings::SpreadsheetSafe},
                                      {"ShowOdbcSource", &Settings::ShowOdbcSource}};
    for (const auto& flag : kFlags) {
        if (EqualsNoCase(key, flag.name)) {
            return TakeFlag(settings.*flag.place, value) ? "" : "takes 1 or 0";
        }
    }
    if (EqualsNoCase(key, "LogGenerations")) {
        const auto count = ParseInt64(value);
        if (!count || *count < 0 || *count > kMostLogGenerations) {
            return "takes a number from 0 to " + std::to_string(kMostLogGenerations);
        }
        settings.LogGenerations = static_cast<int>(*count);
        return {};
    }
    if (EqualsNoCase(key, "OnFailure")) {
        settings.OnFailure = CommandWords(value);
        return settings.OnFailure.empty() && !value.empty() ? "holds a quote that isn't closed"
                                                            : "";
    }
    return "isn't known. Known are VerifyRuns, OnFailure, LogGenerations, SpreadsheetSafe and "
           "ShowOdbcSource";
}

struct OpenFile {
    int descriptor = -1;
    ~OpenFile() {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
};

std::optional<std::string> ContentOf(int descriptor) {
    std::string text;
    std::array<char, 4096> piece{};
    for (;;) {
        const auto count = ::read(descriptor, piece.data(), piece.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        // A file of that length is something else under this name.
        if (count < 0 || text.size() + static_cast<std::size_t>(count) > kLongestFile) {
            return std::nullopt;
        }
        if (count == 0) {
            return text;
        }
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
}

}  // namespace

std::string SettingsFile(const std::string& application_folder) {
    return JoinPath(application_folder, "Vantry.ini");
}

std::vector<std::string> CommandWords(std::string_view command) {
    std::vector<std::string> words;
    bool in_word = false;
    bool quoted = false;
    for (std::size_t i = 0; i < command.size(); ++i) {
        const char c = command[i];
        if (!quoted && (c == ' ' || c == '\t')) {
            in_word = false;
            continue;
        }
        if (!std::exchange(in_word, true)) {
            words.emplace_back();
        }
        if (c == '"' && quoted && i + 1 < command.size() && command[i + 1] == '"') {
            words.back() += command[i++];
        } else if (c == '"') {
            quoted = !quoted;
        } else {
            words.back() += c;
        }
    }
    return quoted ? std::vector<std::string>() : words;
}

Settings ParseSettings(std::string_view text,
                       const std::string& name,
                       std::vector<std::string>& faults) {
    Settings settings;
    if (text.starts_with("\xEF\xBB\xBF")) {
        text.remove_prefix(3);
    }
    for (int number = 1; !text.empty(); ++number) {
        const auto end = std::min(text.find('\n'), text.size());
        const auto line = TrimSpace(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty() || line[0] == ';' || line[0] == '#' || line[0] == '[') {
            continue;
        }
        const auto equals = line.find('=');
        const auto key = TrimSpace(line.substr(0, equals));
        const std::string what = equals == line.npos
                                     ? "is no line of the form Key=Value"
                                     : TakeKey(settings, key, TrimSpace(line.substr(equals + 1)));
        if (!what.empty()) {
            faults.push_back("\"" + std::string(key) + "\" in line " + std::to_string(number) +
                             " of \"" + name + "\" " + what + ". The line is passed over.");
        }
    }
    return settings;
}

void LoadSettings(const std::string& application_folder) {
    // What a former reading has found must not outlive the file.
    CurrentSettings = {};
    const std::string path = SettingsFile(application_folder);
    const OpenFile file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)};
    if (file.descriptor < 0) {
        if (errno != ENOENT && errno != ENOTDIR) {
            AddFault("\"" + path + "\" can't be read (" + std::strerror(errno) +
                     "): nothing of it is in force.");
        }
        return;
    }
    struct stat state {};
    const bool plain = ::fstat(file.descriptor, &state) == 0 && S_ISREG(state.st_mode);
    const auto text = plain ? ContentOf(file.descriptor) : std::nullopt;
    if (!text) {
        AddFault("\"" + path + "\" is no file of settings: nothing of it is in force.");
        return;
    }
    std::vector<std::string> faults;
    CurrentSettings = ParseSettings(*text, path, faults);
    const bool foreign = state.st_uid != ::geteuid() && state.st_uid != 0;
    // Who can write the file could run any program as this user.
    if (!CurrentSettings.OnFailure.empty() && (foreign || (state.st_mode & S_IWOTH) != 0)) {
        CurrentSettings.OnFailure.clear();
        faults.push_back("The command of \"" + path +
                         "\" isn't run: others can write that file. Let its owner alone write it.");
    }
    for (auto& fault : faults) {
        AddFault(std::move(fault));
    }
}

std::vector<std::string> TakeSettingsFaults() {
    return std::exchange(UntoldFaults, {});
}

}  // namespace vantry
