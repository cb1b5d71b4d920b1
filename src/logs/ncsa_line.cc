#include "logs/ncsa_line.h"

#include <algorithm>

#include "config/value_forms.h"
#include "core/date_time.h"
#include "core/text.h"

namespace vantry {
namespace {

constexpr size_t kNone = std::string_view::npos;
constexpr size_t kStampSize = 20;  // 05/Mar/2026:12:00:00

bool IsStamp(std::string_view text) {
  return text.size() >= kStampSize && text[2] == '/' && text[6] == '/' && text[11] == ':' && text[14] == ':' &&
         text[17] == ':';
}

// The first word, which is taken from the text with the blanks after it.
std::string_view NextWord(std::string_view& text) {
  const size_t end = text.find(' ');
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(end == kNone ? text.size() : std::min(text.find_first_not_of(' ', end), text.size()));
  return word;
}

bool IsHexOr(char c, std::string_view others) {
  return IsDigit(c) || (LowerAscii(c) >= 'a' && LowerAscii(c) <= 'f') || others.find(c) != kNone;
}

// Near enough to tell an address from a name, a user or a dash.
bool LooksLikeAddress(std::string_view word) {
  const auto colons = std::count(word.begin(), word.end(), ':');
  if (colons >= 2) {
    const std::string_view address = word.substr(0, word.find('%'));
    return std::all_of(address.begin(), address.end(), [](char c) { return IsHexOr(c, ":."); });
  }
  return colons == 0 && std::count(word.begin(), word.end(), '.') == 3 &&
         std::all_of(word.begin(), word.end(), [](char c) { return IsDigit(c) || c == '.'; });
}

bool IsNameAndPort(std::string_view word) {
  // Nearly every word has no colon at all, which is told fastest from the front.
  const size_t colon = word.find(':') == kNone ? kNone : word.rfind(':');
  if (colon == kNone || colon == 0 || colon + 1 == word.size()) return false;
  const std::string_view name = word.substr(0, colon), port = word.substr(colon + 1);
  return std::all_of(port.begin(), port.end(), IsDigit) && (name.find(':') == kNone || name.back() == ']');
}

// The words in front of the time: client, ident and user, whose name may hold blanks.
struct Head {
  std::string_view client, ident, user;
};

Head CutHead(std::string_view text) {
  Head head;
  head.client = NextWord(text);
  std::string_view rest = text;
  const std::string_view second = NextWord(rest);
  // A virtual host stands in front when what follows it is an address, or when it names its port and three words more
  // follow.
  const bool may_be_host = (second != "-" && LooksLikeAddress(second)) || IsNameAndPort(head.client);
  if (may_be_host && rest.find(' ') != kNone) {
    head.client = second;
    text = rest;
  }
  head.ident = NextWord(text);
  head.user = text;
  return head;
}

bool IsStatus(std::string_view text) {
  return text.size() >= 3 && std::all_of(text.begin(), text.begin() + 3, IsDigit) &&
         (text.size() == 3 || text[3] == ' ');
}

// The place of the next quote that no backslash takes the meaning from, at or after `at`.
size_t PlainQuote(std::string_view text, size_t at) {
  for (at = text.find('"', at); at != kNone; at = text.find('"', at + 1)) {
    size_t slashes = 0;
    while (slashes < at && text[at - 1 - slashes] == '\\') ++slashes;
    if (slashes % 2 == 0) return at;
  }
  return kNone;
}

// Where the quoted request that begins the text ends: at the first quote with a status after it. Servers of old escape
// nothing, so when no plain quote will do, any is taken.
size_t RequestEnd(std::string_view text) {
  for (size_t at = PlainQuote(text, 1); at != kNone; at = PlainQuote(text, at + 1)) {
    if (IsStatus(text.substr(std::min(at + 2, text.size())))) return at;
  }
  for (size_t at = text.find('"', 1); at != kNone; at = text.find('"', at + 1)) {
    if (IsStatus(text.substr(std::min(at + 2, text.size())))) return at;
  }
  return kNone;
}

// A field that is quoted, or a word; it is taken from the text with the blanks after it. A quote in the middle of a
// quoted field is part of it.
std::string_view NextField(std::string_view& text) {
  if (text.empty() || text.front() != '"') return NextWord(text);
  size_t end = PlainQuote(text, 1);
  while (end != kNone && end + 1 < text.size() && text[end + 1] != ' ') end = PlainQuote(text, end + 1);
  const std::string_view field = text.substr(1, end == kNone ? kNone : end - 1);
  text.remove_prefix(end == kNone ? text.size() : std::min(text.find_first_not_of(' ', end + 1), text.size()));
  return field;
}

bool IsMethod(std::string_view word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
    return (LowerAscii(c) >= 'a' && LowerAscii(c) <= 'z') || c == '-' || c == '_';
  });
}

