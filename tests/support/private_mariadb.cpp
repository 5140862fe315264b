#include "support/private_mariadb.h"

#include "support/loopback.h"

#include <mysql.h>
#include <signal.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <thread>

namespace vantry::test {
namespace {

using MysqlHandle = std::unique_ptr<MYSQL, decltype(&mysql_close)>;

// The server lies outside the PATH of an ordinary user.
const std::string kPath = "PATH=$PATH:/usr/sbin:/usr/local/sbin:/usr/bin; ";

bool IsThere(const std::string& program) {
    return std::system((kPath + "command -v " + program + " >/dev/null").c_str()) == 0;
}

constexpr const char* kMemoryFolder = "/dev/shm";
constexpr std::uint64_t kRoomInMemory = std::uint64_t{2} << 30;  // bytes
constexpr const char* kFolderName = "vantry-mariadb";

// Folders in memory whose test died without a word would keep their memory. No test takes hours.
void SweepMemoryFolder() {
    std::error_code ignored;
    const auto now = std::filesystem::file_time_type::clock::now();
    for (const auto& entry : std::filesystem::directory_iterator(kMemoryFolder, ignored)) {
        if (entry.path().filename().string().starts_with(kFolderName) &&
            now - std::filesystem::last_write_time(entry, ignored) > std::chrono::hours(6)) {
            std::filesystem::remove_all(entry.path(), ignored);
        }
    }
}

std::filesystem::path ParentFolder(const MariaDbOptions& options) {
    struct statvfs room {};
    if (options.flush_log_at_commit != 1 && access(kMemoryFolder, W_OK) == 0 &&
        statvfs(kMemoryFolder, &room) == 0 && room.f_bavail * room.f_frsize >= kRoomInMemory) {
        SweepMemoryFolder();
        return kMemoryFolder;
    }
    return std::filesystem::temp_directory_path();
}

MysqlHandle ConnectAsRoot(const std::string& socket) {
    MysqlHandle handle(mysql_init(nullptr), &mysql_close);
    mysql_options(handle.get(), MYSQL_SET_CHARSET_NAME, "utf8mb4");
    if (mysql_real_connect(handle.get(),
                           "localhost",
                           "root",
                           nullptr,
                           nullptr,
                           0,
                           socket.c_str(),
                           CLIENT_MULTI_STATEMENTS) == nullptr) {
        throw std::runtime_error(mysql_error(handle.get()));
    }
    return handle;
}

// Runs all statements of `sql`; the first value of the last result.
std::string RunAll(MYSQL* handle, std::string_view sql) {
    std::string first;
    int status = mysql_real_query(handle, sql.data(), sql.size());
    while (status == 0) {
        if (MYSQL_RES* result = mysql_store_result(handle)) {
            if (MYSQL_ROW row = mysql_fetch_row(result); row != nullptr && row[0] != nullptr) {
                first.assign(row[0], mysql_fetch_lengths(result)[0]);
            }
            mysql_free_result(result);
        }
        status = mysql_next_result(handle);
    }
    if (status > 0) {
        throw std::runtime_error(std::string(mysql_error(handle)) + " in: " + std::string(sql));
    }
    return first;
}

}  // namespace

std::string PrivateMariaDb::Missing() {
    static const bool there = IsThere("mariadbd") && IsThere("mariadb-install-db");
    return there ? "" : "mariadbd isn't installed: apt-get install mariadb-server";
}

PrivateMariaDb::PrivateMariaDb(MariaDbOptions options)
    : options_(std::move(options)), folder_(ParentFolder(options_), kFolderName) {
    if (const auto missing = Missing(); !missing.empty()) {
        throw std::runtime_error(missing);
    }
    Initialise();
    port_ = FreePort();
    try {
        Start();
        CreateUser();
    } catch (...) {
        Kill();
        throw;
    }
}

PrivateMariaDb::~PrivateMariaDb() {
    Kill();  // the data goes away with the folder, so a clean end would only cost time
}

// A server clears away what it takes for its own leftovers: two that share a folder of temporary
// tables take each other's. As root it must keep its user, or the signal would be cleared.
std::string PrivateMariaDb::Settings() const {
    const auto folder = folder_.Path().string();
    std::filesystem::create_directory(folder + "/tmp");
    return " --no-defaults --innodb-log-file-size=16M --datadir=" + folder +
           "/data --tmpdir=" + folder + "/tmp" + (geteuid() == 0 ? " --user=root" : "");
}

void PrivateMariaDb::Initialise() {
    const auto install = kPath + "mariadb-install-db" + Settings() +
                         " --auth-root-authentication-method=normal --skip-test-db >" +
                         (folder_ / "install.log").string() + " 2>&1";
    if (std::system(install.c_str()) != 0) {
        throw std::runtime_error("mariadb-install-db failed:\n" + folder_.Read("install.log"));
    }
}

// The server dies with this thread.
void PrivateMariaDb::Start() {
    const auto folder = folder_.Path().string();
    std::string command = kPath + "exec setpriv --pdeathsig KILL mariadbd" + Settings() +
                          " --socket=" + Socket() + " --port=" + std::to_string(port_) +
                          " --bind-address=127.0.0.1 --pid-file=" + folder + "/m.pid" +
                          " --log-error=" + folder + "/error.log --skip-name-resolve" +
                          " --character-set-server=utf8mb4 --innodb-flush-log-at-trx-commit=" +
                          std::to_string(options_.flush_log_at_commit);
    if (options_.max_allowed_packet != 0) {
        command += " --max-allowed-packet=" + std::to_string(options_.max_allowed_packet);
    }
    for (const auto& setting : options_.more_settings) {
        command += " " + setting;
    }
    command += " </dev/null >>" + folder + "/error.log 2>&1";
    pid_ = fork();
    if (pid_ == 0) {
        execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    WaitUntilReady();
}

void PrivateMariaDb::WaitUntilReady() const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::chrono::steady_clock::now() < deadline) {
        if (waitpid(pid_, nullptr, WNOHANG) != 0) {
            throw std::runtime_error("mariadbd ended while starting:\n" + LogTail());
        }
        try {
            ConnectAsRoot(Socket());
            return;
        } catch (const std::runtime_error&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));  // not listening yet
        }
    }
    throw std::runtime_error("mariadbd doesn't answer after 60 s:\n" + LogTail());
}

