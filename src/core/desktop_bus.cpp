#include "core/desktop_bus.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace vantry {

bool HasDesktopBus() {
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    const std::string usual = "/run/user/" + std::to_string(::getuid()) + "/bus";
    return (address != nullptr && *address != '\0') || ::access(usual.c_str(), R_OK | W_OK) == 0;
}

}  // namespace vantry
