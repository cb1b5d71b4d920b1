// Writes a zip file of logs, from nothing or as the continuation of another one, whose packed entries are taken over as
// they are.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "archive/disk.h"
#include "archive/zip_records.h"
#include "core/status.h"

namespace vantry {

// An existing zip that is open for reading.
struct OldZip {
  int file = -1;
  ZipEnd end;
  std::vector<ZipEntry> entries;
  std::string directory;  // Its bytes.
};

// Reads the directory of an open zip. kBadData if it is not a zip that can be continued.
Status ReadOldZip(int file, const std::string& name, OldZip& zip);

class ZipWriter {
 public:
  // Writes to an empty open file. `name` is for the texts of failures.
  ZipWriter(const Disk& disk, int file, std::string name) : disk_(disk), file_(file), name_(std::move(name)) {}

  // Takes over all entries; to be called first.
  Status Continue(const OldZip& old);
  // Packs `entry.size` bytes of an open log from its beginning, and sets CRC, place and packed size of the entry.
  // kNotFound if the log has fewer, kRefused if it can't be read: the zip is as before then.
  Status Add(int log, const std::string& log_name, ZipEntry& entry);
  // Takes the entry added last out again.
  Status DropLast();
  // Writes the directory and makes the file durable.
  Status Finish();

  const std::vector<ZipEntry>& Entries() const { return entries_; }

 private:
  struct Packer;
  Status Append(std::string_view bytes);

  const Disk& disk_;
  int file_;
  std::string name_;
  int64_t place_ = 0;
  std::vector<ZipEntry> entries_;  // The old ones first.
  size_t old_count_ = 0;
  std::string old_directory_;
};

// The CRC of the first `size` bytes of an open log.
Status LogCrc(const Disk& disk, int log, const std::string& log_name, int64_t size, uint32_t& crc);

}  // namespace vantry
