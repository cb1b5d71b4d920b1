#include "desktop/display_probe.h"

#include <QDir>
#include <QLibraryInfo>
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

bool WaylandAnswers() {
  std::string path = Variable("WAYLAND_DISPLAY");
  const QDir plugins(QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/platforms");
  if (path.empty() || plugins.entryList({"libqwayland*"}).isEmpty()) return false;
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

DisplayProbe::~DisplayProbe() {
  if (connection_) xcb_disconnect(static_cast<xcb_connection_t*>(connection_));
}

bool DisplayProbe::XAnswers() {
  if (Variable("DISPLAY").empty()) return false;
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  connection_ = connection;
  return xcb_connection_has_error(connection) == 0;
}

bool DisplayProbe::Answers(std::string& problem) {
  // Whoever names a platform knows that it is there; "offscreen" needs no display.
  const std::string platform = Variable("QT_QPA_PLATFORM");
  if (platform == "offscreen" || platform == "minimal") return true;
  if (platform.rfind("wayland", 0) == 0 ? WaylandAnswers() : XAnswers() || WaylandAnswers()) return true;
  problem = "no display answers";
  return false;
}

}  // namespace vantry
