#include "platform/cares_resolver.h"

#include <QCoreApplication>
#include <QEvent>

#include <arpa/inet.h>
#include <arpa/nameser.h>
#include <sys/stat.h>

#include "platform/dns_answer.h"

namespace vantry {
namespace {

constexpr int kTries = 2;

// Distinct for each content that the file had, short of a change that keeps time and size.
std::string FileStamp(const std::string& path) {
  struct stat s {};
  if (::stat(path.c_str(), &s) != 0) return "none";
  std::string stamp;
  for (const auto part :
       {static_cast<int64_t>(s.st_dev), static_cast<int64_t>(s.st_ino), static_cast<int64_t>(s.st_size),
        static_cast<int64_t>(s.st_mtim.tv_sec), static_cast<int64_t>(s.st_mtim.tv_nsec)}) {
    stamp += std::to_string(part) + " ";
  }
  return stamp;
}

std::string Describe(int status) {
  struct Row {
    int status;
    const char* word;
  };
  static constexpr Row kRows[] = {{ARES_ENOTFOUND, "NXDOMAIN"}, {ARES_ESERVFAIL, "SERVFAIL"},
                                  {ARES_EREFUSED, "REFUSED"},   {ARES_ENOTIMP, "NOTIMP"},
                                  {ARES_EFORMERR, "FORMERR"},   {ARES_ETIMEOUT, "TIMEOUT"}};
  for (const Row& row : kRows) {
    if (row.status == status) return std::string(row.word) + ": " + ares_strerror(status);
  }
  return ares_strerror(status);
}

}  // namespace

CaresResolver::CaresResolver(ResolverOptions options) : options_(std::move(options)) {
  ares_library_init(ARES_LIB_INIT_ALL);
  problem_ = ReadNameServers(options_.servers, options_.port, servers_).text;
  timer_.setSingleShot(true);
  timer_.setTimerType(Qt::PreciseTimer);
  QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { Process(ARES_SOCKET_BAD, ARES_SOCKET_BAD); });
  delivery_.setSingleShot(true);
  QObject::connect(&delivery_, &QTimer::timeout, &delivery_, [this] { Deliver(); });
}

