#include "drivers/foxpro/table/sidecars.h"

#include "drivers/foxpro/format.h"
#include "files/file.h"
#include "files/file_lock.h"
#include "files/file_name.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace vantry::foxpro {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 2> kExtensions = {".fpt", ".cdx"};
constexpr std::string_view kAside = "-dropped";

bool IsUpper(std::string_view extension) {
    return extension.size() > 1 && extension[1] >= 'A' && extension[1] <= 'Z';
}

template <typename Action>
void ForEachSidecar(const std::string& path, Action&& action) {
    for (const auto extension : kExtensions) {
        const auto sidecar = Sidecar(path, extension);
        action(sidecar, sidecar + std::string(kAside));
    }
}

}  // namespace

// A new one is spelled as its table is: .FPT beside .DBF, so that programs that look at case find
// it.
std::string Sidecar(const std::string& path, std::string_view extension) {
    const fs::path given(path);
    std::string suffix(extension);
    if (IsUpper(given.extension().string())) {
        std::transform(suffix.begin(), suffix.end(), suffix.begin(), [](char c) {
            return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        });
    }
    return file::ResolveFileName((given.parent_path() / given.stem()).string() + suffix);
}

void SetSidecarsAside(const std::string& path) {
    ForEachSidecar(path, [](const std::string& sidecar, const std::string& aside) {
        if (file::StampOf(sidecar)) {
            file::RenameReplacing(sidecar, aside);
        }
    });
}

void BringBackSidecars(const std::string& path) {
    // The name that is set aside may be spelled otherwise than the table's.
    for (const auto extension : kExtensions) {
        const auto aside = file::ResolveFileName(Sidecar(path, extension) + std::string(kAside));
        const auto sidecar = aside.substr(0, aside.size() - kAside.size());
        if (!file::StampOf(aside) || file::StampOf(sidecar)) {
            continue;
        }
        // Whoever is just dropping the table holds this lock.
        const auto table = file::File::Open(path, file::OpenMode::Read);
        if (!file::LockedByOther(table, file::LockByte::Writer, file::LockKind::Shared)) {
            file::RenameNoReplace(aside, sidecar);
        }
    }
}

void ForgetSetAside(const std::string& path) {
    ForEachSidecar(path, [](const std::string&, const std::string& aside) {
        file::RemoveFile(file::ResolveFileName(aside));
    });
}

// The .dbf goes last and comes back first: sidecars without it are nobody's, and those of one that
// is there come back when it is opened.
void SetTableAside(const std::string& path) {
    SetSidecarsAside(path);
    if (file::StampOf(path)) {
        file::RenameReplacing(path, path + std::string(kAside));
    }
    file::SyncFolderOf(path);
}

bool IsTableAside(const std::string& path) {
    return file::StampOf(path + std::string(kAside)).has_value();
}

void BringBackTableAside(const std::string& path) {
    if (IsTableAside(path)) {
        file::RenameNoReplace(path + std::string(kAside), path);
        BringBackSidecars(path);
        file::SyncFolderOf(path);
    }
}

void ForgetTableAside(const std::string& path) {
    file::RemoveFile(path + std::string(kAside));
    ForgetSetAside(path);
}

// No more than the header, so nothing of anybody's can be in it.
void RemoveEmptyMemoFile(const std::string& path) {
    if (const auto stamp = file::StampOf(path); stamp && stamp->size <= kMemoHeaderSize) {
        file::RemoveFile(path);
    }
}

}  // namespace vantry::foxpro
