// Runs the tests of the window without a display.
#include <QApplication>
#include <cstdlib>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  setenv("QT_STYLE_OVERRIDE", "Fusion", 0);
  ::testing::InitGoogleTest(&argc, argv);
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
