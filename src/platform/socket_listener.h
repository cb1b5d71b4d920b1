#pragma once

#include <QTimer>
#include <array>
#include <list>
#include <memory>
#include <optional>
#include <string>

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
  static constexpr int64_t kSweepMs = 500;

  explicit SocketListener(Clock& clock);
  ~SocketListener() override;

  Status Listen(const std::string& address, uint16_t port, ListenerEvents events) override;
  void Send(int connection, std::string_view bytes) override;
  void SendPieces(int connection, PieceSource next) override;
  void Close(int connection, bool flush) override;
  bool IsOpen(int connection) const override { return Find(connection) != nullptr; }
  std::string RemoteHost(int connection) const override;
  int RemotePort(int connection) const override;
  void Shutdown() override;

  // Looks after those who wait and those who linger; the listener does so by itself every kSweepMs.
  void Sweep();

  // The port that is listened on, 0 for none; differs from the one asked for when that was 0.
  uint16_t Port() const { return port_; }

 private:
  struct Peer {
    ~Peer();
    int fd = -1;
    int number = 0;  // 0 while it waits for a place, and while lingering.
    std::string host, network;
    int port = 0;
    std::string out;
    size_t sent = 0;   // Of `out`.
    PieceSource more;  // What comes after `out`.
    Notifier readable, writable;
    bool in_handler = false, peer_done = false, half_closed = false;
    int64_t last_active_ms = 0;
    std::optional<int64_t> first_byte_ms;
    std::optional<int64_t> all_read_ms;  // When a lingering peer's system had everything.
    size_t Waiting() const { return out.size() - sent; }
    bool HasMore() const { return Waiting() > 0 || more; }
    bool Spoke() const { return first_byte_ms.has_value(); }
  };
  using PeerPtr = std::shared_ptr<Peer>;

  Peer* Find(int connection) const;
  int FreeNumber() const;

  // socket_places.cc: who comes in, who waits, who goes for whom.
  void AcceptCallers();
  PeerPtr NewPeer(int fd) const;
  void SeatCallers();
  std::list<PeerPtr>::iterator NextCaller();
  void MakeRoom();
  void ThinOutCallers();
  const Peer* WhoGivesWay(const Peer& caller) const;
  int64_t OverdueMs(const Peer& peer) const;

  void Seat(const PeerPtr& peer, int number);
  void TakeLowestNumber(Peer& peer);
  void ReadFrom(Peer& peer);
  void Deliver(const PeerPtr& peer, std::string_view bytes);
  bool WriteTo(Peer& peer);
  bool WriteOut(Peer& peer);
  void Linger(const PeerPtr& peer);
  void ServeLingering(Peer& peer);
  bool LingersOn(Peer& peer);
  void SweepLingering();

  Clock& clock_;
  ListenerEvents events_;
  int fd_ = -1;
  uint16_t port_ = 0;
  Notifier acceptor_;
  std::array<PeerPtr, kMaxConnections> peers_;
  std::list<PeerPtr> callers_;               // Without a place yet, in order of arrival.
  std::optional<int64_t> crowded_since_ms_;  // No more callers fit in.
  std::list<PeerPtr> lingering_;
  QTimer sweeper_, seater_;
};

}  // namespace vantry
