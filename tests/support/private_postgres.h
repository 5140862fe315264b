#pragma once
// A PostgreSQL server of a test's own: a data folder in a temporary one, one port on the loopback
// address, no password. It ends with this object, and also when the thread that started it dies.

#include "support/temp_dir.h"

#include <sys/types.h>

#include <string>

namespace vantry::test {

class PrivatePostgres {
public:
    // Empty when a server can be started here, else what to install.
    static std::string Missing();

    // Starts and waits until the server answers. Throws std::runtime_error.
    PrivatePostgres();
    ~PrivatePostgres();
    PrivatePostgres(const PrivatePostgres&) = delete;
    PrivatePostgres& operator=(const PrivatePostgres&) = delete;

    int Port() const { return port_; }
    // By its ODBC driver; another port is a relay's.
    std::string ConnectionText(int port = 0) const;

private:
    TempDir folder_{MemoryFolder(), "vantry-postgres"};
    int port_ = 0;
    pid_t pid_ = -1;
};

}  // namespace vantry::test
