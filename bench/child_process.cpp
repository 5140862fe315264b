#include "child_process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace vantry::bench {
namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

[[noreturn]] void Become(const Command& command, int errors) {
    const char* in = command.in.empty() ? "/dev/null" : command.in.c_str();
    const char* out = command.out.empty() ? "/dev/null" : command.out.c_str();
    const int input = open(in, O_RDONLY);
    const int output = open(out, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (input < 0 || output < 0) {
        _exit(126);
    }
    dup2(input, 0);
    dup2(output, 1);
    dup2(errors, 2);
    for (const auto& setting : command.environment) {
        const auto equals = setting.find('=');
        setenv(setting.substr(0, equals).c_str(), setting.c_str() + equals + 1, 1);
    }
    std::vector<char*> words;
    for (const auto& word : command.words) {
        words.push_back(const_cast<char*>(word.c_str()));  // execvp's own signature
    }
    words.push_back(nullptr);
    execvp(words[0], words.data());
    _exit(127);
}

std::string ReadBack(std::FILE* file) {
    std::rewind(file);
    std::string text(4000, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file));
    return text;
}

}  // namespace

Seconds RunTimed(const Command& command) {
    const File errors(std::tmpfile(), &std::fclose);
    if (!errors) {
        throw std::runtime_error("no temporary file can be made");
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("fork failed");
    }
    if (child == 0) {
        Become(command, fileno(errors.get()));
    }
    int status = 0;
    rusage used{};
    wait4(child, &status, 0, &used);
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    if (status != 0) {
        throw std::runtime_error(command.words[0] + " failed (status " + std::to_string(status) +
                                 "): " + ReadBack(errors.get()));
    }
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return {wall.count(), seconds(used.ru_utime) + seconds(used.ru_stime)};
}

bool IsInstalled(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::string_view folders = path == nullptr ? "" : path;
    while (!folders.empty()) {
        const auto end = std::min(folders.find(':'), folders.size());
        const std::string file = std::string(folders.substr(0, end)) + "/" + program;
        if (access(file.c_str(), X_OK) == 0) {
            return true;
        }
        folders.remove_prefix(std::min(end + 1, folders.size()));
    }
    return false;
}

}  // namespace vantry::bench
