// Lines that are read again store nothing twice.
#include <gtest/gtest.h>

#include "support/database_rig.h"

namespace vantry {
namespace {

TEST(StoredRows, EachIsTakenAsOftenAsItIsThere) {
  StoredRows rows;
  for (const uint64_t hash : {7, 3, 7, 9, 7}) rows.Add(hash);
  rows.Sort();
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(rows.Take(7)) << i;
  EXPECT_FALSE(rows.Take(7));
  EXPECT_TRUE(rows.Take(3));
  EXPECT_FALSE(rows.Take(3));
  EXPECT_FALSE(rows.Take(8));
  rows.Clear();
  EXPECT_FALSE(rows.Take(9));
}

struct ReadAgainTest : ::testing::Test {
  DatabaseRig rig;
  VisitDatabase& Db() { return *rig.database; }

  ReadAgainTest() { rig.t.Corrected.QuietReplay = true; }
  void ReadOnce(bool once) {
    for (SiteRec& site : rig.t.Sites) site.ReadOnce = once;
  }
  void Download(const std::string& time, const std::string& page) {
    VisitorRec v = rig.Visitor("10.0.0.1", time);
    v.Page = page;
    ASSERT_TRUE(Db().DatabaseReady());
    Db().AddDownload(v);
  }
  void Exception(const std::string& time, const std::string& value, const std::string& address, bool again) {
    ASSERT_TRUE(Db().DatabaseReady());
    Db().AddExceptionToDatabase({"One: ", DatabaseRig::At(time), 404, address, 1, value, again});
  }
};

TEST_F(ReadAgainTest, DownloadsOfEarlierRunsAreStoredOnceAndCounted) {
  const auto download_all = [this] {
    rig.t.Site(1).TodayDownloads = 0;
    Download("11:00:00", "a.zip");
    Download("11:00:00", "a.zip");
    Download("11:00:01", "b.zip");
  };
  download_all();
  rig.Restart();
  download_all();
  EXPECT_EQ(rig.t.Site(1).TodayDownloads, 3);
  EXPECT_EQ(rig.Flushed("Downloads").rows.size(), 3u);
  Download("11:00:00", "a.zip");
  Download("11:00:02", "c.zip");
  EXPECT_EQ(rig.t.Site(1).TodayDownloads, 5);
  EXPECT_EQ(rig.Flushed("Downloads").rows.size(), 5u);
  rig.t.Corrected.QuietReplay = false;
  rig.Restart();
  download_all();
  EXPECT_EQ(rig.Flushed("Downloads").rows.size(), 8u) << "classic";
}

TEST_F(ReadAgainTest, OnceALogWasReadItsRowsAreNew) {
  Download("11:00:00", "a.zip");
  rig.Restart();
  ReadOnce(true);
  Download("11:00:00", "a.zip");
  EXPECT_EQ(rig.Flushed("Downloads").rows.size(), 2u);
}

TEST_F(ReadAgainTest, RowsThatAKillTookAreStoredAgain) {
  Download("11:00:00", "a.zip");
  Db().FlushAll();
  Download("11:00:01", "b.zip");
  Exception("11:00:01", "x", "10.0.0.1", true);
  rig.Crash();
  ReadOnce(false);
  Download("11:00:00", "a.zip");
  Download("11:00:01", "b.zip");
  Exception("11:00:01", "x", "10.0.0.1", true);
  EXPECT_EQ(rig.Flushed("Downloads").rows.size(), 2u);
  EXPECT_EQ(rig.Read("Exceptions").rows.size(), 1u);
}

TEST_F(ReadAgainTest, ExceptionsOfEarlierRunsAreStoredOnce) {
  Exception("11:00:00", "a.htm", "10.0.0.1", false);
  Exception("11:00:00", "a.htm", "10.0.0.2", false);
  rig.Restart();
  Exception("11:00:00", "a.htm", "host.example", true);  // Its name has come since.
  Exception("11:00:00", "a.htm", "10.0.0.2", true);
  Exception("11:00:00", "a.htm", "10.0.0.3", true);
  Exception("11:00:01", "a.htm", "10.0.0.3", true);
  Exception("11:00:00", "a.htm", "10.0.0.1", false);  // Not of a line.
  EXPECT_EQ(rig.Flushed("Exceptions").rows.size(), 5u);
}

TEST_F(ReadAgainTest, ExceptionsOfNoLineAreCountedFromTheirRows) {
  rig.t.Site(1).Name = "A site with a long name";
  Exception("11:00:00", "a.htm", "10.0.0.1", false);
  const std::string site = rig.t.Site(1).Name + ": ";
  Db().AddExceptionToDatabase({site, DatabaseRig::At("11:00:01"), 110, "", 0, "12"});
  Db().AddExceptionToDatabase({"Two: ", DatabaseRig::At("11:30:00"), 170, "www", 0, "timeout"});
  Db().AddExceptionToDatabase({"", DatabaseRig::At("11:40:00"), 180, "", 0, "sql"});
  Db().AddExceptionToDatabase({"Two: ", DatabaseRig::At("11:50:00", 4), 110, "", 0, "13"});  // Of yesterday, late.
  Db().AddExceptionToDatabase({"Two: ", DatabaseRig::At("11:55:00"), 123, "", 0, "120"});
  rig.Restart();
  ASSERT_TRUE(Db().DatabaseReady());
  EXPECT_EQ(rig.exceptions.counted, std::vector<std::string>{"2 123 11:55:00 120 "}) << "no further than yesterday";
  rig.exceptions.counted.clear();
  Db().AddExceptionToDatabase({site, DatabaseRig::At("11:57:00"), 110, "", 0, "14"});
  Db().AddExceptionToDatabase({"", DatabaseRig::At("11:58:00"), 180, "", 0, "sql"});
  rig.Restart();
  ASSERT_TRUE(Db().DatabaseReady());
  EXPECT_EQ(rig.exceptions.counted,
            (std::vector<std::string>{"2 123 11:55:00 120 ", "1 110 11:57:00 14 ", "0 180 11:58:00 sql "}));
  rig.exceptions.counted.clear();
  rig.t.Corrected.QuietReplay = false;
  rig.Restart();
  ASSERT_TRUE(Db().DatabaseReady());
  EXPECT_TRUE(rig.exceptions.counted.empty()) << "classic";
}

TEST_F(ReadAgainTest, RowsOfOtherDaysAreNotLookedAt) {
  rig.t.Today.n -= 1;
  VisitorRec v = rig.Visitor("10.0.0.1", "11:00:00", 1, 4);
  v.Page = "a.zip";
  ASSERT_TRUE(Db().DatabaseReady());
  Db().AddDownload(v);
  rig.t.Today.n += 1;
  rig.Restart();
  ASSERT_TRUE(Db().DatabaseReady());
  Db().AddDownload(v);
  EXPECT_EQ(rig.Flushed("Downloads").rows.size(), 2u);
}

// A kill between two tables: the visitor's row has visits that are not stored.
TEST_F(ReadAgainTest, VisitsThatAKillTookKeepTheirNumbers) {
  rig.Visit("10.0.0.1", "08:00:00");
  Db().FlushAll();
  const std::string visits = rig.disk.Get(rig.Path("Visits"));
  for (const char* time : {"09:00:00", "10:00:00", "11:00:00"}) rig.Visit("10.0.0.1", time);
  Db().FlushAll();
  rig.disk.Put(rig.Path("Visits"), visits);
  rig.Crash();
  ReadOnce(false);
  int32_t number = 0;
  for (const char* time : {"08:00:00", "09:00:00", "10:00:00", "11:00:00"}) {
    EXPECT_EQ(rig.Visit("10.0.0.1", time).VisitCount, ++number) << time;
  }
  EXPECT_EQ(rig.Flushed("Visits").rows.size(), 4u);
  EXPECT_EQ(rig.Read("Visitor").rows[0].at("Visits"), "    4");
}

TEST_F(ReadAgainTest, AHackIsCountedOnceAVisit) {
  VisitorRec first = rig.Visit("10.0.0.1", "10:00:00");
  Db().UpdateHackCount(first);
  VisitorRec second = rig.Visit("10.0.0.1", "11:00:00");
  Db().UpdateHackCount(second);
  EXPECT_EQ(second.StoredHackCount, 2);
  rig.Restart();
  rig.t.Site(1).ScanCount = 1;
  first = rig.Visit("10.0.0.1", "10:00:00");
  ASSERT_EQ(first.VisitCount, 1);
  Db().UpdateHackCount(first);
  second = rig.Visit("10.0.0.1", "11:00:00");
  Db().UpdateHackCount(second);
  EXPECT_EQ(second.StoredHackCount, 2);
  VisitorRec third = rig.Visit("10.0.0.1", "12:00:00");
  Db().UpdateHackCount(third);
  EXPECT_EQ(third.StoredHackCount, 3);
  EXPECT_EQ(rig.Flushed("Visitor").rows[0].at("HackCount"), "  3");
}

TEST_F(ReadAgainTest, ClassicCountsAHackAgain) {
  rig.t.Corrected.QuietReplay = false;
  VisitorRec v = rig.Visit("10.0.0.1");
  Db().UpdateHackCount(v);
  rig.Restart();
  v = rig.Visit("10.0.0.1");
  Db().UpdateHackCount(v);
  EXPECT_EQ(v.StoredHackCount, 2);
  EXPECT_EQ(rig.Flushed("Visitor").rows[0].at("Flags"), "");
}

TEST_F(ReadAgainTest, AFrequentVisitorIsRaisedWithTheTimeOfItsVisit) {
  rig.t.Site(1).ExValue133 = 1;
  VisitorRec v = rig.Visitor("10.0.0.1");
  v.LastPageTime = {};
  Db().UpdateVisitor(v, false);
  ASSERT_EQ(rig.exceptions.raised.size(), 1u);
  EXPECT_TRUE(Contains(rig.exceptions.raised[0], std::to_string(v.StartTime.s))) << rig.exceptions.raised[0];
}

}  // namespace
}  // namespace vantry
