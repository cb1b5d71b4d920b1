#pragma once

#include <QSocketNotifier>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vantry {

// The result of a look-up: addresses as texts, best first, or the reason why there are none.
struct HostAddresses {
  std::vector<std::string> addresses;
  std::string problem;
};

// Looks up the addresses of a host by the rules of this machine; blocks for as long as that takes.
HostAddresses LookUpHost(const std::string& host);

using HostLookUp = std::function<HostAddresses(const std::string& host)>;

// Runs one look-up in a thread of its own. A QCoreApplication must exist. The thread is never waited for: one that
// hangs on a dead name server delays neither the end of the program nor another look-up.
class PendingLookUp {
 public:
  // `done` is called once, from the loop, unless the object is gone by then. It must not destroy the object.
  PendingLookUp(const std::string& host, HostLookUp look_up, std::function<void(HostAddresses found)> done);
  PendingLookUp(const PendingLookUp&) = delete;
  PendingLookUp& operator=(const PendingLookUp&) = delete;

 private:
  struct Shared;
  std::shared_ptr<Shared> shared_;  // With the thread.
  std::unique_ptr<QSocketNotifier> answered_;
};

}  // namespace vantry
