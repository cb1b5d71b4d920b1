// Reads a zip back, by another hand than the one that wrote it.
#pragma once

#include <string>
#include <vector>

#include "archive/zip_records.h"
#include "core/status.h"

namespace vantry {

// Unpacks every entry of the open file from its beginning and compares names, sizes and CRCs with `expected`, which may
// be in any order. The character set of the process must be UTF-8.
Status CheckZip(int file, const std::string& name, std::vector<ZipEntry> expected);

}  // namespace vantry
