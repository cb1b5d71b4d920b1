// The head of a mail, made of what people write into settings and what strangers put into the texts that are sent.
#pragma once

#include <cstdint>
#include <string>

#include "core/date_time.h"
#include "core/status.h"
#include "ports/mail.h"

namespace vantry {

// The longest address taken: 64 bytes for the mailbox, "@", and 255 for the host.
inline constexpr size_t kMaxMailAddress = 320;

struct MailDraft {
  std::string from;  // "a@b" or "Name <a@b>". If it has no address, the first recipient is used.
  std::string to;    // Any number of the same, with commas or semicolons between them.
  std::string subject;
  WallTime now;
  int32_t utc_offset = 0;  // Seconds that local time is ahead of UTC.
};

// Fills sender, recipients and headers of the message; the rest of it stays as it is. Each header is one line, however
// long; FoldedHeader breaks it. Texts may hold any bytes: control characters become blanks, and what ASCII can't say is
// encoded (RFC 2047) as UTF-8, taken from Windows-1252 when it is not UTF-8. Recipients come once each, in order, and
// are bare addresses without blanks, "<", ">", quotes or control characters. What can't be an address is left out, and
// the message goes to the others. kBadData when no recipient is left; the message is not touched then.
Status WriteMailHeaders(const MailDraft& draft, MailMessage& message);

}  // namespace vantry
