#include "core/folders.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(Folders, WhatTheProgramsKeepLiesBesideThemUnlessTheUserHasAFolderOfHisOwn) {
    struct Case {
        const char* program;
        bool can_write;
        const char* vantry_home;
        const char* data_home;
        const char* home;
        const char* folder;
    };
    const Case cases[] = {
        {"/opt/vantry", true, "", "/d", "/home/u", "/opt/vantry"},
        {"/opt/vantry", false, "", "/d", "/home/u", "/d/vantry"},
        {"/opt/vantry", false, "", "", "/home/u", "/home/u/.local/share/vantry"},
        {"/opt/vantry", false, "", "d", "/home/u", "/home/u/.local/share/vantry"},
        {"/opt/vantry", false, "", "", "", "/opt/vantry"},
        {"/usr/lib/vantry", true, "", "", "/root", "/root/.local/share/vantry"},
        {"/opt/vantry", true, "/srv/v", "/d", "/home/u", "/srv/v"},
        {"/usr/lib/vantry", false, "v", "/d", "/home/u", "/d/vantry"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(WhichApplicationFolder(
                      {one.program, one.can_write, one.vantry_home, one.data_home, one.home}),
                  one.folder)
            << one.program << ' ' << one.can_write << ' ' << one.vantry_home << ' '
            << one.data_home;
    }
}

}  // namespace
}  // namespace vantry
