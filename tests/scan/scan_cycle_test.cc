#include "scan/scan_cycle.h"

#include <gtest/gtest.h>

#include "support/scan_rig.h"

namespace vantry {
namespace {

TEST(ScanSite, ReadsWhatWasAddedAndTheLastLineAgain) {
  ScanRig rig;
  rig.AddSite();
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 4));
  EXPECT_TRUE(rig.Scan());
  EXPECT_EQ(rig.t.Visitors.Count(), 3);
  const SiteRec& site = rig.t.Site(1);
  EXPECT_EQ(site.LastLogFile, "/logs/access.log");
  EXPECT_EQ(site.LastReadPos, static_cast<int64_t>(ScanRig::NcsaLines(1, 3).size() + 1))
      << "the start of the last line";
  EXPECT_EQ(site.LastReadPosDay, 1);
  rig.files.entries["/logs/access.log"]->bytes += ScanRig::NcsaLines(4, 6);
  EXPECT_TRUE(rig.Scan());
  EXPECT_EQ(rig.t.Visitors.Count(), 5);
  EXPECT_EQ(site.PagesCounted, 5);
}

TEST(ScanSite, LineThatWasStillBeingWrittenIsSeenAgainWhole) {
  ScanRig rig;
  rig.AddSite();
  const std::string line = ScanRig::Ncsa("10.0.0.1", "11:00:00", "/page.htm") + "\n";
  rig.files.Put("/logs/access.log", line.substr(0, 60));
  rig.Scan();
  rig.files.entries["/logs/access.log"]->bytes = line + ScanRig::Ncsa("10.0.0.2", "11:00:01", "/b.htm") + "\n";
  rig.Scan();
  ASSERT_NE(rig.Visitor("10.0.0.1"), nullptr);
  EXPECT_EQ(rig.Visitor("10.0.0.1")->Page, "page.htm");
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
}

// What a half-written line lacks is empty, not the line before: no page, so no visitor.
TEST(ScanSite, HalfAUnixLineAtTheEndMakesNoVisitor) {
  const std::string fields = "#Fields: date time c-ip cs-uri-stem sc-status cs(user-agent)\n";
  const std::string w3c = "2026-03-05 11:00:00 10.0.0.1 /a.htm 200 Spider\n";
  struct Case {
    LogType type;
    std::string whole, half, rest;
  };
  for (const Case& c :
       {Case{LogType::kNCSA, ScanRig::NcsaLines(1, 2), "10.0.0.2 - -",
             ScanRig::Ncsa("10.0.0.2", "11:00:02", "/b.htm").substr(12) + "\n"},
        Case{LogType::kNCSA, ScanRig::NcsaLines(1, 2), "10.0.0.2 - - [05/Mar/2026:11:00:02 +0000] \"GET",
             " /b.htm HTTP/1.0\" 200 512 \"-\" \"Browser/1.0\"\n"},
        Case{LogType::kW3C, fields + w3c, "2026-03-05 11:00:02 10.0.0.2", " /b.htm 404 Browser/1.0\n"}}) {
    ScanRig rig;
    SiteRec& site = rig.AddSite(c.type);
    site.Unix = true;
    rig.files.Put("/logs/access.log", c.whole + c.half);
    EXPECT_TRUE(rig.Scan());
    EXPECT_NE(rig.Visitor("10.0.0.1"), nullptr) << c.half;
    EXPECT_EQ(rig.Visitor("10.0.0.2"), nullptr) << c.half;
    rig.files.Put("/logs/access.log", c.whole + c.half + c.rest);
    EXPECT_TRUE(rig.Scan());
    ASSERT_NE(rig.Visitor("10.0.0.2"), nullptr) << c.half;
    EXPECT_EQ(rig.Visitor("10.0.0.2")->Page, "b.htm");
    EXPECT_FALSE(rig.Visitor("10.0.0.2")->IsSpider);
    EXPECT_EQ(FormatTime(SecondOfDay(rig.Visitor("10.0.0.2")->StartTime)), "11:00:02");
  }
}

