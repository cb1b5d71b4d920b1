#include "logs/line_parser.h"

#include "config/value_forms.h"
#include "core/text.h"

namespace vantry {

void LineParser::SetFormat(const LogFormat& format) {
  format_ = &format;
  layout_ = format.layout.value_or(FieldLayout());
}

void LineParser::ClearFields() {
  for (std::string* text : {&hit_.CurLine, &hit_.HitIP, &hit_.HitUser, &hit_.HitMethod, &hit_.HitPage, &hit_.HitQuery,
                            &hit_.HitAgent, &hit_.HitReferrer}) {
    text->clear();
  }
  hit_.HitStatus = hit_.HitWin32 = 0;
}

void LineParser::Take(Field field, std::string& into) {
  if (const auto text = Get(field)) into.assign(*text);
}

void LineParser::TakeNumber(Field field, int32_t& into) {
  const auto text = Get(field);
  if (!text) return;
  if (const auto number = ParseLong(*text)) into = *number;
}

LogTime LineParser::ReadTime(std::string_view line) {
  fields_.Start(line, format_->separator);
  if (Has(kDate)) {
    DateLine date{fields_, layout_[kDate], hit_, shift_, memo_};
    format_->read_date(date);
  } else {
    hit_.HitDate = DayOf(clock_.Now());
  }
  if (const auto text = Get(kTime)) {
    if (const auto time = ParseTime(*text)) hit_.HitTime = *time;
  }
  LogTime time = MakeLogTime(hit_.HitDate, hit_.HitTime);
  time.s += shift_;
  return time;
}

bool LineParser::ReadPage(const SiteRec& site) {
  if (!Has(kUriStem)) return false;
  Take(kUriStem, hit_.HitPage);
  if (format_->split_page) format_->split_page(hit_, site);
  return true;
}

void LineParser::ReadRemainingFields() {
  Take(kUriQuery, hit_.HitQuery);
  Take(kReferer, hit_.HitReferrer);
  Take(kUserAgent, hit_.HitAgent);
  Take(kUserName, hit_.HitUser);
  TakeNumber(kStatus, hit_.HitStatus);
  TakeNumber(kWin32Status, hit_.HitWin32);
  Take(kMethod, hit_.HitMethod);
  std::erase(hit_.HitAgent, '"');
}

std::optional<std::string_view> LineParser::AddressIn(std::string_view line) const {
  if (!Has(kClientIp)) return std::nullopt;
  for (int16_t skipped = 0; skipped < layout_[kClientIp]; ++skipped) {
    const size_t at = line.find(format_->separator);
    if (at == std::string_view::npos) return std::nullopt;
    line.remove_prefix(at + 1);
  }
  return Trim(line.substr(0, line.find(format_->separator)));
}

}  // namespace vantry
