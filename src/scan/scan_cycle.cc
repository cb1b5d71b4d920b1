#include "scan/scan_cycle.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "core/quiet_lines.h"
#include "core/text.h"
#include "core/visitor_rows.h"
#include "scan/log_follower.h"
#include "scan/log_wait.h"

namespace vantry {
namespace {

// A list does not show that rows were dropped. The program log says so once during the day, and how many there were at
// its end.
template <class Row>
void TellDropped(ProgramLog& log, DayList<Row>& list, const std::string& what, bool day_is_over) {
  if (list.Dropped() == 0 || (list.told && !day_is_over)) return;
  list.told = true;
  const std::string rows = std::to_string(list.Dropped());
  log.WriteProgramLog("The list of today's " + what +
                          (day_is_over ? " dropped " + rows + " rows in all"
                                       : " is full: it drops its oldest rows, " + rows + " so far") +
                          ". Counters and tables have all of them.",
                      false);
}

}  // namespace

ScanCycle::ScanCycle(ScanContext& c, std::function<bool()> monitoring, std::function<int(int16_t)> exception_number)
    : c_(c),
      t_(c.t),
      monitoring_(std::move(monitoring)),
      exception_number_(std::move(exception_number)),
      lifecycle_(c),
      hits_(c, lifecycle_) {}

void ScanCycle::Timer2Tick() {
  if (!t_.ScanInProgress) lifecycle_.ScanToRemove();
}

void ScanCycle::Timer1Tick() {
  // A scan yields, so ticks arrive inside it; they are dropped, not queued.
  if (t_.ScanInProgress || t_.Closing) return;
  const bool done = c_.log.Guard("Timer1", [&] {
    c_.view.SetStatus("Scanning...");
    AllowForClockSetBack();
    Rollover();
    return c_.daily.CheckAutoArchive();
  });
  if (!done || t_.Closing) return;
  next_site_ = 1;
  ServeRest();
}

// A remote log has the scan to itself until it is fetched, and the sites after it wait: the tick ends when it is
// served.
void ScanCycle::ServeRest() {
  if (serving_) return;
  serving_ = true;
  bool over = true;
  const bool done = c_.log.Guard("Timer1", [&] {
    over = ServeSites();
    if (over) TellDroppedRows(false);
    return Status::Ok();
  });
  serving_ = false;
  if (!done) next_site_ = 0;
  if (t_.Closing || !done || !over) return;
  c_.view.UpdateStatus();
  c_.view.SetTrayTip("Vantry: [" + std::to_string(t_.Visitors.Count()) + " Visitors]");
  c_.view.SetStatus("");
}

// False when a fetch is under way that has to end before the next site.
bool ScanCycle::ServeSites() {
  SteadyTime last_yield = c_.clock.Steady();
  while (next_site_ <= t_.SiteCount()) {
    TickSite(next_site_++);
    if (t_.Closing || !monitoring_()) break;
    if (open_fetch_ != 0) return false;
    if (t_.Corrected.QuickStart) YieldBetweenSites(last_yield);
    if (t_.Closing || !monitoring_()) break;
  }
  next_site_ = 0;
  return true;
}

// Local time goes back an hour once a year, and whenever somebody sets the clock back. Whatever is measured by it would
// wait that much longer: the sites' next scans and look-ups, the end of visits, the exceptions for an empty site.
void ScanCycle::AllowForClockSetBack() {
  const WallTime now = c_.clock.Now();
  const SteadyTime steady = c_.clock.Steady();
  const int64_t back = last_tick_.s - now.s;
  const int64_t since_tick = std::max<int64_t>((steady.ms - last_tick_steady_.ms) / 1000, 0) + 1;
  last_tick_ = now;
  last_tick_steady_ = steady;
  if (back <= 0) return;
  for (SiteRec& site : t_.Sites) {
    for (WallTime* time : {&site.LastScanTime, &site.LastLookupTime, &site.ExLastLowCheck, &site.ExLastHighCheck}) {
      time->s -= back;
    }
  }
  t_.Visitors.ForEach([&](int32_t, VisitorRec& v) {
    // A view counted since the clock went back has the new time already.
    const bool new_time = v.LastClock <= now && v.LastClock.s >= now.s - since_tick;
    if (!new_time) v.LastClock.s -= back;
  });
}

// In the classic way a period that runs over midnight never begins, since its start is later than its end; and waking
// starts a site that was paused before.
void ScanCycle::UpdateSleep(SiteRec& site) {
  if (!site.SleepMode) return;
  const int32_t now = SecondOfDay(c_.clock.Now());
  const bool corrected = t_.Corrected.SleepOverMidnight;
  const bool over_midnight = corrected && site.SleepStart > site.SleepEnd;
  if (site.Sleeping) {
    const bool awake = now > site.SleepEnd && (!over_midnight || now <= site.SleepStart);
    // A period that was changed meanwhile, or a clock that was set back.
    const bool early = corrected && !over_midnight && now < site.SleepStart;
    if (awake || early) site.Sleeping = site.Paused = false;
  } else if (over_midnight ? now > site.SleepStart || now < site.SleepEnd
                           : now > site.SleepStart && now < site.SleepEnd) {
    if (!corrected || !site.Paused) site.Sleeping = site.Paused = true;
  }
}

void ScanCycle::TickSite(int16_t n) {
  UpdateSleep(t_.Site(n));
  {
    SiteRec& site = t_.Site(n);
    if (site.Rests()) return;
    const WallTime now = c_.clock.Now();
    if (MinutesBetween(site.LastLookupTime, now) > (site.FTP ? 30 : 15)) site.ForceLookup = true;
    if (site.WaitsForLog) site.ForceLookup = true;
    if (site.Scanning || site.Fetching || site.LastScanTime.s + ScanPeriod(site) >= now.s) return;
    ++site.ScanCount;
  }
  const bool first = IsFirstReading(t_, t_.Site(n));
  ScanSite(n);
  // What follows a fetch comes after it.
  if (!t_.Closing && !t_.Site(n).FTP) AfterScan(n, first);
}

void ScanCycle::AfterScan(int16_t n, bool first) {
  t_.Site(n).CaughtUp = true;
  // After a first scan the table holds all visits since midnight. Those that are over must not count as a crowd.
  const bool quiet = t_.Corrected.QuietFirstScan || t_.Corrected.QuietReplay;
  if (quiet && first) lifecycle_.ScanToRemove();
  if (t_.Closing) return;
  CheckSite(n);
}

void ScanCycle::CheckSite(int16_t n) {
  t_.Site(n).LastCheckTime = c_.clock.Now();
  c_.exceptions.CheckExceptions(n);
}

void ScanCycle::ReadNow(int16_t n) {
  if (t_.ScanInProgress || t_.Closing || t_.Site(n).Rests()) return;
  ++t_.Site(n).ScanCount;
  ScanSite(n);
  if (t_.Closing) return;
  SiteRec& site = t_.Site(n);
  site.CaughtUp = true;
  // A busy site is read ten times a second; what is looked at once a period stays at that.
  if (site.LastCheckTime.s + site.Frequency < c_.clock.Now().s) CheckSite(n);
}

// The classic day ends in the minute 00:01. Until then Today is the old date, so lines of a new day's first minute are
// read and lost; and a day whose minute meets no tick does not end. The corrected one ends at midnight, or at the first
// tick after it; a clock that was set back to an earlier day is believed in that minute.
bool ScanCycle::DayIsOver() {
  const WallTime now = c_.clock.Now();
  const bool minute = SecondOfDay(now) / 60 == 1;
  if (t_.Corrected.CatchUpRollover) return DayOf(now) > t_.Today || (minute && DayOf(now) < t_.Today);
  const bool done = std::exchange(t_.RolloverDone, minute);
  return minute && !done;
}

void ScanCycle::Rollover() {
  if (!DayIsOver()) return;
  // A restart reads the new day's lines alone, so nothing of the old day may go on.
  if (t_.Corrected.QuietReplay) lifecycle_.EndDay();
  const int16_t view = t_.CurrentView;
  RolloverSites();
  for (AlertRec& alert : t_.Alerts) alert.AlertHits = 0;
  t_.TodayVisitorCount = t_.TodayAlertCount = t_.TodaySpiderCount = t_.TodayExceptionCount = 0;
  TellDroppedRows(true);
  t_.logGrid.Clear();
  t_.spiderGrid.Clear();
  t_.exGrid.Clear();
  t_.Today = DayOf(c_.clock.Now());
  if (t_.CurrentView != view) {
    t_.CurrentView = view;
    ShowCurrentView();
  }
}

void ScanCycle::TellDroppedRows(bool day_is_over) {
  TellDropped(c_.log, t_.logGrid, "alerts", day_is_over);
  TellDropped(c_.log, t_.spiderGrid, "spiders", day_is_over);
  TellDropped(c_.log, t_.exGrid, "exceptions", day_is_over);
}

void ScanCycle::ShowCurrentView() {
  HideRowsOutsideView(t_, exception_number_);
  c_.view.ShowCurrentView();
}

void ScanCycle::RolloverSites() {
  // One call writes the day of all sites, so it comes before the counters of any of them are cleared.
  c_.history.UpdateDaySummaries();
  for (int16_t n = 1; n <= t_.SiteCount(); ++n) {
    if (t_.Site(n).EmailDailyReport) {
      t_.CurrentView = n;
      c_.view.UpdateStatus();
      ShowCurrentView();
      c_.daily.SendDailyReport(n);
    }
    SiteRec& site = t_.Site(n);
    site.TodayReserved = site.TodayAlerts = site.TodayVisitors = site.TodaySpiders = site.TodayExceptions =
        site.TodayDownloads = site.PeakToday = 0;
    site.ForceLookup = true;
    // What is being fetched may go on over midnight.
    if (site.FTP && !site.Fetching) c_.ftp.FTPClose(n);
    if (site.FTP && t_.Corrected.QuietReplay && site.LastReadPos > 0) site.LastReadPosDay = site.LastReadPos;
    if (Follows(n)) BeginDayOfLog(site);
  }
}

void ScanCycle::AnnounceFirstScan(int16_t n) {
  if (!t_.ServiceMode && !t_.InTray) {
    c_.notices.MessageBox(BoxKind::kInformation,
                          "The log file for site: " + t_.Site(n).Name +
                              " is about to be scanned for the first time.\r\n\r\n"
                              "The could take several minutes depending on the size of your log file. "
                              "This will take longer than subsequent scans.");
  }
  t_.FirstScan = t_.Site(n).ReadFromStart = true;
  c_.view.SetStatus("Scanning for the first time. Please wait.....");
}

// Before each scan and look-up, so that the tables on disk are not far behind. While many first scans follow each other
// in a quick start, that is left to the timer which writes everything out every 10 s.
void ScanCycle::FlushBeforeScan(int16_t n) {
  if (!t_.Corrected.QuickStart || t_.Site(n).ScanCount > 1) c_.history.FlushDatabase();
}

bool ScanCycle::ScanSite(int16_t n) {
  FlushBeforeScan(n);
  t_.Site(n).Scanning = true;
  t_.Site(n).WaitsForLog = lines_dropped_ = ended_early_ = false;
  // A log that could not be opened at first, as before its disk was mounted, is replayed later.
  first_reading_ = t_.Corrected.QuietReplay ? !t_.Site(n).ReadBegun : t_.Site(n).ScanCount == 1;
  t_.FirstScan = false;
  // Of a log that was just rotated nothing was read yet either.
  const bool known = Follows(n) && t_.Site(n).LastFile.Inode != 0;
  if (t_.Site(n).LastReadPos == 0 && t_.Site(n).ScanCount == 1 && !known) AnnounceFirstScan(n);
  t_.ScanInProgress = true;
  t_.Site(n).PrevCurrentVisitors = t_.Site(n).CurrentVisitors;
  if (c_.settings.ChangeIconDuringScan) c_.view.SetSiteImage(n, kIconSiteScanning);

  if (t_.Site(n).FTP) {
    BeginFetch(n, t_.Site(n).ForceLookup);
    return false;
  }

  const SteadyTime begun = c_.clock.Steady();
  // Whatever goes wrong in here, the scan is closed: a scan left open would hold up all sites for good.
  const Status status = Attempt([&] {
    if (Status prepared = PrepareScan(n); !prepared.ok()) return prepared;
    return ReadLocalLog(n);
  });
  t_.Site(n).ScanMs += c_.clock.Steady().ms - begun.ms;
  // On the way out the position has been saved already; nothing may move any more.
  if (t_.Closing) return false;
  if (!status.ok()) {
    FailScan(n, status);
    return false;
  }
  EndScan(n);
  return true;
}

Status ScanCycle::PrepareScan(int16_t n) {
  hits_.SetLayout(n);
  t_.HitShift = t_.TimeBias;
  folder_changed_ = Follows(n) && FolderChanged(n);
  if (t_.Site(n).ForceLookup || folder_changed_) {
    if (Status status = ChooseLogFile(n); !status.ok()) return status;
  } else if (t_.Site(n).FTP && !c_.ftp.FTPConnect(n)) {
    const std::string text = "Error connecting to FTP site: " + t_.Site(n).FTPDomain;
    const bool known = t_.Corrected.TellFetchOnce && t_.Site(n).LastScanError == text;
    if (t_.ServiceMode && !known) {
      c_.log.AddLogEvent(text, EventLevel::kError);
    } else if (!known) {
      c_.notices.MessageBox(BoxKind::kCritical, text);
      c_.log.WriteProgramLog(text, false);
    }
    return Status::Error(Fail::kRefused, text);
  }
  SiteRec& site = t_.Site(n);
  // A restart, and every later scan, has the layout without seeing the header again.
  if (!site.LastFields.empty() && TakesHeader()) hits_.Parser().MapFields(site.LastFields);
  return Status::Ok();
}

Status ScanCycle::ChooseLogFile(int16_t n) {
  const std::string name = LogFileName(n);
  // What is left of a log without a name is read all the same.
  if (name.empty() && Follows(n) && t_.Site(n).LastFile.Inode != 0) return Status::Ok();
  if (name.empty() && t_.Corrected.WaitForLog) {
    const std::string trouble = t_.Site(n).FTP ? c_.ftp.Trouble(n) : FolderTrouble(c_.files, t_.Site(n).Folder);
    return WaitForLog(n, trouble.empty() ? NoFileFits(t_.Site(n)) : trouble);
  }
  if (name.empty()) {
    Status status = ReportNoLogFile(n);
    t_.Site(n).Paused = true;
    if (t_.Site(n).FTP) c_.ftp.FTPClose(n);
    return status;
  }
  SiteRec& site = t_.Site(n);
  if (name != site.LastLogFile && !Follows(n))
    site.LastReadPos = site.LastReadPosDay = 0;  // A new file is read from its start.
  site.LastLogFile = name;
  return Status::Ok();
}

Status ScanCycle::ReportNoLogFile(int16_t n) {
  const SiteRec& site = t_.Site(n);
  const std::string local = "No log file was found in the folder:" + site.Folder + " Using mask:" + site.Mask;
  if (t_.ServiceMode) {
    const std::string text = site.FTP ? "No log file was found in the FTP path:" + site.FTPPath : local;
    c_.log.AddLogEvent(text, EventLevel::kError);
    return Status::Error(Fail::kNotFound, text);
  }
  const std::string remote = "No log file was found in the FTP folder:" + site.FTPPath + " [" + site.Mask + "]";
  c_.notices.MessageBox(
      BoxKind::kCritical,
      site.FTP ? remote : local + "\r\n\r\nTry changing the File Mask setting in the Site Properties.");
  c_.log.WriteProgramLog(
      site.FTP ? remote : "No log file was found in the folder: " + site.Folder + " using mask: " + site.Mask, false);
  return Status::Error(Fail::kNotFound, site.FTP ? remote : local);
}

// After a restart on the same day all of today's lines are read again, which rebuilds the visitor table in memory.
bool ScanCycle::HasReplay(const SiteRec& site) const {
  return first_reading_ && DayOf(site.LastReadDateTime) == t_.Today;
}

void ScanCycle::StartReplay(SiteRec& site) {
  if (!first_reading_) return;
  if (HasReplay(site) && site.LastReadPosDay > 0) {
    site.ReplayUntilPos = site.LastReadPos;
    site.LastReadPos = site.LastReadPosDay;
    site.Replaying = site.CaughtUp = true;
  }
  site.LastReadPosDay = 0;
}

// The 0-based place from which to read, with all that a reading starts with.
int64_t ScanCycle::StartReading(SiteRec& site, bool replay) {
  site.ReadBegun = true;
  if (replay) StartReplay(site);
  t_.Hit.CurPos = site.LastReadPos;
  if (!site.IncludeQuery) hits_.Parser().DropQuery();
  hits_.Parser().ClearFields();
  return site.LastReadPos > 0 ? site.LastReadPos - 1 : 0;
}

Status ScanCycle::ReadLocalLog(int16_t n) {
  if (Follows(n)) return ReadFollowedLog(n);
  std::unique_ptr<LogFile> file;
  if (Status status = c_.files.OpenLog(t_.Site(n).LastLogFile, file); !status.ok()) return status;
  return ReadFile(n, *file, true, false);
}

Status ScanCycle::ReadFile(int16_t n, LogFile& file, bool replay, bool packed) {
  SiteRec& site = t_.Site(n);
  int64_t start = StartReading(site, replay);
  if (site.LastReadPosDay == 0) {
    if (t_.Corrected.SeekToday && !packed) start = SkipToToday(n, file, start);
    site.LastReadPosDay = start + 1;
  }
  LineReader reader(file, site.Unix, start, buffer_);
  return ReadLines(n, reader);
}

void ScanCycle::FailScan(int16_t n, const Status& status) {
  if (!t_.Site(n).FTPScanOK) c_.log.AddTrace(n, "ERROR:" + status.text);
  if (t_.Site(n).FTP) c_.ftp.FTPClose(n);
  SiteRec& site = t_.Site(n);
  // Without a window nobody reads the trace, so each new trouble is written to the console once.
  const bool is_new = !status.text.empty() && site.LastScanError != status.text;
  if (is_new && !site.LastLogFile.empty() && !site.WaitsForLog) {
    c_.notices.Tell("Site " + site.Name + ": " + status.text + " (" + site.LastLogFile + "). It is tried again every " +
                    std::to_string(site.Frequency) + " s.");
  }
  site.LastScanError = status.text;
  site.LastScanTime = c_.clock.Now();
  site.Scanning = false;
  t_.ScanInProgress = false;
  c_.view.SetSiteImage(n, site.ProxyStyle ? kIconSiteIdleProxy : kIconSiteIdle);
  c_.view.SetStatus("");
  c_.view.UpdateStatus();
  c_.view.RefreshSiteNode(n);
}

void ScanCycle::WarnNoFields(int16_t n) {
  SiteRec& site = t_.Site(n);
  const std::string text = "The log file for site " + site.Name +
                           " was scanned but no #Field definition lines were found so Vantry cannot interpret the log "
                           "file.";
  if (t_.ServiceMode) {
    c_.log.AddLogEvent(text + " ", EventLevel::kError);
  } else {
    c_.notices.MessageBox(BoxKind::kWarning, text + " \r\n\r\nAre you sure this is a W3C Extended log file?");
    c_.log.WriteProgramLog(text, false);
  }
  site.LastReadPos = 0;
  site.Paused = true;
}

void ScanCycle::EndScan(int16_t n) {
  c_.log.Guard("frmLog.EndScan", [&] {
    t_.Site(n).LastScanTime = c_.clock.Now();
    if (c_.settings.ChangeIconDuringScan) {
      c_.view.SetSiteImage(n, t_.Site(n).ProxyStyle ? kIconSiteIdleProxy : kIconSiteIdle);
    }
    if (t_.FirstScan && !t_.Site(n).FieldsKnown) {
      if (t_.Corrected.WaitForLog && !lines_dropped_) {
        (void)WaitForLog(n, t_.Site(n).LastLogFile + " has no line yet");
        t_.Site(n).LastReadPos = 0;
      } else {
        WarnNoFields(n);
      }
    }
    SiteRec& site = t_.Site(n);
    site.LastScanError.clear();
    site.Scanning = site.Replaying = false;
    site.ReplayUntilPos = 0;
    const bool first = IsFirstReading(t_, site);
    if (!site.ReadOnce) site.FirstScanVisitors = site.TotalVisitors;
    if (!t_.Corrected.QuietReplay || !ended_early_) site.ReadOnce = true;
    // A first scan replays history: no peaks are taken from it.
    if (!first && site.CurrentVisitors > site.PeakToday) site.PeakToday = site.CurrentVisitors;
    c_.view.UpdateStatus();
    if (site.PrevCurrentVisitors != site.CurrentVisitors) c_.view.RefreshSiteNode(n);
    site.PrevCurrentVisitors = site.CurrentVisitors;
    t_.ScanInProgress = false;
    if (t_.FirstScan) c_.view.SetStatus("");
    t_.FirstScan = false;
    return Status::Ok();
  });
}

}  // namespace vantry
