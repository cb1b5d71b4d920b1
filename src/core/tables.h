// The live tables: all that the monitor knows at run time. Plain records, read and written in place by every part of
// the engine on its one thread. The program has one LiveTables; tests make as many as they like.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/activity.h"
#include "core/bounded_queue.h"
#include "core/corrections.h"
#include "core/date_time.h"
#include "core/day_list.h"
#include "core/page_grid.h"
#include "core/shared_text.h"
#include "core/small_text.h"
#include "core/visitor_table.h"

namespace vantry {

class LiveEvents;

enum class LogType : int16_t { kW3C = 0, kIIS = 1, kNCSA = 2, kProxy = 3, kFirewall = 4, kISA = 5 };

enum class FileChoice : int16_t { kByDate = 0, kAlphabetic = 1, kSameName = 2 };

// Messages that wait for the next mail to one address.
struct PendingTexts : BoundedQueue<std::string> {
  static constexpr size_t kMost = 10'000, kMostBytes = 4'000'000;
  PendingTexts() : BoundedQueue(kMost, kMostBytes) {}
};

// Which file a log is, whatever its name. Kept only with the correction FollowRotation.
struct LogFileId {
  uint64_t Device = 0, Inode = 0;  // Inode 0: no file is known.
  int32_t StartBytes = 0;          // How much of its beginning StartHash covers: what was read, 1,024 bytes at most.
  uint64_t StartHash = 0;
  int64_t WrittenNs = 0;  // Its last change as of the last look.
  std::string Path;       // Where it was found then.
  int64_t SeenBytes = 0;  // Its size then, so that half a line at its end is not read over and over. Not saved.
};

// A file that was read before the current one, as far as it went then; or one without a whole line so far (ReadPos 0).
struct LeftLog {
  LogFileId File;
  int64_t ReadPos = 0;  // As LastReadPos and LastReadPosDay; the latter is 0 when nothing of today is in it.
  int64_t DayPos = 0;
  bool Done = false;  // It can't grow any more, or is gone.
};

// How far a site's log was read. The site file keeps all of it.
struct ReadState {
  std::string LastLogFile;  // Full local path, or the remote file name.
  // 1-based place in LastLogFile where the next scan starts; 0 from the beginning. Of a remote log the number of bytes
  // before that place.
  int64_t LastReadPos = 0;
  int64_t LastReadPosDay = 0;     // Place of the first line read since this day's (or run's) scanning began.
  std::string LastFields;         // Field list of the last "#FIELDS:" line, upper-cased.
  LogTime LastReadDateTime;       // Log time of the newest line accepted as today's.
  std::string LastIP;             // Of the visitor removed last.
  LogTime LastTime;               // LastHitTime of that visitor.
  LogFileId LastFile;             // The file that LastReadPos refers to.
  std::vector<LeftLog> LeftLogs;  // Of today, and those that may still grow; in the order in which they were left.
  int64_t FollowedNs = 0;         // All that was written before has been read (file system's clock).
};

// A monitored site. "Saved" marks what the site file keeps. A site's number is its 1-based place in `Sites` and stays
// valid for the whole run: a deleted site keeps its place.
struct SiteRec : ReadState {
  int16_t AlertDefinitions = 0;  // Number of alert definitions of this site.
  // What is saved in place of the reading state above: as it was when history last had all its rows on the disk.
  std::optional<ReadState> Stored;
  int64_t ReplayUntilPos = 0;  // While not 0: old lines up to this place are being replayed, side effects muted.
  WallTime LastScanTime;       // End of the last scan.
  WallTime LastCheckTime;      // When its exceptions for empty and crowded sites were checked.
  WallTime LastLookupTime;     // Last search for the current log file.
  bool Replaying = false;
  bool FieldsKnown = false;  // A field layout is known; lines are dropped until then.
  bool Scanning = false;
  bool Sleeping = false;                 // Paused by its sleep period.
  bool SleepMode = false;                // Saved.
  int32_t SleepStart = 0, SleepEnd = 0;  // Saved. Seconds since midnight.
  bool Paused = false;                   // Saved.
  bool Edited = false;                   // Its dialog is open.
  bool ForceLookup = false;              // The next scan searches for the current log file.
  int32_t Frequency = 0;                 // Saved. Scan period in seconds.
  std::string Name;                      // Saved.
  LogType Type = LogType::kW3C;          // Saved.
  bool Unix = false;                     // Saved. Lines end in LF alone.
  bool ProxyStyle = false;               // The log is of outgoing traffic: no spiders there.
  char FieldSeparator = ' ';
  int64_t LogFileSize = 0;                                   // Bytes, at the last file search.
  std::string Mask;                                          // Saved.
  FileChoice SelectMethod = FileChoice::kByDate;             // Saved.
  bool IncludeQuery = false;                                 // Saved.
  bool FTP = false, FTPPassive = false;                      // Saved.
  std::string FTPDomain, FTPUserName, FTPPassword, FTPPath;  // Saved.
  bool FTPScanOK = false;                                    // A transfer has started and not ended yet.
  bool FTPLoaded = false;                                    // It has a client.
  bool FTPListing = false;                                   // What is under way is a listing, not the log.
  std::string FTPPartialLine;                                // The unfinished line of the last chunk.
  std::string FTPBestFile;                                   // Of the running listing.
  LogTime FTPBestDate;                                       // Its date. Not reset before a listing.
  int64_t FTPFileSize = 0;
  bool Fetching = false;  // A scan of a remote log is under way.
  std::string Folder;     // Saved.
  int32_t TotalVisitors = 0, TotalAlerts = 0, TotalSpiders = 0, TotalExceptions = 0;
  int32_t TodayReserved = 0;
  int32_t TodayVisitors = 0, TodayAlerts = 0, TodaySpiders = 0, TodayExceptions = 0, TodayDownloads = 0;
  int32_t TotalPeak = 0;
  int32_t CurrentVisitors = 0;      // In the visitor table now, spiders included.
  int32_t PrevCurrentVisitors = 0;  // At the start or end of the last scan.
  int32_t PeakToday = 0;
  std::string Exclude, ExcludePages;  // Saved.
  std::string Domain, HomePage;       // Saved.
  bool CaughtUp = false;              // The first scan of the run has finished.
  std::string LastPage;               // Of the visitor removed last.
  bool Deleted = false;
  int32_t ScanCount = 0;                          // Scans started in this run.
  bool ReadFromStart = false;                     // Nothing of the log had been read before this run.
  bool ReadBegun = false;                         // A scan of this run has begun to read the log.
  bool ReadOnce = false;                          // A scan of this run came to the log's end.
  int32_t FirstScanVisitors = 0;                  // TotalVisitors after the first that did.
  int32_t PagesCounted = 0;                       // Counted page views in this run.
  int64_t ScanMs = 0;                             // Spent in scans of local logs in this run.
  bool WebAccess = false, WebReferrers = false;   // Saved.
  std::string WebUserName, WebPassword, WebLogo;  // Saved.
  bool UseLocalTime = false;                      // Saved. Used only with corrected times.
  WallTime ExLastLowCheck, ExLastHighCheck;
  int16_t ExValue130 = 0, ExValue131 = 0, ExValue133 = 0, ExValue134 = 0, ExValue161 = 0;
  bool ViewDirty = false;     // A visitor left: the site's node needs its count refreshed.
  bool Touch = false;         // Saved.
  int32_t TouchEvery = 0;     // Saved. Minutes.
  std::string TouchPage;      // Saved.
  WallTime TouchCheckTime;    // Set at the start, a minute further for each site; TouchNext alone decides.
  WallTime TouchNext;         // The earliest time of the next touch.
  bool TouchFailed = false;   // The last touch did.
  std::string EmailAddress;   // Saved.
  PendingTexts PendingEmail;  // Collected for EmailAddress.
  bool EmailGlobalAlso = false, EmailDailyReport = false, EmailNoExceptions = false;  // Saved.
  int16_t AlertView = 0, ExceptionView = 0;  // Filter of the window's lists, 0 for all.
  bool AutoArchive = false;                  // Saved.
  bool WaitsForLog = false;                  // There was no log at the last scan: it is looked for at the next.
  bool WaitTold = false;                     // The operator knows of it.
  int64_t FolderWritten = 0;                 // Last change of the log's folder when it was looked at.
  bool FolderSettled = true;                 // It has been looked at again since.
  std::string LastScanError;                 // What the last failed scan reported, so that it is reported once.
  // It is not scanned, and is shown as paused. While it is edited that is so without reaching the file.
  bool Rests() const { return Paused || Edited; }
};

// A visitor now on line. A day may bring millions, so texts take little room: those that many visitors have in common
// are shared. The fields that every page view touches come first, to lie together in memory: with many visitors,
// fetching these lines is what a view costs.
struct alignas(64) VisitorRec {
  SmallText IP;
  SmallText Page;        // Of the newest counted view, as are Query, Status and Method.
  LogTime LastHitTime;   // Newest hit of any kind.
  LogTime LastPageTime;  // Newest counted view.
  LogTime StartTime;     // First hit; never changes.
  WallTime LastClock;    // Creation and newest counted view.

