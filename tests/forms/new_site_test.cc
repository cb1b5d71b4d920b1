// What the wizard for a new site asks and makes of the answers.
#include "forms/new_site.h"

#include <gtest/gtest.h>

#include "support/memory_files.h"

namespace vantry {
namespace {

struct NewSiteTest : ::testing::Test {
  MemoryFiles files;
  LiveTables t;
  SiteRec draft = NewSiteDraft();

  NewSiteTest() {
    SiteRec& site = t.Sites.emplace_back();
    site.Name = "One";
    site.Domain = "www.one.example";
    site.Folder = "/logs/one/";
    draft.Name = "Two";
    draft.Domain = "www.two.example/";
    draft.Folder = "/logs/two";
    files.fails = [](const std::string& call) { return call == "list /nowhere/"; };
  }
  std::string Check() {
    const auto problem = CheckNewSite(draft, t);
    return problem ? std::string(problem->control) + ": " + problem->text : "";
  }
};

TEST_F(NewSiteTest, EachTypeHasItsMask) {
  std::string masks;
  for (const NewSiteType& type : kNewSiteTypes) masks += std::string(type.mask) + " ";
  EXPECT_EQ(masks, "ex*.log in*.log access_log W3*.log pfirewall.log web*.log ");
}

TEST_F(NewSiteTest, AFolderHasToExistAndShouldHoldLogs) {
  std::string warning;
  draft.Mask = "access*";
  draft.Folder = "";
  EXPECT_EQ(CheckNewFolder(draft, false, files, warning)->text, "You must specify a log file location.");
  draft.Folder = "/nowhere";
  EXPECT_EQ(CheckNewFolder(draft, false, files, warning)->text, "Log file folder does not exist.");
  draft.Folder = "/logs/two";
  EXPECT_FALSE(CheckNewFolder(draft, false, files, warning));
  EXPECT_EQ(warning,
            "WARNING:\r\nThere does not appear to be any files with a access* mask in this folder. Use the Site "
            "Properties to edit the mask used for your log files.");
  EXPECT_FALSE(CheckNewFolder(draft, true, files, warning));
  EXPECT_EQ(warning, "") << "one was seen a moment ago";
  files.Put("/logs/two/ACCESS.log", "");
  EXPECT_FALSE(CheckNewFolder(draft, false, files, warning));
  EXPECT_EQ(warning, "");
}

TEST_F(NewSiteTest, TellsWhatIsWrongInOrder) {
  EXPECT_EQ(Check(), "");
  draft.Domain = "www.one.example/";
  EXPECT_EQ(Check(), "txtDomain: This Domain is already being monitored. The Domain name must be unique.");
  for (const LogType type : {LogType::kProxy, LogType::kFirewall, LogType::kISA}) {
    draft.Type = type;
    EXPECT_EQ(Check(), "txtDomain: The Domain Name must be unique. Specify a different domain name EG: office.proxy");
  }
  draft.Folder = "/logs/one";
  EXPECT_EQ(Check(), "txtLoc: This log file folder is already being monitored on: (One)");
  draft.FTP = true;
  EXPECT_NE(Check(), "txtLoc: This log file folder is already being monitored on: (One)");
  draft.Name = " One ";
  EXPECT_EQ(Check(), "txtName: The Site Name must be unique.");
  draft.Domain = "www two";
  EXPECT_EQ(Check(), "txtDomain: The domain name cannot contain spaces.");
}

TEST_F(NewSiteTest, ANameIsNeededThatTheFileCanKeep) {
  draft.Name = " ";
  EXPECT_EQ(Check(), "txtName: You must specify a name.");
  draft.Name = "a]b";
  EXPECT_EQ(Check(), "txtName: The site file can't keep this name. Leave out square brackets and line ends.");
}

TEST_F(NewSiteTest, WhatTheFileCanNotKeepIsRefused) {
  draft.FTP = true;
  draft.FTPDomain = "ftp.two.example";
  const SiteRec good = draft;
  for (const auto& field : kNewSiteFields) {
    const bool text = field.look.kind == FieldKind::kText || field.look.kind == FieldKind::kPassword;
    if (!text || field.look.control == "txtLoc") continue;  // That of local access.
    draft = good;
    field.set(draft, std::string("www.x\r\nPaused=False"));
    const auto problem = CheckNewSite(draft, t);
    ASSERT_TRUE(problem) << field.look.control;
    EXPECT_EQ(problem->control, field.look.control);
  }
  draft = good;
  draft.FTPPassword = "secret ";
  EXPECT_EQ(Check(),
            "txtFTPPw: The site file can't keep this text. Leave out line ends, and blanks at its beginning and end.");
  draft = good;
  draft.FTPPath = " /a=b;c/ ";
  EXPECT_EQ(Check(), "");
  EXPECT_EQ(t.Site(AddNewSite(draft, WallTime{1'000}, t)).FTPPath, "/a=b;c/");
}

TEST_F(NewSiteTest, AFolderWithBlanksAroundItIsTheFolder) {
  draft.Folder = " /logs/one ";
  EXPECT_EQ(Check(), "txtLoc: This log file folder is already being monitored on: (One)");
}

TEST_F(NewSiteTest, ALocalSiteStandsPausedWithAnAlertForAll) {
  draft.Type = LogType::kNCSA;
  draft.Mask = "access_log";
  draft.WebAccess = true;
  ASSERT_EQ(AddNewSite(draft, WallTime{1'000}, t), 2);
  const SiteRec& site = t.Site(2);
  EXPECT_EQ(site.Folder, "/logs/two/");
  EXPECT_EQ(site.Domain, "www.two.example");
  EXPECT_EQ(site.HomePage, "index.htm;default.htm");
  EXPECT_EQ(site.Frequency, 5);
  EXPECT_TRUE(site.Unix && site.Paused && site.ForceLookup && site.WebAccess && site.WebReferrers);
  EXPECT_FALSE(site.CaughtUp);
  EXPECT_EQ(site.LastScanTime.s, 1'000);
  ASSERT_EQ(t.Alerts.size(), 1u);
  EXPECT_EQ(t.Alerts[0].Site, 2);
  EXPECT_EQ(t.Alerts[0].AlertNo, 1);
  EXPECT_EQ(t.Alerts[0].Name, "Default (All Visitors)");
  EXPECT_TRUE(t.Alerts[0].EngineAll && t.Alerts[0].Enabled);
  EXPECT_EQ(t.Alerts[0].Color, 0);
  EXPECT_EQ(site.AlertDefinitions, 1);
}

TEST_F(NewSiteTest, ARemoteSiteIsReadEachMinute) {
  draft.FTP = true;
  draft.FTPDomain = "ftp.two.example";
  draft.FTPPassive = true;
  const SiteRec& site = t.Site(AddNewSite(draft, WallTime{1'000}, t));
  EXPECT_EQ(site.Frequency, 60);
  EXPECT_EQ(site.Folder, "");
  EXPECT_EQ(site.FTPDomain, "ftp.two.example");
  EXPECT_TRUE(site.FTPPassive);
  EXPECT_FALSE(site.Unix);
}

}  // namespace
}  // namespace vantry
