#pragma once
// Registration files of a test's own: the driver manager sees the drivers and data sources that
// stand in them and none of the machine's. Make it before the first ODBC call of the process.

#include "support/temp_dir.h"

#include <odbcinst.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace vantry::test {

class PrivateOdbc {
public:
    struct Entry {
        std::string name;
        std::string keys;  // lines "key=value\n"
    };

    PrivateOdbc() {
        setenv("ODBCSYSINI", folder_.Path().c_str(), 1);
        setenv("ODBCINI", (folder_ / "user.ini").c_str(), 1);
        Register({});
    }
    PrivateOdbc(const PrivateOdbc&) = delete;
    PrivateOdbc& operator=(const PrivateOdbc&) = delete;

    // One for all tests of the process: a second object would take the files from the first.
    static PrivateOdbc& OfProcess() {
        static PrivateOdbc registry;
        return registry;
    }

    // Replaces all that is registered.
    void Register(const std::vector<Entry>& drivers, const std::vector<Entry>& sources = {}) {
        folder_.Write("odbcinst.ini", IniText(drivers));
        folder_.Write("odbc.ini", "");
        folder_.Write("user.ini", IniText(sources));
        // The driver manager keeps what it has read of a data source for as long as the process
        // lives, whatever becomes of the file. A change by its own library makes it forget that,
        // also the removal of what isn't there.
        SQLWritePrivateProfileString("none", nullptr, nullptr, "odbc.ini");
    }
    static Entry Driver(const std::string& name, const std::string& library) {
        return {name, "Driver=" + library + "\nThreading=0\n"};
    }

    // Empty when the driver's library is on this machine, else what to install.
    static std::string Missing(const std::string& library, const std::string& package) {
        for (const char* folder :
             {"/usr/lib/x86_64-linux-gnu/odbc", "/usr/lib/aarch64-linux-gnu/odbc"}) {
            if (std::filesystem::exists(std::filesystem::path(folder) / library)) {
                return {};
            }
        }
        return "The Debian package " + package + " isn't installed.";
    }

private:
    static std::string IniText(const std::vector<Entry>& entries) {
        std::string text;
        for (const auto& entry : entries) {
            text += "[" + entry.name + "]\n" + entry.keys + "\n";
        }
        return text;
    }
    TempDir folder_;
};

}  // namespace vantry::test
