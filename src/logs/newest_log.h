// Which file of a folder is a site's current log.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "core/tables.h"
#include "ports/files.h"

namespace vantry {

// Of the files that fit the mask, the one written last or, by the other methods, the last by name; empty if none fits.
std::optional<FileEntry> NewestLog(std::vector<FileEntry> entries, std::string_view mask, FileChoice method);

}  // namespace vantry
