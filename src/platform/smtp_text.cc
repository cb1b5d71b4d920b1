#include "platform/smtp_text.h"

#include <algorithm>

#include <arpa/inet.h>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

constexpr size_t kMaxServerWords = 200;
constexpr size_t kMaxHost = 253;
constexpr size_t kMaxCommand = 4'096;
constexpr size_t kMaxReply = 2'000;  // Kept of one reply.

bool IsHost(std::string_view host) {
  if (host.starts_with('[') && host.ends_with(']')) {
    in6_addr unused{};
    return ::inet_pton(AF_INET6, std::string(host.substr(1, host.size() - 2)).c_str(), &unused) == 1;
  }
  return !host.empty() && host.size() <= kMaxHost && std::all_of(host.begin(), host.end(), [](char c) {
    return IsDigit(c) || (LowerAscii(c) >= 'a' && LowerAscii(c) <= 'z') || c == '-' || c == '.' || c == '_';
  });
}

bool ReadPlace(std::string_view text, MailServer& server) {
  const size_t colon = text.ends_with(']') ? std::string_view::npos : text.rfind(':');
  server.host = text.substr(0, colon);
  return text.find('\0') == std::string_view::npos && IsHost(server.host) &&
         (colon == std::string_view::npos || ReadPort(text.substr(colon + 1), server.port));
}

// The start of the text, without cutting a character in two.
std::string_view Cut(std::string_view utf8, size_t size) {
  if (utf8.size() <= size) return utf8;
  while (size > 0 && (utf8[size] & 0xC0) == 0x80) --size;
  return utf8.substr(0, size);
}

std::string Masked(std::string text, const std::string& secret) {
  return secret.empty() ? text : ReplaceAll(std::move(text), secret, "***");
}

}  // namespace

Status ReadMailServer(std::string_view text, MailServer& server) {
  std::string_view place = Trim(text);
  const std::string start = Lower(place.substr(0, 8));
  server = {};
  if (StartsWith(start, "smtps://")) {
    place.remove_prefix(8);
    server.port = 465;
    server.encrypted = true;
  } else if (StartsWith(start, "smtp://")) {
    place.remove_prefix(7);
  }
  if (place.ends_with('/') && place.size() < Trim(text).size()) place.remove_suffix(1);
  if (ReadPlace(place, server)) return Status::Ok();
  return Status::Error(Fail::kBadData,
                       "'" + std::string(Cut(ToOneLine(text), kMaxServerWords)) + "' is no mail server");
}

void SmtpDialogue::Sent(std::string_view bytes) {
  for (const char c : bytes) {
    if (c == '\n') {
      TakeCommand(partial_);
      partial_.clear();
    } else if (c != '\r' && partial_.size() < kMaxCommand) {
      partial_ += c;
    }
  }
}

void SmtpDialogue::TakeCommand(std::string_view line) {
  const std::string_view whole = line;
  const std::string_view verb = line.substr(0, line.find(' '));
  over_ = over_ || verb == "QUIT";
  if (over_) TellCommand(whole);
  if (over_) return;
  constexpr std::string_view kVerbs[] = {"EHLO", "HELO", "STARTTLS", "AUTH", "MAIL", "RCPT", "DATA"};
  if (std::find(std::begin(kVerbs), std::end(kVerbs), verb) != std::end(kVerbs)) {
    command_ = verb;
    line = verb == "AUTH" ? line.substr(std::min(line.find(' ', 5), line.size())) : "";
  }
  // A login goes on over several lines.
  if (command_ == "AUTH" && !Trim(line).empty()) secrets_.emplace_back(Trim(line));
  TellCommand(whole);
  code_ = 0;
  words_.clear();
}

// By now what a login says is a secret.
void SmtpDialogue::TellCommand(std::string_view line) const {
  if (told_) told_(true, Presentable(std::string(line)));
}

bool SmtpDialogue::Received(std::string_view line) {
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
  if (told_) told_(false, Presentable(std::string(line.substr(0, kMaxReply))));
  const bool reply = line.size() >= 3 && std::all_of(line.begin(), line.begin() + 3, IsDigit);
  if (!reply || over_) return false;
  const bool more = line.size() > 3 && line[3] == '-';
  // Later lines bring the same code again.
  const std::string_view words = reply_.empty() ? line : line.substr(std::min<size_t>(line.size(), 4));
  reply_.append(reply_.empty() ? "" : " ").append(words);
  if (reply_.size() > kMaxReply) reply_.resize(kMaxReply);
  if (!more) TakeReply();
  return !more;
}

void SmtpDialogue::TakeReply() {
  if (reply_.size() > 3 && reply_[3] == '-') reply_[3] = ' ';
  code_ = LeadingNumber(reply_.substr(0, 3));
  words_ = Presentable(std::move(reply_));
  reply_.clear();
  const bool good = code_ >= 200 && code_ < 300;
  if (command_ == "RCPT") {
    if (!good) refusals_.push_back({next_recipient_, words_});
    ++next_recipient_;
  } else if (command_ == "DATA" && code_ >= 300 && code_ < 400) {
    command_ = ".";
    code_ = 0;
    words_.clear();
  } else if (command_ == "." && good) {
    taken_ = true;
    taken_words_ = words_;
  }
}

std::string SmtpDialogue::Presentable(std::string words) const {
  for (const std::string& secret : secrets_) words = Masked(std::move(words), secret);
  words = ToOneLine(words);
  // A blank that was a tabulator makes one as well.
  for (const std::string& secret : secrets_) words = Masked(std::move(words), ToOneLine(secret));
  return std::string(Trim(Cut(words, kMaxServerWords)));
}

}  // namespace vantry
