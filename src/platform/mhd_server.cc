#include "platform/mhd_server.h"

#include <QCoreApplication>
#include <QEvent>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <utility>

#include <microhttpd.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/text.h"
#include "platform/server_socket.h"

namespace vantry {
namespace {

// What the library keeps of a connection: its head, and the next piece of an answer. Pages of memory that are not used
// cost nothing.
constexpr size_t kPoolBytes = 16 * 1024;
// A body beyond the limit is read up to this size, so that its sender reads our answer.
constexpr size_t kMostUnwanted = 256 * 1024;
// Descriptors that the rest of the program may need.
constexpr size_t kReserved = 512;
constexpr rlim_t kMostDescriptors = 8'192;
constexpr int kMostAtOnce = 64;  // Callers taken in at one go.
// What the system takes of an answer before the caller's side has room: without a bound megabytes, for each caller.
constexpr int kMostUnsent = 128 * 1024;

int64_t NowMs() {
  using std::chrono::milliseconds, std::chrono::steady_clock;
  return std::chrono::duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// Raises what the process may have open, if that is little: each caller takes one.
size_t Descriptors() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 1'024;
  const rlim_t wanted = std::min(limit.rlim_max, kMostDescriptors);
  if (limit.rlim_cur < wanted) {
    limit.rlim_cur = wanted;
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0) (void)::getrlimit(RLIMIT_NOFILE, &limit);
  }
  return static_cast<size_t>(std::min<rlim_t>(limit.rlim_cur, kMostDescriptors));
}

}  // namespace

// One request and its answer.
struct MhdServer::Call {
  enum class Stage : uint8_t { kHead, kBody, kAsked, kAnswered };
  Stage stage = Stage::kHead;
  MhdServer* server = nullptr;
  Caller* caller = nullptr;
  MHD_Connection* connection = nullptr;
  HttpRequest request;
  HttpReply reply;
  bool suspended = false, woken = false, ended = false;
  size_t unwanted = 0;
};

struct MhdServer::Caller {
  MHD_Connection* connection = nullptr;
  int fd = -1;
  std::string host, network;
  int64_t since_ms = 0;  // It has been silent, or in its request, since then.
  bool asking = true;    // Its request has not come in full.
  bool leaving = false;
  std::shared_ptr<Call> call;
  Place self;
};

// What the library calls. Nothing may be thrown through it.
struct MhdCallbacks {
  using Call = MhdServer::Call;
  using Caller = MhdServer::Caller;

  static Caller* CallerOf(MHD_Connection* connection) {
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return info ? static_cast<Caller*>(info->socket_context) : nullptr;
  }

