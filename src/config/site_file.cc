#include "config/site_file.h"

#include <variant>

#include "config/followed_files.h"
#include "core/text.h"

namespace vantry {
namespace {

// A time of day is an int32_t member too, so its rows carry their own form.
enum class SiteForm { kLenient, kStrict, kTime };

using SiteRef = std::variant<std::string SiteRec::*, bool SiteRec::*, int32_t SiteRec::*, int64_t SiteRec::*,
                             LogTime SiteRec::*, LogType SiteRec::*, FileChoice SiteRec::*>;
struct SiteRow {
  std::string_view key;
  SiteRef field;
  SiteForm form = SiteForm::kLenient;
};

// Every site key, in the order in which they are written.
const SiteRow kSiteRows[] = {
    {"Type", &SiteRec::Type},
    {"Unix", &SiteRec::Unix},
    {"Folder", &SiteRec::Folder},
    {"Mask", &SiteRec::Mask},
    {"SelectMethod", &SiteRec::SelectMethod},
    {"IncludeQuery", &SiteRec::IncludeQuery},
    {"FTP", &SiteRec::FTP},
    {"FTPPassive", &SiteRec::FTPPassive},
    {"FTPDomain", &SiteRec::FTPDomain},
    {"FTPUserName", &SiteRec::FTPUserName},
    {"FTPPassword", &SiteRec::FTPPassword},
    {"FTPPath", &SiteRec::FTPPath},
    {"Domain", &SiteRec::Domain},
    {"HomePage", &SiteRec::HomePage},
    {"Frequency", &SiteRec::Frequency, SiteForm::kStrict},
    {"Exclude", &SiteRec::Exclude},
    {"ExcludePages", &SiteRec::ExcludePages},
    {"Paused", &SiteRec::Paused},
    {"SleepMode", &SiteRec::SleepMode},
    {"SleepStart", &SiteRec::SleepStart, SiteForm::kTime},
    {"SleepEnd", &SiteRec::SleepEnd, SiteForm::kTime},
    {"LastLogFile", &SiteRec::LastLogFile},
    {"LastReadPos", &SiteRec::LastReadPos},
    {"LastReadPosDay", &SiteRec::LastReadPosDay},
    {"LastFields", &SiteRec::LastFields},
    {"LastIP", &SiteRec::LastIP},
    {"LastTime", &SiteRec::LastTime},
    {"LastReadDateTime", &SiteRec::LastReadDateTime},
    {"UseLocalTime", &SiteRec::UseLocalTime},
    {"WebAccess", &SiteRec::WebAccess},
    {"WebUserName", &SiteRec::WebUserName},
    {"WebPassword", &SiteRec::WebPassword},
    {"WebLogo", &SiteRec::WebLogo},
    {"WebReferrers", &SiteRec::WebReferrers},
    {"Touch", &SiteRec::Touch},
    {"TouchEvery", &SiteRec::TouchEvery},
    {"TouchPage", &SiteRec::TouchPage},
    {"AutoArchive", &SiteRec::AutoArchive},
    {"EmailAddress", &SiteRec::EmailAddress},
    {"EmailGlobalAlso", &SiteRec::EmailGlobalAlso},
    {"EmailDailyReport", &SiteRec::EmailDailyReport},
    {"EmailNoExceptions", &SiteRec::EmailNoExceptions},
};

using AlertRef = std::variant<std::string AlertRec::*, bool AlertRec::*, int32_t AlertRec::*, int16_t AlertRec::*>;
struct AlertKey {
  std::string_view key;
  AlertRef field;
};

// The single-valued keys of an alert block after `Alert`, in the order in which they are written.
const AlertKey kAlertKeys[] = {
    {"AlertNo", &AlertRec::AlertNo},
    {"AlertEnabled", &AlertRec::Enabled},
    {"AlertColor", &AlertRec::Color},
    {"AlertEmail", &AlertRec::Email},
    {"AlertEmailAddress", &AlertRec::EmailAddress},
    {"AlertSound", &AlertRec::Sound},
    {"AlertSoundFile", &AlertRec::SoundFile},
    {"AlertRun", &AlertRec::Run},
    {"AlertMessage", &AlertRec::Message},
    {"AlertRunThis", &AlertRec::RunThis},
};

// The lists of an alert, recognised by the beginning of the key, so that any numbering loads.
struct ListRow {
  std::string_view key;
  std::vector<std::string> AlertRec::*list;
  bool lower_case;
  size_t min_size;
};
const ListRow kListRows[] = {
    {"AlertDNS", &AlertRec::DNS, true, 1},
    {"AlertWORD", &AlertRec::Word, true, 1},
    {"AlertPage", &AlertRec::Page, false, 1},
    // More than one character: keeps the "Y" or "N" of AlertENGINEALL, which begins alike, out of the list.
    {"AlertENGINE", &AlertRec::Engine, false, 2},
};
constexpr size_t kMaxSites = 32'766;
constexpr std::string_view kDefaultAlert = "Default (All Visitors)";

using Problem = std::optional<std::string>;

Problem NoBool(std::string_view value) {
  return "'" + std::string(value) + "' is neither True nor False";
}
Problem NoNumber(std::string_view value) {
  return "'" + std::string(value) + "' is no whole number";
}

Problem StoreInt(int32_t& field, SiteForm form, std::string_view value) {
  if (form == SiteForm::kLenient) {
    field = LeadingNumber(value);
    return std::nullopt;
  }
  const auto n = form == SiteForm::kTime ? ParseTime(value) : ParseLong(value);
  if (!n) return form == SiteForm::kTime ? Problem("'" + std::string(value) + "' is no time of day") : NoNumber(value);
  field = *n;
  return std::nullopt;
}

Problem StoreSiteField(SiteRec& site, const SiteRow& row, std::string_view value, const Regional& regional) {
  if (auto* text = std::get_if<std::string SiteRec::*>(&row.field)) {
    site.*(*text) = value;
  } else if (auto* flag = std::get_if<bool SiteRec::*>(&row.field)) {
    const auto b = ParseBool(value);
    if (!b) return NoBool(value);
    site.*(*flag) = *b;
  } else if (auto* number = std::get_if<int32_t SiteRec::*>(&row.field)) {
    return StoreInt(site.*(*number), row.form, value);
  } else if (auto* place = std::get_if<int64_t SiteRec::*>(&row.field)) {
    const auto n = ParsePosition(value);
    if (!n) return NoNumber(value);
    site.*(*place) = *n;
  } else if (auto* stamp = std::get_if<LogTime SiteRec::*>(&row.field)) {
    const auto t = regional.ParseStamp(value);
    if (!t) return "'" + std::string(value) + "' is no date and time of the form " + regional.short_date + " hh:mm:ss";
    site.*(*stamp) = *t;
  } else if (auto* type = std::get_if<LogType SiteRec::*>(&row.field)) {
    site.*(*type) = static_cast<LogType>(Clamp16(LeadingNumber(value)));
  } else {
    site.*std::get<FileChoice SiteRec::*>(row.field) = static_cast<FileChoice>(Clamp16(LeadingNumber(value)));
  }
  return std::nullopt;
}

Problem StoreAlertField(AlertRec& alert, const AlertKey& row, std::string_view value) {
  if (auto* text = std::get_if<std::string AlertRec::*>(&row.field)) {
    alert.*(*text) = value;
  } else if (auto* flag = std::get_if<bool AlertRec::*>(&row.field)) {
    const auto b = ParseBool(value);
    if (!b) return NoBool(value);
    alert.*(*flag) = *b;
  } else if (auto* small = std::get_if<int16_t AlertRec::*>(&row.field)) {
    alert.*(*small) = Clamp16(LeadingNumber(value));
  } else {
    alert.*std::get<int32_t AlertRec::*>(row.field) = LeadingNumber(value);
  }
  return std::nullopt;
}

class SiteReader {
 public:
  SiteReader(const Regional& regional, LiveTables& tables) : regional_(regional), t_(tables) {}

