#include "platform/systemd_units.h"

#include <gtest/gtest.h>

#include "core/text.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

const UnitPlace kPlace{.root = "/", .program = "/usr/bin/vantry", .home = "/srv/v/", .data = "/srv/v/Data/"};

TEST(UnitText, TheFoldersOwnerStandsForTheSystemsAccount) {
  EXPECT_TRUE(Contains(UnitText(kPlace, "", "web"), "\nUser=web\n"));
  EXPECT_TRUE(Contains(UnitText(kPlace, "\\admin", "web"), "\nUser=admin\n"));
  EXPECT_TRUE(Contains(UnitText(kPlace, "OFFICE\\admin", "web"), "\nUser=OFFICE\\admin\n"));
  EXPECT_FALSE(Contains(UnitText(kPlace, "", "root"), "User="));
  EXPECT_FALSE(Contains(UnitText(kPlace, "", ""), "User="));
}

TEST(UnitText, NamesOfFoldersAreQuoted) {
  UnitPlace place = kPlace;
  place.home = "/srv/a \"b\" 5%/";
  place.data = "/mnt/d/";
  const std::string text = UnitText(place, "", "root");
  EXPECT_TRUE(Contains(text, "\nEnvironment=\"VANTRY_HOME=/srv/a \\\"b\\\" 5%%/\"\n")) << text;
  EXPECT_TRUE(Contains(text, "\nReadWritePaths=\"/srv/a \\\"b\\\" 5%%/\" \"-/mnt/d/\"\n")) << text;
  EXPECT_TRUE(Contains(UnitText(kPlace, "", "root"), "\nReadWritePaths=\"/srv/v/\"\n"));
}

TEST(SystemdUnitsTest, InstallsIntoARootAndRemoves) {
  const TempFolder folder;
  UnitPlace place = kPlace;
  place.root = folder.path + "root/";
  SystemdUnits units(place);
  EXPECT_FALSE(units.Installed());
  ASSERT_TRUE(units.Install({.account = "\\web", .starts_automatically = true}).ok());
  EXPECT_TRUE(units.Installed());
  ASSERT_TRUE(units.Uninstall().ok());
  EXPECT_FALSE(units.Installed());
  EXPECT_TRUE(units.Uninstall().ok()) << "nothing is left to remove";
}

TEST(SystemdUnitsTest, NamesWithLineEndsInjectNothing) {
  const TempFolder folder;
  for (std::string UnitPlace::*name : {&UnitPlace::home, &UnitPlace::data, &UnitPlace::program}) {
    UnitPlace place = kPlace;
    place.root = folder.path;
    place.*name += "x\nExecStartPre=/bin/sh\n/";
    EXPECT_EQ(SystemdUnits(place).Install({}).fail, Fail::kBadData);
    EXPECT_FALSE(SystemdUnits(place).Installed());
  }
  UnitPlace place = kPlace;
  place.root = folder.path;
  EXPECT_EQ(SystemdUnits(place).Install({.account = "a\nUser=root"}).fail, Fail::kBadData);
}

}  // namespace
}  // namespace vantry
