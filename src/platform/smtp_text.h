// What is said between a mail server and its client, as far as an operator cares. No sockets.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"

namespace vantry {

struct MailServer {
  std::string host;  // A name, an IPv4 address, or an IPv6 address in brackets.
  uint16_t port = 25;
  bool encrypted = false;  // From the first byte on.

  std::string Place() const { return host + ":" + std::to_string(port); }
};

// "host", "host:port", "smtp://..." or "smtps://...", the last with port 465 when it names none. Blanks around it and
// one
// "/" at its end don't matter. kBadData names a text that is no server.
Status ReadMailServer(std::string_view text, MailServer& server);

// Listens to the dialogue and keeps what the server said to what. What a server says is hostile: it becomes one line of
// at most 200 bytes of UTF-8.
class SmtpDialogue {
 public:
  struct Refusal {
    size_t recipient;  // Its place among the recipients.
    std::string words;
  };

  // A line as it may be shown, while the dialogue goes on.
  using Told = std::function<void(bool sent, std::string text)>;

  // `secrets` never stand in any text, even if the server repeats them. Neither does what a login sends.
  explicit SmtpDialogue(std::vector<std::string> secrets, Told told = {})
      : secrets_(std::move(secrets)), told_(std::move(told)) {}

  // Bytes of commands as they go out; a command may come in pieces.
  void Sent(std::string_view bytes);
  // One line of a reply. True when the reply is whole now.
  bool Received(std::string_view line);

  // The verb of the command that went out last: "" before the first, "." for the text of the mail. Never "QUIT".
  const std::string& Command() const { return command_; }
  // Of the last whole reply: its code, and code and words; 0 and "" when `Command` has none yet.
  int Code() const { return code_; }
  const std::string& Words() const { return words_; }
  // Recipients that the server said no to, in their order.
  const std::vector<Refusal>& Refusals() const { return refusals_; }
  // The good-bye went out; what is answered to it doesn't matter.
  bool Over() const { return over_; }
  // The server took the mail.
  bool Taken() const { return taken_; }
  const std::string& TakenWords() const { return taken_words_; }

 private:
  void TakeCommand(std::string_view line);
  void TakeReply();
  void TellCommand(std::string_view line) const;
  std::string Presentable(std::string words) const;

  std::vector<std::string> secrets_;
  Told told_;
  std::string partial_;  // Of a command.
  std::string command_;
  std::string reply_;  // The lines so far.
  std::string words_, taken_words_;
  int code_ = 0;
  size_t next_recipient_ = 0;
  std::vector<Refusal> refusals_;
  bool taken_ = false, over_ = false;
};

}  // namespace vantry
