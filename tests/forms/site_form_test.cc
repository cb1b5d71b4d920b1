// What can be edited of a site, and what keeps an edit from being stored.
#include "forms/site_form.h"

#include <cstdint>
#include <set>

#include <gtest/gtest.h>

#include "support/form_rig.h"

namespace vantry {
namespace {

struct SiteFormTest : ::testing::Test, FormRig {
  SiteRec draft = t.Site(1);

  std::string Check(bool renaming = true) {
    TidySite(draft);
    const auto problem = CheckSite(draft, 1, t, files, renaming);
    return problem ? std::string(problem->control) + ": " + problem->text : "";
  }
};

TEST_F(SiteFormTest, EveryControlHasAnotherNameAndGivesItsFieldBack) {
  std::set<std::string_view> names;
  for (const auto& field : kSiteFields) {
    if (!field.get) continue;
    EXPECT_TRUE(names.insert(field.look.control).second) << field.look.control;
    SiteRec site;
    FieldValue value = field.get(site);
    if (auto* text = std::get_if<std::string>(&value)) *text = "a text";
    if (auto* on = std::get_if<bool>(&value)) *on = true;
    if (auto* number = std::get_if<int32_t>(&value)) *number = 2;
    field.set(site, value);
    EXPECT_EQ(field.get(site), value) << field.look.control;
  }
  EXPECT_EQ(names.size(), 34u);
}

TEST_F(SiteFormTest, WhatStandsInTheTablesMayBeStored) {
  EXPECT_EQ(Check(false), "");
}

TEST_F(SiteFormTest, TellsWhatIsWrongInOrder) {
  struct Case {
    std::function<void(SiteRec&)> spoil;
    std::string told;
  };
  // Each is told before those that were spoilt before it.
  const Case cases[] = {
      {[](SiteRec& s) { s.Domain = "www.Two.example"; },
       "txtDomain: This Domain is already being monitored. The Domain name must be unique."},
      {[](SiteRec& s) { s.Touch = true, s.TouchEvery = 1; }, "txtTouchMins: The minimum touch interval is 2 minutes."},
      {[](SiteRec& s) { s.Domain = "www one.example"; }, "txtDomain: The domain name cannot contain spaces."},
      {[](SiteRec& s) { s.Domain = " "; }, "txtDomain: You must specify a domain name."},
      {[](SiteRec& s) { s.Name = "  "; }, "txtName: You must specify a name."},
      {[](SiteRec& s) { s.Folder = "/nowhere/"; }, "txtLog: Log file folder does not exist."},
      {[](SiteRec& s) { s.Folder = ""; }, "txtLog: You must specify a log file location."},
      {[](SiteRec& s) { s.FTP = true; }, "txtFTPDomain: You must specify an FTP Domain."},
  };
  for (const Case& c : cases) {
    c.spoil(draft);
    EXPECT_EQ(Check(), c.told);
  }
}

TEST_F(SiteFormTest, AnotherNameIsAskedFor) {
  draft.Name = "Three";
  TidySite(draft);
  const auto problem = CheckSite(draft, 1, t, files, false);
  ASSERT_TRUE(problem);
  EXPECT_TRUE(problem->asks);
  EXPECT_EQ(problem->text,
            "Are you sure you want to change the Site Name? Existing entries in the Vantry database refer to the old "
            "site name.");
  EXPECT_EQ(Check(true), "");
  draft.Name = "Two";
  EXPECT_EQ(Check(true), "txtName: The Site Name must be unique.");
}

TEST_F(SiteFormTest, ADeletedSiteTakesNoNameAndNoDomain) {
  t.Site(2).Deleted = true;
  draft.Name = "Two";
  draft.Domain = "www.Two.example";
  EXPECT_EQ(Check(true), "");
}

TEST_F(SiteFormTest, ADomainLosesOneSlash) {
  draft.Domain = " www.one.example// ";
  EXPECT_EQ(Check(), "");
  EXPECT_EQ(draft.Domain, "www.one.example/");
}

TEST_F(SiteFormTest, ATouchIntervalOfTwoIsLongEnoughAndAnyWithoutTouching) {
  draft.Touch = true;
  draft.TouchEvery = 2;
  EXPECT_EQ(Check(), "");
  draft.Touch = false;
  draft.TouchEvery = 0;
  EXPECT_EQ(Check(), "");
}

TEST_F(SiteFormTest, WhatTheFileCanNotKeepIsRefused) {
  draft.Name = "One]\r\nMask=x";
  EXPECT_EQ(Check(), "txtName: The site file can't keep this name. Leave out square brackets and line ends.");
  draft = t.Site(1);
  draft.HomePage = "index.htm\nFTP=True";
  EXPECT_EQ(Check(), "txtHomePage: The site file can't keep this text. Leave out line ends.");
  draft = t.Site(1);
  draft.HomePage = "a=b;c d.htm;\"x\"";
  draft.Name = "Shop = 1; 2";
  EXPECT_EQ(Check(), "");
}

TEST_F(SiteFormTest, BlanksAroundATextGoAndAreToldInAPassword) {
  draft.HomePage = "  index.htm ";
  draft.FTPPath = " /logs";
  EXPECT_EQ(Check(), "");
  EXPECT_EQ(draft.HomePage + "|" + draft.FTPPath, "index.htm|/logs");
  draft.WebPassword = " secret";
  EXPECT_EQ(
      Check(),
      "txtWebPass: The site file can't keep this text. Leave out line ends, and blanks at its beginning and end.");
}

TEST_F(SiteFormTest, EveryTextThatTheFileWouldReadOtherwiseIsRefused) {
  for (const auto& field : kSiteFields) {
    if (field.look.kind != FieldKind::kText && field.look.kind != FieldKind::kPassword) continue;
    for (const char* text : {"a\nMask=b", "a\rb", "a\r\n[Other]\r\n"}) {
      draft = t.Site(1);
      field.set(draft, std::string(text));
      EXPECT_NE(Check(), "") << field.look.control;
    }
    for (const char* text : {"a;b", "a=b", "[a]", "a]b[", "a b", "#a", "\"a\""}) {
      draft = t.Site(1);
      field.set(draft, std::string(text));
      if (field.look.control == "txtLog" || (field.look.control == "txtDomain" && std::string(text) == "a b")) continue;
      EXPECT_EQ(Check(), "") << field.look.control << " " << text;
    }
  }
  draft = t.Site(1);
  draft.Exclude = "10.*;1\n2";
  EXPECT_EQ(Check(), "gridExclude: The site file can't keep these addresses. Leave out line ends.");
}

TEST_F(SiteFormTest, LargeNumbersAreKept) {
  for (const int32_t number : {32'767, 32'768, INT32_MAX}) {
    draft.TouchEvery = number;
    EXPECT_EQ(Check(), "");
  }
}

TEST_F(SiteFormTest, AnotherSourceStartsTheSiteAnew) {
  const std::function<void(SiteRec&)> changes[] = {
      [](SiteRec& s) { s.Mask = "other.log"; },   [](SiteRec& s) { s.Folder = "/logs/old/"; },
      [](SiteRec& s) { s.Type = LogType::kISA; }, [](SiteRec& s) { s.SelectMethod = FileChoice::kAlphabetic; },
      [](SiteRec& s) { s.FTPDomain = "ftp"; },    [](SiteRec& s) { s.FTPPath = "/x"; }};
  for (const auto& change : changes) {
    SiteRec& site = t.Site(1);
    site.LastReadPos = 500;
    site.CaughtUp = site.FieldsKnown = true;
    site.ForceLookup = false;
    site.TodayVisitors = site.TodayDownloads = 7;
    draft = site;
    change(draft);
    StoreSite(draft, site);
    EXPECT_EQ(site.LastReadPos, 0);
    EXPECT_EQ(site.TodayVisitors + site.TodayDownloads, 0);
    EXPECT_TRUE(site.ForceLookup);
    EXPECT_FALSE(site.CaughtUp || site.FieldsKnown);
  }
}

TEST_F(SiteFormTest, AnotherPeriodKeepsThePlace) {
  SiteRec& site = t.Site(1);
  site.LastReadPos = 500;
  site.TodayVisitors = 7;
  draft = site;
  draft.Frequency = 60;
  draft.Exclude = "10.*";
  StoreSite(draft, site);
  EXPECT_EQ(site.LastReadPos, 500);
  EXPECT_EQ(site.TodayVisitors, 7);
  EXPECT_EQ(site.Frequency, 60);
  EXPECT_EQ(site.Exclude, "10.*");
}

TEST(ExcludeListTest, IsTakenApartAndPutTogether) {
  EXPECT_EQ(ExcludedAddresses(";10.0.0.1; ;192.*;"), (std::vector<std::string>{"10.0.0.1", "192.*"}));
  EXPECT_EQ(ExcludeList(std::vector<std::string>{" 10.0.0.1", "", "192.*"}), "10.0.0.1;192.*");
  EXPECT_EQ(ExcludeList({}), "");
}

}  // namespace
}  // namespace vantry
