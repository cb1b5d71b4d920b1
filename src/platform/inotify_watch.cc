#include "platform/inotify_watch.h"

#include <QSocketNotifier>
#include <array>
#include <cerrno>
#include <cstring>
#include <set>
#include <tuple>
#include <utility>

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
  timer_.setSingleShot(true);
  QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { TellOfNewlyWatched(); });
  return true;
}

// Asks each time: the path may lead to another folder by now, through a link that was switched, a renaming or a mount.
Status InotifyWatch::Watch(const std::string& folder) {
  if (!Open()) return Status::Error(Fail::kRefused, "the system has no more places for programs that watch files");
  const int number = ::inotify_add_watch(fd_, folder.c_str(), kWanted);
  if (number < 0) {
    if (errno != ENOSPC) return Failure(folder, errno);
    return Status::Error(Fail::kRefused, folder +
                                             ": the system's limit of watched folders is reached "
                                             "(/proc/sys/fs/inotify/max_user_watches)");
  }
  const auto old = numbers_.find(folder);
  if (old != numbers_.end() && old->second == number) return Status::Ok();
  Leave(folder);
  folders_[number].insert(folder);  // Several paths to one folder have one number.
  numbers_[folder] = number;
  // What is there was written before anybody could tell of it.
  newly_watched_.insert(folder);
  timer_.start(0);
  return Status::Ok();
}

void InotifyWatch::TellOfNewlyWatched() {
  for (const std::string& folder : std::exchange(newly_watched_, {})) {
    if (change_) change_(folder, "", true);
  }
}

void InotifyWatch::Leave(const std::string& folder) {
  const auto number = numbers_.find(folder);
  if (number == numbers_.end()) return;
  const auto paths = folders_.find(number->second);
  paths->second.erase(folder);
  if (paths->second.empty()) {
    ::inotify_rm_watch(fd_, paths->first);
    folders_.erase(paths);
  }
  numbers_.erase(number);
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
        for (const auto& [folder, number] : numbers_) changes.emplace(folder, "", true);
        continue;
      }
      const auto it = folders_.find(event.wd);
      if (it == folders_.end()) continue;
      const bool gone = (event.mask & IN_IGNORED) != 0;
      for (const std::string& folder : it->second) {
        changes.emplace(folder, event.len > 0 ? std::string(name) : std::string(), gone || (event.mask & kNames) != 0);
        if (gone) numbers_.erase(folder);
      }
      if (gone) folders_.erase(it);
    }
  }
  for (const auto& [folder, name, names_changed] : changes) {
    if (change_) change_(folder, name, names_changed);
  }
}

}  // namespace vantry