  Problem ReadLine(std::string_view line) {
    line = Trim(line);
    if (!line.empty() && line.front() == '[') {
      SiteRec& site = t_.Sites.emplace_back();
      // The last character goes whatever it is.
      site.Name = line.size() > 1 ? line.substr(1, line.size() - 2) : "";
      site.WebReferrers = true;
      return std::nullopt;
    }
    auto pair = SplitKeyValue(line);
    if (!pair) return std::nullopt;
    pair->value = Trim(pair->value);
    if (auto problem = StoreScalar(*pair)) return problem;
    return pair->value.empty() ? std::nullopt : StoreListEntry(*pair);
  }

 private:
  Problem StoreScalar(const KeyValue& pair) {
    for (const SiteRow& row : kSiteRows) {
      if (!EqualsNoCase(pair.key, row.key)) continue;
      if (t_.Sites.empty()) return BeforeSection(pair);
      return StoreSite(pair, row);
    }
    if (pair.key == "LASTFILE" || pair.key == "FOLLOWEDTO" || pair.key == "LEFTFILE") {
      if (t_.Sites.empty()) return BeforeSection(pair);
      ReadFollowed(pair.key, pair.value, t_.Sites.back());
      return std::nullopt;
    }
    for (const AlertKey& row : kAlertKeys) {
      if (!EqualsNoCase(pair.key, row.key)) continue;
      if (t_.Alerts.empty()) return pair.key + " stands before the first Alert";
      return StoreAlertField(t_.Alerts.back(), row, pair.value);
    }
    if (pair.key == "ALERT" || pair.key == "ALERTENGINEALL") {
      if (t_.Sites.empty()) return BeforeSection(pair);
      if (pair.key == "ALERT") {
        AddAlertDefinition(t_, t_.SiteCount(), pair.value);
      } else {
        EnsureAlert();
        t_.Alerts.back().EngineAll = pair.value == "Y";
      }
    }
    return std::nullopt;
  }

