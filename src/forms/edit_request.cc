#include "forms/edit_request.h"

#include <algorithm>
#include <optional>

#include "core/text.h"

namespace vantry {
namespace {

constexpr std::string_view kHead = "vantry-edit 1", kEnd = "end";
constexpr std::string_view kVerbs[] = {"set-site", "remove-site", "set", "set-exception", "set-alert", "remove-alert"};
constexpr std::string_view kHexDigits = "0123456789abcdef";

// A word is a line of its own: what could end the line is written as its number.
void AppendWord(std::string& out, std::string_view word) {
  for (const char c : word) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte != 127 && c != '%') {
      out += c;
    } else {
      out.append({'%', kHexDigits[byte >> 4], kHexDigits[byte & 15]});
    }
  }
  out += '\n';
}

std::optional<std::string> ReadWord(std::string_view line) {
  std::string word;
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '%') {
      word += line[i];
      continue;
    }
    if (i + 2 >= line.size()) return std::nullopt;
    const size_t high = kHexDigits.find(line[i + 1]), low = kHexDigits.find(line[i + 2]);
    if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
    word += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return word;
}

Status Damaged() {
  return Status::Error(Fail::kBadData, "The request is damaged");
}

// The words between the head and the end.
Status ReadWords(std::string_view bytes, std::vector<std::string>& words) {
  if (bytes.size() > kMostRequestBytes || !bytes.ends_with('\n')) return Damaged();
  bytes.remove_suffix(1);
  const auto lines = Split(bytes, '\n');
  if (lines.front() != kHead) return Status::Error(Fail::kBadData, "This Vantry does not know such a request");
  if (lines.size() < 2 || lines.back() != kEnd) return Damaged();
  for (size_t i = 1; i + 1 < lines.size(); ++i) {
    const auto word = ReadWord(lines[i]);
    if (!word) return Damaged();
    words.push_back(*word);
  }
  return Status::Ok();
}

}  // namespace

bool IsToken(std::string_view text) {
  return text.size() == kTokenSize && text.find_first_not_of(kHexDigits) == std::string_view::npos;
}

std::string FormatRequest(const EditRequest& request) {
  std::string out;
  AppendWord(out, kHead);
  AppendWord(out, kVerbs[static_cast<size_t>(request.verb)]);
  AppendWord(out, request.name);
  AppendWord(out, request.number);
  AppendWord(out, request.yes ? "yes" : "");
  for (const NamedValue& named : request.values) {
    AppendWord(out, named.key);
    AppendWord(out, named.value);
  }
  AppendWord(out, kEnd);
  return out;
}

Status ParseRequest(std::string_view bytes, EditRequest& request) {
  request = {};
  std::vector<std::string> words;
  if (Status status = ReadWords(bytes, words); !status.ok()) return status;
  if (words.size() < 4 || words.size() % 2 != 0 || words.size() > 4 + 2 * kMostValues) return Damaged();
  const auto* const verb = std::find(std::begin(kVerbs), std::end(kVerbs), words[0]);
  if (verb == std::end(kVerbs)) return Status::Error(Fail::kBadData, "This Vantry does not know such a request");
  request.verb = static_cast<EditVerb>(verb - std::begin(kVerbs));
  request.name = words[1];
  request.number = words[2];
  request.yes = words[3] == "yes";
  for (size_t i = 4; i < words.size(); i += 2) request.values.push_back({words[i], words[i + 1]});
  return Status::Ok();
}

}  // namespace vantry
