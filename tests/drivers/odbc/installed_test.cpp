// What is registered with the driver manager, and what is said of drivers that don't work.

#include "drivers/odbc/installed.h"

#include "drivers/odbc/odbc_fixture.h"

namespace vantry::test {
namespace {

TEST(InstalledTest, RegisteredDriversAndSourcesAreFoundByNameAndAlias) {
    Registry().Register(
        {PrivateOdbc::Driver("FreeTDS", kFreeTdsLibrary),
         PrivateOdbc::Driver("MariaDB Unicode", kMariaDbLibrary),
         PrivateOdbc::Driver("SQLite3", kSqliteLibrary)},
        {{"shop", "Driver=MariaDB Unicode\n"}, {"erp", "Driver=/x/libtdsodbc.so\n"}});
    const auto machine = odbc::Machine::Read();
    ASSERT_EQ(machine.drivers.size(), 3U);
    EXPECT_EQ(machine.drivers[0].library, kFreeTdsLibrary);
    ASSERT_EQ(machine.sources.size(), 2U);
    EXPECT_EQ(machine.sources[1].driver, "/x/libtdsodbc.so");
    for (const char* name : {"freetds", "SQL Server (FreeTDS)", "mysql (mariadb unicode)"}) {
        EXPECT_TRUE(odbc::IsInstalledDriver(name)) << name;
    }
    for (const char* name : {"SQL Server", "MySQL ODBC 5.1 Driver", "MySQL (built in)", ""}) {
        EXPECT_FALSE(odbc::IsInstalledDriver(name)) << name;
    }
    if (PrivateOdbc::Missing(kSqliteLibrary, "").empty() &&
        PrivateOdbc::Missing(kFreeTdsLibrary, "").empty()) {
        EXPECT_FALSE(odbc::HasWideCalls(kSqliteLibrary));
        EXPECT_TRUE(odbc::HasWideCalls(kFreeTdsLibrary));
    }
    EXPECT_TRUE(odbc::HasWideCalls("libnosuchodbc.so"));
}

TEST(InstalledTest, DriversThatCantBeLoadedOrReachedSaySo) {
    Registry().Register({PrivateOdbc::Driver("PostgreSQL Unicode", kPostgreSqlLibrary),
                         PrivateOdbc::Driver("Gone", "libnosuchodbc.so")});
    const auto said = [](const std::string& text) {
        return ErrorOf([&] { Connect(text); }).Description();
    };
    const auto gone = said("DRIVER={Gone};SERVER=h");
    EXPECT_TRUE(Has(gone, "libnosuchodbc.so"));
    const auto masked = said("DRIVER={/nowhere/s3cret-pass.so};SERVER=h;PWD=s3cret-pass");
    EXPECT_TRUE(Has(masked, "/nowhere/"));
    EXPECT_FALSE(Has(masked, "s3cret-pass"));
    EXPECT_TRUE(Has(said("DRIVER={Never heard of};SERVER=h"), "Never heard of"));
    if (PrivateOdbc::Missing(kPostgreSqlLibrary, "odbc-postgresql").empty()) {
        const auto refused =
            said("DRIVER={PostgreSQL Unicode};Server=127.0.0.1;Port=1;Database=d;UID=a;PWD=b");
        EXPECT_TRUE(Has(refused, "127.0.0.1"));
    }
}

}  // namespace
}  // namespace vantry::test
