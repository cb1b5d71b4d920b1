#include "ctl/replies.h"

#include "core/screen_text.h"
#include "core/text.h"

namespace vantry {
namespace {

constexpr std::string_view kStatusHead = "rST\x1b";
constexpr std::string_view kPausedMark = " (Paused) ";
constexpr std::string_view kNotMonitored = "is not being monitored by";

Status Strange(std::string_view what, std::string_view text) {
  return Status::Error(Fail::kBadData, std::string(what) + ": '" + FitTo(Printable(text), 80) + "'.");
}

bool Count(std::string_view text, int64_t& number) {
  const auto n = WholeNumber(text);
  if (!n || *n < 0) return false;
  number = *n;
  return true;
}

bool ParseSiteRecord(std::string_view record, SiteStatus& site) {
  // Counted from the end: the name is the one text that people choose, and may hold anything.
  const auto parts = Split(record, '\x1b');
  if (parts.size() < 7 || !parts.back().empty()) return false;
  const size_t first = parts.size() - 6;
  site.name = std::string(record.substr(0, static_cast<size_t>(parts[first].data() - record.data()) - 1));
  if (site.name.ends_with(kPausedMark)) {
    site.paused = true;
    site.name.resize(site.name.size() - kPausedMark.size());
  }
  site.last_read = parts[first + 4];
  return Count(parts[first], site.visitors) && Count(parts[first + 1], site.alerts) &&
         Count(parts[first + 2], site.spiders) && Count(parts[first + 3], site.exceptions);
}

// "hh:mm:ss"
bool IsTime(std::string_view text) {
  if (text.size() != 8) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (i == 2 || i == 5 ? text[i] != ':' : !IsDigit(text[i])) return false;
  }
  return true;
}

// A row of the list, whose page and referrer are what a visitor sent and may hold tabs and line ends: the two times
// that follow the page show where it ends.
bool ReadRow(std::string_view row, ListedVisitor& v) {
  const auto f = Split(row, '\t');
  constexpr size_t kCount = ListedVisitor::kFieldCount, kPage = 3;
  if (f.size() < kCount + 1 || !f.back().empty()) return false;
  size_t start = kPage + 1;
  if (f.size() > kCount + 1) {
    while (start + 4 < f.size() && !(IsTime(f[start]) && IsTime(f[start + 1]))) ++start;
    if (start + 4 >= f.size()) return false;
  }
  const auto joined = [&](size_t from, size_t to) {
    const char* end = f[to].data() + f[to].size();
    return std::string(f[from].data(), static_cast<size_t>(end - f[from].data()));
  };
  const auto text = [&](size_t i) { return std::string(f[i]); };
  v = {text(0),     text(1),         text(2),         joined(kPage, start - 1),
       text(start), text(start + 1), text(start + 2), joined(start + 3, f.size() - 2)};
  return true;
}

// Takes the row at the beginning of the list. Returns its size with its line end, 0 when there is no whole row.
size_t TakeRow(std::string_view list, std::vector<ListedVisitor>& visitors) {
  constexpr int kMaxLines = 100;  // More than any line of a log that is worth showing holds.
  size_t end = 0;
  for (int line = 0; line < kMaxLines; ++line) {
    const size_t at = list.find('\n', end);
    if (at == std::string_view::npos) return 0;
    end = at + 1;
    ListedVisitor visitor;
    if (!ReadRow(list.substr(0, at), visitor)) continue;
    visitors.push_back(std::move(visitor));
    return end;
  }
  return 0;
}

// What an answer that is no list says.
Status ExplainText(std::string_view body) {
  const bool page = StartsWith(Trim(body), "<") || Contains(Lower(body), "<form");
  if (Contains(body, kNotMonitored)) {
    const size_t from = body.find("The Domain:");
    const size_t end = body.find(kNotMonitored) + kNotMonitored.size();
    if (from < end) {
      return Status::Error(Fail::kNotFound, Printable(body.substr(from, end - from)) + " Vantry.");
    }
  }
  if (page) {
    return Status::Error(Fail::kRefused, "The list needs a login (WebAccessControl is on); use a browser instead.");
  }
  return Strange("The answer is no list of visitors", body);
}

}  // namespace

Status ParseStatusReply(std::string_view reply, std::vector<SiteStatus>& sites) {
  sites.clear();
  if (!StartsWith(reply, kStatusHead)) return Strange("The answer is no status record", reply);
  reply.remove_prefix(kStatusHead.size());
  while (!reply.empty()) {
    const size_t end = reply.find('\n');
    SiteStatus site;
    if (end == std::string_view::npos || !ParseSiteRecord(reply.substr(0, end), site)) {
      return Strange("A site's record is damaged or cut off", reply.substr(0, end));
    }
    sites.push_back(std::move(site));
    reply.remove_prefix(end + 1);
  }
  return Status::Ok();
}

Status ParseListReply(std::string_view reply, std::vector<ListedVisitor>& visitors) {
  visitors.clear();
  if (!StartsWith(reply, "HTTP/")) return Strange("The answer is no web page", reply);
  const size_t head_end = reply.find("\r\n\r\n");
  if (head_end == std::string_view::npos) return Strange("The answer was cut off", reply);
  const std::string_view status_line = reply.substr(0, reply.find("\r\n"));
  const size_t blank = status_line.find(' ');
  if (blank == std::string_view::npos || status_line.substr(blank + 1, 3) != "200") {
    return Strange("The request was turned down", status_line);
  }
  std::string_view body = reply.substr(head_end + 4);
  if (!Contains(body, "\t") && body != "\r\n") return ExplainText(body);
  if (StartsWith(body, "<")) return ExplainText(body);
  while (body != "\r\n") {
    const size_t size = TakeRow(body, visitors);
    if (size == 0) return Strange("The list is damaged or cut off", body.substr(0, body.find('\n')));
    body.remove_prefix(size);
  }
  return Status::Ok();
}

}  // namespace vantry
