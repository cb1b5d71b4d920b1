// From a line to a hit. A line is read in steps, each only when the one before let it through, since most lines of a
// log are dropped early. What a line lacks, and what can't be converted, keeps the value of the line before.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/tables.h"
#include "logs/formats.h"
#include "ports/clock.h"

namespace vantry {

class LineParser {
 public:
  // Fills `hit`, and `shift` with the seconds to add to a line's time where the format tells them.
  LineParser(HitRec& hit, int32_t& shift, const Clock& clock) : hit_(hit), shift_(shift), clock_(clock) {}

  // The following lines are of this format, which outlives the parser.
  void SetFormat(const LogFormat& format);
  const LogFormat& Format() const { return *format_; }
  // Takes the layout from the text of a "#FIELDS:" line.
  void MapFields(std::string_view fields) { layout_ = FieldMap(format_->header, fields); }
  // From here on the query is not read.
  void DropQuery() { layout_.ordinal[kUriQuery] = -1; }
  // Empties the hit. Its date and time stay: a bad first line has the date of the last line read.
  void ClearFields();

  // Step 1: takes the line, which must stay until the last step, and returns its time with the shift.
  LogTime ReadTime(std::string_view line);
  // Step 2: the page. False when the layout has none.
  bool ReadPage(const SiteRec& site);
  // Step 3: the client's address.
  void ReadAddress() { Take(kClientIp, hit_.HitIP); }
  // Step 4: all other fields.
  void ReadRemainingFields();

  // Returns the address in the beginning of a line; empty when it is not there.
  std::optional<std::string_view> AddressIn(std::string_view line) const;

 private:
  bool Has(Field field) const { return layout_[field] >= 0; }
  std::optional<std::string_view> Get(Field field) { return fields_.Get(layout_[field]); }
  void Take(Field field, std::string& into);
  void TakeNumber(Field field, int32_t& into);

  HitRec& hit_;
  int32_t& shift_;
  const Clock& clock_;
  const LogFormat* format_ = &FormatOf(LogType::kW3C);
  FieldLayout layout_;
  FieldCutter fields_;
  DateMemo memo_;
};

}  // namespace vantry
