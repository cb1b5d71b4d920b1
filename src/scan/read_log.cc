// How a scan reads the lines of one file.
#include "core/text.h"
#include "scan/first_of_today.h"
#include "scan/scan_cycle.h"

namespace vantry {
namespace {

bool IsBlankOrComment(std::string_view line) {
  const size_t first = line.find_first_not_of(" \t\r");
  return first == std::string_view::npos || line[first] == '#';
}

}  // namespace

// The position moves as if all lines before had been read: they are of earlier days.
int64_t ScanCycle::SkipToToday(int16_t n, LogFile& file, int64_t from) {
  SiteRec& site = t_.Site(n);
  const LineParser& parser = hits_.Parser();
  const TodayPlace place =
      FirstOfToday({file, parser.Format(), parser.Rules(), t_.HitShift, c_.clock, site.LastFields}, from, t_.Today);
  if (place.start == from) return from;
  if (!place.header.empty()) TakeHeaderLine(n, place.header);
  site.LastReadPos = t_.Hit.CurPos = place.start + 1;
  return place.start;
}

Status ScanCycle::ReadLines(int16_t n, LineReader& reader) {
  int blank_lines = 0, lines = 0;
  SteadyTime last_yield = c_.clock.Steady();
  const bool whole_lines = ReadsWholeLines();
  next_day_met_ = false;
  if (!reader.Next()) {
    if (!reader.Error().ok()) return reader.Error();
    return ReadNothing(n, reader.Position());
  }
  for (;;) {
    const std::string_view line = reader.Line();
    if (whole_lines) {
      if (!reader.IsWhole()) return Status::Ok();
    } else if (blank_lines == 50 || reader.AtEnd()) {
      // Processed whatever it holds, and before the position moves: the next scan reads this line again, whole.
      t_.Hit.CurLine = reader.FilledLine();
      if (!t_.Site(n).FieldsKnown && !IsBlankOrComment(line)) lines_dropped_ = true;
      hits_.SplitLine(t_.Hit.CurLine, n);
      return Status::Ok();
    }
    blank_lines = line.empty() ? blank_lines + 1 : 0;
    t_.Hit.CurPos = reader.Position() + 1;
    if (!TakeLine(n, line, reader.Ahead())) return Status::Ok();
    if (++lines == kLinesPerCheck) {
      lines = 0;
      t_.Hit.CurLine = line;
      Yield(last_yield);
      if (t_.Closing) return Status::Ok();
    }
    if (!reader.Next()) return reader.Error();
  }
}

// There was no line at all from this place on.
Status ScanCycle::ReadNothing(int16_t n, int64_t position) {
  if (position > 0 && ReadsWholeLines()) return Status::Ok();
  // A log that was just rotated is empty.
  if (position == 0 && Follows(n) && t_.Site(n).CaughtUp) return Status::Ok();
  if (position == 0 && t_.Corrected.WaitForLog) {
    if (!t_.Site(n).CaughtUp) (void)WaitForLog(n, t_.Site(n).LastLogFile + " is empty");
    return Status::Ok();
  }
  // Reading a line at the end of a file fails. Of Unix files only an empty one does; elsewhere the line is empty.
  if (!t_.Site(n).Unix || position == 0) return Status::Error(Fail::kIo, "Input past end of file");
  t_.Hit.CurLine.clear();
  hits_.SplitLine(t_.Hit.CurLine, n);
  return Status::Ok();
}

// False before a line of the coming day, which waits for the rollover.
bool ScanCycle::TakeLine(int16_t n, std::string_view line, std::string_view ahead) {
  const bool whole_lines = ReadsWholeLines();
  if (!line.empty() && line.front() == '#') {
    TakeHeaderLine(n, line);
  } else if (whole_lines && IsBlankOrComment(line)) {
    // Split, it would have all fields of the line before.
  } else if (t_.Site(n).FieldsKnown) {
    hits_.WarmUp(n, ahead);
    hits_.SplitLine(line, n);
    next_day_met_ = hits_.MetComingDay();
    if (next_day_met_) return false;
  } else {
    lines_dropped_ = true;
  }
  if (whole_lines) t_.Site(n).LastReadPos = t_.Hit.CurPos;
  return true;
}

void ScanCycle::Yield(SteadyTime& last) {
  if (c_.clock.Steady().ms - last.ms < kYieldMs) return;
  c_.loop.Turn();
  last = c_.clock.Steady();
}

// Many first scans follow each other in one tick, and other ticks wait for all of them; only the port is served.
void ScanCycle::YieldBetweenSites(SteadyTime& last) {
  struct Busy {
    explicit Busy(bool& flag) : flag_(flag) { flag_ = true; }
    ~Busy() { flag_ = false; }
    bool& flag_;
  } const busy(t_.ScanInProgress);
  Yield(last);
}

// In the classic way a "#FIELDS:" line takes the layout from a format that has no names for it.
bool ScanCycle::TakesHeader() {
  return !t_.Corrected.KeepFixedLayout || hits_.Parser().TakesHeader();
}

void ScanCycle::TakeHeaderLine(int16_t n, std::string_view line) {
  if (!TakesHeader()) return;
  const std::string text = Upper(Trim(line));
  if (!StartsWith(text, "#FIELDS:")) return;
  SiteRec& site = t_.Site(n);
  site.LastFields = text.size() > 9 ? text.substr(9) : "";
  hits_.Parser().MapFields(site.LastFields);
  site.FieldsKnown = true;
  // In the classic way a header that a fetch meets brings the query back for the rest of that fetch.
  if (!site.IncludeQuery && (!site.FTP || ReadsWholeLines())) hits_.Parser().DropQuery();
}

}  // namespace vantry
