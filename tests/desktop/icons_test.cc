#include "desktop/icons.h"

#include <QGuiApplication>
#include <QImage>
#include <QLabel>
#include <QPainter>
#include <QPalette>
#include <QPicture>
#include <QPixmap>
#include <cmath>
#include <set>

#include <gtest/gtest.h>

#include "core/look.h"
#include "pictures.h"

namespace vantry {
namespace {

constexpr int kSizes[] = {16, 32, 64};

QImage Picture(const QIcon& icon, int size, QIcon::Mode mode = QIcon::Normal) {
  return icon.pixmap(QSize(size, size), 1.0, mode).toImage().convertToFormat(QImage::Format_ARGB32);
}

QImage On(const QColor& background, const QIcon& icon, int size) {
  QImage picture(size, size, QImage::Format_RGB32);
  picture.fill(background);
  QPainter painter(&picture);
  icon.paint(&painter, QRect(0, 0, size, size));
  return picture;
}

double Linear(int channel) {
  const double c = channel / 255.0;
  return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

double Luminance(QRgb c) {
  return 0.2126 * Linear(qRed(c)) + 0.7152 * Linear(qGreen(c)) + 0.0722 * Linear(qBlue(c));
}

// As the guidelines for accessible pages count it.
double Contrast(QRgb a, QRgb b) {
  const double first = Luminance(a) + 0.05;
  const double second = Luminance(b) + 0.05;
  return std::max(first, second) / std::min(first, second);
}

int PixelsThatStandOut(const QImage& picture, const QColor& background) {
  int count = 0;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      if (Contrast(picture.pixel(x, y), background.rgb()) >= 3) ++count;
    }
  }
  return count;
}

// How much the pictures differ: the sum of what differs in each pixel, as whole pixels.
double Difference(const QImage& a, const QImage& b) {
  double sum = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      const QRgb p = a.pixel(x, y);
      const QRgb q = b.pixel(x, y);
      sum += std::max({std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)), std::abs(qBlue(p) - qBlue(q))});
    }
  }
  return sum / 255;
}

class IconsTest : public ::testing::Test {
 protected:
  void TearDown() override { QGuiApplication::setPalette(QPalette()); }
};

TEST_F(IconsTest, EverySlotHasAnIconOfItsOwn) {
  const int16_t slots[] = {kIconNewVisitor, kIconIdle,    kIconRepeatVisitor, kIconFailedRequest, kIconKnownName,
                           kIconGroup,      kIconSuspect, kIconBrowserOther,  kIconBrowserIE,     kIconBrowserNS,
                           kIconBrowserOP,  kIconSpider,  kIconSiteIdle,      kIconSiteIdleProxy, kIconSiteScanning};
  for (const int16_t a : slots) {
    for (const int16_t b : slots) {
      if (a < b) {
        EXPECT_GT(Difference(On(Qt::white, SlotIcon(a), 16), On(Qt::white, SlotIcon(b), 16)), 4) << a << " " << b;
      }
    }
  }
}

TEST_F(IconsTest, WhatHasNoIconIsEmpty) {
  EXPECT_TRUE(SlotIcon(kIconNone).isNull());
  EXPECT_TRUE(SlotIcon(999).isNull());
  EXPECT_TRUE(CommandIcon("").isNull());
  EXPECT_TRUE(CommandIcon("miNothing").isNull());
  EXPECT_FALSE(CommandIcon("miAdd").isNull());
  EXPECT_FALSE(ProgramIcon().isNull());
}

TEST_F(IconsTest, EveryDrawingIsUsedAndEveryUsedOneIsThere) {
  EXPECT_EQ(IconDrawings(), UsedIconDrawings());
}

TEST_F(IconsTest, NoDrawingIsEmptyOrLikeAnother) {
  const QStringList names = IconDrawings();
  ASSERT_GT(names.size(), 50);
  for (const int size : kSizes) {
    for (qsizetype a = 0; a < names.size(); ++a) {
      const QImage first = On(Qt::white, DrawnIcon(names[a]), size);
      // A sixteenth of the area at least.
      EXPECT_GT(PixelsThatStandOut(first, Qt::white), size * size / 16) << names[a].toStdString() << size;
      for (qsizetype b = a + 1; b < names.size(); ++b) {
        EXPECT_GT(Difference(first, On(Qt::white, DrawnIcon(names[b]), size)), size * size / 64)
            << names[a].toStdString() << " " << names[b].toStdString() << size;
      }
    }
  }
}

TEST_F(IconsTest, StaysWithinItsSquare) {
  for (const QString& name : IconDrawings()) {
    if (name == "vantry") continue;  // Fills it.
    const QImage picture = Picture(DrawnIcon(name), 64);
    for (int i = 0; i < 64; ++i) {
      for (const QPoint p : {QPoint(i, 0), QPoint(i, 63), QPoint(0, i), QPoint(63, i)}) {
        EXPECT_EQ(qAlpha(picture.pixel(p)), 0) << name.toStdString() << p.x() << "," << p.y();
      }
    }
  }
}

struct Theme {
  const char* name;
  QColor background, text;
};

