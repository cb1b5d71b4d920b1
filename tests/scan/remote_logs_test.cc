#include "scan/remote_logs.h"

#include <gtest/gtest.h>

#include "support/fake_ftp.h"
#include "support/scan_rig.h"

namespace vantry {
namespace {

// A remote site on a server in memory: ftp.example, folder /logs, mask access.log.
struct RemoteRig {
  ScanRig rig;
  FakeFtp ftp;
  std::unique_ptr<ScanContext> context;
  std::unique_ptr<ScanCycle> scan;
  std::unique_ptr<RemoteLogs> logs;

  struct Late final : FtpFetch {
    FtpFetch* to = nullptr;
    void PrepareFetch(int16_t n, bool look, std::function<void()> done) override {
      to->PrepareFetch(n, look, std::move(done));
    }
    bool FTPConnect(int16_t n) override { return to->FTPConnect(n); }
    std::string FTPGetFileName(int16_t n) override { return to->FTPGetFileName(n); }
    void FTPClose(int16_t n) override { to->FTPClose(n); }
    std::string Trouble(int16_t n) override { return to->Trouble(n); }
    void StartDownload(int16_t n, int64_t start, int timeout) override { to->StartDownload(n, start, timeout); }
  } late;

  RemoteRig() {
    ScanRig& r = rig;
    context.reset(new ScanContext{r.t, r.settings, r.regional, r.log, r.clock, r.files, r.loop, r.notices, r.view,
                                  r.events, r.exceptions, r.alerts, r.history, r.names, late, r.daily});
    scan = std::make_unique<ScanCycle>(
        *context, [this] { return rig.monitoring; }, [](int16_t) { return 404; });
    logs = std::make_unique<RemoteLogs>(*context, *scan, ftp);
    late.to = logs.get();
    AddRemote();
  }
  SiteRec& AddRemote() {
    SiteRec& site = rig.AddSite();
    site.FTP = true;
    site.FTPDomain = "ftp.example";
    site.FTPUserName = "me";
    site.FTPPath = "/logs";
    site.Mask = "access.log";
    return site;
  }
  SiteRec& Site() { return rig.t.Site(1); }
  std::string& File(const std::string& name = "access.log") { return ftp.files["/logs/" + name]; }
  void Tick() {
    rig.clock.Advance(4);
    scan->Timer1Tick();
    ftp.TurnAll();
  }
  std::string LastCall() const { return ftp.calls.empty() ? "" : ftp.calls.back(); }
  bool Traced(const std::string& text) const {
    for (size_t i = 0; i < rig.t.TraceGrid.RowCount(); ++i) {
      if (Contains(rig.t.TraceGrid.Row(i).text, text)) return true;
    }
    return false;
  }
  static FtpEntry Entry(const std::string& name, const std::string& time, int64_t size = 0) {
    FtpEntry entry;
    entry.text = name;
    entry.name = name;
    entry.time_text = time;
    entry.size_bytes = size;
    return entry;
  }
};

struct RemoteLogsTest : ::testing::Test, RemoteRig {};

TEST(FtpNextLine, CutsAtEitherLineEndAndTakesTwoForOne) {
  struct Case {
    std::string name, text, line, rest;
  };
  const Case cases[] = {
      {"no line end", "half", "", "half"},
      {"empty", "", "", ""},
      {"LF", "one\ntwo", "one", "two"},
      {"CR LF", "one\r\ntwo", "one", "two"},
      {"two LFs are one", "one\n\ntwo", "one", "two"},
      {"three leave a blank line", "one\n\n\ntwo", "one", "\ntwo"},
      {"a blank line is cut off and looks like no line", "\ntwo\n", "", "two\n"},
      {"LF at the very end", "one\n", "", "one\n"},
      {"CR at the very end", "one\r", "", "one\r"},
      {"CR LF at the very end", "one\r\n", "one", ""},
      {"a NUL after the end", std::string("one\n\0", 5), "one", std::string("\0", 1)},
  };
  for (const Case& c : cases) {
    std::string_view text = c.text;
    EXPECT_EQ(FTPNextLine(text), c.line) << c.name;
    EXPECT_EQ(text, c.rest) << c.name;
  }
}

TEST(ReceivedText, HasThreeForms) {
  EXPECT_EQ(ReceivedText(0), "0Bytes");
  EXPECT_EQ(ReceivedText(10'000), "10000Bytes");
  EXPECT_EQ(ReceivedText(10'001), "10K");
  EXPECT_EQ(ReceivedText(1'000'000), "1000K");
  EXPECT_EQ(ReceivedText(1'000'001), "1.00Mb");
  EXPECT_EQ(ReceivedText(1'234'567), "1.23Mb");
}

TEST(FtpStamp, ReadsBothFormsAndTakesTheYear00ForThisOne) {
  const WallTime now{MakeDay(2026, 3, 5)->n * kSecondsPerDay};
  const auto at = [](int y, int m, int d, int s) { return MakeLogTime(*MakeDay(y, m, d), s); };
  EXPECT_EQ(FtpStamp("01-15-00 03:04PM", now), at(2026, 1, 15, 15 * 3600 + 240));
  EXPECT_EQ(FtpStamp("01-15-02 03:04", now), at(2002, 1, 15, 3 * 3600 + 240));
  EXPECT_EQ(FtpStamp("12-31-99  11:59PM", now), at(1999, 12, 31, 86'340));
  EXPECT_EQ(FtpStamp("15 Jan 2031 03:04", now), at(2031, 1, 15, 3 * 3600 + 240));
  for (const char* bad : {"", "-", "13-01-02 03:04", "01-32-02 03:04", "01-15-02 25:00", "soon", "1 Foo 2002 01:00"}) {
    EXPECT_FALSE(FtpStamp(bad, now)) << bad;
  }
}

TEST(SizeInReply, CountsAfterCode213Alone) {
  EXPECT_EQ(SizeInReply("213 1024"), 1024);
  EXPECT_EQ(SizeInReply("213 99999999999999999999"), INT64_MAX);
  EXPECT_EQ(SizeInReply("213 -5"), 0);
  EXPECT_EQ(SizeInReply("213"), 0);
  EXPECT_EQ(SizeInReply("213 many"), 0);
  EXPECT_EQ(SizeInReply("550 1024"), 0);
}

TEST_F(RemoteLogsTest, FetchesWhatWasAddedFromWhereItWasLeft) {
  File() = ScanRig::NcsaLines(1, 3);
  Tick();
  EXPECT_EQ(ftp.calls, (std::vector<std::string>{"logon ftp.example me", "size /logs access.log",
                                                 "download /logs access.log 0 0"}));
  EXPECT_TRUE(rig.Visitor("10.0.0.1") && rig.Visitor("10.0.0.2"));
  EXPECT_EQ(Site().LastReadPos, static_cast<int64_t>(File().size()));
  EXPECT_FALSE(rig.t.ScanInProgress || Site().Scanning || Site().Fetching || Site().FTPScanOK);
  const std::string from = std::to_string(File().size());
  File() += ScanRig::NcsaLines(3, 4);
  Tick();
  EXPECT_EQ(LastCall(), "download /logs access.log " + from + " 120") << "no new look, no new logon";
  EXPECT_TRUE(rig.Visitor("10.0.0.3"));
  EXPECT_EQ(Site().TotalVisitors, 3);
}

TEST_F(RemoteLogsTest, AllSitesWaitForAFetchInTheClassicWay) {
  AddRemote();
  File() = ScanRig::NcsaLines(1, 2);
  rig.clock.Advance(4);
  scan->Timer1Tick();
  scan->Timer1Tick();
  EXPECT_TRUE(rig.t.ScanInProgress);
  EXPECT_EQ(rig.t.Site(2).ScanCount, 0);
  ftp.TurnAll();
  EXPECT_EQ(rig.t.Site(2).ScanCount, 1) << "the tick goes on where it waited";
  EXPECT_TRUE(rig.t.Site(2).CaughtUp);
  EXPECT_FALSE(rig.t.ScanInProgress);
}

TEST_F(RemoteLogsTest, OthersAreScannedMeanwhileWithFetchAside) {
  rig.t.Corrected.FetchAside = true;
  rig.AddSite();
  rig.files.Put("/logs/LOCAL.LOG", ScanRig::NcsaLines(7, 8));
  File() = ScanRig::NcsaLines(1, 3);
  ftp.chunk_bytes = 40;
  rig.clock.Advance(4);
  scan->Timer1Tick();
  EXPECT_FALSE(rig.t.ScanInProgress);
  EXPECT_TRUE(Site().Fetching);
  EXPECT_TRUE(rig.Visitor("10.0.0.7", 2)) << "the second site was read";
  EXPECT_FALSE(rig.Visitor("10.0.0.1"));
  for (int i = 0; i < 4; ++i) ftp.TurnOnce();
  rig.clock.Advance(4);
  scan->Timer1Tick();
  EXPECT_EQ(Site().ScanCount, 1) << "no second fetch while one is under way";
  EXPECT_EQ(rig.t.Site(2).ScanCount, 2);
  ftp.TurnAll();
  EXPECT_TRUE(rig.Visitor("10.0.0.1") && rig.Visitor("10.0.0.2"));
  EXPECT_TRUE(Contains(ftp.calls.back(), " 120")) << "in a first scan too: " << ftp.calls.back();
}

TEST_F(RemoteLogsTest, AShrunkFileIsReadFromItsStart) {
  File() = ScanRig::NcsaLines(1, 4);
  Tick();
  File() = ScanRig::NcsaLines(5, 6);
  Site().LastReadPosDay = 7;
  Site().ForceLookup = true;
  Tick();
  EXPECT_EQ(LastCall(), "download /logs access.log 0 120");
  EXPECT_TRUE(rig.Visitor("10.0.0.5"));
}

TEST_F(RemoteLogsTest, WithoutASizeEachLookStartsFromTheBeginning) {
  ftp.has_size = false;
  File() = ScanRig::NcsaLines(1, 3);
  Tick();
  EXPECT_EQ(Site().FTPFileSize, 0);
  Site().ForceLookup = true;
  Tick();
  EXPECT_EQ(LastCall(), "download /logs access.log 0 120");
  rig.t.Corrected.ResumeUnsized = true;
  Site().ForceLookup = true;
  Tick();
  EXPECT_EQ(LastCall(), "download /logs access.log " + std::to_string(File().size()) + " 120");
}

TEST_F(RemoteLogsTest, PicksTheNewestOfAListingAndOfTwoTheLater) {
  Site().Mask = "EX*.log";
  File("exb.log") = ScanRig::NcsaLines(1, 2);
  FtpEntry folder = Entry("exz.log", "03-05-26 11:00");
  folder.is_folder = true;
  ftp.entries = {Entry("exa.log", "03-05-26 10:00"), Entry("exb.log", "03-05-26 10:00", 1'000), folder,
                 Entry("exc.log", "03-04-26 10:00"), Entry("other.txt", "03-05-26 11:30")};
  Tick();
  EXPECT_EQ(LastCall(), "download /logs exb.log 0 0");
  EXPECT_EQ(Site().FTPFileSize, 1'000);
  EXPECT_FALSE(Site().FTPListing) << "the end of a listing ends no scan";
  EXPECT_TRUE(Traced("exa.log 3/5/2026 10:00:00 AM") && Traced("exc.log")) << "chosen or not";
}

TEST_F(RemoteLogsTest, TheBestDateOutlivesItsListing) {
  for (const bool corrected : {false, true}) {
    rig.t.Corrected.FreshBestDate = corrected;
    Site().Mask = "*.log";
    Site().Paused = false;
    Site().ForceLookup = true;
    Site().FTPBestDate = MakeLogTime(*MakeDay(2026, 3, 5), 0);
    File("old.log") = "";
    ftp.entries = {Entry("old.log", "03-04-26 10:00")};
    Tick();
    EXPECT_EQ(Site().Paused, !corrected) << "no file is newer than the newest ever seen";
  }
}

TEST_F(RemoteLogsTest, PicksTheHighestNameWhereDatesDontCount) {
  Site().Mask = "ex*.log";
  Site().SelectMethod = FileChoice::kAlphabetic;
  for (const char* name : {"ex020115.log", "ex1.log"}) File(name) = "";
  ftp.entries = {Entry("ex020115.log", "01-01-02 10:00"), Entry("ex020114.log", "03-05-26 10:00")};
  Tick();
  EXPECT_EQ(LastCall(), "download /logs ex020115.log 0 0");
  EXPECT_TRUE(Traced("03-05-26 10:00 ex020114.log"));
  Site().SelectMethod = FileChoice::kByDate;
  Site().ForceLookup = true;
  ftp.entries = {Entry("ex1.log", ""), Entry("ex0.log", "")};
  Tick();
  EXPECT_EQ(LastCall(), "download /logs ex1.log 0 120") << "without dates names tell";
}

TEST_F(RemoteLogsTest, TheSizeOfALinkIsThatOfItsFile) {
  Site().Mask = "*.log";
  File("now.log") = ScanRig::NcsaLines(1, 3);
  Site().LastLogFile = "now.log";
  Site().LastReadPos = 60;
  FtpEntry link = Entry("now.log", "03-05-26 10:00", 11);
  link.is_link = true;
  ftp.entries = {link};
  Tick();
  EXPECT_EQ(LastCall(), "download /logs now.log 60 120");
}

TEST_F(RemoteLogsTest, ARefusedLogonIsReportedAndNoFilePausesTheSite) {
  ftp.login = Status::Error(Fail::kRefused, "ftp.example:21: no");
  Tick();
  EXPECT_TRUE(Contains(rig.program_log, "FTP Connect: ftp.example:21: no"));
  EXPECT_TRUE(Contains(rig.program_log, "No log file was found in the FTP folder:/logs [access.log]"));
  EXPECT_TRUE(Site().Paused);
  ScanRig& service = rig;
  service.t.ServiceMode = true;
  Site().Paused = false;
  Site().ForceLookup = false;
  Tick();
  EXPECT_EQ(service.notices.events.front(), "1 FTP Connect:ftp.example:21: no");
  EXPECT_EQ(service.notices.events.back(), "1 Error connecting to FTP site: ftp.example");
  EXPECT_FALSE(Site().Paused) << "tried again at the next period";
}

TEST_F(RemoteLogsTest, TroubleIsToldOnceWithTellFetchOnce) {
  rig.t.Corrected.TellFetchOnce = rig.t.Corrected.WaitForLog = true;
  ftp.login = Status::Error(Fail::kRefused, "ftp.example:21: no");
  for (int i = 0; i < 3; ++i) Tick();
  EXPECT_FALSE(Site().Paused);
  EXPECT_EQ(rig.notices.boxes, (std::vector<std::string>{rig.notices.boxes.front(), "FTP Connect: ftp.example:21: no"}))
      << "after the word about a first scan";
  ftp.login = Status::Ok();
  File() = ScanRig::NcsaLines(1, 2);
  rig.clock.Advance(60);
  Tick();
  EXPECT_TRUE(rig.Visitor("10.0.0.1"));
  ftp.login = Status::Error(Fail::kRefused, "ftp.example:21: no");
  logs->FTPClose(1);
  Tick();
  Tick();
  Tick();
  EXPECT_EQ(rig.notices.boxes.size(), 4u) << ::testing::PrintToString(rig.notices.boxes);
  EXPECT_EQ(rig.notices.boxes[2], "FTP Connect: ftp.example:21: no");
  EXPECT_EQ(rig.notices.boxes[3], "Error connecting to FTP site: ftp.example");
}

TEST_F(RemoteLogsTest, AnErrorIsTracedUnlessTheConnectionBroke) {
  File() = ScanRig::NcsaLines(1, 3);
  ftp.chunk_bytes = 100;
  for (const int code : {10'053, 10'054, 0}) {
    ftp.broken = {code, Status::Error(Fail::kIo, "code " + std::to_string(code))};
    Site().LastReadPos = 0;
    Tick();
    EXPECT_EQ(Traced("FTP ERROR:code " + std::to_string(code)), code == 0) << code;
    EXPECT_FALSE(rig.t.ScanInProgress || Site().Fetching);
    EXPECT_EQ(ftp.calls.back(), "logoff");
  }
  EXPECT_FALSE(Traced("ERROR:code 10054")) << "a transfer had begun";
  ftp.broken = {0, {}};
  Tick();
  EXPECT_EQ(Site().TotalVisitors, 2);
}

TEST(RemoteLines, EachCountsOnceWhereverChunksEnd) {
  const std::string whole = ScanRig::NcsaLines(1, 20) + "\r\n\n\n" + ScanRig::NcsaLines(20, 30);
  for (const bool whole_lines : {false, true}) {
    for (size_t chunk = 1; chunk < 200; chunk += 7) {
      RemoteRig r;
      r.rig.t.Corrected.WholeLines = whole_lines;
      r.ftp.chunk_bytes = chunk;
      r.File() = whole.substr(0, whole.size() - 30);
      r.Tick();
      EXPECT_EQ(r.rig.t.Visitors.Count(), 28) << chunk << whole_lines;
      r.File() = whole;
      r.Tick();
      EXPECT_EQ(r.rig.t.Visitors.Count(), 29) << chunk << whole_lines;
      EXPECT_EQ(r.Site().PagesCounted, 29) << chunk << whole_lines;
      EXPECT_EQ(r.Site().LastReadPos, static_cast<int64_t>(whole.size())) << chunk << whole_lines;
    }
  }
}

TEST_F(RemoteLogsTest, ADownloadOfAMissingFileFailsTheScan) {
  Site().ForceLookup = false;
  Site().LastLogFile = "gone.log";
  Tick();
  EXPECT_TRUE(Traced("FTP ERROR:no such file") && Traced("ERROR:no such file"));
  EXPECT_FALSE(Site().Paused || rig.t.ScanInProgress);
}

TEST_F(RemoteLogsTest, AnErrorOfTheLookIsReportedUnderItsLabel) {
  Site().Mask = "*.log";
  ftp.listing = Status::Error(Fail::kIo, "ftp.example:21: no such folder");
  Tick();
  EXPECT_TRUE(Contains(rig.program_log, "frmFTP.FTPGetFileName"));
  EXPECT_TRUE(Site().Paused);
}

TEST_F(RemoteLogsTest, AnotherLogonIsMadeWhenTheSiteWasEdited) {
  File() = ScanRig::NcsaLines(1, 2);
  Tick();
  Site().FTPUserName = "you";
  Tick();
  EXPECT_EQ(ftp.calls[3], "logoff");
  EXPECT_EQ(ftp.calls[4], "logon ftp.example you");
}

TEST_F(RemoteLogsTest, AHeaderGivesTheFieldsAndOtherCommentsNothing) {
  Site().Type = LogType::kW3C;
  Site().Unix = false;
  File() = "#Software: x\r\n#Fields: date time c-ip cs-uri-stem\r\n2026-03-05 11:00:00 10.1.0.1 /a.htm\r\n";
  Tick();
  EXPECT_EQ(Site().LastFields, "DATE TIME C-IP CS-URI-STEM");
  EXPECT_TRUE(rig.Visitor("10.1.0.1"));
}

TEST_F(RemoteLogsTest, NothingHappensOnceTheProgramCloses) {
  File() = ScanRig::NcsaLines(1, 2);
  rig.clock.Advance(4);
  scan->Timer1Tick();
  rig.t.Closing = true;
  logs->Unload();
  ftp.TurnAll();
  EXPECT_FALSE(rig.Visitor("10.0.0.1"));
}

TEST_F(RemoteLogsTest, TheRestOfALogWithAnotherNameIsReadFirst) {
  rig.t.Corrected.FollowRotation = true;
  Site().Mask = "ex*.log";
  File("ex1.log") = ScanRig::NcsaLines(1, 3);
  ftp.entries = {Entry("ex1.log", "03-05-26 10:00", static_cast<int64_t>(File("ex1.log").size()))};
  Tick();
  File("ex1.log") += ScanRig::NcsaLines(3, 4);
  File("ex2.log") = ScanRig::NcsaLines(4, 5);
  ftp.entries.push_back(Entry("ex2.log", "03-05-26 11:00", 10));
  Site().ForceLookup = true;
  Tick();
  EXPECT_TRUE(rig.Visitor("10.0.0.3") && !rig.Visitor("10.0.0.4"));
  Tick();
  EXPECT_EQ(LastCall(), "download /logs ex2.log 0 120");
  EXPECT_TRUE(rig.Visitor("10.0.0.4"));
  EXPECT_EQ(Site().LastLogFile, "ex2.log");
  EXPECT_EQ(Site().TotalVisitors, 4);
}

TEST_F(RemoteLogsTest, TheRestOfARenamedLogIsReadFirst) {
  rig.t.Corrected.FollowRotation = true;
  File() = ScanRig::NcsaLines(1, 3);
  Tick();
  File("access.log.1") = File() + ScanRig::NcsaLines(3, 4);
  File() = ScanRig::NcsaLines(4, 5);
  ftp.entries = {Entry("access.log.2.gz", "03-05-26 11:59", 9'999), Entry("access.log.2", "03-04-26 10:00", 9'999),
                 Entry("access.log.1", "03-05-26 10:00", 9'999), Entry("access.log", "03-05-26 11:00", 5)};
  Tick();  // Finds it shorter, and looks at the next.
  EXPECT_TRUE(Site().ForceLookup);
  Tick();
  EXPECT_TRUE(rig.Visitor("10.0.0.3") && !rig.Visitor("10.0.0.4"));
  Tick();
  EXPECT_TRUE(rig.Visitor("10.0.0.4"));
  EXPECT_EQ(Site().TotalVisitors, 4);
  EXPECT_EQ(Site().LastReadPos, static_cast<int64_t>(File().size()));
}

TEST_F(RemoteLogsTest, ARestartReadsTheDayAgainWithQuietReplay) {
  rig.t.Corrected.QuietReplay = true;
  File() = ScanRig::NcsaLines(1, 4);
  Site().LastLogFile = "access.log";
  Site().LastReadPos = static_cast<int64_t>(ScanRig::NcsaLines(1, 3).size());
  Site().LastReadPosDay = 1;
  Site().LastReadDateTime = {rig.clock.now.s - 3'600};
  Tick();
  EXPECT_EQ(LastCall(), "download /logs access.log 0 120") << "the first byte is written as 1";
  EXPECT_EQ(Site().PagesCounted, 3);
  EXPECT_EQ(Site().LastReadPosDay, 1);
}

TEST_F(RemoteLogsTest, ALineOfTheComingDayWaitsForTheRollover) {
  rig.t.Corrected.CatchUpRollover = true;
  rig.clock.now = {MakeDay(2026, 3, 5)->n * kSecondsPerDay + 86'390};
  Site().LastScanTime = {};
  const std::string today = ScanRig::NcsaLines(1, 3);
  std::string next = ScanRig::Ncsa("10.0.0.9", "00:00:05", "/p.htm") + "\n";
  next.replace(next.find("05/Mar"), 6, "06/Mar");
  File() = today + next;
  Tick();
  EXPECT_EQ(Site().LastReadPos, static_cast<int64_t>(today.size()));
  EXPECT_FALSE(Site().Fetching);
  rig.clock.Advance(10);
  Tick();
  EXPECT_TRUE(rig.Visitor("10.0.0.9"));
}

}  // namespace
}  // namespace vantry
