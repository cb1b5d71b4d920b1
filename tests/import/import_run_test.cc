#include "import/import_run.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/site_file.h"
#include "import/config_tree.h"
#include "import/find_sites.h"
#include "import/judge.h"
#include "platform/posix_files.h"
#include "support/memory_files.h"
#include "support/memory_tree.h"
#include "support/temp_folder.h"

namespace vantry {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const std::string kData = VANTRY_TEST_DATA "/import/";
const std::string kLine = "192.0.2.1 - - [10/Oct/2026:13:55:36 +0000] \"GET /index.html HTTP/1.0\" 200 2326\n";

TEST(FindSites, OnDebiansNginx) {
  const FoundSites found = FindSites(DiskTree(kData + "nginx-debian"));
  ASSERT_EQ(found.sites.size(), 1u);
  EXPECT_THAT(found.problems, IsEmpty());
  EXPECT_EQ(found.sites[0].server, "nginx");
  EXPECT_EQ(found.sites[0].domain, "localhost");
  EXPECT_EQ(found.sites[0].log, "/var/log/nginx/access.log");
  EXPECT_EQ(found.sites[0].problem, "");
}

TEST(FindSites, OnDebiansApache) {
  const FoundSites found = FindSites(DiskTree(kData + "apache-debian"));
  ASSERT_EQ(found.sites.size(), 1u);
  EXPECT_THAT(found.problems, IsEmpty());
  EXPECT_EQ(found.sites[0].server, "Apache");
  EXPECT_EQ(found.sites[0].log, "/var/log/apache2/access.log");
  EXPECT_EQ(found.sites[0].where, "/etc/apache2/sites-enabled/000-default.conf:21");
  PosixFiles files;
  const JudgedSite judged = Judge(DiskTree(kData + "apache-debian"), files, found.sites[0], false);
  EXPECT_TRUE(judged.readable) << judged.why;
  EXPECT_EQ(judged.place.folder, kData + "apache-debian/var/log/apache2/");
}

TEST(FindSites, GivesSharedLogsADomainOfTheirOwn) {
  MemoryTree tree;
  tree.files["/etc/hostname"] = "box\n";
  tree.files["/etc/nginx/nginx.conf"] = R"(http {
    server { server_name a.example; }
    server { server_name b.example; }
    server { server_name a.example; access_log /logs/a.log; }
    server { access_log /logs/box.log; }
  })";
  const FoundSites found = FindSites(tree);
  ASSERT_EQ(found.sites.size(), 3u);
  EXPECT_EQ(found.sites[0].domain, "b.example");
  EXPECT_THAT(found.sites[0].others, ElementsAre("a.example"));
  EXPECT_EQ(found.sites[1].domain, "a.example");
  EXPECT_EQ(found.sites[2].domain, "box");
}

class JudgeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // A log is not a folder.
    files_.fails = [](const std::string& call) { return call == "list /logs/a.log/"; };
  }
  JudgedSite Ask(FoundSite site) { return Judge(tree_, files_, std::move(site), true); }
  FoundSite Combined() {
    FoundSite site{.server = "nginx", .domain = "a.example"};
    site.log = "/logs/a.log";
    site.sample = "192.0.2.7 - - [05/Mar/2026:12:34:56 +0000] \"GET /sample/page.html HTTP/1.1\" 200 2326";
    return site;
  }
  MemoryTree tree_;
  MemoryFiles files_;
};

TEST_F(JudgeTest, TheFormatDecidesAsLongAsThereAreNoLines) {
  for (const bool empty : {false, true}) {
    if (empty) files_.Put("/logs/a.log", "");
    const JudgedSite site = Ask(Combined());
    EXPECT_TRUE(site.readable);
    EXPECT_EQ(site.place.folder + site.place.mask, "/logs/a.log");
    EXPECT_TRUE(site.place.type == LogType::kNCSA && site.place.unix_lines);
    EXPECT_THAT(site.found.notes, ElementsAre(HasSubstr("no referrers"), "the log has no lines yet"));
  }
  FoundSite json = Combined();
  json.sample = "{}";
  EXPECT_EQ(Ask(json).why, "the log is JSON");
}

