#include "platform/inotify_watch.h"

#include <QSocketNotifier>
#include <array>
#include <cerrno>
#include <cstring>
#include <set>
#include <tuple>

#include <sys/inotify.h>
#include <unistd.h>

#include "platform/posix_support.h"

namespace vantry {
namespace {

constexpr uint32_t kNames = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr uint32_t kWanted = kNames | IN_MODIFY | IN_ONLYDIR;

}  // namespace

InotifyWatch::~InotifyWatch() {
  notifier_.reset();
  if (fd_ >= 0) ::close(fd_);
}

bool InotifyWatch::Open() {
  if (fd_ >= 0 || failed_) return !failed_;
  fd_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  failed_ = fd_ < 0;
  if (failed_) return false;
  notifier_.reset(new QSocketNotifier(fd_, QSocketNotifier::Read));
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { Read(); });
  return true;
}

Status InotifyWatch::Watch(const std::string& folder) {
  if (numbers_.contains(folder)) return Status::Ok();
  if (!Open()) return Status::Error(Fail::kRefused, "the system has no more places for programs that watch files");
  const int number = ::inotify_add_watch(fd_, folder.c_str(), kWanted);
  if (number < 0) {
    if (errno != ENOSPC) return Failure(folder, errno);
    return Status::Error(Fail::kRefused, folder +
                                             ": the system's limit of watched folders is reached "
                                             "(/proc/sys/fs/inotify/max_user_watches)");
  }
  // Two paths to one folder have one number: the newer one counts, and the other is not watched.
  if (const auto old = folders_.find(number); old != folders_.end()) numbers_.erase(old->second);
  folders_[number] = folder;
  numbers_[folder] = number;
  return Status::Ok();
}

// Reads all there is before anybody is told: a handler may turn the loop, and then nothing must be left to read.
void InotifyWatch::Read() {
  alignas(inotify_event) std::array<char, 64 * 1024> buffer;
  std::set<std::tuple<std::string, std::string, bool>> changes;
  for (;;) {
    const ssize_t size = ::read(fd_, buffer.data(), buffer.size());
    if (size <= 0) break;
    for (ssize_t at = 0; at < size;) {
      inotify_event event;
      std::memcpy(&event, buffer.data() + at, sizeof event);
      const char* name = buffer.data() + at + sizeof event;
      at += static_cast<ssize_t>(sizeof event + event.len);
      if (event.mask & IN_Q_OVERFLOW) {
        for (const auto& [number, folder] : folders_) changes.emplace(folder, "", true);
        continue;
      }
      const auto it = folders_.find(event.wd);
      if (it == folders_.end()) continue;
      if (event.mask & IN_IGNORED) {
        changes.emplace(it->second, "", true);
        numbers_.erase(it->second);
        folders_.erase(it);
        continue;
      }
      changes.emplace(it->second, event.len > 0 ? std::string(name) : std::string(), (event.mask & kNames) != 0);
    }
  }
  for (const auto& [folder, name, names_changed] : changes) {
    if (change_) change_(folder, name, names_changed);
  }
}

}  // namespace vantry
