// With the correction FollowRotation each line counts once, whatever is done to the log's name.
#include "scan/log_follower.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "support/scan_rig.h"

namespace vantry {
namespace {

struct FollowRig : ScanRig {
  static constexpr char kName[] = "/logs/access.log";

  explicit FollowRig(bool on = true) {
    t.Corrected.FollowRotation = on;
    SiteRec& site = AddSite();
    site.Mask = "access.log";
    site.SelectMethod = FileChoice::kSameName;
  }
  // Lines of visitors FROM to the one before TO, a moment later than all before.
  void Write(int from, int to, const std::string& path = kName) {
    ++files.clock_ns;
    if (!files.entries.contains(path)) files.Put(path, "");
    files.entries[path]->bytes += NcsaLines(from, to);
    files.entries[path]->written_ns = files.clock_ns;
  }
  void Rename(const std::string& from, const std::string& to) {
    files.entries[to] = files.entries[from];
    files.entries.erase(from);
  }
  void Pack(const std::string& path) {
    const auto old = files.entries[path];
    files.entries.erase(path);
    files.Put(path + ".gz", MemoryFiles::kPacked + old->bytes);
    files.entries[path + ".gz"]->written_ns = old->written_ns;
  }
  void CutWithCopy(const std::string& copy) {
    ++files.clock_ns;
    files.Put(copy, files.Get(kName));
    files.entries[kName]->bytes.clear();
  }
  // A page that is read twice counts twice then.
  void ForgetPages() {
    t.Visitors.ForEach([](int32_t, VisitorRec& v) {
      v.Page.clear();
      v.PageHash = 0;
      v.LastPageTime = {};
    });
  }
  // Visitors 1 to `count` came, each with one page.
  void ExpectVisitors(int count) {
    EXPECT_EQ(t.Visitors.Count(), count);
    EXPECT_EQ(t.Site(1).PagesCounted, count);
    EXPECT_EQ(history.Count("page "), count);
  }
};

TEST(FollowRotation, RestOfTheOldLogAndBeginningOfTheNewOneAreRead) {
  for (const bool on : {false, true}) {
    FollowRig rig(on);
    rig.Write(1, 4);
    rig.Scan();
    rig.Write(4, 7);
    rig.Rename(rig.kName, "/logs/some other name");
    rig.Write(7, 9);
    rig.Scan();
    if (on) {
      rig.ExpectVisitors(8);
    } else {
      EXPECT_LT(rig.t.Visitors.Count(), 8);
    }
  }
}

TEST(FollowRotation, LogsBetweenAreReadInTheirOrder) {
  FollowRig rig;
  rig.Write(1, 4);
  rig.Scan();
  rig.Write(4, 5);
  rig.Rename(rig.kName, "/logs/access.log.3");
  rig.Write(5, 7, "/logs/access.log.2");
  rig.Write(7, 9, "/logs/access.log.1");
  rig.Pack("/logs/access.log.2");
  rig.Write(9, 11);
  rig.Write(20, 22, "/logs/error.log.1");
  rig.Scan();
  rig.ExpectVisitors(10);
  std::string order;
  for (const std::string& call : rig.history.calls) {
    if (StartsWith(call, "visit 1:10.0.0.")) order += call.substr(15, call.find(' ', 15) - 15) + " ";
  }
  EXPECT_EQ(order, "1 2 3 4 5 6 7 8 9 10 ");
}

TEST(FollowRotation, OlderLogsThatWereThereBeforeAreLeftAlone) {
  FollowRig rig;
  rig.Write(30, 33, "/logs/access.log.1");
  rig.Write(1, 3);
  rig.Scan();
  rig.Rename("/logs/access.log.1", "/logs/access.log.2");
  rig.Rename(rig.kName, "/logs/access.log.1");
  rig.Write(3, 5);
  rig.Scan();
  rig.ExpectVisitors(4);
}

TEST(FollowRotation, CopyTruncateReadsTheRestFromTheCopy) {
  for (const bool packed : {false, true}) {
    FollowRig rig;
    rig.Write(1, 4);
    rig.Scan();
    rig.Write(4, 7);
    rig.CutWithCopy("/logs/access.log.1");
    if (packed) rig.Pack("/logs/access.log.1");
    rig.Write(7, 20);  // Longer than before, so its size tells nothing.
    rig.Scan();
    rig.ExpectVisitors(19);
    rig.Write(20, 21);
    rig.Scan();
    rig.ExpectVisitors(20);
  }
}

TEST(FollowRotation, ShorterLogAndOneWithAnotherBeginningAreNew) {
  for (const bool same_file : {false, true}) {
    for (const int lines : {1, 30}) {
      FollowRig rig;
      rig.Write(1, 6);
      rig.Scan();
      if (!same_file) rig.files.entries.erase(rig.kName);
      rig.files.Put(rig.kName, ScanRig::NcsaLines(6, 6 + lines));
      rig.Scan();
      rig.ExpectVisitors(5 + lines);
    }
  }
}

TEST(FollowRotation, CopyInItsPlaceGoesOn) {
  FollowRig rig;
  rig.Write(1, 6);
  rig.Scan();
  const std::string bytes = rig.files.Get(rig.kName);
  rig.files.entries.erase(rig.kName);
  rig.files.Put(rig.kName, bytes);
  rig.Write(6, 8);
  rig.Scan();
  rig.ExpectVisitors(7);
}

TEST(FollowRotation, LateLinesOfTheRenamedLogAreRead) {
  FollowRig rig;
  rig.Write(1, 4);
  rig.Scan();
  rig.Rename(rig.kName, "/logs/access.log.1");
  rig.Write(4, 5);
  rig.Scan();
  rig.Write(5, 6, "/logs/access.log.1");
  rig.Scan();
  rig.Write(6, 7);
  rig.Scan();
  rig.ExpectVisitors(6);
}

TEST(FollowRotation, LateLinesThatArePackedAreRead) {
  FollowRig rig;
  rig.Write(1, 4);
  rig.Scan();
  rig.Rename(rig.kName, "/logs/access.log.1");
  rig.Write(4, 5);
  rig.Scan();
  rig.Write(5, 6, "/logs/access.log.1");
  rig.Pack("/logs/access.log.1");
  rig.Scan();
  rig.Scan();
  rig.ExpectVisitors(5);
}

TEST(FollowRotation, BackupsAreNotReadASecondTime) {
  FollowRig rig;
  rig.Write(1, 30);
  rig.Scan();
  ++rig.files.clock_ns;
  rig.files.Put("/logs/access.log.bak", rig.files.Get(rig.kName));
  rig.Rename(rig.kName, "/logs/access.log.1");
  rig.Write(30, 40);
  rig.Scan();
  rig.ExpectVisitors(39);
}

TEST(FollowRotation, ACopyIsOpenedAgainOnlyWhenItHasChanged) {
  FollowRig rig;
  const std::string copy = "/logs/access.log.1";
  const auto opened = [&] {
    rig.files.calls.clear();
    rig.Scan();
    return std::count(rig.files.calls.begin(), rig.files.calls.end(), "open " + copy);
  };
  rig.Write(1, 30);
  rig.Scan();
  ++rig.files.clock_ns;
  rig.files.Put(copy, rig.files.Get(rig.kName));
  EXPECT_EQ(opened(), 1);
  EXPECT_EQ(opened(), 0);
  rig.Write(30, 31, copy);
  EXPECT_GT(opened(), 0);
  rig.ExpectVisitors(30);
}

TEST(FollowRotation, LateLinesAreReadThoughABackupIsOnAKnownInode) {
  FollowRig rig;
  rig.Write(1, 2);
  rig.Scan();
  rig.Rename(rig.kName, "/logs/access.log.1");
  const uint64_t inode = rig.files.InodeOf(*rig.files.entries["/logs/access.log.1"]);
  rig.Write(2, 4);
  rig.Scan();
  rig.files.entries.erase("/logs/access.log.1");
  rig.Scan();
  rig.files.Put("/logs/backup", rig.files.Get(rig.kName));
  rig.files.entries["/logs/backup"]->inode = inode;
  rig.Rename(rig.kName, "/logs/access.log.1");
  rig.files.Put(rig.kName, "");
  for (int i = 0; i < 3; ++i) rig.Scan();
  rig.Write(4, 5, "/logs/access.log.1");
  rig.Scan();
  rig.ExpectVisitors(4);
}

TEST(FollowRotation, LateLinesAreReadThoughACopyComesFirst) {
  FollowRig rig;
  rig.Write(1, 4);
  rig.Scan();
  rig.Rename(rig.kName, "/logs/some other name");
  rig.files.Put(rig.kName, "");
  rig.files.Put("/logs/access.log.1", rig.files.Get("/logs/some other name"));
  for (int i = 0; i < 3; ++i) rig.Scan();
  rig.Write(4, 5, "/logs/some other name");
  rig.Scan();
  rig.ExpectVisitors(4);
}

// Many files begin with a header or a blank line, so a log is not known by that.
TEST(FollowRotation, LogIsNotKnownByAHeaderAlone) {
  for (const std::string header : {"\n", "#Version: 1.0\n\n"}) {
    FollowRig rig;
    rig.files.Put(rig.kName, header);
    rig.Write(1, 3);
    const std::string backup = rig.files.Get(rig.kName);
    rig.Write(3, 5);
    rig.Scan();
    const uint64_t inode = rig.files.InodeOf(*rig.files.entries[rig.kName]);
    rig.files.entries.erase(rig.kName);
    rig.files.Put(rig.kName, header);
    rig.Scan();
    rig.files.Put("/logs/backup", backup);
    rig.files.entries["/logs/backup"]->inode = inode;
    rig.Write(5, 6);
    rig.CutWithCopy("/logs/access.log.1");
    rig.Write(6, 7);
    rig.ForgetPages();
    rig.Scan();
    rig.ExpectVisitors(6);
  }
}

TEST(FollowRotation, LogCutTwiceBetweenScansIsReadFromBothCopies) {
  FollowRig rig;
  rig.Write(1, 3);
  rig.Scan();
  rig.files.Put("/logs/access.log.9", ScanRig::NcsaLines(30, 31));
  const uint64_t inode = rig.files.InodeOf(*rig.files.entries["/logs/access.log.9"]);
  rig.files.entries.erase("/logs/access.log.9");
  rig.Write(3, 5);
  rig.CutWithCopy("/logs/access.log.2");
  rig.files.entries["/logs/access.log.2"]->inode = inode;
  rig.Write(5, 7);
  rig.CutWithCopy("/logs/access.log.1");
  rig.Write(7, 8);
  rig.Scan();
  rig.ExpectVisitors(7);
}

TEST(FollowRotation, PackedPartBehindALinkIsReadToItsEnd) {
  FollowRig rig;
  rig.Write(1, 3, "/logs/part-1.log");
  rig.files.links[rig.kName] = "/logs/part-1.log";
  rig.Scan();
  rig.Write(3, 4, "/logs/part-1.log");
  rig.Write(4, 6, "/logs/part-2.log");
  rig.Pack("/logs/part-1.log");
  rig.Pack("/logs/part-2.log");
  rig.Write(6, 7, "/logs/part-3.log");
  rig.files.links[rig.kName] = "/logs/part-3.log";
  rig.Scan();
  rig.ExpectVisitors(6);
}

TEST(FollowRotation, LogLeftEmptyOrWithHalfALineIsReadWhenLinesCome) {
  for (const std::string& half : {std::string(), ScanRig::NcsaLines(3, 4).substr(0, 30)}) {
    FollowRig rig;
    rig.Write(1, 3);
    rig.Scan();
    rig.Rename(rig.kName, "/logs/access.log.2");
    rig.files.Put(rig.kName, half);
    rig.Scan();
    rig.Rename(rig.kName, "/logs/access.log.1");
    rig.files.Put(rig.kName, "");
    for (int i = 0; i < 3; ++i) rig.Scan();
    rig.files.entries["/logs/access.log.1"]->bytes = ScanRig::NcsaLines(3, 5);
    rig.Scan();
    rig.ExpectVisitors(4);
    rig.Write(5, 6);
    rig.Scan();
    rig.ExpectVisitors(5);
  }
}

TEST(FollowRotation, HalfALineIsNotTheBeginningOfTheNextLogOnItsInode) {
  FollowRig rig;
  rig.Write(1, 3);
  rig.Scan();
  rig.Rename(rig.kName, "/logs/access.log.1");
  rig.files.Put(rig.kName, ScanRig::NcsaLines(3, 4).substr(0, 4));  // "10.0".
  rig.Scan();
  const uint64_t inode = rig.files.InodeOf(*rig.files.entries[rig.kName]);
  rig.files.entries.erase(rig.kName);
  rig.Write(4, 6);
  rig.files.entries[rig.kName]->inode = inode;
  rig.Scan();
  EXPECT_EQ(rig.t.Visitors.Count(), 4);
}

TEST(FollowRotation, FilesRenamedWhileTheyAreLookedForAreFound) {
  for (int at = 0; at < 20; ++at) {
    FollowRig rig;
    rig.Write(1, 3);
    rig.Scan();
    rig.Write(3, 4);
    rig.Rename(rig.kName, "/logs/access.log.1");
    rig.Write(4, 5);
    int calls = 0;
    rig.files.fails = [&](const std::string&) {
      if (calls++ == at) {
        rig.Rename("/logs/access.log.1", "/logs/access.log.2");
        rig.Rename(rig.kName, "/logs/access.log.1");
        rig.files.Put(rig.kName, ScanRig::NcsaLines(5, 6));
      }
      return false;
    };
    for (int i = 0; i < 3; ++i) rig.Scan();
    EXPECT_EQ(rig.t.Visitors.Count(), 5) << at;
    EXPECT_EQ(rig.history.Count("page "), 5) << at;
  }
}

TEST(FollowRotation, LinesAddedWhileARenamedLogIsReadAreRead) {
  for (int at = 0; at < 25; ++at) {
    FollowRig rig;
    rig.Write(1, 3);
    rig.Scan();
    rig.Write(3, 4);
    rig.Rename(rig.kName, "/logs/access.log.1");
    rig.files.Put(rig.kName, "");
    int calls = 0;
    rig.files.fails = [&](const std::string&) {
      if (calls++ == at) rig.Write(4, 5, "/logs/access.log.1");
      return false;
    };
    for (int i = 0; i < 3; ++i) rig.Scan();
    EXPECT_EQ(rig.t.Visitors.Count(), 4) << at;
    EXPECT_EQ(rig.history.Count("page "), 4) << at;
  }
}

TEST(FollowRotation, NameThatIsMissingForAWhileDoesNotPauseTheSite) {
  FollowRig rig;
  rig.Write(1, 4);
  rig.Scan();
  rig.Rename(rig.kName, "/logs/access.log.1");
  rig.Write(4, 5, "/logs/access.log.1");
  rig.Scan();
  EXPECT_FALSE(rig.t.Site(1).Paused);
  rig.ExpectVisitors(4);
  rig.Write(5, 7);
  rig.Scan();
  rig.ExpectVisitors(6);
}

TEST(FollowRotation, SwitchedLinkIsASuccessor) {
  FollowRig rig;
  rig.Write(1, 4, "/logs/a");
  rig.files.links[rig.kName] = "/logs/a";
  rig.Scan();
  rig.Write(4, 6, "/logs/a");
  rig.Write(6, 8, "/logs/b");
  rig.files.links[rig.kName] = "/logs/b";
  rig.Scan();
  rig.ExpectVisitors(7);
  rig.files.links[rig.kName] = "/logs/a";
  rig.Write(8, 9, "/logs/a");
  rig.Scan();
  rig.ExpectVisitors(8);
}

TEST(FollowRotation, DatedLogsFollowEachOther) {
  for (const FileChoice choice : {FileChoice::kByDate, FileChoice::kAlphabetic}) {
    FollowRig rig;
    rig.t.Site(1).Mask = "ex*.log";
    rig.t.Site(1).SelectMethod = choice;
    rig.Write(1, 4, "/logs/ex260305.log");
    rig.Scan();
    rig.Write(4, 6, "/logs/ex260305.log");
    rig.Write(6, 8, "/logs/ex260306.log");
    rig.Write(8, 9, "/logs/ex260307.log");
    rig.Scan();
    rig.ExpectVisitors(8);
  }
}

TEST(FollowRotation, RestartGoesOnWithTheOldLogAndReplaysAllOfToday) {
  FollowRig first;
  first.Write(1, 4);
  first.Scan();
  first.Rename(first.kName, "/logs/access.log.1");
  first.Write(4, 6);
  first.Scan();
  first.ExpectVisitors(5);
  first.Write(6, 8);
  first.Rename("/logs/access.log.1", "/logs/access.log.2");
  first.Pack("/logs/access.log.2");
  first.Rename(first.kName, "/logs/access.log.1");
  first.Write(8, 10);

  FollowRig next;
  static_cast<ReadState&>(next.t.Site(1)) = first.t.Site(1);
  next.files = first.files;
  next.Scan();
  EXPECT_EQ(next.t.Visitors.Count(), 9) << "all of today's";
  EXPECT_EQ(next.history.Count("page "), 4) << "new ones alone are stored";
}

TEST(FollowRotation, RestartBehindAnEmptyLogReplaysTheOldOneOnce) {
  FollowRig first;
  first.Write(1, 4);
  first.Scan();
  first.Rename(first.kName, "/logs/access.log.1");
  first.files.Put(first.kName, "");
  first.Scan();

  FollowRig next;
  static_cast<ReadState&>(next.t.Site(1)) = first.t.Site(1);
  next.files = first.files;
  next.Scan();
  EXPECT_EQ(next.t.Site(1).PagesCounted, 3);
  EXPECT_EQ(next.history.Count("page "), 0);
}

TEST(FollowRotation, EveryFailureOfTheDiskLeavesWhatTheNextScanNeeds) {
  for (int broken = 0; broken < 60; ++broken) {
    FollowRig rig;
    rig.Write(1, 4);
    rig.Scan();
    rig.Write(4, 5);
    rig.Rename(rig.kName, "/logs/access.log.2");
    rig.Write(5, 7, "/logs/access.log.1");
    rig.Write(7, 9);
    int calls = 0;
    rig.files.fails = [&](const std::string&) { return calls++ == broken; };
    rig.Scan();
    rig.files.fails = nullptr;
    for (int i = 0; i < 3; ++i) rig.Scan();
    EXPECT_EQ(rig.t.Visitors.Count(), 8) << broken;
    EXPECT_EQ(rig.t.Site(1).PagesCounted, 8) << broken;
  }
}

TEST(FollowRotation, RolloverForgetsWhatTheNextReplayNeedNotRead) {
  FollowRig rig;
  rig.Write(1, 4);
  rig.Scan();
  rig.Rename(rig.kName, "/logs/access.log.1");
  rig.Write(4, 6);
  rig.Scan();
  ASSERT_EQ(rig.t.Site(1).LeftLogs.size(), 1u);
  EXPECT_GT(rig.t.Site(1).LeftLogs[0].DayPos, 0);
  BeginDayOfLog(rig.t.Site(1));
  EXPECT_EQ(rig.t.Site(1).LeftLogs[0].DayPos, 0);
  EXPECT_EQ(rig.t.Site(1).LastReadPosDay, rig.t.Site(1).LastReadPos);
}

}  // namespace
}  // namespace vantry