// The page is four fields after the user name. A piece that leaves less room for blanks in its last block, or none,
// lacks the page, which keeps the text of the line before.
TEST(ScanSite, HalfAUnixLineThatFillsItsBlockKeepsThePageOfTheLineBefore) {
  for (const size_t size : {252, 253, 255, 256, 257, 508, 509, 512, 513}) {
    ScanRig rig;
    rig.AddSite();
    const std::string half = "10.0.0.2 - ";
    rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 2) + half + std::string(size - half.size(), 'u'));
    rig.Scan();
    const size_t blanks = (256 - size % 256) % 256;
    EXPECT_EQ(rig.Visitor("10.0.0.2") != nullptr, blanks < 4) << size;
  }
}

// In the other line ends a line is what was written of it.
TEST(ScanSite, HalfATextLineKeepsTheFieldsOfTheLineBefore) {
  ScanRig rig;
  rig.AddSite().Unix = false;
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 2) + "10.0.0.2 - -");
  rig.Scan();
  ASSERT_NE(rig.Visitor("10.0.0.2"), nullptr);
  EXPECT_EQ(rig.Visitor("10.0.0.2")->Page, "p.htm");
}

TEST(ScanSite, BytesThatArriveInsideAScanDoNotMakeHalfALineCount) {
  for (const bool unix_lines : {false, true}) {
    ScanRig rig;
    rig.AddSite().Unix = unix_lines;
    const std::string lines = ScanRig::NcsaLines(1, 2), line = ScanRig::Ncsa("10.0.0.2", "11:00:02", "/b.htm") + "\n";
    rig.files.Put("/logs/access.log", lines + line.substr(0, 12));
    int reads = 0;
    rig.files.fails = [&](const std::string& call) {
      if (call == "readat /logs/access.log" && ++reads == 3)
        rig.files.entries["/logs/access.log"]->bytes = lines + line;
      return false;
    };
    rig.Scan();
    EXPECT_EQ(rig.t.Site(1).LastReadPos, static_cast<int64_t>(lines.size() + 1)) << "the half line is read again";
  }
}

TEST(ScanSite, EmptyLogFailsQuietlyAndIsTriedAgain) {
  for (const bool unix_lines : {false, true}) {
    for (const LogType type : {LogType::kNCSA, LogType::kW3C, LogType::kISA}) {
      ScanRig rig;
      rig.AddSite(type).Unix = unix_lines;
      rig.files.Put("/logs/access.log", "");
      EXPECT_FALSE(rig.Scan());
      EXPECT_FALSE(rig.Scan());
      ASSERT_EQ(rig.t.TraceGrid.RowCount(), 2u);
      EXPECT_EQ(rig.t.TraceGrid.Row(0).text, "ERROR:Input past end of file");
      EXPECT_FALSE(rig.t.Site(1).Paused);
      EXPECT_EQ(rig.program_log, "");
      EXPECT_FALSE(rig.t.ScanInProgress);
      rig.files.Put("/logs/access.log", type == LogType::kNCSA ? ScanRig::NcsaLines(1, 3)
                                                               : "#Fields: date\ttime\tc-ip\tcs-uri\tcs-uri-stem\n");
      EXPECT_TRUE(rig.Scan());
      EXPECT_EQ(rig.t.Visitors.Count(), type == LogType::kNCSA ? 2 : 0);
      EXPECT_FALSE(rig.t.Site(1).Paused);
    }
  }
}

TEST(ScanSite, FirstScanIsAnnouncedOnTheDesktopAlone) {
  for (const bool service : {false, true}) {
    ScanRig rig;
    rig.AddSite();
    rig.t.ServiceMode = service;
    rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 2));
    rig.Scan();
    EXPECT_EQ(rig.notices.boxes.size(), service ? 0u : 1u);
    EXPECT_EQ(rig.view.Count("status Scanning for the first time. Please wait....."), 1);
    rig.Scan();
    EXPECT_EQ(rig.notices.boxes.size(), service ? 0u : 1u);
  }
}

