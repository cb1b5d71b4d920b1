#include "platform/net_address.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(IsPublicAddress, OfTheInternetAlone) {
  for (const char* text : {"8.8.8.8", "1.1.1.1", "172.15.0.1", "172.32.0.1", "192.167.0.1", "100.63.0.1",
                           "2001:4860::1", "2a00:1450::1", "::ffff:8.8.8.8"}) {
    EXPECT_TRUE(IsPublicAddress(ReadNetAddress(text, 43))) << text;
  }
  for (const char* text : {"0.0.0.0",
                           "10.1.2.3",
                           "100.64.0.1",
                           "127.0.0.1",
                           "127.255.0.1",
                           "169.254.169.254",
                           "172.16.0.1",
                           "172.31.255.255",
                           "192.168.0.1",
                           "192.0.2.1",
                           "198.18.0.1",
                           "224.0.0.1",
                           "255.255.255.255",
                           "::",
                           "::1",
                           "fe80::1",
                           "fc00::1",
                           "fd12::1",
                           "ff02::1",
                           "2001:db8::1",
                           "2002:7f00:1::",
                           "::ffff:10.0.0.1",
                           "64:ff9b::10.0.0.1",
                           "::127.0.0.1",
                           "x",
                           ""}) {
    EXPECT_FALSE(IsPublicAddress(ReadNetAddress(text, 43))) << text;
  }
}

TEST(IsHostText, NothingThatReadsAsAnOption) {
  for (const char* good : {"host", "www.example.com", "10.0.0.7", "2001:db8::7", "::1", "a_b.example"}) {
    EXPECT_TRUE(IsHostText(good)) << good;
  }
  for (const char* bad : {"", "-c", "-a.example", "a b", "a@b", "50%", "a;b", "$(x)", "a\nb", "a/b"}) {
    EXPECT_FALSE(IsHostText(bad)) << bad;
  }
  EXPECT_FALSE(IsHostText(std::string_view("a\0b", 3)));
}

TEST(FindTarget, AnAddressOrWhyThereIsNone) {
  NetAddress target;
  ASSERT_TRUE(FindTarget("127.0.0.1", target).ok());
  EXPECT_EQ(target.Text(), "127.0.0.1");
  ASSERT_TRUE(FindTarget("::1", target).ok());
  EXPECT_EQ(target.Text(), "::1");
  EXPECT_EQ(FindTarget("-c", target).fail, Fail::kBadData);
  EXPECT_EQ(FindTarget("no-such-host.invalid", target).fail, Fail::kNotFound);
}

}  // namespace
}  // namespace vantry
