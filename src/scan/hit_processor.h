// `SplitLine`: the routine through which every line of every site passes. The line parser turns the line into a hit;
// this decides whether the hit is a page view, finds or makes the visitor and counts the page.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "logs/line_parser.h"
#include "scan/classifier.h"
#include "scan/lifecycle.h"
#include "scan/other_visitors.h"
#include "scan/scan_context.h"

namespace vantry {

class HitProcessor {
 public:
  HitProcessor(ScanContext& c, Lifecycle& lifecycle)
      : c_(c), t_(c.t), lifecycle_(lifecycle), classifier_(c.t), others_(c.t), parser_(t_.Hit, t_.HitShift, c.clock) {}

  // Sets format, separator and flags of the site's log type at the start of a scan.
  void SetLayout(int16_t site);
  // Reads the lines of the scan that SetLayout began.
  LineParser& Parser() { return parser_; }

  // Processes one line. A statement that fails is skipped and the next one runs: what a line lacks keeps the value of
  // the line before. Returns whether the line passed the date tests.
  bool SplitLine(std::string_view line, int16_t site);

  // Returns whether the line last processed is of the day that comes. It counts as not read: the position stays before
  // it until the day has changed.
  bool MetComingDay() const { return met_coming_day_; }

  // Asks the memory for this line's visitor and for the index of the next line's, so that they are there when SplitLine
  // looks for them. Only the beginning of that line is needed. Changes nothing but time.
  void WarmUp(int16_t site, std::string_view next_line);

 private:
  bool IsOfComingDay(LogTime hit) const;
  bool KeepExtension();
  void ProcessHit(std::string_view line, int16_t site, LogTime hit);
  VisitorRec* FindVisitor(int16_t site, LogTime hit, bool& drop);
  bool IsCut(const VisitorRec& v, LogTime hit) const;
  WallTime SeenAt(LogTime hit) const;
  VisitorRec* GetVisitorByGroup(LogTime hit);
  VisitorRec* FirstOfGroup(const std::string& mask, LogTime hit);
  VisitorRec* NewVisitor(int16_t site, LogTime hit, int32_t& alert);
  bool ChooseSpider(int16_t site, LogTime hit, std::string& spider);
  int32_t TestAlerts(VisitorRec& v);
  void FillVisitor(VisitorRec& v, int16_t site, LogTime hit, std::string_view browser, std::string_view spider);
  void SetReferrer(VisitorRec& v, const SiteRec& site);
  void Announce(const VisitorRec& v, const SiteRec& site);
  void CountPage(VisitorRec& v, std::string_view line, LogTime hit);
  void ScoreStatus(VisitorRec& v, LogTime hit);
  void ScoreExtension(VisitorRec& v, LogTime hit);
  void ScorePageAndMethod(VisitorRec& v, LogTime hit);
  void ScoreVisit(VisitorRec& v, LogTime hit);
  void StorePage(VisitorRec& v);
  void Raise(const VisitorRec& v, int number, LogTime hit, std::optional<std::string_view> value, std::string_view who);

  ScanContext& c_;
  LiveTables& t_;
  Lifecycle& lifecycle_;
  Classifier classifier_;
  OtherVisitors others_;
  LineParser parser_;
  uint64_t next_visitor_ = 0;  // Hash of the visitor that WarmUp asked for last.
  bool met_coming_day_ = false;
  int16_t line_site_ = 0;  // Site of the line being processed.
  std::string ext_;        // Lower-case extension of this line's page.
};

// True when the address fits one of the site's `Exclude` patterns or the page one of `ExcludePages`.
bool ExcludeCheck(std::string_view ip, std::string_view page, const SiteRec& site);

}  // namespace vantry