TEST(ScanSite, W3cLogWithoutFieldsPausesTheSite) {
  ScanRig rig;
  rig.AddSite(LogType::kW3C);
  rig.files.Put("/logs/ex.log", "2026-03-05 10:00:00 10.0.0.1 /a.htm\r\n2026-03-05 10:00:01 10.0.0.1 /b.htm\r\n");
  EXPECT_TRUE(rig.Scan());
  EXPECT_TRUE(rig.t.Site(1).Paused);
  EXPECT_EQ(rig.t.Site(1).LastReadPos, 0);
  EXPECT_TRUE(Contains(rig.program_log,
                       "The log file for site Site 1 was scanned but no #Field definition lines were "
                       "found so Vantry cannot interpret the log file.\r\n"));
  EXPECT_TRUE(Contains(rig.notices.boxes.back(), "Are you sure this is a W3C Extended log file?"));
}

TEST(ScanSite, W3cLogWithoutFieldsIsAnEventInServiceMode) {
  ScanRig rig;
  rig.AddSite(LogType::kW3C);
  rig.t.ServiceMode = true;
  rig.files.Put("/logs/ex.log", "x\r\ny\r\n");
  rig.Scan();
  ASSERT_EQ(rig.notices.events.size(), 1u);
  EXPECT_EQ(rig.notices.events[0],
            "1 The log file for site Site 1 was scanned but no #Field definition lines were found so Vantry cannot "
            "interpret the log file. ");
}

TEST(ScanSite, FieldsLineThatChangesHalfwayCountsFromThereAndIsSaved) {
  ScanRig rig;
  rig.AddSite(LogType::kW3C);
  rig.files.Put("/logs/ex.log",
                "#Software: x\r\n#Fields: date time c-ip cs-uri-stem\r\n2026-03-05 10:00:00 10.0.0.1 /a.htm\r\n"
                "#Fields: date time cs-uri-stem c-ip\r\n2026-03-05 10:00:01 /b.htm 10.0.0.2\r\n"
                "2026-03-05 10:00:02 /c.htm 10.0.0.3\r\n");
  rig.Scan();
  EXPECT_EQ(rig.t.Visitors.Count(), 3);
  EXPECT_EQ(rig.t.Site(1).LastFields, "DATE TIME CS-URI-STEM C-IP");
  rig.files.entries["/logs/ex.log"]->bytes += "2026-03-05 10:00:03 /d.htm 10.0.0.4\r\n";
  rig.Scan();
  EXPECT_EQ(rig.t.Visitors.Count(), 4) << "a later scan has the layout without seeing the header";
}

TEST(ScanSite, QueryIsReadOnlyWhenItIsIncluded) {
  for (const bool include : {false, true}) {
    ScanRig rig;
    rig.AddSite(LogType::kW3C).IncludeQuery = include;
    rig.files.Put("/logs/ex.log",
                  "#Fields: date time c-ip cs-uri-stem cs-uri-query\r\n2026-03-05 10:00:00 10.0.0.1 /a.htm x=1\r\n"
                  "2026-03-05 10:00:09 10.0.0.2 /a.htm y=2\r\n");
    rig.Scan();
    EXPECT_EQ(rig.Visitor("10.0.0.1")->Query, include ? "?x=1" : "");
  }
}

TEST(ScanSite, FiftyEmptyLinesEndTheScan) {
  ScanRig rig;
  rig.AddSite();
  const std::string first = ScanRig::NcsaLines(1, 2), rest = ScanRig::NcsaLines(2, 5);
  rig.files.Put("/logs/access.log", first + std::string(60, '\n') + rest);
  rig.Scan();
  EXPECT_NE(rig.Visitor(""), nullptr) << "an empty line has an empty address and keeps the page before";
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
  EXPECT_EQ(rig.t.Site(1).LastReadPos, static_cast<int64_t>(first.size() + 50 + 1));
  rig.Scan();
  EXPECT_EQ(rig.t.Visitors.Count(), 5);
}

TEST(ScanSite, NewFileIsReadFromItsStart) {
  ScanRig rig;
  rig.AddSite();
  rig.files.Put("/logs/a.log", ScanRig::NcsaLines(1, 4));
  rig.Scan();
  rig.files.clock_ns = 2;
  rig.files.Put("/logs/b.log", ScanRig::NcsaLines(4, 6));
  rig.Scan();
  EXPECT_EQ(rig.t.Visitors.Count(), 3) << "the file is looked for now and then, not at each scan";
  rig.t.Site(1).ForceLookup = true;
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).LastLogFile, "/logs/b.log");
  EXPECT_EQ(rig.t.Visitors.Count(), 5);
}