  uint32_t PageHash = 0;  // Of Page: another page is told apart without reading it.
  int32_t Status = 0;
  uint64_t LastPageRow = PageRows::kNoRow;
  int16_t Site = 0;
  int16_t Pages = 0;          // Counted page views; stays full at 32,767.
  int16_t NotFoundCount = 0;  // 404 hits since the last exception 161.
  int16_t HackCount = 0;      // Suspicion score.
  bool Idle = false, Remove = false;
  bool GridDirty = false;  // Something that a list shows has changed; whoever shows it clears this.
  bool HackRaised = false, PagesRaised = false, LongVisitRaised = false;
  bool AlertPending = false, SpiderPending = false;
  SmallText Query;
  SharedText Method;
  int32_t Number = 0;  // The visitor's own place in the table; kept by the table.
  bool IsSpider = false;
  bool Hidden = false;  // Not shown in the current view.
  bool DNSDone = false;
  bool ReadAgain = false;  // An earlier run of the program has stored this visit already.

  SmallText DNS;         // Host name, or the address while unresolved.
  SharedText GroupMask;  // DNS mask through which hits of other addresses join this visitor.
  SharedText KnownName;  // Friendly name, shown in place of DNS.
  SharedText Referrer;   // Of the first hit, or the user name; for ISA logs the host part of the current request.
  SharedText Browser;
  SharedText UserAgent;
  SharedText SpiderName;

