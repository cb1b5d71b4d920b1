#include "config/registry_text.h"

#include <array>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vantry {
namespace {

constexpr std::array<std::string_view, 2> kKnown = {"BindAddress", "ControlFrom"};

TEST(RegistryText, WhatIsNotAValueIsWrittenBackAsItWas) {
  const std::string text = "# by hand\n\n[Settings]\nA=1\n; the next line is damaged\nControlFrom127.0.0.1\nB=2\n\n";
  EXPECT_EQ(FormatRegistry(ParseRegistry(text)), text);
}

TEST(RegistryText, TheFirstLineListsWhatTheSectionSecurityEverHeld) {
  const std::string listed =
      "; Security holds: BindAddress, ControlFrom\n\n[Settings]\nA=1\n\n[Security]\nBindAddress=::1\nControlFrom=-\n\n";
  EXPECT_EQ(FormatRegistry(ParseRegistry("[Settings]\nA=1\n[Security]\nBindAddress=::1\nControlFrom=-\n")), listed);
  EXPECT_EQ(FormatRegistry(ParseRegistry(listed)), listed);
  EXPECT_EQ(FormatRegistry(ParseRegistry("; Security holds: BindAddress, ControlFrom\n[Security]\nBindAddress=::1\n")),
            "; Security holds: BindAddress, ControlFrom\n\n[Security]\nBindAddress=::1\n\n")
      << "what is lost stays listed";
}

TEST(RegistryText, DamageOfTheSectionSecurityIsFound) {
  struct Case {
    const char *name, *bytes, *finding;
  };
  const Case cases[] = {
      {"no file", "", nullptr},
      {"no section", "[Settings]\nA=1\nno sign\n", nullptr},
      {"whole", "[Security]\r\nBindAddress=::1\r\n# mine\r\n; alone\r\ncontrolfrom=-\r\n", nullptr},
      {"no line end", "[Security]\nBindAddress=::1\nControlFrom=127.0.0.",
       "its last line has no end, so more may be missing"},
      {"no sign", "[Security]\nBindAddress ::1\n", "in its section Security the line 'BindAddress ::1' can't be read"},
      {"unknown name", "[Security]\nBindAdress=::1\n", "its section Security can't hold the name BindAdress"},
      {"heading lost", "BindAddress=::1\n", "its line BindAddress is outside the section Security"},
      {"heading damaged", "[Settings]\nA=1\n[Secur]ty\nControlFrom=-\n",
       "its line ControlFrom is outside the section Security"},
      {"heading after it lost", "[Security]\nBindAddress=::1\nDDFPath=/data/\n",
       "its section Security can't hold the name DDFPath"},
      {"listed and gone", "; Security holds: BindAddress, ControlFrom\n[Security]\nBindAddress=::1\n",
       "its section Security has lost ControlFrom, which the first line of the file lists"},
      {"section listed and gone", "; Security holds: ControlFrom\n[Settings]\nA=1\n",
       "its section Security has lost ControlFrom, which the first line of the file lists"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto found = SecurityDamage(c.bytes, kKnown);
    if (c.finding) {
      EXPECT_THAT(found, ::testing::ElementsAre(c.finding));
    } else {
      EXPECT_TRUE(found.empty());
    }
  }
}

}  // namespace
}  // namespace vantry
