// What the program loads.
#include "build_stamp.h"
#include "desktop/desktop_app.h"
#include "desktop/desktop_module.h"

namespace {

constexpr vantry::DesktopModule kModule = {VANTRY_BUILD, vantry::MakeDesktop};

}  // namespace

extern "C" __attribute__((visibility("default"))) const vantry::DesktopModule* vantry_desktop_module() {
  return &kModule;
}
