// Pages with ReadablePages, byte for byte as pages_test.cc does for the classic ones, and the colours they are made of.
#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "support/page_rig.h"
#include "web/page_style.h"

namespace vantry {
namespace {

struct ReadablePagesTest : ::testing::Test {
  PageRig rig;
  LiveTables& t = rig.rig.t;
  ReadablePagesTest() {
    t.Corrected.ReadablePages = true;
    t.Sites[0].LastReadDateTime = {rig.rig.clock.now.s};
  }
  static void Check(const std::string& name, const std::string& page) {
    const std::string path = std::string(VANTRY_TEST_DATA) + "/web/readable_" + name;
    if (std::getenv("VANTRY_RENEW")) {
      std::ofstream(path, std::ios::binary) << page;
      return;
    }
    std::ifstream in(path, std::ios::binary);
    EXPECT_EQ(page, std::string(std::istreambuf_iterator<char>(in), {})) << name;
  }
};

TEST_F(ReadablePagesTest, AsTheyGoOut) {
  Check("sites_idle.html", SitesTable(rig.context, 1));
  rig.Fill({"text", "http://from.example/", "0"});
  bool first = true;
  t.Visitors.ForEach([&](int32_t, VisitorRec& v) {
    v.Status = first ? 404 : 200;
    v.Idle = std::exchange(first, false);
  });
  t.Site(1).TodayAlerts = 3;
  Check("sites_busy.html", SitesTable(rig.context, 1));
  Check("visitors.html", VisitorsTable(rig.context, 1, "www.one.example"));
  Check("visitors_of_no_site.html", VisitorsTable(rig.context, 1, "no.example"));
  Check("visitors_of_all_sites.html", VisitorsTable(rig.context, 1, "all"));
  Check("alerts.html", AlertsTable(rig.context, 1, "www.one.example"));
  Check("spiders.html", SpidersTable(rig.context, 1, "www.one.example"));
  Check("exceptions.html", ExceptionsTable(rig.context, 1, "www.one.example"));
  Check("referrers.html", ReferrersTable(rig.context, 1, "www.one.example"));
  Check("visit_details.html", VisitorDetailsTable(rig.context, 1, "www.one.example:10.0.0.1!1"));
  Check("previous_visits.html", PreviousVisitsTable(rig.context, 1, "www.one.example:10.0.0.1"));
  Check("not_monitored.html", VisitorDetailsTable(rig.context, 1, "no.example:10.0.0.1!1"));
  Check("login.html", LoginTable(rig.context, 1));
  Check("deck.wml", SitesTable(rig.context, 2));
}

TEST_F(ReadablePagesTest, ASiteThatWasNotReadYetShowsNever) {
  const std::string page = SitesTable(rig.context, 1);
  EXPECT_TRUE(Contains(page, ">never</td>"));
  EXPECT_FALSE(Contains(page, "1899"));
  EXPECT_FALSE(Contains(page, "&nbsp;</a>")) << "no link without a text";
  EXPECT_FALSE(Contains(SitesTable(rig.context, 2), "1899"));
  t.Corrected.ReadablePages = false;
  EXPECT_TRUE(Contains(SitesTable(rig.context, 1), "1899"));
  EXPECT_TRUE(Contains(SitesTable(rig.context, 1), "&nbsp;</a>"));
}

TEST_F(ReadablePagesTest, TextsStayAndOnlyTheLookIsNew) {
  rig.Fill({"text"});
  const auto without_marks = [&](const std::string& page) {
    std::string out;
    for (size_t at = 0; at < page.size();) {
      const size_t open = page.find('<', at);
      out += page.substr(at, open - at);
      if (open == std::string::npos) break;
      const bool style = page.compare(open, 6, "<STYLE") == 0;
      const size_t close = style ? page.find("</STYLE>", open) + 7 : page.find('>', open);
      at = close + 1;
    }
    return out;
  };
  const auto texts = [&] { return without_marks(SpidersTable(rig.context, 1, "www.one.example")); };
  const std::string readable = ReplaceAll(texts(), "\r\n", "");
  t.Corrected.ReadablePages = false;
  EXPECT_EQ(readable, ReplaceAll(texts(), "\r\n", ""));
}

TEST(PageStyle, ContrastIsThatOfTheKnownFormula) {
  EXPECT_NEAR(Contrast("#000000", "#FFFFFF"), 21, 0.01);
  EXPECT_NEAR(Contrast("#777777", "#FFFFFF"), 4.48, 0.01);
  EXPECT_NEAR(Contrast("Red", "#FFFFFF"), 4.0, 0.01);
  EXPECT_EQ(Contrast("#123456", "#123456"), 1);
}

TEST(PageStyle, WhateverTheColoursTextsAndLinksCanBeRead) {
  for (int i = 0; i < 4096; ++i) {
    char colour[8];
    std::snprintf(colour, sizeof colour, "#%X0%X8%XF", i >> 8, i >> 4 & 15, i & 15);
    const std::string_view backgrounds[] = {colour};
    const std::string head = ReadableHead(backgrounds);
    for (const std::string_view property : {"{ color: ", "--link: ", "--alarm: "}) {
      const size_t at = head.find(property) + property.size();
      EXPECT_GE(Contrast(colour, head.substr(at, 7)), 4.5) << colour << property;
    }
  }
}

TEST_F(ReadablePagesTest, AColourThatIsNoneGivesWayToTheStandardOne) {
  for (const char* wrong : {"", "blue", "#12345", "#12345G", "#1234567", "red;}"}) {
    EXPECT_FALSE(IsColour(wrong)) << wrong;
    rig.settings.WebColTableHeading = rig.settings.WebColGridBack = wrong;
    const std::string page = SitesTable(rig.context, 1);
    EXPECT_TRUE(Contains(page, "bgcolor=#2660DD height=\"30\"")) << wrong;
    EXPECT_TRUE(Contains(page, " bgcolor=\"#FFFFFF\" ")) << wrong;
  }
}

}  // namespace
}  // namespace vantry
