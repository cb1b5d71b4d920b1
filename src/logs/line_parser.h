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

// Which corrections a site's lines are read with. Without any they are read the classic way.
struct LineRules {
  bool true_times = false;
  bool quoted_fields = false;  // Where the format has quotes: fields in them are whole, and page and query are parted.
  bool local_time = false;     // With true_times: lines without a zone are in local time, whatever their format.
};

class LineParser {
 public:
  // Fills `hit`, and `shift` with the seconds to add to a line's time where the format tells them.
  LineParser(HitRec& hit, int32_t& shift, const Clock& clock) : hit_(hit), shift_(shift), clock_(clock) {}

  // The following lines are of this format, which outlives the parser.
  void SetFormat(const LogFormat& format, LineRules rules = {});
  const LogFormat& Format() const { return *format_; }
  const LineRules& Rules() const { return rules_; }
  // Returns whether a "#FIELDS:" line tells the layout; in a format of fixed layout it tells nothing.
  bool TakesHeader() const { return !format_->header.empty(); }
  // Takes the layout from the text of a "#FIELDS:" line.
  void MapFields(std::string_view fields) { layout_ = FieldMap(format_->header, fields); }
  // From here on the query is not read.
  void DropQuery() { layout_.ordinal[kUriQuery] = -1; }
  // Empties the hit. Its date and time stay: a bad first line has the date of the last line read.
  void ClearFields();

  // Step 1: takes the line, which must stay until the last step, and returns its time with the shift; with true times
  // what the machine's clock showed at its instant.
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
  std::optional<std::string_view> Get(Field field) { return quoted_ ? GetQuoted(field) : fields_.Get(layout_[field]); }
  std::optional<std::string_view> GetQuoted(Field field);
  void PartQuery(const SiteRec& site);
  LogTime TimeHere(LogTime written) const;
  void Take(Field field, std::string& into);
  void TakeNumber(Field field, int32_t& into);

  HitRec& hit_;
  int32_t& shift_;
  const Clock& clock_;
  const LogFormat* format_ = &FormatOf(LogType::kW3C);
  LineRules rules_;
  std::optional<int32_t> zone_;  // With true times: seconds from UTC in which lines are written; empty for local time.
  FieldLayout layout_;
  bool quoted_ = false;  // Lines are cut by `line_`, otherwise by `fields_`.
  NcsaLine line_;
  FieldCutter fields_;
  DateMemo memo_;
};

}  // namespace vantry
