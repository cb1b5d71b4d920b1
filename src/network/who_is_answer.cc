#include "network/who_is_answer.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "core/text.h"

namespace vantry {
namespace {

// A value that is longer is not one that people look for.
constexpr size_t kMostValueBytes = 200;
// What is looked for stands near the top.
constexpr size_t kMostLines = 5'000;

struct AnswerLine {
  std::string key;  // In lower case.
  std::string_view value;
};

std::string_view TrimAll(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const size_t first = text.find_first_not_of(kBlanks);
  return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// A key at the end of its line has its value in the next one.
std::vector<AnswerLine> LinesOf(std::string_view text) {
  std::vector<AnswerLine> lines;
  std::string waiting;
  for (size_t count = 0; !text.empty() && count < kMostLines; ++count) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = TrimAll(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    const size_t colon = line.find(':');
    const std::string key = std::exchange(waiting, {});
    if (colon == line.npos) {
      if (!key.empty() && !line.empty()) lines.push_back({key, line});
      continue;
    }
    const std::string_view value = TrimAll(line.substr(colon + 1));
    if (value.empty()) {
      waiting = Lower(TrimAll(line.substr(0, colon)));
    } else {
      lines.push_back({Lower(TrimAll(line.substr(0, colon))), value});
    }
  }
  return lines;
}

// The value of the first key that has one.
std::string_view ValueOf(const std::vector<AnswerLine>& lines, std::span<const std::string_view> keys) {
  for (const std::string_view key : keys) {
    const auto found = std::find_if(lines.begin(), lines.end(), [&](const AnswerLine& line) {
      return line.key == key && line.value.size() <= kMostValueBytes;
    });
    if (found != lines.end()) return found->value;
  }
  return {};
}

constexpr std::string_view kNetwork[] = {"inetnum", "inet6num", "netrange", "cidr", "network", "domain name"};
constexpr std::string_view kNetworkName[] = {"netname", "network name"};
constexpr std::string_view kOrganisation[] = {
    "org-name",   "orgname", "organization", "organisation", "owner", "custname", "registrant organization",
    "registrant", "descr",   "registrar"};
constexpr std::string_view kCountry[] = {"country", "registrant country", "country code"};
constexpr std::string_view kAbuse[] = {"abuse-mailbox", "orgabuseemail", "abuse contact",
                                       "registrar abuse contact email", "rabuseemail"};

// "% Abuse contact for '192.0.2.0 - 192.0.2.255' is 'abuse@example.net'"
std::string_view AbuseRemark(std::string_view text) {
  constexpr std::string_view kRemark = "% Abuse contact for '", kIs = "' is '";
  const size_t start = text.find(kRemark);
  if (start == text.npos) return {};
  std::string_view line = text.substr(start, std::min(text.find('\n', start), text.size()) - start);
  const size_t is = line.find(kIs);
  if (is == line.npos) return {};
  line.remove_prefix(is + kIs.size());
  const size_t end = line.find('\'');
  return end == line.npos || end > kMostValueBytes ? std::string_view() : line.substr(0, end);
}

// A host name or address with a port, or nothing.
std::optional<std::string> ServerIn(std::string_view value) {
  const size_t scheme = value.find("://");
  if (scheme != value.npos) {
    const std::string name = Lower(value.substr(0, scheme));
    if (name != "whois" && name != "rwhois") return std::nullopt;
    value.remove_prefix(scheme + 3);
  }
  value = value.substr(0, value.find('/'));
  const bool fits = !value.empty() && value.size() <= 253 && Contains(value, ".") &&
                    std::all_of(value.begin(), value.end(), [](char c) {
                      const char lower = LowerAscii(c);
                      return IsDigit(c) || (lower >= 'a' && lower <= 'z') || c == '.' || c == '-' || c == ':';
                    });
  if (!fits || value.front() == '-') return std::nullopt;
  return Lower(value);
}

}  // namespace

std::vector<WhoIsField> WhoIsFields(std::string_view text) {
  const std::vector<AnswerLine> lines = LinesOf(text);
  std::string network(ValueOf(lines, kNetwork));
  if (const std::string_view name = ValueOf(lines, kNetworkName); !name.empty()) {
    network += network.empty() ? std::string(name) : " (" + std::string(name) + ")";
  }
  const std::string_view remark = AbuseRemark(text);
  const std::pair<std::string_view, std::string_view> all[] = {
      {"Network", network},
      {"Organisation", ValueOf(lines, kOrganisation)},
      {"Country", ValueOf(lines, kCountry)},
      {"Abuse address", remark.empty() ? ValueOf(lines, kAbuse) : remark}};
  std::vector<WhoIsField> fields;
  for (const auto& [caption, value] : all) {
    if (!value.empty()) fields.push_back({caption, std::string(value)});
  }
  return fields;
}

std::optional<std::string> ReferralOf(std::string_view text) {
  constexpr std::string_view kKeys[] = {"refer", "referralserver", "registrar whois server", "whois server", "whois"};
  const std::vector<AnswerLine> lines = LinesOf(text);
  for (const std::string_view key : kKeys) {
    for (const AnswerLine& line : lines) {
      if (line.key != key) continue;
      if (auto server = ServerIn(line.value)) return server;
    }
  }
  return std::nullopt;
}

bool SaysNothing(std::string_view text) {
  if (text.find_first_not_of(" \t\r\n") == text.npos) return true;
  constexpr std::string_view kTop = "non-ripe-ncc-managed-address-block";
  constexpr std::string_view kWords[] = {"no match",        "not found",      "no data found",   "no entries found",
                                         "nothing found",   "status: free",   "status: invalid", "status: available",
                                         "no object found", "no information", "domain unknown",  "not registered"};
  const std::string lower = Lower(text.substr(0, 16'384));
  if (Contains(lower, kTop)) return true;
  const bool says_no =
      std::any_of(std::begin(kWords), std::end(kWords), [&](std::string_view words) { return Contains(lower, words); });
  return says_no && WhoIsFields(text).empty();
}

}  // namespace vantry
