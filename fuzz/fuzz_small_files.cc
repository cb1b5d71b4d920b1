// The files of mails that wait and of acts that were done: whatever stands in them, what is read is what was written.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "alerts/acted_marks.h"
#include "notify/unsent_mail.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  MailMessage message;
  bool waiting = false;
  const size_t taken = ParseUnsentMail(text, message, waiting);
  if (taken > text.size()) std::abort();
  if (taken > 0) {
    MailMessage again;
    const std::string record = FormatUnsentMail(message);
    if (ParseUnsentMail(record, again, waiting) != record.size() || again.body != message.body ||
        again.recipients != message.recipients || again.headers != message.headers) {
      std::abort();
    }
  }
  uint64_t site = 0;
  ActedMark mark;
  for (size_t at = 0; at < text.size(); at += kActsLineBytes) {
    const std::string_view line = text.substr(at, kActsLineBytes);
    if (ParseActedMark(line, site, mark) && FormatActedMark(site, mark) != line) std::abort();
  }
  // Fields of a record whose sum is right for once.
  MailMessage made;
  made.body = text;
  made.headers = {std::string(text.substr(0, size / 2)), std::string(text.substr(size / 2))};
  const std::string record = FormatUnsentMail(made);
  if (ParseUnsentMail(record, message, waiting) != record.size() || message.body != text) std::abort();
  return 0;
}
