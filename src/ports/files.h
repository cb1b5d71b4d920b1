#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/date_time.h"
#include "core/status.h"

namespace vantry {

struct FileEntry {
  std::string name;  // Without the folder.
  int64_t size_bytes = 0;
  // Last write in nanoseconds of the file system's clock, for comparing files alone; empty when it can't be read.
  std::optional<int64_t> written_ns;
};

// A log file opened for shared reading. It may grow, shrink or lose its name while it is open.
class LogFile {
 public:
  virtual ~LogFile() = default;
  // Reads up to buffer.size() bytes from a 0-based place into `buffer`. `count` is what was read; 0 at the end of the
  // file as it is now.
  virtual Status ReadAt(int64_t position, std::span<char> buffer, size_t& count) = 0;
};

// The file system. Paths use "/".
class Files {
 public:
  virtual ~Files() = default;
  // The whole content. kNotFound when there is no such file.
  virtual Status Read(const std::string& path, std::string& bytes) = 0;
  // Replaces the file as a whole, or leaves the old one as it is: written beside it, made durable, then renamed.
  // Nothing is left beside it.
  virtual Status Replace(const std::string& path, std::string_view bytes) = 0;
  // Opens for append, writes, closes.
  virtual Status Append(const std::string& path, std::string_view bytes) = 0;
  // Removing what is not there is no failure.
  virtual Status Remove(const std::string& path) = 0;
  virtual bool Exists(const std::string& path) = 0;
  // Makes the folder with its parents; no failure when it is there.
  virtual Status MakeFolder(const std::string& path) = 0;
  // The plain files of a folder, in no order.
  virtual Status List(const std::string& folder, std::vector<FileEntry>& entries) = 0;
  // Null with a failure when the file can't be opened or is no plain file.
  virtual Status OpenLog(const std::string& path, std::unique_ptr<LogFile>& file) = 0;
};

}  // namespace vantry
