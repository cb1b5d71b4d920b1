#include "live/live_settings.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/memory_files.h"

namespace vantry {
namespace {

using ::testing::HasSubstr;

struct LiveSettingsTest : ::testing::Test {
  MemoryFiles files;
  RegistryFile registry{files, "/home/registry.ini"};
  std::string problem;

  std::optional<LiveSettings> Read(const std::string& section) {
    files.Put("/home/registry.ini", section);
    problem.clear();
    return ReadLiveSettings(registry, files, problem);
  }
};

constexpr char kLogin[] = "User=guard\nPasswordHash=$y$j9T$abcdefghijklmnopqrst\n";

TEST_F(LiveSettingsTest, WithoutAPortNothingIsServed) {
  EXPECT_FALSE(ReadLiveSettings(registry, files, problem));
  EXPECT_FALSE(Read("[Security]\nBindAddress=127.0.0.1\n"));
  EXPECT_FALSE(Read(std::string("[Live]\n") + kLogin));
  EXPECT_FALSE(Read("[Live]\nPort=\n"));
  EXPECT_EQ(problem, "");
}

TEST_F(LiveSettingsTest, OfThisMachineAloneUnlessItSaysOtherwise) {
  auto settings = Read("[Live]\nPort=8005\n");
  ASSERT_TRUE(settings);
  EXPECT_EQ(settings->place.address, "127.0.0.1");
  EXPECT_EQ(settings->place.port, 8005);
  EXPECT_FALSE(settings->login.Wanted());
  for (const char* own : {"127.0.0.1", "127.1.2.3", "::1"}) {
    EXPECT_TRUE(Read(std::string("[Live]\nPort=1\nBindAddress=") + own + "\n")) << own;
  }
  for (const char* wide : {"0.0.0.0", "::", "192.0.2.1", "localhost"}) {
    EXPECT_FALSE(Read(std::string("[Live]\nPort=1\nBindAddress=") + wide + "\n")) << wide;
    EXPECT_THAT(problem, HasSubstr("vantryctl live-password"));
    EXPECT_TRUE(Read(std::string("[Live]\nPort=1\nBindAddress=") + wide + "\n" + kLogin)) << wide;
  }
}

TEST_F(LiveSettingsTest, AnythingWrongClosesIt) {
  files.Put("/c.pem", "certificate");
  files.Put("/k.pem", "key");
  files.Put("/empty.pem", "");
  for (const auto& [lines, text] : std::vector<std::pair<std::string, std::string>>{
           {"Port=0\n", "not a port"},
           {"Port=65536\n", "not a port"},
           {"Port=80 05\n", "not a port"},
           {"Port=1\nPort=2\n", "Port stands twice"},
           {"Port=1\nBindAdress=1\n", "no such name as BindAdress"},
           {"Port=1\nnonsense\n", "the line 'nonsense' can't be read"},
           {"Port=1\nUser=guard\n", "PasswordHash is missing"},
           {"Port=1\nPasswordHash=$y$j9T$abcdefghijklmnopqrst\n", "User is missing"},
           {"Port=1\nUser=guard\nPasswordHash=secret\n", "not a hash"},
           {"Port=1\nUser=guard\nPasswordHash=a-password-of-many-letters\n", "not a hash"},
           {"Port=1\nBasePath=/a b\n", "BasePath"},
           {"Port=1\nBasePath=/a\"b\n", "BasePath"},
           {"Port=1\nBasePath=/a//b\n", "BasePath"},
           {"Port=1\nCertificate=/c.pem\n", "belong together"},
           {"Port=1\nCertificate=/c.pem\nKey=/none.pem\n", "Key can't be read"},
           {"Port=1\nCertificate=/c.pem\nKey=/empty.pem\n", "empty file"}}) {
    EXPECT_FALSE(Read("[Live]\n" + lines)) << lines;
    EXPECT_THAT(problem, HasSubstr(text));
  }
  EXPECT_FALSE(Read("[Security]\nBindAddress=127.0.0.1\n[Live\nPort=1\n"));
  EXPECT_THAT(problem, HasSubstr("'[Live' is not a heading"));
}

TEST_F(LiveSettingsTest, CommentsAndOtherSectionsAreNoDamage) {
  EXPECT_TRUE(Read("; first\n[Settings]\nPort=1\nrubbish\n[Live]\n; on\nPort=8005\n# more\n")) << problem;
}

TEST_F(LiveSettingsTest, ItsBindAddressIsNoneOfTheSecuritySection) {
  constexpr std::string_view kKnown[] = {"BindAddress", "ControlFrom"};
  Read("[Security]\nBindAddress=127.0.0.1\n\n[Live]\nPort=1\nBindAddress=::1\n");
  EXPECT_TRUE(registry.FindSecurityDamage(kKnown).empty());
  Read("[Live]\nPort=1\nControlFrom=::1\n");
  EXPECT_FALSE(registry.FindSecurityDamage(kKnown).empty());
  // A heading that is gone is still noticed.
  Read("; Security holds: BindAddress\n[Live]\nPort=1\nBindAddress=127.0.0.1\n");
  EXPECT_FALSE(registry.FindSecurityDamage(kKnown).empty());
}

TEST_F(LiveSettingsTest, BasePathsAreWrittenInAnyWay) {
  for (const auto& [text, path] : std::vector<std::pair<std::string, std::string>>{
           {"", ""}, {"/", ""}, {"stats", "/stats"}, {"/stats/", "/stats"}, {"/a/b/", "/a/b"}}) {
    const auto settings = Read("[Live]\nPort=1\nBasePath=" + text + "\n");
    ASSERT_TRUE(settings) << text;
    EXPECT_EQ(settings->base_path, path);
  }
}

TEST_F(LiveSettingsTest, CertificateAndKeyAreRead) {
  files.Put("/c.pem", "certificate");
  files.Put("/k.pem", "key");
  const auto settings = Read("[Live]\nPort=1\nCertificate=/c.pem\nKey=/k.pem\n");
  ASSERT_TRUE(settings) << problem;
  EXPECT_EQ(settings->place.certificate, "certificate");
  EXPECT_EQ(settings->place.key, "key");
}

}  // namespace
}  // namespace vantry
