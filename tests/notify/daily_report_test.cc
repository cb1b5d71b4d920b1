#include "notify/daily_report.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "core/view_summary.h"
#include "core/visitor_rows.h"
#include "support/mail_rig.h"

namespace vantry {
namespace {

const std::string kReportOfOne = "/home/One Daily Report.htm";

// Sites "One" and "Two" with a row each in every list of the day, named after their site. The window shows the visitors
// of site one, as the rollover leaves it before a report.
struct DailyReportTest : ::testing::Test {
  MailRig rig;
  LiveTables& t = rig.t;
  const std::string app_path = "/home/";
  DailyReport report{{rig.t, rig.settings, rig.regional, rig.log, rig.files, rig.queue, app_path,
                      [](int16_t place) { return place == 1 ? 404 : 0; }}};

  DailyReportTest() {
    for (int16_t site = 0; site <= 2; ++site) {
      const std::string text = "row of " + std::to_string(site);
      t.exGrid.Add({{{}, site}, 404, 1, text + ", 404"});
      t.exGrid.Add({{{}, site}, 130, 2, text + ", 130"});
      if (site == 0) continue;
      AddAlert(site, 1, text + ", alert 1");
      AddAlert(site, 2, text + ", alert 2");
      SpiderRow spider;
      spider.site = site;
      spider.engine = text + ", spider";
      t.spiderGrid.Add(spider);
    }
    t.Site(1).TodayAlerts = 3;
    Show(1);
  }
  void AddAlert(int16_t site, int16_t no, const std::string& page) {
    AlertRow row;
    row.site = site;
    row.alert_no = no;
    row.page = page;
    t.logGrid.Add(row);
  }
  void Show(int16_t view) {
    t.CurrentView = view;
    HideRowsOutsideView(t, [](int16_t place) { return place == 1 ? 404 : 0; });
  }
  // The recipients of all mails.
  std::vector<std::string> SentTo() {
    report.SendDailyReport(1);
    rig.mail.Turn();
    std::vector<std::string> to;
    for (const MailMessage& mail : rig.mail.sent) to.insert(to.end(), mail.recipients.begin(), mail.recipients.end());
    return to;
  }
  std::string Hidden() const {
    std::string flags;
    for (const AlertRow& row : t.logGrid) flags += row.hidden ? 'h' : '-';
    for (const ExceptionRow& row : t.exGrid) flags += row.hidden ? 'h' : '-';
    return flags;
  }
};

using To = std::vector<std::string>;

TEST_F(DailyReportTest, GoesToTheSitesAddressAndOtherwiseToTheGeneralOne) {
  struct Case {
    const char *site_address, *send_to;
    bool global_also;
    To to;
  };
  const Case cases[] = {{"", "", false, {}},
                        {"", "", true, {}},
                        {"", "all@example", false, {"all@example"}},
                        {"one@example", "", true, {"one@example"}},
                        {"one@example", "all@example", false, {"one@example"}},
                        {"one@example", "all@example", true, {"one@example", "all@example"}}};
  for (const Case& c : cases) {
    rig.mail.sent.clear();
    rig.files.entries.clear();
    t.Site(1).EmailAddress = c.site_address;
    t.Site(1).EmailGlobalAlso = c.global_also;
    rig.settings.EmailSendTo = c.send_to;
    EXPECT_EQ(SentTo(), c.to) << c.site_address << " " << c.send_to;
    EXPECT_TRUE(rig.files.Exists(kReportOfOne));
  }
  EXPECT_FALSE(Contains(rig.program_log, " From ")) << rig.program_log;
}

TEST_F(DailyReportTest, TheMailIsAnHtmlLineWithTheReportAttached) {
  rig.settings.EmailSendTo = "all@example";
  rig.settings.EmailSubject = "What happened";
  ASSERT_EQ(SentTo().size(), 1u);
  const MailMessage& mail = rig.mail.sent[0];
  EXPECT_EQ(mail.body, "Daily Report For Site:One");
  EXPECT_TRUE(mail.html);
  EXPECT_EQ(mail.attachment, kReportOfOne);
  EXPECT_NE(std::find(mail.headers.begin(), mail.headers.end(), "Subject: What happened"), mail.headers.end());
}

// The places of the texts, all of which must be there; -1 for one that is not.
std::vector<int64_t> PlacesOf(const std::string& text, const std::vector<std::string>& parts) {
  std::vector<int64_t> places;
  for (const std::string& part : parts) {
    const size_t at = text.find(part);
    places.push_back(at == std::string::npos ? -1 : static_cast<int64_t>(at));
  }
  return places;
}

TEST_F(DailyReportTest, HasAlertsSpidersAndExceptionsOfTheSiteInThisOrder) {
  rig.files.Put(kReportOfOne, "yesterday's");
  report.SendDailyReport(1);
  const std::string html = rig.files.Get(kReportOfOne);
  const auto places = PlacesOf(
      html, {"<HTML>", "<b>Alerts</b><br>\r\nOne [0 Alerts] Today:3</font>", "row of 1, alert 1", "row of 1, alert 2",
             "</HTML><p><font face=\"Arial\"><b>Spiders</b><br>\r\nOne [0 Spiders] Today:0</font>", "row of 1, spider",
             "<b>Exceptions</b><br>\r\nOne [0 Exceptions] Today:0</font>", "row of 0, 404", "row of 1, 404",
             "row of 1, 130"});
  EXPECT_EQ(places[0], 0);
  EXPECT_TRUE(std::is_sorted(places.begin(), places.end())) << html;
  EXPECT_EQ(places.front(), 0);
  EXPECT_GT(places[1], 0);
  EXPECT_TRUE(html.ends_with("</TABLE>\r\n\r\n\r\n</BODY>\r\n</HTML>"));
  EXPECT_FALSE(Contains(html, "row of 2"));
  EXPECT_FALSE(Contains(html, "<B>Site</B>")) << "one site alone: no column for it";
}

TEST_F(DailyReportTest, ShowsWhatTheSitesFiltersShow) {
  t.Site(1).AlertView = 2;
  t.Site(1).ExceptionView = 1;
  Show(1);
  report.SendDailyReport(1);
  const std::string html = rig.files.Get(kReportOfOne);
  EXPECT_FALSE(Contains(html, "row of 1, alert 1"));
  EXPECT_TRUE(Contains(html, "row of 1, alert 2"));
  EXPECT_TRUE(Contains(html, "row of 1, 404"));
  EXPECT_FALSE(Contains(html, "row of 1, 130"));
}

TEST_F(DailyReportTest, TheWindowShowsTheSameListAfterwards) {
  t.CurrentViewType = kViewVisitors;
  report.SendDailyReport(1);
  EXPECT_EQ(t.CurrentViewType, kViewVisitors);
  EXPECT_EQ(t.CurrentView, 1);
}

TEST_F(DailyReportTest, ANameThatIsNoFilesNameIsReportedAndNothingIsMailed) {
  rig.settings.EmailSendTo = "all@example";
  rig.files.Put("/home/a/b Daily Report.htm", "not ours");
  for (const std::string& name : {std::string("a/b"), std::string("../x"), std::string("a\0b", 3)}) {
    t.Site(1).Name = name;
    rig.program_log.clear();
    EXPECT_EQ(SentTo(), To{}) << name;
    EXPECT_TRUE(Contains(rig.program_log, "frmLog.SendDailyReport")) << rig.program_log;
    EXPECT_EQ(rig.files.entries.size(), 1u);
    EXPECT_EQ(rig.files.Get("/home/a/b Daily Report.htm"), "not ours");
  }
}

TEST_F(DailyReportTest, AFailureOfAnyWriteIsReportedOnceAndNothingIsMailed) {
  rig.settings.EmailSendTo = "all@example";
  for (int broken = 1;; ++broken) {
    int calls = 0;
    rig.files.fails = [&](const std::string& call) { return !StartsWith(call, "read ") && ++calls == broken; };
    rig.program_log.clear();
    t.CurrentViewType = kViewAlerts;
    const To sent = SentTo();
    EXPECT_EQ(t.CurrentViewType, kViewAlerts);
    if (calls < broken) {
      EXPECT_GT(broken, 6);  // Removed, and two writes for each of the three.
      EXPECT_EQ(sent.size(), 1u);
      return;
    }
    EXPECT_EQ(sent, To{});
    const std::string label = "frmLog.SendDailyReport";
    const size_t told = rig.program_log.find(label);
    ASSERT_NE(told, std::string::npos) << broken;
    EXPECT_EQ(rig.program_log.find(label, told + 1), std::string::npos);
  }
}

TEST_F(DailyReportTest, MarkupInASitesNameIsShown) {
  t.Site(1).Name = "A<b>&Co";
  report.SendDailyReport(1);
  EXPECT_TRUE(
      Contains(rig.files.Get("/home/A<b>&Co Daily Report.htm"), "\r\nA&lt;b&gt;&amp;Co [0 Alerts] Today:3</font>"));
}

TEST_F(DailyReportTest, AReportOnDemandIsMadeForAnySiteAndMailsNothing) {
  rig.settings.EmailSendTo = "all@example";
  t.CurrentViewType = kViewExceptions;
  for (const int16_t view : {0, 1, 2}) {
    Show(view);
    const std::string hidden = Hidden();
    std::string path;
    ASSERT_TRUE(report.MakeReport("Two", path).ok());
    EXPECT_EQ(path, "/home/Two Daily Report.htm");
    const std::string html = rig.files.Get(path);
    EXPECT_TRUE(Contains(html, "row of 2, alert 1") && Contains(html, "Two [0 Alerts] Today:0"));
    EXPECT_FALSE(Contains(html, "row of 1"));
    EXPECT_EQ(t.CurrentView, view);
    EXPECT_EQ(Hidden(), hidden);
  }
  EXPECT_EQ(t.CurrentViewType, kViewExceptions);
  rig.mail.Turn();
  EXPECT_TRUE(rig.mail.sent.empty());
}

TEST_F(DailyReportTest, EachMailOfSitesOfOneNameCarriesTheReportOfItsSite) {
  t.Site(2).Name = "One";
  t.Site(1).EmailAddress = "one@example";
  t.Site(2).EmailAddress = "two@example";
  report.SendDailyReport(1);
  Show(2);
  report.SendDailyReport(2);
  EXPECT_TRUE(Contains(rig.files.Get(kReportOfOne), "row of 2, alert 1"));
  rig.mail.Turn();
  ASSERT_EQ(rig.mail.sent.size(), 2u);
  EXPECT_TRUE(Contains(rig.mail.sent[0].attached.value_or(""), "row of 1, alert 1"));
  EXPECT_TRUE(Contains(rig.mail.sent[1].attached.value_or(""), "row of 2, alert 1"));
}

TEST_F(DailyReportTest, SitesAreFoundByNameInAnyFormThatPeopleType) {
  for (const char* name : {"gone", "one", "ONE ", "Caf\xE9", "ONE"}) t.Sites.emplace_back().Name = name;
  t.Site(3).Deleted = true;
  const std::pair<const char*, const char*> cases[] = {
      {"One", "One"},   {"one", "one"},         {"oNE", "One"}, {" two ", "Two"},
      {"ONE ", "ONE "}, {"Caf\xE9", "Caf\xE9"}, {"ONE", "ONE"}, {"caf\xC3\xA9", "Caf\xE9"}};
  for (const auto& [typed, name] : cases) {
    std::string path;
    EXPECT_TRUE(report.MakeReport(typed, path).ok()) << typed;
    EXPECT_EQ(path, std::string("/home/") + name + " Daily Report.htm") << typed;
  }
  for (const char* typed : {"gone", "", "Three", "One Two", "*"}) {
    std::string path;
    const Status status = report.MakeReport(typed, path);
    EXPECT_EQ(status.fail, Fail::kNotFound);
    EXPECT_EQ(status.text, std::string("There is no site '") + typed + "'");
    EXPECT_EQ(path, "");
  }
}

}  // namespace
}  // namespace vantry
