#include "monitors/auto_archive.h"

#include <gtest/gtest.h>

#include "support/alert_rig.h"
#include "support/fakes.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

struct AutoArchiveTest : ::testing::Test {
  Settings settings;
  FakeClock clock;
  MemoryFiles files;
  RecordingPrograms programs;
  AutoArchive archive{{settings, clock, files, programs, "/home/", "/usr/bin/vantry-archive"}};

  AutoArchiveTest() {
    settings.AutoArchive = true;
    files.Put("/usr/bin/vantry-archive", "");
  }
  void At(std::string_view time, int days = 0) {
    clock.now = {(DayOf(clock.now).n + days) * kSecondsPerDay + *ParseTime(time)};
    EXPECT_TRUE(archive.CheckAutoArchive().ok());
  }
};

TEST_F(AutoArchiveTest, StartsOnceInItsMinuteAndAgainTheNextDay) {
  At("01:59:58");
  EXPECT_TRUE(programs.started.empty());
  At("02:00:00");
  EXPECT_EQ(programs.started, std::vector<std::string>{"/usr/bin/vantry-archive AUTO VANTRY_HOME=/home/"});
  At("02:00:02");
  At("02:00:59");
  EXPECT_EQ(programs.started.size(), 1u);
  At("02:01:00");
  At("02:00:04", 1);
  EXPECT_EQ(programs.started.size(), 2u);
}

TEST_F(AutoArchiveTest, SecondsOfItsTimePlayNoPart) {
  settings.AutoArchiveTime = *ParseTime("02:00:30");
  At("02:00:00");
  EXPECT_EQ(programs.started.size(), 1u);
}

TEST_F(AutoArchiveTest, AMinuteWithoutATickIsNotCaughtUp) {
  At("01:59:58");
  At("02:01:00");
  At("14:00:00");
  EXPECT_TRUE(programs.started.empty());
}

TEST_F(AutoArchiveTest, FlagStandsWhileItIsOff) {
  At("02:00:00");
  settings.AutoArchive = false;
  At("02:00:02");
  At("02:01:00");
  settings.AutoArchive = true;
  At("02:00:04", 1);
  EXPECT_EQ(programs.started.size(), 1u) << "no tick of another minute was seen while it was on";
  At("02:01:00");
  At("02:00:00", 1);
  EXPECT_EQ(programs.started.size(), 2u);
}

TEST_F(AutoArchiveTest, OffStartsNothing) {
  settings.AutoArchive = false;
  At("02:00:00");
  EXPECT_TRUE(programs.started.empty());
  settings.AutoArchive = true;
  At("02:00:02");
  EXPECT_EQ(programs.started.size(), 1u);
}

TEST_F(AutoArchiveTest, ArchiverOfTheProgramFolderWins) {
  files.Put("/home/VTArchive.EXE", "");
  At("02:00:00");
  EXPECT_EQ(programs.started, std::vector<std::string>{"/home/VTArchive.EXE AUTO VANTRY_HOME=/home/"});
}

TEST_F(AutoArchiveTest, MissingArchiverIsPassedOverAndNotTriedAgainThatDay) {
  ASSERT_TRUE(files.Remove("/usr/bin/vantry-archive").ok());
  At("02:00:00");
  files.Put("/usr/bin/vantry-archive", "");
  At("02:00:02");
  EXPECT_TRUE(programs.started.empty());
}

TEST_F(AutoArchiveTest, FailureToStartIsToldOnce) {
  programs.answer = Status::Error(Fail::kIo, "no memory");
  clock.now = {DayOf(clock.now).n * kSecondsPerDay + 2 * 3600};
  EXPECT_EQ(archive.CheckAutoArchive().text, "no memory");
  clock.Advance(2);
  EXPECT_TRUE(archive.CheckAutoArchive().ok());
  EXPECT_EQ(programs.started.size(), 1u);
}

}  // namespace
}  // namespace vantry