TEST(ScanSite, RestartOnTheSameDayReplaysWithSideEffectsMuted) {
  ScanRig rig;
  SiteRec& site = rig.AddSite();
  const std::string old = ScanRig::NcsaLines(1, 5);
  rig.files.Put("/logs/access.log", old + ScanRig::NcsaLines(5, 7));
  site.LastLogFile = "/logs/access.log";
  site.LastReadPos = static_cast<int64_t>(ScanRig::NcsaLines(1, 4).size() + 1);
  site.LastReadPosDay = 1;
  site.LastReadDateTime = MakeLogTime(rig.t.Today, 11 * 3600);
  rig.Scan();
  EXPECT_EQ(rig.t.Visitors.Count(), 6);
  EXPECT_EQ(rig.t.Site(1).LastReadPosDay, 1);
  EXPECT_FALSE(rig.t.Site(1).Replaying);
  EXPECT_EQ(rig.t.Site(1).ReplayUntilPos, 0);
  // The line that starts at the limit was the last one read before; what follows it is new.
  EXPECT_EQ(rig.t.pageGrid.RowCount(), 3u);
  EXPECT_EQ(rig.history.Count("visit "), 6);
}

TEST(ScanSite, RestartOnALaterDayGoesOn) {
  ScanRig rig;
  SiteRec& site = rig.AddSite();
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 7));
  site.LastLogFile = "/logs/access.log";
  site.LastReadPos = static_cast<int64_t>(ScanRig::NcsaLines(1, 4).size() + 1);
  site.LastReadPosDay = 1;
  site.LastReadDateTime = MakeLogTime(Day{rig.t.Today.n - 1}, 0);
  rig.Scan();
  EXPECT_EQ(rig.t.Visitors.Count(), 3);
  EXPECT_EQ(rig.t.Site(1).LastReadPosDay, static_cast<int64_t>(ScanRig::NcsaLines(1, 4).size() + 1));
}

TEST(ScanSite, TwoSitesOnOneFileKeepTheirOwnPositions) {
  ScanRig rig;
  rig.AddSite();
  rig.AddSite();
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 3));
  rig.Scan(1);
  rig.files.entries["/logs/access.log"]->bytes += ScanRig::NcsaLines(3, 5);
  rig.Scan(2);
  EXPECT_EQ(rig.t.Site(1).CurrentVisitors, 2);
  EXPECT_EQ(rig.t.Site(2).CurrentVisitors, 4);
}

TEST(ScanSite, PeakIsNotTakenFromTheFirstScan) {
  ScanRig rig;
  rig.AddSite();
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 4));
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).PeakToday, 0);
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).PeakToday, 3);
}

TEST(ScanSite, NodeIsRefreshedWhenTheCountChanged) {
  ScanRig rig;
  rig.AddSite();
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 3));
  rig.Scan();
  EXPECT_EQ(rig.view.Count("node 1"), 1);
  rig.Scan();
  EXPECT_EQ(rig.view.Count("node 1"), 1);
}

TEST(ScanSite, YieldsWhenFiveMillisecondsHavePassed) {
  ScanRig rig;
  rig.AddSite();
  std::string lines;
  for (int i = 0; i < 1000; ++i) lines += "x\n";
  rig.files.Put("/logs/access.log", lines);
  rig.Scan();
  EXPECT_EQ(rig.loop.turns, 0) << "time stood still";
  rig.clock.ms_per_look = 5;
  rig.t.Site(1).LastReadPos = 0;
  rig.Scan();
  EXPECT_EQ(rig.loop.turns, 9) << "at each hundredth line but the last, which ends the scan";
}

TEST(ScanSite, LeavesAtOnceWhenTheProgramClosesInsideAYield) {
  ScanRig rig;
  rig.AddSite();
  std::string lines;
  for (int i = 0; i < 1000; ++i) lines += "x\n";
  rig.files.Put("/logs/access.log", lines);
  rig.clock.ms_per_look = 5;
  rig.loop.on_turn = [&] { rig.t.Closing = rig.loop.turns == 3; };
  EXPECT_FALSE(rig.Scan());
  EXPECT_EQ(rig.loop.turns, 3);
  EXPECT_EQ(rig.t.Site(1).LastReadPos, 601) << "300 lines of two bytes";
}

