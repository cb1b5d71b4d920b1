// The stamp beside the index: which index file and which state of each table fit together. An index whose stamp does
// not fit is rebuilt. Pure functions over its text.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ports/data_files.h"

namespace vantry {

struct TableStamp {
  std::string name;
  bool fits = false;         // The index holds just these rows of just this file.
  uint32_t rows = 0;         // That survive a loss of power.
  uint32_t next_record = 1;  // RecordNo of the next row.
  FileIdentity file;
  std::string keys;  // The key declarations that the index was built with.
};

struct IndexStamp {
  bool closed = false;  // Nothing was changed since the stamp was written.
  uint64_t turn = 0;    // Counts the stamps that were written; the highest is valid.
  FileIdentity index;
  std::vector<TableStamp> tables;

  const TableStamp* Find(std::string_view name) const;
};

std::string BuildStamp(const IndexStamp& stamp);
// Empty when the text is not a stamp of this version, or was cut or damaged.
std::optional<IndexStamp> ParseStamp(std::string_view text);

// The file has room for two stamps, which are written in turn, each followed by a NUL: a loss of power in the middle
// of one leaves the other.
inline constexpr size_t kStampPlaceBytes = 64 * 1024;
constexpr int64_t StampPlace(uint64_t turn) {
  return static_cast<int64_t>(turn % 2 * kStampPlaceBytes);
}
// The valid stamp of a file of two.
std::optional<IndexStamp> ParseStampFile(std::string_view bytes);

// Where the word that tells open from closed is, and its two values of the same length. It is the one part that the
// check sum leaves out, so that it can be changed in place.
inline constexpr size_t kStampStatePlace = 15;
inline constexpr std::string_view kStampOpen = "open  ", kStampClosed = "closed";

// FNV-1a with 64 bits, to detect cut and damaged files.
uint64_t CheckSum(std::string_view bytes);

}  // namespace vantry
