#pragma once

#include <cstdint>

namespace vantry {

// Shows whether a file is still the same one with the same content. The clocks are the file system's own.
struct FileIdentity {
  int64_t size_bytes = 0;
  uint64_t inode = 0;
  int64_t written_ns = 0;  // Last write.
  int64_t changed_ns = 0;  // Last change of content or attributes; can't be set by hand.
  bool operator==(const FileIdentity&) const = default;
};

}  // namespace vantry
