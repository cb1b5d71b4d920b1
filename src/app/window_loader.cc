#include "app/window_loader.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include <dlfcn.h>
#include <link.h>

#include "build_stamp.h"

namespace vantry {
namespace {

constexpr char kFile[] = "vantry-desktop.so";

// Whether the file holds all that its headers promise. The system's loader takes their word for it, and the process
// dies at the first page that is not there. What is no library at all is left to the loader to refuse.
bool IsWhole(const std::string& path) {
  std::error_code error;
  const uint64_t size = std::filesystem::file_size(path, error);
  std::ifstream file(path, std::ios::binary);
  ElfW(Ehdr) header{};
  if (error || !file.read(reinterpret_cast<char*>(&header), sizeof header)) return true;
  if (std::string_view(reinterpret_cast<char*>(header.e_ident), SELFMAG) != ELFMAG) return true;
  std::vector<ElfW(Phdr)> parts(header.e_phnum);
  file.seekg(static_cast<std::streamoff>(header.e_phoff));
  if (!file.read(reinterpret_cast<char*>(parts.data()), static_cast<std::streamsize>(parts.size() * sizeof parts[0]))) {
    return false;
  }
  for (const ElfW(Phdr) & part : parts) {
    if (part.p_type == PT_LOAD && (part.p_offset > size || part.p_filesz > size - part.p_offset)) return false;
  }
  return true;
}

const DesktopModule* LoadModule(const std::string& path, std::string& problem) {
  if (!IsWhole(path)) {
    problem = "There is no window, as " + path + " is cut off. Install it anew.";
    return nullptr;
  }
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
    if (!module) return nullptr;
    std::string wrong;
    std::unique_ptr<Desktop> window = module->make(argc, argv, wrong);
    if (window) problem = wrong;
    return window;
  }
  return nullptr;
}

}  // namespace vantry
