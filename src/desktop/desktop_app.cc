#include "desktop/desktop_app.h"

#include <QApplication>
#include <QRawFont>

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
  auto window = std::make_unique<DesktopApp>(argc, argv);
  // The list of families names three that need not be there. What draws boxes has no table of characters.
  if (QRawFont::fromFont(QApplication::font()).fontTable("cmap").isEmpty()) {
    problem = "No font is installed, so the window shows boxes for letters. Install one, such as fonts-dejavu-core.";
  }
  return window;
}

}  // namespace vantry
