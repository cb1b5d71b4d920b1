#include "config/exception_types.h"

#include <variant>

#include "core/exception_numbers.h"
#include "core/text.h"

namespace vantry {
namespace {

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
  for (const DefaultExceptionType& d : kDefaultExceptionTypes) {
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
  for (const ExceptionType& type : types) {
    for (const DefaultExceptionType& row : kDefaultExceptionTypes) {
      if (type.Number != row.number || !row.threshold) continue;
      const auto value = ParseLong(type.Value);
      if (!value || *value != Clamp16(*value)) {
        return Status::Error(Fail::kBadData, "The value '" + type.Value + "' of exception type " +
                                                 std::to_string(type.Number) + " is no number up to 32767.");
      }
      for (SiteRec& site : tables.Sites) site.*row.threshold = static_cast<int16_t>(*value);
    }
  }
  return Status::Ok();
}

}  // namespace vantry
