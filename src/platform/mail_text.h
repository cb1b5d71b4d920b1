// The text of a mail as it goes over the line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

#include "core/status.h"
#include "platform/posix_support.h"
#include "ports/mail.h"

namespace vantry {

// A mail as one text of lines that end with CR LF, made piece by piece: the head, the body as quoted-printable UTF-8,
// and the attachment, which is read from its file while it is sent unless the mail holds it. All of it is ASCII,
// whatever the mail contains.
class MailText {
 public:
  // kBadData if the attachment is not a file or can't be opened; its length is measured now.
  Status Open(const MailMessage& message);
  // Fills in the next bytes, as many as there are; 0 at the end, -1 when the attachment can't be read any more.
  ssize_t Read(char* bytes, size_t size);
  // Why Read failed.
  const std::string& Problem() const { return problem_; }

 private:
  Status OpenAttachment();
  bool ReadAttachment();

  std::string attachment_;
  bool attaching_ = false;          // While there is something left of the attachment.
  std::optional<Descriptor> file_;  // Where it is read from; otherwise it is held.
  std::string held_;
  int64_t left_ = 0;  // Bytes of the attachment.
  std::string ready_;
  size_t taken_ = 0;  // Of `ready_`.
  std::string problem_;
};

}  // namespace vantry
