#include "config/unread_guard.h"

namespace vantry {
namespace {

constexpr int kMaxCopies = 9;

}  // namespace

Status UnreadGuard::Read(const std::string& path, std::string& bytes) {
  Status status = files_.Read(path, bytes);
  if (status.ok() || status.fail == Fail::kNotFound) {
    unread_.erase(path);
  } else {
    unread_[path] = status.text;
  }
  return status;
}

Status UnreadGuard::Replace(const std::string& path, std::string_view bytes) {
  if (Status status = CheckRead(path); !status.ok()) return status;
  return files_.Replace(path, bytes);
}

Status UnreadGuard::Remove(const std::string& path) {
  if (Status status = CheckRead(path); !status.ok()) return status;
  return files_.Remove(path);
}

Status UnreadGuard::CheckRead(const std::string& path) const {
  const auto it = unread_.find(path);
  if (it == unread_.end()) return Status::Ok();
  return Status::Error(Fail::kRefused, path + " is left as it is, because it could not be read (" + it->second + ")");
}

std::string KeepCopy(Files& files, const std::string& path, const std::string& bytes) {
  for (int n = 1; n <= kMaxCopies; ++n) {
    const std::string copy = path + ".unread" + (n == 1 ? "" : std::to_string(n));
    std::string there;
    const Status status = files.Read(copy, there);
    if (status.ok() && there == bytes) return copy;
    if (status.fail == Fail::kNotFound) return files.Replace(copy, bytes).ok() ? copy : std::string();
  }
  return {};
}

}  // namespace vantry
