// Connection strings of Access's two providers and of its ODBC driver lead here. A string for the
// older provider must not open a newer file: sessions are moved between machines, and what works
// here would fail where that provider is the real one.

#include "drivers/access/driver.h"

#include "drivers/access/catalogue/database_creator.h"
#include "drivers/access/database.h"
#include "drivers/access/errors.h"
#include "files/file_name.h"

namespace vantry::access {
namespace {

constexpr std::string_view kEngineName = "Microsoft Access database engine";

struct Target {
    std::string path;
    std::string password;
    bool jet_only = false;  // asked for through the provider that knows .mdb alone
};

Target TargetOf(const ConnectionString& connection) {
    Target target;
    target.path = connection.GetAny({"Data Source", "DBQ", "DataSource"});
    target.password = connection.GetAny({"Jet OLEDB:Database Password", "PWD", "Password"});
    target.jet_only = ContainsNoCase(connection.Get("Provider"), "Microsoft.Jet.OLEDB");
    if (target.path.empty()) {
        throw DataError(kErrUnspecified,
                        "The connection string names no database file: enter the name of an "
                        "Access database (.mdb or .accdb).");
    }
    return target;
}

class AccessDriver : public Driver {
public:
    std::unique_ptr<DriverConnection> Connect(const ConnectionString& connection) override {
        const auto target = TargetOf(connection);
        auto file =
            std::make_shared<DatabaseFile>(file::ResolveFileName(target.path), target.password);
        if (target.jet_only && file->store->Header().ace) {
            throw NotAnAccessFile(target.path,
                                  "it is a file of Access 2007 or later, which the Jet provider "
                                  "doesn't know. Use the ACE provider");
        }
        sql::Dialect dialect;
        dialect.kind = sql::Dialect::Kind::Jet;
        dialect.text_ignores_case = true;
        dialect.engine_name = kEngineName;
        return sql::ConnectSql(std::make_shared<AccessDatabase>(std::move(file)),
                               std::move(dialect));
    }

    void CreateDatabase(const ConnectionString& connection) override {
        // The ending says what is to be made, whichever provider is asked: a file that no other
        // program could open by its name would be of no use.
        CreateDatabaseFile(TargetOf(connection).path);
    }
};

}  // namespace

std::unique_ptr<Driver> MakeAccessDriver() {
    return std::make_unique<AccessDriver>();
}

}  // namespace vantry::access
