// The file system of this machine.
#pragma once

#include "ports/files.h"

namespace vantry {

class PosixFiles final : public Files {
 public:
  Status Read(const std::string& path, std::string& bytes) override;
  Status Replace(const std::string& path, std::string_view bytes) override;
  Status Append(const std::string& path, std::string_view bytes) override;
  Status Remove(const std::string& path) override;
  bool Exists(const std::string& path) override;
  Status Identify(const std::string& path, FileIdentity& identity) override;
  Status MakeFolder(const std::string& path) override;
  Status OpenFolder(const std::string& folder, std::unique_ptr<FolderReader>& reader) override;
  Status OpenLog(const std::string& path, std::unique_ptr<LogFile>& file) override;
  Status OpenUnpacked(const std::string& path, std::unique_ptr<LogFile>& file) override;
  Status Look(const std::string& path, FileLook& look) override;
};

}  // namespace vantry
