// Folders that change on command.
#pragma once

#include <set>
#include <string>

#include "ports/file_watch.h"

namespace vantry {

class FakeWatch final : public FileWatch {
 public:
  std::set<std::string> folders;
  size_t most = 1'000'000;  // The system's limit.
  int asked = 0;
  Change changed;

  void OnChange(Change change) override { changed = std::move(change); }
  Status Watch(const std::string& folder) override {
    ++asked;
    if (folders.contains(folder)) return Status::Ok();
    if (folders.size() == most) return Status::Error(Fail::kRefused, folder + ": no more");
    folders.insert(folder);
    return Status::Ok();
  }
};

}  // namespace vantry
