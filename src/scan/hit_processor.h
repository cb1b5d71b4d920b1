// `SplitLine`: the routine through which every line of every site passes. Its first half turns the line into a hit, its
// second half decides whether that is a page view, finds or makes the visitor and counts the page.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "scan/classifier.h"
#include "scan/formats.h"
#include "scan/lifecycle.h"
#include "scan/scan_context.h"

namespace vantry {

// One line cut at a separator, no further than somebody asked. Most lines are dropped on their first fields.
class FieldCutter {
 public:
  void Start(std::string_view line, char separator) {
    rest_ = line;
    separator_ = separator;
    fields_.clear();
    done_ = false;
  }
  // The field at a 0-based place, blanks cut at both ends; empty when the line is too short or the place below 0.
  std::optional<std::string_view> Get(int ordinal);

 private:
  std::vector<std::string_view> fields_;
  std::string_view rest_;
  char separator_ = ' ';
  bool done_ = true;
};

class HitProcessor {
 public:
  HitProcessor(ScanContext& c, Lifecycle& lifecycle) : c_(c), t_(c.t), lifecycle_(lifecycle), classifier_(c.t) {}

  // Sets the layout, separator and flags of the site's log type at the start of a scan.
  void SetLayout(int16_t site);
  // Takes the layout from the text of a "#FIELDS:" line.
  void MapFields(int16_t site, std::string_view fields);
  // The query is never read from here on.
  void DropQuery() { layout_.ordinal[kUriQuery] = -1; }
  // Empties the scratch record. Its date and time stay: a bad first line has the date of the last line read.
  void ClearFields();

  // Processes one line. A statement that fails is skipped and the next one runs: what a line lacks keeps the value of
  // the line before. Returns whether the line passed the date tests.
  bool SplitLine(std::string_view line, int16_t site);

  // Asks the memory for this line's visitor and for the index of the next line's, so that they are there when SplitLine
  // looks for them. Only the beginning of that line is needed. Changes nothing but time.
  void WarmUp(int16_t site, std::string_view next_line);

 private:
  std::optional<std::string_view> Get(Field field) { return cutter_.Get(layout_[field]); }
  bool Has(Field field) const { return layout_[field] >= 0; }
  void Take(Field field, std::string& into);
  void ReadDate(const SiteRec& site);
  void ReadNcsaDate(std::string_view date);
  void ReadPage(const SiteRec& site);
  void SplitIsaPage(const SiteRec& site);
  void ReadRemainingFields();

  bool KeepExtension();
  void ProcessHit(std::string_view line, int16_t site, LogTime hit);
  VisitorRec* FindVisitor(int16_t site, LogTime hit, bool& drop);
  VisitorRec* GetVisitorByGroup();
  VisitorRec* NewVisitor(int16_t site, LogTime hit, int32_t& alert);
  bool ChooseSpider(int16_t site, LogTime hit, std::string& spider);
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
  FieldLayout layout_;
  FieldCutter cutter_;
  uint64_t next_visitor_ = 0;  // Hash of the visitor that WarmUp asked for last.
  int16_t line_site_ = 0;      // Site of the line being processed.
  std::string ext_;            // Lower-case extension of this line's page.

  // The date text converted last, since a log repeats it line after line.
  std::array<char, 16> date_text_{};
  size_t date_size_ = 0;
  LogType date_type_ = LogType::kW3C;
  std::optional<Day> date_;
  // The same for the zone behind it.
  std::string zone_text_;
  std::optional<int32_t> zone_shift_;
  std::optional<Day> ConvertDate(LogType type, std::string_view text);
};

// True when the address fits one of the site's `Exclude` patterns or the page one of `ExcludePages`.
bool ExcludeCheck(std::string_view ip, std::string_view page, const SiteRec& site);

}  // namespace vantry
