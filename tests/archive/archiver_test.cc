#include "archive/archiver.h"

#include <sstream>

#include <gtest/gtest.h>

#include "core/text.h"
#include "platform/posix_files.h"
#include "platform/single_instance.h"
#include "support/archive_rig.h"
#include "support/fakes.h"

namespace vantry {
namespace {

struct ArchiverTest : ::testing::Test, ArchiveRig {
  FakeClock clock;  // 5 March 2026, 12:00.
  PosixFiles files;
  Disk steps;
  std::string home = disk.path + "home/";
  std::string sites, profile;
  std::ostringstream out, err;

  ArchiverTest() {
    std::filesystem::create_directories(home);
    Settings("AutoArchive=True\r\n");
  }
  void Settings(const std::string& keys) const {
    std::ofstream(home + "SETTINGS.INI") << "[Vantry Settings]\r\n" << keys << "\r\n\r\n";
  }
  void Site(const std::string& name, const std::string& folder, const std::string& more = "AutoArchive=True\r\n") {
    sites += "[" + name + "]\r\nType=2\r\nFolder=" + folder + "\r\n" + more + "\r\n";
    std::ofstream(home + "VANTRY.INI") << sites << "\r\n";
  }
  int Run(const std::vector<std::string>& words = {}) {
    out.str("");
    err.str("");
    return RunArchiver({files, clock, steps, home, "2.0.000", profile}, words, out, err);
  }
  std::map<std::string, std::string> Zip(const std::string& name) const { return Unzip(logs + "Archive/" + name); }
};

TEST_F(ArchiverTest, PacksOldLogsByMonths) {
  Site("One", logs, "Mask=*.log\r\nAutoArchive=True\r\n");
  Log("dec.log", "december\n", 64);    // 31 December, 12:00.
  Log("jan.log", "january\n", 63);     // 1 January, 12:00.
  Log("jan2.log", "january 2\n", 60);  // Just old enough.
  Log("young.log", "young\n", 59.999);
  Log("now.log", "now\n", 0);
  Log("other.txt", "other\n", 100);
  EXPECT_EQ(Run(), 0) << err.str();
  EXPECT_EQ(Names(logs), (std::vector<std::string>{"Archive", "now.log", "other.txt", "young.log"}));
  EXPECT_EQ(Zip("One-2025-12.zip"), (std::map<std::string, std::string>{{"dec.log", "december\n"}}));
  EXPECT_EQ(Zip("One-2026-01.zip"),
            (std::map<std::string, std::string>{{"jan.log", "january\n"}, {"jan2.log", "january 2\n"}}));
  const std::string stamp = "2026-03-05 12:00:00 ";
  EXPECT_EQ(TextOf(home + "ARCHIVE.LOG"),
            stamp + "Site One: " + logs + "dec.log is now in " + logs + "Archive/One-2025-12.zip\n" +  //
                stamp + "Site One: " + logs + "jan.log is now in " + logs + "Archive/One-2026-01.zip\n" + stamp +
                "Site One: " + logs + "jan2.log is now in " + logs + "Archive/One-2026-01.zip\n" + stamp +
                "Finished: 3 logs (27 bytes) went to 2 archives\n");
  EXPECT_TRUE(err.str().empty());
  EXPECT_EQ(Run({"AUTO"}), 0);
  EXPECT_TRUE(out.str().empty());
  EXPECT_TRUE(Contains(TextOf(home + "ARCHIVE.LOG"), "Finished: 0 logs (0 bytes) went to 0 archives\n"));
}

TEST_F(ArchiverTest, MonthsAreOfLocalTime) {
  Site("One", logs, "Mask=*\r\nAutoArchive=True\r\n");
  clock.utc_offset = -13 * 3600;
  clock.now.s -= 13 * 3600;
  Log("a.log", "a", 63);  // 1 January, 12:00 UTC.
  Log("now.log", "now\n", 0);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(Zip("One-2025-12.zip").size(), 1u);
}

TEST_F(ArchiverTest, TheLogThatIsReadStays) {
  Log("ex1.log", "1", 200);
  Log("ex2.log", "2", 300);
  Log("ex3.log", "3", 250);
  Log("ex4.log", "4", 400);
  Site("Date", logs, "Mask=ex*.log\r\nAutoArchive=True\r\n");
  Site("Name", logs, "Mask=ex*.log\r\nSelectMethod=1\r\nAutoArchive=True\r\nLastLogFile=" + logs + "ex2.log\r\n");
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(Names(logs), (std::vector<std::string>{"Archive", "ex1.log", "ex2.log", "ex4.log"}));
}

TEST_F(ArchiverTest, LogsLeftByARotationStayUntilTheyAreRead) {
  Log("a.log", "a", 100);
  Log("b.log", "b", 100);
  Log("now.log", "now", 0);
  FileLook look;
  ASSERT_TRUE(files.Look(logs + "a.log", look).ok());
  const std::string id = std::to_string(look.device) + " " + std::to_string(look.inode) + " 1 1 1 " + logs + "a.log";
  Site("One", logs,
       "Mask=*\r\nAutoArchive=True\r\nLastFile=1 1 1 1 1 /x\r\nFollowedTo=1\r\nLeftFile=1 0 0 " + id + "\r\n");
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(Names(logs), (std::vector<std::string>{"Archive", "a.log", "now.log"}));
}

TEST_F(ArchiverTest, LogsOfASiteWithoutArchivingStay) {
  Log("a.log", "a", 100);
  Log("b.log", "b", 100);
  Log("c.log", "c", 100);
  Log("now.log", "n", 0);
  std::filesystem::create_directories(disk.path + "links");
  std::filesystem::create_symlink(logs + "b.log", disk.path + "links/b.log");
  std::filesystem::create_directory_symlink(logs, disk.path + "same");
  Site("On", logs, "Mask=*.log\r\nAutoArchive=True\r\n");
  Site("Off", disk.path + "same", "Mask=a*.log\r\n");
  Site("By link", disk.path + "links", "Mask=*.log\r\n");
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(Names(logs), (std::vector<std::string>{"Archive", "a.log", "b.log", "now.log"}));
}

TEST_F(ArchiverTest, TwoSitesOfOneFolderShareItsLogs) {
  Log("a.log", "a", 100);
  Log("b.log", "b", 100);
  Log("now.log", "n", 0);
  Site("One", logs, "Mask=a*\r\nAutoArchive=True\r\n");
  Site("Two", logs, "Mask=*\r\nAutoArchive=True\r\n");
  Log("z.log", "n", 1);  // a.log is One's current log.
  Log("a0.log", "a", 99);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(Names(logs + "Archive"), (std::vector<std::string>{"One-2025-11.zip", "Two-2025-11.zip"}));
  EXPECT_TRUE(Zip("One-2025-11.zip").contains("a.log"));
  EXPECT_TRUE(Zip("Two-2025-11.zip").contains("b.log"));
  EXPECT_EQ(Names(logs), (std::vector<std::string>{"Archive", "a0.log", "now.log", "z.log"}));
}

TEST_F(ArchiverTest, WhateverFitsAMaskForAllTheArchiveIsNotALog) {
  Site("One", logs, "Mask=*.*\r\nAutoArchive=True\r\n");
  Log("a.log", "a", 100);
  Log("now.log", "n", 0);
  ASSERT_EQ(Run(), 0);
  Age(logs + "Archive/One-2025-11.zip", kNow - 90 * 86'400);
  ASSERT_EQ(Run(), 0);
  EXPECT_EQ(Names(logs), (std::vector<std::string>{"Archive", "now.log"}));
  EXPECT_EQ(Names(logs + "Archive"), std::vector<std::string>{"One-2025-11.zip"});
}

TEST_F(ArchiverTest, LinksFoldersAndPipesStay) {
  Site("One", logs, "Mask=*.log\r\nAutoArchive=True\r\n");
  Log("now.log", "n", 0);
  Log(disk.path + "elsewhere", "kept", 100);
  std::filesystem::create_symlink(disk.path + "elsewhere", logs + "link.log");
  std::filesystem::create_directories(logs + "folder.log");
  ASSERT_EQ(::mkfifo((logs + "pipe.log").c_str(), 0600), 0);
  for (const char* name : {"link.log", "folder.log", "pipe.log"}) Age(logs + name, kNow - 90 * 86'400);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(Names(logs), (std::vector<std::string>{"folder.log", "link.log", "now.log", "pipe.log"}));
}

TEST_F(ArchiverTest, ADryRunChangesNothing) {
  Site("One", logs, "Mask=*.log\r\nAutoArchive=True\r\n");
  Log("a.log", "abc", 100);
  Log("now.log", "n", 0);
  EXPECT_EQ(Run({"--dry-run"}), 0);
  EXPECT_EQ(out.str(), "Site One: " + logs + "now.log stays: a site reads it now\nSite One: " + logs +
                           "a.log (3 bytes) would go to Archive/One-2025-11.zip\n" +
                           "Nothing was changed: 1 log (3 bytes) would go to 1 archive\n");
  EXPECT_EQ(Names(logs), (std::vector<std::string>{"a.log", "now.log"}));
  EXPECT_EQ(Names(home), (std::vector<std::string>{"SETTINGS.INI", "VANTRY.INI"}));
  Settings("");
  EXPECT_EQ(Run({"--dry-run"}), 0);
  EXPECT_TRUE(Contains(out.str(), "AutoArchive is off in " + home + "SETTINGS.INI: this is what it would do\n"));
  EXPECT_TRUE(Contains(out.str(), "a.log (3 bytes) would go"));
}

TEST_F(ArchiverTest, OffArchivesNothing) {
  Site("One", logs, "Mask=*.log\r\nAutoArchive=True\r\n");
  Log("a.log", "abc", 100);
  Log("now.log", "n", 0);
  Settings("");
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(out.str(), "AutoArchive is off in " + home + "SETTINGS.INI: nothing is archived\n");
  std::filesystem::remove(home + "SETTINGS.INI");
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(Names(logs).size(), 2u);
  Settings("AutoArchive=True\r\n");
  sites.clear();
  Site("One", logs, "Mask=*.log\r\n");
  EXPECT_EQ(Run(), 0);
  EXPECT_TRUE(Contains(out.str(), "No site has AutoArchive=True in " + home + "VANTRY.INI\n")) << out.str();
  EXPECT_EQ(Names(logs).size(), 2u);
}

TEST_F(ArchiverTest, DaysThatAreNoAgeAreRefused) {
  Site("One", logs, "Mask=*.log\r\nAutoArchive=True\r\n");
  Log("a.log", "abc", 20'000);
  Log("now.log", "n", 0);
  for (const char* days : {"0", "-1", "abc", "", "32768", "99999999999"}) {
    Settings("AutoArchive=True\r\nAutoArchiveDays=" + std::string(days) + "\r\n");
    EXPECT_EQ(Run(), 1) << days;
    EXPECT_TRUE(Contains(err.str(), "ERROR " + home + "SETTINGS.INI: AutoArchiveDays is ")) << err.str();
    EXPECT_TRUE(Contains(err.str(), "from 1 to 32767. Nothing is archived\n")) << err.str();
  }
  Settings("AutoArchive=True\r\nAutoArchiveDays=32767\r\n");
  EXPECT_EQ(Run(), 0);
  EXPECT_TRUE(Contains(out.str(), "AutoArchiveDays is 32767, and no log of a web server is as old as that"))
      << out.str();
  EXPECT_EQ(Names(logs).size(), 2u);
}

TEST_F(ArchiverTest, FilesThatCantBeReadToTheirEndStopIt) {
  Site("One", logs, "Mask=*.log\r\nAutoArchive=True\r\n");
  Log("a.log", "abc", 100);
  Log("now.log", "n", 0);
  Settings("AutoArchive=True\r\nReverseDNS=perhaps\r\n");
  EXPECT_EQ(Run(), 1);
  EXPECT_TRUE(Contains(err.str(), "SETTINGS.INI line 3: ")) << err.str();
  std::ofstream(home + "SETTINGS.INI") << "AutoArchive=True\nAutoArchiveDays=400";
  EXPECT_EQ(Run(), 1);
  EXPECT_TRUE(Contains(err.str(), "an empty line ends the file")) << err.str();
  Settings("AutoArchive=True\r\n");
  Site("Two", logs, "Mask=*.log\r\nFrequency=often\r\n");
  EXPECT_EQ(Run(), 1);
  EXPECT_TRUE(Contains(err.str(), "VANTRY.INI line 11: ")) << err.str();
  EXPECT_EQ(Names(logs).size(), 2u);
}

TEST_F(ArchiverTest, StampsOfAnotherLocaleAreNoMatter) {
  Site("One", logs, "Mask=*.log\r\nAutoArchive=True\r\nLastTime=31.12.2025 10:00:00\r\nLastReadDateTime=what\r\n");
  Log("a.log", "abc", 100);
  Log("now.log", "n", 0);
  EXPECT_EQ(Run(), 0) << err.str();
  EXPECT_EQ(Names(logs), (std::vector<std::string>{"Archive", "now.log"}));
}

TEST_F(ArchiverTest, EachSiteHasItsOwnError) {
  Site("Far", "/srv/x", "FTP=True\r\nFTPDomain=ftp.example.com\r\nAutoArchive=True\r\n");
  Site("Gone", disk.path + "gone");
  Site("Nowhere", "");
  Site("Own", home, "Mask=*.*\r\nAutoArchive=True\r\n");
  Site("Good", logs, "Mask=*.log\r\nAutoArchive=True\r\n");
  Log(home + "old.log", "abc", 100);
  Log("a.log", "abc", 100);
  Log("now.log", "n", 0);
  EXPECT_EQ(Run(), 1);
  EXPECT_TRUE(Contains(out.str(), "Site Far: its logs are on ftp.example.com (FTP) and stay there\n")) << out.str();
  EXPECT_TRUE(Contains(err.str(), "ERROR Site Gone: " + disk.path + "gone/: No such file or directory. Set its Folder"))
      << err.str();
  EXPECT_TRUE(Contains(err.str(), "ERROR Site Own: " + home + " is a folder of Vantry itself.")) << err.str();
  EXPECT_TRUE(Contains(out.str(), "Finished: 1 log (3 bytes) went to 1 archive, 3 errors\n")) << out.str();
  EXPECT_EQ(Names(logs), (std::vector<std::string>{"Archive", "now.log"}));
}

TEST_F(ArchiverTest, AFullDiskIsTold) {
  Site("One", logs, "Mask=*.log\r\nAutoArchive=True\r\n");
  Log("a.log", "abc", 100);
  Log("now.log", "n", 0);
  steps.before = [](std::string_view step) { return step == "write" ? ENOSPC : 0; };
  EXPECT_EQ(Run(), 1);
  EXPECT_TRUE(Contains(err.str(),
                       "Archive/One-2025-11.zip.new: No space left on device. No log was removed. Needed is "
                       "room for up to 3 bytes on its disk\n"))
      << err.str();
  EXPECT_TRUE(Contains(TextOf(home + "ARCHIVE.LOG"), " ERROR Site One: "));
  EXPECT_EQ(Names(logs), (std::vector<std::string>{"Archive", "a.log", "now.log"}));
}

TEST_F(ArchiverTest, WhatAppArmorMustAllowIsTold) {
  Site("One", logs, "Mask=*.log\r\nAutoArchive=True\r\n");
  Log("a.log", "abc", 100);
  Log("now.log", "n", 0);
  const std::string advice = "add the line \"" + logs + "** rwk,\" to /etc/apparmor.d/local/vantry";
  for (const char* broken : {"folder", "create"}) {
    for (const char* enforced : {"", "vantry"}) {
      profile = enforced;
      steps.before = [&](std::string_view step) { return step == broken ? EACCES : 0; };
      EXPECT_EQ(Run(), 1);
      EXPECT_TRUE(Contains(err.str(), "Permission denied. ")) << err.str();
      EXPECT_EQ(Contains(err.str(), advice), !profile.empty()) << err.str();
    }
  }
  profile = "vantry";
  steps.before = [](std::string_view step) { return step == "create" ? ENOSPC : 0; };
  EXPECT_EQ(Run(), 1);
  EXPECT_FALSE(Contains(err.str(), "AppArmor")) << err.str();
}

TEST_F(ArchiverTest, ANameMakesNoLineOfItsOwn) {
  Site("One", logs, "Mask=*\r\nAutoArchive=True\r\n");
  Log("a\n2026-01-01 00:00:00 Finished.log", "abc", 100);
  Log("now.log", "n", 0);
  EXPECT_EQ(Run(), 0);
  const std::string text = TextOf(home + "ARCHIVE.LOG");
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

TEST_F(ArchiverTest, WrongUseAndQuestions) {
  EXPECT_EQ(Run({"--delete-all"}), 2);
  EXPECT_TRUE(Contains(err.str(), "'--delete-all' is not an argument"));
  EXPECT_EQ(Run({"--version"}), 0);
  EXPECT_EQ(out.str(), "vantry-archive 2.0.000\n");
  EXPECT_EQ(Run({"--help"}), 0);
  EXPECT_TRUE(Contains(out.str(), "--dry-run"));
  EXPECT_EQ(Names(home), std::vector<std::string>{"SETTINGS.INI"});
}

TEST_F(ArchiverTest, OneRunsAtATime) {
  SingleInstance other(home + "archive.lock");
  ASSERT_TRUE(other.Acquire().ok());
  EXPECT_EQ(Run({"auto"}), 3);
  EXPECT_TRUE(Contains(err.str(), "another archiver runs"));
}

}  // namespace
}  // namespace vantry
