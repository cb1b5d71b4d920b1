// Where the message bus is.
#pragma once

#include <string>

namespace vantry {

// What tells the place of a bus; an empty text for what is not set.
struct BusEnvironment {
  std::string session_address;  // DBUS_SESSION_BUS_ADDRESS
  std::string system_address;   // DBUS_SYSTEM_BUS_ADDRESS
  std::string runtime_folder;   // XDG_RUNTIME_DIR
};
BusEnvironment ReadBusEnvironment();

struct BusPlace {
  std::string address;  // Unix sockets alone, in the form of D-Bus; empty for none.
  std::string problem;  // Why there is none, and what to do.
};
// The system's bus, or the session's: as the environment says, otherwise its usual place. No bus is ever started.
BusPlace FindBus(bool system, const BusEnvironment& environment);

}  // namespace vantry
