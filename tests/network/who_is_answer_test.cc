#include "network/who_is_answer.h"

#include <string>

#include <gtest/gtest.h>

namespace vantry {
namespace {

std::string Shown(std::string_view text) {
  std::string all;
  for (const WhoIsField& field : WhoIsFields(text)) all += std::string(field.caption) + "=" + field.value + "; ";
  return all;
}

struct FieldsCase {
  const char *name, *text, *fields;
};

constexpr FieldsCase kFields[] = {
    {"a registry of addresses",
     "% Note\r\n% Abuse contact for '192.0.2.0 - 192.0.2.255' is 'abuse@example.net'\r\n\r\n"
     "inetnum:        192.0.2.0 - 192.0.2.255\r\nnetname:        EXAMPLE-NET\r\ndescr:          Example\r\n"
     "country:        NL\r\norg-name:       Example B.V.\r\n",
     "Network=192.0.2.0 - 192.0.2.255 (EXAMPLE-NET); Organisation=Example B.V.; Country=NL; "
     "Abuse address=abuse@example.net; "},
    {"another one",
     "\nNetRange:       198.51.100.0 - 198.51.100.255\nCIDR:           198.51.100.0/24\nNetName:        EX\n"
     "OrgName:        Example Inc\nCountry:        US\nOrgAbuseEmail:  noc@example.org\n",
     "Network=198.51.100.0 - 198.51.100.255 (EX); Organisation=Example Inc; Country=US; "
     "Abuse address=noc@example.org; "},
    {"a domain",
     "   Domain Name: EXAMPLE.COM\n   Registrar: Example Registrar, Inc.\n   Registrar Abuse Contact Email: "
     "a@b.example\n",
     "Network=EXAMPLE.COM; Organisation=Example Registrar, Inc.; Abuse address=a@b.example; "},
    {"values in the line below", "    Registrar:\n        Example Ltd [Tag = EX]\n    Country:\n\n",
     "Organisation=Example Ltd [Tag = EX]; "},
    {"the first of several", "country: AA\ncountry: BB\n", "Country=AA; "},
    {"a key without a value", "country:\ncountry: BB\n", "Country=BB; "},
    {"nothing", "", ""},
    {"no fields", "hello\n", ""},
    {"half a remark", "% Abuse contact for '192.0.2.0' is 'a", ""},
    {"no line ends", "country: DE", "Country=DE; "},
};

TEST(WhoIsFields, OfEachDialect) {
  for (const FieldsCase& c : kFields) EXPECT_EQ(Shown(c.text), c.fields) << c.name;
}

TEST(WhoIsFields, AValueOfAMegabyteIsNone) {
  EXPECT_EQ(Shown("country: " + std::string(1 << 20, 'x')), "");
  std::string lines;
  for (int n = 0; n < 100'000; ++n) lines += "a: b\n";
  EXPECT_EQ(Shown(lines + "country: DE\n"), "");
}

TEST(ReferralOf, TheServerThatIsNamed) {
  EXPECT_EQ(ReferralOf("refer:        whois.example.net\n"), "whois.example.net");
  EXPECT_EQ(ReferralOf("ReferralServer:  whois://whois.example.net:4321\n"), "whois.example.net:4321");
  EXPECT_EQ(ReferralOf("ReferralServer:  rwhois://Rwhois.example.net:4321/auth\n"), "rwhois.example.net:4321");
  EXPECT_EQ(ReferralOf("   Registrar WHOIS Server: whois.registrar.example\r\n"), "whois.registrar.example");
  EXPECT_EQ(ReferralOf("whois: whois.b.example\nrefer: whois.a.example\n"), "whois.a.example");
}

TEST(ReferralOf, NothingThatIsNotAServer) {
  for (const char* text :
       {"", "refer:\n", "refer: localhost\n", "ReferralServer: http://www.example.net\n", "refer: a b.example\n",
        "refer: -x.example\n", "Registrar WHOIS Server: https://www.example.net/whois\n", "refer: $(x).example\n",
        "ReferralServer: ldap://x.example\n"}) {
    EXPECT_FALSE(ReferralOf(text)) << text;
  }
  EXPECT_FALSE(ReferralOf("refer: " + std::string(300, 'a') + ".example\n"));
}

TEST(SaysNothing, InTheWordsOfRegistries) {
  for (const char* text : {"", " \r\n\t\n", "No match for \"EXAMPLE.COM\".\r\n>>> Last update\r\n", "NOT FOUND\n",
                           "%ERROR:101: no entries found\n", "Domain: example.de\nStatus: free\n", "No Data Found\n",
                           "inetnum: 192.0.2.0 - 192.0.2.255\nnetname: NON-RIPE-NCC-MANAGED-ADDRESS-BLOCK\n"}) {
    EXPECT_TRUE(SaysNothing(text)) << text;
  }
  for (const char* text : {"country: DE\nremarks: not found elsewhere\n", "[Organization] Example\n", "x"}) {
    EXPECT_FALSE(SaysNothing(text)) << text;
  }
}

}  // namespace
}  // namespace vantry
