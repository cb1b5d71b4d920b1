// What was said to an FTP server and what it answered.
#pragma once

#include <string>
#include <string_view>

namespace vantry {

// Listens to the dialogue. What a server says is hostile: it becomes one line of at most 200 bytes of UTF-8.
class FtpDialogue {
 public:
  explicit FtpDialogue(std::string secret) : secret_(std::move(secret)) {}

  // One command as it goes out, with its line end. Returns it as it may be shown.
  std::string Sent(std::string_view line);
  // One line of a reply. Returns whether it is the last one of its reply.
  bool Received(std::string_view line);
  std::string Shown(std::string_view line) const;

  // The verb of the command that went out last; empty before the first.
  const std::string& Command() const { return command_; }
  // Of the last whole reply: its code, and code and words. 0 and empty when the command has none yet.
  int Code() const { return code_; }
  const std::string& Words() const { return words_; }
  // The same of the reply to the last SIZE; the whole line.
  const std::string& SizeReply() const { return size_reply_; }
  int SizeCode() const { return size_code_; }

 private:
  std::string secret_;
  std::string command_, words_, size_reply_;
  int code_ = 0, size_code_ = 0;
  int open_ = 0;  // The code of a reply of several lines that has not ended; 0 for none.
};

}  // namespace vantry
