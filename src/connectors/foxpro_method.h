#pragma once
// How the FoxPro pages connect: a folder of tables or a database container, by which driver.

#include <string>

namespace vantry {

enum class FoxProForm { Folder, Container };
enum class FoxProMethod { OdbcDriver, OleDb, Dsn };

struct FoxProSource {
    std::string path;  // the folder or the .dbc file, as typed
    std::string driver;
    std::string dsn;
};

std::string FoxProSourceString(FoxProForm form, FoxProMethod method, const FoxProSource& source);
// The target's driver is always the same, built in where it isn't installed.
std::string FoxProTargetString(FoxProForm form, const std::string& path);

// The folder or the .dbc file that a data source names; empty where it says none.
std::string FoxProPathOfDsn(const std::string& dsn);

// The mode of FoxSrcMode and FoxDestMode.
const char* FoxProMode(FoxProForm form);
// What a run puts before a table's name: the closed folder; nothing in a container.
std::string FoxProPrefix(FoxProForm form, const std::string& path);

}  // namespace vantry
