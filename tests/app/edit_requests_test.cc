// Changes that vantryctl asks a running engine for.
#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace vantry {
namespace {

struct EditRequests : EngineTest {
  static constexpr char kClassic[] = "[Corrections]\nKeepEdits=False\n\n",
                        kKept[] = "[Corrections]\nKeepEdits=True\n\n";
  const std::string token = "0123456789abcdef0123456789abcdef";
  const std::string path = "/home/vantry-edit-" + token;

  void Begin(const char* registry = kClassic) {
    files.Put("/home/registry.ini", registry);
    Sites(2);
    files.folders.insert("/logs/");
    ASSERT_TRUE(Start());
  }
  // What a console reads.
  std::string Say(const std::string& line) {
    listener.open = true;
    listener.events.connected(1);
    listener.sent.clear();
    listener.events.data(1, line + "\r\n");
    return listener.sent;
  }
  std::string Ask(const EditRequest& request) {
    files.Put(path, FormatRequest(request));
    return Say("@EDIT " + token);
  }
  std::string SitesFile() const { return files.Get("/home/VANTRY.INI"); }
};

TEST_F(EditRequests, ASiteIsChangedInTheTablesAndInTheFile) {
  for (const char* registry : {kClassic, kKept}) {
    Log("11:58:00", "10.0.0.1");
    Log("11:59:00", "10.0.0.1");
    Begin(registry);
    Run(20);
    engine->SaveSites();
    EXPECT_GT(engine->Tables().Site(1).LastReadPos, 0);
    EXPECT_EQ(Ask({EditVerb::kSetSite, "Site 1", "", false, {{"Mask", "a*.log"}}}),
              "OK Changed the site 'Site 1'. Its log is read from the beginning.\r\n");
    EXPECT_FALSE(files.Exists(path));
    EXPECT_EQ(engine->Tables().Site(1).LastReadPos, 0);
    EXPECT_TRUE(Contains(SitesFile(), "Mask=a*.log\r\n")) << SitesFile();
    EXPECT_TRUE(Contains(SitesFile(), "LastReadPos=0\r\n")) << SitesFile();
    EXPECT_TRUE(Contains(files.Get("/home/Data/TRL.LOG"), "vantryctl: Changed the site 'Site 1'."));
    engine->Closing();
    EXPECT_TRUE(Contains(SitesFile(), "Mask=a*.log\r\n")) << "the stop keeps it";
    EXPECT_TRUE(notices.told.empty());
  }
}

TEST_F(EditRequests, ARemovedSiteLeavesTheFileAtOnceAndTheStopKeepsIt) {
  for (const char* registry : {kClassic, kKept}) {
    Begin(registry);
    EXPECT_EQ(Ask({EditVerb::kRemoveSite, "Site 2", "", false, {}}),
              "OK Removed the site 'Site 2'. Its history stays.\r\n");
    EXPECT_FALSE(Contains(SitesFile(), "[Site 2]"));
    engine->Closing();
    EXPECT_FALSE(Contains(SitesFile(), "[Site 2]"));
    EXPECT_TRUE(Contains(SitesFile(), "[Site 1]"));
  }
}

TEST_F(EditRequests, SettingsAndThresholdsCountAtOnce) {
  for (const char* registry : {kClassic, kKept}) {
    files.entries.erase("/home/EXTYPES.INI");
    Begin(registry);
    EXPECT_EQ(Ask({EditVerb::kSet, "", "", false, {{"InactivityMins", "33"}, {"SQLServer", "True"}}}),
              "OK Changed the settings.\r\n");
    EXPECT_EQ(engine->GetSettings().InactivityMins, 33);
    EXPECT_TRUE(Contains(files.Get("/home/SETTINGS.INI"), "InactivityMins= 33\r\n"));
    EXPECT_FALSE(files.Exists("/home/EXTYPES.INI"));
    EXPECT_EQ(Ask({EditVerb::kSetException, "130", "", false, {{"Value", "77"}}}),
              "OK Changed the exception type 130: Single visitor on site for more than 77 minutes\r\n");
    EXPECT_EQ(engine->Tables().Site(2).ExValue130, 77);
    EXPECT_TRUE(Contains(files.Get("/home/EXTYPES.INI"), "Value=77\r\n"));
    EXPECT_EQ(Ask({EditVerb::kSet, "", "", false, {{"SQLServer", "False"}}}), "OK Changed the settings.\r\n");
    engine->Closing();
    EXPECT_TRUE(notices.told.empty());
    files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nWebAccessPort= 9000\r\n\r\n");
  }
}

TEST_F(EditRequests, WhatFailsACheckChangesNoByte) {
  Begin();
  engine->SaveSites();
  const std::string sites = SitesFile(), settings = files.Get("/home/SETTINGS.INI");
  EXPECT_EQ(Ask({EditVerb::kSetSite, "Site 1", "", false, {{"HomePage", "x"}, {"Domain", "a b"}}}),
            "ERROR Domain: The domain name cannot contain spaces.\r\n");
  EXPECT_EQ(Ask({EditVerb::kSet, "", "", false, {{"InactivityMins", "1"}}}),
            "ERROR InactivityMins: The Inactivity Minutes must be at least 2\r\n");
  EXPECT_EQ(SitesFile(), sites);
  EXPECT_EQ(files.Get("/home/SETTINGS.INI"), settings);
  EXPECT_FALSE(files.Exists(path)) << "it was answered";
}

TEST_F(EditRequests, OnlyAFileOfTheFolderIsTaken) {
  Begin();
  EXPECT_EQ(Say("@EDIT ../VANTRY.INI"), "ERROR That is not the name of a request\r\n");
  EXPECT_EQ(Say("@EDIT " + token), "ERROR " + path + ": not there\r\n");
  EXPECT_EQ(Say("@EDIT"), "");
  files.Put(path, "[Site 1]\r\n");
  EXPECT_EQ(Say("@EDIT " + token), "ERROR This Vantry does not know such a request\r\n");
  files.Put(path, std::string(2'000'000, 'x'));
  EXPECT_EQ(Say("@edit " + token), "ERROR " + path + " is too large\r\n");
  EXPECT_TRUE(files.Exists(path));
}

TEST_F(EditRequests, NothingIsDoneInTheMiddleOfAScan) {
  Begin();
  engine->Tables().ScanInProgress = true;
  const EditRequest request{EditVerb::kRemoveSite, "Site 2", "", false, {}};
  EXPECT_EQ(Ask(request), "BUSY A scan is under way\r\n");
  EXPECT_TRUE(files.Exists(path));
  EXPECT_FALSE(engine->Tables().Site(2).Deleted);
  engine->Tables().ScanInProgress = false;
  engine->Tables().Site(2).Fetching = true;
  EXPECT_EQ(Ask(request), "BUSY The site's log is being fetched\r\n");
  engine->Tables().Site(2).Fetching = false;
  EXPECT_TRUE(StartsWith(Say("@EDIT " + token), "OK "));
}

TEST_F(EditRequests, WhatCantBeWrittenDoesNotHold) {
  for (const char* registry : {kClassic, kKept}) {
    Begin(registry);
    engine->SaveSites();
    const std::string before = SitesFile();
    files.fails = [](const std::string& call) { return StartsWith(call, "replace /home/"); };
    EXPECT_EQ(Ask({EditVerb::kSetSite, "Site 1", "", false, {{"Domain", "www.new.example"}}}),
              "ERROR /home/VANTRY.INI: No space left on device\r\n");
    EXPECT_EQ(engine->Tables().Site(1).Domain, "www.d1.example");
    EXPECT_EQ(Ask({EditVerb::kSetAlert, "Site 1", "new", false, {}}),
              "ERROR /home/VANTRY.INI: No space left on device\r\n");
    EXPECT_TRUE(engine->Tables().Alerts.empty());
    EXPECT_EQ(engine->Tables().Site(1).AlertDefinitions, 0);
    EXPECT_EQ(Ask({EditVerb::kSet, "", "", false, {{"NoSpiders", "True"}}}),
              "ERROR /home/SETTINGS.INI: No space left on device\r\n");
    EXPECT_FALSE(engine->GetSettings().NoSpiders);
    files.fails = nullptr;
    EXPECT_EQ(SitesFile(), before);
    files.fails = [](const std::string& call) { return StartsWith(call, "remove /home/vantry-edit"); };
    EXPECT_EQ(Ask({EditVerb::kRemoveSite, "Site 1", "", false, {}}), "ERROR " + path + ": broken on command\r\n");
    EXPECT_FALSE(engine->Tables().Site(1).Deleted) << "it could be done twice";
    files.fails = nullptr;
  }
}

TEST_F(EditRequests, WhatSomebodyElseEditedIsNotOverwritten) {
  Begin();
  files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nInactivityMins= 44\r\nWebAccessPort= 9000\r\n\r\n");
  EXPECT_EQ(
      Ask({EditVerb::kSet, "", "", false, {{"NoSpiders", "True"}}}),
      "ERROR /home/SETTINGS.INI is not as Vantry holds it: it was edited, or options are not saved yet. Start Vantry "
      "anew, or save the options, and try again.\r\n");
  EXPECT_TRUE(StartsWith(Ask({EditVerb::kSetException, "130", "", false, {{"Value", "3"}}}), "OK ")) << "another file";
  Begin(kKept);
  files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nInactivityMins= 55\r\nWebAccessPort= 9000\r\n\r\n");
  files.Put("/home/VANTRY.INI", ReplaceAll(SitesFile(), "www.d2.example", "www.hand.example"));
  EXPECT_TRUE(StartsWith(Ask({EditVerb::kSet, "", "", false, {{"NoSpiders", "True"}}}), "OK "));
  EXPECT_EQ(engine->GetSettings().InactivityMins, 55) << "taken over on the way";
  EXPECT_TRUE(StartsWith(Ask({EditVerb::kSetSite, "Site 1", "", false, {{"HomePage", "h"}}}), "OK "));
  EXPECT_TRUE(Contains(SitesFile(), "Domain=www.hand.example"));
  files.Put("/home/VANTRY.INI", ReplaceAll(SitesFile(), "Unix=True", "Unix=x"));
  EXPECT_EQ(Ask({EditVerb::kSetSite, "Site 1", "", false, {{"HomePage", "i"}}}),
            "ERROR /home/VANTRY.INI holds a mistake. Put that right first.\r\n");
  EXPECT_EQ(engine->Tables().Site(1).HomePage, "h");
  files.Put("/home/SETTINGS.INI", "ReverseDNS=Maybe\r\n\r\n");
  EXPECT_EQ(Ask({EditVerb::kSet, "", "", false, {{"NoSpiders", "False"}}}),
            "ERROR /home/SETTINGS.INI line 1: 'Maybe' is neither True nor False. Put that right first.\r\n");
}

TEST_F(EditRequests, ASiteAsleepStaysSo) {
  Begin();
  SiteRec& site = engine->Tables().Site(2);
  site.Paused = site.Sleeping = true;
  EXPECT_TRUE(StartsWith(Ask({EditVerb::kSetSite, "Site 2", "", false, {{"HomePage", "h"}}}), "OK "));
  EXPECT_TRUE(site.Paused && site.Sleeping);
  EXPECT_TRUE(Contains(SitesFile(), "Paused=False"));
}

TEST_F(EditRequests, AControlLineThatMayNotBeSentIsNotAnswered) {
  Begin("[Security]\nControlFrom=10.0.0.1\n\n");
  EXPECT_EQ(Ask({EditVerb::kRemoveSite, "Site 2", "", false, {}}), "");
  EXPECT_FALSE(engine->Tables().Site(2).Deleted);
}

}  // namespace
}  // namespace vantry
