#include "desktop/desktop_app.h"

#include <QApplication>

#include "desktop/desktop_view.h"
#include "desktop/display_probe.h"

namespace vantry {
namespace {

struct ApplicationParts {
  ApplicationParts(int& argc, char** argv) : application(argc, argv) {}
  QApplication application;
  RealPrompts prompts;
};

class DesktopApp final : private ApplicationParts, public DesktopView {
 public:
  DesktopApp(int& argc, char** argv) : ApplicationParts(argc, argv), DesktopView(prompts) {
    QApplication::setApplicationName("vantry");
    QApplication::setApplicationDisplayName("Vantry");
    // Hidden in the tray the program goes on.
    QApplication::setQuitOnLastWindowClosed(false);
  }
};

}  // namespace

std::unique_ptr<Desktop> MakeDesktop(int& argc, char** argv, std::string& problem) {
  DisplayProbe probe;
  if (!probe.Answers(problem)) return nullptr;
  return std::make_unique<DesktopApp>(argc, argv);
}

}  // namespace vantry
