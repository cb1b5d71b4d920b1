#pragma once

#include <QTimer>
#include <array>
#include <list>
#include <memory>
#include <vector>

#include "platform/notifier.h"
#include "ports/clock.h"
#include "ports/listener.h"

namespace vantry {

// A TCP server on plain non-blocking sockets, driven by the Qt loop.
//
// A connection's number is free again the moment it is closed: what is still to be sent then goes out from a lingering
// socket without a number. So a browser that asks again at once gets the same number, on which its login rests.
// Browsers also open connections in advance and use them later, or never. These hold a number, but give it to whoever
// speaks first and has a higher one.
class SocketListener final : public Listener {
 public:
  // What closed connections have yet to read is kept up to this size in all, or for the newest one alone.
  static constexpr size_t kMaxLingeringBytes = 256u << 20;

  explicit SocketListener(Clock& clock);
  ~SocketListener() override;

  Status Listen(const std::string& address, uint16_t port, ListenerEvents events) override;
  void Send(int connection, std::string_view bytes) override;
  void Close(int connection, bool flush) override;
  bool IsOpen(int connection) const override { return Find(connection) != nullptr; }
  std::string RemoteHost(int connection) const override;
  int RemotePort(int connection) const override;
  void Shutdown() override;

  // The port that is listened on, 0 for none; differs from the one asked for when that was 0.
  uint16_t Port() const { return port_; }

 private:
  struct Peer {
    ~Peer();
    int fd = -1;
    int number = 0;  // 0 while lingering.
    std::string host;
    int port = 0;
    std::string out;
    size_t sent = 0;  // Of `out`.
    Notifier readable, writable;
    bool spoke = false;  // Bytes came.
    bool in_handler = false, peer_done = false, half_closed = false;
    int64_t last_active_ms = 0, linger_until_ms = 0;
    size_t Waiting() const { return out.size() - sent; }
  };

  Peer* Find(int connection) const;
  int FreeNumber() const;
  void AcceptCallers();
  void AddPeer(int fd, int number);
  void TakeLowestNumber(Peer& peer);
  void ReadFrom(Peer& peer);
  void Deliver(const std::shared_ptr<Peer>& peer, std::string_view bytes);
  bool WriteTo(Peer& peer);
  void Linger(const std::shared_ptr<Peer>& peer);
  void ServeLingering(Peer& peer);
  void DropLingering(const Peer& peer);
  void Sweep();
  void MakeRoom(int64_t now_ms);

  Clock& clock_;
  ListenerEvents events_;
  int fd_ = -1;
  uint16_t port_ = 0;
  Notifier acceptor_;
  std::array<std::shared_ptr<Peer>, kMaxConnections> peers_;
  std::list<std::shared_ptr<Peer>> lingering_;
  QTimer sweeper_;
};

}  // namespace vantry