  Problem StoreSite(const KeyValue& pair, const SiteRow& row) {
    SiteRec& site = t_.Sites.back();
    if (auto problem = StoreSiteField(site, row, pair.value, regional_)) return problem;
    if (pair.key == "MASK" && site.Mask.empty()) site.Mask = "*.LOG";
    if (pair.key == "LASTFIELDS" && !site.LastFields.empty()) site.FieldsKnown = true;
    if (pair.key == "FOLDER") site.Folder = WithSeparator(site.Folder);
    return std::nullopt;
  }

  Problem StoreListEntry(const KeyValue& pair) {
    for (const ListRow& row : kListRows) {
      if (!EqualsNoCase(std::string_view(pair.key).substr(0, row.key.size()), row.key)) continue;
      if (pair.value.size() < row.min_size) continue;
      if (t_.Sites.empty()) return BeforeSection(pair);
      EnsureAlert();
      auto& list = t_.Alerts.back().*row.list;
      if (list.size() == AlertRec::kMaxEntries) return "more than 50 " + std::string(row.key) + " lines in one alert";
      list.push_back(row.lower_case ? Lower(pair.value) : std::string(pair.value));
    }
    return std::nullopt;
  }

  // Files of an older layout have lists without an alert of their own.
  void EnsureAlert() {
    if (t_.Sites.back().AlertDefinitions == 0) AddAlertDefinition(t_, t_.SiteCount(), kDefaultAlert);
  }

  static Problem BeforeSection(const KeyValue& pair) { return pair.key + " stands before the first [site]"; }

