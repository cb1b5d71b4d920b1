#include "database/key_expression.h"

#include <algorithm>

#include "core/text.h"

namespace vantry {
namespace {

constexpr int64_t kMaxStrWidth = 20;

Status Unreadable(std::string_view text, const std::string& why) {
  return Status::Error(Fail::kBadData, "key part \"" + std::string(text) + "\": " + why);
}

struct Call {
  std::string function, field;  // The function is empty for a field alone.
  std::optional<int64_t> width;
};

std::optional<Call> ReadCall(std::string_view text) {
  const size_t open = text.find('(');
  if (open == std::string_view::npos) return Call{"", std::string(text), std::nullopt};
  if (text.back() != ')') return std::nullopt;
  Call call{Upper(Trim(text.substr(0, open))), "", std::nullopt};
  const auto arguments = Split(text.substr(open + 1, text.size() - open - 2), ',');
  if (call.function.empty() || arguments.size() > 2) return std::nullopt;
  call.field = Trim(arguments[0]);
  if (arguments.size() == 2) {
    call.width = WholeNumber(Trim(arguments[1]));
    if (!call.width) return std::nullopt;
  }
  return call;
}

}  // namespace

Status KeyExpression::ParsePart(std::string_view text, const RowLayout& layout, Part& part) {
  const std::optional<Call> call = ReadCall(text);
  if (!call) return Unreadable(text, "can't be read");
  const auto place = layout.Find(call->field);
  if (!place) return Unreadable(text, "there is no field \"" + call->field + "\"");
  const TableField& field = layout.fields[*place];
  part = {field.offset, field.width, field.width, false};
  if (call->function.empty()) {
    return field.type == 'C' ? Status::Ok() : Unreadable(text, "only a text field stands alone");
  }
  if (call->function == "DTOS") {
    return field.type == 'D' && !call->width ? Status::Ok() : Unreadable(text, "DTOS takes one date field");
  }
  if (call->function != "STR") return Unreadable(text, "there is no function " + call->function);
  const int64_t width = call->width.value_or(0);
  if (field.type != 'N' || width < 1 || width > kMaxStrWidth) {
    return Unreadable(text, "STR takes a number field and a width up to " + std::to_string(kMaxStrWidth));
  }
  part.key_width = static_cast<size_t>(width);
  part.right = true;
  return Status::Ok();
}

Status KeyExpression::Parse(std::string_view text, const RowLayout& layout, KeyExpression& expression) {
  expression = {};
  for (const std::string_view piece : Split(text, '+')) {
    Part part;
    if (Status status = ParsePart(Trim(piece), layout, part); !status.ok()) return status;
    expression.parts_.push_back(part);
    expression.key_bytes_ += part.key_width;
  }
  return Status::Ok();
}

void KeyExpression::AppendKey(const char* row, std::string& key) const {
  for (const Part& part : parts_) {
    const std::string_view text(row + part.offset, part.width);
    if (!part.right) {
      key.append(text);
      continue;
    }
    const std::string_view number = Trim(text);
    const bool too_wide = number.size() > part.key_width;
    key.append(part.key_width - (too_wide ? 0 : number.size()), too_wide ? '*' : ' ');
    if (!too_wide) key.append(number);
  }
}

void KeyExpression::AppendParts(std::span<const std::string_view> values, std::string& key) const {
  const size_t from = key.size();
  auto part = parts_.begin();
  for (const std::string_view value : values) {
    if (part == parts_.end()) break;
    const std::string_view kept = value.substr(0, part->key_width);
    const size_t blanks = part->key_width - kept.size();
    if (part->right) key.append(blanks, ' ');
    key.append(kept);
    if (!part->right) key.append(blanks, ' ');
    ++part;
  }
  // As rows are stored.
  BlankNuls(key.data() + from, key.size() - from);
}

Status ParseKey(std::string_view text, const RowLayout& layout, KeyDeclaration& key) {
  const auto parts = Split(text, '|');
  const auto part = [&](size_t i) { return i < parts.size() ? parts[i] : std::string_view(); };
  if (parts.size() > 5 || part(0).empty())
    return Status::Error(Fail::kBadData, "key \"" + std::string(text) + "\" can't be read");
  if (!part(2).empty()) return Status::Error(Fail::kBadData, "key \"" + std::string(text) + "\" has a filter");
  key.name = part(0);
  key.unique = part(3) == "U";
  key.descending = part(4) == "D";
  const bool known = (key.unique || part(3).empty() || part(3) == "N") && (key.descending || part(4).empty());
  if (!known) return Status::Error(Fail::kBadData, "key \"" + std::string(text) + "\" is neither U nor N, or not D");
  return KeyExpression::Parse(part(1), layout, key.expression);
}

}  // namespace vantry
