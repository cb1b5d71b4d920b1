// The reader of pages that other tests lean on finds what it is there for.
#include "support/html_shape.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(HtmlShape, ReadsTagsAsBrowsersDo) {
  using Shape = std::vector<std::string>;
  EXPECT_EQ(HtmlShape("a < b <TD Align=\"x>y\" b='1' c=2 d>t</td><br/>"), (Shape{"td align=x>y b=1 c=2 d= ", "br "}));
  EXPECT_EQ(HtmlShape("<a href=\"one\">1</a><a href=two>2</a>"), (Shape{"a href ", "a href "}));
  EXPECT_EQ(HtmlShape("<script>a<b>c</SCRIPT ><b>"), (Shape{"script a<b>c", "b "}));
  EXPECT_EQ(HtmlShape("<title><b></title><!-- <i> --><!x><?y></><p"),
            (Shape{"title ", "! !-- <i> -->", "! !x>", "! ?y>", "! />", "p "}));
  EXPECT_EQ(HtmlShape("<svg/onload=x>"), (Shape{"svg onload=x "}));
}

TEST(HtmlShape, FindsWhatRuns) {
  for (const char* page :
       {"<p><SCRIPT src=x></script>", "<td onclick='x()'>", "<svg/onload=x>",
        "<td onmouseover='this.bgColor=\"a\";x()'>", "<a href=\"javascript:x\">", "<a href=' \x01java\nscript&#39;:x'>",
        "<a href=data:text/html,x>", "<a HREF='&quot;VBScript:x'>", "<iframe src=javascript:x>",
        "<form action='javascript:x'>"}) {
    EXPECT_NE(FindScript(page), "") << page;
  }
  for (const char* page : {"script onclick=x javascript:x", "<td onMouseover='this.bgColor=\"#C1D2EE\"'>",
                           "<a href=\"?a:b\">", "<a href=\"http://a.example/javascript:x\">",
                           "<a href=\"/javascript:x\">", "<a href=\"two.example:8080/x\">"}) {
    EXPECT_EQ(FindScript(page), "") << page;
  }
}

}  // namespace
}  // namespace vantry
