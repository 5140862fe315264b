#pragma once
// The command by which a user would have another program do a route's work.

#include "child_process.h"
#include "route_session.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::bench {

// What such a program has to be told. The server's part is empty on routes without one.
struct PeerNeeds {
    const Places& places;
    std::string client_file;  // with the login for the server's client
    std::string database;
    std::string user;
    std::string password;
    int port = 0;
};

// Takes the place of a route's name where the server's client is to run the statements that stand
// ready in "orders.sql".
inline constexpr std::string_view kFilledByClient = "client";

Command PeerCommand(std::string_view route, const PeerNeeds& needs);

// Writes the table of an Access file to the standard output, comma-separated with a heading.
std::vector<std::string> AccessExport(const std::filesystem::path& file);

}  // namespace vantry::bench
