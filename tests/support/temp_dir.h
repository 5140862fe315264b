#pragma once
// A folder of a test's own, gone with it.

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace vantry::test {

// A folder for files that needn't reach a disk, where the machine has one in memory: what forces
// its writes down waits for nothing there.
inline std::filesystem::path MemoryFolder() {
    const std::filesystem::path folder = "/dev/shm";
    return ::access(folder.c_str(), W_OK | X_OK) == 0 ? folder
                                                      : std::filesystem::temp_directory_path();
}

// Who may do what with a file: the nine bits of its mode.
inline unsigned ModeOf(const std::filesystem::path& file) {
    return static_cast<unsigned>(std::filesystem::status(file).permissions()) & 0777U;
}

class TempDir {
public:
    TempDir() : TempDir(std::filesystem::temp_directory_path(), "vantry") {}
    TempDir(const std::filesystem::path& parent, const std::string& prefix) {
        std::string pattern = (parent / (prefix + "-XXXXXX")).string();
        path_ = mkdtemp(pattern.data());
    }
    ~TempDir() {
        std::error_code ignored;  // a test that has removed its folder itself is fine
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }
    std::filesystem::path Write(std::string_view name, std::string_view content) const {
        auto file = path_ / name;
        std::ofstream(file, std::ios::binary) << content;
        return file;
    }
    // Of all that is in it or in a folder below, in their order.
    std::vector<std::string> Names(std::string_view below = ".") const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_ / below)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    std::string Read(std::string_view name) const {
        std::ifstream in(path_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

private:
    std::filesystem::path path_;
};

}  // namespace vantry::test
