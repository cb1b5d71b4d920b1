#include "logs/newest_log.h"

#include <algorithm>

#include "core/wildcard.h"

namespace vantry {

bool CanBeRead(const FileEntry& entry, FileChoice method) {
  return method != FileChoice::kByDate || entry.written_ns.has_value();
}

// A tie goes to the later name.
bool IsNewerLog(const FileEntry& a, const FileEntry& b, FileChoice method) {
  return method == FileChoice::kByDate && a.written_ns != b.written_ns ? a.written_ns > b.written_ns : a.name > b.name;
}

std::optional<FileEntry> NewestLog(const std::vector<FileEntry>& entries, std::string_view mask, FileChoice method) {
  const FileEntry* best = nullptr;
  for (const FileEntry& entry : entries) {
    if (!CanBeRead(entry, method) || !FitsFileMask(entry.name, mask)) continue;
    if (!best || IsNewerLog(entry, *best, method)) best = &entry;
  }
  return best ? std::optional(*best) : std::nullopt;
}

}  // namespace vantry
