// What a stop saves of how far the logs were read: never more than history has on the disk.
#include <set>

#include <gtest/gtest.h>

#include "app/engine.h"
#include "support/database_rig.h"
#include "support/engine_rig.h"

namespace vantry {
namespace {

struct StopTest : EngineTest {
  bool full = false;  // The disk takes nothing into files of this name.
  std::string full_file;

  StopTest() {
    data_files.breaks = [this](const std::string& call) {
      return full && call.starts_with("write ") && Contains(call, full_file) ? int64_t{-1} : int64_t{-2};
    };
    Sites(1);
  }
  void Lines(int from, int to, const std::string& page = "page") {
    auto& entry = files.entries["/logs/access.log"];
    if (!entry) entry = std::make_shared<MemoryFiles::Entry>();
    for (int i = from; i < to; ++i) {
      entry->bytes += "10.0.0." + std::to_string(i % 7) + " - - [05/Mar/2026:11:" + PadNumber(i / 60 % 60, 2) + ":" +
                      PadNumber(i % 60, 2) + " +0000] \"GET /" + page + std::to_string(i) +
                      ".htm HTTP/1.0\" 404 5 \"-\" \"B\"\n";
    }
  }
  void Flush() { loop.Tick(VisitDatabase::kFlushAllMs); }
  size_t Rows(const std::string& table) {
    return PlainTable(data_files.Get("/home/Data/" + table + ".DBF")).rows.size();
  }
  // A value of the site file.
  std::string Saved(const std::string& key) {
    const std::string text = files.Get("/home/VANTRY.INI");
    const size_t at = text.find("\r\n" + key + "=");
    return at == std::string::npos ? ""
                                   : text.substr(at + key.size() + 3, text.find("\r\n", at + 2) - at - key.size() - 3);
  }
  void StopAndStart() {
    engine->Closing();
    full = false;
    ASSERT_TRUE(Start());
    Run(6);
    Flush();
  }
};

TEST_F(StopTest, WithAFullDiskSavesThePlaceOfTheRowsThatWereWritten) {
  Lines(0, 30);
  ASSERT_TRUE(Start());
  Run(4);
  Flush();
  ASSERT_EQ(Rows("Pages"), 30u);
  full = true;
  Lines(30, 60);
  Run(20);
  Flush();
  engine->Closing();
  EXPECT_EQ(Rows("Pages"), 30u);
  EXPECT_LT(std::stoll(Saved("LastReadPos")), engine->Tables().Site(1).LastReadPos);
  full = false;
  ASSERT_TRUE(Start());
  Run(6);
  Flush();
  EXPECT_EQ(Rows("Pages"), 60u);
  // The line that a scan ended with is read again as soon as others follow it.
  EXPECT_EQ(Rows("Exceptions"), 61u);
}

// Visits that were stored are read again for the sake of their pages, and keep their numbers.
TEST_F(StopTest, VisitsThatAreReadAgainKeepTheirNumbers) {
  Log("12:00:00", "10.0.0.9");
  ASSERT_TRUE(Start());
  Run(4);
  Flush();
  full = true;
  full_file = "Pages.DBF";
  for (const char* time : {"12:01:00", "12:31:00", "13:01:00"}) {
    Log(time, "10.0.0.1");
    Log(time, "10.0.0.2");
    Run(30 * 60);
    Flush();
  }
  EXPECT_EQ(Rows("Visits"), 7u);
  EXPECT_EQ(Rows("Pages"), 1u);
  StopAndStart();
  EXPECT_EQ(Rows("Visits"), 7u);
  std::set<std::string> pages;
  for (const auto& row : PlainTable(data_files.Get("/home/Data/Pages.DBF")).rows) {
    pages.insert(row.at("IP") + " " + row.at("VisitNo") + " " + row.at("PageTime"));
  }
  EXPECT_EQ(pages,
            (std::set<std::string>{"10.0.0.9 00001 12:00:00", "10.0.0.1 00001 12:01:00", "10.0.0.2 00001 12:01:00",
                                   "10.0.0.1 00002 12:31:00", "10.0.0.2 00002 12:31:00", "10.0.0.1 00003 13:01:00",
                                   "10.0.0.2 00003 13:01:00"}));
  EXPECT_EQ(Rows("Pages"), 7u);
}

TEST_F(StopTest, WithATableFolderThatCantBeOpenedSavesTheStart) {
  data_files.read_only = true;
  Lines(0, 30);
  ASSERT_TRUE(Start());
  Run(20);
  Flush();
  EXPECT_EQ(engine->Tables().Visitors.Count(), 7);
  data_files.read_only = false;
  StopAndStart();
  EXPECT_EQ(Rows("Pages"), 30u);
  EXPECT_EQ(Rows("Visits"), 7u);
}

// Rows that found no room are gone, so what was written afterwards does not count.
TEST_F(StopTest, ARowThatWasMissedHoldsThePlaceBackForTheDay) {
  Lines(0, 10);
  ASSERT_TRUE(Start());
  Run(4);
  Flush();
  data_files.missing_folders.insert("/home/Data/");
  for (const char* table : {"Visits", "Pages", "Visitor"}) {
    data_files.entries.erase(std::string("/home/Data/") + table + ".DBF");
  }
  Lines(10, 30);
  Run(20);
  Flush();
  data_files.missing_folders.clear();
  Lines(30, 40);
  Run(20);
  Flush();
  Flush();
  ASSERT_LT(Rows("Pages"), 30u);
  StopAndStart();
  EXPECT_GE(Rows("Pages"), 30u);
}

TEST_F(StopTest, WithoutTroubleSavesTheLastLine) {
  Lines(0, 30);
  ASSERT_TRUE(Start());
  Run(4);
  engine->Closing();
  EXPECT_EQ(std::stoll(Saved("LastReadPos")), engine->Tables().Site(1).LastReadPos);
}

TEST_F(StopTest, InTheMiddleOfAReplaySavesWhatTheReplayBeganWith) {
  Lines(0, 2000);
  ASSERT_TRUE(Start());
  Run(4);
  engine->Closing();
  const std::string before = files.Get("/home/VANTRY.INI");
  const size_t exceptions = Rows("Exceptions"), pages = Rows("Pages");
  ASSERT_GT(exceptions, 1900u);
  ASSERT_TRUE(Start());
  clock.ms_per_look = 10;
  loop.on_turn = [this] {
    Flush();
    if (loop.turns % 7 == 0) engine->Closing();
  };
  Run(4);
  clock.ms_per_look = 0;
  loop.on_turn = nullptr;
  ASSERT_TRUE(loop.quit);
  EXPECT_LT(engine->Tables().Site(1).LastReadPos, std::stoll(Saved("LastReadPos")));
  EXPECT_EQ(files.Get("/home/VANTRY.INI"), before);
  ASSERT_TRUE(Start());
  Run(6);
  Flush();
  EXPECT_EQ(Rows("Exceptions"), exceptions);
  EXPECT_EQ(Rows("Pages"), pages);
}

// A log that was cut is read from its end; from the old place, what is added until the next start would be skipped.
TEST_F(StopTest, ALogThatWasCutHoldsThePlaceOfItsCut) {
  Lines(0, 100);
  ASSERT_TRUE(Start());
  Run(4);
  Flush();
  full = true;
  auto& log = files.entries["/logs/access.log"]->bytes;
  log.resize(log.size() / 10);
  const size_t cut = log.size();
  engine->Tables().Site(1).ForceLookup = true;
  Run(12);
  Lines(100, 110);
  Run(12);
  engine->Closing();
  EXPECT_EQ(Saved("LastReadPos"), std::to_string(cut));
}

}  // namespace
}  // namespace vantry
