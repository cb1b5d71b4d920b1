#pragma once

#include <QTimer>
#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "platform/notifier.h"
#include "ports/http_server.h"

struct MHD_Connection;
struct MHD_Daemon;

namespace vantry {

// An HTTP server by libmicrohttpd, turned by the Qt loop: it has no threads, its own descriptor says when there is
// something to do, and a connection that has nothing to send is set aside. A QCoreApplication must exist.
class MhdServer final : public HttpServer {
 public:
  static constexpr int kSweepMs = 500;

  MhdServer();
  ~MhdServer() override;
  MhdServer(const MhdServer&) = delete;
  MhdServer& operator=(const MhdServer&) = delete;

  Status Start(const HttpPlace& place, const HttpLimits& limits, HttpHandler handler) override;
  void Stop() override;
  size_t Callers() const override { return callers_.size(); }
  // The port that is listened on, 0 for none; differs from the one asked for when that was 0.
  uint16_t Port() const { return port_; }

 private:
  friend struct MhdCallbacks;
  struct Call;
  struct Caller;
  using Place = std::list<Caller>::iterator;

  Status StartDaemon(const HttpPlace& place);
  void Accept();
  bool MakeRoom(const std::string& network);
  Caller* WhoGivesWay(const std::string& network);
  std::string CrowdedNetwork() const;
  void End(Caller& caller);
  void Sweep();
  void Run();
  void ArmTimer();

  void TakeHead(Call& call, const char* method) const;
  bool TakeBody(Call& call, const char* bytes, size_t count) const;
  bool Ask(const std::shared_ptr<Call>& call);
  bool Send(Call& call);
  static void Suspend(Call& call);
  void Resume(Call& call);

  HttpLimits limits_;
  HttpHandler handler_;
  MHD_Daemon* daemon_ = nullptr;
  int fd_ = -1;
  uint16_t port_ = 0;
  bool encrypted_ = false;
  bool running_ = false;
  bool resumed_ = false;  // The library has to look at somebody again.
  std::string log_;       // What the library said while it started.
  bool starting_ = false;
  size_t most_ = 0;     // Callers, as far as the system gives descriptors.
  size_t leaving_ = 0;  // Of the callers, those that were ended and are not gone yet.
  std::list<Caller> callers_;
  std::string next_host_, next_network_;  // Of the caller that is being taken in.
  Notifier acceptor_, work_;
  QTimer timer_, sweeper_;
};

}  // namespace vantry
