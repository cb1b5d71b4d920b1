#include "setup/add_site.h"

#include <gtest/gtest.h>

#include "config/site_file.h"
#include "core/wildcard.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

const std::string kNcsaLine = "192.0.2.1 - - [10/Oct/2026:13:55:36 +0000] \"GET /index.html HTTP/1.0\" 200 2326\n";

class AddSiteTest : public ::testing::Test {
 protected:
  Status Add(const std::string& name, const std::string& domain) {
    SitesToAdd sites(files_, {"/home/", {}, {}});
    Status status = sites.Read();
    if (status.ok()) status = sites.Add(name, domain, place_);
    return status.ok() ? sites.Write() : status;
  }
  void ReadBack(LiveTables& tables) { EXPECT_TRUE(ReadINI(files_, "/home/", Regional{}, tables).ok()); }

  MemoryFiles files_;
  LogPlace place_{"/logs/", "access.log", FileChoice::kSameName, LogType::kNCSA, true, true};
};

TEST_F(AddSiteTest, WritesASiteThatReadsBack) {
  ASSERT_TRUE(Add(" Shop ", "www.example.org").ok());
  LiveTables tables;
  ReadBack(tables);
  ASSERT_EQ(tables.Sites.size(), 1u);
  const SiteRec& site = tables.Sites[0];
  EXPECT_EQ(site.Name, "Shop");
  EXPECT_EQ(site.Domain, "www.example.org");
  EXPECT_EQ(site.Folder, "/logs/");
  EXPECT_EQ(site.Mask, "access.log");
  EXPECT_EQ(site.SelectMethod, FileChoice::kSameName);
  EXPECT_EQ(site.Type, LogType::kNCSA);
  EXPECT_TRUE(site.Unix && site.WebAccess && site.WebReferrers);
  EXPECT_FALSE(site.IncludeQuery || site.Paused || site.FTP);
  EXPECT_EQ(site.HomePage, "index.html");
  EXPECT_EQ(site.Frequency, 5);
  EXPECT_TRUE(tables.Alerts.empty());
}

TEST_F(AddSiteTest, KeepsWhatIsThere) {
  LiveTables old;
  old.Sites.emplace_back().Name = "Old";
  old.Sites[0].Domain = "old.example";
  old.Sites[0].LastReadPos = 123;
  AddAlertDefinition(old, 1, "All");
  ASSERT_TRUE(WriteINI(files_, "/home/", Regional{}, old).ok());
  ASSERT_TRUE(Add("Shop", "www.example.org").ok());
  LiveTables tables;
  ReadBack(tables);
  ASSERT_EQ(tables.Sites.size(), 2u);
  EXPECT_EQ(tables.Sites[0].Name, "Old");
  EXPECT_EQ(tables.Sites[0].LastReadPos, 123);
  ASSERT_EQ(tables.Alerts.size(), 1u);
  EXPECT_EQ(tables.Alerts[0].Site, 1);
  EXPECT_EQ(tables.Sites[1].Name, "Shop");
}

TEST_F(AddSiteTest, RefusesWhatIsTakenOrUnfit) {
  ASSERT_TRUE(Add("Shop", "www.example.org").ok());
  const std::string before = files_.Get("/home/VANTRY.INI");
  EXPECT_EQ(Add("SHOP", "other.example").fail, Fail::kRefused);
  EXPECT_EQ(Add("Other", "WWW.example.org").fail, Fail::kRefused);
  EXPECT_EQ(Add("", "other.example").fail, Fail::kRefused);
  EXPECT_EQ(Add("Other", "  ").fail, Fail::kRefused);
  EXPECT_EQ(Add("Oth\r\ner", "other.example").fail, Fail::kRefused);
  EXPECT_EQ(Add("Other", "other\x1b.example").fail, Fail::kRefused);
  EXPECT_EQ(files_.Get("/home/VANTRY.INI"), before);
}

TEST_F(AddSiteTest, NeverWritesOverWhatItCouldNotRead) {
  for (const char* bytes : {"[A]\r\nPaused=perhaps\r\n\r\n", "Paused=True\r\n\r\n", "[A]\r\nDomain=a"}) {
    files_.Put("/home/VANTRY.INI", bytes);
    const Status status = Add("Shop", "www.example.org");
    EXPECT_EQ(status.fail, Fail::kRefused) << bytes;
    EXPECT_NE(status.text.find("/home/VANTRY.INI"), std::string::npos);
    EXPECT_EQ(files_.Get("/home/VANTRY.INI"), bytes);
  }
  files_.fails = [](const std::string& call) { return call == "read /home/VANTRY.INI"; };
  EXPECT_FALSE(Add("Shop", "www.example.org").ok());
}

TEST_F(AddSiteTest, TellsWhenWritingFails) {
  files_.fails = [](const std::string& call) { return call.rfind("replace", 0) == 0; };
  EXPECT_EQ(Add("Shop", "www.example.org").fail, Fail::kIo);
}

TEST_F(AddSiteTest, ManyAreWrittenOnceOrNotAtAll) {
  ASSERT_TRUE(Add("Old", "old.example").ok());
  const std::string before = files_.Get("/home/VANTRY.INI");
  for (const bool full_disk : {true, false}) {
    files_.fails = [=](const std::string& call) { return full_disk && call.rfind("replace", 0) == 0; };
    SitesToAdd sites(files_, {"/home/", {}, {}});
    ASSERT_TRUE(sites.Read().ok());
    files_.calls.clear();
    for (const char* name : {"a", "b", "old", "B", "c"}) (void)sites.Add(name, name + std::string(".example"), place_);
    EXPECT_TRUE(files_.calls.empty());
    EXPECT_EQ(sites.Write().ok(), !full_disk);
    EXPECT_EQ(files_.Get("/home/VANTRY.INI") == before, full_disk);
  }
  EXPECT_EQ(files_.calls, std::vector<std::string>{"replace /home/VANTRY.INI"});
  LiveTables tables;
  ReadBack(tables);
  ASSERT_EQ(tables.Sites.size(), 4u);
  EXPECT_EQ(tables.Sites[3].Name, "c");
}

