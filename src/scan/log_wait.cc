#include "scan/log_wait.h"

#include <memory>

#include "scan/scan_cycle.h"

namespace vantry {

std::string NoFileFits(const SiteRec& site) {
  return site.FTP ? "no log file was found in the FTP path " + site.FTPPath + " [" + site.Mask + "]"
                  : "no log file fits " + site.Folder + site.Mask;
}

std::string FolderTrouble(Files& files, const std::string& folder) {
  std::unique_ptr<FolderReader> reader;
  const Status status = files.OpenFolder(folder, reader);
  return status.ok() || status.fail == Fail::kNotFound ? std::string() : status.text;
}

// Leaves the site running; the returned failure ends this scan alone.
Status ScanCycle::WaitForLog(int16_t n, const std::string& what) {
  SiteRec& site = t_.Site(n);
  site.WaitsForLog = true;
  if (!site.WaitTold) {
    site.WaitTold = true;
    const std::string text = "Site " + site.Name + ": " + what + ". It is looked for every minute.";
    if (t_.ServiceMode) {
      c_.log.AddLogEvent(text, EventLevel::kWarning);
    } else {
      c_.notices.Tell(text);
      c_.log.WriteProgramLog(text, false);
    }
  }
  return Status::Error(Fail::kNotFound, what);
}

}  // namespace vantry
