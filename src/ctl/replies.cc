#include "ctl/replies.h"

#include "core/text.h"
#include "ctl/screen_text.h"

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
    const size_t end = body.find('\n');
    const auto f = Split(body.substr(0, end), '\t');
    if (end == std::string_view::npos || f.size() != ListedVisitor::kFieldCount + 1 || !f.back().empty()) {
      return Strange("The list is damaged or cut off", body.substr(0, end));
    }
    const auto text = [&](size_t i) { return std::string(f[i]); };
    visitors.push_back({text(0), text(1), text(2), text(3), text(4), text(5), text(6), text(7)});
    body.remove_prefix(end + 1);
  }
  return Status::Ok();
}

}  // namespace vantry
