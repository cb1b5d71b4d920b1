#include "web/page_text.h"

#include <gtest/gtest.h>

#include "core/text.h"

namespace vantry {
namespace {

struct PageTextTest : ::testing::Test {
  Settings settings;
  std::string Cell(std::string_view text, const CellLook& look = {}) {
    PageText page(settings);
    page.AddCell(text, look);
    return page.Take();
  }
  template <class F>
  std::string Made(F&& f) {
    PageText page(settings);
    f(page);
    return page.Take();
  }
};

TEST_F(PageTextTest, ZerosOfNumberColumnsAreNotShown) {
  EXPECT_EQ(Cell("0", {.align = Align::kRight}), "<td align=\"right\" bgcolor=\"#FFFFFF\" >&nbsp;</td>");
  EXPECT_EQ(Cell("0"), "<td bgcolor=\"#FFFFFF\" >0</td>");
  EXPECT_EQ(Cell("0", {.align = Align::kCentre}), "<td align=\"center\" bgcolor=\"#FFFFFF\" >0</td>");
  EXPECT_EQ(Cell(""), "<td bgcolor=\"#FFFFFF\" >&nbsp;</td>");
}

TEST_F(PageTextTest, ACellHasItsPartsInOrder) {
  EXPECT_EQ(Cell("<x>&", {.align = Align::kRight,
                          .font_colour = "#FF0000",
                          .bold = true,
                          .back_colour = "Red",
                          .mouse_over = true,
                          .col_span = 3}),
            "<td colspan=\"3\"  align=\"right\" bgcolor=\"Red\"  onMouseover='this.bgColor=\"#C1D2EE\"'  "
            "onMouseout='this.bgColor=\"Red\"' > <font color=\"#FF0000\"><b><x>&</b></font></td>");
}

TEST_F(PageTextTest, OnlyCellsWithSomethingInThemLightUp) {
  EXPECT_FALSE(Contains(Cell("-", {.mouse_over = true}), "onMouse"));
  EXPECT_FALSE(Contains(Cell("", {.mouse_over = true}), "onMouse"));
  EXPECT_TRUE(Contains(Cell("--", {.mouse_over = true}), "onMouse"));
}

TEST_F(PageTextTest, AColourThatWasClearedIsAnEmptyAttribute) {
  settings.WebColGridBack = "";
  settings.WebColGridHeader = "";
  EXPECT_EQ(Cell("x", {.mouse_over = true}),
            "<td bgcolor=\"\"  onMouseover='this.bgColor=\"#C1D2EE\"'  onMouseout='this.bgColor=\"#E1E6E8\"' >x</td>")
      << "back to the colour of buttons";
  EXPECT_EQ(Made([](PageText& p) { p.AddHeaderRow("x", 2, false, PageText::Row::kGrey); }),
            "<tr><td colspan=\"2\" bgcolor= height=\"30\"><font color=\"#000000\">x</font></td>\r\n</tr>\r\n");
}

TEST_F(PageTextTest, HeaderRowsAreBlueGreyOrWhite) {
  EXPECT_EQ(Made([](PageText& p) { p.AddHeaderRow("x", 2, true); }),
            "<tr><td colspan=\"2\" bgcolor=#2660DD height=\"30\"><b><font color=\"#FFFFFF\">x</font></b></td>\r\n"
            "</tr>\r\n");
  EXPECT_EQ(Made([](PageText& p) { p.AddHeaderRow("x", 2, false, PageText::Row::kWhite); }),
            "<tr><td colspan=\"2\" bgcolor=\"#FFFFFF\" height=\"30\"><font color=\"#000000\">x</font></td>\r\n"
            "</tr>\r\n");
  EXPECT_EQ(Made([](PageText& p) { p.AddHeaderRow("", 1, true); }),
            "<tr><td colspan=\"1\" bgcolor=#2660DD height=\"30\"><b><font color=\"#FFFFFF\"></b></td>\r\n</tr>\r\n")
      << "without a text the font stays open";
}

TEST_F(PageTextTest, TheHeadLeavesTheColourItTook) {
  std::string colour, own = "#123456";
  const std::string page = Made([&](PageText& p) { p.HTMLHeader("t", true, colour); });
  EXPECT_EQ(colour, "#FFFFFF");
  EXPECT_TRUE(Contains(page, "<BODY bgcolor=\"#FFFFFF\" "));
  EXPECT_TRUE(Contains(Made([&](PageText& p) { p.HTMLHeader("t", true, own); }), "<BODY bgcolor=\"#123456\" "));
  EXPECT_EQ(own, "#123456");
  EXPECT_FALSE(Contains(page, "Refresh"));
  EXPECT_TRUE(Contains(Made([&](PageText& p) { p.HTMLHeader(); }),
                       "content=\"text/html\">\r\n<META http-equiv=\"Refresh\" content=\"30\">\r\n"));
}

TEST_F(PageTextTest, Links) {
  EXPECT_EQ(PageText::AddLink("", "text"), "");
  EXPECT_EQ(PageText::AddLink("", ""), "");
  EXPECT_EQ(PageText::AddLink("u"), "<a href=\"u\">u</a>");
  EXPECT_EQ(PageText::AddLink("u", "0"), "<a href=\"u\">&nbsp;</a>");
  EXPECT_EQ(PageText::AddLink("u&\"", "t", {.title = "T", .no_underline = true, .new_window = true}),
            "<a title=\"T\" href=\"u&\"\" target=\"_blank\" style=\"text-decoration: none\" >t</a>");
}

TEST_F(PageTextTest, WindowsOpenByAScriptUnlessTextsAreEscaped) {
  const PageText::Popup popup{"VISITOR", "a.example", "1'%27\"!2", "T"};
  EXPECT_EQ(PageText(settings).PopupLink(popup, "7"),
            "<a title=\"T\" href=\"javascript:openUIWindow('?VISITOR&domain=a.example:1'%27\"!2')\">7</a>");
  EXPECT_EQ(PageText(settings, true).PopupLink(popup, "7"),
            "<a title=\"T\" href=\"?VISITOR&domain=a.example:1&#39;%27&quot;!2\" target=\"_blank\">7</a>");
  PageText page(settings, true);
  page.PopupScript();
  EXPECT_EQ(page.Take(), "");
}

TEST_F(PageTextTest, EscapedTextsHoldNoControlCharacters) {
  const PageText page(settings, true);
  EXPECT_EQ(std::string(page.Show("a\x1b$@\tb\x7f\xe9<")), "a $@ b \xe9&lt;");
  EXPECT_EQ(std::string(PageText(settings).Show("a\x1b<")), "a\x1b<");
}

TEST_F(PageTextTest, ADomainIsALinkWhenItLooksLikeAnAddress) {
  EXPECT_EQ(UrlForm("www.a.example"), "<a href=\"http://www.a.example\">www.a.example</a>");
  EXPECT_EQ(UrlForm("WWW.a.example"), "<a href=\"http://WWW.a.example\">WWW.a.example</a>");
  EXPECT_EQ(UrlForm("http://a.example/x"), "<a href=\"http://a.example/x\">http://a.example/x</a>");
  EXPECT_EQ(UrlForm("a.example"), "a.example");
  EXPECT_EQ(UrlForm(""), "");
}

TEST_F(PageTextTest, APageStandsBelowItsSite) {
  EXPECT_EQ(SiteUrl("www.a.example", "p.htm"), "http://www.a.example/p.htm");
  EXPECT_EQ(SiteUrl("http://a.example/", "p.htm"), "http://a.example/p.htm");
  EXPECT_EQ(SiteUrl("a.example", ""), "a.example/");
}

}  // namespace
}  // namespace vantry