std::string_view TargetOf(std::string_view request) {
  const size_t blank = request.find(' ');
  if (blank == kNone || !IsMethod(request.substr(0, blank))) return {};
  std::string_view target = request.substr(blank + 1);
  const size_t last = target.rfind(' ');
  if (last != kNone && StartsWith(target.substr(last + 1), "HTTP/")) target = target.substr(0, last);
  target = Trim(target);
  // Neither "*" nor the host that a tunnel is asked for is a page.
  return !target.empty() && (target.front() == '/' || Contains(target, "://")) ? target : std::string_view();
}

}  // namespace

void NcsaLine::Start(std::string_view line) {
  head_ = stamp_ = zone_ = after_ = {};
  cut_ = Part::kNone;
  // What a client sends stands in quotes from here on, and a server escapes a quote in a user's name: so the first
  // bracket that closes before a quote ends the time.
  constexpr std::string_view kEnd = "] \"";
  size_t open = line.find('[');
  size_t close = open == kNone ? kNone : open + 1 + kStampSize + 6;
  if (close == kNone || line.size() < close + kEnd.size() || line.substr(close, kEnd.size()) != kEnd) {
    close = line.find(kEnd);
    open = close == kNone ? kNone : line.rfind('[', close);
  }
  if (open == kNone || open == 0 || line[open - 1] != ' ') return;
  const std::string_view stamp = line.substr(open + 1, close - open - 1);
  if (!IsStamp(stamp)) return;
  stamp_ = stamp.substr(0, kStampSize);
  zone_ = stamp.substr(std::min(kStampSize + 1, stamp.size()));
  head_ = line.substr(0, open - 1);
  after_ = line.substr(close + 2);
}

std::string_view NcsaLine::Client() const {
  return CutHead(head_).client;
}

std::string_view NcsaLine::User() const {
  return CutHead(head_).user;
}

void NcsaLine::CutRequest() {
  target_ = status_ = referrer_ = agent_ = {};
  cut_ = Part::kRequest;
  const size_t end = after_.empty() ? kNone : RequestEnd(after_);
  if (end == kNone) {
    after_ = {};
    return;
  }
  target_ = TargetOf(after_.substr(1, end - 1));
  after_.remove_prefix(std::min(end + 2, after_.size()));
}

void NcsaLine::CutRest() {
  if (cut_ == Part::kNone) CutRequest();
  cut_ = Part::kAll;
  status_ = NextWord(after_);
  (void)NextWord(after_);  // The number of bytes.
  referrer_ = NextField(after_);
  agent_ = NextField(after_);
}

std::string_view NcsaClient(std::string_view line) {
  // Nearly always the first word, with a dash after it.
  const size_t blank = line.find(' ');
  if (blank == kNone || (line.size() > blank + 1 && line[blank + 1] == '-' && !IsNameAndPort(line.substr(0, blank)))) {
    return line.substr(0, blank);
  }
  return CutHead(line.substr(0, line.find(" ["))).client;
}

bool IsQuotedNcsaLine(std::string_view line) {
  NcsaLine cut;
  cut.Start(line);
  if (cut.Stamp().empty() || !ParseNamedMonthDate(cut.Stamp().substr(0, 11)) || !ParseTime(cut.Stamp().substr(12))) {
    return false;
  }
  const Head head = CutHead(line.substr(0, line.find(" [" + std::string(cut.Stamp()))));
  // Only the user may be several words, and then ident is the dash that it is everywhere.
  if (head.client.empty() || head.user.empty() || (Contains(head.user, " ") && head.ident != "-")) return false;
  return !cut.Status().empty();
}

void Unescape(std::string& text) {
  size_t to = text.find('\\');
  if (to == std::string::npos) return;
  for (size_t from = to; from < text.size(); ++from) {
    if (text[from] == '\\' && from + 1 < text.size() && (text[from + 1] == '"' || text[from + 1] == '\\')) ++from;
    text[to++] = text[from];
  }
  text.resize(to);
}

}  // namespace vantry
