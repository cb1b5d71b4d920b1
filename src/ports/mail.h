#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
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
  std::optional<std::string> attached;  // What was in that file; without it the file is read when the mail goes out.
};

// What became of a mail.
struct MailOutcome {
  // kRefused when the server said no, kIo when it could not be reached or talked to, kBadData when `server` is not a
  // server or the attachment can't be read. A failure's text names the server and says what it answered.
  Status status;
  std::vector<std::string> lines;  // What happened on the way, for the program log.
  bool temporary = false;          // The server said no for now (4xx), and took the mail for nobody.
};
using MailDone = std::function<void(const MailOutcome& outcome)>;
// A line of the dialogue with the server while it goes on: a command as it was sent, without what a login says, or a
// line of a reply. From the loop; at most some hundreds of them.
using MailLine = std::function<void(bool sent, std::string_view text)>;

// Sends mail.
class Mail {
 public:
  virtual ~Mail() = default;
  // Starts sending and returns. `done` is called once, from the loop or from Finish and never from inside this call,
  // when the server has taken the mail for every recipient, or has not.
  // `line`, if given, is called before that. Returns the number of the mail, above 0.
  virtual uint64_t Send(MailMessage message, MailDone done, MailLine line) = 0;
  uint64_t Send(MailMessage message, MailDone done) { return Send(std::move(message), std::move(done), nullptr); }
  // Nobody is told of this mail any more. It is given up if it is still under way; Finish does not wait for it.
  virtual void Forget(uint64_t number) = 0;
  // For the end of the program: waits until nothing is under way, without turning the loop. What is not through after
  // `ms` fails, and so does whatever is sent later.
  virtual void Finish(int64_t ms) = 0;
};

}  // namespace vantry