  static void Connection(void* server, MHD_Connection* connection, void** context,
                         MHD_ConnectionNotificationCode code) {
    auto& s = *static_cast<MhdServer*>(server);
    if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
      auto* caller = static_cast<Caller*>(*context);
      if (!caller) return;
      if (caller->leaving) --s.leaving_;
      s.callers_.erase(caller->self);
      *context = nullptr;
      return;
    }
    const Status begun = Attempt([&] {
      const auto* fd = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
      Caller& caller = s.callers_.emplace_back();
      caller.connection = connection;
      caller.fd = fd ? fd->connect_fd : -1;
      caller.host = s.next_host_;
      caller.network = s.next_network_;
      caller.since_ms = NowMs();
      caller.self = std::prev(s.callers_.end());
      *context = &caller;
      return Status::Ok();
    });
    if (!begun.ok()) *context = nullptr;
  }

  // The first that is told of a request: its address, before anybody has changed it.
  static void* Begin(void* server, const char* address, MHD_Connection* connection) {
    Caller* caller = CallerOf(connection);
    if (!caller) return nullptr;
    const Status begun = Attempt([&] {
      caller->call = std::make_shared<Call>();
      Call& call = *caller->call;
      call.server = static_cast<MhdServer*>(server);
      call.caller = caller;
      call.connection = connection;
      const std::string_view text(address ? address : "");
      const size_t mark = text.find('?');
      call.request.path = text.substr(0, mark);
      if (mark != std::string_view::npos) call.request.query = text.substr(mark + 1);
      return Status::Ok();
    });
    return begun.ok() ? caller->call.get() : nullptr;
  }

  static MHD_Result Access(void* server, MHD_Connection* /*connection*/, const char* /*address*/, const char* method,
                           const char* /*version*/, const char* bytes, size_t* count, void** context) {
    auto& s = *static_cast<MhdServer*>(server);
    auto* call = static_cast<Call*>(*context);
    if (!call || call->caller->leaving) return MHD_NO;
    bool goes_on = false;
    const Status done = Attempt([&] {
      goes_on = Take(s, *call, method, {bytes, *count});
      *count = 0;
      return Status::Ok();
    });
    return done.ok() && goes_on ? MHD_YES : MHD_NO;
  }

  static bool Take(MhdServer& s, Call& call, const char* method, std::string_view bytes) {
    using Stage = Call::Stage;
    if (call.stage == Stage::kHead) {
      s.TakeHead(call, method);
      call.stage = Stage::kBody;
      return true;
    }
    if (!bytes.empty()) return s.TakeBody(call, bytes.data(), bytes.size());
    if (call.stage == Stage::kBody) return s.Ask(call.caller->call);
    if (call.stage == Stage::kAnswered) return s.Send(call);
    return true;
  }

  static void Completed(void* /*server*/, MHD_Connection* /*connection*/, void** context,
                        MHD_RequestTerminationCode /*code*/) {
    auto* call = static_cast<Call*>(*context);
    *context = nullptr;
    if (!call) return;
    Caller& caller = *call->caller;
    caller.since_ms = NowMs();
    caller.asking = true;
    caller.call.reset();
  }

  static ssize_t Read(void* context, uint64_t /*place*/, char* buffer, size_t room) {
    auto& call = *static_cast<Call*>(context);
    if (call.ended) return MHD_CONTENT_READER_END_OF_STREAM;
    if (call.caller->leaving) return MHD_CONTENT_READER_END_WITH_ERROR;
    Filled filled;
    call.woken = false;
    const Status done = Attempt([&] {
      filled = call.reply.body->Fill({buffer, room});
      return Status::Ok();
    });
    if (!done.ok()) return MHD_CONTENT_READER_END_WITH_ERROR;
    call.ended = filled.then == Filled::Then::kEnd;
    if (filled.bytes > 0) return static_cast<ssize_t>(filled.bytes);
    if (call.ended) return MHD_CONTENT_READER_END_OF_STREAM;
    MhdServer::Suspend(call);
    // Nothing yet, but soon: others have their turn first.
    if (call.woken || filled.then == Filled::Then::kMore) call.server->Resume(call);
    return 0;
  }

  static void Log(void* server, const char* format, va_list arguments) {
    auto& s = *static_cast<MhdServer*>(server);
    if (!s.starting_) return;
    char line[512];
    std::vsnprintf(line, sizeof line, format, arguments);
    (void)Attempt([&] {
      s.log_ += line;
      return Status::Ok();
    });
  }

  static size_t LeaveAsItIs(void* /*server*/, MHD_Connection* /*connection*/, char* text) { return std::strlen(text); }

  static MHD_Result Header(void* context, MHD_ValueKind /*kind*/, const char* name, const char* value) {
    auto& headers = *static_cast<HttpHeaders*>(context);
    return Attempt([&] {
             headers.emplace_back(Lower(name), value ? value : "");
             return Status::Ok();
           }).ok()
               ? MHD_YES
               : MHD_NO;
  }
};

MhdServer::MhdServer() {
  timer_.setSingleShot(true);
  QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { Run(); });
  sweeper_.setInterval(kSweepMs);
  QObject::connect(&sweeper_, &QTimer::timeout, &sweeper_, [this] { Sweep(); });
}

MhdServer::~MhdServer() {
  Stop();
  // No loop turns any more to delete the notifiers that were left to it.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

Status MhdServer::Start(const HttpPlace& place, const HttpLimits& limits, HttpHandler handler) {
  limits_ = limits;
  handler_ = std::move(handler);
  const size_t descriptors = Descriptors();
  most_ = std::clamp(descriptors > kReserved ? descriptors - kReserved : 0, size_t{50}, limits.callers);
  if (Status status = OpenServerSocket(place.address, place.port, fd_); !status.ok()) return status;
  if (Status status = StartDaemon(place); !status.ok()) {
    ::close(std::exchange(fd_, -1));
    return status;
  }
  port_ = PortOf(fd_);
  acceptor_.reset(new QSocketNotifier(fd_, QSocketNotifier::Read));
  QObject::connect(acceptor_.get(), &QSocketNotifier::activated, acceptor_.get(), [this] { Accept(); });
  const auto* info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD);
  work_.reset(new QSocketNotifier(info->epoll_fd, QSocketNotifier::Read));
  QObject::connect(work_.get(), &QSocketNotifier::activated, work_.get(), [this] { Run(); });
  return Status::Ok();
}

