#pragma once
// A MariaDB server of a test's own: data folder, socket and log files in a temporary folder (in
// memory, if there is room: a server syncs a thousand times before it is set up), one port on the
// loopback address. It ends with this object, and also when the process (exactly: the
// thread that started it) dies without a word. Works for root and for an ordinary user alike.

#include "support/temp_dir.h"

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::test {

struct MariaDbOptions {
    // 2: a killed server keeps its commits; 1: on disk and as an untouched server, to measure.
    int flush_log_at_commit = 2;
    std::uint64_t max_allowed_packet = 0;         // bytes; 0: the server's default of 16 MiB
    std::vector<std::string> more_settings = {};  // further "--name=value" arguments of the server
};

class PrivateMariaDb {
public:
    // Empty when a server can be started here, else what to install.
    static std::string Missing();

    // Starts and waits until the server answers. Throws std::runtime_error with the end of the
    // server's log if it doesn't.
    explicit PrivateMariaDb(MariaDbOptions options = {});
    ~PrivateMariaDb();
    PrivateMariaDb(const PrivateMariaDb&) = delete;
    PrivateMariaDb& operator=(const PrivateMariaDb&) = delete;

    std::string Socket() const { return (folder_ / "s.sock").string(); }
    int Port() const { return port_; }
    const std::string& User() const { return user_; }
    const std::string& Password() const { return password_; }
    const std::string& Database() const { return database_; }
    pid_t Pid() const { return pid_; }

    // "DRIVER={driver};SERVER=...": by the loopback port.
    std::string ConnectionText(std::string_view driver = "MySQL (built in)") const;

    // Runs statements as root, past everything that is under test; throws std::runtime_error. The
    // second gives the first column of the first row, or an empty text.
    void Run(std::string_view sql) const;
    std::string QueryOne(std::string_view sql) const;

    void Stop();     // a clean end; nothing if it isn't running
    void Kill();     // SIGKILL, as in a crash; returns when the process is gone
    void Restart();  // same data, same port; after Stop, Kill or while it runs

private:
    void Initialise();
    std::string Settings() const;
    void Start();
    void WaitUntilReady() const;
    void CreateUser() const;
    std::string LogTail() const;
    void End(int signal);

    MariaDbOptions options_;
    TempDir folder_;
    int port_ = 0;
    pid_t pid_ = -1;
    std::string user_ = "vantry";
    std::string password_ = "S3cr3t-Ünique";
    std::string database_ = "shop";
};

}  // namespace vantry::test
