#pragma once

#include <QTimer>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include <ares.h>

#include "platform/dns_text.h"
#include "platform/notifier.h"
#include "ports/resolver.h"

namespace vantry {

struct ResolverOptions {
  std::string servers;                           // As ReadNameServers reads them; empty for those of the system.
  std::string system_file = "/etc/resolv.conf";  // Where the system names its servers.
  uint16_t port = 53;                            // Of a server named without one.
  int timeout_ms = 2'000;                        // Of the first try at each server; the second waits twice as long.
};

// Reverse look-ups through c-ares on sockets driven by the Qt loop. A QCoreApplication must exist.
//
// Servers are asked in their order, each twice, until one answers. A server's "no such name", "failure" or "refused" is
// an answer: reverse zones that nobody serves are common, and asking for them again and again would keep the slots
// of requests that can be answered. A change of the system's own list of servers counts from the next request on.
//
// c-ares calls back in the middle of its work. Nothing of the engine runs there: an answer is put aside and delivered
// from the loop, so whatever a handler does, it never enters c-ares from inside.
class CaresResolver final : public Resolver {
 public:
  explicit CaresResolver(ResolverOptions options = {});
  ~CaresResolver() override;
  CaresResolver(const CaresResolver&) = delete;
  CaresResolver& operator=(const CaresResolver&) = delete;

  void OnComplete(std::function<void(const ResolverAnswer&)> complete) override { complete_ = std::move(complete); }
  int Pending() const override { return static_cast<int>(under_way_.size()); }
  int16_t Start(const std::string& address) override;
  void Cancel() override;

  // Why no request is ever started: the list of servers can't be read. Empty if all is well.
  const std::string& Problem() const { return problem_; }

 private:
  static constexpr int16_t kMaxId = 32'767;
  struct Request {
    CaresResolver* owner = nullptr;
    ResolverAnswer answer;
  };
  struct Watch {
    Notifier readable, writable;
  };

  bool ChannelReady();
  bool OpenChannel();
  bool SetServers();
  void CloseChannel();
  int16_t NextId();
  void WatchSocket(int fd, bool readable, bool writable);
  void SetWatch(Notifier& notifier, int fd, QSocketNotifier::Type type, bool on);
  void Process(int read_fd, int write_fd);
  void SetTimer();
  void PutAside(Request& request, int status, const unsigned char* bytes, int size);
  void Deliver();

  ResolverOptions options_;
  std::vector<NameServer> servers_;  // Of the options; empty for those of the system.
  std::string problem_;
  std::function<void(const ResolverAnswer&)> complete_;
  ares_channel channel_ = nullptr;
  std::string system_stamp_;  // Tells the system's list apart from a later one.
  bool cancelled_ = false;
  int16_t last_id_ = 0;
  std::map<int16_t, Request> under_way_;  // By id, up to their delivery. c-ares holds pointers to the requests.
  std::deque<int16_t> answered_;          // Ids of answers put aside.
  std::map<int, Watch> watches_;          // By socket.
  QTimer timer_;                          // The next time-out of a try.
  QTimer delivery_;                       // Runs out at once while answers are put aside.
};

}  // namespace vantry
