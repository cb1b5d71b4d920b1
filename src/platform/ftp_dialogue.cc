#include "platform/ftp_dialogue.h"

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

constexpr size_t kMostShown = 200;

int ReplyCode(std::string_view line) {
  if (line.size() < 3 || !IsDigit(line[0]) || !IsDigit(line[1]) || !IsDigit(line[2])) return 0;
  return (line[0] - '0') * 100 + (line[1] - '0') * 10 + (line[2] - '0');
}

}  // namespace

std::string FtpDialogue::Shown(std::string_view line) const {
  while (line.ends_with('\n') || line.ends_with('\r')) line.remove_suffix(1);
  std::string text = ToOneLine(line.substr(0, 2 * kMostShown));
  if (!secret_.empty()) text = ReplaceAll(std::move(text), secret_, "***");
  if (text.size() <= kMostShown) return text;
  size_t end = kMostShown;
  while (end > 0 && (text[end] & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

std::string FtpDialogue::Sent(std::string_view line) {
  command_ = std::string(line.substr(0, line.find_first_of(" \r\n")));
  code_ = open_ = 0;
  words_.clear();
  if (command_ == "SIZE") {
    size_reply_.clear();
    size_code_ = 0;
  }
  return command_ == "PASS" || command_ == "ACCT" ? command_ + " ***" : Shown(line);
}

bool FtpDialogue::Received(std::string_view line) {
  const int code = ReplyCode(line);
  const bool goes_on = line.size() > 3 && line[3] == '-';
  if (open_ == 0 && code > 0 && goes_on) open_ = code;
  if (code == 0 || goes_on || (open_ != 0 && code != open_)) return false;
  open_ = 0;
  code_ = code;
  words_ = Shown(line);
  if (command_ == "SIZE") {
    size_reply_ = words_;
    size_code_ = code;
  }
  return true;
}

}  // namespace vantry
