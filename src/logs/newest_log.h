// Which file of a folder is a site's current log.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "core/tables.h"
#include "ports/files.h"

namespace vantry {

// Whether this file would be read rather than the other one. Both fit the mask, and CanBeRead.
bool IsNewerLog(const FileEntry& a, const FileEntry& b, FileChoice method);
// By date, a file whose time can't be read is passed over.
bool CanBeRead(const FileEntry& entry, FileChoice method);

// Of the files that fit the mask, the one written last or, by the other methods, the last by name; empty if none fits.
std::optional<FileEntry> NewestLog(const std::vector<FileEntry>& entries, std::string_view mask, FileChoice method);

}  // namespace vantry