void PrivateMariaDb::CreateUser() const {
    std::string sql = "create database " + database_ + ";";
    for (const char* host : {"localhost", "127.0.0.1"}) {
        const auto account = user_ + "@'" + host + "'";
        sql += "create user " + account + " identified by '" + password_ + "';";
        sql += "grant all on *.* to " + account + ";";
    }
    Run(sql);
}

std::string PrivateMariaDb::LogTail() const {
    const auto log = folder_.Read("error.log");
    return log.size() > 3000 ? log.substr(log.size() - 3000) : log;
}

std::string PrivateMariaDb::ConnectionText(std::string_view driver) const {
    return "DRIVER={" + std::string(driver) + "};SERVER=127.0.0.1;port=" + std::to_string(port_) +
           ";DATABASE=" + database_ + ";USER=" + user_ + ";PASSWORD=" + password_ + ";Option=3";
}

void PrivateMariaDb::Run(std::string_view sql) const {
    QueryOne(sql);
}

std::string PrivateMariaDb::QueryOne(std::string_view sql) const {
    const auto handle = ConnectAsRoot(Socket());
    mysql_select_db(handle.get(), database_.c_str());  // fails before the database is there: fine
    return RunAll(handle.get(), sql);
}

void PrivateMariaDb::Stop() {
    End(SIGTERM);
}
void PrivateMariaDb::Kill() {
    End(SIGKILL);
}
void PrivateMariaDb::End(int signal) {
    if (pid_ > 0) {
        kill(pid_, signal);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

void PrivateMariaDb::Restart() {
    Stop();
    Start();
}

}  // namespace vantry::test
