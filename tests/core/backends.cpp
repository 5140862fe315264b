#include "core/backends.h"

#include "core/data_access.h"
#include "support/private_mariadb.h"
#include "support/tds_server.h"
#include "support/temp_dir.h"

#include <filesystem>

namespace vantry::test {
namespace {

std::string NothingMissing() {
    return {};
}

class TextBackend : public Backend {
public:
    TextBackend() {
        connection_string =
            "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder_.Path().string() +
            ";Extended Properties=\"text;FMT=Delimited\";\"";
        types = {"Long", "Text(60)", "DateTime"};
        table_name = [](const std::string& name) { return name + ".csv"; };
        catalog_name = [](const std::string& name) { return name + "#csv"; };
        can_delete = false;
    }

private:
    TempDir folder_;
};

class MySqlBackend : public Backend {
public:
    explicit MySqlBackend(const std::string& driver) {
        connection_string = server_.ConnectionText(driver);
        quote_open = quote_close = "`";
        types = {"INTEGER", "VARCHAR(60)", "DATETIME"};
    }

private:
    PrivateMariaDb server_;
};

class SqlServerBackend : public Backend {
public:
    SqlServerBackend() {
        connection_string = server_.ConnectionText();
        types = {"int", "nvarchar(60)", "datetime"};
    }

private:
    TdsServer server_;
};

class SqliteBackend : public Backend {
public:
    SqliteBackend() {
        connection_string =
            "DRIVER={SQLite3};Database=" + (folder_ / "any.db").string() + ";SyncPragma=OFF";
        types = {"integer", "varchar(60)", "datetime"};
    }

private:
    TempDir folder_;
};

class AccessBackend : public Backend {
public:
    explicit AccessBackend(const std::string& extension) {
        connection_string = "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" +
                            (folder_ / ("any" + extension)).string();
        types = {"Long", "Text(60)", "DateTime"};
        Catalog catalog;
        catalog.Create(connection_string);
    }

private:
    TempDir folder_;
};

class FoxProFolderBackend : public Backend {
public:
    FoxProFolderBackend() {
        connection_string = "Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDb=" +
                            folder_.Path().string() + ";Persist Security Info=False";
        types = {"Integer", "Character(60)", "DateTime"};
        text_column = "FULL_NAME";
        text_sample = "O'Brien \"äöü\" \\ €";
    }

private:
    TempDir folder_;
};

class FoxProContainerBackend : public Backend {
public:
    FoxProContainerBackend() {
        connection_string = "Driver={Microsoft Visual FoxPro Driver};SourceType=DBC;SourceDb=" +
                            (folder_ / "any.dbc").string() + ";Persist Security Info=False";
        types = {"Integer", "Character(60)", "DateTime"};
        text_column = "the_full_name_of_a_person";
        text_sample = "O'Brien \"äöü\" \\ €";
        Catalog catalog;
        catalog.Create(connection_string);
    }

private:
    TempDir folder_;
};

std::string MissingOdbc(const std::string& library, const std::string& package) {
    for (const char* folder :
         {"/usr/lib/x86_64-linux-gnu/odbc", "/usr/lib/aarch64-linux-gnu/odbc"}) {
        if (std::filesystem::exists(std::filesystem::path(folder) / library)) {
            return {};
        }
    }
    return "The Debian package " + package + " isn't installed.";
}

std::string MissingMariaDbOdbc() {
    auto missing = MissingOdbc("libmaodbc.so", "odbc-mariadb");
    return missing.empty() ? PrivateMariaDb::Missing() : missing;
}

const BackendFactory kText{"Text", NothingMissing, [] { return std::make_unique<TextBackend>(); }};
const BackendFactory kMySql{"MySqlBuiltIn", PrivateMariaDb::Missing, [] {
                                return std::make_unique<MySqlBackend>("MySQL (built in)");
                            }};
const BackendFactory kMariaDbOdbc{"MariaDbOdbc", MissingMariaDbOdbc, [] {
                                      return std::make_unique<MySqlBackend>("MariaDB Unicode");
                                  }};
const BackendFactory kSqliteOdbc{"SqliteOdbc",
                                 [] { return MissingOdbc("libsqlite3odbc.so", "libsqliteodbc"); },
                                 [] { return std::make_unique<SqliteBackend>(); }};
const BackendFactory kSqlServer{"SqlServer",
                                [] { return MissingOdbc("libtdsodbc.so", "tdsodbc"); },
                                [] { return std::make_unique<SqlServerBackend>(); }};
const BackendFactory kAccessMdb{
    "AccessMdb", NothingMissing, [] { return std::make_unique<AccessBackend>(".mdb"); }};
const BackendFactory kFoxProFolder{
    "FoxProFolder", NothingMissing, [] { return std::make_unique<FoxProFolderBackend>(); }};
const BackendFactory kFoxProContainer{
    "FoxProContainer", NothingMissing, [] { return std::make_unique<FoxProContainerBackend>(); }};
const BackendFactory kAccessAccdb{
    "AccessAccdb", NothingMissing, [] { return std::make_unique<AccessBackend>(".accdb"); }};

}  // namespace

std::vector<const BackendFactory*> AllBackends() {
    return {&kText,
            &kMySql,
            &kMariaDbOdbc,
            &kSqliteOdbc,
            &kSqlServer,
            &kAccessMdb,
            &kAccessAccdb,
            &kFoxProFolder,
            &kFoxProContainer};
}

}  // namespace vantry::test
