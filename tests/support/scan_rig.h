// A scan with fakes all around: a disk in memory, a clock moved by hand, neighbours that record what they are asked.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "scan/scan_cycle.h"
#include "support/fakes.h"
#include "support/memory_files.h"

namespace vantry {

struct RecordingExceptions final : ExceptionSink {
  std::vector<std::string> raised;  // "site number value who visit"
  int checks = 0;
  bool AddException(int16_t site, int number, LogTime, std::optional<std::string_view> value, std::string_view who,
                    int32_t visit) override {
    raised.push_back(std::to_string(site) + " " + std::to_string(number) + " " + std::string(value.value_or("")) + " " +
                     std::string(who) + " " + std::to_string(visit));
    return true;
  }
  void CheckExceptions(int16_t) override { ++checks; }
  int Count(int number) const {
    int n = 0;
    for (const std::string& r : raised) n += Contains(r, " " + std::to_string(number) + " ") ? 1 : 0;
    return n;
  }
};

struct RecordingAlerts final : AlertRules {
  int32_t next = 0;  // What RaiseAlert answers.
  std::vector<std::string> calls;
  int32_t RaiseAlert(const VisitorRec& v) override {
    calls.push_back("raise " + v.Key() + " page '" + v.Page + "' dns '" + v.DNS + "'");
    return next;
  }
  void AddAlert(VisitorRec& v, int32_t alert) override {
    calls.push_back("add " + v.Key() + " " + std::to_string(alert));
    v.AlertPending = false;
  }
  void NameArrived(VisitorRec& v) override { calls.push_back("named " + v.Key() + " dns '" + v.DNS + "'"); }
};

struct RecordingHistory final : VisitHistory {
  std::vector<std::string> calls;
  std::map<std::string, std::string, std::less<>> dns;
  bool broken = false;  // UpdateVisitor breaks off.
  void UpdateVisitor(VisitorRec& v, bool skip_referrer) override {
    if (broken) throw std::runtime_error("no memory");
    calls.push_back("visitor " + v.Key() + (skip_referrer ? " " + v.DNS : std::string()));
  }
  void AddVisitToDatabase(VisitorRec& v, std::string_view page) override {
    calls.push_back("visit " + v.Key() + " " + std::string(page));
  }
  void AddPageToDatabase(const VisitorRec& v) override { calls.push_back("page " + v.Key() + " " + v.Page); }
  void AddDownload(const VisitorRec& v) override { calls.push_back("download " + v.Key() + " " + v.Page); }
  void UpdateVisitInDatabase(const VisitorRec& v) override { calls.push_back("end " + v.Key()); }
  void UpdateHackCount(VisitorRec& v) override { calls.push_back("hack " + v.Key()); }
  std::string LookupDNS(std::string_view ip, VisitorRec*) override {
    const auto it = dns.find(ip);
    return it == dns.end() ? std::string() : it->second;
  }
  std::string LookupCountryCode(std::string_view) override { return "DE"; }
  void UpdateDNS(std::string_view ip, std::string_view name) override {
    calls.push_back("dns " + std::string(ip) + " " + std::string(name));
  }
  void FlushDatabase() override { ++flushes; }
  void UpdateDaySummaries() override {
    calls.emplace_back("summaries");
    if (on_summaries) on_summaries();
  }
  void CloseDatabase() override { calls.emplace_back("close"); }
  int flushes = 0;
  std::function<void()> on_summaries;
  int Count(std::string_view beginning) const {
    int n = 0;
    for (const std::string& c : calls) n += StartsWith(c, beginning) ? 1 : 0;
    return n;
  }
};

struct RecordingNames final : VisitorNames {
  std::map<std::string, std::string> names;
  std::string ResolveVisitor(VisitorRec& v) override {
    const auto named = names.find(std::string(v.IP));
    return named != names.end() ? named->second : std::string(v.IP);
  }
  std::string CountryName(std::string_view code) override { return "Country " + std::string(code); }
};

struct RecordingFtp final : FtpFetch {
  bool connects = true;
  std::string file;
  std::vector<std::string> calls;
  void PrepareFetch(int16_t, bool, std::function<void()> prepared) override { prepared(); }
  std::string Trouble(int16_t) override { return {}; }
  bool FTPConnect(int16_t) override {
    calls.emplace_back("connect");
    return connects;
  }
  void FTPClose(int16_t) override { calls.emplace_back("close"); }
  std::string FTPGetFileName(int16_t) override {
    calls.emplace_back("name");
    return file;
  }
  void StartDownload(int16_t, int64_t start, int timeout) override {
    calls.push_back("download " + std::to_string(start) + " " + std::to_string(timeout));
  }
};

struct RecordingDaily final : DailyWork {
  std::vector<int16_t> reports;
  int archive_checks = 0;
  Status archive_answer;
  void SendDailyReport(int16_t site) override { reports.push_back(site); }
  Status CheckAutoArchive() override {
    ++archive_checks;
    return archive_answer;
  }
};

struct RecordingEvents final : VisitorEvents {
  std::vector<std::string> calls;
  void VisitorArrived(const std::string& domain, const VisitorRec& v, std::string_view page) override {
    calls.push_back("arrived " + domain + " " + v.IP + " " + std::string(page));
  }
  void VisitorPageMove(const std::string& domain, const VisitorRec& v) override {
    calls.push_back("move " + domain + " " + v.IP + " " + v.Page);
  }
  void VisitorLeft(const std::string& domain, const VisitorRec& v) override {
    calls.push_back("left " + domain + " " + v.IP);
  }
  void DNSResolved(std::string_view address, std::string_view name) override {
    calls.push_back("resolved " + std::string(address) + " " + std::string(name));
  }
};

// Noon of 5 March 2026, which is today. Sites read /logs/*.log.
struct ScanRig {
  LiveTables t;
  Settings settings;
  Regional regional;
  FakeClock clock;
  MemoryFiles files;
  FakeLoop loop;
  RecordingNotices notices;
  std::string program_log;
  ProgramLog log{
      t,
      regional,
      {[this] { return clock.Now(); }, [this](std::string_view b) { program_log += b; }, [this] { notices.Beep(); },
       [this](std::string_view text) { notices.MessageBox(BoxKind::kCritical, text); },
       [this](std::string_view text, EventLevel level) { notices.LogEvent(text, level); }}};
  RecordingView view;
  RecordingEvents events;
  RecordingExceptions exceptions;
  RecordingAlerts alerts;
  RecordingHistory history;
  RecordingNames names;
  RecordingFtp ftp;
  RecordingDaily daily;
  bool monitoring = true;
  ScanContext context{t,    settings, regional,   log,    clock,   files, loop, notices,
                      view, events,   exceptions, alerts, history, names, ftp,  daily};
  ScanCycle scan{context, [this] { return monitoring; }, [](int16_t) { return 404; }};

