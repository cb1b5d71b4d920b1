// The scan cycle, the program's heartbeat: a tick every 2 seconds reads what was added to each due site's log and does
// the daily rollover; another every 5 seconds ends visits.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "logs/line_reader.h"
#include "scan/hit_processor.h"
#include "scan/lifecycle.h"
#include "scan/scan_context.h"

namespace vantry {

class ScanCycle {
 public:
  static constexpr int64_t kTimer1Ms = 2000, kTimer2Ms = 5000;
  // A scan turns the loop at the first check after this time. The check itself comes every kLinesPerCheck lines.
  static constexpr int64_t kYieldMs = 5;
  static constexpr int kLinesPerCheck = 100;

  // `monitoring` tells whether ticks are still wanted: a pause in the middle of a tick ends it after the running scan.
  // `exception_number` gives the number of the exception type at a place of the type table.
  ScanCycle(ScanContext& c, std::function<bool()> monitoring, std::function<int(int16_t)> exception_number);

  void Timer1Tick();
  void Timer2Tick();

  // A scan out of turn, for a log that has changed. Nothing when the site is paused or a scan is under way.
  void ReadNow(int16_t site);
  // One scan of a site. True only when a local file's lines were read to the end.
  bool ScanSite(int16_t site);
  // Closes a scan.
  void EndScan(int16_t site);

  // A fetch of a remote log ends its scan by EndScan and FetchOver, or by FailFetch alone. An empty text is told
  // nobody.
  void FetchOver(int16_t site);
  void FailFetch(int16_t site, const Status& status);
  // One line of a remote log. False before a line of the coming day, which waits for the rollover.
  bool TakeFetchedLine(int16_t site, std::string_view line, std::string_view ahead);
  // The site whose fetch has the scan to itself, 0 for none.
  int16_t OpenFetch() const { return open_fetch_; }
  // A rotated file is left at the end of its last whole line, so following implies reading whole lines. So does a
  // replay that tells what was told: half a line that was read as one is another line later.
  bool ReadsWholeLines() const {
    return t_.Corrected.WholeLines || t_.Corrected.FollowRotation || t_.Corrected.QuietReplay;
  }
  // With FetchAside: makes the scan that of this fetch, which stands aside between two of its events.
  class FetchTurn {
   public:
    FetchTurn(ScanCycle& scan, int16_t site) : scan_(scan), site_(site) { scan_.EnterFetch(site_); }
    ~FetchTurn() { scan_.LeaveFetch(site_); }
    FetchTurn(const FetchTurn&) = delete;
    FetchTurn& operator=(const FetchTurn&) = delete;

   private:
    ScanCycle& scan_;
    int16_t site_;
  };
  // The current log file: folder and name, or the remote name; empty when there is none. Moves the read position back
  // into a file that shrank.
  std::string LogFileName(int16_t site);

  HitProcessor& Hits() { return hits_; }
  Lifecycle& Visits() { return lifecycle_; }

 private:
  void AllowForClockSetBack();
  bool DayIsOver();
  void Rollover();
  void RolloverSites();
  void ShowCurrentView();
  void TellDroppedRows(bool day_is_over);
  void UpdateSleep(SiteRec& site);
  bool ServeSites();
  void ServeRest();
  void TickSite(int16_t site);
  void AfterScan(int16_t site, bool first);
  void CheckSite(int16_t site);
  void AnnounceFirstScan(int16_t site);
  void FlushBeforeScan(int16_t site);
  Status PrepareScan(int16_t site);
  Status ChooseLogFile(int16_t site);
  Status ReportNoLogFile(int16_t site);
  bool HasReplay(const SiteRec& site) const;
  void StartReplay(SiteRec& site);
  int64_t StartReading(SiteRec& site, bool replay);
  void BeginFetch(int16_t site, bool look_up);
  void FetchPrepared(int16_t site, bool look_up);
  Status StartFetch(int16_t site);
  void EnterFetch(int16_t site);
  void LeaveFetch(int16_t site);
  Status ReadLocalLog(int16_t site);
  int64_t SkipToToday(int16_t site, LogFile& file, int64_t from);
  Status ReadFile(int16_t site, LogFile& file, bool replay, bool packed);
  // Whether the site's log is followed through renames and replacements.
  bool Follows(int16_t site) const { return t_.Corrected.FollowRotation && !t_.Site(site).FTP; }
  bool FolderChanged(int16_t site);
  Status ReadFollowedLog(int16_t site);
  void PassOver(LogFile& file, int64_t to);
  Status ReadLines(int16_t site, LineReader& reader);
  bool TakesHeader();
  Status ReadNothing(int16_t site, int64_t position);
  bool TakeLine(int16_t site, std::string_view line, std::string_view ahead);
  Status WaitForLog(int16_t site, const std::string& what);
  void TakeHeaderLine(int16_t site, std::string_view line);
  void FailScan(int16_t site, const Status& status);
  void WarnNoFields(int16_t site);
  std::string NewestLocalFile(int16_t site);
  void Yield(SteadyTime& last);
  void YieldBetweenSites(SteadyTime& last);

  ScanContext& c_;
  LiveTables& t_;
  std::function<bool()> monitoring_;
  std::function<int(int16_t)> exception_number_;
  Lifecycle lifecycle_;
  HitProcessor hits_;
  WallTime last_tick_;
  SteadyTime last_tick_steady_;
  bool first_reading_ = false;   // The running scan is the first that reads the site's log.
  bool ended_early_ = false;     // It left what it could not find for now to the next scan.
  bool folder_changed_ = false;  // Names in the folder of the running scan's log have come or gone.
  bool next_day_met_ = false;    // It stopped before a line of the coming day.
  bool lines_dropped_ = false;   // The running scan met lines before it knew their fields.
  std::vector<char> buffer_;     // The line reader's working space, kept from scan to scan.
  int16_t next_site_ = 0;        // Where a tick goes on that waits for a fetch; 0 when none is under way.
  bool serving_ = false;         // A tick is serving sites.
  int16_t open_fetch_ = 0;
  // What belongs to the scan of a site while its fetch stands aside.
  struct Aside {
    HitRec hit;
    int32_t shift = 0;
    bool first_of_site = false, first_scan = false, first_reading = false, lines_dropped = false;
  };
  std::map<int16_t, Aside> fetches_;
};

}  // namespace vantry
