#include "core/backends.h"

#include "core/data_access.h"
#include "support/private_mariadb.h"
#include "support/private_odbc.h"
#include "support/tds_server.h"
#include "support/temp_dir.h"

namespace vantry::test {
namespace {

// With what the data source lies in: a folder or a server.
template <typename Place>
struct BackendIn : Backend {
    Place place;
};
using InFolder = BackendIn<TempDir>;
using Made = std::unique_ptr<Backend>;

Made MakeText() {
    auto made = std::make_unique<InFolder>();
    made->connection_string =
        "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + made->place.Path().string() +
        ";Extended Properties=\"text;FMT=Delimited\";\"";
    made->types = {"Long", "Text(60)", "DateTime"};
    made->table_name = [](const std::string& name) { return name + ".csv"; };
    made->catalog_name = [](const std::string& name) { return name + "#csv"; };
    made->can_delete = false;
    return made;
}

Made MakeMySql(const char* driver) {
    auto made = std::make_unique<BackendIn<PrivateMariaDb>>();
    made->connection_string = made->place.ConnectionText(driver);
    made->quote_open = made->quote_close = "`";
    made->types = {"INTEGER", "VARCHAR(60)", "DATETIME"};
    return made;
}

Made MakeSqlServer() {
    auto made = std::make_unique<BackendIn<TdsServer>>();
    made->connection_string = made->place.ConnectionText();
    made->types = {"int", "nvarchar(60)", "datetime"};
    return made;
}

Made MakeSqlite() {
    auto made = std::make_unique<InFolder>();
    made->connection_string =
        "DRIVER={SQLite3};Database=" + (made->place / "any.db").string() + ";SyncPragma=OFF";
    made->types = {"integer", "varchar(60)", "datetime"};
    return made;
}

Made MakeAccess(const char* file) {
    auto made = std::make_unique<InFolder>();
    made->connection_string =
        "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + (made->place / file).string();
    made->types = {"Long", "Text(60)", "DateTime"};
    Catalog().Create(made->connection_string);
    return made;
}

Made MakeFoxPro(bool container) {
    auto made = std::make_unique<InFolder>();
    const auto folder = made->place.Path();
    made->connection_string = "Driver={Microsoft Visual FoxPro Driver};SourceType=" +
                              std::string(container ? "DBC" : "DBF") +
                              ";SourceDb=" + (container ? folder / "any.dbc" : folder).string() +
                              ";Persist Security Info=False";
    made->types = {"Integer", "Character(60)", "DateTime"};
    made->text_column = container ? "the_full_name_of_a_person" : "FULL_NAME";
    made->text_sample = "O'Brien \"äöü\" \\ €";
    if (container) {
        Catalog().Create(made->connection_string);
    }
    return made;
}

std::string NothingMissing() {
    return {};
}

std::string MissingMariaDbOdbc() {
    auto missing = PrivateOdbc::Missing("libmaodbc.so", "odbc-mariadb");
    return missing.empty() ? PrivateMariaDb::Missing() : missing;
}

const BackendFactory kBackends[] = {
    {"Text", NothingMissing, MakeText},
    {"MySqlBuiltIn", PrivateMariaDb::Missing, [] { return MakeMySql("MySQL (built in)"); }},
    {"MariaDbOdbc", MissingMariaDbOdbc, [] { return MakeMySql("MariaDB Unicode"); }},
    {"SqliteOdbc",
     [] { return PrivateOdbc::Missing("libsqlite3odbc.so", "libsqliteodbc"); },
     MakeSqlite},
    {"SqlServer", [] { return PrivateOdbc::Missing("libtdsodbc.so", "tdsodbc"); }, MakeSqlServer},
    {"AccessMdb", NothingMissing, [] { return MakeAccess("any.mdb"); }},
    {"AccessAccdb", NothingMissing, [] { return MakeAccess("any.accdb"); }},
    {"FoxProFolder", NothingMissing, [] { return MakeFoxPro(false); }},
    {"FoxProContainer", NothingMissing, [] { return MakeFoxPro(true); }},
};

}  // namespace

std::vector<const BackendFactory*> AllBackends() {
    std::vector<const BackendFactory*> all;
    for (const auto& backend : kBackends) {
        all.push_back(&backend);
    }
    return all;
}

}  // namespace vantry::test