TEST(ScanSite, TicksAndAgingInsideAScanAreDropped) {
  ScanRig rig;
  rig.AddSite();
  rig.AddSite();
  std::string lines = ScanRig::NcsaLines(1, 2);
  for (int i = 0; i < 500; ++i) lines += "#\n";
  rig.files.Put("/logs/access.log", lines);
  rig.clock.ms_per_look = 5;
  int inner = 0;
  rig.loop.on_turn = [&] {
    ++inner;
    rig.clock.Advance(3600);
    rig.scan.Timer1Tick();
    rig.scan.Timer2Tick();
    EXPECT_EQ(rig.t.Visitors.Count(), 1);
    EXPECT_EQ(rig.t.Site(2).ScanCount, 0);
  };
  rig.Scan();
  EXPECT_GT(inner, 0);
}

TEST(ScanSite, UnreadableFileIsTracedToldOnceAndTriedAgain) {
  ScanRig rig;
  rig.AddSite();
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 3));
  rig.files.fails = [](const std::string& call) { return call == "open /logs/access.log"; };
  EXPECT_FALSE(rig.Scan());
  EXPECT_FALSE(rig.Scan());
  EXPECT_EQ(rig.t.TraceGrid.RowCount(), 2u);
  ASSERT_EQ(rig.notices.told.size(), 1u);
  EXPECT_TRUE(Contains(rig.notices.told[0], "/logs/access.log"));
  EXPECT_FALSE(rig.t.Site(1).Paused);
  EXPECT_FALSE(rig.t.Site(1).Scanning);
  rig.files.fails = nullptr;
  EXPECT_TRUE(rig.Scan());
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
}

TEST(ScanSite, EveryFailureOfTheDiskEndsTheScanAndTheNextOneGoesOn) {
  for (int broken = 0; broken < 4; ++broken) {
    ScanRig rig;
    rig.AddSite();
    rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 3));
    int calls = 0;
    rig.files.fails = [&](const std::string&) { return calls++ == broken; };
    rig.Scan();
    EXPECT_FALSE(rig.t.ScanInProgress) << broken;
    rig.t.Site(1).Paused = false;
    rig.t.Site(1).ForceLookup = true;
    EXPECT_TRUE(rig.Scan()) << broken;
    EXPECT_EQ(rig.t.Visitors.Count(), 2) << broken;
  }
}

TEST(ScanSite, ExceptionInsideAScanClosesItAndOtherSitesGoOn) {
  ScanRig rig;
  rig.AddSite();
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 3));
  bool thrown = false;
  rig.files.fails = [&](const std::string& call) -> bool {
    if (call == "readat /logs/access.log" && !thrown) {
      thrown = true;
      throw std::bad_alloc();
    }
    return false;
  };
  EXPECT_FALSE(rig.Scan());
  EXPECT_FALSE(rig.t.ScanInProgress || rig.t.Site(1).Scanning);
  EXPECT_TRUE(rig.Scan());
  EXPECT_EQ(rig.t.Visitors.Count(), 2);
}

TEST(ScanSite, TruncatedUnixLogReadsNothingUntilItIsLookedFor) {
  ScanRig rig;
  rig.AddSite();
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 9));
  rig.Scan();
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(9, 10));
  EXPECT_TRUE(rig.Scan());
  EXPECT_EQ(rig.Visitor("10.0.0.9"), nullptr);
  rig.t.Site(1).ForceLookup = true;
  rig.Scan();
  rig.files.entries["/logs/access.log"]->bytes += ScanRig::NcsaLines(10, 12);
  rig.Scan();
  EXPECT_NE(rig.Visitor("10.0.0.10"), nullptr);
}

