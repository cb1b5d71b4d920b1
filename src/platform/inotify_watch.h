#pragma once

#include <QTimer>
#include <map>
#include <set>
#include <string>

#include "platform/notifier.h"
#include "ports/file_watch.h"

namespace vantry {

// Watches folders by inotify. A QCoreApplication must exist before the first Watch.
class InotifyWatch final : public FileWatch {
 public:
  InotifyWatch() = default;
  ~InotifyWatch() override;
  InotifyWatch(const InotifyWatch&) = delete;
  InotifyWatch& operator=(const InotifyWatch&) = delete;

  void OnChange(Change change) override { change_ = std::move(change); }
  Status Watch(const std::string& folder) override;

 private:
  bool Open();
  void Read();
  void TellOfNewlyWatched();
  void Leave(const std::string& folder);

  Change change_;
  int fd_ = -1;
  bool failed_ = false;
  Notifier notifier_;
  std::map<int, std::set<std::string>> folders_;  // The paths that lead to the folder of each watch, by its number.
  std::map<std::string, int> numbers_;
  std::set<std::string> newly_watched_;  // Told of when the timer runs out, which is at once.
  QTimer timer_;
};

}  // namespace vantry
