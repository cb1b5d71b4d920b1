#include "platform/dns_text.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

std::string Read(std::string_view text) {
  std::vector<NameServer> servers;
  const Status status = ReadNameServers(text, 53, servers);
  if (!status.ok()) return status.text;
  std::string out;
  for (const NameServer& s : servers) out += s.address + " " + std::to_string(s.port) + "|";
  return out;
}

TEST(NameServers, ReadsAddressesWithAndWithoutPorts) {
  for (const auto& [text, expected] : std::vector<std::pair<std::string, std::string>>{
           {"", ""},
           {" ;, \t", ""},
           {"127.0.0.1:5353", "127.0.0.1 5353|"},
           {"127.0.0.1:5353,[::1]:53", "127.0.0.1 5353|::1 53|"},
           {"10.0.0.1;10.0.0.2:65535  10.0.0.3\t10.0.0.4", "10.0.0.1 53|10.0.0.2 65535|10.0.0.3 53|10.0.0.4 53|"},
           {"::1", "::1 53|"},
           {"[2001:db8::53]", "2001:db8::53 53|"},
           {"fe80::1:2:3:4,", "fe80::1:2:3:4 53|"},
       }) {
    EXPECT_EQ(Read(text), expected) << text;
  }
}

TEST(NameServers, NamesTheEntryThatCantBeRead) {
  using namespace std::string_literals;
  for (const std::string& entry :
       {"dns.example"s, "10.0.0"s, "10.0.0.256"s, "10.0.0.1:"s, "10.0.0.1:0"s, "10.0.0.1:65536"s,
        "10.0.0.1:99999999999"s, "10.0.0.1:5x"s, "10.0.0.1:-5"s, "[::1"s, "[::1]5353"s, "[::1]:"s, "[10.0.0.1]:53"s,
        "[]"s, ":53"s, "::1:x"s, "10.0.0.1\0"s, "fe80::1%eth0"s}) {
    EXPECT_EQ(Read("10.0.0.9, " + entry + ";10.0.0.8"), "'" + entry + "' is no address of a name server");
  }
}

TEST(ReverseName, IsTheAddressFromBehind) {
  EXPECT_EQ(ReverseName("10.2.0.254"), "254.0.2.10.in-addr.arpa");
  EXPECT_EQ(ReverseName("2001:db8::1a"), "a.1.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.8.b.d.0.1.0.0.2.ip6.arpa");
  EXPECT_EQ(ReverseName("::ffff:10.2.0.254"), "254.0.2.10.in-addr.arpa");
}

TEST(ReverseName, TextThatIsNoAddressHasNone) {
  using namespace std::string_literals;
  for (const std::string& text : {""s, "-"s, "client.example"s, "10.0.0"s, "10.0.0.0.1"s, "10.0.0.1 "s, "10.0.0.1\0"s,
                                  "10.0.0.1\0.2"s, "1::2::3"s, "fe80::1%eth0"s, "[::1]"s, "10.0.0.1:80"s}) {
    EXPECT_EQ(ReverseName(text), "") << text;
  }
}

TEST(HostName, TakesNamesAlone) {
  using namespace std::string_literals;
  const std::string longest = std::string(126, 'a') + "." + std::string(126, 'b');
  for (const std::string& name : {"a"s, "localhost"s, "Host-1.Example.COM"s, "_x.example"s, "1.2.3.4.dsl.example"s,
                                  "4.3.2.1.in-addr.arpa"s, longest}) {
    EXPECT_TRUE(IsHostName(name)) << name;
  }
  for (const std::string& name : {""s, "."s, "a."s, longest + "c"s, "a b"s, "<script>"s, "a\\.b"s, "a/b"s, "*.example"s,
                                  "a\0b"s, "m\xC3\xBCller.example"s, "a\tb"s, "a;b"s, "10.0.0.1"s, "5"s, "host.7"s}) {
    EXPECT_FALSE(IsHostName(name)) << name;
  }
}

}  // namespace
}  // namespace vantry
