#include "live/live_rows.h"

#include <algorithm>
#include <array>

#include "live/list_query.h"

namespace vantry {
namespace {

// The name of a host; nothing while there is only the address, or a mark that it has no name.
std::string_view HostOf(std::string_view dns, std::string_view ip) {
  const bool is_address = dns == ip || (dns.size() == ip.size() + 2 && dns.starts_with(ip) && dns.ends_with(" ?"));
  return is_address ? std::string_view() : dns;
}

std::string_view TypeName(LogType type) {
  constexpr std::array<std::string_view, 6> kNames = {"W3C", "IIS", "NCSA", "Proxy", "Firewall", "ISA"};
  const auto place = static_cast<size_t>(type);
  return place < kNames.size() ? kNames[place] : std::string_view("unknown");
}

std::string_view AlertName(const LiveTables& t, const AlertRow& row) {
  const auto found = std::find_if(t.Alerts.begin(), t.Alerts.end(), [&](const AlertRec& alert) {
    return alert.Site == row.site && alert.AlertNo == row.alert_no;
  });
  return found == t.Alerts.end() ? std::string_view() : std::string_view(found->Name);
}

void WriteDayRow(const VisitorDayRow& row, JsonWriter& json) {
  json.Text("address", row.ip).TextOrNull("host", HostOf(row.dns, row.ip)).Text("page", row.page);
  json.Time("time", row.when);
}

}  // namespace

void WriteVisitorFields(const VisitorRec& v, JsonWriter& json) {
  std::string_view query = v.Query;
  if (query.starts_with('?')) query.remove_prefix(1);
  json.Text("key", KeyText(v.Site, v.IP)).Number("site", v.Site).Number("visit", v.VisitNo);
  json.Text("address", v.IP).TextOrNull("host", HostOf(v.DNS, v.IP)).TextOrNull("name", v.KnownName);
  json.Text("page", v.Page).Text("query", query).Number("status", v.Status).Text("method", v.Method);
  json.Number("pages", v.Pages).Time("started", v.StartTime).Time("last_hit", v.LastHitTime);
  json.Time("last_page", v.LastPageTime).Text("referrer", v.Referrer).Text("browser", v.Browser);
  json.Text("agent", v.UserAgent).TextOrNull("user", v.UserName == "-" ? std::string_view() : v.UserName.View());
  json.TextOrNull("country", v.CountryCode).TextOrNull("country_name", v.CountryName);
  json.TextOrNull("spider", v.SpiderName).Number("visits", v.VisitCount).Flag("idle", v.Idle);
  json.NumberOrNull("alert", v.AlertNo).Number("hack_score", v.HackCount).Number("not_found", v.NotFoundCount);
}

void WriteVisitor(const VisitorRec& v, JsonWriter& json) {
  json.Begin();
  WriteVisitorFields(v, json);
  json.End();
}

int64_t BytesRead(const SiteRec& site) {
  // A remote log's position counts the bytes before it, a local one's is the next byte, from 1.
  return std::max<int64_t>(site.FTP ? site.LastReadPos : site.LastReadPos - 1, 0);
}

int64_t BytesBehind(const SiteRec& site) {
  const int64_t size = site.FTP ? std::max(site.FTPFileSize, site.LogFileSize) : site.LogFileSize;
  return std::max<int64_t>(size - BytesRead(site), 0);
}

std::string_view SiteState(const SiteRec& site) {
  if (site.Sleeping) return "sleeping";
  if (site.Rests()) return "paused";
  if (site.WaitsForLog) return "waiting";
  return site.Scanning || site.Fetching || !site.ReadOnce ? "reading" : "ok";
}

void WriteSite(const LiveTables& t, int16_t number, JsonWriter& json) {
  const SiteRec& site = t.Site(number);
  json.Begin().Number("site", number).Text("name", site.Name).Text("domain", site.Domain);
  json.Text("home_page", site.HomePage).Text("type", TypeName(site.Type)).Text("state", SiteState(site));
  json.Number("visitors", site.CurrentVisitors).Number("visitors_today", site.TodayVisitors);
  json.Number("spiders_today", site.TodaySpiders).Number("alerts_today", site.TodayAlerts);
  json.Number("exceptions_today", site.TodayExceptions).Number("downloads_today", site.TodayDownloads);
  json.Number("peak_today", site.PeakToday).TextOrNull("log_file", site.LastLogFile);
  json.Number("bytes_read", BytesRead(site)).Number("bytes_behind", BytesBehind(site));
  json.Time("last_line", site.LastReadDateTime);
  // Before the first scan the time is one from which the next is worked out.
  json.Time("last_scan", site.ScanCount > 0 ? site.LastScanTime : WallTime{});
  json.End();
}

void WriteSpider(uint64_t id, const SpiderRow& row, JsonWriter& json) {
  json.Begin().Number("id", static_cast<int64_t>(id)).Number("site", row.site).Number("visit", row.visit_no);
  json.Text("spider", row.engine);
  WriteDayRow(row, json);
  json.Text("key", KeyText(row.site, row.ip)).End();
}

void WriteAlert(const LiveTables& t, uint64_t id, const AlertRow& row, JsonWriter& json) {
  json.Begin().Number("id", static_cast<int64_t>(id)).Number("site", row.site).Number("visit", row.visit_no);
  json.Number("alert", row.alert_no).TextOrNull("name", AlertName(t, row));
  WriteDayRow(row, json);
  if (row.seconds_on_site) {
    json.Number("minutes", *row.seconds_on_site / 60);
  } else {
    json.Null("minutes");
  }
  json.TextOrNull("country", row.country).Text("referrer", row.referrer);
  json.Text("key", KeyText(row.site, row.ip)).End();
}

void WriteException(const Settings& settings, uint64_t id, const ExceptionRow& row, std::string_view key,
                    JsonWriter& json) {
  const auto& types = settings.ExceptionTypes;
  const auto type = std::find_if(types.begin(), types.end(), [&](const auto& one) { return one.Number == row.number; });
  json.Begin().Number("id", static_cast<int64_t>(id)).NumberOrNull("site", row.site).Number("number", row.number);
  json.TextOrNull("name", type == types.end() ? std::string_view() : std::string_view(type->Description));
  json.Time("time", row.when).Text("details", row.details).TextOrNull("key", key).End();
}

std::string SiteNumbers(const SiteRec& site) {
  std::string text = site.Name + "\n" + site.LastLogFile + "\n" + std::string(SiteState(site));
  for (const int64_t number : {int64_t{site.CurrentVisitors}, int64_t{site.TodayVisitors}, int64_t{site.TodaySpiders},
                               int64_t{site.TodayAlerts}, int64_t{site.TodayExceptions}, int64_t{site.TodayDownloads},
                               int64_t{site.PeakToday}, BytesRead(site), BytesBehind(site)}) {
    text.append(" ").append(std::to_string(number));
  }
  return text;
}

}  // namespace vantry
