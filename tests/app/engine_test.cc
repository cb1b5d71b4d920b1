// Start, run and close of the whole engine on fakes.
#include "app/engine.h"

#include <deque>

#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace vantry {
namespace {

TEST_F(EngineTest, FirstRunMakesItsFoldersAndStore) {
  ASSERT_TRUE(Start());
  EXPECT_TRUE(files.folders.contains("/home/Data/"));
  EXPECT_TRUE(files.folders.contains("/home/Data/Temp/"));
  EXPECT_TRUE(Contains(files.Get("/home/registry.ini"), "DDFPath=/home/Data/"));
  EXPECT_EQ(files.Get("/home/Data/TRL.LOG"),
            "Vantry 2.0.000 Program Log - \r\nProgram started - 3/5/2026 12:00:00 PM\r\n");
  EXPECT_EQ(engine->Tables().SiteCount(), 0);
  EXPECT_EQ(engine->GetSettings().WebAccessPort, 9000);
  EXPECT_EQ(engine->Caption(), "Vantry 2.0.000");
}

TEST_F(EngineTest, FirstScansAreTwoSecondsApartAndPausedSitesTakeNoPlace) {
  Sites(20);
  Log("11:59:00", "10.0.0.1");
  ASSERT_TRUE(Start());
  LiveTables& t = engine->Tables();
  for (int16_t n = 1; n <= 20; ++n) {
    EXPECT_EQ(t.Site(n).LastScanTime.s + t.Site(n).Frequency, clock.Now().s + 2 * n);
    EXPECT_EQ(t.Site(n).TouchCheckTime.s, clock.Now().s + 60 * n);
    EXPECT_TRUE(t.Site(n).ForceLookup);
  }
  for (int16_t n = 1; n <= 5; ++n) {
    Run(2);
    EXPECT_EQ(t.Site(n).ScanCount, 0) << "exactly on the limit";
    for (int16_t earlier = 1; earlier < n; ++earlier) EXPECT_EQ(t.Site(earlier).ScanCount, 1);
  }
  Sites(2, "Paused=True\r\n");
  ASSERT_TRUE(Start());
  EXPECT_EQ(engine->Tables().Site(2).LastScanTime.s + 10, clock.Now().s);
}

TEST_F(EngineTest, GrowingLogRestartAndTheSameListAgain) {
  Sites(1);
  Log("11:59:00", "10.0.0.1");
  Log("11:59:01", "10.0.0.2");
  ASSERT_TRUE(Start());
  Run(4);
  EXPECT_EQ(engine->Tables().Visitors.Count(), 2);
  Log("12:00:05", "10.0.0.3");
  Run(14);
  const std::string before = GetVisitorsList(engine->Web().Pages(), 1, "");
  EXPECT_EQ(engine->Tables().Visitors.Count(), 3);
  engine->Closing();
  EXPECT_TRUE(loop.quit);
  EXPECT_TRUE(Contains(files.Get("/home/VANTRY.INI"), "LastLogFile=/logs/access.log"));
  ASSERT_TRUE(Start());
  EXPECT_EQ(engine->Tables().Visitors.Count(), 0);
  Run(6);
  EXPECT_EQ(GetVisitorsList(engine->Web().Pages(), 1, ""), before);
}

TEST_F(EngineTest, EachTickFeedsTheActivityOfTheLastHour) {
  clock.utc_offset = 3600;
  Sites(1);
  Log("11:59:00", "10.0.0.1");
  ASSERT_TRUE(Start());
  Run(30);
  const ActivityRing& activity = engine->Tables().Activity;
  EXPECT_EQ(activity.HourOf(1).back(), (ActivityMinute{.visitors = 1}));
  Log("12:00:30", "10.0.0.2");
  Log("12:00:31", "10.0.0.3");
  Run(20);
  EXPECT_EQ(activity.HourOf(1).back(), (ActivityMinute{.visitors = 3, .page_views = 2}));
  EXPECT_EQ(activity.HourOf(0), activity.HourOf(1));
  clock.utc_offset = 7200;  // Summer time.
  clock.now.s += 3600;
  Run(10);
  EXPECT_EQ(activity.HourOf(1).back().page_views, 0);
  EXPECT_EQ(activity.HourOf(1)[ActivityRing::kMinutes - 2].page_views, 2);
}

TEST_F(EngineTest, ClosingSavesEverythingOnce) {
  Sites(1);
  ASSERT_TRUE(Start());
  engine->Tables().CurrentViewType = 3;
  engine->Tables().ShowTraceView = false;
  listener.open = true;
  listener.events.connected(1);
  engine->Closing();
  engine->Closing();
  EXPECT_FALSE(listener.open);
  EXPECT_FALSE(engine->Monitoring());
  const std::string registry = files.Get("/home/registry.ini");
  for (const char* line : {"ServiceRunning=False", "CurrentViewType=3", "CurrentLogFile=1", "ShowTraceView=False"}) {
    EXPECT_TRUE(Contains(registry, line)) << line;
  }
  const std::string log = files.Get("/home/Data/TRL.LOG");
  EXPECT_TRUE(Contains(log, "End of session------------------------------------------------------------\r\n\r\n"));
  EXPECT_EQ(log.find("End of session"), log.rfind("End of session"));
}

TEST_F(EngineTest, ServiceGuardAsksForACommandLine) {
  files.Put("/home/registry.ini", "[Settings]\nServiceRunning=True\n");
  EXPECT_FALSE(Start("ANYTHING"));
  EXPECT_EQ(notices.boxes,
            std::vector<std::string>{"Vantry is currently running as a service.  Stop the service before "
                                     "running Vantry as an application."});
  EXPECT_TRUE(Start("")) << "with no command line it starts";
}

TEST_F(EngineTest, SecondInstanceShowsNothingButTheServiceGuardComesFirst) {
  Sites(1);
  files.Put("/home/SETTINGS.INI", "ReverseDNS=Maybe\r\n\r\n");
  const auto taken = [] { return false; };
  EXPECT_FALSE(Start("", taken));
  EXPECT_TRUE(notices.boxes.empty() && notices.told.empty());
  EXPECT_EQ(files.Get("/home/Data/TRL.LOG"), "<none>");
  EXPECT_FALSE(engine->Monitoring());
  files.Put("/home/registry.ini", "[Settings]\nServiceRunning=True\n");
  EXPECT_FALSE(Start("X", taken));
  EXPECT_EQ(notices.boxes.size(), 1u);
}

TEST_F(EngineTest, OddSitesStartScanAndClose) {
  files.Put("/home/VANTRY.INI",
            "[Odd]\r\nType=99\r\nSelectMethod=7\r\nFolder=/logs\r\nMask=access.log\r\nFrequency=2147483647\r\n"
            "LastLogFile=/logs/access.log\r\nLastReadPos=-9223372036854775808\r\nLastReadPosDay=9223372036854775807\r\n"
            "SleepMode=True\r\nSleepStart=23:59:59\r\n[Neg]\r\nFrequency=-2147483648\r\nFolder=/logs/\r\nType=2\r\n"
            "Mask=access.log\r\nLastLogFile=/logs/access.log\r\nLastReadPos=9223372036854775807\r\n\r\n");
  Log("11:59:00", "10.0.0.1");
  ASSERT_TRUE(Start());
  for (SiteRec& site : engine->Tables().Sites) site.LastScanTime = {};
  Run(20);
  engine->Closing();
  EXPECT_TRUE(loop.quit);
}

TEST_F(EngineTest, SettingsReplaceTheDataFolderAsItStands) {
  files.Put("/home/SETTINGS.INI", "DDFPath=/else/where\r\n\r\n");
  ASSERT_TRUE(Start());
  EXPECT_NE(files.Get("/else/whereTRL.LOG"), "<none>") << "no separator is added";
}

TEST_F(EngineTest, OneDataFolderHoldsEverythingWithItsCorrection) {
  files.Put("/home/registry.ini", "[Corrections]\nOneDataFolder=True\n\n[Settings]\nDDFPath=/old/\n\n");
  files.Put("/home/SETTINGS.INI", "DDFPath=/else/where\r\nWebAccessPort= 9000\r\n\r\n");
  files.Put("/else/where/robots.dat", "10.0.0.1 LinkLooker/1\r\n");
  files.Put("/else/where/Countries.txt", "NO,Norway\n");
  ASSERT_TRUE(Start());
  EXPECT_TRUE(notices.told.empty());
  EXPECT_EQ(engine->GetSettings().DDFPath, "/else/where/");
  EXPECT_TRUE(files.folders.contains("/else/where/Temp/"));
  EXPECT_FALSE(files.folders.contains("/old/"));
  EXPECT_EQ(engine->Tables().UnknownAgents.size(), 1U);
  EXPECT_EQ(engine->Tables().Countries.size(), 1U);
  EXPECT_NE(files.Get("/else/where/TRL.LOG"), "<none>");
  engine->Tables().UnknownAgents.push_back({"10.0.0.2", "Other/1"});
  engine->Tables().UnknownAgentsDirty = true;
  engine->Closing();
  EXPECT_EQ(files.Get("/else/where/robots.dat"), "10.0.0.1 LinkLooker/1\r\n10.0.0.2 Other/1\r\n");

  // A folder that the settings do not name is the registry's, as ever.
  files.Put("/home/SETTINGS.INI", "DDFPath=\r\nWebAccessPort= 9000\r\n\r\n");
  ASSERT_TRUE(Start());
  EXPECT_EQ(engine->GetSettings().DDFPath, "/old/");
  EXPECT_TRUE(files.folders.contains("/old/Temp/"));
}

TEST_F(EngineTest, ClassicRobotsCacheIsReadBeforeTheSettings) {
  files.Put("/home/SETTINGS.INI", "DDFPath=/else/\r\nWebAccessPort= 9000\r\n\r\n");
  files.Put("/else/robots.dat", "10.0.0.1 LinkLooker/1\r\n");
  ASSERT_TRUE(Start());
  EXPECT_TRUE(engine->Tables().UnknownAgents.empty());
  EXPECT_EQ(engine->GetSettings().DDFPath, "/else/");
}

TEST_F(EngineTest, TodaysNamesComeWithTheProgramAndTheOperatorsListsGoBefore) {
  const auto switched = [&](bool on) {
    files.Put("/home/registry.ini", std::string("[Corrections]\nTodaysNames=") + (on ? "True" : "False") + "\n\n");
    ASSERT_TRUE(Start());
  };
  files.Put("/share/Search engines.txt", "Bing,.bing.com,q\n");
  switched(false);
  EXPECT_TRUE(notices.told.empty());
  EXPECT_EQ(engine->GetSettings().SearchEngines.size(), 26U);
  // Whatever is missing is named, and the program goes on as before.
  switched(true);
  ASSERT_EQ(notices.told.size(), 1U);
  EXPECT_EQ(
      notices.told[0],
      "TodaysNames is on, but Browsers.txt is missing; looked for in /home/Data/ and /share/. Browsers and spiders "
      "are told by the classic rules instead.");
  EXPECT_FALSE(engine->Tables().Corrected.TodaysNames);
  patterns.problem = "this program was built without RE2";
  switched(true);
  EXPECT_TRUE(Contains(notices.told.back(), "TodaysNames is on, but this program was built without RE2."));
  patterns.problem.clear();

  notices.told.clear();
  files.Put("/share/Browsers.txt", "[browser]\nb\t(B)/(\\d+)\tBrowser\n");
  files.Put("/share/Spiders.txt", "[spider]\nb\tBot\tTheBot\tsearch\n");
  files.Put("/home/Data/Spiders.txt", "[spider]\nb\t\\bB\\b\tOwn\tfeed\n");
  Sites(1);
  Log("11:59:00", "10.0.0.1");
  switched(true);
  EXPECT_TRUE(notices.told.empty());
  ASSERT_EQ(engine->GetSettings().SearchEngines.size(), 1U);
  Run(10);
  VisitorRec* v = engine->Tables().Visitors.Lookup(1, "10.0.0.1");
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(v->SpiderName, "Own (feed)");
  files.Put("/home/Data/Search engines.txt", "A,a\nB,b\n");
  switched(true);
  EXPECT_EQ(engine->GetSettings().SearchEngines.size(), 2U);
}

TEST_F(EngineTest, ProblemsInFilesAreToldWithTheirLine) {
  files.Put("/home/SETTINGS.INI", "ReverseDNS=Maybe\r\n\r\n");
  files.Put("/home/VANTRY.INI", "[A]\r\nUnix=x\r\n\r\n");
  ASSERT_TRUE(Start());
  ASSERT_EQ(notices.told.size(), 2u);
  EXPECT_TRUE(StartsWith(notices.told[0], "/home/SETTINGS.INI line 1: 'Maybe' is neither True nor False"));
  EXPECT_TRUE(StartsWith(notices.told[1], "/home/VANTRY.INI line 2: 'x' is neither True nor False"));
  EXPECT_EQ(engine->Tables().SiteCount(), 1);
  engine->Closing();
  EXPECT_EQ(files.Get("/home/VANTRY.INI.unread"), "[A]\r\nUnix=x\r\n\r\n") << "nothing behind the bad line is lost";
}

TEST_F(EngineTest, WhatCouldNotBeReadIsLeftAsItIs) {
  const std::string sites = "[A]\r\nDomain=a.example\r\n\r\n", learnt = "10.0.0.1 LinkLooker/1\r\n";
  files.Put("/home/VANTRY.INI", sites);
  files.Put("/home/Data/robots.dat", learnt);
  for (const char* path : {"/home/VANTRY.INI", "/home/Data/robots.dat"}) files.entries[path]->readable = false;
  ASSERT_TRUE(Start());
  EXPECT_EQ(engine->Tables().SiteCount(), 0);
  ASSERT_EQ(notices.told.size(), 2u);
  EXPECT_TRUE(StartsWith(notices.told[0], "/home/Data/robots.dat: Permission denied. It is left as it is"));
  EXPECT_TRUE(StartsWith(notices.told[1], "No site is watched: /home/VANTRY.INI: Permission denied."));
  engine->Tables().UnknownAgentsDirty = true;
  engine->Closing();
  EXPECT_EQ(files.Get("/home/VANTRY.INI"), sites);
  EXPECT_EQ(files.Get("/home/Data/robots.dat"), learnt);
  EXPECT_TRUE(
      Contains(files.Get("/home/Data/TRL.LOG"), "could not be read (/home/VANTRY.INI: Permission denied) From"));
}

TEST_F(EngineTest, ASiteFileThatEndsInTheMiddleOfASiteIsToldAndKept) {
  Sites(2);
  const std::string whole = files.Get("/home/VANTRY.INI"), cut = whole.substr(0, whole.size() - 12);
  files.Put("/home/VANTRY.INI", cut);
  ASSERT_TRUE(Start());
  ASSERT_EQ(notices.told.size(), 1u);
  EXPECT_TRUE(Contains(notices.told[0],
                       "VANTRY.INI line 15: the file does not end with an empty line, so its last "
                       "line (Domain) was not read"))
      << notices.told[0];
  EXPECT_TRUE(Contains(notices.told[0], "kept as /home/VANTRY.INI.unread"));
  engine->Closing();
  EXPECT_EQ(files.Get("/home/VANTRY.INI.unread"), cut);

  // Another damage later does not push the first copy out.
  files.Put("/home/VANTRY.INI", "[B]\r\nUnix=x\r\n\r\n");
  ASSERT_TRUE(Start());
  engine->Closing();
  EXPECT_EQ(files.Get("/home/VANTRY.INI.unread"), cut);
  EXPECT_EQ(files.Get("/home/VANTRY.INI.unread2"), "[B]\r\nUnix=x\r\n\r\n");
}

TEST_F(EngineTest, ASiteFileThatCannotBeCopiedIsNotReplaced) {
  const std::string bad = "[A]\r\nUnix=x\r\n\r\n";
  files.Put("/home/VANTRY.INI", bad);
  files.fails = [](const std::string& call) { return StartsWith(call, "replace /home/VANTRY.INI.unread"); };
  ASSERT_TRUE(Start());
  ASSERT_EQ(notices.told.size(), 1u);
  EXPECT_TRUE(Contains(notices.told[0], "It can't be copied"));
  files.fails = nullptr;
  engine->Closing();
  EXPECT_EQ(files.Get("/home/VANTRY.INI"), bad);
}

TEST_F(EngineTest, ALastLineThatIsNotReadAndAnEmptyAdministratorAreTold) {
  files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nWebAccessControl=True\r\nWebPassword=secret");
  ASSERT_TRUE(Start());
  ASSERT_EQ(notices.told.size(), 2u);
  EXPECT_EQ(notices.told[0],
            "/home/SETTINGS.INI line 3: the file does not end with an empty line, so its last line (WebPassword) was "
            "not read. Add an empty line.");
  EXPECT_TRUE(StartsWith(notices.told[1], "SETTINGS.INI: WebAccessControl is on and WebUsername is empty"));
  EXPECT_EQ(engine->GetSettings().WebPassword, "");
}

TEST_F(EngineTest, ADamagedRegistryClosesItsDoorsAndStaysSo) {
  files.Put("/home/registry.ini", "[Security]\nBindAddress=127.0.0.1\nControlFrom127.0.0.1\n");
  for (int start = 1; start <= 2; ++start) {
    notices.told.clear();
    ASSERT_TRUE(Start());
    EXPECT_EQ(engine->Doors(), "May look: this machine alone, without a login. May steer: nobody.");
    ASSERT_EQ(notices.told.size(), 1u) << "start " << start;
    EXPECT_TRUE(Contains(notices.told[0], "the line 'ControlFrom127.0.0.1' can't be read"));
    engine->Closing();
  }
}

TEST_F(EngineTest, SitesThatTheTablesCantTellApartAreTold) {
  files.Put("/home/VANTRY.INI",
            "[A name of 20 letters]\r\n[A name of 20 letters, too]\r\n[A name of 20 Letters]\r\n[Short]\r\n[Short ]\r\n"
            "[A name of 20 letters!]\r\n[A name of 20 lette]\r\n\r\n");
  ASSERT_TRUE(Start());
  ASSERT_EQ(notices.told.size(), 2u);
  EXPECT_EQ(
      notices.told[0],
      "The sites \"A name of 20 letters\", \"A name of 20 letters, too\" and \"A name of 20 letters!\" share their "
      "history, as its tables keep only the first 20 characters of a site's name. Rename them in VANTRY.INI to tell "
      "them apart.");
  EXPECT_TRUE(StartsWith(notices.told[1], "The sites \"Short\" and \"Short \" share")) << notices.told[1];
}

TEST_F(EngineTest, TakenPortIsToldAndTheScanGoesOn) {
  Sites(1);
  Log("11:59:00", "10.0.0.1");
  listener.answer = Status::Error(Fail::kRefused, "port 9000: is taken by another program");
  ASSERT_TRUE(Start());
  ASSERT_EQ(notices.told.size(), 1u);
  EXPECT_TRUE(Contains(notices.told[0], "port 9000: is taken by another program"));
  Run(4);
  EXPECT_EQ(engine->Tables().Visitors.Count(), 1);
}

TEST_F(EngineTest, FullDiskAtTheEndKeepsTheOldSiteFile) {
  Sites(1);
  const std::string before = files.Get("/home/VANTRY.INI");
  ASSERT_TRUE(Start());
  files.fails = [](const std::string& call) { return StartsWith(call, "replace "); };
  engine->Closing();
  EXPECT_EQ(files.Get("/home/VANTRY.INI"), before);
  EXPECT_TRUE(Contains(files.Get("/home/Data/TRL.LOG"), "No space left on device From Engine.WriteINI"));
  ASSERT_EQ(notices.told.size(), 1u);
  EXPECT_TRUE(Contains(notices.told[0], "/home/VANTRY.INI"));
  EXPECT_TRUE(loop.quit);
}

TEST_F(EngineTest, TheConsoleHearsWhatTheProgramLogDoesNotTake) {
  Sites(1);
  ASSERT_TRUE(Start());
  files.fails = [](const std::string& call) { return StartsWith(call, "append /home/Data/TRL.LOG"); };
  engine->Closing();
  ASSERT_EQ(notices.told.size(), 1u) << "an empty line is not worth it";
  EXPECT_TRUE(StartsWith(notices.told[0], "End of session---"));
  EXPECT_TRUE(Contains(notices.told[0], "- (/home/Data/TRL.LOG: No space left on device)")) << notices.told[0];
}

TEST_F(EngineTest, EveryFailureOfTheDiskAtStartLeavesARunningProgram) {
  Sites(1);
  for (int broken = 0; broken < 25; ++broken) {
    int calls = 0;
    files.fails = [&](const std::string&) { return calls++ == broken; };
    EXPECT_TRUE(Start()) << broken;
    EXPECT_TRUE(engine->Monitoring()) << broken;
    files.fails = nullptr;
    Sites(1);
  }
}

TEST_F(EngineTest, NamesComeOnTheSideUntilTheProgramCloses) {
  Sites(1);
  Log("11:59:00", "10.0.0.1");
  Log("11:59:01", "10.0.0.2");
  ASSERT_TRUE(Start());
  Run(4);
  ASSERT_EQ(resolver->started, (std::vector<std::string>{"10.0.0.1", "10.0.0.2"}));
  EXPECT_TRUE(Contains(GetVisitorsList(engine->Web().Pages(), 1, ""), "\t10.0.0.1\t"));
  ASSERT_TRUE(resolver->AnswerNext([](const std::string&) { return "one.example"; }));
  EXPECT_TRUE(Contains(GetVisitorsList(engine->Web().Pages(), 1, ""), "\tone.example\t"));
  engine->Closing();
  EXPECT_EQ(resolver->Pending(), 0) << "no answer finds a closed database";
  EXPECT_EQ(resolver->Start("10.0.0.3"), 0);
}

TEST_F(EngineTest, LearntAgentsAreSavedAndKnownAgain) {
  Sites(1);
  files.Put("/logs/access.log",
            "10.0.0.1 - - [05/Mar/2026:11:59:00 +0000] \"GET /robots.txt HTTP/1.0\" 200 5 \"-\" \"LinkLooker/1\"\n");
  ASSERT_TRUE(Start());
  Run(4);
  engine->Closing();
  EXPECT_EQ(files.Get("/home/Data/robots.dat"), "10.0.0.1 LinkLooker/1\r\n");
  ASSERT_TRUE(Start());
  EXPECT_EQ(engine->Tables().UnknownAgents.size(), 1u);
}

TEST_F(EngineTest, TheBusHearsOfVisitorsUntilTheEnd) {
  Sites(1);
  Log("11:59:00", "10.0.0.1");
  ASSERT_TRUE(Start());
  ASSERT_NE(bus.calls, nullptr);
  EXPECT_EQ(engine->Tables().InterfaceCount, 0);
  bus.LetIn();
  EXPECT_EQ(engine->Tables().InterfaceCount, 1);
  (void)engine->Web().Pages();
  EXPECT_EQ(engine->Tables().InterfaceCount, 1) << "it is the one of the web access";
  Run(4);
  EXPECT_TRUE(bus.events.empty()) << "a first scan tells of nobody";
  Log("12:00:02", "10.0.0.2");
  Run(12);
  EXPECT_EQ(bus.events,
            std::vector<std::string>{"arrived|www.d1.example|10.0.0.2|2026-03-05T12:00:02|a.htm|B||-|no alert"});
  const auto& operations = bus.calls->Operations();
  const auto count = std::ranges::find(operations, std::string_view("LogFileCurrentVisitors"), &BusOperation::name);
  BusValues visitors;
  ASSERT_TRUE(bus.calls->Call(static_cast<size_t>(count - operations.begin()), {1}, visitors).ok());
  EXPECT_EQ(visitors, BusValues{2});
  bus.calls->BusNote("The bus is well.");
  EXPECT_TRUE(Contains(files.Get("/home/Data/TRL.LOG"), " The bus is well.\r\n"));
  EXPECT_EQ(bus.closed, 0);
  engine->Closing();
  EXPECT_EQ(bus.calls, nullptr);
}

TEST_F(EngineTest, TenEnginesLiveSideBySide) {
  Sites(1);
  Log("11:59:00", "10.0.0.1");
  std::vector<std::unique_ptr<FakeLoop>> loops;
  std::deque<FakeResolver> resolvers(10);
  std::deque<RecordingBus> buses(10);
  std::deque<MemoryDataFiles> disks(10);
  std::deque<MemoryIndex> indexes;
  std::vector<std::unique_ptr<Engine>> engines;
  for (size_t i = 0; i < 10; ++i) {
    loops.push_back(std::make_unique<FakeLoop>());
    indexes.emplace_back(disks[i]);
    engines.push_back(
        std::make_unique<Engine>(EnginePorts{clock,        *loops[i], files,   disks[i], indexes[i], listener, notices,
                                             resolvers[i], mail,      gateway, programs, buses[i],   random,   patterns,
                                             watch,        ftp,       http,    sql,      ping,       route,    who_is},
                                 EngineOptions{"/home/", "", Regional{}, "", {}}));
    ASSERT_TRUE(engines.back()->Main());
  }
  clock.Advance(4);
  for (int i = 0; i < 5; ++i) loops[static_cast<size_t>(i)]->Tick(ScanCycle::kTimer1Ms);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(engines[static_cast<size_t>(i)]->Tables().Visitors.Count(), i < 5 ? 1 : 0);
  }
}

TEST_F(EngineTest, AnEmptySiteIsMeasuredFromTheStart) {
  Sites(1);
  files.Put("/logs/access.log", "");
  ASSERT_TRUE(Start());
  Run(60 * 60 - 2);
  EXPECT_EQ(engine->Tables().TotalExceptionCount, 0);
  Run(130);
  EXPECT_EQ(engine->Tables().TotalExceptionCount, 1);
  for (const ExceptionRow& row : engine->Tables().exGrid) EXPECT_EQ(row.details, "No visitors for 60 minutes");
}

}  // namespace
}  // namespace vantry
