#include "import/apache_words.h"

#include <algorithm>
#include <utility>

#include "config/value_forms.h"
#include "core/text.h"

namespace vantry {
namespace {

// What a value may grow to while variables are put in.
constexpr size_t kMostValueBytes = 64 * 1024;

bool IsGap(char c) {
  return c == ' ' || c == '\t';
}

std::string_view Cut(std::string_view text) {
  while (!text.empty() && IsGap(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsGap(text.back())) text.remove_suffix(1);
  return text;
}

// Takes the first word from the text. In quotes a backslash takes the meaning from a quote and from itself.
std::string TakeWord(std::string_view& text) {
  std::string word;
  const char quote = text.front() == '"' || text.front() == '\'' ? text.front() : '\0';
  size_t at = quote ? 1 : 0;
  for (; at < text.size(); ++at) {
    if (quote ? text[at] == quote : IsGap(text[at])) break;
    const bool escape =
        quote && text[at] == '\\' && at + 1 < text.size() && (text[at + 1] == quote || text[at + 1] == '\\');
    if (escape) ++at;
    word += text[at];
  }
  text.remove_prefix(std::min(text.size(), at + (quote ? 1 : 0)));
  text = Cut(text);
  return word;
}

ApacheDirective CutLine(std::string_view text, int line) {
  ApacheDirective d;
  d.line = line;
  const bool section = text.front() == '<';
  if (section && text.back() == '>') text = Cut(text.substr(0, text.size() - 1));
  const size_t end = std::min(text.find_first_of(" \t"), text.size());
  d.name = Lower(text.substr(0, end));
  text = Cut(text.substr(end));
  while (!text.empty()) d.words.push_back(TakeWord(text));
  return d;
}

bool IsNamePart(char c) {
  return IsDigit(c) || c == '_' || (LowerAscii(c) >= 'a' && LowerAscii(c) <= 'z');
}

// "$NAME" and "${NAME}"; what is not known is empty, and so is anything that a shell would work out.
std::string ShellValue(std::string_view text, const ApacheVariables& variables) {
  std::string value;
  for (size_t at = 0; at < text.size() && value.size() < kMostValueBytes; ++at) {
    if (text[at] == '"' || text[at] == '\'') continue;
    if (text[at] != '$') {
      value += text[at];
      continue;
    }
    const bool braces = at + 1 < text.size() && text[at + 1] == '{';
    const size_t begin = at + (braces ? 2 : 1);
    size_t end = std::min(begin, text.size());
    while (end < text.size() && IsNamePart(text[end])) ++end;
    const auto known = variables.find(text.substr(std::min(begin, text.size()), end - std::min(begin, text.size())));
    if (known != variables.end()) value += known->second;
    if (braces) end = std::min(text.find('}', end), text.size());
    at = braces ? end : end - 1;
  }
  return value;
}

}  // namespace

std::vector<ApacheDirective> ApacheDirectives(std::string_view bytes) {
  std::vector<ApacheDirective> directives;
  std::string joined;
  int number = 0, first = 0;
  for (const std::string_view line : TextLines(bytes)) {
    ++number;
    if (joined.empty()) first = number;
    if (line.ends_with('\\')) {
      joined.append(line.substr(0, line.size() - 1)).append(" ");
      continue;
    }
    joined += line;
    const std::string_view text = Cut(joined);
    if (!text.empty() && text.front() != '#') directives.push_back(CutLine(text, first));
    joined.clear();
  }
  return directives;
}

std::string WithVariables(std::string_view text, const ApacheVariables& variables) {
  std::string out;
  while (out.size() < kMostValueBytes) {
    const size_t mark = text.find("${");
    out += text.substr(0, mark);
    if (mark == std::string_view::npos) break;
    text.remove_prefix(mark);
    const size_t end = std::min(text.find('}'), text.size() - 1);
    const auto known = variables.find(text.substr(2, end - std::min<size_t>(end, 2)));
    out += known == variables.end() ? text.substr(0, end + 1) : known->second;
    text.remove_prefix(end + 1);
  }
  return out;
}

void ReadShellVariables(std::string_view bytes, ApacheVariables& variables) {
  for (std::string_view line : TextLines(bytes)) {
    // What is indented stands in a condition.
    if (StartsWith(line, "export ")) line.remove_prefix(7);
    const size_t mark = line.find('=');
    const std::string_view name = line.substr(0, mark);
    if (mark == std::string_view::npos || name.empty() || !std::all_of(name.begin(), name.end(), IsNamePart)) continue;
    variables[std::string(name)] = ShellValue(line.substr(mark + 1), variables);
  }
}

}  // namespace vantry
