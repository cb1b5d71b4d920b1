#include "platform/who_is_job.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <vector>

#include "core/text.h"
#include "platform/host_lookup.h"
#include "platform/net_address.h"

namespace vantry {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr uint16_t kWhoIsPort = 43;
constexpr size_t kMostAddresses = 4, kMostQuestionBytes = 512;

bool CanBeSent(std::string_view text) {
  return !text.empty() && text.size() <= kMostQuestionBytes && text.front() != '-' &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

class OneQuestion {
 public:
  explicit OneQuestion(WhoIsJob& job) : job_(job), until_(steady_clock::now() + milliseconds(job.limits.total_ms)) {}
  Status Run();

 private:
  Status FindServer(std::vector<NetAddress>& addresses) const;
  Status Connect(const std::vector<NetAddress>& addresses, std::unique_ptr<Descriptor>& fd) const;
  std::string TryOne(const NetAddress& address, std::unique_ptr<Descriptor>& fd) const;
  Status Send(int fd) const;
  Status Read(int fd);
  Status Failed(const std::string& text) const { return Status::Error(Fail::kIo, job_.question.server + ": " + text); }

  WhoIsJob& job_;
  const steady_clock::time_point until_;
};

Status OneQuestion::FindServer(std::vector<NetAddress>& addresses) const {
  std::string host;
  uint16_t port = 0;
  if (!ReadWhoIsServer(job_.question.server, host, port)) {
    return Status::Error(Fail::kBadData, "'" + job_.question.server + "' is not a server");
  }
  const NetAddress written = ReadNetAddress(host, port);
  if (written.size > 0) {
    addresses.push_back(written);
  } else {
    const HostAddresses found = LookUpHost(host);
    for (const std::string& text : found.addresses) addresses.push_back(ReadNetAddress(text, port));
    if (addresses.empty()) return Failed(found.problem);
  }
  // What a stranger names must not make this machine talk to its neighbours. The very addresses that are connected to
  // are looked at, so a name that changes its address in between gains nothing.
  if (job_.question.is_referral && !job_.limits.allows_local) {
    std::erase_if(addresses, [](const NetAddress& address) { return !IsPublicAddress(address); });
    if (addresses.empty()) {
      return Status::Error(Fail::kRefused, job_.question.server + " is not a server of the internet and was not asked");
    }
  }
  if (addresses.size() > kMostAddresses) addresses.resize(kMostAddresses);
  return Status::Ok();
}

// Why it could not be connected to; empty when it could.
std::string OneQuestion::TryOne(const NetAddress& address, std::unique_ptr<Descriptor>& fd) const {
  fd = std::make_unique<Descriptor>(::socket(address.bytes.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!*fd) return std::strerror(errno);
  if (::connect(fd->get(), address.Get(), address.size) != 0) {
    if (errno != EINPROGRESS) return std::strerror(errno);
    const auto until = std::min(until_, steady_clock::now() + milliseconds(job_.limits.connect_ms));
    if (job_.stop.Wait(fd->get(), POLLOUT, until) != StopSign::Wake::kReady) return "no connection in time";
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(fd->get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
    if (error != 0) return std::strerror(error);
  }
  return {};
}

Status OneQuestion::Connect(const std::vector<NetAddress>& addresses, std::unique_ptr<Descriptor>& fd) const {
  std::string problem = "no address";
  for (const NetAddress& address : addresses) {
    if (job_.stop.IsSet() || steady_clock::now() >= until_) break;
    problem = TryOne(address, fd);
    if (problem.empty()) return Status::Ok();
  }
  return Failed(problem);
}

Status OneQuestion::Send(int fd) const {
  const std::string line = job_.question.text + "\r\n";
  for (size_t at = 0; at < line.size();) {
    const ssize_t n = ::send(fd, line.data() + at, line.size() - at, MSG_NOSIGNAL);
    if (n > 0) {
      at += static_cast<size_t>(n);
    } else if (n < 0 && errno == EAGAIN) {
      if (job_.stop.Wait(fd, POLLOUT, until_) != StopSign::Wake::kReady) return Failed("it does not take the question");
    } else if (n < 0 && errno != EINTR) {
      return Failed(std::strerror(errno));
    }
  }
  return Status::Ok();
}

// Up to the end of the connection. A part of an answer is better than none.
Status OneQuestion::Read(int fd) {
  std::string& text = job_.answer.text;
  std::vector<char> part(16 << 10);
  for (;;) {
    const ssize_t n = ::recv(fd, part.data(), part.size(), 0);
    if (n == 0) return Status::Ok();
    if (n > 0) {
      text.append(part.data(), std::min(static_cast<size_t>(n), job_.limits.bytes - text.size()));
      job_.answer.is_cut = text.size() >= job_.limits.bytes;
      if (job_.answer.is_cut) return Status::Ok();
      if (steady_clock::now() < until_) continue;
    } else if (errno == EINTR) {
      continue;
    } else if (errno != EAGAIN) {
      job_.answer.is_cut = true;
      return text.empty() ? Failed(std::strerror(errno)) : Status::Ok();
    }
    if (job_.stop.Wait(fd, POLLIN, until_) == StopSign::Wake::kReady && steady_clock::now() < until_) continue;
    job_.answer.is_cut = true;
    return text.empty() ? Failed("no answer in time") : Status::Ok();
  }
}

Status OneQuestion::Run() {
  if (!CanBeSent(job_.question.text)) {
    return Status::Error(Fail::kBadData, "'" + job_.question.text + "' can't be asked for");
  }
  std::vector<NetAddress> addresses;
  if (Status found = FindServer(addresses); !found.ok()) return found;
  std::unique_ptr<Descriptor> fd;
  if (Status connected = Connect(addresses, fd); !connected.ok()) return connected;
  if (Status sent = Send(fd->get()); !sent.ok()) return sent;
  return Read(fd->get());
}

}  // namespace

bool ReadWhoIsServer(std::string_view text, std::string& host, uint16_t& port) {
  port = kWhoIsPort;
  std::string_view name = text, rest;
  if (StartsWith(text, "[")) {
    const size_t end = text.find(']');
    if (end == text.npos) return false;
    name = text.substr(1, end - 1);
    rest = text.substr(end + 1);
  } else if (const size_t colon = text.find(':'); colon != text.npos && text.find(':', colon + 1) == text.npos) {
    name = text.substr(0, colon);
    rest = text.substr(colon);
  }
  if (!rest.empty() && (rest.front() != ':' || !ReadPort(rest.substr(1), port))) return false;
  host = name;
  return IsHostText(name);
}

void RunWhoIsJob(WhoIsJob& job) {
  job.answer.status = Attempt([&] { return OneQuestion(job).Run(); });
}

}  // namespace vantry
