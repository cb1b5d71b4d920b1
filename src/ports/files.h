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
#include "ports/file_identity.h"

namespace vantry {

struct FileEntry {
  std::string name;  // Without the folder.
  int64_t size_bytes = 0;
  // Last write in nanoseconds of the file system's clock, for comparing files alone; empty if it can't be read.
  std::optional<int64_t> written_ns;
  uint64_t device = 0, inode = 0;
};

// A file as it is at one moment, whatever its names.
struct FileLook {
  uint64_t device = 0, inode = 0;
  int64_t size_bytes = 0;
  int64_t written_ns = 0;  // Of a folder: when names in it came or went last.
  std::string path;        // Without symbolic links. Of open files alone.
};

// A log file opened for shared reading. It may grow, shrink or lose its name while it is open.
class LogFile {
 public:
  virtual ~LogFile() = default;
  // Reads up to buffer.size() bytes from a 0-based place into `buffer`. `count` is the number of bytes read; 0 at
  // the file's current end.
  virtual Status ReadAt(int64_t position, std::span<char> buffer, size_t& count) = 0;
  virtual Status Look(FileLook& look) = 0;
};

// A folder that is being listed.
class FolderReader {
 public:
  virtual ~FolderReader() = default;
  // Looks at so many names at most and adds the plain files among them, in no particular order. False if those were the
  // last.
  virtual bool Next(size_t most, std::vector<FileEntry>& entries) = 0;
};

// The file system. Paths use "/".
class Files {
 public:
  virtual ~Files() = default;
  // The whole content. kNotFound if there is no such file.
  virtual Status Read(const std::string& path, std::string& bytes) = 0;
  // Replaces the file as a whole or leaves it unchanged: the new one is written beside it, made durable, then renamed.
  // Leaves nothing else behind.
  virtual Status Replace(const std::string& path, std::string_view bytes) = 0;
  // Opens for append, writes, closes.
  virtual Status Append(const std::string& path, std::string_view bytes) = 0;
  // Removing a missing file is not a failure.
  virtual Status Remove(const std::string& path) = 0;
  virtual bool Exists(const std::string& path) = 0;
  // kNotFound if there is no such file.
  virtual Status Identify(const std::string& path, FileIdentity& identity) = 0;
  // Creates the folder and its parents; an existing one is not a failure.
  virtual Status MakeFolder(const std::string& path) = 0;
  virtual Status OpenFolder(const std::string& folder, std::unique_ptr<FolderReader>& reader) = 0;
  // All plain files of a folder at once.
  Status List(const std::string& folder, std::vector<FileEntry>& entries) {
    std::unique_ptr<FolderReader> reader;
    if (Status status = OpenFolder(folder, reader); !status.ok()) return status;
    while (reader->Next(1'000, entries)) {
    }
    return Status::Ok();
  }
  // Null and a failure if the file can't be opened or is not a plain file.
  virtual Status OpenLog(const std::string& path, std::unique_ptr<LogFile>& file) = 0;
  // The same for a gzip file, read as what it unpacks to; one that is cut short ends where its readable part does. Its
  // size has the lower 32 bits alone, and reading backwards starts over.
  virtual Status OpenUnpacked(const std::string& path, std::unique_ptr<LogFile>& file) = 0;
  // Looks at a file or folder without opening it, through symbolic links.
  virtual Status Look(const std::string& path, FileLook& look) = 0;
};

}  // namespace vantry
