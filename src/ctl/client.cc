#include "ctl/client.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/text.h"

namespace vantry {
namespace {

// Whoever answers with more than this, or for longer, is no monitor.
constexpr size_t kMaxReply = 64 * 1024 * 1024;
constexpr std::chrono::seconds kMaxTotal{60};

using SteadyPoint = std::chrono::steady_clock::time_point;

int MsUntil(SteadyPoint end) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<int64_t>(left.count(), 0, 3'600'000));
}

Status Interrupted() {
  return Status::Error(Fail::kRefused, "Interrupted.");
}

class Connection {
 public:
  explicit Connection(const Endpoint& endpoint) : e_(endpoint), end_(std::chrono::steady_clock::now() + kMaxTotal) {}
  ~Connection() { Close(); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  Status Open() {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* list = nullptr;
    const int error = ::getaddrinfo(e_.host.c_str(), std::to_string(e_.port).c_str(), &hints, &list);
    if (error != 0) {
      return Status::Error(Fail::kIo,
                           "Can't find the host of " + e_.Name() + ": " + ::gai_strerror(error) + ". Check --host.");
    }
    Status status;
    for (const addrinfo* a = list; a; a = a->ai_next) {
      status = OpenOne(*a);
      if (status.ok() || status.fail == Fail::kRefused) break;
    }
    ::freeaddrinfo(list);
    return status;
  }

  Status Send(std::string_view bytes) {
    while (!bytes.empty()) {
      if (Status status = Wait(POLLOUT, e_.read_ms); !status.ok()) return status;
      const ssize_t n = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
      if (n < 0) return Lost(std::strerror(errno));
      bytes.remove_prefix(static_cast<size_t>(n));
    }
    return Status::Ok();
  }

  // Appends what comes next; `more` is false at the end of the stream.
  Status Receive(std::string& bytes, bool& more) {
    char block[16 * 1024];
    for (;;) {
      if (Status status = Wait(POLLIN, e_.read_ms); !status.ok()) return status;
      const ssize_t n = ::recv(fd_, block, sizeof block, 0);
      if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
      if (n < 0) return Lost(std::strerror(errno));
      more = n > 0;
      bytes.append(block, static_cast<size_t>(n));
      if (bytes.size() > kMaxReply) return Lost("the answer has no end");
      return Status::Ok();
    }
  }

  Status Lost(std::string_view why) const {
    return Status::Error(Fail::kIo, "The connection to " + e_.Name() + " broke: " + std::string(why) +
                                        ". Check that this is Vantry's port and that it still runs.");
  }

 private:
  void Close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

  Status OpenOne(const addrinfo& address) {
    Close();
    fd_ = ::socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol);
    if (fd_ < 0) return CantConnect(errno);
    if (::connect(fd_, address.ai_addr, address.ai_addrlen) == 0) return Status::Ok();
    if (errno != EINPROGRESS) return CantConnect(errno);
    Status status = Wait(POLLOUT, e_.connect_ms);
    if (status.fail == Fail::kNotFound) return CantConnect(ETIMEDOUT);
    if (!status.ok()) return status;
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &size);
    return error == 0 ? Status::Ok() : CantConnect(error);
  }

  Status CantConnect(int error) const {
    return Status::Error(Fail::kIo, "Can't connect to " + e_.Name() + ": " + std::strerror(error) +
                                        ". Start Vantry there, or name its place with --host and --port.");
  }

  // kNotFound when nothing happened in time.
  Status Wait(short events, int timeout_ms) {
    const SteadyPoint end = std::min(end_, std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms));
    for (;;) {
      pollfd fds[] = {{fd_, events, 0}, {e_.stop_fd, POLLIN, 0}};
      const int n = ::poll(fds, 2, MsUntil(end));
      if (n < 0 && errno != EINTR) return Lost(std::strerror(errno));
      if (n > 0 && fds[1].revents != 0) return Interrupted();
      if (n > 0 && fds[0].revents != 0) return Status::Ok();
      if (MsUntil(end) == 0) return Status::Error(Fail::kNotFound, e_.Name() + " gave no answer in time.");
    }
  }

  const Endpoint& e_;
  SteadyPoint end_;
  int fd_ = -1;
};

Status AskOne(Connection& connection, const std::string& line, std::string& reply) {
  if (Status status = connection.Send(line + "\r\n"); !status.ok()) return status;
  bool more = true;
  size_t end = std::string::npos;
  while (more && (end = reply.find("\r\n")) == std::string::npos) {
    if (Status status = connection.Receive(reply, more); !status.ok()) return status;
  }
  // The answer to the stop command may be the last thing that the program does.
  if (end == std::string::npos && !(StartsWith(line, "@@") && !reply.empty())) {
    return connection.Lost(reply.empty() ? "it was closed without an answer" : "it was closed within an answer");
  }
  reply.resize(std::min(end, reply.size()));
  return Status::Ok();
}

}  // namespace

std::string Endpoint::Name() const {
  return (Contains(host, ":") ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

Status AskControl(const Endpoint& endpoint, const std::vector<std::string>& lines, std::vector<std::string>& replies) {
  replies.clear();
  Connection connection(endpoint);
  Status status = connection.Open();
  for (size_t i = 0; i < lines.size() && status.ok(); ++i)
    status = AskOne(connection, lines[i], replies.emplace_back());
  if (status.fail == Fail::kNotFound) {
    status.text += " Check that this is Vantry's port and that this machine may control it.";
  }
  return status;
}

Status CheckListDomain(std::string_view domain) {
  const auto unfit = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 127 || c == '&'; };
  if (Contains(domain, "_")) {
    return Status::Error(Fail::kBadData,
                         "A domain with '_' can't be asked for, as Vantry takes that for a blank. Use `vantryctl list` "
                         "without a domain.");
  }
  if (domain.empty() || std::any_of(domain.begin(), domain.end(), unfit)) {
    return Status::Error(Fail::kBadData, "This is no domain that can be asked for.");
  }
  return Status::Ok();
}

Status AskList(const Endpoint& endpoint, std::string_view domain, std::string& reply) {
  reply.clear();
  std::string request = "GET /?LIST&";
  // A blank would end the address in the request line; the other side turns "_" back into one.
  if (!domain.empty()) request += "domain=" + ReplaceAll(std::string(domain), " ", "_");
  request += " HTTP/1.0\r\n\r\n";
  Connection connection(endpoint);
  Status status = connection.Open();
  if (status.ok()) status = connection.Send(request);
  for (bool more = true; more && status.ok();) status = connection.Receive(reply, more);
  if (status.fail == Fail::kNotFound) {
    status.text += " A paused Vantry answers no such request: `vantryctl continue` makes it go on.";
  } else if (status.ok() && reply.empty()) {
    return connection.Lost("it was closed without an answer");
  }
  return status;
}

}  // namespace vantry