  SharedText UserName;
  SharedText CountryCode, CountryName;
  int32_t VisitNo = 0;     // TotalVisitors after this visit was counted.
  int32_t VisitCount = 0;  // Visits of this address to this site.
  uint32_t VisitRow = 0;   // Row of this visit in the history, 0 while not known.
  int16_t DNSRequestId = 0;
  int16_t AlertNo = 0;
  int64_t StartPos = 0;  // Log place of the first hit.
  LogTime FirstVisited;
  int16_t StoredHackCount = 0;
  bool AlertRaised = false;  // One alert a visit.

  // Site number, ":", address: the row key in every list.
  std::string Key() const { return KeyOf(Site, IP); }
  static std::string KeyOf(int16_t site, std::string_view ip) { return std::to_string(site).append(":").append(ip); }
};
static_assert(sizeof(VisitorRec) == 256);  // Four cache lines; one more field would take a fifth.

// An alert definition. The lists are used from the front; a place beyond the last entry does not exist.
struct AlertRec {
  static constexpr size_t kMaxEntries = 50;
  int16_t Site = 0;
  int16_t AlertNo = 0;
  std::string Name;
  bool Sound = false;
  std::string SoundFile;
  std::string Message;
  bool Email = false;
  std::string EmailAddress;
  bool RunThis = false;
  std::string Run;
  std::vector<std::string> DNS, Word, Engine, Page;
  bool EngineAll = false;
  bool Enabled = false;
  int32_t Color = 0;
  int32_t AlertHits = 0;  // Times raised today.
};

// The log line being processed. Emptied at the start of each scan, not at each line: a field that a line lacks keeps
// its value from the line before.
struct HitRec {
  std::string CurLine;
  int64_t CurPos = 0;  // 1-based place of the line after CurLine.
  Day HitDate;
  int32_t HitTime = 0;
  std::string HitIP, HitUser, HitMethod, HitPage, HitQuery;
  int32_t HitStatus = 0, HitWin32 = 0;
  std::string HitAgent, HitReferrer;
};

// A client that asked for robots.txt without being a known spider.
struct UnknownAgent {
  std::string IP, Agent;
};

struct CountryEntry {
  std::string Code, Name;
};

struct LiveTables {
  Corrections Corrected;  // What the operator has switched on; set at the start.
  WallTime Started;       // When the program did.
  std::vector<SiteRec> Sites;
  VisitorTable Visitors;
  std::vector<AlertRec> Alerts;  // Of all sites, in the order of the site file.
  HitRec Hit;

