#include "archive/month_archive.h"

#include <cerrno>
#include <csignal>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/text.h"
#include "support/archive_rig.h"

namespace vantry {
namespace {

constexpr char kZip[] = "One-2026-01.zip";

struct MonthArchiveTest : ::testing::Test, ArchiveRig {
  Disk steps;
  std::string zip = logs + "Archive/" + kZip;

  std::vector<FolderFile> Chosen(const LogFolder& folder) {
    std::vector<FolderFile> files;
    EXPECT_TRUE(folder.List(files).ok());
    std::erase_if(files, [](const FolderFile& f) { return !f.plain; });
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return files;
  }
  // Packs all that lies in the folder.
  MonthResult Run() {
    LogFolder folder;
    Status status = folder.Open(logs);
    const std::vector<FolderFile> files = Chosen(folder);
    if (status.ok()) status = folder.OpenArchives(steps);
    MonthResult failed;
    failed.status = status;
    if (!status.ok()) return failed;
    return ArchiveMonth(steps, folder, kZip, files, [](int64_t s) { return WallTime{s + 25'569 * kSecondsPerDay}; });
  }
};

TEST_F(MonthArchiveTest, PacksAndRemoves) {
  Log("a.log", "one\n", 60);
  Log("b.log", "", 59);
  const MonthResult result = Run();
  ASSERT_TRUE(result.status.ok()) << result.status.text;
  EXPECT_EQ(result.gone, (std::vector<std::string>{"a.log", "b.log"}));
  EXPECT_EQ(result.log_bytes, 4);
  EXPECT_EQ(result.zip_bytes, static_cast<int64_t>(std::filesystem::file_size(zip)));
  EXPECT_EQ(Unzip(zip), (std::map<std::string, std::string>{{"a.log", "one\n"}, {"b.log", ""}}));
  EXPECT_EQ(Names(logs), std::vector<std::string>{"Archive"});
  EXPECT_EQ(Names(logs + "Archive"), std::vector<std::string>{kZip});
}

TEST_F(MonthArchiveTest, ContinuesAZip) {
  const std::string noise = NoisyLog(1'000'000, 1);
  Log("a.log", noise, 60);
  ASSERT_TRUE(Run().status.ok());
  Log("b.log", "two\n", 59);
  ASSERT_TRUE(Run().status.ok());
  Log("a.log", "another one of this name\n", 58);
  ASSERT_TRUE(Run().status.ok());
  EXPECT_EQ(Unzip(zip), (std::map<std::string, std::string>{
                            {"a.log", noise}, {"b.log", "two\n"}, {"a.log~2", "another one of this name\n"}}));
}

TEST_F(MonthArchiveTest, TakesAnyName) {
  const std::map<std::string, std::string> odd = {{"with blank.log", "1"},
                                                  {"K\xC3\xBC"
                                                   "che \xE2\x82\xAC.log",
                                                   "2"},
                                                  {"\xFF\xFE.log", "3"},
                                                  {"-rf", "4"},
                                                  {"new\nline", "5"},
                                                  {std::string(255, 'l'), "7"}};
  for (const auto& [name, bytes] : odd) Log(name, bytes, 60);
  const MonthResult result = Run();
  ASSERT_TRUE(result.status.ok()) << result.status.text;
  EXPECT_EQ(Unzip(zip), odd);
}

// The reader takes it for a separator of another system.
TEST_F(MonthArchiveTest, TakesABackslash) {
  Log("back\\slash", "1", 60);
  const MonthResult result = Run();
  ASSERT_TRUE(result.status.ok()) << result.status.text;
  EXPECT_EQ(result.gone.size(), 1u);
}

TEST_F(MonthArchiveTest, LogsThatAreInTheZipAlreadyAreOnlyRemoved) {
  Log("a.log", "one\n", 60);
  ASSERT_TRUE(Run().status.ok());
  const std::string before = TextOf(zip);
  Log("a.log", "one\n", 60);
  const MonthResult result = Run();
  EXPECT_TRUE(result.status.ok());
  EXPECT_EQ(result.gone, std::vector<std::string>{"a.log"});
  EXPECT_EQ(TextOf(zip), before);
}

TEST_F(MonthArchiveTest, DamagedZipKeepsTheLogs) {
  Log("a.log", NoisyLog(10'000, 3), 60);
  ASSERT_TRUE(Run().status.ok());
  const std::string whole = TextOf(zip);
  for (const size_t at : {size_t{100}, whole.size() / 2, whole.size() - 60, whole.size() - 10}) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x40);
    std::ofstream(zip, std::ios::binary) << damaged;
    for (const std::string& bytes : {std::string("new\n"), NoisyLog(10'000, 3)}) {
      Log("a.log", bytes, 59);
      const MonthResult result = Run();
      EXPECT_EQ(result.status.fail, Fail::kBadData) << at;
      EXPECT_TRUE(result.gone.empty());
      EXPECT_EQ(TextOf(zip), damaged);
      EXPECT_EQ(Names(logs), (std::vector<std::string>{"Archive", "a.log"}));
      EXPECT_EQ(Names(logs + "Archive"), std::vector<std::string>{kZip});
    }
  }
}

TEST_F(MonthArchiveTest, ALogThatGrowsStays) {
  Log("a.log", "one\n", 60);
  Log("b.log", NoisyLog(1'000'000, 2), 60);
  Log("c.log", "three\n", 60);
  int writes = 0;
  steps.before = [&](std::string_view step) {
    // In the middle of b.log.
    if (step == "write" && ++writes == 5) std::ofstream(logs + "b.log", std::ios::app) << "more";
    return 0;
  };
  const MonthResult result = Run();
  ASSERT_TRUE(result.status.ok()) << result.status.text;
  EXPECT_EQ(result.gone, (std::vector<std::string>{"a.log", "c.log"}));
  EXPECT_EQ(result.stayed, std::vector<std::string>{"b.log has changed while it was packed"});
  EXPECT_EQ(TextOf(logs + "b.log"), NoisyLog(1'000'000, 2) + "more");
  EXPECT_EQ(Unzip(zip), (std::map<std::string, std::string>{{"a.log", "one\n"}, {"c.log", "three\n"}}));
}

TEST_F(MonthArchiveTest, ALogThatShrinksStays) {
  Log("a.log", NoisyLog(1'000'000, 2), 60);
  Log("b.log", "two\n", 60);
  int writes = 0;
  steps.before = [&](std::string_view step) {
    if (step == "write" && ++writes == 2) std::filesystem::resize_file(logs + "a.log", 10);
    return 0;
  };
  const MonthResult result = Run();
  ASSERT_TRUE(result.status.ok()) << result.status.text;
  EXPECT_EQ(result.gone, std::vector<std::string>{"b.log"});
  EXPECT_EQ(result.stayed, std::vector<std::string>{"a.log has changed while it was packed"});
  EXPECT_EQ(Unzip(zip), (std::map<std::string, std::string>{{"b.log", "two\n"}}));
}

TEST_F(MonthArchiveTest, ALogThatChangesAfterItWasPackedStays) {
  Log("a.log", "one\n", 60);
  steps.before = [&](std::string_view step) {
    if (step == "rename") std::ofstream(logs + "a.log", std::ios::app) << "more\n";
    return 0;
  };
  const MonthResult result = Run();
  EXPECT_EQ(result.stayed, std::vector<std::string>{"a.log has changed after it was packed"});
  EXPECT_EQ(TextOf(logs + "a.log"), "one\nmore\n");
}

TEST_F(MonthArchiveTest, ALogThatCantBeReadHoldsUpNoOther) {
  Log("a.log", NoisyLog(1'000'000, 2), 60);
  Log("b.log", "two\n", 60);
  int reads = 0;
  steps.before = [&](std::string_view step) { return step == "read" && ++reads == 3 ? EIO : 0; };
  const MonthResult result = Run();
  ASSERT_TRUE(result.status.ok()) << result.status.text;
  EXPECT_EQ(result.gone, std::vector<std::string>{"b.log"});
  EXPECT_EQ(result.failed, std::vector<std::string>{"a.log can't be read: a.log: Input/output error"});
  EXPECT_EQ(Unzip(zip), (std::map<std::string, std::string>{{"b.log", "two\n"}}));
}

TEST_F(MonthArchiveTest, OnlyLogsThatChangedMakeNoZip) {
  Log("a.log", "one\n", 60);
  steps.before = [&](std::string_view step) {
    if (step == "create") std::ofstream(logs + "a.log", std::ios::app) << "more\n";
    return 0;
  };
  const MonthResult result = Run();
  EXPECT_TRUE(result.status.ok());
  EXPECT_EQ(result.stayed, std::vector<std::string>{"a.log has just changed"});
  EXPECT_TRUE(Names(logs + "Archive").empty());
}

TEST_F(MonthArchiveTest, ZipIsReadByWhoeverMayReadTheLogs) {
  Log("a.log", "one\n", 60);
  ::chmod((logs + "a.log").c_str(), 0640);
  ASSERT_TRUE(Run().status.ok());
  EXPECT_EQ(std::filesystem::status(zip).permissions(), std::filesystem::perms(0640));
  ::chmod(zip.c_str(), 0600);
  Log("b.log", "two\n", 60);
  ASSERT_TRUE(Run().status.ok());
  EXPECT_EQ(std::filesystem::status(zip).permissions(), std::filesystem::perms(0600));
  ::chmod(zip.c_str(), 0664);
  Log("c.log", "three\n", 60);
  ::chmod((logs + "c.log").c_str(), 0644);
  Log("d.log", "four\n", 60);
  ::chmod((logs + "d.log").c_str(), 0400);
  ASSERT_TRUE(Run().status.ok());
  EXPECT_EQ(std::filesystem::status(zip).permissions(), std::filesystem::perms(0400));
}

TEST_F(MonthArchiveTest, LeftoversOfAKilledRunGo) {
  Log("a.log", "one\n", 60);
  ASSERT_TRUE(Run().status.ok());
  std::ofstream(logs + "Archive/Two-2025-01.zip.new") << "half";
  std::ofstream(logs + "Archive/notes.new") << "kept";
  ASSERT_TRUE(Run().status.ok());
  EXPECT_EQ(Names(logs + "Archive"), (std::vector<std::string>{kZip, "notes.new"}));
}

TEST_F(MonthArchiveTest, OneArchiverAtATimeWorksInAFolder) {
  LogFolder folder;
  ASSERT_TRUE(folder.Open(logs).ok());
  ASSERT_TRUE(folder.OpenArchives(steps).ok());
  EXPECT_EQ(Run().status.fail, Fail::kRefused);
}

TEST_F(MonthArchiveTest, AZipThatIsALinkOrAFolderIsLeftAlone) {
  Log("a.log", "one\n", 60);
  std::filesystem::create_directories(logs + "Archive");
  std::ofstream(disk.path + "elsewhere") << "kept";
  std::filesystem::create_symlink(disk.path + "elsewhere", zip);
  EXPECT_FALSE(Run().status.ok());
  std::filesystem::remove(zip);
  std::filesystem::create_directories(zip);
  EXPECT_FALSE(Run().status.ok());
  EXPECT_EQ(TextOf(logs + "a.log"), "one\n");
  EXPECT_EQ(TextOf(disk.path + "elsewhere"), "kept");
}

// What holds after any accident: each log is whole where it was or in a zip that can be read, and the next run ends
// what this one began.
struct AccidentTest : MonthArchiveTest {
  std::map<std::string, std::string> expected = {
      {"old.log", NoisyLog(300'000, 1)}, {"a.log", NoisyLog(700'000, 2)}, {"b.log", "two\n"}, {"c.log", ""}};
  void Begin() {
    std::filesystem::remove_all(logs);
    std::filesystem::create_directories(logs);
    steps.before = {};
    Log("old.log", expected["old.log"], 61);
    ASSERT_TRUE(Run().status.ok());
    for (const auto& [name, bytes] : expected) {
      if (name != "old.log") Log(name, bytes, 60);
    }
  }
  void ExpectNothingLost(int step) {
    const auto all = All();
    EXPECT_FALSE(all.contains("DAMAGED")) << step;
    for (const auto& [name, bytes] : expected) {
      const auto [from, to] = all.equal_range(name);
      EXPECT_NE(from, to) << name << " is lost after step " << step;
      for (auto it = from; it != to; ++it) EXPECT_EQ(it->second == bytes, true) << name << " after step " << step;
    }
  }
  void ExpectTheNextRunEndsIt(int step) {
    steps.before = {};
    ASSERT_TRUE(Run().status.ok()) << step;
    EXPECT_EQ(Unzip(zip) == expected, true) << step;
    EXPECT_EQ(Names(logs), std::vector<std::string>{"Archive"}) << step;
    EXPECT_EQ(Names(logs + "Archive"), std::vector<std::string>{kZip}) << step;
  }
};

TEST_F(AccidentTest, AKillAtAnyStepLosesNothing) {
  for (int at = 1;; ++at) {
    Begin();
    const pid_t child = ::fork();
    if (child == 0) {
      int step = 0;
      steps.before = [&](std::string_view) {
        if (++step == at) ::kill(::getpid(), SIGKILL);
        return 0;
      };
      ::_exit(Run().status.ok() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status)) {
      EXPECT_EQ(WEXITSTATUS(status), 0);
      EXPECT_GT(at, 15) << "too few steps were broken";
      return;
    }
    ExpectNothingLost(at);
    ExpectTheNextRunEndsIt(at);
    if (HasFailure()) return;
  }
}

TEST_F(AccidentTest, AFailureOfAnyStepLosesNothing) {
  for (int at = 1;; ++at) {
    Begin();
    int step = 0;
    steps.before = [&](std::string_view) { return ++step == at ? ENOSPC : 0; };
    const MonthResult result = Run();
    if (step < at) break;
    ExpectNothingLost(at);
    ExpectTheNextRunEndsIt(at);
    if (HasFailure()) return;
  }
}

TEST_F(AccidentTest, ADiskThatStaysFullLosesNothing) {
  for (int at = 1; at < 30; ++at) {
    Begin();
    int step = 0;
    steps.before = [&](std::string_view) { return ++step >= at ? ENOSPC : 0; };
    (void)Run();
    ExpectNothingLost(at);
    ExpectTheNextRunEndsIt(at);
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace vantry