Status MhdServer::StartDaemon(const HttpPlace& place) {
  encrypted_ = !place.certificate.empty();
  unsigned int flags = MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG;
  if (encrypted_) flags |= MHD_USE_TLS;
  MHD_OptionItem keys[] = {
      {MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char*>(place.certificate.c_str())},
      {MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char*>(place.key.c_str())},
      {MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char*>("NORMAL:-VERS-TLS1.0:-VERS-TLS1.1")},
      {MHD_OPTION_END, 0, nullptr},
  };
  if (!encrypted_) keys[0] = {MHD_OPTION_END, 0, nullptr};
  log_.clear();
  starting_ = true;
  daemon_ = MHD_start_daemon(
      flags, 0, nullptr, nullptr, &MhdCallbacks::Access, this, MHD_OPTION_EXTERNAL_LOGGER, &MhdCallbacks::Log, this,
      MHD_OPTION_CONNECTION_LIMIT, static_cast<unsigned int>(most_ + 2 * kMostAtOnce), MHD_OPTION_CONNECTION_TIMEOUT,
      static_cast<unsigned int>(limits_.stalled_seconds), MHD_OPTION_CONNECTION_MEMORY_LIMIT, kPoolBytes,
      MHD_OPTION_NOTIFY_CONNECTION, &MhdCallbacks::Connection, this, MHD_OPTION_NOTIFY_COMPLETED,
      &MhdCallbacks::Completed, this, MHD_OPTION_URI_LOG_CALLBACK, &MhdCallbacks::Begin, this,
      MHD_OPTION_UNESCAPE_CALLBACK, &MhdCallbacks::LeaveAsItIs, this, MHD_OPTION_ARRAY, keys, MHD_OPTION_END);
  starting_ = false;
  if (daemon_) return Status::Ok();
  std::string said = encrypted_ ? "Certificate or Key can't be used: " : "";
  for (const char c : log_) said += c == '\n' ? ' ' : c;
  while (!said.empty() && (said.back() == ' ' || said.back() == '.')) said.pop_back();
  return Status::Error(Fail::kBadData, said);
}

void MhdServer::Stop() {
  acceptor_.reset();
  work_.reset();
  timer_.stop();
  sweeper_.stop();
  if (fd_ >= 0) ::close(std::exchange(fd_, -1));
  if (!daemon_) return;
  for (Caller& caller : callers_) {
    caller.leaving = true;
    ++leaving_;
    if (caller.call) Resume(*caller.call);
  }
  MHD_stop_daemon(std::exchange(daemon_, nullptr));
  callers_.clear();
  leaving_ = 0;
  port_ = 0;
}

void MhdServer::Accept() {
  if (running_) return;
  for (int i = 0; i < kMostAtOnce; ++i) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    const int fd = ::accept4(fd_, reinterpret_cast<sockaddr*>(&address), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      // Without a descriptor to spare the next look is that of the sweeper.
      if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) acceptor_->setEnabled(false);
      break;
    }
    int port = 0;
    next_host_ = HostText(address, port);
    next_network_ = NetworkOf(address);
    if (!MakeRoom(next_network_)) {
      ::close(fd);
      continue;
    }
    (void)::setsockopt(fd, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &kMostUnsent, sizeof kMostUnsent);
    // Whatever comes of it, the descriptor is the library's now.
    (void)MHD_add_connection(daemon_, fd, reinterpret_cast<const sockaddr*>(&address), size);
  }
  if (!sweeper_.isActive()) sweeper_.start();
  Run();
}

bool MhdServer::MakeRoom(const std::string& network) {
  if (callers_.size() - leaving_ < most_) return true;
  Caller* caller = WhoGivesWay(network);
  if (!caller) return false;
  ++leaving_;
  End(*caller);
  return callers_.size() < most_ + kMostAtOnce;
}

std::string MhdServer::CrowdedNetwork() const {
  std::map<std::string_view, size_t> counts;
  for (const Caller& caller : callers_) {
    if (!caller.leaving && ++counts[caller.network] > most_ / 2) return caller.network;
  }
  return {};
}

