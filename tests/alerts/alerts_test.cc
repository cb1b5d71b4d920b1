#include "alerts/alerts.h"

#include <gtest/gtest.h>

#include "core/lists.h"
#include "support/alert_rig.h"

namespace vantry {
namespace {

struct AlertTest : ::testing::Test {
  AlertRig rig;
  VisitorRec visitor;

  AlertTest() {
    visitor.Site = 1;
    visitor.IP = visitor.DNS = "10.1.2.3";
  }
  AlertRec& Add(const std::string& name, int16_t site = 1) {
    AlertRec& alert = rig.t.Alerts.emplace_back();
    alert.Site = site;
    alert.Name = name;
    alert.AlertNo = static_cast<int16_t>(rig.t.Alerts.size() * 10);
    alert.Enabled = alert.EngineAll = true;
    return alert;
  }
  // Whether one alert, changed by `make`, matches the visitor.
  bool Matches(const std::function<void(AlertRec&)>& make) {
    rig.t.Alerts.clear();
    make(Add("alone"));
    return rig.alerts.RaiseAlert(visitor) == 1;
  }
};

TEST_F(AlertTest, TheFirstOfTheSiteThatMatchesIsRaised) {
  Add("of another site", 2);
  Add("off").Enabled = false;
  Add("never").EngineAll = false;
  Add("first");
  Add("hidden behind it");
  EXPECT_EQ(rig.alerts.RaiseAlert(visitor), 4);
  visitor.Site = 2;
  EXPECT_EQ(rig.alerts.RaiseAlert(visitor), 1);
  rig.t.Alerts.clear();
  EXPECT_EQ(rig.alerts.RaiseAlert(visitor), 0);
}

TEST_F(AlertTest, SearchEnginesAreFoundInTheReferrer) {
  const auto engines = [](std::vector<std::string> list) {
    return [list = std::move(list)](AlertRec& a) {
      a.EngineAll = false;
      a.Engine = list;
    };
  };
  visitor.Referrer = "http://www.Searcher.example/find?q=x";
  EXPECT_TRUE(Matches(engines({".other.", ".searcher."})));
  EXPECT_FALSE(Matches(engines({".Searcher."}))) << "the referrer is in lower case";
  EXPECT_FALSE(Matches(engines({})));
  visitor.Referrer = "";
  EXPECT_FALSE(Matches(engines({""})));
  EXPECT_TRUE(Matches([](AlertRec&) {})) << "anywhere";
}

TEST_F(AlertTest, AddressesFitByMask) {
  const auto dns = [](std::vector<std::string> list) {
    return [list = std::move(list)](AlertRec& a) { a.DNS = list; };
  };
  EXPECT_TRUE(Matches(dns({"192.*", "10.1.*"})));
  EXPECT_TRUE(Matches(dns({"10.1.2.#"})));
  EXPECT_TRUE(Matches(dns({"10.1.2.[1-3]"})));
  EXPECT_FALSE(Matches(dns({"10.1.2.[!1-3]"})));
  EXPECT_FALSE(Matches(dns({"10.1"}))) << "a mask fits the whole value";
  EXPECT_FALSE(Matches(dns({"[", "10.1.2"})));
  visitor.DNS = "host.example";
  EXPECT_TRUE(Matches(dns({"*.example"})));
  EXPECT_TRUE(Matches(dns({"10.1.2.3"}))) << "the address fits too";
  EXPECT_FALSE(Matches(dns({"*.EXAMPLE"})));
}

// Alerts are tested before the visitor's page and name are known.
TEST_F(AlertTest, PageMasksSeeAnEmptyPage) {
  const auto page = [](const char* mask) { return [mask](AlertRec& a) { a.Page = {mask}; }; };
  EXPECT_FALSE(Matches(page("index.htm")));
  EXPECT_TRUE(Matches(page("*")));
  EXPECT_TRUE(Matches(page("")));
}

TEST_F(AlertTest, WordsAreLookedForBehindTheirPlaceInTheList) {
  const auto words = [](std::vector<std::string> list) {
    return [list = std::move(list)](AlertRec& a) { a.Word = list; };
  };
  visitor.Referrer = "http://s.example/?q=Red+shoes";
  EXPECT_TRUE(Matches(words({"shoes"})));
  EXPECT_TRUE(Matches(words({"sho"}))) << "the beginning of a word";
  EXPECT_FALSE(Matches(words({"hoes"})));
  EXPECT_TRUE(Matches(words({"none", "red"})));
  visitor.Referrer = "http://s.example/red-shoes";
  EXPECT_FALSE(Matches(words({"shoes"}))) << "no question";
  visitor.Referrer = "?ab";
  EXPECT_TRUE(Matches(words({"ab"})));
  EXPECT_FALSE(Matches(words({"none", "ab"}))) << "the second entry is looked for from the second character on";
  visitor.Referrer = "?";
  EXPECT_FALSE(Matches(words({"none", "none", "none"})));
}

TEST_F(AlertTest, EveryTestMustPass) {
  visitor.Referrer = "http://www.searcher.example/?q=word";
  const auto all = [](AlertRec& a) {
    a.EngineAll = false;
    a.Engine = {".searcher."};
    a.DNS = {"10.*"};
    a.Word = {"word"};
    a.Page = {"*"};
  };
  EXPECT_TRUE(Matches(all));
  const std::function<void(AlertRec&)> spoil[] = {
      [](AlertRec& a) { a.Engine = {".other."}; }, [](AlertRec& a) { a.DNS = {"11.*"}; },
      [](AlertRec& a) { a.Word = {"other"}; }, [](AlertRec& a) { a.Page = {"?"}; }};
  for (const auto& one : spoil) {
    EXPECT_FALSE(Matches([&](AlertRec& a) {
      all(a);
      one(a);
    }));
  }
}

TEST(NormaliseSearchWords, LeavesLettersDigitsAndOneBracket) {
  EXPECT_EQ(NormaliseSearchWords("?q=red+shoes"), " q red shoes");
  EXPECT_EQ(NormaliseSearchWords("a%20b%22c%21"), "a b c 21");
  std::string all;
  for (int c = 0; c < 256; ++c) all += static_cast<char>(c);
  const std::string words = NormaliseSearchWords(all);
  ASSERT_EQ(words.size(), 256u);
  for (size_t c = 0; c < 256; ++c) {
    const bool stays = (c >= '0' && c <= '9') || (c >= 'A' && c <= '[') || (c >= 'a' && c <= 'z');
    EXPECT_EQ(words[c], stays ? static_cast<char>(c) : ' ') << c;
  }
}

struct RaisedAlertTest : AlertTest {
  AlertRec* alert = nullptr;
  RaisedAlertTest() {
    alert = &Add("Shoppers");
    visitor.AlertPending = true;
    visitor.VisitNo = 12;
    visitor.VisitCount = 3;
    visitor.Page = "shop.htm";
    visitor.CountryCode = "DE";
    visitor.CountryName = "Germany";
    visitor.Referrer = "http://a.example";
    visitor.StartTime = rig.Noon();
  }
  void Raise() { rig.alerts.AddAlert(visitor, 1); }
  const AlertRow& Row() { return *(rig.t.logGrid.end() - 1); }
};

TEST_F(RaisedAlertTest, IsListedAndCounted) {
  alert->Color = 0x00FF00;
  Raise();
  EXPECT_FALSE(visitor.AlertPending);
  std::string texts;
  for (size_t c = 0; c < log_grid::kCount; ++c) texts += log_grid::kList.Text(Row(), c, {rig.t, rig.regional}) + "|";
  EXPECT_EQ(texts, "1|One|12|10|3|10.1.2.3|3/5/2026 12:00:00 PM|shop.htm||DE|http://a.example|");
  EXPECT_EQ(Row().ip, "10.1.2.3");
  EXPECT_EQ(log_grid::kList.colour(Row()), 0x00FF00u);
  EXPECT_EQ(alert->AlertHits, 1);
  EXPECT_EQ(rig.t.TotalAlertCount + rig.t.TodayAlertCount + rig.t.Site(1).TotalAlerts + rig.t.Site(1).TodayAlerts, 4);
}

TEST_F(RaisedAlertTest, IsHiddenByTheFilterOfItsSiteAndByTheView) {
  rig.t.Site(1).AlertView = 20;
  Raise();
  EXPECT_TRUE(Row().hidden);
  rig.t.Site(1).AlertView = 10;
  Raise();
  EXPECT_FALSE(Row().hidden);
  rig.t.CurrentView = 2;
  Raise();
  EXPECT_TRUE(Row().hidden);
}

TEST_F(RaisedAlertTest, IsSilentInTheFirstScan) {
  alert->Sound = alert->Email = alert->RunThis = true;
  alert->SoundFile = "/bell.wav";
  alert->EmailAddress = "a@example";
  alert->Run = "/bin/act";
  rig.files.Put("/bin/act", "");
  rig.t.Site(1).ScanCount = 1;
  Raise();
  EXPECT_TRUE(rig.notices.sounds.empty() && rig.mail.sent.empty() && rig.programs.started.empty());
  EXPECT_EQ(rig.t.logGrid.RowCount(), 1u);
  EXPECT_EQ(rig.t.Site(1).TodayAlerts, 1);
  rig.t.Site(1).ScanCount = 2;
  Raise();
  EXPECT_EQ(rig.notices.sounds, std::vector<std::string>{"/bell.wav"});
  EXPECT_EQ(rig.mail.sent.size(), 1u);
  EXPECT_EQ(rig.programs.started, std::vector<std::string>{"/bin/act"});
}

TEST_F(RaisedAlertTest, IsSilentForLinesFromBeforeTheStartWhenCorrected) {
  alert->Email = true;
  alert->EmailAddress = "a@example";
  SiteRec& site = rig.t.Site(1);
  site.ReadFromStart = site.Scanning = true;
  rig.t.Started = rig.clock.now;
  site.LastReadDateTime.s = rig.clock.now.s - 60;
  rig.t.Corrected.QuietFirstScan = true;
  Raise();
  EXPECT_TRUE(rig.mail.sent.empty());
  EXPECT_EQ(rig.t.logGrid.RowCount(), 1u);
  site.LastReadDateTime.s = rig.clock.now.s;
  Raise();
  EXPECT_EQ(rig.mail.sent.size(), 1u);
}

TEST_F(RaisedAlertTest, AHostMaskMeetsTheNameWhenItArrivesWhenCorrected) {
  visitor.AlertPending = false;
  alert->DNS = {"*.example.org"};
  alert->Email = true;
  alert->EmailAddress = "a@example";
  visitor.DNS = "Host.Example.ORG";
  rig.alerts.NameArrived(visitor);
  EXPECT_EQ(rig.t.logGrid.RowCount(), 0u) << "classic";
  rig.t.Corrected.TestEveryPage = true;
  visitor.IsSpider = true;
  rig.alerts.NameArrived(visitor);
  EXPECT_EQ(rig.t.logGrid.RowCount(), 0u) << "spiders are not tested";
  visitor.IsSpider = false;
  rig.alerts.NameArrived(visitor);
  EXPECT_EQ(rig.t.logGrid.RowCount(), 1u);
  EXPECT_EQ(Row().dns, "Host.Example.ORG");
  EXPECT_EQ(rig.mail.sent.size(), 1u);
  EXPECT_EQ(visitor.AlertNo, 10);
  EXPECT_TRUE(visitor.AlertRaised);
  rig.alerts.NameArrived(visitor);
  EXPECT_EQ(rig.t.logGrid.RowCount(), 1u) << "one alert a visit";
}

TEST_F(RaisedAlertTest, ANameOfTheFirstScanThatArrivesLaterIsListedInSilenceWhenCorrected) {
  rig.t.Corrected.TestEveryPage = true;
  alert->DNS = {"*.example.org"};
  alert->Email = true;
  alert->EmailAddress = "a@example";
  rig.t.Site(1).FirstScanVisitors = 12;
  VisitorRec other = visitor;
  visitor.DNS = other.DNS = "host.example.org";
  rig.alerts.NameArrived(visitor);
  EXPECT_EQ(rig.t.logGrid.RowCount(), 1u);
  EXPECT_TRUE(rig.mail.sent.empty());
  other.VisitNo = 13;
  rig.alerts.NameArrived(other);
  EXPECT_EQ(rig.mail.sent.size(), 1u);
}

TEST_F(RaisedAlertTest, SoundsFallBackOnTheDefault) {
  struct Case {
    bool sound, new_visitor;
    const char *file, *fallback, *played;
  };
  const Case cases[] = {{true, false, "/a.wav", "/d.wav", "/a.wav"},
                        {true, false, "", "/d.wav", "/d.wav"},
                        {true, true, "", "", ""},
                        {false, true, "/a.wav", "/d.wav", "/d.wav"},
                        {false, false, "/a.wav", "/d.wav", ""},
                        {false, true, "/a.wav", "", ""}};
  for (const Case& c : cases) {
    alert->Sound = c.sound;
    alert->SoundFile = c.file;
    rig.settings.NewVisitorSound = c.new_visitor;
    rig.settings.DefaultSound = c.fallback;
    rig.notices.sounds.clear();
    Raise();
    const std::vector<std::string> played = *c.played ? std::vector<std::string>{c.played} : std::vector<std::string>{};
    EXPECT_EQ(rig.notices.sounds, played) << c.sound << c.new_visitor << c.file << c.fallback;
  }
}

TEST_F(RaisedAlertTest, TheMailTellsWhoCame) {
  alert->Email = true;
  alert->EmailAddress = "a@example";
  alert->Message = "Say hello.";
  visitor.DNS = "host.example";
  Raise();
  EXPECT_EQ(rig.mail.sent.at(0).body,
            "Site: One has raised an alert: Shoppers\r\n\r\nDNS:  \thost.example (10.1.2.3)\r\n"
            "Date: \t3/5/2026 12:00:00\r\nPage: \tshop.htm\r\nLoc:   \tGermany\r\n"
            "Referrer:\thttp://a.example\r\n\r\nSay hello.");
  visitor.DNS = visitor.IP;
  Raise();
  rig.mail.Turn();
  EXPECT_TRUE(Contains(rig.mail.sent.at(1).body, "DNS:  \t10.1.2.3\r\n"));
}

TEST_F(RaisedAlertTest, WithoutAnAddressTheMailIsCollected) {
  alert->Email = true;
  rig.settings.EmailSendTo = "all@example";
  Raise();
  EXPECT_TRUE(rig.mail.sent.empty());
  EXPECT_EQ(rig.queue.PendingCount(), 1);
}

TEST_F(RaisedAlertTest, ProgramsRunWhenTheyAreThere) {
  alert->RunThis = true;
  alert->Run = "/bin/gone";
  Raise();
  EXPECT_TRUE(rig.programs.started.empty());
  EXPECT_EQ(rig.program_log, "");
  rig.files.Put("/bin/gone", "");
  alert->RunThis = false;
  Raise();
  EXPECT_TRUE(rig.programs.started.empty());
  alert->RunThis = true;
  rig.programs.answer = Status::Error(Fail::kIo, "/bin/gone: Permission denied");
  Raise();
  EXPECT_EQ(rig.programs.started.size(), 1u);
  EXPECT_TRUE(Contains(rig.program_log, "/bin/gone: Permission denied"));
}

TEST_F(RaisedAlertTest, AnAlertThatIsGoneClearsTheMarkAlone) {
  rig.t.Alerts.clear();
  Raise();
  EXPECT_FALSE(visitor.AlertPending);
  EXPECT_EQ(rig.t.logGrid.RowCount(), 0u);
}

}  // namespace
}  // namespace vantry