TEST(FindLog, AFile) {
  MemoryFiles files;
  files.Put("/logs/access[1].log", kNcsaLine);
  LogPlace place;
  ASSERT_TRUE(FindLog(files, "/logs/access[1].log", std::nullopt, place).ok());
  EXPECT_EQ(place.folder, "/logs/");
  EXPECT_EQ(place.mask, "access[1].log");
  EXPECT_EQ(place.choice, FileChoice::kSameName);
  EXPECT_EQ(place.type, LogType::kNCSA);
  EXPECT_TRUE(place.unix_lines && place.recognised);
}

TEST(FindLog, AFolderWithLogs) {
  MemoryFiles files;
  files.Put("/logs/old.LOG", kNcsaLine);
  files.clock_ns = 2;
  files.Put("/logs/new.log", "192.0.2.1, -, 1/5/2026, 7:55:20, W, H, 192.0.2.9, 1, 2, 3, 200, 0, GET, /a.htm, -,\r\n");
  files.clock_ns = 3;
  files.Put("/logs/notes.txt", "a note\n");
  files.Put("/logs/.hidden.log", "no log\n");
  LogPlace place;
  ASSERT_TRUE(FindLog(files, "/logs", std::nullopt, place).ok());
  EXPECT_EQ(place.folder, "/logs/");
  EXPECT_EQ(place.mask, "*.LOG");
  EXPECT_EQ(place.choice, FileChoice::kByDate);
  EXPECT_EQ(place.type, LogType::kIIS);
  EXPECT_FALSE(place.unix_lines);
}

TEST(FindLog, AFolderWithOtherNames) {
  MemoryFiles files;
  files.Put("/logs/a.txt", kNcsaLine);
  LogPlace place;
  ASSERT_TRUE(FindLog(files, "/logs/", std::nullopt, place).ok());
  EXPECT_EQ(place.mask, "*.txt");
  files.clock_ns = 2;
  files.Put("/logs/access_log", kNcsaLine);
  ASSERT_TRUE(FindLog(files, "/logs/", std::nullopt, place).ok());
  EXPECT_EQ(place.mask, "*");
}

TEST(FindLog, NamesFileAndFirstLineOfWhatItDoesNotKnow) {
  MemoryFiles files;
  files.Put("/logs/a.log", "\nDear \x1b[31m" + std::string(200, 'x') + "\n");
  LogPlace place;
  const Status status = FindLog(files, "/logs/a.log", std::nullopt, place);
  EXPECT_EQ(status.fail, Fail::kRefused);
  EXPECT_NE(status.text.find("/logs/a.log"), std::string::npos);
  EXPECT_NE(status.text.find("Dear ?[31mxxx"), std::string::npos);
  EXPECT_EQ(status.text.find(std::string(80, 'x')), std::string::npos);
  EXPECT_EQ(status.text.find('\x1b'), std::string::npos);
}

TEST(FindLog, ATypeCanBeForced) {
  MemoryFiles files;
  files.Put("/logs/a.log", "");
  LogPlace place;
  const Status empty = FindLog(files, "/logs/a.log", std::nullopt, place);
  EXPECT_EQ(empty.fail, Fail::kRefused);
  EXPECT_NE(empty.text.find("Ask the web server for a page first, or name the type with --type N"), std::string::npos);
  ASSERT_TRUE(FindLog(files, "/logs/a.log", LogType::kW3C, place).ok());
  EXPECT_EQ(place.type, LogType::kW3C);
  EXPECT_FALSE(place.recognised);
  files.Put("/logs/a.log", kNcsaLine);
  ASSERT_TRUE(FindLog(files, "/logs/a.log", LogType::kISA, place).ok());
  EXPECT_EQ(place.type, LogType::kISA);
  EXPECT_TRUE(place.unix_lines);
}

TEST(FindLog, FailsForWhatCanNotBeRead) {
  MemoryFiles files;
  LogPlace place;
  EXPECT_EQ(FindLog(files, "/none", std::nullopt, place).fail, Fail::kRefused);  // Here an empty folder.
  EXPECT_EQ(FindLog(files, "relative.log", LogType::kNCSA, place).fail, Fail::kRefused);
  EXPECT_EQ(FindLog(files, "/logs/a\n.log", LogType::kNCSA, place).fail, Fail::kRefused);
  files.Put("/logs/a.log", kNcsaLine);
  files.fails = [](const std::string& call) { return call.rfind("readat", 0) == 0; };
  EXPECT_EQ(FindLog(files, "/logs/a.log", std::nullopt, place).fail, Fail::kIo);
}

TEST(MaskForName, FitsThatNameAlone) {
  for (const std::string_view name : {"access.log", "a*b?.log", "log#1", "[x].log", "weird [1] name"}) {
    EXPECT_TRUE(FitsFileMask(name, MaskForName(name))) << name;
    EXPECT_FALSE(FitsFileMask(std::string(name) + "x", MaskForName(name))) << name;
  }
  EXPECT_FALSE(FitsFileMask("log21", MaskForName("log#1")));
  EXPECT_FALSE(FitsFileMask("x.log", MaskForName("[x].log")));
}

}  // namespace
}  // namespace vantry