// The oldest of the silent ones; when nobody is silent, the oldest of an address that holds more than half of the
// places, for a caller of another one.
MhdServer::Caller* MhdServer::WhoGivesWay(const std::string& network) {
  const std::string crowded = CrowdedNetwork();
  Caller *silent = nullptr, *one_of_many = nullptr;
  for (Caller& caller : callers_) {
    if (caller.leaving) continue;
    const bool many = caller.network == crowded && network != crowded;
    if (many && (!one_of_many || caller.since_ms < one_of_many->since_ms)) one_of_many = &caller;
    if (caller.asking && (!silent || caller.since_ms < silent->since_ms)) silent = &caller;
  }
  if (silent && (!one_of_many || silent->network == crowded || silent->since_ms + 1'000 < NowMs())) return silent;
  return one_of_many;
}

// The library notices by itself: its end of the connection reads that the other side is gone.
void MhdServer::End(Caller& caller) {
  caller.leaving = true;
  ::shutdown(caller.fd, SHUT_RDWR);
  if (caller.call) Resume(*caller.call);
}

void MhdServer::Sweep() {
  const int64_t now = NowMs();
  for (Caller& caller : callers_) {
    if (caller.leaving || !caller.asking || now - caller.since_ms < limits_.request_seconds * 1'000) continue;
    ++leaving_;
    End(caller);
  }
  if (acceptor_ && !acceptor_->isEnabled()) acceptor_->setEnabled(true);
  if (callers_.empty()) sweeper_.stop();
  Run();
}

void MhdServer::Run() {
  if (!daemon_ || running_) return;
  running_ = true;
  resumed_ = false;
  (void)MHD_run(daemon_);
  running_ = false;
  ArmTimer();
}

void MhdServer::ArmTimer() {
  MHD_UNSIGNED_LONG_LONG wait_ms = 0;
  if (resumed_) {
    timer_.start(0);
  } else if (MHD_get_timeout(daemon_, &wait_ms) == MHD_YES) {
    timer_.start(static_cast<int>(std::min<unsigned long long>(wait_ms, 60'000)));
  } else {
    timer_.stop();
  }
}

void MhdServer::TakeHead(Call& call, const char* method) const {
  HttpRequest& request = call.request;
  request.method = method;
  request.peer = call.caller->host;
  request.encrypted = encrypted_;
  MHD_get_connection_values(call.connection, MHD_HEADER_KIND, &MhdCallbacks::Header, &request.headers);
  size_t bytes = request.path.size() + request.query.size();
  for (const auto& [name, value] : request.headers) bytes += name.size() + value.size() + 4;
  request.head_too_large = bytes > limits_.head_bytes;
  if (!request.head_too_large) return;
  request.headers.clear();
  request.path.clear();
  request.query.clear();
}

bool MhdServer::TakeBody(Call& call, const char* bytes, size_t count) const {
  std::string& body = call.request.body;
  const size_t wanted = std::min(count, limits_.body_bytes - std::min(limits_.body_bytes, body.size()));
  body.append(bytes, wanted);
  if (wanted == count) return true;
  call.request.body_too_large = true;
  call.unwanted += count - wanted;
  return call.unwanted <= kMostUnwanted;
}

bool MhdServer::Ask(const std::shared_ptr<Call>& call) {
  call->stage = Call::Stage::kAsked;
  call->caller->asking = false;
  handler_(call->request, [this, weak = std::weak_ptr<Call>(call)](HttpReply reply) {
    const auto asked = weak.lock();
    if (!asked || asked->stage != Call::Stage::kAsked) return;
    asked->reply = std::move(reply);
    asked->stage = Call::Stage::kAnswered;
    Resume(*asked);
  });
  if (call->stage == Call::Stage::kAnswered) return Send(*call);
  Suspend(*call);
  return true;
}

bool MhdServer::Send(Call& call) {
  HttpReply& reply = call.reply;
  MHD_Response* response = nullptr;
  if (reply.body) {
    reply.body->SetWake([this, &call] {
      call.woken = true;
      Resume(call);
    });
    response =
        MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, reply.body->Room(), &MhdCallbacks::Read, &call, nullptr);
  } else {
    // Of the call, which lives until all of it has been sent.
    const std::string_view text = reply.constant.empty() ? std::string_view(reply.text) : reply.constant;
    response = MHD_create_response_from_buffer(text.size(), const_cast<char*>(text.data()), MHD_RESPMEM_PERSISTENT);
  }
  if (!response) return false;
  for (const auto& [name, value] : reply.headers) {
    (void)MHD_add_response_header(response, name.c_str(), value.c_str());
  }
  const MHD_Result queued = MHD_queue_response(call.connection, static_cast<unsigned int>(reply.status), response);
  MHD_destroy_response(response);
  return queued == MHD_YES;
}

void MhdServer::Suspend(Call& call) {
  call.suspended = true;
  MHD_suspend_connection(call.connection);
}

void MhdServer::Resume(Call& call) {
  if (!std::exchange(call.suspended, false)) return;
  MHD_resume_connection(call.connection);
  resumed_ = true;
  // Its descriptor does not tell of that.
  if (!running_ && !(timer_.isActive() && timer_.interval() == 0)) timer_.start(0);
}

}  // namespace vantry
