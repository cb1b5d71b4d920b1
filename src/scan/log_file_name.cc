// Which file of a site's folder is its current log.
#include <utility>
#include <vector>

#include "logs/newest_log.h"
#include "scan/scan_cycle.h"

namespace vantry {

std::string ScanCycle::NewestLocalFile(int16_t n) {
  const SiteRec& site = t_.Site(n);
  std::vector<FileEntry> entries;
  if (!c_.files.List(site.Folder, entries).ok()) return {};
  const auto best = NewestLog(entries, site.Mask, site.SelectMethod);
  if (!best) return {};
  const std::string name = site.Folder + best->name;
  SiteRec& found = t_.Site(n);
  found.LogFileSize = best->size_bytes;
  // A log that shrank under its name is read on from its end. With whole lines the place of the next byte is beyond it.
  const int64_t most = found.LogFileSize + (ReadsWholeLines() ? 1 : 0);
  if (found.LastReadPos > most && found.LogFileSize >= 1 && !Follows(n)) {
    found.LastReadPos = found.LastReadPosDay = found.LogFileSize;
    if (found.Stored && found.Stored->LastLogFile == name) {
      found.Stored->LastReadPos = found.Stored->LastReadPosDay = found.LogFileSize;
    }
  }
  return name;
}

std::string ScanCycle::LogFileName(int16_t n) {
  std::string name;
  c_.log.Guard("LogFileName", [&] {
    FlushBeforeScan(n);
    name = t_.Site(n).FTP ? c_.ftp.FTPGetFileName(n) : NewestLocalFile(n);
    return Status::Ok();
  });
  t_.Site(n).LastLookupTime = c_.clock.Now();
  t_.Site(n).ForceLookup = false;
  return name;
}

}  // namespace vantry
