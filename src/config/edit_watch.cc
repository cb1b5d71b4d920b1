#include "config/edit_watch.h"

namespace vantry {

void EditWatch::Remember(const std::string& path) {
  FileIdentity identity;
  if (files_.Identify(path, identity).ok()) {
    known_[path] = identity;
  } else {
    known_.erase(path);
  }
}

void EditWatch::RememberWritten(const std::string& path, std::string_view bytes) {
  Remember(path);
  std::string there;
  if (!files_.Read(path, there).ok() || there != bytes) known_.erase(path);
}

bool EditWatch::Edited(const std::string& path, bool at_once) {
  FileIdentity identity;
  if (!files_.Identify(path, identity).ok()) return false;
  const auto it = known_.find(path);
  if (it != known_.end() && it->second == identity) return false;
  const auto last = seen_.find(path);
  const bool settled = last != seen_.end() && last->second == identity;
  seen_[path] = identity;
  return at_once || settled;
}

}  // namespace vantry
