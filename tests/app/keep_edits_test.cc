// Edits of an operator's files while the engine runs.
#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace vantry {
namespace {

struct KeepEdits : EngineTest {
  static constexpr char kOn[] = "[Corrections]\nKeepEdits=True\n\n";
  void Begin(const char* registry = kOn) {
    files.Put("/home/registry.ini", registry);
    Sites(2);
    ASSERT_TRUE(Start());
    ASSERT_TRUE(notices.told.empty());
  }
  void Look() { loop.Tick(LiveEdits::kLookMs); }
  std::string SitesFile() const { return files.Get("/home/VANTRY.INI"); }
  void EditSites(std::string_view from, std::string_view to) {
    files.Put("/home/VANTRY.INI", ReplaceAll(SitesFile(), from, to));
  }
};

TEST_F(KeepEdits, EveryFileIsTakenOverAtTheSecondLook) {
  Begin();
  files.Put("/home/SETTINGS.INI", "InactivityMins= 33\r\nWebAccessPort= 9000\r\nExtension1=PHP5\r\n\r\n");
  files.Put("/home/EXTYPES.INI", "[130]\r\nNumber=130\r\nValue=77\r\nRaise=True\r\n\r\n");
  files.Put("/home/Data/Search engines.txt", "One,one.example\n");
  files.Put("/home/Data/Countries.txt", "NO,Norway\n");
  EditSites("www.d1.example", "www.edited.example");
  Look();
  EXPECT_EQ(engine->GetSettings().InactivityMins, 10);
  Look();
  const Settings& settings = engine->GetSettings();
  EXPECT_EQ(settings.InactivityMins, 33);
  EXPECT_EQ(settings.Extension, std::vector<std::string>{"php5"});
  EXPECT_EQ(settings.DDFPath, "/home/Data/");
  ASSERT_EQ(settings.ExceptionTypes.size(), 1U);
  EXPECT_EQ(settings.SearchEngines.size(), 1U);
  EXPECT_EQ(engine->Tables().Countries.size(), 1U);
  EXPECT_EQ(engine->Tables().Site(1).Domain, "www.edited.example");
  EXPECT_TRUE(notices.told.empty());
  EXPECT_TRUE(Contains(files.Get("/home/Data/TRL.LOG"), "Taken over: /home/SETTINGS.INI, /home/EXTYPES.INI, "));
}

TEST_F(KeepEdits, ThresholdsReachEverySite) {
  Begin();
  std::string types =
      "[130]\r\nNumber=130\r\nValue=77\r\n[131]\r\nNumber=131\r\nValue=1\r\n[133]\r\nNumber=133\r\n"
      "Value=2\r\n[134]\r\nNumber=134\r\nValue=3\r\n[161]\r\nNumber=161\r\nValue=4\r\n\r\n";
  files.Put("/home/EXTYPES.INI", types);
  EditSites("[Site 2]", "[Site 3]");
  engine->Reload();
  ASSERT_EQ(engine->Tables().SiteCount(), 3);
  EXPECT_EQ(engine->Tables().Site(1).ExValue130, 77);
  EXPECT_EQ(engine->Tables().Site(3).ExValue130, 77);
}

TEST_F(KeepEdits, MistakesAreToldOnceAndChangeNothing) {
  Begin();
  files.Put("/home/SETTINGS.INI", "InactivityMins= 33\r\nReverseDNS=Maybe\r\n\r\n");
  files.Put("/home/EXTYPES.INI", "[130]\r\nNumber=130\r\nRaise=Perhaps\r\n\r\n");
  EditSites("Unix=True", "Unix=x");
  for (int i = 0; i < 4; ++i) Look();
  ASSERT_EQ(notices.told.size(), 3U);
  EXPECT_EQ(
      notices.told[0],
      "/home/SETTINGS.INI line 2: 'Maybe' is neither True nor False. What was read before holds until this is put "
      "right.");
  EXPECT_TRUE(StartsWith(notices.told[1], "/home/EXTYPES.INI line 3: "));
  EXPECT_TRUE(StartsWith(notices.told[2], "/home/VANTRY.INI line 3: "));
  EXPECT_EQ(engine->GetSettings().InactivityMins, 10);
  EXPECT_GT(engine->GetSettings().ExceptionTypes.size(), 40U);
  EXPECT_TRUE(engine->Tables().Site(1).Unix);
  // A file that is being written looks empty or cut short.
  files.Put("/home/SETTINGS.INI", "");
  EXPECT_EQ(engine->Reload(), "not taken over: /home/SETTINGS.INI: it is empty");
  files.Put("/home/VANTRY.INI", "");
  EXPECT_EQ(engine->Reload(), "not taken over: /home/VANTRY.INI: it is empty");
  EXPECT_FALSE(engine->Tables().Site(1).Deleted);
  EXPECT_EQ(engine->Reload(), "nothing was edited");
}

TEST_F(KeepEdits, NothingIsOverwrittenUnread) {
  Log("11:58:00", "10.0.0.1");
  Log("11:59:00", "10.0.0.1");
  Begin();
  Run(20);
  EditSites("www.d1.example", "www.edited.example");
  files.Put("/home/VANTRY.INI", ReplaceAll(SitesFile(), "[Site 2]", "[Another]"));
  engine->Closing();
  EXPECT_TRUE(Contains(SitesFile(), "Domain=www.edited.example"));
  EXPECT_TRUE(Contains(SitesFile(), "[Another]"));
  EXPECT_FALSE(Contains(SitesFile(), "[Site 2]"));
  // Beside the edit stands the place that the program reached.
  const int64_t place = engine->Tables().Site(1).LastReadPos;
  EXPECT_GT(place, 0);
  EXPECT_TRUE(Contains(SitesFile(), "LastReadPos=" + std::to_string(place) + "\r\n"));
}

TEST_F(KeepEdits, ClassicStopOverwritesWhatWasEdited) {
  Begin("[Corrections]\nKeepEdits=False\n\n");
  EditSites("www.d1.example", "www.edited.example");
  Look();
  Look();
  EXPECT_EQ(engine->Reload(), "");
  engine->Closing();
  EXPECT_FALSE(Contains(SitesFile(), "edited"));
}

TEST_F(KeepEdits, MistakeAtTheStopIsKeptBesideTheFile) {
  Begin();
  EditSites("Unix=True", "Unix=x");
  const std::string edited = SitesFile();
  engine->Closing();
  EXPECT_EQ(files.Get("/home/VANTRY.INI.unread"), edited);
  EXPECT_TRUE(Contains(SitesFile(), "Unix=True"));
  EXPECT_TRUE(Contains(notices.told.back(), "kept as /home/VANTRY.INI.unread"));
}

TEST_F(KeepEdits, MistakeThatWasToldIsOverwrittenNeitherMeanwhileNorWithoutACopy) {
  Begin("[Corrections]\nKeepEdits=True\nQuietReplay=True\nSaveEvery=7\n\n");
  EditSites("Unix=True", "Unix=x");
  const std::string edited = SitesFile();
  Look();
  Look();
  ASSERT_EQ(notices.told.size(), 1U);
  engine->Tables().Site(1).Stored->LastReadPos = 77;
  loop.Tick(7'000);
  EXPECT_EQ(SitesFile(), edited) << "positions are saved when it is put right";
  EXPECT_EQ(notices.told.size(), 1U);
  engine->Closing();
  EXPECT_EQ(files.Get("/home/VANTRY.INI.unread"), edited);
  EXPECT_TRUE(Contains(SitesFile(), "Unix=True"));
}

TEST_F(KeepEdits, PositionsAreSavedBesideWhatWasEdited) {
  Begin("[Corrections]\nKeepEdits=True\nQuietReplay=True\nSaveEvery=7\n\n");
  EditSites("www.d1.example", "www.edited.example");
  engine->Tables().Site(1).LastReadPos = 77;
  loop.Tick(7'000);
  EXPECT_EQ(engine->Tables().Site(1).Domain, "www.edited.example");
  EXPECT_TRUE(Contains(SitesFile(), "Domain=www.edited.example"));
  EXPECT_TRUE(Contains(SitesFile(), "LastReadPos=77\r\n"));
  const size_t calls = files.calls.size();
  loop.Tick(7'000);
  EXPECT_EQ(std::count(files.calls.begin() + static_cast<long>(calls), files.calls.end(), "replace /home/VANTRY.INI"),
            0)
      << "nothing has changed";
}

TEST_F(KeepEdits, ScanIsNotDisturbed) {
  Begin();
  files.Put("/home/VANTRY.INI", SitesFile() + "[Late]\r\nFolder=/logs/\r\n\r\n");
  engine->Tables().ScanInProgress = true;
  EXPECT_EQ(engine->Reload(), "a scan is under way; edits are taken over after it");
  EXPECT_EQ(engine->Tables().SiteCount(), 2);
  // The end of the program may come inside a scan, whose references into the table must hold.
  const SiteRec* first = &engine->Tables().Site(1);
  engine->Closing();
  EXPECT_EQ(first, &engine->Tables().Site(1));
  EXPECT_EQ(engine->Tables().SiteCount(), 2);
  EXPECT_TRUE(Contains(SitesFile(), "[Late]"));
}

TEST_F(KeepEdits, NewSiteIsReadAtTheNextTick) {
  Log("11:59:00", "10.0.0.1");
  Begin();
  Run(20);
  files.Put("/home/VANTRY.INI", SitesFile() +
                                    "[Late]\r\nType=2\r\nUnix=True\r\nFolder=/logs/\r\nMask=access.log\r\n"
                                    "Frequency=10\r\nDomain=late.example\r\n\r\n");
  EXPECT_EQ(engine->Reload(), "taken over: /home/VANTRY.INI");
  Run(2);
  EXPECT_NE(engine->Tables().Visitors.Lookup(3, "10.0.0.1"), nullptr);
}

TEST_F(KeepEdits, HangUpReloadsAServiceAndEndsWhatLostItsTerminal) {
  Begin();
  files.Put("/home/SETTINGS.INI", "InactivityMins= 33\r\nWebAccessPort= 9001\r\nDDFPath=/else/\r\n\r\n");
  engine->HangUp();
  EXPECT_EQ(engine->GetSettings().InactivityMins, 33);
  EXPECT_EQ(engine->GetSettings().WebAccessPort, 9000);
  EXPECT_EQ(engine->GetSettings().DDFPath, "/home/Data/");
  EXPECT_EQ(notices.told, (std::vector<std::string>{"WebAccessPort was edited; it counts from the next start.",
                                                    "DDFPath was edited; it counts from the next start."}));
  EXPECT_FALSE(loop.quit);
  notices.told.clear();
  Begin("[Corrections]\nKeepEdits=False\n\n");
  engine->HangUp();
  EXPECT_TRUE(loop.quit);
}

}  // namespace
}  // namespace vantry
