#include "network/who_is_query.h"

#include <gtest/gtest.h>

#include "config/registry_store.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

WhoIsServers Named() {
  return {.general = "general",
          .registry = "registry",
          .uk = "uk",
          .gov = "gov",
          .mil = "mil",
          .regional = "regional",
          .rdap = "http://rdap.example/"};
}

struct QueryCase {
  const char *name, *subject, *server, *question;
};

constexpr QueryCase kQueries[] = {
    {"an address", "10.0.0.7", "regional", "10.0.0.7"},
    {"an address and a site", "10.0.0.7:3", "regional", "10.0.0.7"},
    {"an address of IPv6", "2001:db8::7", "regional", "2001:db8::7"},
    {"an address whose look-up failed", "10.0.0.7 ?", "regional", "10.0.0.7"},
    {"what looks like an address and is none", "10.0.0.777", "regional", "0.777"},
    {"no dot", "localhost", "general", "localhost"},
    {"no dot in capitals", "COM", "general", "COM"},
    {"four labels in a zone of three letters", "a.b.example.com", "registry", "example.com"},
    {"four labels in a zone of two", "a.b.example.de", "regional", "b.example.de"},
    {"three labels in a zone of two", "www.example.uk", "uk", "www.example.uk"},
    {"five labels in a zone of two", "a.b.example.co.uk", "uk", "example.co.uk"},
    {"a zone of four letters", "a.b.example.info", "regional", "b.example.info"},
    {"two labels", "example.net", "registry", "example.net"},
    {"two labels in a zone of two letters", "example.de", "regional", "example.de"},
    {"ORG in mixed case", "www.Example.oRg", "registry", "Example.oRg"},
    {"BIZ", "x.example.biz", "registry", "example.biz"},
    {"GOV", "x.y.gov", "gov", "y.gov"},
    {"MIL", "x.y.mil", "mil", "y.mil"},
    {"EDU is not in the table", "x.y.edu", "regional", "y.edu"},
    {"a question mark", "www.example.com?x=a.b.c", "registry", "example.com"},
    {"a dot at the end", "www.example.com.", "registry", "example.com"},
    {"a dot at the start", ".com", "registry", ".com"},
};

TEST(Internic, ChoosesTheServerAndWhatItIsAsked) {
  for (const QueryCase& c : kQueries) {
    const std::string name = WhoIsName(c.subject);
    EXPECT_EQ(Internic(name, Named()), c.server) << c.name;
    EXPECT_EQ(CutName(name), c.question) << c.name;
  }
}

TEST(CanBeAsked, NothingOfASubjectIsAnOptionOrASecondLine) {
  for (const char* good : {"10.0.0.7", "2001:db8::7", "www.example.com", "a_b.example", "x--y.example"}) {
    EXPECT_TRUE(CanBeAsked(good)) << good;
  }
  for (const char* bad : {"", "-h", "-a.example", "a b.example", "a%b.example", "a@b.example", "a\r\nb.example", "a;b",
                          "a\x01", "\xC3\xA4.example", "$(x)", "a/b", "'a'"}) {
    EXPECT_FALSE(CanBeAsked(bad)) << bad;
  }
  EXPECT_FALSE(CanBeAsked(std::string(254, 'a')));
}

TEST(RdapAddress, OfANameOrAnAddress) {
  EXPECT_EQ(RdapAddress("example.com", Named()), "http://rdap.example/domain/example.com");
  EXPECT_EQ(RdapAddress("10.0.0.7", Named()), "http://rdap.example/ip/10.0.0.7");
  EXPECT_EQ(RdapAddress("2001:db8::7", Named()), "http://rdap.example/ip/2001:db8::7");
  EXPECT_EQ(RdapAddress("localhost", Named()), "");
  WhoIsServers none = Named();
  none.rdap.clear();
  EXPECT_EQ(RdapAddress("example.com", none), "");
}

TEST(ReadWhoIsServers, HasGoodOnesUnlessTheOperatorSaysOtherwise) {
  MemoryFiles files;
  RegistryFile registry(files, "/home/registry.ini");
  const WhoIsServers standard = ReadWhoIsServers(registry);
  for (const std::string* server : {&standard.general, &standard.registry, &standard.uk, &standard.gov, &standard.mil,
                                    &standard.regional, &standard.rdap}) {
    EXPECT_FALSE(server->empty());
  }
  files.Put("/home/registry.ini",
            "[WhoIs]\nGeneral=a\nRegistry=b\nUK=c\nGOV=d\nMIL= e:4343 \nRegional=f\nRdapServer=\n");
  const WhoIsServers own = ReadWhoIsServers(registry);
  EXPECT_EQ(own.general + own.registry + own.uk + own.gov + own.mil + own.regional, "abcde:4343f");
  EXPECT_EQ(own.rdap, "") << "none is wanted";
}

}  // namespace
}  // namespace vantry