  const Regional& regional_;
  LiveTables& t_;
};

std::string SiteValue(const SiteRec& site, const SiteRow& row, const Regional& regional) {
  if (auto* text = std::get_if<std::string SiteRec::*>(&row.field)) return site.*(*text);
  if (auto* flag = std::get_if<bool SiteRec::*>(&row.field)) return std::string(BoolText(site.*(*flag)));
  if (auto* number = std::get_if<int32_t SiteRec::*>(&row.field)) {
    return row.form == SiteForm::kTime ? FormatTime(site.*(*number)) : std::to_string(site.*(*number));
  }
  if (auto* place = std::get_if<int64_t SiteRec::*>(&row.field)) return std::to_string(site.*(*place));
  if (auto* stamp = std::get_if<LogTime SiteRec::*>(&row.field)) return regional.Stamp(site.*(*stamp));
  if (auto* type = std::get_if<LogType SiteRec::*>(&row.field)) return std::to_string(static_cast<int>(site.*(*type)));
  return std::to_string(static_cast<int>(site.*std::get<FileChoice SiteRec::*>(row.field)));
}

std::string AlertValue(const AlertRec& alert, const AlertKey& row) {
  if (auto* text = std::get_if<std::string AlertRec::*>(&row.field)) return alert.*(*text);
  if (auto* flag = std::get_if<bool AlertRec::*>(&row.field)) return std::string(BoolText(alert.*(*flag)));
  if (auto* small = std::get_if<int16_t AlertRec::*>(&row.field)) return std::to_string(alert.*(*small));
  return std::to_string(alert.*std::get<int32_t AlertRec::*>(row.field));
}

void AppendLine(std::string& out, std::string_view key, std::string_view value) {
  out.append(key).append("=");
  out.append(OneLine(std::string(value))).append("\r\n");
}

// `dns_count` runs on over all alerts of the file; the other lists start again at 1.
void AppendAlert(std::string& out, const AlertRec& alert, int& dns_count) {
  out += "\r\n";
  AppendLine(out, "Alert", alert.Name);
  for (const AlertKey& row : kAlertKeys) AppendLine(out, row.key, AlertValue(alert, row));
  for (const ListRow& row : kListRows) {
    const bool engines = row.list == &AlertRec::Engine;
    if (engines) AppendLine(out, "AlertENGINEALL", alert.EngineAll ? "Y" : "N");
    if (engines && alert.EngineAll) continue;
    int own_count = 0;
    int& count = row.list == &AlertRec::DNS ? dns_count : own_count;
    for (const std::string& entry : alert.*row.list) {
      if (entry.size() >= row.min_size) AppendLine(out, std::string(row.key) + std::to_string(++count), entry);
    }
  }
}

}  // namespace

void AddAlertDefinition(LiveTables& tables, int16_t site, std::string_view name) {
  AlertRec& alert = tables.Alerts.emplace_back();
  alert.Site = site;
  alert.AlertNo = 1;
  alert.Name = name;
  alert.Enabled = true;
  ++tables.Site(site).AlertDefinitions;
}

std::optional<ReadProblem> ParseSites(std::string_view bytes, const Regional& regional, LiveTables& tables) {
  SiteReader reader(regional, tables);
  const auto lines = TextLines(bytes);
  // Last line skipped on purpose: writers end with an empty one.
  for (size_t i = 0; i + 1 < lines.size(); ++i) {
    // A site number is a 16-bit count from 1, with one value to spare after the last.
    if (tables.Sites.size() == kMaxSites && StartsWith(Trim(lines[i]), "[")) {
      return ReadProblem{static_cast<int>(i + 1), "more than " + std::to_string(kMaxSites) + " sites"};
    }
    if (const auto problem = reader.ReadLine(lines[i])) return ReadProblem{static_cast<int>(i + 1), *problem};
  }
  return std::nullopt;
}

std::string FormatSites(const Regional& settings, LiveTables& tables) {
  // Readers take a date with the year in front whatever the machine's own form is.
  const Regional regional = tables.Corrected.IsoDates ? Regional{.short_date = "yyyy-MM-dd"} : settings;
  std::string out;
  int dns_count = 0;
  for (int16_t n = 1; n <= tables.SiteCount(); ++n) {
    SiteRec& site = tables.Site(n);
    if (site.Deleted) continue;
    // A pause that only sleep caused never reaches the file.
    if (site.Sleeping && site.Paused) site.Paused = false;
    SiteRec saved = site;
    if (site.Stored) static_cast<ReadState&>(saved) = *site.Stored;
    out += "[" + OneLine(site.Name) + "]\r\n";
    for (const SiteRow& row : kSiteRows) AppendLine(out, row.key, SiteValue(saved, row, regional));
    for (const auto& [key, value] : FollowedLines(saved)) AppendLine(out, key, value);
    for (const AlertRec& alert : tables.Alerts) {
      if (alert.Site == n) AppendAlert(out, alert, dns_count);
    }
    out += "\r\n";
  }
  return out;
}

void TakeOverFields(const SiteRec& before, const SiteRec& after, SiteRec& site) {
  const ReadState state = site;
  for (const SiteRow& row : kSiteRows) {
    std::visit(
        [&](auto field) {
          if (before.*field != after.*field) site.*field = after.*field;
        },
        row.field);
  }
  static_cast<ReadState&>(site) = state;
}

std::string FormatAlertsOf(const LiveTables& tables, int16_t site) {
  std::string out;
  int dns_count = 0;
  for (const AlertRec& alert : tables.Alerts) {
    if (alert.Site == site) AppendAlert(out, alert, dns_count);
  }
  return out;
}

Status ReadINI(Files& files, const std::string& app_path, const Regional& regional, LiveTables& tables) {
  const std::string path = app_path + "VANTRY.INI";
  std::string bytes;
  const Status status = files.Read(path, bytes);
  if (status.fail == Fail::kNotFound) return Status::Ok();
  if (!status.ok()) return status;
  auto problem = ParseSites(bytes, regional, tables);
  std::string_view advice = ". Nothing after this line was read.";
  if (!problem) {
    problem = LostLastLine(bytes);
    advice = ". Add an empty line; if the file was cut short, restore what followed.";
  }
  if (!problem) return Status::Ok();
  return Status::Error(Fail::kBadData,
                       path + " line " + std::to_string(problem->line) + ": " + problem->text + std::string(advice));
}

Status WriteINI(Files& files, const std::string& app_path, const Regional& regional, LiveTables& tables) {
  const std::string path = app_path + "VANTRY.INI";
  const std::string bytes = FormatSites(regional, tables);
  return bytes.empty() ? files.Remove(path) : files.Replace(path, bytes);
}

}  // namespace vantry
