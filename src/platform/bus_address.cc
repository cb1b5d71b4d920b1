#include "platform/bus_address.h"

#include <cstdlib>
#include <string_view>

#include <unistd.h>

#include "core/text.h"

namespace vantry {
namespace {

constexpr char kSystemBus[] = "unix:path=/run/dbus/system_bus_socket";

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// Looking up the host of a tcp address may take long, and other kinds start programs.
std::string UnixSockets(std::string_view addresses) {
  std::string kept;
  for (const std::string_view address : Split(addresses, ';')) {
    if (!StartsWith(address, "unix:")) continue;
    if (!kept.empty()) kept += ';';
    kept += address;
  }
  return kept;
}

std::string PathAddress(std::string_view path) {
  constexpr char kHex[] = "0123456789abcdef";
  std::string out = "unix:path=";
  for (const char c : path) {
    const char lower = LowerAscii(c);
    if (IsDigit(c) || (lower >= 'a' && lower <= 'z') || Contains("-_/.", std::string_view(&c, 1))) {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return out;
}

}  // namespace

BusEnvironment ReadBusEnvironment() {
  return {Variable("DBUS_SESSION_BUS_ADDRESS"), Variable("DBUS_SYSTEM_BUS_ADDRESS"), Variable("XDG_RUNTIME_DIR")};
}

BusPlace FindBus(bool system, const BusEnvironment& e) {
  const std::string& given = system ? e.system_address : e.session_address;
  if (!given.empty()) {
    std::string address = UnixSockets(given);
    if (!address.empty()) return {address, ""};
    return {"", std::string(system ? "DBUS_SYSTEM_BUS_ADDRESS" : "DBUS_SESSION_BUS_ADDRESS") +
                    " names no Unix socket, and others are not used; set it to unix:path=..."};
  }
  if (system) return {kSystemBus, ""};
  const std::string path = e.runtime_folder + "/bus";
  if (!e.runtime_folder.empty() && ::access(path.c_str(), F_OK) == 0) return {PathAddress(path), ""};
  return {"",
          "DBUS_SESSION_BUS_ADDRESS is not set and there is no socket \"bus\" in the folder XDG_RUNTIME_DIR; start "
          "Vantry inside a session, or with dbus-run-session"};
}

}  // namespace vantry
