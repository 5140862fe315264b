#pragma once
// The routes that are measured, each with the program that a user would take instead.

#include "child_process.h"
#include "orders_data.h"
#include "peers.h"
#include "route_session.h"
#include "support/private_mariadb.h"
#include "support/tcp_relay.h"
#include "support/temp_dir.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::bench {

struct Route {
    std::string_view name;
    Side source;
    Side target;
    // The programs that the peer and the check need, blanks between them.
    std::string_view programs;
    // How long each piece on the way to the server and back is held up, for ours and the peer's.
    std::chrono::microseconds delay{0};

    bool NeedsServer() const { return source == Side::MySql || target == Side::MySql; }
};

std::span<const Route> AllRoutes();
// Null if there is none of that name.
const Route* FindRoute(std::string_view name);
// What has to be installed first, or an empty text.
std::string MissingFor(const Route& route);

// What a program with an arena does as a process of its own: "--session", "--verified" or "--fill".
// False: the task is another one.
bool DoTask(const std::string& task, const Route& route, const Places& places);

// The connection string of the arena's server, in such a process.
std::string ServerOfTask();

// One route with its data, in a temporary folder that goes away with it.
class Arena {
public:
    Arena(const Route& route, std::int64_t rows);  // makes the data
    ~Arena();
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    // One run into an empty target, whose content is compared afterwards;
    // throws std::runtime_error when something is missing there.
    Seconds RunOurs();
    // The task alone, in a process of its own with an empty target.
    Seconds RunTask(const std::string& task);
    Seconds RunPeer();
    // Some routes have a plain loop of this program's own beside the peer: what the work costs at
    // least.
    bool HasFloor() const;
    Seconds RunFloor();
    double PeakMebibytes() const { return peak_mebibytes_; }
    double LastPeakMebibytes() const { return last_peak_mebibytes_; }
    // Of the last run of ours: seconds in which the session was mapped, before the run itself.
    double LastPreparation() const;

private:
    class NoDelay;
    void UseItsLetters() const;
    void EmptyTarget();
    void MakeSource();
    Seconds RunSessionProcess(const std::string& task) const;
    void CheckOurs();
    void CheckPeer() const;
    void CheckDbf(const std::filesystem::path& file) const;
    void CheckAccess(const std::filesystem::path& file) const;
    bool PeerIsClient() const;
    PeerNeeds NeedsOfPeer() const;
    std::filesystem::path FetchTable() const;
    std::string ServerText() const;
    std::string ClientFile() const;
    void WriteClientFile() const;

    const Route& route_;
    std::int64_t rows_;
    test::TempDir temp_;
    Places places_;
    std::unique_ptr<test::PrivateMariaDb> server_;
    std::unique_ptr<test::TcpRelay> relay_;
    double peak_mebibytes_ = 0;
    double last_peak_mebibytes_ = 0;
};

}  // namespace vantry::bench