TEST_F(IconsTest, LinesAndAccentsStandOutOnLightAndDark) {
  const Theme themes[] = {{"white", "#ffffff", "#000000"},
                          {"light", "#efefef", "#232629"},
                          {"grey", "#2a2e32", "#fcfcfc"},
                          {"black", "#000000", "#ffffff"}};
  for (const Theme& theme : themes) {
    QPalette palette;
    palette.setColor(QPalette::WindowText, theme.text);
    QGuiApplication::setPalette(palette);
    for (const QString& name : IconDrawings()) {
      const QImage picture = Picture(DrawnIcon(name), 64);
      std::set<QRgb> faint;
      for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
          const QRgb c = picture.pixel(x, y);
          // White on the blue of the program's icon is looked at below.
          if (name == "vantry" && qRed(c) > 60) continue;
          if (qAlpha(c) == 255 && Contrast(c, theme.background.rgb()) < 3) faint.insert(c);
        }
      }
      EXPECT_TRUE(faint.empty()) << theme.name << " " << name.toStdString() << " " << std::hex << *faint.begin();
      // Blurred by the small size, enough still stands out.
      EXPECT_GE(PixelsThatStandOut(On(theme.background, DrawnIcon(name), 16), theme.background), 16)
          << theme.name << " " << name.toStdString();
    }
  }
  EXPECT_GE(Contrast(Picture(ProgramIcon(), 64).pixel(5, 32), qRgb(255, 255, 255)), 3);
}

TEST_F(IconsTest, FollowsThePaletteWithoutBeingMadeAgain) {
  const QIcon icon = CommandIcon("miFind");
  QPalette palette;
  palette.setColor(QPalette::WindowText, Qt::black);
  QGuiApplication::setPalette(palette);
  const QImage dark = Picture(icon, 32);
  palette.setColor(QPalette::WindowText, Qt::white);
  QGuiApplication::setPalette(palette);
  const QImage light = Picture(icon, 32);
  EXPECT_NE(dark, light);
  palette.setColor(QPalette::WindowText, Qt::black);
  QGuiApplication::setPalette(palette);
  EXPECT_EQ(dark, Picture(icon, 32));
}

TEST_F(IconsTest, IsDarkOnPaper) {
  QPalette palette;
  palette.setColor(QPalette::WindowText, Qt::white);
  QGuiApplication::setPalette(palette);
  QPicture paper;
  QPainter painter(&paper);
  CommandIcon("miViewVisitors").paint(&painter, QRect(0, 0, 64, 64));
  painter.end();
  QImage seen(64, 64, QImage::Format_RGB32);
  seen.fill(Qt::white);
  painter.begin(&seen);
  paper.play(&painter);
  painter.end();
  EXPECT_GT(PixelsThatStandOut(seen, Qt::white), 200);
}

TEST_F(IconsTest, ADisabledIconIsOfTheDisabledColourAlone) {
  QPalette palette;
  palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor("#9a9a9a"));
  QGuiApplication::setPalette(palette);
  for (const QString& name : UsedIconDrawings()) {
    if (name == "vantry") continue;
    const QImage picture = Picture(DrawnIcon(name), 64, QIcon::Disabled);
    for (int y = 0; y < 64; ++y) {
      for (int x = 0; x < 64; ++x) {
        const QRgb c = picture.pixel(x, y);
        if (qAlpha(c) < 255) continue;
        // Where lines meet, one is lost to rounding.
        for (const int channel : {qRed(c), qGreen(c), qBlue(c)}) ASSERT_NEAR(channel, 0x9a, 2) << name.toStdString();
      }
    }
  }
}

TEST_F(IconsTest, IsSharpOnADenseScreen) {
  const QPixmap dense = CommandIcon("miAdd").pixmap(QSize(16, 16), 2.0);
  EXPECT_EQ(dense.devicePixelRatio(), 2.0);
  EXPECT_EQ(dense.size(), QSize(32, 32));
  QImage screen(32, 32, QImage::Format_ARGB32);
  screen.setDevicePixelRatio(2);
  screen.fill(Qt::transparent);
  QPainter painter(&screen);
  CommandIcon("miAdd").paint(&painter, QRect(0, 0, 16, 16));
  painter.end();
  QImage expected = Picture(CommandIcon("miAdd"), 32);
  EXPECT_EQ(screen.convertToFormat(QImage::Format_ARGB32_Premultiplied),
            expected.convertToFormat(QImage::Format_ARGB32_Premultiplied));
}

// A sheet of all icons in the sizes they are shown in, to look at: VANTRY_PICTURES=FOLDER.
TEST_F(IconsTest, PicturesOfAllIcons) {
  if (!PicturesWanted()) GTEST_SKIP() << "VANTRY_PICTURES is not set.";
  const QStringList names = IconDrawings();
  for (const bool dark : {false, true}) {
    QGuiApplication::setPalette(PicturePalette(dark));
    for (const int scale : {1, 2}) {
      const int columns = 6;
      const int rows = static_cast<int>(names.size() + columns - 1) / columns;
      QImage sheet(QSize(columns * 210, rows * 44) * scale, QImage::Format_RGB32);
      sheet.setDevicePixelRatio(scale);
      sheet.fill(PicturePalette(dark).color(QPalette::Window));
      QPainter painter(&sheet);
      painter.setPen(PicturePalette(dark).color(QPalette::WindowText));
      for (int i = 0; i < names.size(); ++i) {
        const QPoint at(i % columns * 210, i / columns * 44);
        const QIcon icon = DrawnIcon(names[i]);
        icon.paint(&painter, QRect(at + QPoint(6, 14), QSize(16, 16)));
        icon.paint(&painter, QRect(at + QPoint(28, 10), QSize(24, 24)));
        icon.paint(&painter, QRect(at + QPoint(58, 6), QSize(32, 32)));
        painter.drawText(at + QPoint(96, 26), names[i]);
      }
      painter.end();
      SavePicture(sheet, QString("icons-%1-%2").arg(dark ? "dark" : "light").arg(scale));
    }
  }
}

}  // namespace
}  // namespace vantry
