// SQL Server and Oracle without a server of theirs: real drivers of other sources under names of
// that kind, the real driver of SQL Server as far as it comes without one, and what is registered.

#include "drivers/odbc/installed.h"
#include "drivers/odbc/odbc_fixture.h"

namespace vantry::test {
namespace {

class StandInTest : public DriverTest {
protected:
    StandInTest() : DriverTest(kSqliteLibrary, "libsqliteodbc") {
        Registry().Register(
            {PrivateOdbc::Driver("SQL Server", kSqliteLibrary),
             PrivateOdbc::Driver("Oracle ODBC Driver", kSqliteLibrary)},
            {{"orcl", "Driver=Oracle ODBC Driver\nDatabase=" + File("oracle") + "\n"}});
    }
    std::string File(const std::string& name) const { return (folder_ / name).string(); }
    TempDir folder_;
};

TEST_F(StandInTest, OracleIsReachedByEachOfItsTemplatesAndKeepsItsNames) {
    const auto service = "svc;Database=" + File("oracle");
    for (const std::string& text :
         {"Provider=MSDAORA;Data Source=" + service + ";User ID=scott;Password=tiger;",
          "Provider=OraOLEDB.Oracle;Data Source=" + service + ";User ID=scott;Password=tiger;",
          "DRIVER=Oracle ODBC Driver;SERVER=" + service + ";User ID=scott;Password=tiger;",
          "DRIVER=Oracle in OraHome;SERVER=" + service + ";User ID=scott;Password=tiger;",
          std::string("DSN=orcl;User ID=scott;Password=tiger;")}) {
        std::filesystem::remove(File("oracle"));
        const auto connection = Connect(text);
        connection->Execute(
            "Create Table emp(\rempno Number(10,2),\rename Varchar2(20),\rpaid Varchar2(1),\rnote "
            "CLOB,\rhired Date\r)");
        const auto insert =
            connection->Prepare("INSERT INTO emp (empno,ename,paid,note,hired) VALUES (?,?,?,?,?)",
                                std::vector<ParameterInfo>{{adNumeric, 19, 10, 2},
                                                           {adVarChar, 20},
                                                           {adVarChar, 2},
                                                           {adLongVarChar, 0},
                                                           {adDBTimeStamp, 16}});
        insert->Execute(std::vector<Cell>{Cell::FromDecimal({1250, 2}),
                                          Cell::Text("Ø"),
                                          Cell::Text("T"),
                                          Cell::Null(),
                                          Cell::FromDateTime({36'526, 0})});
        const auto cursor = connection->OpenCursor("SELECT \"empno\",\"paid\" FROM emp");
        const bool native =
            text.starts_with("Provider=OraOLEDB") || text.starts_with("Provider=MSD");
        EXPECT_EQ(cursor->Columns()[0].type, native ? adVarNumeric : adVarChar) << text;
        EXPECT_EQ(Shown(RowsOf(*cursor)[0][1]), "text:T") << text;
    }
}

TEST_F(StandInTest, RegisteredDriversAndSourcesAreFoundByNameAndAlias) {
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
    EXPECT_FALSE(odbc::HasWideCalls(kSqliteLibrary));
    if (PrivateOdbc::Missing(kFreeTdsLibrary, "").empty()) {
        EXPECT_TRUE(odbc::HasWideCalls(kFreeTdsLibrary));
    }
    EXPECT_TRUE(odbc::HasWideCalls("libnosuchodbc.so"));
}

class FreeTdsTest : public DriverTest {
protected:
    FreeTdsTest() : DriverTest(kFreeTdsLibrary, "tdsodbc") {
        Registry().Register({PrivateOdbc::Driver("FreeTDS", kFreeTdsLibrary),
                             PrivateOdbc::Driver("PostgreSQL Unicode", kPostgreSqlLibrary),
                             PrivateOdbc::Driver("Gone", "libnosuchodbc.so")});
    }
    static std::string Said(const std::string& text) {
        return ErrorOf([&] { Connect(text); }).Description();
    }
};

TEST_F(FreeTdsTest, ASqlServerThatIsntThereIsToldInTheDriversOwnWords) {
    const auto closed = Said("Provider=SQLOLEDB.1;Server=127.0.0.1,1;uid=sa;pwd=s3cret;Database=d");
    EXPECT_TRUE(Has(closed, "Adaptive Server is unavailable"));
    EXPECT_FALSE(Has(closed, "s3cret"));
    EXPECT_FALSE(Has(closed, "Unable to connect to data source"));
    const auto unknown = Said("Provider=SQLOLEDB.1;Server=nosuch.invalid;uid=sa;pwd=s3cret");
    EXPECT_TRUE(Has(unknown, "Unknown host machine name"));
}

TEST_F(FreeTdsTest, DriversThatCantBeLoadedOrReachedSaySo) {
    const auto gone = Said("DRIVER={Gone};SERVER=h");
    EXPECT_TRUE(Has(gone, "libnosuchodbc.so"));
    const auto masked = Said("DRIVER={/nowhere/s3cret-pass.so};SERVER=h;PWD=s3cret-pass");
    EXPECT_TRUE(Has(masked, "/nowhere/"));
    EXPECT_FALSE(Has(masked, "s3cret-pass"));
    EXPECT_TRUE(Has(Said("DRIVER={Never heard of};SERVER=h"), "Never heard of"));
    if (PrivateOdbc::Missing(kPostgreSqlLibrary, "odbc-postgresql").empty()) {
        const auto refused =
            Said("DRIVER={PostgreSQL Unicode};Server=127.0.0.1;Port=1;Database=d;UID=a;PWD=b");
        EXPECT_TRUE(Has(refused, "127.0.0.1"));
    }
}

}  // namespace
}  // namespace vantry::test
