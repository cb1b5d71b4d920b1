#include "desktop/list_text.h"

#include <QTextDocument>
#include <string>

#include <gtest/gtest.h>

#include "desktop/list_needle.h"

namespace vantry {
namespace {

TEST(ListText, ColoursHaveRedInTheLowestByte) {
  EXPECT_EQ(BackColour(0x0000FF), QColor(255, 0, 0));
  EXPECT_EQ(BackColour(0xC08040), QColor(0x40, 0x80, 0xC0));
  EXPECT_FALSE(BackColour(0)) << "an alert whose colour nobody has chosen";
  EXPECT_FALSE(BackColour(kColourDefault));
  EXPECT_FALSE(BackColour(0x80000005)) << "a colour of the system, which is not here";
}

TEST(ListText, TextStandsOutOnAnyColour) {
  for (uint32_t red = 0; red <= 0xFF; red += 5) {
    for (uint32_t green = 0; green <= 0xFF; green += 5) {
      for (uint32_t blue = 0; blue <= 0xFF; blue += 5) {
        const QColor back(static_cast<int>(red), static_cast<int>(green), static_cast<int>(blue));
        ASSERT_GE(vantry::Contrast(ReadableOn(back), back), 4.5) << red << " " << green << " " << blue;
      }
    }
  }
  EXPECT_NEAR(vantry::Contrast(QColor(Qt::black), QColor(Qt::white)), 21, 1e-9);
  EXPECT_NEAR(vantry::Contrast(QColor(0x76, 0x76, 0x76), QColor(Qt::white)), 4.54, 0.01);
}

TEST(ListText, TipsShowMarkupAsItIs) {
  const QString tip = PlainTip("<img src=\"http://evil/\"> & more\nnext");
  EXPECT_FALSE(tip.contains("<img"));
  EXPECT_TRUE(tip.contains("&lt;img src=&quot;http://evil/&quot;&gt; &amp; more\nnext"));
  EXPECT_TRUE(Qt::mightBeRichText(tip)) << "or the entities would be read out";
  EXPECT_EQ(PlainTip(""), "");
  EXPECT_LT(PlainTip(QString(100'000, 'x')).size(), 1'100);
}

TEST(ListText, Needles) {
  const struct {
    const char *needle, *text;
    bool fits;
  } cases[] = {{"", "", true},
               {"", "x", true},
               {"x", "", false},
               {"ab", "xxAB", true},
               {"aab", "aaab", true},
               {"AB", "a b", false},
               {"\xC3\xA9", "CAF\xC9", true},
               {"\xC3\xA9", "caf\xC3\x89", true},
               {"\xC3\xA9", "cafe", false},
               {"[", "a{b", false},
               {"@", "a`b", false}};
  for (const auto& c : cases) {
    EXPECT_EQ(Needle(QString::fromUtf8(c.needle)).In(c.text), c.fits) << c.needle << " in " << c.text;
  }
}

}  // namespace
}  // namespace vantry
