#include "support/private_postgres.h"

#include "support/loopback.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace vantry::test {
namespace {

// The newest of those that are installed, with a slash behind; empty when there is none.
std::string BinaryFolder() {
    std::string found;
    std::error_code none;
    for (const auto& version : std::filesystem::directory_iterator("/usr/lib/postgresql", none)) {
        const auto folder = version.path() / "bin/";
        if (access((folder / "postgres").c_str(), X_OK) == 0 && folder.string() > found) {
            found = folder.string();
        }
    }
    return found;
}

// The server refuses to run as root.
std::string AsAnotherUser() {
    return geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
}

bool Answers(const std::filesystem::path& pid_file) {
    // Its last line says "ready".
    std::ifstream in(pid_file);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    return text.find("ready") != std::string::npos;
}

}  // namespace

std::string PrivatePostgres::Missing() {
    return BinaryFolder().empty() ? "The Debian package postgresql isn't installed." : "";
}

PrivatePostgres::PrivatePostgres() : port_(FreePort()) {
    const auto folder = folder_.Path().string();
    if (geteuid() == 0 && chown(folder.c_str(), 65534, 65534) != 0) {
        throw std::runtime_error("can't give " + folder + " away");
    }
    const auto quiet = " >" + folder + "/log 2>&1";
    const auto init = AsAnotherUser() + BinaryFolder() + "initdb -D " + folder +
                      "/d -A trust --no-sync -E UTF8 --locale=C -U vantry" + quiet;
    if (std::system(init.c_str()) != 0) {
        throw std::runtime_error("initdb failed: " + folder_.Read("log"));
    }
    const auto user = AsAnotherUser();
    const auto start = "exec " + (user.empty() ? "setpriv " : user) + "--pdeathsig KILL " +
                       BinaryFolder() + "postgres -D " + folder + "/d -p " + std::to_string(port_) +
                       " -k " + folder + " -c listen_addresses=127.0.0.1 -c fsync=off" + quiet;
    pid_ = fork();
    if (pid_ == 0) {
        execl("/bin/sh", "sh", "-c", start.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    for (int tries = 0; !Answers(folder_ / "d/postmaster.pid"); ++tries) {
        if (tries > 600 || waitpid(pid_, nullptr, WNOHANG) != 0) {
            throw std::runtime_error("PostgreSQL didn't start: " + folder_.Read("log"));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

PrivatePostgres::~PrivatePostgres() {
    kill(pid_, SIGINT);  // at once, with a clean end
    waitpid(pid_, nullptr, 0);
}

std::string PrivatePostgres::ConnectionText(int port) const {
    return "DRIVER={PostgreSQL Unicode};Server=127.0.0.1;Port=" +
           std::to_string(port == 0 ? port_ : port) + ";Database=postgres;UID=vantry";
}

}  // namespace vantry::test
