#include "monitors/touch.h"

#include <gtest/gtest.h>

#include "core/text.h"
#include "support/fake_http.h"
#include "support/fakes.h"
#include "support/recording_exceptions.h"

namespace vantry {
namespace {

using Texts = std::vector<std::string>;

struct TouchTest : ::testing::Test {
  LiveTables t;
  FakeClock clock;
  FakeLoop loop;
  FakeHttp http;
  RecordingExceptions exceptions;
  TouchMonitor touch{{t, clock, loop, http, exceptions}};

  TouchTest() { AddSite("one.example"); }
  SiteRec& AddSite(const std::string& domain, int32_t every = 5) {
    SiteRec& site = t.Sites.emplace_back();
    site.Domain = domain;
    site.Touch = true;
    site.TouchEvery = every;
    site.TouchPage = "index.htm";
    return site;
  }
  // A minute passes.
  void Tick() {
    clock.Advance(60);
    touch.TouchTimerTick();
  }
  void TickUntilAsked() {
    for (const size_t before = http.asked.size(); http.asked.size() == before;) Tick();
  }
};

TEST(TouchURL, IsBuiltFromDomainAndPage) {
  struct Case {
    std::string_view name, domain, page, url;
  };
  constexpr Case kCases[] = {
      {"plain", "host.test", "index.htm", "http://host.test/index.htm"},
      {"slash at the end stays", "http://host.test/", "a.htm", "http://host.test//a.htm"},
      {"encrypted", "https://host.test", "", "https://host.test/"},
      {"capitals", "HTTP://host.test", "a", "HTTP://host.test/a"},
      {"blanks around the domain", "  host.test  ", " a", "http://host.test/ a"},
      {"a name that begins like that", "httpd.test", "a", "httpd.test/a"},
      {"shorter than the prefix", "h", "a", "http://h/a"},
      {"no domain", "", "a", "http:///a"},
      {"domain and slash alone", "/", "a", "http:////a"},
      {"page with a slash", "host.test", "/a", "http://host.test//a"},
  };
  for (const Case& c : kCases) {
    SiteRec site;
    site.Domain = c.domain;
    site.TouchPage = c.page;
    EXPECT_EQ(TouchURL(site), c.url) << c.name;
  }
}

TEST_F(TouchTest, TheFirstTickAsksAtOnce) {
  touch.TouchTimerTick();
  EXPECT_EQ(http.asked, Texts{"http://one.example/index.htm"});
  EXPECT_EQ(t.Site(1).TouchNext.s, clock.Now().s + 300);
  EXPECT_EQ(loop.turns, 1);
}

TEST_F(TouchTest, AFailureIsRaisedEachTimeAndASuccessAfterOneOnce) {
  for (int i = 0; i < 3; ++i) {
    TickUntilAsked();
    http.Fail("one.example: connection refused");
    EXPECT_TRUE(t.Site(1).TouchFailed);
  }
  TickUntilAsked();
  http.Answer();
  EXPECT_FALSE(t.Site(1).TouchFailed);
  TickUntilAsked();
  http.Answer();
  EXPECT_EQ(exceptions.calls, (Texts{"1|170|one.example: connection refused", "1|170|one.example: connection refused",
                                     "1|170|one.example: connection refused", "1|171|-"}));
}

TEST_F(TouchTest, AGoodServerRaisesNothing) {
  for (int i = 0; i < 3; ++i) {
    TickUntilAsked();
    http.Answer();
  }
  EXPECT_TRUE(exceptions.calls.empty());
}

TEST_F(TouchTest, WhenIsTheMomentOfTheOutcome) {
  Tick();
  clock.Advance(7);
  http.Fail("x");
  EXPECT_EQ(exceptions.when.s, clock.Now().s);
}

TEST_F(TouchTest, ASiteThatIsOffIsPassedOver) {
  t.Site(1).Touch = false;
  EXPECT_FALSE(touch.Wanted());
  Tick();
  EXPECT_TRUE(http.asked.empty());
  AddSite("two.example");
  EXPECT_TRUE(touch.Wanted());
  Tick();
  EXPECT_EQ(http.asked, Texts{"http://two.example/index.htm"});
}

TEST_F(TouchTest, ADeletedSiteIsPassedOver) {
  t.Site(1).Deleted = true;
  Tick();
  EXPECT_TRUE(http.asked.empty());
}

TEST_F(TouchTest, APausedSiteIsTouched) {
  t.Site(1).Paused = true;
  Tick();
  EXPECT_EQ(http.asked.size(), 1u);
}

TEST_F(TouchTest, TheTimeMustBePassed) {
  Tick();
  clock.Advance(300);
  touch.TouchTimerTick();
  EXPECT_EQ(http.asked.size(), 1u) << "on the limit";
  clock.Advance(1);
  touch.TouchTimerTick();
  EXPECT_EQ(http.asked.size(), 2u);
}

TEST_F(TouchTest, TicksOfAMinuteComeFiveToSixMinutesApart) {
  Tick();
  int minutes = 0;
  for (; http.asked.size() == 1; ++minutes) Tick();
  EXPECT_EQ(minutes, 6);
}

TEST_F(TouchTest, NoPeriodMeansEachTick) {
  t.Site(1).TouchEvery = 0;
  for (int i = 0; i < 3; ++i) Tick();
  EXPECT_EQ(http.asked.size(), 3u);
}

TEST_F(TouchTest, TheSecondSiteOfATickDropsTheRequestOfTheFirst) {
  AddSite("two.example");
  Tick();
  EXPECT_EQ(http.asked, (Texts{"http://one.example/index.htm", "http://two.example/index.htm"}));
  EXPECT_EQ(http.UnderWay(), 1u);
  http.Fail("refused", 1);
  EXPECT_TRUE(exceptions.calls.empty()) << "the failure of the first is never seen";
  http.Fail("refused", 2);
  EXPECT_EQ(exceptions.calls, Texts{"2|170|refused"});
}

TEST_F(TouchTest, ALateEventIsBookedToTheSiteAskedLast) {
  AddSite("two.example");
  loop.on_turn = [this] { http.End(1, Status::Error(Fail::kIo, "one.example: refused")); };
  Tick();
  http.TellEnded();
  EXPECT_EQ(exceptions.calls, Texts{"2|170|one.example: refused"});
  EXPECT_FALSE(t.Site(1).TouchFailed);
  EXPECT_TRUE(t.Site(2).TouchFailed);
  http.Answer(2);
  EXPECT_EQ(exceptions.calls.back(), "2|171|-");
}

TEST_F(TouchTest, AnEventInTheTurnAfterItsRequestIsBookedToItsSite) {
  AddSite("two.example");
  loop.on_turn = [this] { http.Fail("refused"); };
  Tick();
  EXPECT_EQ(exceptions.calls, (Texts{"1|170|refused", "2|170|refused"}));
}

TEST_F(TouchTest, TheTableMayGrowWhileTheLoopTurns) {
  loop.on_turn = [this] {
    if (t.SiteCount() < 50) AddSite("more.example");
  };
  Tick();
  EXPECT_EQ(http.asked.size(), 50u);
}

TEST_F(TouchTest, TheWalkEndsWithTheProgram) {
  AddSite("two.example");
  loop.on_turn = [this] { t.Closing = true; };
  Tick();
  EXPECT_EQ(http.asked.size(), 1u);
  http.Fail("refused");
  EXPECT_TRUE(exceptions.calls.empty());
}

struct TouchEachSiteTest : TouchTest {
  TouchEachSiteTest() { t.Corrected.TouchEachSite = true; }
};

TEST_F(TouchEachSiteTest, WhatComesOfARequestIsBookedToItsSite) {
  AddSite("two.example");
  AddSite("three.example");
  Tick();
  EXPECT_EQ(http.UnderWay(), 3u);
  http.Fail("refused", 2);
  http.Answer(3);
  http.Fail("silent", 1);
  EXPECT_EQ(exceptions.calls, (Texts{"2|170|refused", "1|170|silent"}));
  EXPECT_TRUE(t.Site(1).TouchFailed);
  EXPECT_FALSE(t.Site(3).TouchFailed);
}

TEST_F(TouchEachSiteTest, ASiteHasOneRequestAtATime) {
  t.Site(1).TouchEvery = 0;
  for (int i = 0; i < 3; ++i) Tick();
  EXPECT_EQ(http.asked.size(), 1u);
  http.Fail("silent");
  Tick();
  EXPECT_EQ(http.asked.size(), 2u);
  http.Answer();
  EXPECT_EQ(exceptions.calls, (Texts{"1|170|silent", "1|171|-"}));
}

TEST_F(TouchEachSiteTest, NothingIsBookedOnceTheProgramCloses) {
  Tick();
  t.Closing = true;
  http.Fail("refused");
  EXPECT_TRUE(exceptions.calls.empty());
}

}  // namespace
}  // namespace vantry
