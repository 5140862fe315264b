#pragma once
// The ends of the matrix's routes: sources that are filled without the loaders, targets that are
// empty, and their rows read back. A stand-in is SQLite's ODBC driver registered under a name of
// that kind; its files are written and read by SQLite itself, past the driver.

#include "fidelity_data.h"
#include "support/private_mariadb.h"
#include "support/private_odbc.h"
#include "support/temp_dir.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::bench {

// The name of the target's table; text files are named by the session.
inline const std::string kTargetTable = "copied";

// Its rows by their number; a row that isn't there is empty.
using ReadRows = std::vector<std::vector<Value>>;

class FidelityPlaces {
public:
    FidelityPlaces();

    // "TEXT", "ACCESS .mdb", "ACCESS .accdb", "MySQL", "ODBC", "MSSQL", "ORACLE", "FOXPRO DIR",
    // "FOXPRO DBC".
    static std::vector<std::string> Sources();
    static std::vector<std::string> Targets();
    // Empty, or what to install for it.
    static std::string Missing(std::string_view place);

    // Makes the source and sets the session's side of it.
    void SetSource(const std::string& place, const FidelityTable& table);
    // Makes an empty target and sets the session's side of it.
    void SetTarget(const std::string& place);
    // The columns of the source that its kind has a type for.
    static std::vector<std::size_t> ColumnsOf(std::string_view place, const FidelityTable& table);
    // The rows of the target that the session has just loaded; not for text.
    ReadRows ReadTarget(const std::string& place,
                        const FidelityTable& table,
                        const std::vector<std::size_t>& columns) const;

private:
    static std::string_view TypeOf(std::string_view place, const FidelityColumn& column);
    std::string ConnectionText(const std::string& place, bool is_target) const;
    std::string File(const std::string& place, bool is_target) const;
    void FillByRecordset(const std::string& place, const FidelityTable& table);
    void FillSqlite(const std::string& place, const FidelityTable& table);
    void WriteText(const FidelityTable& table);
    ReadRows ReadSqlite(const std::string& file,
                        const FidelityTable& table,
                        const std::vector<std::size_t>& columns) const;

    test::TempDir temp_;
    test::PrivateOdbc registry_;
    std::unique_ptr<test::PrivateMariaDb> server_;
};

}  // namespace vantry::bench
