// Packs the logs of one site and month into their zip, and removes those that are safely in it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "archive/disk.h"
#include "archive/log_choice.h"
#include "archive/zip_writer.h"
#include "core/status.h"

namespace vantry {

// A folder of logs with the folder of its archives, which is made if need be and locked against other archivers.
class LogFolder {
 public:
  // The folder of logs alone.
  Status Open(const std::string& path);
  ~LogFolder();
  LogFolder() = default;
  LogFolder(const LogFolder&) = delete;
  LogFolder& operator=(const LogFolder&) = delete;

  // All that is in the folder of logs.
  Status List(std::vector<FolderFile>& files) const;
  // Whether files may be made and removed in it.
  Status MayChange() const;
  // Removes what an archiver that was killed has left of its work.
  Status OpenArchives(const Disk& disk);

  const std::string& Path() const { return path_; }
  FileKey Key() const { return key_; }
  int Logs() const { return logs_; }
  int Archives() const { return archives_; }

 private:
  std::string path_;  // With "/" at its end.
  FileKey key_;
  int logs_ = -1, archives_ = -1;
};

struct MonthResult {
  Status status;                    // Of the zip. On a failure no log was removed.
  std::vector<std::string> gone;    // Logs that are in the zip and were removed.
  std::vector<std::string> stayed;  // Sentences on logs that changed meanwhile and stayed, each naming its log.
  std::vector<std::string> failed;  // The same on logs that can't be read or removed.
  int64_t log_bytes = 0;            // Of those that are gone.
  int64_t zip_bytes = 0;            // The zip's size after it all, or before a failure.
};

// `to_local` tells local time of a time since 1970.
MonthResult ArchiveMonth(const Disk& disk, const LogFolder& folder, const std::string& zip_name,
                         const std::vector<FolderFile>& logs, const std::function<WallTime(int64_t)>& to_local);

}  // namespace vantry
