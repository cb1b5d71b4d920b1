// Where the message bus is.
#pragma once

#include <string>

namespace vantry {

// The variables that say where a bus is; empty if not set.
struct BusEnvironment {
  std::string session_address;  // DBUS_SESSION_BUS_ADDRESS
  std::string system_address;   // DBUS_SYSTEM_BUS_ADDRESS
  std::string runtime_folder;   // XDG_RUNTIME_DIR
};
BusEnvironment ReadBusEnvironment();

struct BusPlace {
  std::string address;  // Unix sockets only, in the form of D-Bus; empty if there is none.
  std::string problem;  // Why there is none, and what to do about it.
};
// The system's bus, or the session's: as the environment says, otherwise its usual place. No bus is ever started.
BusPlace FindBus(bool system, const BusEnvironment& environment);

}  // namespace vantry
