// A gzip file read as the log that it holds.
#pragma once

#include <memory>
#include <string>

#include "core/status.h"
#include "ports/files.h"

namespace vantry {

// Opens the file for reading what it unpacks to. Members that follow each other are one content. A file that is cut
// short, or goes on as something else, ends where its readable part does.
Status OpenUnpackedLog(const std::string& path, std::unique_ptr<LogFile>& file);

}  // namespace vantry
