#include "platform/socket_listener.h"

#include <QCoreApplication>
#include <QEvent>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vantry {
namespace {

constexpr int kBacklog = 512;
constexpr int64_t kDisplaceAfterMs = 10'000;  // Silence after which a connection may give way to a waiting caller.
constexpr int64_t kFlushMs = 30'000;          // A closed connection's bytes are offered to a slow reader this long.
constexpr int64_t kDrainMs = 2'000;           // Then the peer's own close is waited for.
constexpr int64_t kShutdownMs = 1'000;
constexpr size_t kMaxWaiting = 32u << 20;  // A peer that has this much to read yet is sent no more.
constexpr size_t kStopReading = 1u << 20;  // No more is taken from a peer that owes us reading this much.
// Beyond these, and beyond kMaxLingeringBytes, the one that has read nothing for longest goes.
constexpr size_t kMaxLingering = 200;

std::string HostText(const sockaddr_storage& address, int& port) {
  char text[INET6_ADDRSTRLEN] = "";
  if (address.ss_family == AF_INET) {
    const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
    ::inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
    port = ntohs(v4.sin_port);
    return text;
  }
  const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
  port = ntohs(v6.sin6_port);
  if (IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr)) {
    ::inet_ntop(AF_INET, &v6.sin6_addr.s6_addr[12], text, sizeof text);
  } else {
    ::inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
  }
  return text;
}

// Binds and listens; -1 with errno set on failure.
int OpenServer(const sockaddr* address, socklen_t size) {
  const int fd = ::socket(address->sa_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  const int on = 1, off = 0;
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (address->sa_family == AF_INET6) ::setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
  if (::bind(fd, address, size) == 0 && ::listen(fd, kBacklog) == 0) return fd;
  const int error = errno;
  ::close(fd);
  errno = error;
  return -1;
}

int OpenV4(in_addr host, uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr = host;
  address.sin_port = htons(port);
  return OpenServer(reinterpret_cast<sockaddr*>(&address), sizeof address);
}

int OpenV6(in6_addr host, uint16_t port) {
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_addr = host;
  address.sin6_port = htons(port);
  return OpenServer(reinterpret_cast<sockaddr*>(&address), sizeof address);
}

int OpenOn(const std::string& address, uint16_t port) {
  in_addr v4{};
  in6_addr v6{};
  if (address.empty()) {
    // All addresses of both families, or of the old one alone where the new one is switched off.
    const int fd = OpenV6(in6addr_any, port);
    return fd >= 0 || errno == EADDRINUSE || errno == EACCES ? fd : OpenV4(in_addr{INADDR_ANY}, port);
  }
  if (::inet_pton(AF_INET, address.c_str(), &v4) == 1) return OpenV4(v4, port);
  if (::inet_pton(AF_INET6, address.c_str(), &v6) == 1) return OpenV6(v6, port);
  errno = EINVAL;
  return -1;
}

// How long ago the last bytes of a caller came, or the caller itself. It may have waited long to be accepted.
int64_t SilenceMs(int fd) {
  char byte = 0;
  if (::recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0) return 0;
  tcp_info info{};
  socklen_t size = sizeof info;
  return ::getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 ? int64_t{info.tcpi_last_data_recv} : 0;
}

}  // namespace

SocketListener::Peer::~Peer() {
  readable.reset();
  writable.reset();
  if (fd >= 0) ::close(fd);
}

SocketListener::SocketListener(Clock& clock) : clock_(clock) {
  sweeper_.setInterval(500);
  QObject::connect(&sweeper_, &QTimer::timeout, &sweeper_, [this] { Sweep(); });
}

