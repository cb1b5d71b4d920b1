// The files of the tables on the machine's file system. A file opened for writing is locked (flock), so that two
// programs never write the same table.
#pragma once

#include "ports/data_files.h"

namespace vantry {

class PosixDataFiles final : public DataFiles {
 public:
  Status Open(const std::string& path, OpenFor purpose, std::unique_ptr<DataFile>& file) override;
  Status Identify(const std::string& path, FileIdentity& identity) override;
  Status Remove(const std::string& path) override;
  Status Replace(const std::string& from, const std::string& to) override;
};

}  // namespace vantry
