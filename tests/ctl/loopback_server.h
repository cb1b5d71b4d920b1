// A made-up program on a port of this machine, for what asks it over a connection.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <thread>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/text.h"

namespace vantry {

// Answers each line by a table: a line that begins with the key gets the text. An answer that does not end in "\r\n",
// or one to "GET " or "@@", closes the connection. A line without an entry gets no answer.
class LoopbackServer {
 public:
  std::map<std::string, std::string> answers = {{"@HELLO", "Vantry 2.0.000 [Running]\r\n"},
                                                {"@PAUSE", "Vantry 2.0.000 [Paused]\r\n"},
                                                {"@CONTINUE", "Vantry 2.0.000 [Running]\r\n"},
                                                {"@STATUS", "rST\x1b\r\n"},
                                                {"@@STOP", "XXX\r\n"},
                                                {"GET ", "HTTP/1.0 200 OK\r\n\r\n\r\n"}};
  std::function<void(const std::string& line)> on_line;  // Called on the server's thread before a line is answered.

  LoopbackServer() {
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof own;
    (void)::bind(fd_, reinterpret_cast<sockaddr*>(&own), size);
    (void)::getsockname(fd_, reinterpret_cast<sockaddr*>(&own), &size);
    (void)::listen(fd_, 5);
    port_ = ntohs(own.sin_port);
    thread_ = std::thread([this] { Accept(); });
  }
  ~LoopbackServer() {
    stopping_ = true;
    thread_.join();
    ::close(fd_);
  }
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;
  int port() const { return port_; }

 private:
  bool Readable(int fd) const {
    pollfd watch{fd, POLLIN, 0};
    while (!stopping_) {
      if (::poll(&watch, 1, 10) > 0) return true;
    }
    return false;
  }
  void Accept() {
    while (Readable(fd_)) {
      const int caller = ::accept(fd_, nullptr, nullptr);
      std::string bytes;
      while (caller >= 0 && Readable(caller) && Serve(caller, bytes)) {
      }
      if (caller >= 0) ::close(caller);
    }
  }
  bool Serve(int caller, std::string& bytes) {
    char block[4096];
    const ssize_t n = ::recv(caller, block, sizeof block, 0);
    if (n <= 0) return false;
    bytes.append(block, static_cast<size_t>(n));
    for (size_t end; (end = bytes.find("\r\n")) != std::string::npos;) {
      const std::string line = bytes.substr(0, end);
      bytes.erase(0, end + 2);
      if (on_line) on_line(line);
      if (!Answer(caller, line)) return false;
    }
    return true;
  }
  bool Answer(int caller, const std::string& line) {
    for (const auto& [key, answer] : answers) {
      if (!StartsWith(line, key)) continue;
      (void)::send(caller, answer.data(), answer.size(), MSG_NOSIGNAL);
      return answer.ends_with("\r\n") && key != "GET " && key != "@@STOP";
    }
    return true;
  }

  int fd_ = -1, port_ = 0;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

}  // namespace vantry
