// Which logs of a site go to the archive. Nothing here looks at a disk or a clock.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/date_time.h"

namespace vantry {

// A name in a folder, itself: of a symbolic link these are the link's own.
struct FolderFile {
  std::string name;
  bool plain = false;  // Not a link, folder, device or anything else.
  int64_t size_bytes = 0;
  int64_t written_ns = 0;  // Since 1970.
  uint64_t device = 0, inode = 0;
  uint32_t mode = 0, owner = 0, group = 0;
};

using FileKey = std::pair<uint64_t, uint64_t>;  // Device and inode: a file whatever its names.
using FileKeys = std::set<FileKey>;

inline FileKey KeyOf(const FolderFile& file) {
  return {file.device, file.inode};
}

struct ChoiceRules {
  int64_t now_s = 0;  // Since 1970.
  int32_t days = 0;   // The age at which a log goes.
  FileKeys being_read;
  FileKeys of_others;  // Logs that sites without AutoArchive have.
};

enum class Verdict { kGoes, kOtherName, kYoung, kBeingRead, kOfOthers, kNotPlain, kChangedLately };

// What becomes of a file of a site with this mask. A file changed in the last hour stays, however few days are set.
Verdict Judge(const FolderFile& file, std::string_view mask, const ChoiceRules& rules);

// The file of a month's archive in the folder kArchiveFolder of the logs. Of the site's name, what can't stand in a
// file's name becomes "_", and no more than 100 bytes count.
inline constexpr char kArchiveFolder[] = "Archive";
std::string ZipName(std::string_view site, WallTime written);

// The name for an entry that has `taken` before it: the log's own, else with "~2", "~3" and so on at its end.
std::string EntryName(const std::string& log, const std::set<std::string>& taken);
// Whether an entry may be this log's: its name, with or without such an end.
bool IsEntryOf(std::string_view entry, std::string_view log);

}  // namespace vantry