  ScanRig() {
    settings.Extension = Settings::DefaultExtensions();
    t.Today = DayOf(clock.Now());
    t.HasWindow = true;
  }

  // A site of this type that has caught up, with the thresholds of the built-in exception types.
  SiteRec& AddSite(LogType type = LogType::kNCSA, const std::string& domain = "www.own.example") {
    SiteRec& site = t.Sites.emplace_back();
    site.Name = "Site " + std::to_string(t.SiteCount());
    site.Domain = domain;
    site.HomePage = "index.html";
    site.Type = type;
    site.Unix = type == LogType::kNCSA;
    site.Folder = "/logs/";
    site.Mask = "*.LOG";
    site.ForceLookup = true;
    site.LastLookupTime = clock.Now();
    site.LastScanTime.s = clock.Now().s - 60;
    site.Frequency = 2;
    site.ExValue130 = 10;
    site.ExValue131 = 25;
    site.ExValue133 = 25;
    site.ExValue134 = 5;
    site.ExValue161 = 10;
    return site;
  }

  // Makes the site ready for single lines, as in its `scan_count`th scan.
  void Ready(int16_t site = 1, int scan_count = 3) {
    t.Site(site).ScanCount = scan_count;
    t.Site(site).CaughtUp = true;
    scan.Hits().SetLayout(site);
    t.HitShift = t.TimeBias;
  }
  bool Line(const std::string& line, int16_t site = 1) { return scan.Hits().SplitLine(line, site); }

  // An NCSA line of today.
  static std::string Ncsa(const std::string& ip, const std::string& time, const std::string& path, int status = 200,
                          const std::string& referrer = "-", const std::string& agent = "Browser/1.0") {
    return ip + " - - [05/Mar/2026:" + time + " +0000] \"GET " + path + " HTTP/1.0\" " + std::to_string(status) +
           " 512 \"" + referrer + "\" \"" + agent + "\"";
  }
  // Lines of today from 10.0.0.FROM to the one before 10.0.0.TO, a second apart.
  static std::string NcsaLines(int from, int to) {
    std::string lines;
    for (int i = from; i < to; ++i) {
      lines += Ncsa("10.0.0." + std::to_string(i), "11:00:" + PadNumber(i, 2), "/p.htm") + "\n";
    }
    return lines;
  }
  void Hit(const std::string& ip, const std::string& time, const std::string& path, int status = 200) {
    Line(Ncsa(ip, time, path, status));
  }

  VisitorRec* Visitor(const std::string& ip, int16_t site = 1) { return t.Visitors.Lookup(site, ip); }
  // One scan as the tick does it.
  bool Scan(int16_t site = 1) {
    ++t.Site(site).ScanCount;
    const bool ok = scan.ScanSite(site);
    t.Site(site).CaughtUp = true;
    return ok;
  }
};

}  // namespace vantry
