#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"

namespace vantry {

// One mail as it is handed to a server.
struct MailMessage {
  std::string server;                   // "host", "host:port", "smtp://host:port" or "smtps://host:port".
  std::string user, password;           // An empty user: no login.
  std::string sender;                   // Bare address, as the server is told.
  std::vector<std::string> recipients;  // Bare addresses, as the server is told.
  std::vector<std::string> headers;     // Whole header lines without line ends, all of them but those of MIME.
  std::string body;                     // Bytes in UTF-8 or Windows-1252, with any line ends.
  bool html = false;                    // The body is HTML.
  std::string attachment;               // Path of a file that goes with it; empty for none.
};

// Sends mail.
class Mail {
 public:
  virtual ~Mail() = default;
  // Sends and returns when the server has taken the mail for every recipient, or has not: kRefused when it said no,
  // kIo when it could not be reached or talked to, kBadData when `server` is no server or the attachment can't be read.
  // A failure's text names the server and says what it answered. `status` is called with what happens on the way, one
  // line each, before the call returns.
  // The loop goes on turning meanwhile: handlers run inside this call, and may call it again.
  virtual Status Send(const MailMessage& message, const std::function<void(std::string_view line)>& status) = 0;
  // For the end of the program: what is under way and what is sent from now on has this much time in all, then fails.
  virtual void SetTimeLeft(int64_t ms) = 0;
  // Turns the loop until nothing is under way. Bounded by the time left, when that is set.
  virtual void WaitForAll() = 0;
};

}  // namespace vantry
