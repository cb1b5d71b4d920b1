// The hundred places of the listener: who comes in, who waits, who goes for whom.
#include <algorithm>
#include <cerrno>
#include <map>
#include <tuple>
#include <vector>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include "platform/server_socket.h"
#include "platform/socket_listener.h"

namespace vantry {
namespace {

constexpr int64_t kSilenceMs = 10'000;  // After this silence a connection gives way to a waiting caller.
constexpr int64_t kRequestMs = 15'000;  // So does one whose request has not ended this long after its first byte.
constexpr size_t kMaxCallers = 300;     // More wait in the system's own queue, where nobody knows who they are.
constexpr int64_t kCrowdedMs = 10'000;
constexpr int kThinOutAtOnce = 1000;

// How long ago the last bytes of a caller came, or the caller itself. It may have waited long to be accepted.
int64_t SilenceMs(int fd) {
  char byte = 0;
  if (::recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0) return 0;
  tcp_info info{};
  socklen_t size = sizeof info;
  return ::getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 ? int64_t{info.tcpi_last_data_recv} : 0;
}

bool HasBytes(int fd) {
  char byte = 0;
  return ::recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

// It left without a word.
bool HungUp(int fd) {
  char byte = 0;
  const ssize_t n = ::recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
  return n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
}

}  // namespace

void SocketListener::AcceptCallers() {
  while (acceptor_ && callers_.size() < kMaxCallers) {
    const int fd = ::accept4(fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd >= 0) {
      callers_.push_back(NewPeer(fd));
      SeatCallers();
      continue;
    }
    if (errno == EINTR || errno == ECONNABORTED) continue;
    if (errno == EAGAIN || errno == EWOULDBLOCK) return;
    break;
  }
  // Full, or out of descriptors: the notifier would fire without end. The sweeper switches it on again.
  if (acceptor_) acceptor_->setEnabled(false);
}

SocketListener::PeerPtr SocketListener::NewPeer(int fd) const {
  auto peer = std::make_shared<Peer>();
  peer->fd = fd;
  peer->last_active_ms = clock_.Steady().ms - SilenceMs(fd);
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (::getpeername(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0) {
    peer->host = HostText(address, peer->port);
    peer->network = NetworkOf(address);
  }
  const int on = 1;
  ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return peer;
}

void SocketListener::SeatCallers() {
  for (int number = 0; !callers_.empty() && (number = FreeNumber()) != 0;) {
    const auto next = NextCaller();
    const PeerPtr caller = *next;
    callers_.erase(next);
    if (HasBytes(caller->fd)) caller->last_active_ms = clock_.Steady().ms;
    Seat(caller, number);
  }
  if (acceptor_ && callers_.size() < kMaxCallers) acceptor_->setEnabled(true);
}

// The first of those whose network holds the fewest places: a crowd from one address comes after everybody else.
std::list<SocketListener::PeerPtr>::iterator SocketListener::NextCaller() {
  std::map<std::string_view, size_t> places;
  for (const auto& peer : peers_) {
    if (peer) ++places[peer->network];
  }
  return std::min_element(callers_.begin(), callers_.end(),
                          [&](const auto& a, const auto& b) { return places[a->network] < places[b->network]; });
}

void SocketListener::Sweep() {
  SweepLingering();
  if (!acceptor_) return;
  callers_.remove_if([](const auto& caller) { return HungUp(caller->fd); });
  SeatCallers();
  MakeRoom();
  const int64_t now = clock_.Steady().ms;
  if (callers_.size() < kMaxCallers) {
    crowded_since_ms_.reset();
  } else if (!crowded_since_ms_) {
    crowded_since_ms_ = now;
  } else if (now - *crowded_since_ms_ >= kCrowdedMs) {
    ThinOutCallers();
  }
  acceptor_->setEnabled(callers_.size() < kMaxCallers);
}

// Whoever comes after a crowd of silent callers waits for as long as one of them, not for one after the other.
void SocketListener::MakeRoom() {
  for (size_t rounds = callers_.size(); rounds > 0 && !callers_.empty(); --rounds) {
    const Peer* leaver = WhoGivesWay(**NextCaller());
    if (!leaver) return;
    Close(leaver->number, false);
    SeatCallers();
  }
}

// How long a connection is beyond what it may take while others wait; below 0 it is within that.
int64_t SocketListener::OverdueMs(const Peer& peer) const {
  const int64_t now = clock_.Steady().ms;
  const int64_t silent = now - peer.last_active_ms - kSilenceMs;
  return peer.first_byte_ms ? std::max(silent, now - *peer.first_byte_ms - kRequestMs) : silent;
}

const SocketListener::Peer* SocketListener::WhoGivesWay(const Peer& caller) const {
  std::map<std::string_view, size_t> places;
  std::vector<std::pair<const Peer*, Claim>> sitting;
  for (const auto& peer : peers_) {
    if (!peer) continue;
    ++places[peer->network];
    const Claim claim = events_.claim(peer->number);
    if (claim != Claim::kAnswering) sitting.emplace_back(peer.get(), claim);
  }
  const auto beyond_its_share = [&](const Peer& peer) {
    return peer.network != caller.network && places[peer.network] > kMaxConnections / 2;
  };
  const bool crowd =
      std::any_of(sitting.begin(), sitting.end(), [&](const auto& s) { return beyond_its_share(*s.first); });
  const auto worst = std::max_element(sitting.begin(), sitting.end(), [&](const auto& a, const auto& b) {
    const auto rank = [&](const auto& s) {
      const size_t slowed = s.second == Claim::kSlowed ? places.at(s.first->network) : 0;
      return std::tuple(slowed, beyond_its_share(*s.first), s.second == Claim::kNone, OverdueMs(*s.first));
    };
    return rank(a) < rank(b);
  });
  if (worst == sitting.end()) return nullptr;
  const bool at_once = worst->second == Claim::kConsole || worst->second == Claim::kSlowed;
  const bool goes = crowd || at_once || OverdueMs(*worst->first) >= 0;
  return goes ? worst->first : nullptr;
}

// A crowd that fills the room for callers too would keep others out of sight: from here on each one that comes costs
// the network with the most callers its newest.
void SocketListener::ThinOutCallers() {
  for (int i = 0; i < kThinOutAtOnce; ++i) {
    const int fd = ::accept4(fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) return;
    callers_.push_back(NewPeer(fd));
    std::map<std::string_view, size_t> count;
    for (const auto& caller : callers_) ++count[caller->network];
    const auto newest = std::max_element(callers_.rbegin(), callers_.rend(), [&](const auto& a, const auto& b) {
      return count[a->network] < count[b->network];
    });
    callers_.erase(std::next(newest).base());
  }
}

}  // namespace vantry