TEST(ScanSite, TruncatedLogIsTriedAgainUntilItIsLookedFor) {
  ScanRig rig;
  rig.AddSite().Unix = false;
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(1, 9));
  rig.Scan();
  rig.files.Put("/logs/access.log", ScanRig::NcsaLines(9, 10));
  EXPECT_FALSE(rig.Scan());
  rig.t.Site(1).ForceLookup = true;
  rig.Scan();
  EXPECT_EQ(rig.t.Site(1).LastReadPosDay, static_cast<int64_t>(ScanRig::NcsaLines(9, 10).size()));
  rig.files.entries["/logs/access.log"]->bytes += ScanRig::NcsaLines(10, 12);
  rig.Scan();
  EXPECT_NE(rig.Visitor("10.0.0.10"), nullptr) << "a log that shrank is taken up at its end";
  EXPECT_EQ(rig.Visitor("10.0.0.9"), nullptr);
}

struct ChoiceCase {
  std::string name;
  FileChoice choice;
  std::string mask, expected;
};

TEST(LogFileName, ChoosesByDateNameOrPosition) {
  for (const ChoiceCase& c : std::vector<ChoiceCase>{{"newest", FileChoice::kByDate, "*.LOG", "/logs/b.log"},
                                                     {"last name", FileChoice::kAlphabetic, "*.LOG", "/logs/c.log"},
                                                     {"same name", FileChoice::kSameName, "*.LOG", "/logs/c.log"},
                                                     {"tie", FileChoice::kByDate, "?.log", "/logs/c.log"},
                                                     {"one", FileChoice::kByDate, "a.log", "/logs/a.log"},
                                                     {"none", FileChoice::kByDate, "*.txt", ""}}) {
    ScanRig rig;
    SiteRec& site = rig.AddSite();
    site.SelectMethod = c.choice;
    site.Mask = c.mask;
    rig.files.Put("/logs/a.log", "1");
    rig.files.Put("/logs/c.log", "333");
    rig.files.clock_ns = c.name == "tie" ? 1 : 9;
    rig.files.Put("/logs/b.log", "22");
    rig.files.clock_ns = 10;
    rig.files.Put("/logs/d.log", "4444");
    rig.files.entries["/logs/d.log"]->readable = c.choice != FileChoice::kByDate;
    if (c.choice != FileChoice::kByDate) rig.files.entries.erase("/logs/d.log");
    EXPECT_EQ(rig.scan.LogFileName(1), c.expected) << c.name;
    EXPECT_FALSE(rig.t.Site(1).ForceLookup);
    EXPECT_EQ(rig.t.Site(1).LastLookupTime, rig.clock.Now());
  }
}

TEST(LogFileName, NoFilePausesTheSiteWithTheTextsOfItsMode) {
  const std::string text = "No log file was found in the folder:/logs/ Using mask:*.LOG";
  ScanRig desktop;
  desktop.AddSite();
  desktop.t.Site(1).ScanCount = 1;
  desktop.Scan();
  EXPECT_TRUE(desktop.t.Site(1).Paused);
  EXPECT_EQ(desktop.notices.boxes.back(), text + "\r\n\r\nTry changing the File Mask setting in the Site Properties.");
  EXPECT_TRUE(Contains(desktop.program_log, " No log file was found in the folder: /logs/ using mask: *.LOG\r\n"))
      << "with the time before it";
  ScanRig service;
  service.AddSite();
  service.t.ServiceMode = true;
  service.Scan();
  EXPECT_EQ(service.notices.events, std::vector<std::string>{"1 " + text});
}

TEST(FtpSite, StartsADownloadThatEndsTheScanLater) {
  ScanRig rig;
  SiteRec& site = rig.AddSite();
  site.FTP = true;
  rig.ftp.file = "remote.log";
  EXPECT_FALSE(rig.Scan());
  EXPECT_EQ(rig.ftp.calls, (std::vector<std::string>{"name", "download 0 0"}));
  EXPECT_EQ(rig.t.Hit.CurPos, 0);
  EXPECT_TRUE(rig.t.ScanInProgress) << "all sites wait for the fetch";
  rig.scan.EndScan(1);
  EXPECT_FALSE(rig.t.ScanInProgress);
  rig.ftp.connects = false;
  EXPECT_FALSE(rig.Scan());
  EXPECT_FALSE(rig.t.ScanInProgress);
  EXPECT_FALSE(rig.t.Site(1).Paused);
  EXPECT_TRUE(Contains(rig.program_log, "Error connecting to FTP site: "));
}

}  // namespace
}  // namespace vantry
