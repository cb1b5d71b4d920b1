#include "live/list_query.h"

#include <charconv>

#include "core/text.h"
#include "core/wildcard.h"

namespace vantry {
namespace {

bool FitsMask(std::string_view text, std::string_view mask) {
  return mask.empty() || Like(text, mask);
}

// Visitors are known by their address and by the name of their host.
bool FitsAddress(std::string_view ip, std::string_view dns, std::string_view mask) {
  return FitsMask(ip, mask) || Like(dns, mask);
}

std::string_view WithoutSlash(std::string_view page) {
  if (!page.empty() && page.front() == '/') page.remove_prefix(1);
  return page;
}

std::string ReadSite(std::string_view value, const LiveTables& t, ListQuery& list) {
  const auto number = ReadCount(value);
  const bool is_site = number && *number >= 1 && *number <= t.Sites.size();
  if (!is_site || t.Sites[*number - 1].Deleted) return "site: there is no site with this number";
  list.site = static_cast<int16_t>(*number);
  return {};
}

std::string ReadLimit(std::string_view value, ListQuery& list) {
  const auto number = ReadCount(value);
  if (!number || *number < 1 || *number > ListQuery::kMostRows) return "limit: it must be from 1 to 1000000";
  list.limit = *number;
  return {};
}

std::string ReadDay(std::string_view name, std::string_view value, std::optional<Day>& day) {
  if (value.size() == 10) day = ParseYearFirstDate(value, '-');
  return day ? std::string() : std::string(name) + ": it must be a date such as 2026-03-05";
}

std::string ReadMask(std::string_view name, std::string_view value, std::string& mask) {
  mask = value;
  return value.empty() ? std::string(name) + ": it is empty" : std::string();
}

std::string ReadSpider(std::string_view value, ListQuery& list) {
  if (value == "1" || value == "0") {
    list.spider = value == "1";
    return {};
  }
  return ReadMask("spider", value, list.engine);
}

std::string ReadOne(std::string_view name, std::string_view value, const LiveTables& t, unsigned takes,
                    ListQuery& list) {
  const auto is = [&](std::string_view known, unsigned bit) { return (takes & bit) != 0 && name == known; };
  if (is("site", kTakesSite)) return ReadSite(value, t, list);
  if (is("address", kTakesAddress)) return ReadMask(name, value, list.address);
  if (is("page", kTakesPage)) return ReadMask(name, value == "/" ? value : WithoutSlash(value), list.page);
  if (is("country", kTakesCountry)) return ReadMask(name, Upper(value), list.country);
  if (is("spider", kTakesSpider)) return ReadSpider(value, list);
  if (is("limit", kTakesPlace)) return ReadLimit(value, list);
  if (is("cursor", kTakesPlace)) return ReadMask(name, value, list.cursor);
  if (is("from", kTakesDays)) return ReadDay(name, value, list.from);
  if (is("to", kTakesDays)) return ReadDay(name, value, list.to);
  if (is("after", kTakesAfter)) {
    list.after = ReadCount(value);
    return list.after ? std::string() : std::string("after: it must be the id of an event");
  }
  return std::string(name) + ": there is no such parameter here";
}

}  // namespace

std::string ReadListQuery(const LiveQuery& query, const LiveTables& t, unsigned takes, ListQuery& list) {
  for (const auto& [name, value] : query) {
    if (std::string error = ReadOne(name, value, t, takes, list); !error.empty()) return error;
  }
  return {};
}

bool ListQuery::Fits(const VisitorRec& v) const {
  if (!FitsSite(v.Site) || (spider && *spider != v.IsSpider)) return false;
  return (address.empty() || FitsAddress(v.IP, v.DNS, address)) && FitsMask(v.Page, page) &&
         FitsMask(v.CountryCode, country) && FitsMask(v.SpiderName, engine);
}

bool ListQuery::FitsRow(const VisitorDayRow& row) const {
  return FitsSite(row.site) && (address.empty() || FitsAddress(row.ip, row.dns, address)) && FitsMask(row.page, page) &&
         FitsMask(row.country, country);
}

bool ListQuery::Fits(const SpiderRow& row) const {
  return spider.value_or(true) && FitsRow(row) && FitsMask(row.engine, engine);
}

bool ListQuery::Fits(const AlertRow& row) const {
  return FitsRow(row);
}

std::string EscapeBytes(std::string_view bytes) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string text;
  for (const char c : bytes) {
    if (c > ' ' && c < 0x7F && c != '%') {
      text += c;
    } else {
      const auto byte = static_cast<uint8_t>(c);
      text.append({'%', kHex[byte >> 4], kHex[byte & 15]});
    }
  }
  return text;
}

std::string KeyText(int16_t site, std::string_view address) {
  return std::to_string(site) + ":" + EscapeBytes(address);
}

bool ReadKey(std::string_view key, int16_t& site, std::string& address) {
  const size_t colon = key.find(':');
  if (colon == std::string_view::npos) return false;
  const auto number = ReadCount(key.substr(0, colon));
  auto bytes = DecodePercent(key.substr(colon + 1), false);
  if (!number || *number < 1 || *number > INT16_MAX || !bytes) return false;
  site = static_cast<int16_t>(*number);
  address = std::move(*bytes);
  return true;
}

std::string MakeCursor(const LiveTables& t, std::string_view place) {
  return std::to_string(t.Started.s) + "-" + std::string(place);
}

std::optional<std::string> ReadCursor(const LiveTables& t, std::string_view cursor) {
  const std::string run = std::to_string(t.Started.s) + "-";
  if (!StartsWith(cursor, run)) return std::nullopt;
  return std::string(cursor.substr(run.size()));
}

std::optional<uint64_t> ReadCount(std::string_view text) {
  uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return number;
}

}  // namespace vantry
