#include "config/exception_types.h"

#include <variant>

#include "core/text.h"

namespace vantry {
namespace {

struct DefaultType {
  int16_t number;
  std::string_view description;
  std::string_view value;
  bool email;
};

// The texts of 406 to 417 end without the closing bracket, and 414 says "log": existing files and readers have them
// so.
constexpr DefaultType kDefaults[] = {
    {110, "More than [value] active visitors", "100", false},
    {120, "More than [value] active visitors", "200", true},
    {122, "No visitors for [value] minutes", "60", false},
    {123, "No visitors for [value] minutes", "120", true},
    {130, "Single visitor on site for more than [value] minutes", "10", false},
    {131, "Single visitor viewed more than [value] pages", "25", false},
    {132, "Same visitor returning more than [value] times in a single day", "5", true},
    {133, "Same visitor returning more than [value] times", "25", false},
    {134, "Single visitor viewed page [lastpage] for more than 5 minutes", "5", false},
    {150, "The EXE file [filename] was requested", "", true},
    {151, "The DLL file [filename] was requested", "", true},
    {152, "The BAT file [filename] was requested", "", true},
    {153, "The VBS file [filename] was requested", "", true},
    {160, "The requested path [path] contains  ../", "", true},
    {161, "Visitor generated more than [value] 404 errors", "10", true},
    {162, "Visitor used a PUT request on page [lastpage]", "", true},
    {163, "Visitor used a DELETE request on page [lastpage]", "", true},
    {164, "Visitor requested more than [value] pages during 1 minute", "60", true},
    {165, "Possible HACKER detected!", "", true},
    {170, "Touch failed with error [error]. The web server may be down!", "", true},
    {171, "Touch resumed. The web server is back up!", "", true},
    {180, "Failed to logon to SQL Server [servername]. The SQL Server may be down!", "", true},
    {181, "Logon to SQL Server [servername] resumed. The SQL Server appears to be back on-line!", "", true},
    {400, "HTTP Bad request. Page: [lastpage]", "", true},
    {401, "HTTP Unauthorised. Page: [lastpage]", "", true},
    {403, "HTTP Forbidden. Page: [lastpage]", "", true},
    {404, "HTTP Page [lastpage] not found 404 error", "", true},
    {405, "HTTP Method not allowed. Page: [lastpage]", "", true},
    {406, "HTTP Not acceptable. Page: [lastpage", "", false},
    {407, "HTTP Proxy authentication required. Page: [lastpage", "", false},
    {408, "HTTP Request timeout. Page: [lastpage", "", false},
    {409, "HTTP Conflict. Page: [lastpage", "", false},
    {410, "HTTP Gone. Page: [lastpage", "", false},
    {411, "HTTP Length required. Page: [lastpage", "", false},
    {412, "HTTP Precondition failed. Page: [lastpage", "", false},
    {413, "HTTP Request entity too large. Page: [lastpage", "", false},
    {414, "HTTP Request URI too log. Page: [lastpage", "", false},
    {415, "HTTP Unsupported media type. Page: [lastpage", "", false},
    {416, "HTTP Requested range not satisfiable. Page: [lastpage", "", false},
    {417, "HTTP Expectation failed. Page: [lastpage", "", false},
    {500, "HTTP Internal server error. Page: [lastpage]", "", true},
    {502, "HTTP Bad gateway. Page: [lastpage]", "", true},
    {503, "HTTP Server overloaded.", "", true},
    {504, "HTTP Gateway timeout.", "", true},
    {505, "HTTP Version not supported.", "", true},
    {900, "Unrecognised browser: [browser]", "", false},
    {902, "New unknown spider detected: [spider]", "", true},
};

using FieldRef = std::variant<bool ExceptionType::*, std::string ExceptionType::*, int16_t ExceptionType::*>;

struct FieldRow {
  std::string_view key;
  FieldRef field;
};

// The lines of a block after `Number`, in the order in which they are written.
const FieldRow kFields[] = {
    {"Description", &ExceptionType::Description},
    {"Value", &ExceptionType::Value},
    {"Raise", &ExceptionType::Raise},
    {"EventLog", &ExceptionType::EventLog},
    {"EventLevel", &ExceptionType::EventLevel},
    {"Email", &ExceptionType::Email},
    {"EmailAddress", &ExceptionType::EmailAddress},
    {"SMS", &ExceptionType::SMS},
    {"SMSNumber", &ExceptionType::SMSNumber},
    {"NetMsg", &ExceptionType::NetMsg},
    {"NetDNS", &ExceptionType::NetDNS},
    {"RunProgram", &ExceptionType::RunProgram},
    {"Run", &ExceptionType::Run},
};

// A whole number loses blanks and leading zeros; any other text, a fraction such as 1e-1 too, stays as it is.
std::string StoredValue(std::string_view text) {
  const auto n = WholeNumber(text);
  return n && text.find_first_of(".eE") == std::string_view::npos ? std::to_string(*n) : std::string(text);
}

std::optional<std::string> StoreField(ExceptionType& type, const FieldRow& row, std::string_view value) {
  if (auto* flag = std::get_if<bool ExceptionType::*>(&row.field)) {
    const auto b = ParseBool(value);
    if (!b) return "'" + std::string(value) + "' is neither True nor False";
    type.*(*flag) = *b;
  } else if (auto* number = std::get_if<int16_t ExceptionType::*>(&row.field)) {
    type.*(*number) = Clamp16(LeadingNumber(value));
  } else {
    type.*std::get<std::string ExceptionType::*>(row.field) =
        row.key == "Value" ? StoredValue(value) : std::string(value);
  }
  return std::nullopt;
}

}  // namespace

void AddExType(std::vector<ExceptionType>& types, int16_t number, std::string_view description, bool raise, bool email,
               std::optional<std::string_view> value) {
  ExceptionType* type = nullptr;
  for (ExceptionType& t : types) {
    if (t.Number == number) {
      type = &t;
      break;
    }
  }
  if (!type) type = &types.emplace_back();
  const bool event_log = type->EventLog;
  *type = ExceptionType{};
  type->Number = number;
  type->Description = description;
  type->Value = value ? StoredValue(*value) : std::string();
  type->Raise = raise;
  type->Email = email;
  type->EventLog = event_log;
  type->EventLevel = 4;
}

void AddDefaultExTypes(std::vector<ExceptionType>& types) {
  for (const DefaultType& d : kDefaults) {
    AddExType(types, d.number, d.description, true, d.email,
              d.value.empty() ? std::nullopt : std::optional<std::string_view>(d.value));
  }
}

std::optional<ReadProblem> ReadExTypes(std::string_view bytes, std::vector<ExceptionType>& types) {
  const auto lines = TextLines(bytes);
  // Last line skipped on purpose: writers end with an empty one.
  for (size_t i = 0; i + 1 < lines.size(); ++i) {
    const std::string_view line = Trim(lines[i]);
    if (line.empty() || line.front() == '[') continue;
    const auto pair = SplitKeyValue(line);
    if (!pair) continue;
    if (pair->key == "NUMBER") {
      types.emplace_back().Number = Clamp16(LeadingNumber(pair->value));
      continue;
    }
    for (const FieldRow& row : kFields) {
      if (!EqualsNoCase(pair->key, row.key)) continue;
      const auto problem = types.empty() ? std::optional<std::string>(pair->key + " stands before the first Number")
                                         : StoreField(types.back(), row, pair->value);
      if (problem) return ReadProblem{static_cast<int>(i + 1), *problem};
    }
  }
  return std::nullopt;
}

std::string FormatExTypes(const std::vector<ExceptionType>& types) {
  std::string out = "[Exception Types]\r\n";
  for (const ExceptionType& type : types) {
    out += "[" + std::to_string(type.Number) + "]\r\nNumber=" + std::to_string(type.Number) + "\r\n";
    for (const FieldRow& row : kFields) {
      out.append(row.key).append("=");
      if (auto* flag = std::get_if<bool ExceptionType::*>(&row.field)) {
        out += BoolText(type.*(*flag));
      } else if (auto* number = std::get_if<int16_t ExceptionType::*>(&row.field)) {
        out += (type.*(*number) < 0 ? "" : " ") + std::to_string(type.*(*number));
      } else {
        out += OneLine(type.*std::get<std::string ExceptionType::*>(row.field));
      }
      out += "\r\n";
    }
    out += "\r\n";
  }
  return out + "\r\n";
}

Status RefreshexceptionConstants(const std::vector<ExceptionType>& types, LiveTables& tables) {
  struct Row {
    int16_t number;
    int16_t SiteRec::*field;
  };
  constexpr Row kRows[] = {{130, &SiteRec::ExValue130},
                           {131, &SiteRec::ExValue131},
                           {133, &SiteRec::ExValue133},
                           {134, &SiteRec::ExValue134},
                           {161, &SiteRec::ExValue161}};
  for (const ExceptionType& type : types) {
    for (const Row& row : kRows) {
      if (type.Number != row.number) continue;
      const auto value = ParseLong(type.Value);
      if (!value || *value != Clamp16(*value)) {
        return Status::Error(Fail::kBadData, "The value '" + type.Value + "' of exception type " +
                                                 std::to_string(type.Number) + " is no number up to 32767.");
      }
      for (SiteRec& site : tables.Sites) site.*row.field = static_cast<int16_t>(*value);
    }
  }
  return Status::Ok();
}

}  // namespace vantry
