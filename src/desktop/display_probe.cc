#include "desktop/display_probe.h"

#include <cstdlib>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace vantry {
namespace {

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

bool XAnswers() {
  if (Variable("DISPLAY").empty()) return false;
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  const bool answers = xcb_connection_has_error(connection) == 0;
  xcb_disconnect(connection);
  return answers;
}

bool WaylandAnswers() {
  std::string path = Variable("WAYLAND_DISPLAY");
  if (path.empty()) return false;
  if (path[0] != '/') path = Variable("XDG_RUNTIME_DIR") + "/" + path;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return false;
  const bool answers = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  ::close(socket);
  return answers;
}

}  // namespace

bool DisplayAnswers(std::string& problem) {
  // Whoever names a platform knows that it is there; "offscreen" needs no display.
  const std::string platform = Variable("QT_QPA_PLATFORM");
  if (platform == "offscreen" || platform == "minimal") return true;
  if (platform.rfind("wayland", 0) == 0 ? WaylandAnswers() : XAnswers() || WaylandAnswers()) return true;
  problem = "no display answers";
  return false;
}

}  // namespace vantry
