#include "app/window_loader.h"

#include <cstdlib>
#include <filesystem>

#include <dlfcn.h>

#include "build_stamp.h"

namespace vantry {
namespace {

constexpr char kFile[] = "vantry-desktop.so";

const DesktopModule* LoadModule(const std::string& path, std::string& problem) {
  // Never closed: the window's code runs until the process ends.
  void* library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    const char* reason = ::dlerror();
    problem = "There is no window, as " + path + " can't be loaded: " + (reason ? reason : "unknown reason");
    return nullptr;
  }
  const auto entry = reinterpret_cast<DesktopEntry>(::dlsym(library, kDesktopEntry));
  const DesktopModule* module = entry ? entry() : nullptr;
  if (module && std::string_view(module->build) == VANTRY_BUILD) return module;
  problem = "There is no window, as " + path + " is of another build (" + (module ? module->build : "none") +
            ") than this program (" + VANTRY_BUILD + "). Install both anew.";
  return nullptr;
}

// The module brings some tens of megabytes of libraries, which a server without a display can do without.
bool DisplayIsNamed() {
  for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
    const char* value = std::getenv(variable);
    if (value && *value) return true;
  }
  return false;
}

}  // namespace

std::unique_ptr<Desktop> LoadDesktop(const std::vector<std::string>& folders, int& argc, char** argv,
                                     std::string& problem) {
  if (!DisplayIsNamed()) return nullptr;
  for (const std::string& folder : folders) {
    std::error_code error;
    if (!std::filesystem::exists(folder + kFile, error)) continue;
    const DesktopModule* module = LoadModule(folder + kFile, problem);
    std::string no_display;
    return module ? module->make(argc, argv, no_display) : nullptr;
  }
  return nullptr;
}

}  // namespace vantry
