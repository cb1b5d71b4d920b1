#include "alerts/acted_marks.h"

#include <gtest/gtest.h>

#include "core/exception_numbers.h"
#include "support/alert_rig.h"

namespace vantry {
namespace {

TEST(ActedMark, IsALineThatIsReadAgain) {
  const ActedMark mark{{3'980'000'000}, 7};
  const std::string line = FormatActedMark(0xABCDEF0123456789u, mark);
  EXPECT_EQ(line, "abcdef0123456789 00000000003980000000 0000000007\n");
  EXPECT_EQ(line.size(), kActsLineBytes);
  uint64_t site = 0;
  ActedMark read;
  ASSERT_TRUE(ParseActedMark(line, site, read));
  EXPECT_EQ(site, 0xABCDEF0123456789u);
  EXPECT_EQ(read, mark);
}

TEST(ActedMark, OtherLinesAreNone) {
  const std::string line = FormatActedMark(1, {{5}, 7});
  uint64_t site = 0;
  ActedMark mark;
  for (size_t i = 0; i < line.size(); ++i) {
    EXPECT_FALSE(ParseActedMark(line.substr(0, i), site, mark)) << i;
    std::string other = line;
    other[i] = 'x';
    EXPECT_FALSE(ParseActedMark(other, site, mark)) << i;
  }
  EXPECT_FALSE(ParseActedMark(line + "\n", site, mark));
  EXPECT_FALSE(ParseActedMark("0000000000000001 -0000000000000000005 0000000007\n", site, mark));
}

struct ActedMarksTest : ::testing::Test {
  AlertRig rig;
  SiteRec& site = rig.t.Site(1);

  ActedMarksTest() {
    rig.t.Corrected.QuietReplay = true;
    rig.settings.EmailServer = "mail.example";
    rig.Type(404).EmailAddress = "admin@example";
    Begin(rig.exceptions);
  }
  void Begin(Exceptions&) {
    site.Scanning = true;
    site.ReadOnce = false;
  }
  // A 404 in a line of this second; how many mails went out for it.
  size_t Raise(Exceptions& exceptions, int64_t second, int number = 404) {
    site.LastReadDateTime = {rig.Noon().s + second};
    const size_t before = rig.mail.sent.size();
    EXPECT_TRUE(exceptions.AddException(1, number, site.LastReadDateTime, "a.htm", "", 0));
    rig.mail.Turn();
    return rig.mail.sent.size() - before;
  }
  // The exceptions of the next run on the same disk.
  struct NextRun {
    explicit NextRun(AlertRig& rig)
        : acted(rig.t, rig.data_folder, rig.data_files, rig.log),
          context{rig.t,    rig.settings, rig.regional, rig.log,   rig.clock, rig.files, rig.notices,
                  rig.view, rig.programs, rig.history,  rig.queue, rig.sms,   acted},
          exceptions(context, [](int16_t) { return 0; }) {}
    ActedMarks acted;
    AlertContext context;
    Exceptions exceptions;
  };
};

TEST_F(ActedMarksTest, LinesThatAreReadAgainAreNotActedOnTwice) {
  EXPECT_EQ(Raise(rig.exceptions, 1), 1u);
  EXPECT_EQ(Raise(rig.exceptions, 2), 1u);
  EXPECT_EQ(Raise(rig.exceptions, 2), 1u);
  rig.data_files.EndProgram();
  NextRun next(rig);
  EXPECT_EQ(Raise(next.exceptions, 1), 0u);
  EXPECT_EQ(Raise(next.exceptions, 2), 0u);
  EXPECT_EQ(Raise(next.exceptions, 2), 0u);
  EXPECT_EQ(Raise(next.exceptions, 2), 1u) << "the third of this second is new";
  EXPECT_EQ(Raise(next.exceptions, 3), 1u);
  EXPECT_EQ(rig.t.Site(1).TodayExceptions, 8) << "all are counted";
  EXPECT_EQ(rig.history.rows.size(), 8u) << "the history knows by itself what it has";
  rig.data_files.EndProgram();
  NextRun third(rig);
  EXPECT_EQ(Raise(third.exceptions, 3), 0u);
  EXPECT_EQ(Raise(third.exceptions, 4), 1u);
}

TEST_F(ActedMarksTest, OnlyTheFirstReadingOfARunIsCompared) {
  EXPECT_EQ(Raise(rig.exceptions, 5), 1u);
  rig.data_files.EndProgram();
  NextRun next(rig);
  EXPECT_EQ(Raise(next.exceptions, 4), 0u);
  site.ReadOnce = true;
  EXPECT_EQ(Raise(next.exceptions, 4), 1u) << "a late line";
}

TEST_F(ActedMarksTest, LateLinesCountAfterTheLineBeforeThem) {
  EXPECT_EQ(Raise(rig.exceptions, 5), 1u);
  EXPECT_EQ(Raise(rig.exceptions, 4), 1u);
  rig.data_files.EndProgram();
  NextRun next(rig);
  EXPECT_EQ(Raise(next.exceptions, 5), 0u);
  EXPECT_EQ(Raise(next.exceptions, 4), 0u);
  EXPECT_EQ(Raise(next.exceptions, 4), 1u) << "written while the program did not run";
}

// The history knows its rows of today by taking each off once.
TEST_F(ActedMarksTest, WhatIsMutedByAReplayIsTakenOffTheHistorysRows) {
  for (const bool corrected : {false, true}) {
    rig.t.Corrected.QuietReplay = corrected;
    rig.history.rows.clear();
    site.ReplayUntilPos = 100;
    EXPECT_EQ(Raise(rig.exceptions, 2), 0u);
    EXPECT_EQ(rig.history.rows.size(), corrected ? 1u : 0u);
  }
}

TEST_F(ActedMarksTest, WhatIsMutedByAReplayCountsInItsSecond) {
  EXPECT_EQ(Raise(rig.exceptions, 2), 1u);
  EXPECT_EQ(Raise(rig.exceptions, 2), 1u);
  rig.data_files.EndProgram();
  NextRun next(rig);
  site.ReplayUntilPos = 100;
  EXPECT_EQ(Raise(next.exceptions, 2), 0u);
  site.ReplayUntilPos = 0;  // The last line of the run before.
  EXPECT_EQ(Raise(next.exceptions, 2), 0u);
  EXPECT_EQ(Raise(next.exceptions, 2), 1u);
}

TEST_F(ActedMarksTest, TheFileIsWrittenBeforeTheActAndOnlyForOne) {
  rig.data_files.breaks = [&](const std::string& call) {
    if (StartsWith(call, "write ")) {
      EXPECT_EQ(rig.mail.sent.size(), 0u);
    }
    return int64_t{-2};
  };
  EXPECT_EQ(Raise(rig.exceptions, 1), 1u);
  rig.data_files.breaks = [](const std::string&) { return int64_t{-2}; };
  rig.Type(404).Email = false;
  rig.data_files.calls.clear();
  EXPECT_EQ(Raise(rig.exceptions, 2), 0u);
  EXPECT_TRUE(rig.data_files.calls.empty());
}

TEST_F(ActedMarksTest, AFileThatCantBeWrittenKeepsNoAlarmBack) {
  rig.data_files.breaks = [&](const std::string& call) {
    return StartsWith(call, "write ") ? int64_t{0} : int64_t{-2};
  };
  EXPECT_EQ(Raise(rig.exceptions, 1), 1u);
  EXPECT_EQ(Raise(rig.exceptions, 2), 1u);
  EXPECT_EQ(rig.program_log.find("After a hard stop"), rig.program_log.rfind("After a hard stop"));
}

TEST_F(ActedMarksTest, ClassicWritesNoFile) {
  rig.t.Corrected.QuietReplay = false;
  EXPECT_EQ(Raise(rig.exceptions, 1), 1u);
  EXPECT_FALSE(rig.data_files.Has("/data/Vantry.acts"));
}

TEST_F(ActedMarksTest, ADamagedLineKeepsItsPlace) {
  const std::string one = FormatActedMark(ActedSite(site), {{rig.Noon().s + 5}, 1});
  rig.data_files.Put("/data/Vantry.acts", std::string(kActsLineBytes, 'x') + one + "torn");
  EXPECT_EQ(Raise(rig.exceptions, 5), 0u);
  EXPECT_EQ(Raise(rig.exceptions, 6), 1u);
  EXPECT_EQ(rig.data_files.Get("/data/Vantry.acts").substr(kActsLineBytes, kActsLineBytes),
            FormatActedMark(ActedSite(site), {{rig.Noon().s + 6}, 1}));
}

TEST_F(ActedMarksTest, AlertsOfTheFirstReadingAreListedInSilence) {
  AlertRec& alert = rig.t.Alerts.emplace_back();
  alert.Site = 1;
  alert.Email = true;
  alert.EmailAddress = "a@example";
  VisitorRec v;
  v.Site = 1;
  rig.alerts.AddAlert(v, 1);
  EXPECT_TRUE(rig.mail.sent.empty()) << "a first scan that failed is gone on with";
  site.ReadOnce = true;
  rig.alerts.AddAlert(v, 1);
  EXPECT_EQ(rig.mail.sent.size(), 1u);
}

}  // namespace
}  // namespace vantry