TEST_F(JudgeTest, LinesWinOverTheFormat) {
  files_.Put("/logs/a.log", kLine);
  FoundSite json = Combined();
  json.sample = "{}";
  const JudgedSite read = Ask(json);
  EXPECT_TRUE(read.readable);
  EXPECT_THAT(read.found.notes,
              ElementsAre("its first lines are NCSA Common/Combined, although by the configuration the log is JSON"));
  files_.Put("/logs/a.log", "{\"ip\":\"192.0.2.1\"}\n");
  const JudgedSite not_read = Ask(Combined());
  EXPECT_FALSE(not_read.readable);
  EXPECT_THAT(not_read.why, HasSubstr("/logs/a.log is no log of a known type"));
  EXPECT_THAT(not_read.why, Not(HasSubstr("--type")));
  EXPECT_THAT(not_read.found.notes, ElementsAre("by the configuration it could be read"));
}

TEST_F(JudgeTest, ALogThatMayNotBeReadIsTakenByItsFormat) {
  files_.Put("/logs/a.log", kLine);
  files_.entries["/logs/a.log"]->readable = false;
  const JudgedSite site = Ask(Combined());
  EXPECT_TRUE(site.readable);
  EXPECT_THAT(site.found.notes.back(), HasSubstr("Permission denied"));
}

TEST_F(JudgeTest, KnowsWhatIsThere) {
  std::vector<JudgedSite> sites{Ask(Combined()), Ask(Combined()), Ask(Combined())};
  sites[1].found.domain = "b.example";
  sites[1].place.mask = "b.log";
  sites[2].found.domain = "C.example";
  sites[2].place.mask = "c.log";
  std::vector<SiteRec> known(2);
  known[0].Name = "Reads";
  known[0].Folder = "/logs/";
  known[0].Mask = "a.log";
  known[1].Name = "Other";
  known[1].Domain = "c.EXAMPLE";
  FindThoseThere(known, sites);
  EXPECT_EQ(sites[0].there, "Reads");
  EXPECT_TRUE(sites[0].same_log);
  EXPECT_EQ(sites[1].there, "");
  EXPECT_EQ(sites[2].there, "Other");
  EXPECT_FALSE(sites[2].same_log);
}

TEST(ReadChoice, NumbersAndRanges) {
  const struct {
    const char* answer;
    bool ok;
    std::vector<size_t> numbers;
  } kCases[] = {{"1", true, {1}},  {"3, 1  2", true, {1, 2, 3}}, {"2-4 3", true, {2, 3, 4}},   {"0", false, {}},
                {"6", false, {}},  {"4-2", false, {}},           {"1-99999999999", false, {}}, {"x", false, {}},
                {" , ", false, {}}};
  for (const auto& row : kCases) {
    std::vector<size_t> numbers;
    EXPECT_EQ(ReadChoice(row.answer, 5, numbers), row.ok) << row.answer;
    if (row.ok) {
      EXPECT_EQ(numbers, row.numbers) << row.answer;
    }
  }
}

class RunTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Write("etc/nginx/nginx.conf", R"(http {
  log_format json '{"ip":"$remote_addr"}';
  server { server_name a.example; access_log /logs/a.log; }
  server { server_name b.example; access_log /logs/b.log; }
  server { server_name c.example; access_log /logs/c.log json; }
}
)");
    Write("logs/a.log", kLine);
  }
  void Write(const std::string& name, const std::string& text) {
    const fs::path path = fs::path(folder_.path) / "root" / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  int Run(std::vector<std::string> words, const std::string& answers = "", bool can_ask = false) {
    words.insert(words.end(), {"--root", folder_.path + "root", "--home", home_});
    std::istringstream in(answers);
    out_.str("");
    err_.str("");
    return RunImport({files_, in, out_, err_, can_ask, 0, "1.2.3"}, words);
  }
  std::vector<std::string> Sites() {
    LiveTables tables;
    EXPECT_TRUE(ReadINI(files_, home_ + "/", Regional{}, tables).ok());
    std::vector<std::string> sites;
    for (const SiteRec& site : tables.Sites) sites.push_back(site.Name + " " + site.Mask);
    return sites;
  }

  TempFolder folder_;
  const std::string home_ = folder_.path + "home";
  PosixFiles files_;
  std::ostringstream out_, err_;
};

TEST_F(RunTest, AddsAllThatCanBeRead) {
  EXPECT_EQ(Run({"--all"}), 0) << err_.str();
  EXPECT_THAT(Sites(), ElementsAre("a.example a.log", "b.example b.log"));
  EXPECT_THAT(out_.str(), HasSubstr("Can't be read: the log is JSON."));
  EXPECT_THAT(out_.str(), HasSubstr("Added a.example (a.example): " + folder_.path + "root/logs/a.log\n"));
  EXPECT_TRUE(fs::exists(home_ + "/registry.ini"));
  EXPECT_EQ(Run({"--all"}), 0);
  EXPECT_THAT(out_.str(), HasSubstr("Nothing to add."));
  EXPECT_THAT(out_.str(), HasSubstr("Site 'a.example' reads this log."));
  EXPECT_EQ(Sites().size(), 2u);
}

TEST_F(RunTest, TellsOfNoSiteThatCouldNotBeWritten) {
  fs::create_directories(home_ + "/VANTRY.INI.new");  // In the way of the new file.
  EXPECT_EQ(Run({"--all"}), 1);
  EXPECT_THAT(err_.str(), HasSubstr("VANTRY.INI"));
  EXPECT_THAT(out_.str(), Not(HasSubstr("Added")));
  EXPECT_THAT(Sites(), IsEmpty());
}

TEST_F(RunTest, AsksAtATerminal) {
  EXPECT_EQ(Run({}, "9\nwhat\n2\n", true), 0) << err_.str();
  EXPECT_THAT(Sites(), ElementsAre("b.example b.log"));
  EXPECT_EQ(Run({}, "\n", true), 0);
  EXPECT_EQ(Run({}, "", true), 0);
  EXPECT_EQ(Sites().size(), 1u);
  EXPECT_EQ(Run({}, "all\n", true), 0);
  EXPECT_EQ(Sites().size(), 2u);
  EXPECT_EQ(Run({}, "3\n", true), 1);
  EXPECT_THAT(err_.str(), HasSubstr("c.example can't be read: the log is JSON."));
  EXPECT_EQ(Run({}, "1\n", true), 0);
  EXPECT_THAT(out_.str(), HasSubstr("a.example is there already, as 'a.example'."));
}

TEST_F(RunTest, WithoutATerminalItSaysSo) {
  EXPECT_EQ(Run({}), 1);
  EXPECT_THAT(err_.str(), HasSubstr("Use --all."));
  EXPECT_THAT(out_.str(), HasSubstr("a.example"));
  EXPECT_FALSE(fs::exists(home_));
}

TEST_F(RunTest, ADryRunChangesNothing) {
  EXPECT_EQ(Run({"--dry-run"}), 0);
  EXPECT_THAT(out_.str(), HasSubstr("access_log /var/log/nginx/c.example.access.log combined;"));
  EXPECT_FALSE(fs::exists(home_));
}

TEST_F(RunTest, TheSecondLogOfADomainIsLeft) {
  Write("etc/nginx/nginx.conf",
        R"(http { server { server_name a.example; access_log /logs/a.log; access_log /logs/b.log; } })");
  EXPECT_EQ(Run({"--all"}), 0) << err_.str();
  EXPECT_THAT(Sites(), ElementsAre("a.example a.log"));
  EXPECT_THAT(out_.str(), HasSubstr("Left /logs/b.log: another log of a.example was added."));
}

