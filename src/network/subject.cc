#include "network/subject.h"

#include "core/text.h"

namespace vantry {

Subject ReadSubject(std::string_view text) {
  text = Trim(text);
  const bool in_brackets = StartsWith(text, "[");
  const size_t end = text.find(in_brackets ? ']' : ':');
  if (end == text.npos) return {std::string(text)};
  const size_t colon = in_brackets ? end + 1 : end;
  const std::string_view rest = text.substr(colon);
  if (!in_brackets && Contains(rest.substr(1), ":")) return {std::string(text)};
  const std::string_view host = in_brackets ? text.substr(1, end - 1) : text.substr(0, end);
  return {std::string(host), StartsWith(rest, ":") ? Clamp16(LeadingNumber(rest.substr(1))) : int16_t{0}};
}

std::string SubjectText(std::string_view address, int16_t site) {
  const std::string host = Contains(address, ":") ? "[" + std::string(address) + "]" : std::string(address);
  return host + ":" + std::to_string(site);
}

}  // namespace vantry
