#include "config/settings_file.h"

#include <variant>

#include "core/date_time.h"
#include "core/text.h"

namespace vantry {
namespace {

using Ref = std::variant<bool Settings::*, int32_t Settings::*, std::string Settings::*>;

// How a number is written and read: with a blank for its sign, without, strictly, or as a time of day.
enum class NumberForm { kPlain, kSigned, kSignedStrict, kTime };

struct Row {
  std::string_view key;
  Ref field;
  NumberForm form = NumberForm::kPlain;
};

// Every key, in the order in which they are written.
const Row kRows[] = {
    {"InactivityMins", &Settings::InactivityMins, NumberForm::kSigned},
    {"ReverseDNS", &Settings::ReverseDNS},
    {"DDFPath", &Settings::DDFPath},
    {"DefaultSound", &Settings::DefaultSound},
    {"NewVisitorSound", &Settings::NewVisitorSound},
    {"ChangeIconDuringScan", &Settings::ChangeIconDuringScan},
    {"AutoHide", &Settings::AutoHide},
    {"AutoArchive", &Settings::AutoArchive},
    {"AutoArchiveDays", &Settings::AutoArchiveDays},
    {"AutoArchiveTime", &Settings::AutoArchiveTime, NumberForm::kTime},
    {"WebAccess", &Settings::WebAccess},
    {"WebAccessControl", &Settings::WebAccessControl},
    {"WebAccessPort", &Settings::WebAccessPort, NumberForm::kSignedStrict},
    {"WebColBackColor", &Settings::WebColBackColor},
    {"WebColButtonBorder", &Settings::WebColButtonBorder},
    {"WebColButtonFace", &Settings::WebColButtonFace},
    {"WebColButtonHighlight", &Settings::WebColButtonHighlight},
    {"WebColDarkBorder", &Settings::WebColDarkBorder},
    {"WebColGrid", &Settings::WebColGrid},
    {"WebColGridBack", &Settings::WebColGridBack},
    {"WebColGridHeader", &Settings::WebColGridHeader},
    {"WebColLiteBorder", &Settings::WebColLiteBorder},
    {"WebColTableHeading", &Settings::WebColTableHeading},
    {"WebAccessLog", &Settings::WebAccessLog},
    {"WebAccessEmail", &Settings::WebAccessEmail},
    {"WAPAccess", &Settings::WAPAccess},
    {"WebUsername", &Settings::WebUsername},
    {"WebPassword", &Settings::WebPassword},
    {"NoSpiders", &Settings::NoSpiders},
    {"EmailServer", &Settings::EmailServer},
    {"EmailUserName", &Settings::EmailUserName},
    {"EmailPassword", &Settings::EmailPassword},
    {"EmailSendTo", &Settings::EmailSendTo},
    {"EmailFrom", &Settings::EmailFrom},
    {"EmailSubject", &Settings::EmailSubject},
    {"EmailEvery", &Settings::EmailEvery, NumberForm::kSigned},
    {"EmailDailyReport", &Settings::EmailDailyReport},
    {"SQLServer", &Settings::SQLServer},
    {"SQLServerName", &Settings::SQLServerName},
    {"SQLServerAuth", &Settings::SQLServerAuth},
    {"SQLServerUser", &Settings::SQLServerUser},
    {"SQLServerPass", &Settings::SQLServerPass},
    {"SQLServerMins", &Settings::SQLServerMins},
    {"SMSConnect", &Settings::SMSConnect, NumberForm::kSigned},
    {"SMSServerName", &Settings::SMSServerName},
    {"SMSServerPort", &Settings::SMSServerPort, NumberForm::kSigned},
    {"SMSFolder", &Settings::SMSFolder},
};

std::optional<std::string> StoreNumber(int32_t& number, NumberForm form, std::string_view value) {
  if (form == NumberForm::kTime) {
    const auto time = ParseTime(value);
    if (!time) return "'" + std::string(value) + "' is no time of day";
    number = *time;
  } else if (form == NumberForm::kSignedStrict) {
    const auto n = ParseLong(value);
    if (!n || Contains(value, ".")) return "'" + std::string(value) + "' is no whole number";
    number = *n;
  } else {
    number = LeadingNumber(value);
  }
  return std::nullopt;
}

std::optional<std::string> Store(Settings& s, const Row& row, std::string_view value) {
  if (auto* number = std::get_if<int32_t Settings::*>(&row.field)) return StoreNumber(s.*(*number), row.form, value);
  if (auto* text = std::get_if<std::string Settings::*>(&row.field)) {
    s.*(*text) = value;
    return std::nullopt;
  }
  const auto flag = ParseBool(value);
  if (!flag) return "'" + std::string(value) + "' is neither True nor False";
  s.*std::get<bool Settings::*>(row.field) = *flag;
  return std::nullopt;
}

// The numbered keys, which may occur any number of times.
std::optional<std::string> StoreNumbered(Settings& s, const KeyValue& pair) {
  if (StartsWith(pair.key, "DNSMASK")) {
    const auto place = ParseLong(std::string_view(pair.key).substr(7));
    if (!place) return "the number behind DNSMask is missing";
    if (*place >= 1 && *place <= static_cast<int32_t>(Settings::kMaxMasks)) {
      s.DNSMask[static_cast<size_t>(*place - 1)] = pair.value;
    }
  }
  if (StartsWith(pair.key, "EXTENSION") && !pair.value.empty()) {
    if (s.Extension.size() == Settings::kMaxExtensions) return "more than 30 Extension lines";
    s.Extension.push_back(Lower(pair.value));
  }
  return std::nullopt;
}

std::string NumberText(int32_t n, NumberForm form) {
  if (form == NumberForm::kTime) return FormatTime(n);
  const bool sign_place = form == NumberForm::kSigned || form == NumberForm::kSignedStrict;
  return (sign_place && n >= 0 ? " " : "") + std::to_string(n);
}

// Reads a file that may be absent; only a file that is there and can't be read is a problem.
bool ReadOptional(Files& files, const std::string& path, std::string& bytes, std::optional<std::string>& problem) {
  const Status status = files.Read(path, bytes);
  if (status.fail != Fail::kNone && status.fail != Fail::kNotFound) problem = status.text;
  return status.ok();
}

std::string Place(const std::string& path, const ReadProblem& problem) {
  return path + " line " + std::to_string(problem.line) + ": " + problem.text;
}

std::string Located(const std::string& path, const ReadProblem& problem) {
  return Place(path, problem) + ". Nothing after this line was read.";
}

void TellLostLine(const std::string& path, std::string_view bytes, std::vector<std::string>& told) {
  if (const auto lost = LostLastLine(bytes)) told.push_back(Place(path, *lost) + ". Add an empty line.");
}

}  // namespace

std::optional<ReadProblem> ParseSettings(std::string_view bytes, Settings& settings) {
  settings.Extension.clear();
  const auto lines = TextLines(bytes);
  // Last line skipped on purpose: writers end with an empty one.
  for (size_t i = 0; i + 1 < lines.size(); ++i) {
    const std::string_view line = Trim(lines[i]);
    if (line.empty() || line.front() == '[') continue;
    const auto pair = SplitKeyValue(line);
    if (!pair) continue;
    std::optional<std::string> problem;
    for (const Row& row : kRows) {
      if (EqualsNoCase(pair->key, row.key)) problem = Store(settings, row, pair->value);
    }
    if (!problem) problem = StoreNumbered(settings, *pair);
    if (problem) return ReadProblem{static_cast<int>(i + 1), *problem};
  }
  return std::nullopt;
}

std::string FormatSettings(const Settings& s) {
  std::string out = "[Vantry Settings]\r\n";
  for (const Row& row : kRows) {
    out.append(row.key).append("=");
    if (auto* flag = std::get_if<bool Settings::*>(&row.field)) {
      out += BoolText(s.*(*flag));
    } else if (auto* number = std::get_if<int32_t Settings::*>(&row.field)) {
      out += NumberText(s.*(*number), row.form);
    } else {
      out += OneLine(s.*std::get<std::string Settings::*>(row.field));
    }
    out += "\r\n";
  }
  for (size_t i = 0; i < s.DNSMask.size(); ++i) {
    if (!s.DNSMask[i].empty()) out += "DNSMask" + std::to_string(i + 1) + "=" + OneLine(s.DNSMask[i]) + "\r\n";
  }
  for (size_t i = 0; i < s.Extension.size(); ++i) {
    if (!s.Extension[i].empty()) out += "Extension" + std::to_string(i + 1) + "=" + OneLine(s.Extension[i]) + "\r\n";
  }
  return out + "\r\n";
}

void ParseSearchEngines(std::string_view bytes, Settings& settings) {
  settings.SearchEngines.clear();
  for (const std::string_view line : TextLines(bytes)) {
    const auto fields = Split(line, ',');
    if (fields.size() < 2 || fields[1].empty()) continue;
    if (settings.SearchEngines.size() < Settings::kMaxEngines) {
      settings.SearchEngines.push_back({std::string(fields[0]), std::string(fields[1])});
    }
  }
}

void ParseCountries(std::string_view bytes, std::vector<CountryEntry>& countries) {
  for (const std::string_view line : TextLines(bytes)) {
    if (line.empty()) continue;
    const auto fields = Split(line, ',');
    CountryEntry& entry = countries.emplace_back();
    entry.Code = fields[0];
    entry.Code.resize(2, ' ');
    if (fields.size() > 1) entry.Name = fields[1];
  }
}

namespace {
// Returns the failure that ended the reading; what else there is to tell goes to `told`.
std::optional<std::string> ReadAll(Files& files, const std::string& app_path, Settings& settings,
                                   std::vector<CountryEntry>& countries, bool one_data_folder,
                                   std::vector<std::string>& told) {
  const std::string data_folder = settings.DDFPath;
  std::optional<std::string> problem;
  std::string bytes;
  std::string path = app_path + "SETTINGS.INI";
  settings.Extension.clear();
  if (ReadOptional(files, path, bytes, problem)) {
    const auto p = ParseSettings(bytes, settings);
    if (one_data_folder) settings.DDFPath = DataFolderOf(bytes, data_folder);
    if (p) return Located(path, *p);
    TellLostLine(path, bytes, told);
  }
  if (problem) return problem;
  if (settings.Extension.empty()) settings.Extension = Settings::DefaultExtensions();

  path = app_path + "EXTYPES.INI";
  if (ReadOptional(files, path, bytes, problem)) {
    if (const auto p = ReadExTypes(bytes, settings.ExceptionTypes)) return Located(path, *p);
    TellLostLine(path, bytes, told);
  } else if (!problem) {
    AddDefaultExTypes(settings.ExceptionTypes);
  }
  if (problem) return problem;

  if (ReadOptional(files, settings.DDFPath + kSearchEnginesFile, bytes, problem)) ParseSearchEngines(bytes, settings);
  if (problem) return problem;
  if (ReadOptional(files, settings.DDFPath + kCountriesFile, bytes, problem)) ParseCountries(bytes, countries);
  return problem;
}

}  // namespace

std::vector<std::string> ReadSettingsINI(Files& files, const std::string& app_path, Settings& settings,
                                         std::vector<CountryEntry>& countries, bool one_data_folder) {
  std::vector<std::string> told;
  if (auto problem = ReadAll(files, app_path, settings, countries, one_data_folder, told))
    told.push_back(std::move(*problem));
  return told;
}

std::string DataFolderOf(std::string_view bytes, const std::string& otherwise) {
  Settings named;
  (void)ParseSettings(bytes, named);  // Lines up to a mistake count, as they do in the reading itself.
  return named.DDFPath.empty() ? otherwise : WithSeparator(named.DDFPath);
}

Status WriteSettingsINI(Files& files, const std::string& app_path, const Settings& settings) {
  Status status = files.Replace(app_path + "SETTINGS.INI", FormatSettings(settings));
  if (!status.ok()) return status;
  return files.Replace(app_path + "EXTYPES.INI", FormatExTypes(settings.ExceptionTypes));
}

}  // namespace vantry
