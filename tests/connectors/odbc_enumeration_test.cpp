#include "connectors/odbc_enumeration.h"

#include "support/private_odbc.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

using Names = std::vector<std::string>;

TEST(OdbcEnumerationTest, RegisteredNamesComeFirstAndEachKindsWordIsThere) {
    const odbc::Machine machine{{{"FreeTDS", "libtdsodbc.so"},
                                 {"MariaDB Unicode", "libmaodbc.so"},
                                 {"ODBC Driver 18 for SQL Server", "libmsodbcsql-18.so"},
                                 {"SQLite3", "libsqlite3odbc.so"}},
                                {}};
    EXPECT_EQ(OdbcDriverNames(machine),
              (Names{"FreeTDS",
                     "MariaDB Unicode",
                     "ODBC Driver 18 for SQL Server",
                     "SQLite3",
                     "MySQL (built in)",
                     "SQL Server (FreeTDS)",
                     "MySQL (MariaDB Unicode)",
                     "Microsoft Access Driver (*.mdb, *.accdb)",
                     "Microsoft Visual FoxPro Driver"}));
    // One that is registered by a built-in name stands once.
    EXPECT_EQ(OdbcDriverNames({{{"Microsoft Access Driver (*.mdb, *.accdb)", "libother.so"}}, {}}),
              (Names{"Microsoft Access Driver (*.mdb, *.accdb)",
                     "MySQL (built in)",
                     "Microsoft Visual FoxPro Driver"}));
}

TEST(OdbcEnumerationTest, SourcesAreDescribedByADriverThatHoldsTheirKindsWord) {
    const odbc::Machine machine{{{"FreeTDS", "libtdsodbc.so"}},
                                {{"erp", "FreeTDS"},
                                 {"old", "/usr/lib/odbc/libtdsodbc.so"},
                                 {"files", "SQLite3"},
                                 {"gone", "/opt/libmaodbc.so"}}};
    std::string shown;
    for (const auto& record : OdbcDsnRecords(machine)) {
        shown += record.DsnName + "=" + record.DsnDriver + ";";
    }
    EXPECT_EQ(shown,
              "erp=SQL Server (FreeTDS);old=SQL Server (FreeTDS);files=SQLite3;"
              "gone=MySQL (/opt/libmaodbc.so);");
    const auto none = OdbcDsnRecords({});
    ASSERT_EQ(none.size(), 1U);
    EXPECT_EQ(none[0].DsnName + none[0].DsnDriver, "");
}

TEST(OdbcEnumerationTest, TheListsAreReadFromTheDriverManagerEachTime) {
    test::PrivateOdbc registry;
    const auto lists = [] {
        EnumerateOdbcDrivers();
        EnumerateOdbcDsns();
        return OdbcDrivers.front() + "|" + OdbcDsns.front().DsnName + "=" +
               OdbcDsns.front().DsnDriver;
    };
    registry.Register({test::PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so")},
                      {{"erp", "Driver=FreeTDS\n"}});
    EXPECT_EQ(lists(), "FreeTDS|erp=SQL Server (FreeTDS)");
    registry.Register({});
    EXPECT_EQ(lists(), "MySQL (built in)|=");
}

}  // namespace
}  // namespace vantry
