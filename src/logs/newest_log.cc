#include "logs/newest_log.h"

#include <algorithm>

#include "core/wildcard.h"

namespace vantry {

std::optional<FileEntry> NewestLog(std::vector<FileEntry> entries, std::string_view mask, FileChoice method) {
  std::erase_if(entries, [&](const FileEntry& e) { return !FitsFileMask(e.name, mask); });
  std::sort(entries.begin(), entries.end(), [](const FileEntry& a, const FileEntry& b) { return a.name < b.name; });
  const FileEntry* best = nullptr;
  for (const FileEntry& entry : entries) {
    const bool by_date = method == FileChoice::kByDate;
    // A tie goes to the later name; a file whose time can't be read is passed over.
    if (by_date && (!entry.written_ns || (best && *entry.written_ns < *best->written_ns))) continue;
    best = &entry;
  }
  return best ? std::optional(*best) : std::nullopt;
}

}  // namespace vantry
