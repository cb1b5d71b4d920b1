// What the engine saves while it runs.
#include <random>

#include "support/engine_rig.h"

namespace vantry {
namespace {

constexpr char kTypes[] =
    "[Exception Types]\r\n"
    "[404]\r\nNumber=404\r\nDescription=[lastpage] is missing\r\nRaise=True\r\nEmail=True\r\n"
    "EmailAddress=admin@example\r\n\r\n"
    "[161]\r\nNumber=161\r\nValue=3\r\nDescription=More than [value]\r\nRaise=True\r\nEmail=True\r\n"
    "EmailAddress=admin@example\r\n\r\n"
    "[165]\r\nNumber=165\r\nDescription=Hacker\r\nRaise=True\r\nEmail=True\r\nEmailAddress=admin@example\r\n\r\n"
    "[133]\r\nNumber=133\r\nValue=2\r\nDescription=Often\r\nRaise=True\r\nEmail=True\r\nEmailAddress=admin@example\r\n"
    "\r\n\r\n";

struct QuietReplayTest : EngineTest {
  std::mt19937 random{1};
  int lines = 0;

  void SetUpFolder(const std::string& corrections) {
    files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nWebAccessPort= 9000\r\nEmailServer=mail.example\r\n\r\n");
    files.Put("/home/EXTYPES.INI", kTypes);
    files.Put("/home/registry.ini", corrections);
    Sites(1);
  }
  int Below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
  void Append(const std::string& line) {
    auto& entry = files.entries["/logs/access.log"];
    if (!entry) entry = std::make_shared<MemoryFiles::Entry>();
    entry->bytes += line;
  }
  // A line of now. Pages are never alike, so no two mails are.
  void AppendLine() {
    const std::string n = std::to_string(++lines);
    const int kind = Below(10);
    const char* const extension = kind == 0 ? ".zip" : kind == 1 ? ".exe" : kind == 2 ? "/../x.htm" : ".htm";
    const int status = kind < 5 && Below(3) > 0 ? 404 : 200;
    const WallTime at{clock.now.s - Below(2)};
    Append("10.0.0." + std::to_string(Below(12)) + " - - [05/Mar/2026:" + FormatTime(SecondOfDay(at)) +
           " +0000] \"GET /p" + n + extension + " HTTP/1.0\" " + std::to_string(status) + " 5 \"http://from" +
           std::to_string(Below(5)) + ".example/\" \"B\"\n");
  }
  // The program ends without a word.
  void Kill() {
    engine.reset();
    index.Close();
    data_files.EndProgram();
  }
};

TEST_F(QuietReplayTest, PositionsAreSavedWhileTheProgramRuns) {
  for (const bool corrected : {false, true}) {
    Kill();
    files.entries.clear();
    data_files.entries.clear();
    SetUpFolder(corrected ? "[Corrections]\r\nQuietReplay=True\r\nSaveEvery=30\r\n" : "");
    AppendLine();
    AppendLine();
    ASSERT_TRUE(Start());
    Run(20);
    loop.Tick(30'000);
    const bool saved = Contains(files.Get("/home/VANTRY.INI"), "LastLogFile=/logs/access.log");
    EXPECT_EQ(saved, corrected);
  }
}

TEST_F(QuietReplayTest, AnEditedSiteFileIsLeftAloneUntilTheStop) {
  SetUpFolder("[Corrections]\r\nQuietReplay=True\r\n");
  AppendLine();
  ASSERT_TRUE(Start());
  Run(20);
  loop.Tick(60'000);
  const std::string edited = files.Get("/home/VANTRY.INI") + "\r\n";
  files.Put("/home/VANTRY.INI", edited);
  AppendLine();
  Run(20);
  notices.told.clear();
  loop.Tick(60'000);
  loop.Tick(60'000);
  EXPECT_EQ(files.Get("/home/VANTRY.INI"), edited);
  ASSERT_EQ(notices.told.size(), 1u);
  EXPECT_TRUE(Contains(notices.told[0], "was edited"));
}

TEST_F(QuietReplayTest, SavingLetsSitesSleep) {
  SetUpFolder("[Corrections]\r\nQuietReplay=True\r\n");
  AppendLine();
  ASSERT_TRUE(Start());
  Run(20);
  SiteRec& site = engine->Tables().Site(1);
  site.Sleeping = site.Paused = true;
  loop.Tick(60'000);
  EXPECT_TRUE(site.Paused);
}

}  // namespace
}  // namespace vantry
