// Pictures of every view of the main window, to look at:
//   scripts/demo_traffic.py demo.log &    (for a minute)
//   VANTRY_PICTURES=FOLDER VANTRY_DEMO_LOG=demo.log [QT_SCALE_FACTOR=2] desktop_tests --gtest_filter='WindowPictures*'
#include <QStyle>
#include <chrono>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "desktop/pictures.h"
#include "support/window_rig.h"

namespace vantry {
namespace {

struct WindowPictures : WindowTest {
  void OpenOnDemo() {
    std::ifstream in(qEnvironmentVariable("VANTRY_DEMO_LOG").toStdString(), std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    ASSERT_FALSE(text.str().empty()) << "VANTRY_DEMO_LOG names no log";
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    clock.now.s =
        MakeDay(1970, 1, 1)->n * kSecondsPerDay + std::chrono::duration_cast<std::chrono::seconds>(now).count();
    files.Put("/home/registry.ini",
              "[Corrections]\r\nNcsaFields=True\r\n[Form]\r\nFormWidth=1280\r\nFormHeight=800\r\n");
    Sites(2, "Alert=Somebody from 203.0.113\r\nAlertNo=1\r\nAlertENGINEALL=Y\r\nAlertDNS1=203.0.113.*\r\n");
    // The first half at once, the other line by line, so that pages are listed.
    const std::string all = text.str();
    const size_t half = all.rfind('\n', all.size() * 9 / 10) + 1;
    files.Put("/logs/access.log", all.substr(0, half));
    ASSERT_TRUE(Open());
    Run(40);
    files.entries["/logs/access.log"]->bytes += all.substr(half);
    Run(60);
  }
};

TEST_F(WindowPictures, OfEveryView) {
  if (!PicturesWanted()) GTEST_SKIP() << "VANTRY_PICTURES is not set.";
  OpenOnDemo();
  Frm().resize(1280, 800);
  for (QMessageBox* box : Frm().findChildren<QMessageBox*>("messageBox")) box->close();
  const QString scale = QString::number(Frm().devicePixelRatioF());
  for (const bool dark : {false, true}) {
    QApplication::setPalette(PicturePalette(dark));
    for (const char* command : {"miViewVisitors", "miViewAlerts", "miViewSpiders", "miViewExceptions"}) {
      Trigger(command);
      const std::string list = T().CurrentViewType == 1   ? "VsGrid"
                               : T().CurrentViewType == 2 ? "logGrid"
                               : T().CurrentViewType == 3 ? "spiderGrid"
                                                          : "exGrid";
      auto& table = Find<QTableView>(list.c_str());
      if (table.model()->rowCount() > 2) table.selectRow(table.model()->rowCount() - 2);
      if (T().CurrentViewType == 2) Trigger("miShowActivity");
      Frm().Refresh();
      QApplication::processEvents();
      SavePicture(Frm().grab().toImage(), QString("window-%1-%2-%3").arg(command, dark ? "dark" : "light", scale));
    }
  }
}

}  // namespace
}  // namespace vantry
