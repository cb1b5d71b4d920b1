#include "core/agent_text.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(AgentText, PartsThatAreThereAreJoined) {
  EXPECT_EQ(BrowserText({"Chrome Mobile 130", "Android", "14", "Pixel 7"}), "Chrome Mobile 130 on Android 14, Pixel 7");
  EXPECT_EQ(BrowserText({"Safari 17", "macOS", "", ""}), "Safari 17 on macOS");
  EXPECT_EQ(BrowserText({"Safari 13", "", "9", "PlayStation 5"}), "Safari 13, PlayStation 5");
  EXPECT_EQ(SpiderText("GPTBot", "AI"), "GPTBot (AI)");
  EXPECT_EQ(SpiderText("GPTBot", ""), "GPTBot");
}

TEST(AgentText, NarrowFieldHoldsTheLongestPartThatIsTrue) {
  constexpr std::string_view kPhone = "Chrome Mobile 130 on Android 14, Pixel 7";
  EXPECT_EQ(FitBrowser(kPhone, 40), kPhone);
  EXPECT_EQ(FitBrowser(kPhone, 39), "Chrome Mobile 130 on Android 14");
  EXPECT_EQ(FitBrowser(kPhone, 30), "Chrome Mobile 130 on Android");
  EXPECT_EQ(FitBrowser(kPhone, 27), "Chrome Mobile 130");
  EXPECT_EQ(FitBrowser(kPhone, 5), "Chrom");
  EXPECT_EQ(FitBrowser("Firefox 131 on Windows 10", 30), "Firefox 131 on Windows 10");
  EXPECT_EQ(FitBrowser("Safari 13, PlayStation 5", 12), "Safari 13");
  EXPECT_EQ(FitBrowser("Chrome 130 on Chrome OS", 22), "Chrome 130 on Chrome");
  EXPECT_EQ(FitBrowser("Safari 17 on macOS", 15), "Safari 17");
  EXPECT_EQ(FitBrowser("", 5), "");
  EXPECT_EQ(FitSpider("Googlebot (search)", 18), "Googlebot (search)");
  EXPECT_EQ(FitSpider("Googlebot (search)", 15), "Googlebot");
  EXPECT_EQ(FitSpider("facebookexternalhit (preview)", 15), "facebookexterna");
  EXPECT_EQ(FitSpider("Auto Detected", 5), "Auto ");
}

}  // namespace
}  // namespace vantry
