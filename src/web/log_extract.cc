// One visitor's lines of the log, copied to a text file for people to look at.
#include "web/log_extract.h"

#include <algorithm>

#include "core/text.h"
#include "logs/line_reader.h"

namespace vantry {
namespace {

constexpr int64_t kBeforeStart = 500;   // Bytes; the visitor's place is after its first line.
constexpr int kLinesWithoutScan = 50;   // Read at most while the scan has no line.
constexpr size_t kPiece = 1024 * 1024;  // Written at once.

// A text file that grows piece by piece.
class TextOutput {
 public:
  TextOutput(Files& files, std::string path) : files_(files), path_(std::move(path)) {}
  void Line(std::string_view text) {
    pending_.append(text).append("\r\n");
    if (pending_.size() >= kPiece) WriteOut();
  }
  void Item(std::string_view label, std::string_view value) { Line(std::string(label).append("\t").append(value)); }
  const Status& WriteOut() {
    if (status_.ok()) status_ = files_.Append(path_, pending_);
    pending_.clear();
    return status_;
  }
  const Status& Failure() const { return status_; }

 private:
  Files& files_;
  std::string path_, pending_;
  Status status_;
};

Status Extract(const PageContext& c, const SiteRec& site, const VisitorRec& v, int client_no, std::string& name) {
  std::unique_ptr<LogFile> log;
  if (Status status = c.files.OpenLog(site.LastLogFile, log); !status.ok()) return status;
  const std::string folder = c.settings.DDFPath + "Temp/";
  const std::string path = folder + "tmplog" + std::to_string(client_no) + ".txt";
  if (Status status = c.files.MakeFolder(folder); !status.ok()) return status;
  if (Status status = c.files.Remove(path); !status.ok()) return status;
  name = path;

  TextOutput out(c.files, path);
  out.Item("Log File:", site.LastLogFile);
  out.Item("Log Entries For:", v.IP);
  if (v.DNS != v.IP) out.Item("DNS:", v.DNS);
  out.Item("Browser:", v.Browser);
  out.Item("Referrer:", v.Referrer);
  if (v.IsSpider) out.Item("Spider:", "Yes");
  out.Item("Started:", c.regional.General(v.StartTime));
  out.Line(" ");

  std::vector<char> buffer;
  LineReader reader(*log, site.Unix, std::max<int64_t>(v.StartPos - 1 - kBeforeStart, 0), buffer);
  int64_t copied = 0;
  for (int64_t lines = 1; out.Failure().ok() && reader.Next(); ++lines) {
    if (Contains(reader.Line(), v.IP)) {
      out.Line(reader.Line());
      ++copied;
    }
    // Looks at the scan's line, not at the one just read.
    if (lines >= kLinesWithoutScan && c.t.Hit.CurLine.empty()) break;
  }
  out.Line(" ");
  out.Line(std::to_string(copied) + " Log Entries");
  const Status& written = out.WriteOut();
  return written.ok() ? reader.Error() : written;
}

}  // namespace

std::string ExtractLogEntriesToFile(const PageContext& c, std::string_view visitor_key, int client_no) {
  std::string name;
  c.log.Guard("Interface.ExtractLogEntriesToFile", [&] {
    const size_t colon = visitor_key.find(':');
    const int32_t number = LeadingNumber(visitor_key.substr(0, colon));
    if (colon == std::string_view::npos || number < 1 || number > c.t.SiteCount()) return Status::Ok();
    const auto site = static_cast<int16_t>(number);
    const VisitorRec* v = c.t.Visitors.Lookup(site, visitor_key.substr(colon + 1));
    if (!v) return Status::Ok();
    return Extract(c, c.t.Site(site), *v, client_no, name);
  });
  return name;
}

}  // namespace vantry
