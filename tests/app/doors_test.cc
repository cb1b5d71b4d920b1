// Damage of registry.ini closes doors and never opens one.
#include "app/doors.h"

#include <random>

#include <gtest/gtest.h>

#include "core/text.h"
#include "core/wildcard.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

struct Doors {
  WebSecurity security;
  std::vector<std::string> problems;

  explicit Doors(const std::string& bytes, bool readable = true) {
    MemoryFiles files;
    files.Put("/p/registry.ini", bytes);
    files.entries["/p/registry.ini"]->readable = readable;
    RegistryFile registry(files, "/p/registry.ini");
    security = ReadSecurity(registry, problems);
  }
  bool MaySteer(const std::string& address) const {
    if (security.bind_address == "127.0.0.1" && !StartsWith(address, "127.")) return false;
    if (security.control_from.empty()) return true;
    return std::any_of(security.control_from.begin(), security.control_from.end(),
                       [&](const std::string& pattern) { return Like(address, pattern); });
  }
  bool Closed() const {
    return security.bind_address == "127.0.0.1" && security.control_from == std::vector<std::string>{"-"} &&
           security.escape_html && problems.size() == 1;
  }
};

TEST(Doors, AsItComesEverythingIsOpen) {
  for (const char* bytes : {"", "[Settings]\nDDFPath=/data/\n\n"}) {
    const Doors d(bytes);
    EXPECT_TRUE(d.problems.empty());
    EXPECT_EQ(d.security.bind_address, "");
    EXPECT_TRUE(d.MaySteer("203.0.113.9"));
    EXPECT_FALSE(d.security.escape_html);
  }
}

TEST(Doors, ASoundSectionIsTakenAsItStands) {
  const Doors d("[Security]\r\nBindAddress=2001:db8::1\r\nControlFrom=192.0.2.*; 2001:db8::?\r\nEscapeHTML=True\r\n");
  EXPECT_TRUE(d.problems.empty());
  EXPECT_EQ(d.security.bind_address, "2001:db8::1");
  EXPECT_TRUE(d.MaySteer("192.0.2.44"));
  EXPECT_FALSE(d.MaySteer("192.0.3.44"));
  EXPECT_TRUE(d.security.escape_html);
}

TEST(Doors, WhatCannotBeUnderstoodCloses) {
  EXPECT_TRUE(Doors("[Security]\nBindAddress=127.0.0.1\n", false).Closed()) << "a file that can't be opened";
  for (const char* line : {"BindAddress=localhost", "BindAddress=10.0.0", "ControlFrom=pc.example", "EscapeHTML=maybe",
                           "EscapeHTML=", "ControlFrom", "ControlForm=10.0.0.1", "\x01\x02"}) {
    EXPECT_TRUE(Doors(std::string("[Security]\n") + line + "\n").Closed()) << line;
  }
}

std::string Damage(std::string bytes, std::mt19937& random) {
  const auto below = [&](size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random); };
  const size_t at = 1 + below(bytes.size() - 1), count = 1 + below(12);
  switch (below(4)) {
    case 0:  // Overwritten.
      for (size_t i = at; i < std::min(at + count, bytes.size()); ++i) bytes[i] = static_cast<char>(below(256));
      return bytes;
    case 1:  // Cut short.
      return bytes.substr(0, at);
    case 2:  // A piece lost.
      return bytes.erase(at, count * 4);
    default:  // A piece moved in from elsewhere.
      return bytes.insert(at, bytes.substr(below(bytes.size()), count));
  }
}

TEST(Doors, NoneOfFiveHundredDamagesOpensMoreThanTheSoundFile) {
  const std::string sound =
      FormatRegistry(ParseRegistry("[Settings]\nDDFPath=/data/\nServiceRunning=False\n\n"
                                   "[Security]\nBindAddress=192.0.2.1\nControlFrom=192.0.2.20\nEscapeHTML=True\n\n"
                                   "[Form]\nFormTop=500\n"));
  ASSERT_TRUE(Doors(sound).problems.empty());
  std::mt19937 random(20261121);
  int closed = 0;
  for (int i = 0; i < 500; ++i) {
    const std::string bytes = Damage(sound, random);
    const Doors d(bytes);
    closed += d.Closed();
    EXPECT_NE(d.security.bind_address, "") << bytes;
    for (const char* outside : {"203.0.113.9", "10.0.0.1", "192.0.2.21", "2001:db8::9"}) {
      EXPECT_FALSE(d.MaySteer(outside)) << outside << " with\n" << bytes;
    }
    EXPECT_TRUE(d.security.escape_html) << bytes;
  }
  EXPECT_GT(closed, 100) << "the damages must reach the section";
  EXPECT_LT(closed, 500);
}

TEST(Doors, AllowedHostsAreNamesBetweenSemicolons) {
  const Doors d("[Security]\nAllowedHosts= Vantry.my.example; box;\n");
  EXPECT_TRUE(d.problems.empty());
  EXPECT_EQ(d.security.allowed_hosts, (std::vector<std::string>{"Vantry.my.example", "box"}));
  for (const char* hosts : {"a b", "box:8004", "http://box", "*.example", "box,other", "b\xc3\xbcro", "a;;b c"}) {
    const Doors damaged("[Security]\nBindAddress=192.0.2.1\nAllowedHosts=" + std::string(hosts) + "\n");
    EXPECT_TRUE(damaged.Closed() && damaged.security.allowed_hosts.empty()) << hosts;
    EXPECT_TRUE(Contains(damaged.problems[0], "AllowedHosts holds '")) << hosts;
  }
}

TEST(Doors, OneLineSaysWhoMayLookAndWhoMaySteer) {
  Settings settings;
  WebSecurity security;
  EXPECT_EQ(
      DescribeDoors(security, settings),
      "May look: everyone who reaches this machine, without a login. May steer: everyone who reaches this machine.");
  settings.WebAccessControl = true;
  security = {"127.0.0.1", {"127.0.0.1", "10.0.0.*"}, true};
  EXPECT_EQ(DescribeDoors(security, settings),
            "May look: this machine alone, with a login. May steer: 127.0.0.1; 10.0.0.*.");
  security = {"192.0.2.1", {"-"}, true};
  EXPECT_EQ(DescribeDoors(security, settings),
            "May look: everyone who reaches 192.0.2.1, with a login. May steer: nobody.");
}

TEST(Doors, AnEmptyAdministratorIsWarnedOf) {
  Settings settings;
  EXPECT_EQ(EmptyLoginWarning(settings), "") << "nobody is asked";
  settings.WebAccessControl = true;
  EXPECT_TRUE(Contains(EmptyLoginWarning(settings), "an empty form logs in as the administrator"));
  Corrections corrected;
  corrected.RefuseEmptyLogin = true;
  EXPECT_EQ(EmptyLoginWarning(settings, corrected),
            "SETTINGS.INI: WebAccessControl is on and WebUsername is empty, so nobody can log in as the administrator. "
            "Set WebUsername and WebPassword.");
  settings.WebPassword = "secret";
  EXPECT_TRUE(Contains(EmptyLoginWarning(settings), "an empty name with WebPassword logs in"));
  settings.WebUsername = "me";
  EXPECT_EQ(EmptyLoginWarning(settings), "");
}

}  // namespace
}  // namespace vantry
