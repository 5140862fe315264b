#pragma once
// Our side of a route: a session as the wizard's pages would leave it, run to its end. It is meant
// to be a process of its own, so that its memory is that of the route alone.

#include <filesystem>
#include <string>

namespace vantry::bench {

// SqlServer and Postgres are targets alone (server_route.h).
enum class Side { Csv, MySql, Access, Dbf, SqlServer, Postgres };

// Where the sides of a route are, all in one working folder.
struct Places {
    explicit Places(std::filesystem::path working_folder) : folder(std::move(working_folder)) {}
    std::filesystem::path folder;

    std::filesystem::path SourceFolder() const { return folder / "in"; }
    std::filesystem::path SourceCsv() const { return SourceFolder() / "orders.csv"; }
    std::filesystem::path SourceAccess() const { return SourceFolder() / "orders.mdb"; }
    std::filesystem::path TargetFolder() const { return folder / "out"; }
    std::filesystem::path TargetCsv() const { return TargetFolder() / "orders.csv"; }
    std::filesystem::path TargetAccess() const { return TargetFolder() / "orders.mdb"; }
    std::filesystem::path SourceDbf() const { return SourceFolder() / "orders.dbf"; }
    std::filesystem::path TargetDbf() const { return TargetFolder() / "orders.dbf"; }
    std::filesystem::path Log() const { return folder / "session.log"; }
    std::filesystem::path Peak() const { return folder / "session.peak"; }
    std::filesystem::path Preparation() const { return folder / "session.preparation"; }
};

// Leaves "Schema.ini" beside the CSV source, as the text source's page does.
void DescribeSource(const Places& places);

// The session in memory, ready to be run.
void PrepareRoute(Side source, Side target, const Places& places, const std::string& server);

enum class Verified { No, Yes };

// Runs the session. The run's log, the peak memory in KiB and the seconds that PrepareRoute took
// are left in files. `server` is the
// connection string of the server where a side is one. A verified run that finds a difference
// throws std::runtime_error.
void RunRoute(Side source,
              Side target,
              const Places& places,
              const std::string& server,
              Verified verified = Verified::No);

// Peak of this program so far, in KiB, into its file.
void LeavePeak(const Places& places);

// Fills a new Access file at the target's place from the CSV source, in columns of the types that a
// designer would choose: it becomes the source of other routes.
void FillAccess(const Places& places);
// The same for a DBF table.
void FillDbf(const Places& places);

}  // namespace vantry::bench
