#include "routes.h"

#include "arrival_check.h"
#include "plain_loop.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vantry::bench {
namespace {
using namespace std::chrono_literals;

constexpr std::array kRoutes = {
    Route{"csv-csv", Side::Csv, Side::Csv, "ogr2ogr"},
    Route{"csv-mysql", Side::Csv, Side::MySql, "mariadb mariadbd"},
    Route{"csv-mysql-1ms", Side::Csv, Side::MySql, "mariadb mariadbd", 1ms},
    // One millisecond there and back.
    Route{"csv-mysql-500us", Side::Csv, Side::MySql, "mariadb mariadbd", 500us},
    Route{"mysql-csv", Side::MySql, Side::Csv, "mariadb mariadbd"},
    Route{"csv-access", Side::Csv, Side::Access, "sqlite3 mdb-export"},
    Route{"access-csv", Side::Access, Side::Csv, "mdb-export"},
    Route{"access-mysql", Side::Access, Side::MySql, "mdb-export mariadb mariadbd"},
    Route{"csv-dbf", Side::Csv, Side::Dbf, "ogr2ogr"},
    Route{"dbf-csv", Side::Dbf, Side::Csv, "ogr2ogr"},
    Route{"access-dbf", Side::Access, Side::Dbf, "ogr2ogr mdb-export"},
    Route{"dbf-access", Side::Dbf, Side::Access, "sqlite3 mdb-export ogr2ogr"},
    Route{"dbf-mysql", Side::Dbf, Side::MySql, "ogr2ogr mariadb mariadbd"},
    Route{"access-access", Side::Access, Side::Access, "sqlite3 mdb-export"},
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
constexpr std::int64_t kMostRowsOneByOne = 10'000;

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
            if (auto missing = test::PrivateMariaDb::Missing(); !missing.empty()) {
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

std::string ServerOfTask() {
    const char* server = std::getenv("VANTRY_BENCH_SERVER");
    return server == nullptr ? "" : server;
}

bool DoTask(const std::string& task, const Route& route, const Places& places) {
    if (task == "--session" || task == "--verified") {
        RunRoute(route.source,
                 route.target,
                 places,
                 ServerOfTask(),
                 task == "--verified" ? Verified::Yes : Verified::No);
        return true;
    }
    if (task == "--floor") {
        CopyPlainly(places.SourceCsv(), places.TargetCsv());
        return true;
    }
    if (task == "--fill") {
        route.source == Side::Dbf ? FillDbf(places) : FillAccess(places);
        return true;
    }
    return false;
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
        if (route_.delay.count() > 0) {
            relay_ = std::make_unique<test::TcpRelay>(server_->Port());
            relay_->KeepNothing();
            relay_->SetDelay(route_.delay);
        }
        WriteClientFile();
    }
    UseItsLetters();
    MakeSource();
}

// There may be another arena with others.
void Arena::UseItsLetters() const {
    UseLetters(route_.source == Side::Dbf || route_.target == Side::Dbf ? Letters::Windows1252
                                                                        : Letters::All);
}

Arena::~Arena() = default;

// The client's login, in a file so that it isn't in a list of processes.
std::string Arena::ClientFile() const {
    return (places_.folder / "client.cnf").string();
}

void Arena::WriteClientFile() const {
    std::ofstream file(ClientFile());
    chmod(ClientFile().c_str(), 0600);
    file << "[client]\n";
    if (relay_) {
        file << "protocol=tcp\nhost=127.0.0.1\nport=" << relay_->Port() << "\n";
    } else {
        file << "socket=" << server_->Socket() << "\n";
    }
    file << "user=" << server_->User() << "\npassword=\"" << server_->Password()
         << "\"\ndefault-character-set=utf8mb4\n";
}

void Arena::MakeSource() {
    switch (route_.source) {
        case Side::Csv:
            WriteCsv(places_.SourceCsv(), rows_);
            DescribeSource(places_);
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
            WriteCsv(places_.SourceCsv(), rows_);
            DescribeSource(places_);
            RunSessionProcess("--fill");
            std::filesystem::rename(places_.TargetAccess(), places_.SourceAccess());
            std::filesystem::remove(places_.SourceCsv());
            CheckAccess(places_.SourceAccess());
            break;
        case Side::Dbf:
            WriteCsv(places_.SourceCsv(), rows_);
            DescribeSource(places_);
            RunSessionProcess("--fill");
            CheckDbf(places_.TargetDbf());
            std::filesystem::rename(places_.TargetDbf(), places_.SourceDbf());
            std::filesystem::remove(places_.SourceCsv());
            break;
        case Side::SqlServer:
        case Side::Postgres:
            break;
    }
    if (PeerIsClient()) {
        WriteInserts(places_.SourceFolder() / "orders.sql",
                     rows_,
                     kRowsPerStatement,
                     route_.source == Side::Csv ? NullNote::EmptyText : NullNote::Null);
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

Seconds Arena::RunSessionProcess(const std::string& task) const {
    Command command;
    command.words = {std::filesystem::read_symlink("/proc/self/exe").string(),
                     task,
                     std::string(route_.name),
                     places_.folder.string()};
    // The forms of dates and numbers are then the same on every machine.
    command.environment = {"LC_ALL=C.UTF-8"};
    if (server_) {
        command.environment.push_back("VANTRY_BENCH_SERVER=" + ServerText());
    }
    return RunTimed(command);
}

// By the relay's port where the server is some way away.
std::string Arena::ServerText() const {
    auto text = server_->ConnectionText();
    if (relay_) {
        const auto own = "port=" + std::to_string(server_->Port());
        text.replace(text.find(own), own.size(), "port=" + std::to_string(relay_->Port()));
    }
    return text;
}

// Checks and fillings don't wait for the way there.
class Arena::NoDelay {
public:
    explicit NoDelay(const Arena& arena) : arena_(arena) { Set(0us); }
    ~NoDelay() { Set(arena_.route_.delay); }
    NoDelay(const NoDelay&) = delete;
    NoDelay& operator=(const NoDelay&) = delete;

private:
    void Set(std::chrono::microseconds delay) const {
        if (arena_.relay_) {
            arena_.relay_->SetDelay(delay);
        }
    }
    const Arena& arena_;
};

Seconds Arena::RunTask(const std::string& task) {
    EmptyTarget();
    const Seconds seconds = RunSessionProcess(task);
    last_peak_mebibytes_ = std::stod(ReadFile(places_.Peak())) / 1024;
    peak_mebibytes_ = std::max(peak_mebibytes_, last_peak_mebibytes_);
    return seconds;
}

Seconds Arena::RunOurs() {
    UseItsLetters();
    const Seconds seconds = RunTask("--session");
    try {
        CheckOurs();
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string(error.what()) + "\nThe run's log ends:\n" +
                                 EndOf(ReadFile(places_.Log())));
    }
    return seconds;
}

double Arena::LastPreparation() const {
    return std::stod(ReadFile(places_.Preparation()));
}

void Arena::CheckOurs() {
    if (route_.target == Side::Csv) {
        CheckArrived(places_.TargetCsv(),
                     rows_,
                     {'\t', '"', false, true, "", route_.source != Side::Access});
    } else if (route_.target == Side::Access) {
        CheckAccess(places_.TargetAccess());
    } else if (route_.target == Side::Dbf) {
        CheckDbf(places_.TargetDbf());
    } else {
        CheckArrived(FetchTable(), rows_, {'\t', '\0', false, false, "", true});
    }
}

// Read by a program that we didn't write.
void Arena::CheckAccess(const std::filesystem::path& file) const {
    const auto exported = places_.folder / "arrived.csv";
    RunTimed({AccessExport(file), {}, exported, {}});
    CheckArrived(exported, rows_, {',', '"', true, true, "", false});
}

// Read by another program that we didn't write, which knows every type that is there.
void Arena::CheckDbf(const std::filesystem::path& file) const {
    const auto exported = places_.folder / "arrived.tsv";
    constexpr std::string_view kProgram =
        "import dbfread,sys\n"
        "def s(v):\n"
        "  if v is None: return ''\n"
        "  if v is True: return '1'\n"
        "  if v is False: return '0'\n"
        "  if hasattr(v,'strftime'): return v.strftime('%Y-%m-%d %H:%M:%S')\n"
        "  return str(v)\n"
        "for r in dbfread.DBF(sys.argv[1],recfactory=list):\n"
        "  print('\\t'.join(s(v) for n,v in r if n!='_NullFlags'))\n";
    RunTimed({{"/usr/bin/python3", "-c", std::string(kProgram), file.string()}, {}, exported, {}});
    CheckArrived(exported, rows_, {'\t', '\0', false, false, "", route_.source != Side::Access});
}

// What the server's table holds, in the order of the rows.
std::filesystem::path Arena::FetchTable() const {
    const NoDelay quickly(*this);
    auto file = places_.folder / "arrived.tsv";
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

// Of a DBF table, ogr2ogr is the peer as long as a user would have the patience: it sends row by
// row, and gives up at a whole number whose four bytes it takes for a text that isn't UTF-8.
bool Arena::PeerIsClient() const {
    return (route_.source == Side::Csv && route_.target == Side::MySql) ||
           (route_.name == "dbf-mysql" && rows_ > kMostRowsOneByOne);
}

PeerNeeds Arena::NeedsOfPeer() const {
    PeerNeeds needs{places_, ClientFile(), {}, {}, {}, 0};
    if (server_) {
        needs.database = server_->Database();
        needs.user = server_->User();
        needs.password = server_->Password();
        needs.port = server_->Port();
    }
    return needs;
}

// Only whether it did its work: its forms are its own.
void Arena::CheckPeer() const {
    if (route_.target == Side::Csv) {
        CheckLineCount(places_.TargetCsv(), rows_);
        return;
    }
    if (route_.target == Side::Dbf) {
        CheckDbfCount(places_.TargetDbf(), rows_);
        return;
    }
    if (route_.target == Side::MySql) {
        CheckLineCount(FetchTable(), rows_);
        return;
    }
    const auto counted = places_.folder / "counted.txt";
    RunTimed({{"sqlite3",
               (places_.TargetFolder() / "orders.db").string(),
               "select count(*) from orders"},
              {},
              counted,
              {}});
    if (std::stoll(ReadFile(counted)) != rows_) {
        throw std::runtime_error("the peer wrote " + ReadFile(counted) + " rows");
    }
}

bool Arena::HasFloor() const {
    return route_.name == "csv-csv";
}

// The loop's lines are compared as ours are: a loop that left something out would be no measure.
Seconds Arena::RunFloor() {
    UseItsLetters();
    EmptyTarget();
    const Seconds seconds = RunSessionProcess("--floor");
    CheckOurs();
    return seconds;
}

Seconds Arena::RunPeer() {
    EmptyTarget();
    const Seconds seconds =
        RunTimed(PeerCommand(PeerIsClient() ? kFilledByClient : route_.name, NeedsOfPeer()));
    CheckPeer();
    return seconds;
}

}  // namespace vantry::bench
