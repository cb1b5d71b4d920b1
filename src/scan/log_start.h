// What a log is known by: its first kilobyte, as far as it was read.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "core/tables.h"
#include "ports/files.h"

namespace vantry {

constexpr size_t kStartBytes = 1024;
// Some tools keep times in whole seconds.
constexpr int64_t kTimeSlackNs = 2'000'000'000;

inline uint64_t AddToHash(uint64_t hash, char c) {
  return (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
}

inline uint64_t HashOfStart(std::string_view bytes) {
  uint64_t hash = 0xcbf29ce484222325;
  for (const char c : bytes) hash = AddToHash(hash, c);
  return hash;
}

inline int64_t BytesRead(int64_t read_pos) {
  return std::max<int64_t>(read_pos - 1, 0);
}

// Nothing is known of a file of which nothing was read: any may begin like that.
inline bool Begins(std::string_view start, const LogFileId& id) {
  const auto bytes = static_cast<size_t>(id.StartBytes);
  return bytes <= start.size() && (bytes == 0 || HashOfStart(start.substr(0, bytes)) == id.StartHash);
}

// Whether it begins with more than blank lines and comments, as many files may begin.
inline bool BeginsWithLine(std::string_view start) {
  while (!start.empty()) {
    const std::string_view line = start.substr(0, start.find('\n'));
    const size_t first = line.find_first_not_of(" \t\r");
    if (first != std::string_view::npos && line[first] != '#') return true;
    start.remove_prefix(std::min(line.size() + 1, start.size()));
  }
  return false;
}

inline void KnowBy(std::string_view start, LogFileId& id) {
  id.StartBytes = static_cast<int32_t>(start.size());
  id.StartHash = HashOfStart(start);
}

inline bool SameInode(const LogFileId& id, uint64_t device, uint64_t inode) {
  return id.Inode == inode && id.Device == device;
}

inline bool SameFile(const LogFileId& a, const LogFileId& b) {
  return SameInode(a, b.Device, b.Inode) && a.StartBytes == b.StartBytes && a.StartHash == b.StartHash;
}

inline bool IsPackedName(std::string_view path) {
  return path.ends_with(".gz");
}

}  // namespace vantry