SocketListener::~SocketListener() {
  acceptor_.reset();
  if (fd_ >= 0) ::close(fd_);
  for (auto& peer : peers_) peer.reset();
  lingering_.clear();
  // No loop turns any more to delete the notifiers that were left to it.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

Status SocketListener::Listen(const std::string& address, uint16_t port, ListenerEvents events) {
  events_ = std::move(events);
  fd_ = OpenOn(address, port);
  if (fd_ < 0) {
    const int error = errno;
    const std::string place = (address.empty() ? "" : "address " + address + ", ") + "port " + std::to_string(port);
    const std::string reason = error == EADDRINUSE ? "is taken by another program" : std::strerror(error);
    return Status::Error(Fail::kRefused, place + ": " + reason);
  }
  sockaddr_storage own{};
  socklen_t size = sizeof own;
  int own_port = 0;
  if (::getsockname(fd_, reinterpret_cast<sockaddr*>(&own), &size) == 0) HostText(own, own_port);
  port_ = static_cast<uint16_t>(own_port);
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

void SocketListener::AcceptCallers() {
  while (acceptor_) {
    const int number = FreeNumber();
    const int fd = number == 0 ? -1 : ::accept4(fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd >= 0) {
      AddPeer(fd, number);
      continue;
    }
    if (number != 0 && (errno == EINTR || errno == ECONNABORTED)) continue;
    // Full, or out of descriptors: the notifier would fire without end. The sweeper switches it on again.
    if (number == 0 || (errno != EAGAIN && errno != EWOULDBLOCK)) acceptor_->setEnabled(false);
    return;
  }
}

void SocketListener::AddPeer(int fd, int number) {
  auto peer = std::make_shared<Peer>();
  peer->fd = fd;
  peer->number = number;
  peer->last_active_ms = clock_.Steady().ms - SilenceMs(fd);
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (::getpeername(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0) peer->host = HostText(address, peer->port);
  const int on = 1;
  ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  peer->readable.reset(new QSocketNotifier(fd, QSocketNotifier::Read));
  peer->writable.reset(new QSocketNotifier(fd, QSocketNotifier::Write));
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
  peers_[static_cast<size_t>(number - 1)] = std::move(peer);
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
    if (!peer.spoke) TakeLowestNumber(peer);
    Deliver(keep, {block, static_cast<size_t>(n)});
    return;
  }
  peer.peer_done = true;
  peer.readable->setEnabled(false);
  events_.peer_done(peer.number);
  // Whoever had something to answer has done so by now.
  if (keep->number != 0) Close(keep->number, true);
}

void SocketListener::Deliver(const std::shared_ptr<Peer>& peer, std::string_view bytes) {
  // The handler may turn the loop; what arrives meanwhile waits, so that it is not delivered before these bytes are.
  peer->readable->setEnabled(false);
  peer->in_handler = true;
  events_.data(peer->number, bytes);
  peer->in_handler = false;
  if (peer->fd >= 0 && peer->readable) peer->readable->setEnabled(peer->Waiting() < kStopReading);
}

void SocketListener::TakeLowestNumber(Peer& peer) {
  peer.spoke = true;
  const int old = peer.number;
  int lowest = 1;
  while (lowest < old && Find(lowest) && Find(lowest)->spoke) ++lowest;
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

bool SocketListener::WriteTo(Peer& peer) {
  while (peer.Waiting() > 0) {
    const ssize_t n = ::send(peer.fd, peer.out.data() + peer.sent, peer.Waiting(), MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) return false;
    if (n < 0) break;
    peer.sent += static_cast<size_t>(n);
    peer.last_active_ms = clock_.Steady().ms;
    // A slow reader that reads is waited for as long as it takes.
    if (peer.number == 0) peer.linger_until_ms = peer.last_active_ms + kFlushMs;
  }
  if (peer.Waiting() == 0) {
    peer.out.clear();
    peer.sent = 0;
  } else if (peer.sent > kStopReading) {
    peer.out.erase(0, peer.sent);
    peer.sent = 0;
  }
  peer.writable->setEnabled(peer.Waiting() > 0);
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
    ::close(peer->fd);
    peer->fd = -1;
  }
  events_.disconnected(connection);
  if (acceptor_) acceptor_->setEnabled(true);
}

void SocketListener::Linger(const std::shared_ptr<Peer>& peer) {
  peer->linger_until_ms = clock_.Steady().ms + kFlushMs;
  size_t bytes = peer->Waiting();
  for (const auto& p : lingering_) bytes += p->Waiting();
  while (!lingering_.empty() && (lingering_.size() >= kMaxLingering || bytes > kMaxLingeringBytes)) {
    const auto quietest = std::min_element(lingering_.begin(), lingering_.end(), [](const auto& a, const auto& b) {
      return a->linger_until_ms < b->linger_until_ms;
    });
    bytes -= (*quietest)->Waiting();
    lingering_.erase(quietest);
  }
  lingering_.push_back(peer);
  ServeLingering(*peer);
}

// Sends what is left, then closes this side, then waits a moment for the peer's close: closing with bytes unread would
// make the system take back what the peer has not read yet.
void SocketListener::ServeLingering(Peer& peer) {
  if (!WriteTo(peer)) return DropLingering(peer);
  char block[4096];
  ssize_t n = 0;
  while ((n = ::recv(peer.fd, block, sizeof block, 0)) > 0) {
  }
  if (n == 0) {
    peer.peer_done = true;
    peer.readable->setEnabled(false);
  } else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
    return DropLingering(peer);
  }
  if (peer.Waiting() > 0) return;
  if (!peer.half_closed) {
    ::shutdown(peer.fd, SHUT_WR);
    peer.half_closed = true;
    peer.linger_until_ms = clock_.Steady().ms + kDrainMs;
  }
  if (peer.peer_done) DropLingering(peer);
}

void SocketListener::DropLingering(const Peer& peer) {
  lingering_.remove_if([&](const auto& p) { return p.get() == &peer; });
}

void SocketListener::Sweep() {
  const int64_t now = clock_.Steady().ms;
  lingering_.remove_if([&](const auto& p) { return p->linger_until_ms <= now; });
  if (!acceptor_) return;
  if (FreeNumber() != 0) {
    acceptor_->setEnabled(true);
  } else {
    MakeRoom(now);
  }
}

// Whoever comes behind a crowd of silent callers waits for as long as one of them, not for one after the other.
void SocketListener::MakeRoom(int64_t now) {
  pollfd caller{fd_, POLLIN, 0};
  for (int closed = 0; closed < kBacklog && FreeNumber() == 0 && ::poll(&caller, 1, 0) > 0; ++closed) {
    const Peer* longest = nullptr;
    for (const auto& peer : peers_) {
      if (!peer || now - peer->last_active_ms < kDisplaceAfterMs || !events_.may_be_displaced(peer->number)) continue;
      if (!longest || peer->last_active_ms < longest->last_active_ms) longest = peer.get();
    }
    if (!longest) return;
    Close(longest->number, false);
    AcceptCallers();
  }
}

void SocketListener::Shutdown() {
  acceptor_.reset();
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  for (int n = 1; n <= kMaxConnections; ++n) Close(n, true);
  const int64_t deadline = clock_.Steady().ms + kShutdownMs;
  for (;;) {
    std::vector<pollfd> waiting;
    for (const auto& peer : lingering_) {
      if (peer->Waiting() > 0) waiting.push_back({peer->fd, POLLOUT, 0});
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
