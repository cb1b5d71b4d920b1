#include "platform/socket_listener.h"

#include <QCoreApplication>
#include <QEvent>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <tuple>

#include <linux/sockios.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/server_socket.h"

namespace vantry {
namespace {

constexpr int64_t kDrainMs = 2'000;  // A peer that has everything gets this long for its own close.
constexpr int64_t kShutdownMs = 1'000;
constexpr size_t kMaxWaiting = 32u << 20;  // A peer that has this much to read yet is sent no more.
constexpr size_t kStopReading = 1u << 20;  // No more is taken from a peer that owes us reading this much.
// Beyond these, and beyond kMaxLingeringBytes, the one that has read nothing for longest goes.
constexpr size_t kMaxLingering = 200;

// Bytes that the other side has not confirmed, the end of the stream included.
int Unconfirmed(int fd) {
  int bytes = 0;
  return ::ioctl(fd, SIOCOUTQ, &bytes) == 0 ? bytes : 0;
}

// Lets the other side see that it was cut off. An ordinary close would look like the end of the page.
void Reset(int fd) {
  const linger at_once{1, 0};
  ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
}

}  // namespace

SocketListener::Peer::~Peer() {
  readable.reset();
  writable.reset();
  if (fd < 0) return;
  if (number == 0 && HasMore()) Reset(fd);
  ::close(fd);
}

SocketListener::SocketListener(Clock& clock) : clock_(clock) {
  sweeper_.setInterval(kSweepMs);
  QObject::connect(&sweeper_, &QTimer::timeout, &sweeper_, [this] { Sweep(); });
  seater_.setSingleShot(true);
  QObject::connect(&seater_, &QTimer::timeout, &seater_, [this] { SeatCallers(); });
}

SocketListener::~SocketListener() {
  acceptor_.reset();
  if (fd_ >= 0) ::close(fd_);
  for (auto& peer : peers_) peer.reset();
  callers_.clear();
  lingering_.clear();
  // No loop turns any more to delete the notifiers that were left to it.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

Status SocketListener::Listen(const std::string& address, uint16_t port, ListenerEvents events) {
  events_ = std::move(events);
  if (Status status = OpenServerSocket(address, port, fd_); !status.ok()) return status;
  port_ = PortOf(fd_);
  acceptor_.reset(new QSocketNotifier(fd_, QSocketNotifier::Read));
  QObject::connect(acceptor_.get(), &QSocketNotifier::activated, acceptor_.get(), [this] { AcceptCallers(); });
  sweeper_.start();
  return Status::Ok();
}

SocketListener::Peer* SocketListener::Find(int connection) const {
  if (connection < 1 || connection > kMaxConnections) return nullptr;
  return peers_[static_cast<size_t>(connection - 1)].get();
}

int SocketListener::FreeNumber() const {
  for (int n = 1; n <= kMaxConnections; ++n) {
    if (!Find(n)) return n;
  }
  return 0;
}

std::string SocketListener::RemoteHost(int connection) const {
  const Peer* peer = Find(connection);
  return peer ? peer->host : std::string();
}

int SocketListener::RemotePort(int connection) const {
  const Peer* peer = Find(connection);
  return peer ? peer->port : 0;
}

void SocketListener::Seat(const PeerPtr& peer, int number) {
  peer->number = number;
  peer->readable.reset(new QSocketNotifier(peer->fd, QSocketNotifier::Read));
  peer->writable.reset(new QSocketNotifier(peer->fd, QSocketNotifier::Write));
  peer->writable->setEnabled(false);
  QObject::connect(peer->readable.get(), &QSocketNotifier::activated, peer->readable.get(),
                   [this, p = peer.get()] { ReadFrom(*p); });
  QObject::connect(peer->writable.get(), &QSocketNotifier::activated, peer->writable.get(), [this, p = peer.get()] {
    if (p->number == 0) {
      ServeLingering(*p);
    } else if (!WriteTo(*p)) {
      Close(p->number, false);
    }
  });
  peers_[static_cast<size_t>(number - 1)] = peer;
  events_.connected(number);
}

void SocketListener::ReadFrom(Peer& peer) {
  char block[64 * 1024];
  if (peer.number == 0) {
    ServeLingering(peer);
    return;
  }
  const auto keep = peers_[static_cast<size_t>(peer.number - 1)];
  const ssize_t n = ::recv(peer.fd, block, sizeof block, 0);
  if (n < 0) {
    if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) Close(peer.number, false);
    return;
  }
  if (n > 0) {
    peer.last_active_ms = clock_.Steady().ms;
    if (!peer.Spoke()) {
      peer.first_byte_ms = peer.last_active_ms;
      TakeLowestNumber(peer);
    }
    Deliver(keep, {block, static_cast<size_t>(n)});
    return;
  }
  peer.peer_done = true;
  peer.readable->setEnabled(false);
  events_.peer_done(peer.number);
  // Whoever had something to answer has done so by now.
  if (keep->number != 0) Close(keep->number, true);
}

void SocketListener::Deliver(const PeerPtr& peer, std::string_view bytes) {
  // The handler may turn the loop; what arrives meanwhile waits, so that it is not delivered before these bytes are.
  peer->readable->setEnabled(false);
  peer->in_handler = true;
  events_.data(peer->number, bytes);
  peer->in_handler = false;
  if (peer->fd >= 0 && peer->readable) peer->readable->setEnabled(peer->Waiting() < kStopReading);
}

void SocketListener::TakeLowestNumber(Peer& peer) {
  const int old = peer.number;
  int lowest = 1;
  while (lowest < old && Find(lowest) && Find(lowest)->Spoke()) ++lowest;
  if (lowest == old) return;
  auto &place = peers_[static_cast<size_t>(lowest - 1)], &left = peers_[static_cast<size_t>(old - 1)];
  std::swap(place, left);
  peer.number = lowest;
  const bool other = left != nullptr;
  if (other) left->number = old;
  // As if each had come under its new number.
  events_.disconnected(old);
  if (other) events_.disconnected(lowest);
  events_.connected(lowest);
  if (other) events_.connected(old);
}

bool SocketListener::WriteOut(Peer& peer) {
  while (peer.Waiting() > 0) {
    const ssize_t n = ::send(peer.fd, peer.out.data() + peer.sent, peer.Waiting(), MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) return false;
    if (n < 0) break;
    peer.sent += static_cast<size_t>(n);
    peer.last_active_ms = clock_.Steady().ms;
  }
  if (peer.Waiting() == 0) {
    peer.out.clear();
    peer.sent = 0;
  } else if (peer.sent > kStopReading) {
    peer.out.erase(0, peer.sent);
    peer.sent = 0;
  }
  return true;
}

bool SocketListener::WriteTo(Peer& peer) {
  if (!WriteOut(peer)) return false;
  // One piece each time the socket has room: others have their turn between two.
  if (peer.Waiting() == 0 && peer.more) {
    if (!peer.more(peer.out)) peer.more = nullptr;
    if (!WriteOut(peer)) return false;
  }
  peer.writable->setEnabled(peer.HasMore());
  if (!peer.in_handler && !peer.peer_done) peer.readable->setEnabled(peer.Waiting() < kStopReading);
  return true;
}

void SocketListener::Send(int connection, std::string_view bytes) {
  Peer* peer = Find(connection);
  if (!peer) return;
  // One page may be of any size; what is refused is more of it to a peer that has not read the last.
  const bool owes_too_much = peer->Waiting() > kMaxWaiting;
  peer->out.append(bytes);
  if (owes_too_much || !WriteTo(*peer)) Close(connection, false);
}

void SocketListener::SendPieces(int connection, PieceSource next) {
  Peer* peer = Find(connection);
  if (!peer) return;
  peer->more = std::move(next);
  if (!WriteTo(*peer)) Close(connection, false);
}

void SocketListener::Close(int connection, bool flush) {
  if (!Find(connection)) return;
  const auto peer = std::move(peers_[static_cast<size_t>(connection - 1)]);
  peers_[static_cast<size_t>(connection - 1)].reset();
  peer->number = 0;
  if (flush) {
    Linger(peer);
  } else {
    peer->readable->setEnabled(false);
    peer->writable->setEnabled(false);
    if (peer->HasMore()) Reset(peer->fd);
    ::close(peer->fd);
    peer->fd = -1;
  }
  events_.disconnected(connection);
  // Not from in here: a caller's events come after those of whoever closed.
  if (!callers_.empty()) seater_.start(0);
}

// A slow reader is waited for as long as it lives, which its system tells ours even when it reads nothing. When all of
// them together are too much, those who have everything go first, then the one that has read nothing for longest.
void SocketListener::Linger(const PeerPtr& peer) {
  size_t bytes = peer->Waiting();
  for (const auto& p : lingering_) bytes += p->Waiting();
  while (!lingering_.empty() && (lingering_.size() >= kMaxLingering || bytes > kMaxLingeringBytes)) {
    const auto quietest = std::min_element(lingering_.begin(), lingering_.end(), [](const auto& a, const auto& b) {
      return std::tuple(a->HasMore(), a->last_active_ms) < std::tuple(b->HasMore(), b->last_active_ms);
    });
    bytes -= (*quietest)->Waiting();
    lingering_.erase(quietest);
  }
  lingering_.push_back(peer);
  ServeLingering(*peer);
}

void SocketListener::ServeLingering(Peer& peer) {
  if (!LingersOn(peer)) {
    lingering_.remove_if([&](const auto& p) { return p.get() == &peer; });
  }
}

// Sends what is left, then closes this side, then waits a moment for the peer's close: closing with bytes unread would
// make the system take back what the peer has not read yet, and without us it would not wait long for a slow one.
bool SocketListener::LingersOn(Peer& peer) {
  if (!WriteTo(peer)) return false;
  char block[64 * 1024];
  ssize_t n = 0;
  // Nobody listens any more. Of a flood, what the next turn of the loop can take is left to it.
  for (int reads = 0; reads < 4 && (n = ::recv(peer.fd, block, sizeof block, 0)) > 0; ++reads) {
  }
  if (n > 0) return true;
  if (n == 0) {
    peer.peer_done = true;
    peer.readable->setEnabled(false);
  } else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
    return false;
  }
  if (peer.HasMore()) return true;
  if (!peer.half_closed) ::shutdown(peer.fd, SHUT_WR);
  peer.half_closed = true;
  const int64_t now = clock_.Steady().ms;
  if (Unconfirmed(peer.fd) > 0) {
    peer.all_read_ms.reset();
    return true;
  }
  if (!peer.all_read_ms) peer.all_read_ms = now;
  return !peer.peer_done && now - *peer.all_read_ms < kDrainMs;
}

void SocketListener::SweepLingering() {
  lingering_.remove_if([this](const auto& p) { return !p->HasMore() && !LingersOn(*p); });
}

void SocketListener::Shutdown() {
  acceptor_.reset();
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  callers_.clear();
  for (int n = 1; n <= kMaxConnections; ++n) Close(n, true);
  const int64_t deadline = clock_.Steady().ms + kShutdownMs;
  for (;;) {
    std::vector<pollfd> waiting;
    for (const auto& peer : lingering_) {
      if (peer->HasMore()) waiting.push_back({peer->fd, POLLOUT, 0});
    }
    const int64_t left = deadline - clock_.Steady().ms;
    if (waiting.empty() || left <= 0 || ::poll(waiting.data(), waiting.size(), static_cast<int>(left)) <= 0) break;
    const auto peers = lingering_;
    for (const auto& peer : peers) ServeLingering(*peer);
  }
  lingering_.clear();
  sweeper_.stop();
}

}  // namespace vantry
