// A disk that is full for a while: what that costs, what is told of it, and that nothing else is lost.
#include <gtest/gtest.h>

#include "support/busy_day.h"

namespace vantry {
namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr int kStride = 3;
#else
constexpr int kStride = 1;
#endif

// The calls of a day that a full disk breaks.
std::vector<int> WritesOfTheDay() {
  BusyDay day;
  day.restarts = false;
  std::vector<int> writes;
  const auto note = [&](const std::string& call) {
    ++day.calls;
    if (call.starts_with("write ") || call == "commit") writes.push_back(day.calls);
    return int64_t{-2};
  };
  day.rig.disk.breaks = note;
  day.rig.index.fails = [&](const std::string& call) { return note(call) >= 0; };
  day.Run();
  return writes;
}

TEST(FullDisk, NothingIsLostAndItGoesOnWithoutARestart) {
  for (const int first : WritesOfTheDay()) {
    for (const int calls : {1, 8, 60}) {
      BusyDay day;
      day.restarts = false;
      day.Break(first, calls, INT_MAX, first % 5);
      day.Run();
      EXPECT_GT(day.broken, 0);
      EXPECT_EQ(day.refused, 0);
      day.Repair();
      day.rig.clock.Advance(1);
      EXPECT_TRUE(day.Db().DatabaseReady());
      day.FlushAll();
      EXPECT_EQ(day.Check(), "");
      EXPECT_EQ(day.CheckKeys(), "");
      day.StopAndStart();
      EXPECT_EQ(day.Check(), "");
      day.rig.program_log.clear();
      EXPECT_TRUE(day.Db().DatabaseReady());
      EXPECT_EQ(day.rig.program_log, "");
      ASSERT_FALSE(::testing::Test::HasFailure()) << "call " << first << ", " << calls << " calls";
    }
  }
}

// What the full disk left half written is put right by the next start, whenever it comes.
TEST(FullDisk, TheProgramOrThePowerMayGoMeanwhile) {
  const std::vector<int> writes = WritesOfTheDay();
  for (size_t i = 0; i < writes.size(); i += kStride) {
    for (const int later : {1, 2, 3, 5, 9, 14, 22}) {
      for (const bool power : {false, true}) {
        BusyDay day;
        day.restarts = false;
        day.Break(writes[i], later + 4, writes[i] + later, (writes[i] + later) % 5);
        day.Run();
        std::mt19937 random(static_cast<unsigned>(writes[i] * 100 + later));
        day.Restart(power ? &random : nullptr);
        EXPECT_TRUE(day.Db().DatabaseReady()) << day.rig.program_log;
        day.Db().FlushAll();
        EXPECT_EQ(day.Check(), "");
        EXPECT_EQ(day.CheckKeys(), "");
        ASSERT_FALSE(::testing::Test::HasFailure()) << "call " << writes[i] << " and " << later << ", power " << power;
      }
    }
  }
}

struct FullDiskTest : ::testing::Test {
  DatabaseRig rig;
  VisitDatabase& Db() { return *rig.database; }
  bool full = true;
  int calls = 0;

  FullDiskTest() {
    rig.Visit("10.0.0.1");
    Db().FlushAll();
    rig.disk.breaks = [this](const std::string& call) {
      ++calls;
      return full && call.starts_with("write ") && Contains(call, ".DBF") ? int64_t{0} : int64_t{-2};
    };
    rig.index.fails = [this](const std::string& call) { return full && call == "commit"; };
  }
  void AddPages(int count) {
    for (int i = 0; i < count; ++i) {
      VisitorRec v = rig.Visitor("10.0.0.1");
      v.VisitCount = ++pages_ / 1000;
      v.Pages = static_cast<int16_t>(pages_ % 1000);
      Db().AddPageToDatabase(v);
    }
  }
  std::map<std::string, int> LogLines() const {
    std::map<std::string, int> lines;
    for (const std::string_view line : Split(rig.program_log, '\n')) {
      // Without date and time in front.
      if (line.size() > 22) ++lines[std::string(line.substr(line.find('M') + 2))];
    }
    return lines;
  }

