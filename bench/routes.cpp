#include "routes.h"

#include "arrival_check.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vantry::bench {
namespace {

constexpr std::array kRoutes = {
    Route{"csv-csv", Side::Csv, Side::Csv, "ogr2ogr"},
    Route{"csv-mysql", Side::Csv, Side::MySql, "mariadb mariadbd"},
    Route{"mysql-csv", Side::MySql, Side::Csv, "mariadb mariadbd"},
};

struct Package {
    std::string_view program;
    std::string_view package;
};
constexpr std::array kPackages = {
    Package{"ogr2ogr", "gdal-bin"},
    Package{"mariadb", "mariadb-client"},
    Package{"mdb-export", "mdbtools"},
    Package{"sqlite3", "sqlite3"},
};

constexpr std::int64_t kRowsPerStatement = 100;  // as a run sends them
constexpr std::int64_t kRowsPerFilling = 1000;

std::string ReadFile(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// The last lines of a run's log: what went wrong stands there.
std::string EndOf(const std::string& log) {
    constexpr std::size_t kEnd = 1500;
    return log.size() <= kEnd ? log : "..." + log.substr(log.size() - kEnd);
}

}  // namespace

std::span<const Route> AllRoutes() {
    return kRoutes;
}

const Route* FindRoute(std::string_view name) {
    for (const auto& route : kRoutes) {
        if (route.name == name) {
            return &route;
        }
    }
    return nullptr;
}

std::string MissingFor(const Route& route) {
    std::istringstream programs{std::string(route.programs)};
    for (std::string program; programs >> program;) {
        if (program == "mariadbd") {
            if (const auto missing = test::PrivateMariaDb::Missing(); !missing.empty()) {
                return missing;
            }
            continue;
        }
        for (const auto& entry : kPackages) {
            if (entry.program == program && !IsInstalled(program)) {
                return program + " isn't installed: apt-get install " + std::string(entry.package);
            }
        }
    }
    return {};
}

Arena::Arena(const Route& route, std::int64_t rows)
    : route_(route), rows_(rows), places_(temp_.Path()) {
    std::filesystem::create_directory(places_.SourceFolder());
    std::filesystem::create_directory(places_.TargetFolder());
    if (route_.NeedsServer()) {
        // As an untouched server has them: a commit is on the disk, the log holds 96 MiB.
        test::MariaDbOptions options;
        options.flush_log_at_commit = 1;
        options.more_settings = {"--innodb-log-file-size=96M"};
        server_ = std::make_unique<test::PrivateMariaDb>(options);
        WriteClientFile();
    }
    MakeSource();
}

Arena::~Arena() = default;

// The client's login, in a file so that it isn't in a list of processes.
std::string Arena::ClientFile() const {
    return (places_.folder / "client.cnf").string();
}

void Arena::WriteClientFile() const {
    std::ofstream file(ClientFile());
    chmod(ClientFile().c_str(), 0600);
    file << "[client]\nsocket=" << server_->Socket() << "\nuser=" << server_->User()
         << "\npassword=\"" << server_->Password() << "\"\ndefault-character-set=utf8mb4\n";
}

void Arena::MakeSource() {
    switch (route_.source) {
        case Side::Csv:
            WriteCsv(places_.SourceCsv(), rows_);
            WriteSchemaIni(places_);
            break;
        case Side::MySql: {
            const auto statements = places_.folder / "fill.sql";
            WriteInserts(statements, rows_, kRowsPerFilling, NullNote::Null);
            server_->Run("use " + server_->Database() + ";" + std::string(kMySqlTable));
            RunTimed({{"mariadb", "--defaults-file=" + ClientFile(), server_->Database()},
                      statements,
                      {},
                      {}});
            std::filesystem::remove(statements);
            break;
        }
        case Side::Access:
            throw std::runtime_error("no Access source can be made yet");
    }
    if (route_.target == Side::MySql) {
        WriteInserts(
            places_.SourceFolder() / "orders.sql", rows_, kRowsPerStatement, NullNote::EmptyText);
    }
}

void Arena::EmptyTarget() {
    std::filesystem::remove_all(places_.TargetFolder());
    std::filesystem::create_directory(places_.TargetFolder());
    if (route_.target == Side::MySql) {
        server_->Run("use " + server_->Database() + ";drop table if exists orders;" +
                     std::string(kMySqlTable));
    }
}

double Arena::RunOurs() {
    EmptyTarget();
    Command command;
    command.words = {std::filesystem::read_symlink("/proc/self/exe").string(),
                     "--session",
                     std::string(route_.name),
                     places_.folder.string()};
    // The forms of dates and numbers are then the same on every machine.
    command.environment = {"LC_ALL=C.UTF-8"};
    if (server_) {
        command.environment.push_back("VANTRY_BENCH_SERVER=" + server_->ConnectionText());
    }
    const double seconds = RunTimed(command);
    peak_mebibytes_ = std::max(peak_mebibytes_, std::stod(ReadFile(places_.Peak())) / 1024);
    try {
        CheckOurs();
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string(error.what()) + "\nThe run's log ends:\n" +
                                 EndOf(ReadFile(places_.Log())));
    }
    return seconds;
}

void Arena::CheckOurs() {
    if (route_.target == Side::Csv) {
        CheckArrived(places_.TargetCsv(), rows_, {'\t', '"', false, true, ""});
    } else {
        CheckArrived(FetchTable(), rows_, {'\t', '\0', false, false, ""});
    }
}

// What the server's table holds, in the order of the rows.
std::filesystem::path Arena::FetchTable() const {
    const auto file = places_.folder / "arrived.tsv";
    RunTimed({{"mariadb",
               "--defaults-file=" + ClientFile(),
               "-B",
               "-N",
               "--quick",
               "-e",
               "select * from orders order by id",
               server_->Database()},
              {},
              file,
              {}});
    return file;
}

Command Arena::PeerCommand() const {
    if (route_.target == Side::MySql) {
        return {{"mariadb", "--defaults-file=" + ClientFile(), server_->Database()},
                places_.SourceFolder() / "orders.sql",
                {},
                {}};
    }
    if (route_.source == Side::MySql) {
        return {{"mariadb",
                 "--defaults-file=" + ClientFile(),
                 "-B",
                 "--quick",
                 "-e",
                 "select * from orders",
                 server_->Database()},
                {},
                places_.TargetCsv(),
                {}};
    }
    return {{"ogr2ogr",
             "-f",
             "CSV",
             "-lco",
             "SEPARATOR=TAB",
             places_.TargetCsv().string(),
             places_.SourceCsv().string()},
            {},
            {},
            {}};
}

double Arena::RunPeer() {
    EmptyTarget();
    const double seconds = RunTimed(PeerCommand());
    CheckLineCount(route_.target == Side::MySql ? FetchTable() : places_.TargetCsv(), rows_);
    return seconds;
}

}  // namespace vantry::bench