CaresResolver::~CaresResolver() {
  Cancel();
  ares_library_cleanup();
  // No loop turns any more to delete the notifiers that were left to it.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

int16_t CaresResolver::Start(const std::string& address) {
  const std::string name = ReverseName(address);
  if (name.empty() || cancelled_ || under_way_.size() >= kMaxId || !ChannelReady()) return 0;
  const int16_t id = NextId();
  Request& request = under_way_[id];
  request = {this, {id, 0, {}, address, {}}};
  const auto replied = [](void* argument, int status, int, unsigned char* bytes, int size) {
    auto& r = *static_cast<Request*>(argument);
    r.owner->PutAside(r, status, bytes, size);
  };
  ares_query(channel_, name.c_str(), ns_c_in, ns_t_ptr, replied, &request);
  SetTimer();
  return id;
}

void CaresResolver::Cancel() {
  cancelled_ = true;
  CloseChannel();
  answered_.clear();
  under_way_.clear();
}

int16_t CaresResolver::NextId() {
  do {
    last_id_ = last_id_ == kMaxId ? int16_t{1} : static_cast<int16_t>(last_id_ + 1);
  } while (under_way_.contains(last_id_));
  return last_id_;
}

bool CaresResolver::ChannelReady() {
  if (!problem_.empty()) return false;
  // A machine can get its name servers long after this program started. What was asked of the old ones has failed.
  if (servers_.empty() && channel_ && FileStamp(options_.system_file) != system_stamp_) CloseChannel();
  return channel_ || OpenChannel();
}

bool CaresResolver::OpenChannel() {
  ares_options o{};  // A server that answers SERVFAIL, NOTIMP or REFUSED gives way to the next.
  o.timeout = options_.timeout_ms;
  o.tries = kTries;
  o.udp_port = o.tcp_port = options_.port;
  o.resolvconf_path = options_.system_file.data();
  o.sock_state_cb_data = this;
  o.sock_state_cb = [](void* data, ares_socket_t fd, int readable, int writable) {
    static_cast<CaresResolver*>(data)->WatchSocket(fd, readable != 0, writable != 0);
  };
  constexpr int kGiven = ARES_OPT_FLAGS | ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_UDP_PORT | ARES_OPT_TCP_PORT |
                         ARES_OPT_RESOLVCONF | ARES_OPT_SOCK_STATE_CB | ARES_OPT_NOROTATE;
  system_stamp_ = FileStamp(options_.system_file);
  if (ares_init_options(&channel_, &o, kGiven) != ARES_SUCCESS) channel_ = nullptr;
  if (channel_ && !SetServers()) CloseChannel();
  return channel_ != nullptr;
}

bool CaresResolver::SetServers() {
  if (servers_.empty()) return true;
  std::vector<ares_addr_port_node> nodes(servers_.size());
  for (size_t i = 0; i < nodes.size(); ++i) {
    const char* text = servers_[i].address.c_str();
    nodes[i].next = i + 1 < nodes.size() ? &nodes[i + 1] : nullptr;
    nodes[i].family = ::inet_pton(AF_INET, text, &nodes[i].addr) == 1 ? AF_INET : AF_INET6;
    if (nodes[i].family == AF_INET6) ::inet_pton(AF_INET6, text, &nodes[i].addr);
    nodes[i].udp_port = nodes[i].tcp_port = servers_[i].port;
  }
  return ares_set_servers_ports(channel_, nodes.data()) == ARES_SUCCESS;
}

// Requests under way are put aside as failed.
void CaresResolver::CloseChannel() {
  if (channel_) ares_destroy(channel_);
  channel_ = nullptr;
  SetTimer();
}

void CaresResolver::WatchSocket(int fd, bool readable, bool writable) {
  if (!readable && !writable) {
    watches_.erase(fd);  // c-ares closes the socket next.
    return;
  }
  Watch& watch = watches_[fd];
  SetWatch(watch.readable, fd, QSocketNotifier::Read, readable);
  SetWatch(watch.writable, fd, QSocketNotifier::Write, writable);
}

void CaresResolver::SetWatch(Notifier& notifier, int fd, QSocketNotifier::Type type, bool on) {
  if (!on) return notifier.reset();
  if (notifier) return;
  notifier.reset(new QSocketNotifier(fd, type));
  const bool reads = type == QSocketNotifier::Read;
  QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                   [this, fd, reads] { Process(reads ? fd : ARES_SOCKET_BAD, reads ? ARES_SOCKET_BAD : fd); });
}

void CaresResolver::Process(int read_fd, int write_fd) {
  if (!channel_) return;
  ares_process_fd(channel_, read_fd, write_fd);
  SetTimer();
}

void CaresResolver::SetTimer() {
  timeval left{};
  if (channel_ && ares_timeout(channel_, nullptr, &left)) {
    // Rounded up: a timer that runs out early finds nothing to do, and the loop would spin.
    timer_.start(static_cast<int>(left.tv_sec * 1'000 + left.tv_usec / 1'000 + 1));
  } else {
    timer_.stop();
  }
}

void CaresResolver::PutAside(Request& request, int status, const unsigned char* bytes, int size) {
  ResolverAnswer& answer = request.answer;
  if (status == ARES_SUCCESS) status = ReadHostName({bytes, static_cast<size_t>(size)}, answer.name);
  answer.status = status;
  if (status != ARES_SUCCESS) {
    answer.description = status == ARES_EBADNAME ? "The answer is no host name" : Describe(status);
  }
  answered_.push_back(answer.id);
  delivery_.start(0);
}

void CaresResolver::Deliver() {
  while (!answered_.empty()) {
    // Taken out first: the handler may cancel everything, or turn the loop, in which the others are delivered then.
    const auto request = under_way_.extract(answered_.front());
    answered_.pop_front();
    if (!answered_.empty()) delivery_.start(0);
    if (complete_) complete_(request.mapped().answer);
  }
}

}  // namespace vantry
