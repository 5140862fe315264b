// Connection strings are of two families, the OLE DB provider's and the ODBC driver's, and both
// name the same things. A word that is there but says nothing known is taken for its default, as
// FoxPro's own drivers do; a code page that isn't one is an error, since texts would be stored
// wrongly.
#include "drivers/foxpro/driver.h"

#include "data/letter_case.h"
#include "drivers/foxpro/container/new_container.h"
#include "drivers/foxpro/database.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/table/code_page_marks.h"
#include "files/file_name.h"

#include <algorithm>
#include <filesystem>

namespace vantry::foxpro {
namespace {

constexpr std::string_view kEngineName = "Visual FoxPro database engine";
constexpr std::string_view kMachine = "MACHINE";

// Switches of the string: what isn't there or isn't understood keeps its usual setting.
bool IsOn(const std::string& value, bool usual) {
    for (const auto* word : {"yes", "on", "true", "1"}) {
        if (EqualsNoCase(value, word)) {
            return true;
        }
    }
    for (const auto* word : {"no", "off", "false", "0"}) {
        if (EqualsNoCase(value, word)) {
            return false;
        }
    }
    return usual;
}

// Strings of the provider don't say whether it is a folder or a container: the path decides.
bool NamesContainer(const std::string& path) {
    return path.size() > 4 && EqualsNoCase(std::string_view(path).substr(path.size() - 4), ".dbc");
}

DatabaseOptions OptionsOf(const ConnectionString& connection) {
    DatabaseOptions options;
    options.path = connection.GetAny({"SourceDB", "Data Source", "DataSource", "DBQ"});
    // Strings that were made on Windows have backslashes.
    std::replace(options.path.begin(), options.path.end(), '\\', '/');
    if (options.path.empty()) {
        throw DataError(kErrUnspecified,
                        "The connection string names no FoxPro tables: enter the folder of the DBF "
                        "files, or the name of a database container (*.dbc).");
    }
    options.path = file::ResolveFileName(options.path);
    const auto& type = connection.Get("SourceType");
    options.container = type.empty() ? NamesContainer(options.path) : EqualsNoCase(type, "DBC");
    options.null_by_default = IsOn(connection.Get("Null"), true);
    // As FoxPro's own setting: on, deleted records are hidden.
    options.tables.show_deleted = !IsOn(connection.Get("Deleted"), true);
    options.tables.exclusive = IsOn(connection.Get("Exclusive"), false);
    if (const auto& page = connection.Get("CodePage"); !page.empty()) {
        options.tables.code_page = CodePageOfName(page);
        if (!options.tables.code_page) {
            throw DataError(kErrUnspecified,
                            "The connection string names the code page '" + page +
                                "', which isn't a number. Enter one such as CodePage=1252.");
        }
    }
    options.collation = UpperCased(connection.GetAny({"Collate", "Collating Sequence"}));
    if (options.collation == kMachine) {
        options.collation.clear();
    }
    return options;
}

class FoxProDriver : public Driver {
public:
    std::unique_ptr<DriverConnection> Connect(const ConnectionString& connection) override {
        sql::Dialect dialect;
        dialect.kind = sql::Dialect::Kind::FoxPro;
        dialect.text_ignores_case = false;
        dialect.engine_name = kEngineName;
        return sql::ConnectSql(std::make_shared<FoxProDatabase>(OptionsOf(connection)),
                               std::move(dialect));
    }

    void CreateDatabase(const ConnectionString& connection) override {
        const auto options = OptionsOf(connection);
        if (!options.container) {
            throw DataError(kErrUnspecified,
                            "Only a database container (*.dbc) can be made: a folder of DBF files "
                            "is any folder that is there.");
        }
        CreateContainer(options.path, options.tables.code_page.value_or(WindowsCodePageOfLocale()));
    }
};

}  // namespace

std::unique_ptr<Driver> MakeFoxProDriver() {
    return std::make_unique<FoxProDriver>();
}

}  // namespace vantry::foxpro
