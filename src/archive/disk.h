// The steps by which the archiver reads logs and changes a disk. A test breaks each of them in turn.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "core/status.h"

namespace vantry {

class Disk {
 public:
  // Asked before each step; anything but 0 is the errno with which the step fails.
  std::function<int(std::string_view step)> before;

  // Makes a file that was not there and opens it for reading and writing; -1 on failure.
  int Create(int folder, const std::string& name, Status& status) const;
  Status MakeFolder(int folder, const std::string& name) const;
  // `count` is the number of bytes read, 0 at the end.
  Status ReadAt(int file, int64_t place, std::span<char> buffer, size_t& count, const std::string& name) const;
  // At the file's place. `name` is for the failure's text, here and below.
  Status Write(int file, std::string_view bytes, const std::string& name) const;
  Status WriteAt(int file, int64_t place, std::string_view bytes, const std::string& name) const;
  Status Truncate(int file, int64_t size, const std::string& name) const;
  Status Sync(int file, const std::string& name) const;
  Status Rename(int folder, const std::string& from, const std::string& to) const;
  Status Remove(int folder, const std::string& name) const;

 private:
  Status Begin(std::string_view step, const std::string& name) const;
};

}  // namespace vantry
