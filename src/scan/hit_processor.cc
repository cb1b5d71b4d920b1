// First half: from the line to the hit.
#include "scan/hit_processor.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "config/value_forms.h"
#include "core/text.h"

namespace vantry {

std::optional<std::string_view> FieldCutter::Get(int ordinal) {
  if (ordinal < 0) return std::nullopt;
  const auto n = static_cast<size_t>(ordinal);
  while (fields_.size() <= n && !done_) {
    const void* hit = rest_.empty() ? nullptr : std::memchr(rest_.data(), separator_, rest_.size());
    if (hit) {
      const auto size = static_cast<size_t>(static_cast<const char*>(hit) - rest_.data());
      fields_.push_back(rest_.substr(0, size));
      rest_.remove_prefix(size + 1);
    } else {
      fields_.push_back(rest_);
      done_ = true;
    }
  }
  if (fields_.size() <= n) return std::nullopt;
  return Trim(fields_[n]);
}

void HitProcessor::SetLayout(int16_t number) {
  SiteRec& site = t_.Site(number);
  const FormatTraits traits = TraitsOf(site.Type);
  site.FieldSeparator = traits.separator;
  if (traits.fixed_layout) site.FieldsKnown = true;
  switch (site.Type) {
    case LogType::kIIS:
      layout_ = SetIISLayout();
      break;
    case LogType::kNCSA:
      layout_ = SetNCSALayout();
      break;
    case LogType::kProxy:
      layout_ = SetProxyLayout();
      break;
    case LogType::kFirewall:
      layout_ = SetFirewallLayout();
      break;
    default:
      layout_ = FieldLayout();
  }
  if (site.Type == LogType::kProxy || site.Type == LogType::kFirewall || site.Type == LogType::kISA) {
    site.ProxyStyle = true;
  } else if (site.Type == LogType::kIIS || site.Type == LogType::kNCSA) {
    site.ProxyStyle = false;
  }
}

void HitProcessor::MapFields(int16_t number, std::string_view fields) {
  const SiteRec& site = t_.Site(number);
  layout_ = FieldMap(site.Type, fields);
}

void HitProcessor::ClearFields() {
  HitRec& h = t_.Hit;
  for (std::string* text :
       {&h.CurLine, &h.HitIP, &h.HitUser, &h.HitMethod, &h.HitPage, &h.HitQuery, &h.HitAgent, &h.HitReferrer}) {
    text->clear();
  }
  h.HitStatus = h.HitWin32 = 0;
}

std::optional<Day> HitProcessor::ConvertDate(LogType type, std::string_view text) {
  if (text.size() == date_size_ && type == date_type_ && std::memcmp(text.data(), date_text_.data(), date_size_) == 0) {
    return date_;
  }
  std::optional<Day> day;
  switch (type) {
    case LogType::kNCSA:
      day = ParseNamedMonthDate(text);
      break;
    case LogType::kIIS:
    case LogType::kProxy:
      day = ParseMonthFirstDate(text, '/');
      break;
    default:
      day = ParseYearFirstDate(text, '-');
  }
  if (text.size() <= date_text_.size() && !text.empty()) {
    std::memcpy(date_text_.data(), text.data(), text.size());
    date_size_ = text.size();
    date_type_ = type;
    date_ = day;
  }
  return day;
}

void HitProcessor::ReadNcsaDate(std::string_view date) {
  date.remove_prefix(date.empty() ? 0 : 1);  // "["
  if (const auto day = ConvertDate(LogType::kNCSA, date.substr(0, 11))) t_.Hit.HitDate = *day;
  if (date.size() > 12) {
    if (const auto time = ParseTime(date.substr(12))) t_.Hit.HitTime = *time;
  }
  const auto zone_field = cutter_.Get(layout_[kDate] + 1);
  if (!zone_field) return;
  const std::string_view zone = zone_field->substr(0, 5);
  if (zone != std::string_view(zone_text_)) {
    zone_text_ = zone;
    zone_shift_.reset();
    if (const auto number = WholeNumber(zone); number && std::abs(*number) < 100'000) {
      // Halves go to the even number.
      zone_shift_ = static_cast<int32_t>(std::nearbyint(static_cast<double>(*number) / 100.0)) * 3600;
    }
  }
  // Added to the line's time below, not subtracted.
  if (zone_shift_) t_.HitShift = *zone_shift_;
}

void HitProcessor::ReadDate(const SiteRec& site) {
  HitRec& h = t_.Hit;
  if (!Has(kDate)) {
    h.HitDate = DayOf(c_.clock.Now());
  } else if (const auto date = Get(kDate)) {
    if (site.Type == LogType::kNCSA) {
      ReadNcsaDate(*date);
    } else if (const auto day = ConvertDate(site.Type, *date)) {
      h.HitDate = *day;
    }
  }
  if (Has(kDate) && (site.Type == LogType::kIIS || site.Type == LogType::kProxy)) t_.HitShift = 0;
  if (const auto time_field = Get(kTime)) {
    if (const auto time = ParseTime(*time_field)) h.HitTime = *time;
  }
}

void HitProcessor::WarmUp(int16_t number, std::string_view next_line) {
  // With few visitors all of them are near already.
  constexpr int32_t kManyVisitors = 4'000;
  if (t_.Visitors.Count() < kManyVisitors || !Has(kClientIp)) return;
  t_.Visitors.WarmRecord(next_visitor_);
  const char separator = t_.Site(number).FieldSeparator;
  for (int16_t skipped = 0; skipped < layout_[kClientIp]; ++skipped) {
    const size_t at = next_line.find(separator);
    if (at == std::string_view::npos) return;
    next_line.remove_prefix(at + 1);
  }
  next_visitor_ = VisitorTable::HashOf(number, Trim(next_line.substr(0, next_line.find(separator))));
  t_.Visitors.WarmIndex(next_visitor_);
}

bool HitProcessor::SplitLine(std::string_view line, int16_t number) {
  SiteRec& site = t_.Site(number);
  cutter_.Start(line, site.FieldSeparator);
  ReadDate(site);
  site.LastReadPos = t_.Hit.CurPos;
  LogTime hit = MakeLogTime(t_.Hit.HitDate, t_.Hit.HitTime);
  hit.s += t_.HitShift;
  if (DayOf(hit) != t_.Today) return false;
  site.LastReadDateTime = hit;
  // The two times are equal here, so this ends a line only when InactivityMins is 0: then a site that has caught up
  // processes no further lines.
  if (site.CaughtUp && MinutesBetween(hit, site.LastReadDateTime) >= c_.settings.InactivityMins) return false;
  if (site.Replaying && site.LastReadPos > site.ReplayUntilPos) site.ReplayUntilPos = 0;
  if (!Has(kUriStem)) return true;
  ReadPage(site);
  if (KeepExtension()) ProcessHit(line, number, hit);
  return true;
}

void HitProcessor::ReadPage(const SiteRec& site) {
  HitRec& h = t_.Hit;
  Take(kUriStem, h.HitPage);
  if (site.Type == LogType::kNCSA) {
    if (h.HitPage == "/") h.HitPage += site.HomePage;
  } else if (site.Type == LogType::kProxy) {
    const size_t mark = h.HitPage.find('?');
    h.HitQuery = mark == std::string::npos ? "" : h.HitPage.substr(mark + 1);
    if (mark != std::string::npos) h.HitPage.resize(mark);
  } else if (site.Type == LogType::kISA) {
    SplitIsaPage(site);
  }
}

void HitProcessor::SplitIsaPage(const SiteRec& site) {
  HitRec& h = t_.Hit;
  if (const size_t slash = h.HitPage.rfind('/'); slash != std::string::npos) {
    h.HitReferrer = h.HitPage.substr(0, slash + 1);
    h.HitPage.erase(0, slash + 1);
  }
  const size_t mark = h.HitPage.find('?');
  if (mark == std::string::npos) {
    h.HitQuery.clear();
    return;
  }
  if (site.IncludeQuery) h.HitQuery = h.HitPage.substr(mark + 1);
  h.HitPage.resize(mark);
}

void HitProcessor::Take(Field field, std::string& into) {
  if (const auto text = Get(field)) into.assign(*text);
}

void HitProcessor::ReadRemainingFields() {
  HitRec& h = t_.Hit;
  Take(kUriQuery, h.HitQuery);
  Take(kReferer, h.HitReferrer);
  Take(kUserAgent, h.HitAgent);
  Take(kUserName, h.HitUser);
  if (const auto text = Get(kStatus)) {
    if (const auto n = ParseLong(*text)) h.HitStatus = *n;
  }
  if (const auto text = Get(kWin32Status)) {
    if (const auto n = ParseLong(*text)) h.HitWin32 = *n;
  }
  Take(kMethod, h.HitMethod);
  std::erase(h.HitAgent, '"');
}

}  // namespace vantry
