#pragma once
// The files that Access itself wrote.

#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace vantry::test {

inline const std::filesystem::path kRealFiles =
    std::filesystem::path(VANTRY_SHARED_DATA) / "access";

class OnRealFiles : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(kRealFiles)) {
            GTEST_SKIP() << kRealFiles << " isn't there";
        }
    }
    std::string CopyOf(const std::string& name) const {
        const auto path = folder_ / name;
        std::filesystem::copy_file(
            kRealFiles / name, path, std::filesystem::copy_options::overwrite_existing);
        std::filesystem::permissions(
            path, std::filesystem::perms::owner_write, std::filesystem::perm_options::add);
        return path;
    }

    TempDir folder_{MemoryFolder(), "vantry"};
};

}  // namespace vantry::test