 private:
  int pages_ = 0;
};

TEST_F(FullDiskTest, IsToldOnceAMinuteAndNotForEachRow) {
  for (int second = 0; second < 600; second += 5) {
    AddPages(20);
    rig.Visit("10.0.1." + std::to_string(second / 5));
    Db().FlushDatabase();
    if (second % 10 == 0) rig.FlushInScan();
    rig.clock.Advance(5);
  }
  int most = 0;
  for (const auto& [line, count] : LogLines()) {
    EXPECT_TRUE(Contains(line, "No space left on device. What was not written waits in memory and is tried again."))
        << line;
    EXPECT_LE(count, 10) << line;
    most = std::max(most, count);
  }
  EXPECT_EQ(most, 10);
  EXPECT_LE(LogLines().size(), 4u) << rig.program_log;
  full = false;
  rig.program_log.clear();
  Db().FlushAll();
  EXPECT_EQ(rig.program_log, "");
  EXPECT_EQ(rig.Read("Pages").rows.size(), 2400u);
  EXPECT_EQ(rig.Read("Visits").rows.size(), 121u);
}

TEST_F(FullDiskTest, WhenTheMemoryIsFullRowsAreRefusedAndCounted) {
  Table& pages = Db().VAPG;
  size_t row_bytes = 1;
  for (const std::string& field : pages::Schema().fields)
    row_bytes += static_cast<size_t>(LeadingNumber(Split(field, '|')[2]));
  const auto fit = static_cast<int>(DbfFile::kMaxWaitingBytes / row_bytes + 1);
  AddPages(fit);
  EXPECT_EQ(pages.RowCount(), static_cast<uint32_t>(fit));
  const int calls_before = calls;
  AddPages(150);
  EXPECT_EQ(pages.LastStatus(), Table::kNoRoom);
  EXPECT_EQ(pages.RowCount(), static_cast<uint32_t>(fit));
  EXPECT_LE(calls - calls_before, 0) << "the disk is not asked for each row";
  // The other tables still have room.
  VisitorRec v = rig.Visit("10.0.0.2");
  EXPECT_EQ(Db().VAVISITS.RowCount(), 2u);
  Db().FlushAll();
  EXPECT_FALSE(Contains(rig.program_log, "takes rows again"));
  full = false;
  Db().FlushAll();
  EXPECT_TRUE(Contains(rig.program_log, "Pages takes rows again; 150 rows were lost meanwhile.")) << rig.program_log;
  rig.program_log.clear();
  AddPages(10);
  EXPECT_EQ(pages.LastStatus(), Table::kOk);
  Db().FlushAll();
  EXPECT_EQ(rig.program_log, "");
  const PlainTable table = rig.Read("Pages");
  EXPECT_EQ(table.rows.size(), static_cast<size_t>(fit) + 10);
  std::set<std::string> numbers;
  for (const auto& row : table.rows) numbers.insert(row.at("RecordNo"));
  EXPECT_EQ(numbers.size(), table.rows.size());
}

// Updates of old rows wait as new rows do.
TEST_F(FullDiskTest, ChangesWaitAsWell) {
  full = false;
  for (int i = 0; i < 200; ++i) rig.Visit("10.0.2." + std::to_string(i));
  Db().FlushAll();
  full = true;
  for (int i = 0; i < 200; ++i) {
    VisitorRec v = rig.Visitor("10.0.2." + std::to_string(i));
    v.Page = "last" + std::to_string(i);
    Db().UpdateVisitInDatabase(v);
  }
  Db().FlushAll();
  EXPECT_EQ(rig.Read("Visits").rows[17].at("LastPage"), "index.html");
  EXPECT_EQ(Db().VAVISITS.FindEqual(Db().VAVISITS.Key({"10.0.2.16", "One", "20260305", "00001"})), Table::kOk);
  EXPECT_EQ(Db().VAVISITS.Text(visits::kLastPage), "last16");
  full = false;
  Db().FlushAll();
  EXPECT_EQ(rig.Read("Visits").rows[17].at("LastPage"), "last16");
}

TEST_F(FullDiskTest, AnIndexThatTakesNothingLosesNothing) {
  full = false;
  rig.index.fails = [&](const std::string& call) { return call == "commit"; };
  for (int i = 0; i < 300; ++i) {
    rig.Visit("10.0.2." + std::to_string(i));
    if (i % 50 == 0) Db().FlushDatabase();
  }
  EXPECT_TRUE(Contains(rig.program_log, "/data/Vantry.idx: No space left on device")) << rig.program_log;
  EXPECT_EQ(rig.Flushed("Visits").rows.size(), 301u) << "the rows are there without their keys";
  for (int i = 0; i < 300; ++i) rig.Visit("10.0.2." + std::to_string(i));
  EXPECT_EQ(rig.Flushed("Visits").rows.size(), 301u) << "and known";
  rig.index.fails = nullptr;
  Db().FlushAll();
  rig.Crash();
  rig.program_log.clear();
  ASSERT_TRUE(Db().DatabaseReady());
  EXPECT_EQ(rig.program_log, "") << "the index was kept at last";
  for (int i = 0; i < 300; ++i) rig.Visit("10.0.2." + std::to_string(i));
  EXPECT_EQ(rig.Flushed("Visits").rows.size(), 301u);
}

TEST_F(FullDiskTest, AStopMeanwhileTellsThatRowsAreLost) {
  AddPages(3);
  rig.Restart();
  EXPECT_TRUE(Contains(rig.program_log, "what still waited in memory was not written")) << rig.program_log;
  full = false;
  rig.clock.Advance(1);
  ASSERT_TRUE(Db().DatabaseReady()) << rig.program_log;
  EXPECT_EQ(rig.Read("Pages").rows.size(), 0u);
  EXPECT_EQ(rig.Read("Visits").rows.size(), 1u);
}

// On some file systems a full disk takes not even a write over what is there. Then changes wait in memory, too.
TEST_F(FullDiskTest, RowsWaitWhileTheStampCantBeOpened) {
  Db().FlushAll();
  rig.disk.breaks = [this](const std::string& call) {
    ++calls;
    return full && call.starts_with("write ") ? int64_t{-1} : int64_t{-2};
  };
  full = false;
  rig.Visit("10.0.0.2");
  Db().FlushAll();
  full = true;
  const std::string index = rig.disk.Get("/data/Vantry.idx");
  calls = 0;
  AddPages(20'000);  // More than wait when all is well.
  rig.Visit("10.0.0.3");
  EXPECT_EQ(calls, 1) << "the disk is not asked for each row";
  EXPECT_EQ(Db().VAPG.RowCount(), 20'000u);
  EXPECT_EQ(Db().VAPG.FindNearest(""), Table::kFailed) << "what needs the index fails";
  Db().FlushDatabase();
  EXPECT_EQ(rig.disk.Get("/data/Vantry.idx"), index) << "the stamp still vouches for this index";
  rig.Visit("10.0.0.2");
  EXPECT_EQ(Db().VAVISITS.RowCount(), 3u);
  full = false;
  Db().FlushAll();
  EXPECT_EQ(rig.Read("Pages").rows.size(), 20'000u);
  EXPECT_EQ(rig.Read("Visits").rows.size(), 3u);
  EXPECT_EQ(Db().VAPG.FindNearest(""), Table::kOk);
}

}  // namespace
}  // namespace vantry
