#pragma once
// The files that Access itself wrote.

#include <gtest/gtest.h>

#include <filesystem>

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
};

}  // namespace vantry::test