  int16_t SiteCount() const { return static_cast<int16_t>(Sites.size()); }
  SiteRec& Site(int16_t number) { return Sites[static_cast<size_t>(number - 1)]; }
  const SiteRec& Site(int16_t number) const { return Sites[static_cast<size_t>(number - 1)]; }

  int32_t TotalVisitorCount = 0;  // Since start.
  int32_t TodayVisitorCount = 0, TodayAlertCount = 0, TodaySpiderCount = 0, TodayExceptionCount = 0;
  int32_t TotalAlertCount = 0, TotalSpiderCount = 0, TotalExceptionCount = 0;
  Day Today;                    // What the scanner takes for today; changes only at the start and the rollover.
  int16_t CurrentView = 0;      // Site shown in the window, 0 for all.
  int16_t CurrentViewType = 1;  // 1 visitors, 2 alerts, 3 spiders, 4 exceptions.
  bool ShowVisitedPages = true, ShowTraceView = true;
  int32_t TimeBias = 0;  // Seconds to add to UTC for local time.
  int32_t HitShift = 0;  // Seconds added to the time of the line being processed.
  std::vector<UnknownAgent> UnknownAgents;
  bool UnknownAgentsDirty = false;
  bool ServiceMode = false;
  bool SQLFailed = false;      // The last check of the SQL server did.
  bool InTray = false;         // The window is hidden in the tray.
  int16_t InterfaceCount = 0;  // Above 0 visitor changes are raised as events: somebody asked for pages.
  LiveEvents* Live = nullptr;  // Is told what happens; null: nobody asks.
  bool CountryLookup = false;  // The address-to-country table exists.
  std::vector<CountryEntry> Countries;

  bool ScanInProgress = false;  // A scan or the pass that ends visits: one at a time in the program; ticks wait for it.
  bool FirstScan = false;       // The scan under way is a site's very first.
  bool RolloverDone = false;
  bool Closing = false;  // The program is on its way out: whoever yielded leaves at once.

  DayList<AlertRow> logGrid;
  DayList<SpiderRow> spiderGrid;
  DayList<ExceptionRow> exGrid;
  ActivityRing Activity;   // The last hour, fed at each tick.
  bool HasWindow = false;  // Something shows pageGrid and TraceGrid; without it nothing is added to them.
  PageRows pageGrid;
  TraceRows TraceGrid;
};

}  // namespace vantry
