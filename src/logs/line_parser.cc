#include "logs/line_parser.h"

#include "config/value_forms.h"
#include "core/text.h"

namespace vantry {

void LineParser::SetFormat(const LogFormat& format, LineRules rules) {
  format_ = &format;
  rules_ = rules;
  quoted_ = format.quoted && rules.quoted_fields;
  zone_ = format.utc && !rules.local_time ? std::optional<int32_t>(0) : std::nullopt;
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
  const auto text = Get(field);
  if (!text) return;
  into.assign(*text);
  if (quoted_) Unescape(into);
}

std::optional<std::string_view> LineParser::GetQuoted(Field field) {
  if (!Has(field)) return std::nullopt;
  switch (field) {
    case kClientIp:
      return line_.Client();
    case kUriStem:
      return line_.Target();
    case kStatus:
      return line_.Status();
    case kReferer:
      return line_.Referrer();
    case kUserAgent:
      return line_.Agent();
    default:
      return std::nullopt;
  }
}

void LineParser::TakeNumber(Field field, int32_t& into) {
  const auto text = Get(field);
  if (!text) return;
  if (const auto number = ParseLong(*text)) into = *number;
}

LogTime LineParser::ReadTime(std::string_view line) {
  if (quoted_) {
    line_.Start(line);
  } else {
    fields_.Start(line, format_->separator);
  }
  if (Has(kDate)) {
    DateLine date{
        fields_, layout_[kDate], hit_, shift_, memo_, rules_.true_times ? &zone_ : nullptr, quoted_ ? &line_ : nullptr};
    format_->read_date(date);
  } else {
    // The day in the log's own zone: just after midnight east of Greenwich a log in UTC still writes yesterday.
    const int64_t ahead = rules_.true_times && zone_ ? clock_.UtcOffset() - *zone_ : 0;
    hit_.HitDate = DayOf(WallTime{clock_.Now().s - ahead});
  }
  if (const auto text = Get(kTime)) {
    if (const auto time = ParseTime(*text)) hit_.HitTime = *time;
  }
  LogTime time = MakeLogTime(hit_.HitDate, hit_.HitTime);
  if (rules_.true_times) return TimeHere(time);
  time.s += shift_;
  return time;
}

LogTime LineParser::TimeHere(LogTime written) const {
  if (!zone_) return written;
  const UtcTime instant{written.s - *zone_};
  return {instant.s + clock_.UtcOffsetAt(instant)};
}

bool LineParser::ReadPage(const SiteRec& site) {
  if (!Has(kUriStem)) return false;
  Take(kUriStem, hit_.HitPage);
  if (quoted_) PartQuery(site);
  if (format_->split_page) format_->split_page(hit_, site);
  return true;
}

void LineParser::PartQuery(const SiteRec& site) {
  const size_t mark = hit_.HitPage.find('?');
  hit_.HitQuery.clear();
  if (mark == std::string::npos) return;
  if (site.IncludeQuery) hit_.HitQuery.assign(hit_.HitPage, mark + 1);
  hit_.HitPage.resize(mark);
}

void LineParser::ReadRemainingFields() {
  Take(kUriQuery, hit_.HitQuery);
  Take(kReferer, hit_.HitReferrer);
  Take(kUserAgent, hit_.HitAgent);
  Take(kUserName, hit_.HitUser);
  TakeNumber(kStatus, hit_.HitStatus);
  TakeNumber(kWin32Status, hit_.HitWin32);
  Take(kMethod, hit_.HitMethod);
  if (Contains(hit_.HitAgent, "\"")) std::erase(hit_.HitAgent, '"');
}

std::optional<std::string_view> LineParser::AddressIn(std::string_view line) const {
  if (!Has(kClientIp)) return std::nullopt;
  if (quoted_) return NcsaClient(line);
  for (int16_t skipped = 0; skipped < layout_[kClientIp]; ++skipped) {
    const size_t at = line.find(format_->separator);
    if (at == std::string_view::npos) return std::nullopt;
    line.remove_prefix(at + 1);
  }
  return Trim(line.substr(0, line.find(format_->separator)));
}

}  // namespace vantry