TEST_F(RunTest, ABracketInADomainDoesNotReachTheName) {
  Write("etc/nginx/nginx.conf", "http { server { server_name [::1]; access_log /logs/a.log; } }");
  EXPECT_EQ(Run({"--all"}), 0) << err_.str();
  EXPECT_THAT(Sites(), ElementsAre("::1 a.log"));
}

TEST_F(RunTest, WrongUseAndHelp) {
  EXPECT_EQ(Run({"--nonsense"}), 2);
  EXPECT_EQ(Run({"--all", "--dry-run"}), 2);
  EXPECT_EQ(Run({"--all=x"}), 2);
  EXPECT_EQ(Run({"--home="}), 2);
  EXPECT_EQ(Run({"--help"}), 0);
  EXPECT_THAT(out_.str(), HasSubstr("Usage: vantry-import"));
  EXPECT_EQ(Run({"--version"}), 0);
  EXPECT_EQ(out_.str(), "vantry-import 1.2.3\n");
}

TEST(DiskTree, LinksStayBelowTheRoot) {
  const TempFolder folder;
  const fs::path root = fs::path(folder.path) / "root";
  fs::create_directories(root / "a");
  std::ofstream(root / "a/file") << "inside";
  std::ofstream(fs::path(folder.path) / "secret") << "outside";
  fs::create_symlink("/a/file", root / "full");
  fs::create_symlink("../../../../../../../../../secret", root / "out");
  fs::create_symlink("loop", root / "loop");
  fs::create_directory_symlink("/a", root / "b");
  const DiskTree tree(root.string());
  std::string bytes;
  EXPECT_TRUE(tree.Read("/full", 100, bytes).ok());
  EXPECT_EQ(bytes, "inside");
  EXPECT_TRUE(tree.Read("/b/../a/./file", 6, bytes).ok());
  EXPECT_EQ(tree.Read("/a/file", 5, bytes).fail, Fail::kRefused);
  EXPECT_EQ(tree.Read("/out", 100, bytes).fail, Fail::kNotFound);
  EXPECT_FALSE(tree.Read("/loop", 100, bytes).ok());
  EXPECT_FALSE(tree.Read("/a", 100, bytes).ok());
  EXPECT_TRUE(tree.IsFolder("/b"));
  EXPECT_THAT(tree.Names("/b"), ElementsAre("file"));
  EXPECT_THAT(tree.Names("/nothing"), IsEmpty());
  EXPECT_EQ(DiskTree("/").PathHere("/a/b"), "/a/b");
}

TEST(PathsOf, FitsWildcardsInEveryPart) {
  MemoryTree tree;
  for (const char* path : {"/a/x1/f.conf", "/a/x2/f.conf", "/a/y/f.conf", "/a/x1/.g.conf"}) tree.files[path] = "";
  EXPECT_THAT(PathsOf(tree, "/a/x*/*.conf", 10), ElementsAre("/a/x1/f.conf", "/a/x2/f.conf"));
  EXPECT_THAT(PathsOf(tree, "/a/[!x]/f.conf", 10), ElementsAre("/a/y/f.conf"));
  EXPECT_THAT(PathsOf(tree, "/a/z/f.conf", 10), ElementsAre("/a/z/f.conf"));
  EXPECT_THAT(PathsOf(tree, "/a/*/f.conf", 2), ElementsAre("/a/x1/f.conf", "/a/x2/f.conf"));
  EXPECT_EQ(PathFrom("/a/b", "../c/./d"), "/a/c/d");
  EXPECT_EQ(PathFrom("/a", "/../../x"), "/x");
  EXPECT_EQ(PathFrom("/", ""), "/");
}

}  // namespace
}  // namespace vantry
