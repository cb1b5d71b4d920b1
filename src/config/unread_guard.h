// Keeps what could not be read from being overwritten.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ports/files.h"

namespace vantry {

// Passes every call on to the real files, but refuses (kRefused) to replace or remove a file that is there and could
// not be opened when it was last read. Whoever holds tables filled from such a file holds nothing of its content, and
// would wipe it out at the next save.
class UnreadGuard final : public Files {
 public:
  explicit UnreadGuard(Files& files) : files_(files) {}

  Status Read(const std::string& path, std::string& bytes) override;
  Status Replace(const std::string& path, std::string_view bytes) override;
  Status Append(const std::string& path, std::string_view bytes) override { return files_.Append(path, bytes); }
  Status Remove(const std::string& path) override;
  bool Exists(const std::string& path) override { return files_.Exists(path); }
  Status Identify(const std::string& path, FileIdentity& identity) override { return files_.Identify(path, identity); }
  Status MakeFolder(const std::string& path) override { return files_.MakeFolder(path); }
  Status OpenFolder(const std::string& folder, std::unique_ptr<FolderReader>& reader) override {
    return files_.OpenFolder(folder, reader);
  }
  Status OpenLog(const std::string& path, std::unique_ptr<LogFile>& file) override {
    return files_.OpenLog(path, file);
  }
  Status OpenUnpacked(const std::string& path, std::unique_ptr<LogFile>& file) override {
    return files_.OpenUnpacked(path, file);
  }
  Status Look(const std::string& path, FileLook& look) override { return files_.Look(path, look); }

 private:
  Status CheckRead(const std::string& path) const;

  Files& files_;
  std::map<std::string, std::string> unread_;  // Why the last reading failed, by path.
};

// Keeps the bytes beside the file under the first name that is free or holds them already, and returns that name. Empty
// when all names are taken or the disk refuses.
std::string KeepCopy(Files& files, const std::string& path, const std::string& bytes);

}  // namespace vantry
