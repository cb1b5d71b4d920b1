// What may be opened in a browser.
#include "desktop/row_addresses.h"

#include <gtest/gtest.h>

#include "desktop/window_layout.h"

namespace vantry {
namespace {

TEST(RowAddresses, APageIsOnItsSite) {
  EXPECT_EQ(PageAddress("www.example.com", "a.htm"), "http://www.example.com/a.htm");
  EXPECT_EQ(PageAddress("www.example.com", "/a.htm?x=1"), "http://www.example.com/a.htm?x=1");
  EXPECT_EQ(PageAddress("https://www.example.com", "/a.htm"), "https://www.example.com/a.htm");
  EXPECT_EQ(PageAddress("HTTP://www.example.com", ""), "HTTP://www.example.com/");
  EXPECT_EQ(PageAddress("", "/a.htm"), "");
}

TEST(RowAddresses, AReferrerIsAWebAddressOrNone) {
  EXPECT_EQ(ReferrerAddress("https://www.example.com/x"), "https://www.example.com/x");
  EXPECT_EQ(ReferrerAddress("www.example.com"), "http://www.example.com");
  for (const char* odd : {"", "-", "some user", "javascript:alert(1).x", "file:///etc/passwd", "mailto:a@b.example"}) {
    EXPECT_EQ(ReferrerAddress(odd), "") << odd;
  }
}

TEST(RowAddresses, AHostMayBeAnAddress) {
  EXPECT_EQ(HostAddress("host.example.com"), "http://host.example.com/");
  EXPECT_EQ(HostAddress("2001:db8::1"), "http://[2001:db8::1]/");
  for (const char* odd : {"", "10.0.0.1 ?", "*.example.com"}) EXPECT_EQ(HostAddress(odd), "") << odd;
}

TEST(RowAddresses, AnExclusionComesAfterASemicolon) {
  EXPECT_EQ(AddToExcludeList("10.0.0.1", "10.0.0.2"), "10.0.0.1;10.0.0.2");
  EXPECT_EQ(AddToExcludeList("", "10.0.0.2"), ";10.0.0.2");
}

TEST(WindowLayout, IsReadBackAsItWasWritten) {
  WindowLayout layout;
  layout.bands = std::string("\x00\xff\r\n=[]", 7);
  layout.lists["VsGrid"] = {{"On Page", "3 200"}, {"Site", "1 80 hidden"}};
  const WindowLayout back = ParseLayout(FormatLayout(layout));
  EXPECT_EQ(back.bands, layout.bands);
  EXPECT_EQ(back.lists, layout.lists);
}

TEST(WindowLayout, BandsOfAnotherVersionAreLeftOut) {
  const WindowLayout back = ParseLayout("[Bands]\r\nVersion=2\r\nState=AAAA\r\n\r\n[VsGrid]\r\nSite=1 80\r\n");
  EXPECT_EQ(back.bands, "");
  EXPECT_EQ(back.lists.at("VsGrid").at("Site"), "1 80");
}

}  // namespace
}  // namespace vantry
