// The head of a mail made of any bytes: sender, recipients and subject are separated by zero bytes.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>

#include "core/text_encoding.h"
#include "notify/mail_headers.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

bool HoldsControl(std::string_view text) {
  for (const unsigned char c : text) {
    if (c < ' ' || c == 0x7F) return true;
  }
  return text.find("\xC2\x85") != std::string_view::npos;
}

void CheckAddress(const std::string& address) {
  Require(!address.empty() && address.size() <= vantry::kMaxMailAddress && !HoldsControl(address));
  Require(address.find_first_of(" <>\"") == std::string::npos && vantry::IsUtf8(address));
}

// What is sent gives the header back, in lines that every server takes, none of which looks like the end of the head.
void CheckFolded(const std::string& header) {
  const std::string folded = vantry::FoldedHeader(header);
  std::string joined;
  for (size_t at = 0; at < folded.size();) {
    const size_t end = folded.find("\r\n", at);
    Require(end != std::string::npos && end - at <= 998);
    const std::string line = folded.substr(at, end - at);
    Require(!HoldsControl(line) && line.find_first_not_of(' ') != std::string::npos && (at == 0 || line[0] == ' '));
    joined += line;
    at = end + 2;
  }
  Require(joined == header);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const size_t first = std::min(text.find('\0'), size);
  const size_t second = std::min(text.find('\0', first + 1), size);
  vantry::MailDraft draft;
  draft.from = text.substr(0, first);
  if (first < size) draft.to = text.substr(first + 1, second - first - 1);
  if (second < size) draft.subject = text.substr(second + 1);
  draft.now = {int64_t{46'000} * vantry::kSecondsPerDay + static_cast<int64_t>(size)};
  draft.utc_offset = static_cast<int32_t>(size) * 60 - 3'600;

  vantry::MailMessage message;
  const vantry::Status status = vantry::WriteMailHeaders(draft, message);
  Require(status.ok() != message.recipients.empty() && !HoldsControl(status.text));
  if (!status.ok()) return 0;
  CheckAddress(message.sender);
  for (const std::string& recipient : message.recipients) CheckAddress(recipient);
  Require(std::set(message.recipients.begin(), message.recipients.end()).size() == message.recipients.size());
  Require(message.headers.size() == 6);
  for (const std::string& header : message.headers) CheckFolded(header);
  return 0;
}
