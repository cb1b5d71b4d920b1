#include "logs/formats.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "config/value_forms.h"
#include "core/date_time.h"
#include "core/text.h"

namespace vantry {
namespace {

// --- Names of fields in header lines ---

constexpr HeaderName kW3cNames[] = {
    {"DATE", kDate},
    {"TIME", kTime},
    {"C-IP", kClientIp},
    {"CS-USERNAME", kUserName},
    {"S-SITENAME", kSiteName},
    {"S-COMPUTERNAME", kComputerName},
    {"S-IP", kServerIp},
    {"CS-METHOD", kMethod},
    {"CS-URI-STEM", kUriStem},
    {"CS-URI-QUERY", kUriQuery},
    {"SC-STATUS", kStatus},
    {"SC-WIN32-STATUS", kWin32Status},
    {"SC-BYTES", kServerBytes},
    {"CS-BYTES", kClientBytes},
    {"TIME-TAKEN", kTimeTaken},
    {"S-PORT", kServerPort},
    {"CS-VERSION", kVersion},
    {"CS(USER-AGENT)", kUserAgent},
    {"CS(COOKIE)", kCookie},
    {"CS(REFERER)", kReferer},
};

// The columns mean something else here: the "page" is the action, the "agent" the protocol, the visitor the
// destination.
constexpr HeaderName kFirewallNames[] = {
    {"DATE", kDate},           {"TIME", kTime},          {"DST-IP", kClientIp},
    {"ACTION", kUriStem},      {"TCPWIN", kWin32Status}, {"SIZE", kServerBytes},
    {"DST-PORT", kServerPort}, {"CS-VERSION", kVersion}, {"PROTOCOL", kUserAgent},
};

constexpr HeaderName kIsaNames[] = {
    {"DATE", kDate},
    {"TIME", kTime},
    {"C-IP", kClientIp},
    {"CS-USERNAME", kUserName},
    {"S-SITENAME", kSiteName},
    {"S-COMPUTERNAME", kComputerName},
    {"S-IP", kServerIp},
    {"CS-METHOD", kMethod},
    {"CS-URI", kUriStem},
    {"CS-URI-QUERY", kUriQuery},
    {"SC-STATUS", kStatus},
    {"SC-WIN32-STATUS", kWin32Status},
    {"SC-BYTES", kServerBytes},
    {"CS-BYTES", kClientBytes},
    {"TIME-TAKEN", kTimeTaken},
    {"S-PORT", kServerPort},
    {"CS-VERSION", kVersion},
    {"C-AGENT", kUserAgent},
    {"CS(COOKIE)", kCookie},
};

// --- Recognising a line ---

bool IsFieldsLine(std::string_view line, std::initializer_list<std::string_view> wanted) {
  constexpr std::string_view kKeyword = "#FIELDS:";
  if (!EqualsNoCase(line.substr(0, kKeyword.size()), kKeyword)) return false;
  const std::string text = ReplaceAll(Upper(line.substr(kKeyword.size())), "\t", " ");
  const auto names = Split(text, ' ');
  return std::all_of(wanted.begin(), wanted.end(), [&](std::string_view name) {
    return std::any_of(names.begin(), names.end(), [&](std::string_view n) { return Trim(n) == name; });
  });
}

bool IsFirewallLine(std::string_view line) {
  if (IsFieldsLine(line, {"ACTION", "PROTOCOL", "DST-IP"})) return true;
  const std::string upper = Upper(line);
  return StartsWith(upper, "#SOFTWARE:") &&
         (Contains(upper, "WINDOWS FIREWALL") || Contains(upper, "INTERNET CONNECTION FIREWALL"));
}

bool IsIsaLine(std::string_view line) {
  return Contains(line, "\t") && IsFieldsLine(line, {"C-AGENT", "CS-URI"});
}

bool IsW3cLine(std::string_view line) {
  return IsFieldsLine(line, {"TIME", "C-IP", "CS-URI-STEM"});
}

bool AllDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
}

// The part after the request: status and bytes, then perhaps more.
bool IsStatusAndBytes(std::string_view text) {
  const auto words = Split(text, ' ');
  return words.size() >= 2 && words[0].size() == 3 && AllDigits(words[0]) && (words[1] == "-" || AllDigits(words[1]));
}

// host ident user [dd/Mon/yyyy:hh:mm:ss zone] "request" status bytes
bool IsNcsaLine(std::string_view line) {
  const size_t open = line.find(" [");
  const size_t close = line.find("] \"");
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return false;
  const auto words = Split(line.substr(0, open), ' ');
  if (words.size() != 3 || words[0].empty() || words[1].empty() || words[2].empty()) return false;
  const std::string_view stamp = line.substr(open + 2, close - open - 2);
  if (stamp.size() < 20 || stamp[11] != ':' || !ParseNamedMonthDate(stamp.substr(0, 11))) return false;
  if (!ParseTime(stamp.substr(12, 8))) return false;
  // A request may hold quotes of its own, so each closing quote is tried.
  const std::string_view rest = line.substr(close + 3);
  for (size_t at = rest.find("\" "); at != std::string_view::npos; at = rest.find("\" ", at + 1)) {
    if (IsStatusAndBytes(rest.substr(at + 2))) return true;
  }
  return false;
}

bool HasDateAndTime(std::string_view line, size_t least_fields, size_t place) {
  const auto fields = Split(line, ',');
  return fields.size() >= least_fields && ParseMonthFirstDate(Trim(fields[place]), '/') &&
         ParseTime(Trim(fields[place + 1]));
}

bool IsIisLine(std::string_view line) {
  return HasDateAndTime(line, 14, 2);
}

bool IsProxyLine(std::string_view line) {
  return HasDateAndTime(line, 19, 4);
}

// --- Reading the date ---

void ReadYearFirst(DateLine& line) {
  const auto text = line.fields.Get(line.ordinal);
  if (!text) return;
  const auto day = line.memo.day.Get(*text, [](std::string_view t) { return ParseYearFirstDate(t, '-'); });
  if (day) line.hit.HitDate = *day;
}

void ReadMonthFirst(DateLine& line) {
  line.shift = 0;
  const auto text = line.fields.Get(line.ordinal);
  if (!text) return;
  const auto day = line.memo.day.Get(*text, [](std::string_view t) { return ParseMonthFirstDate(t, '/'); });
  if (day) line.hit.HitDate = *day;
}

// "+0100" is 3600 seconds; half hours go to the even number of hours.
std::optional<int32_t> ZoneSeconds(std::string_view zone) {
  const auto number = WholeNumber(zone);
  if (!number || std::abs(*number) >= 100'000) return std::nullopt;
  return static_cast<int32_t>(std::nearbyint(static_cast<double>(*number) / 100.0)) * 3600;
}

// "+0530" is 19800 seconds. Zones of -1200 to +1400 exist; what is far beyond is not one.
std::optional<int32_t> TrueZoneSeconds(std::string_view zone) {
  if (zone.size() != 5 || (zone[0] != '+' && zone[0] != '-')) return std::nullopt;
  if (!AllDigits(zone.substr(1))) return std::nullopt;
  const int hours = (zone[1] - '0') * 10 + zone[2] - '0', minutes = (zone[3] - '0') * 10 + zone[4] - '0';
  if (hours > 15 || minutes > 59) return std::nullopt;
  return (zone[0] == '-' ? -1 : 1) * (hours * 3600 + minutes * 60);
}

struct NcsaTime {
  std::string_view text, zone;
};

// "[10/Oct/2002:13:55:36" and, in the next field, "-0700]".
std::optional<NcsaTime> NcsaTimeOf(DateLine& line) {
  if (line.quoted) {
    if (line.quoted->Stamp().empty()) return std::nullopt;
    return NcsaTime{line.quoted->Stamp(), line.quoted->Zone().substr(0, 5)};
  }
  const auto field = line.fields.Get(line.ordinal);
  if (!field) return std::nullopt;
  NcsaTime time{field->substr(field->empty() ? 0 : 1), line.fields.Get(line.ordinal + 1).value_or("").substr(0, 5)};
  // A time without a zone: the bracket closes the field itself.
  if (line.zone && time.text.ends_with(']')) time = {time.text.substr(0, time.text.size() - 1), ""};
  return time;
}

// The shift is the zone: it is added, not subtracted.
void ReadNcsaDate(DateLine& line) {
  const auto time = NcsaTimeOf(line);
  if (!time) return;
  if (const auto day = line.memo.day.Get(time->text.substr(0, 11), ParseNamedMonthDate)) line.hit.HitDate = *day;
  if (time->text.size() > 12) {
    if (const auto seconds = ParseTime(time->text.substr(12))) line.hit.HitTime = *seconds;
  }
  if (!line.zone) {
    if (const auto shift = line.memo.shift.Get(time->zone, ZoneSeconds)) line.shift = *shift;
  } else if (time->zone.empty()) {
    line.zone->reset();
  } else if (const auto zone = line.memo.shift.Get(time->zone, TrueZoneSeconds)) {
    *line.zone = *zone;
  }
}

// --- Splitting the page ---

void UseHomePage(HitRec& hit, const SiteRec& site) {
  if (hit.HitPage == "/") hit.HitPage += site.HomePage;
}

void SplitProxyPage(HitRec& hit, const SiteRec&) {
  const size_t mark = hit.HitPage.find('?');
  hit.HitQuery = mark == std::string::npos ? "" : hit.HitPage.substr(mark + 1);
  if (mark != std::string::npos) hit.HitPage.resize(mark);
}

// The part up to the last "/" is where the request went; it is kept as the referrer.
void SplitIsaPage(HitRec& hit, const SiteRec& site) {
  if (const size_t slash = hit.HitPage.rfind('/'); slash != std::string::npos) {
    hit.HitReferrer = hit.HitPage.substr(0, slash + 1);
    hit.HitPage.erase(0, slash + 1);
  }
  const size_t mark = hit.HitPage.find('?');
  if (mark == std::string::npos) {
    hit.HitQuery.clear();
    return;
  }
  if (site.IncludeQuery) hit.HitQuery = hit.HitPage.substr(mark + 1);
  hit.HitPage.resize(mark);
}

// --- The table ---

// A line can fit several formats, so the order counts: the one that asks for more comes first, and a quoted request of
// an NCSA line may hold whatever its client likes.
constexpr LogFormat kFormats[] = {
    {.type = LogType::kFirewall,
     .name = "WindowsXP Firewall",
     .proxy_style = true,
     .layout = FieldLayout{{kDate, 0},
                           {kTime, 1},
                           {kClientIp, 5},
                           {kUriStem, 2},
                           {kWin32Status, 12},
                           {kClientBytes, 8},
                           {kUserAgent, 3}},
     .header = kFirewallNames,
     .recognise = IsFirewallLine,
     .read_date = ReadYearFirst},
    {.type = LogType::kISA,
     .name = "MS ISA Server",
     .separator = '\t',
     .proxy_style = true,
     .header = kIsaNames,
     .one_target = true,
     .utc = true,
     .recognise = IsIsaLine,
     .read_date = ReadYearFirst,
     .split_page = SplitIsaPage},
    {.type = LogType::kW3C,
     .name = "W3C Extended",
     .header = kW3cNames,
     .utc = true,
     .recognise = IsW3cLine,
     .read_date = ReadYearFirst},
    {.type = LogType::kNCSA,
     .name = "NCSA Common/Combined",
     .proxy_style = false,
     .layout = FieldLayout{{kDate, 3},
                           {kClientIp, 0},
                           {kUriStem, 6},
                           {kStatus, 8},
                           {kServerBytes, 9},
                           {kUserAgent, 11},
                           {kReferer, 10}},
     .quoted = true,
     .recognise = IsNcsaLine,
     .read_date = ReadNcsaDate,
     .split_page = UseHomePage},
    {.type = LogType::kIIS,
     .name = "IIS Log File Format",
     .separator = ',',
     .proxy_style = false,
     .layout = FieldLayout{{kDate, 2}, {kTime, 3}, {kClientIp, 0}, {kUriStem, 13}, {kWin32Status, 10}},
     .recognise = IsIisLine,
     .read_date = ReadMonthFirst},
    {.type = LogType::kProxy,
     .name = "MS Proxy Server Log Format",
     .separator = ',',
     .proxy_style = true,
     .layout = FieldLayout{{kDate, 4},
                           {kTime, 5},
                           {kClientIp, 0},
                           {kUserName, 1},
                           {kUriStem, 18},
                           {kWin32Status, 21},
                           {kClientBytes, 13},
                           {kTimeTaken, 12},
                           {kUserAgent, 2}},
     .recognise = IsProxyLine,
     .read_date = ReadMonthFirst,
     .split_page = SplitProxyPage},
};

constexpr LogFormat kUnknown = {.name = "unknown", .read_date = ReadYearFirst};

}  // namespace

std::span<const LogFormat> Formats() {
  return kFormats;
}

const LogFormat& FormatOf(LogType type) {
  for (const LogFormat& format : kFormats) {
    if (format.type == type) return format;
  }
  return kUnknown;
}

}  // namespace vantry
