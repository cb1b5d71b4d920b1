// Files that are written in place: the tables and the files beside them.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "core/status.h"
#include "ports/file_identity.h"

namespace vantry {

enum class OpenFor {
  kReading,
  kWriting,   // The file must be there.
  kCreating,  // Made when it is missing, empty then.
};

class DataFile {
 public:
  virtual ~DataFile() = default;
  // Reads up to buffer.size() bytes from a 0-based place; `count` is less only at the end of the file.
  virtual Status ReadAt(int64_t position, std::span<char> buffer, size_t& count) = 0;
  // Writes all bytes. After a failure the file may have any part of them.
  virtual Status WriteAt(int64_t position, std::string_view bytes) = 0;
  virtual Status Truncate(int64_t size_bytes) = 0;
  // Returns once everything written survives a loss of power.
  virtual Status Sync() = 0;
  virtual Status Identify(FileIdentity& identity) = 0;
};

class DataFiles {
 public:
  virtual ~DataFiles() = default;
  // A file opened for writing is locked for this program until it is closed; kRefused if another program has it locked.
  // kNotFound when it is not there.
  virtual Status Open(const std::string& path, OpenFor purpose, std::unique_ptr<DataFile>& file) = 0;
  virtual Status Identify(const std::string& path, FileIdentity& identity) = 0;
  // Removing a missing file is not a failure.
  virtual Status Remove(const std::string& path) = 0;
  // Puts the file `from` in the place of `to`, at once and durably. The content of `from` was synced before.
  virtual Status Replace(const std::string& from, const std::string& to) = 0;
};

}  // namespace vantry
