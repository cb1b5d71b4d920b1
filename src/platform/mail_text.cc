#include "platform/mail_text.h"

#include <algorithm>
#include <string_view>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

// "=_" occurs neither in quoted-printable nor in base64, so this is never found inside a part.
constexpr std::string_view kBoundary = "=_vantry_part";
constexpr size_t kBytesInLine = 57;  // 76 characters.
constexpr size_t kLinesAtOnce = 500;

std::string BodyPart(const MailMessage& message) {
  return std::string("Content-Type: text/") + (message.html ? "html" : "plain") +
         "; charset=utf-8\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n" +
         QuotedPrintable(ToUtf8(message.body));
}

std::string FileName(std::string_view path) {
  return std::string(path.substr(path.rfind('/') + 1));
}

const char* ContentType(const std::string& name) {
  struct Row {
    std::string_view end;
    const char* type;
  };
  static constexpr Row kRows[] = {
      {".htm", "text/html"}, {".html", "text/html"}, {".txt", "text/plain"}, {".zip", "application/zip"}};
  const std::string lower = Lower(name);
  for (const Row& row : kRows) {
    if (lower.ends_with(row.end)) return row.type;
  }
  return "application/octet-stream";
}

bool IsPlainNameCharacter(char c) {
  return c >= ' ' && c <= '~' && c != '"' && c != '\\' && c != '%';
}

// "filename" in the form of RFC 2231 for names beyond plain ASCII.
std::string EncodedName(const std::string& name) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string out = "UTF-8''";
  for (const char c : ToOneLine(name)) {
    const auto byte = static_cast<unsigned char>(c);
    if (IsDigit(c) || (LowerAscii(c) >= 'a' && LowerAscii(c) <= 'z') || c == '.' || c == '-' || c == '_') {
      out += c;
    } else {
      out += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return out;
}

// Readers that don't know encoded names find a plain one beside the type.
std::string AttachmentHead(const std::string& name) {
  std::string plain = name;
  std::replace_if(
      plain.begin(), plain.end(), [](char c) { return !IsPlainNameCharacter(c); }, '_');
  const std::string disposition = plain == name ? "filename=\"" + name + "\"" : "filename*=" + EncodedName(name);
  return std::string("Content-Type: ") + ContentType(name) + ";\r\n name=\"" + plain +
         "\"\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment;\r\n " + disposition + "\r\n\r\n";
}

Status NoAttachment(const std::string& path, const char* why) {
  return Status::Error(Fail::kBadData, "The attachment " + ToOneLine(path) + " can't be read: " + why);
}

}  // namespace

Status MailText::Open(const MailMessage& message) {
  for (const std::string& header : message.headers) ready_ += FoldedHeader(header);
  ready_ += "MIME-Version: 1.0\r\n";
  if (message.attachment.empty()) {
    ready_ += BodyPart(message);
    return Status::Ok();
  }
  attachment_ = message.attachment;
  attaching_ = true;
  if (message.attached) {
    held_ = *message.attached;
    left_ = static_cast<int64_t>(held_.size());
  } else if (Status status = OpenAttachment(); !status.ok()) {
    return status;
  }
  const std::string part = "--" + std::string(kBoundary) + "\r\n";
  ready_ += "Content-Type: multipart/mixed;\r\n boundary=\"" + std::string(kBoundary) + "\"\r\n\r\n" + part +
            BodyPart(message) + "\r\n" + part + AttachmentHead(FileName(attachment_));
  return Status::Ok();
}

Status MailText::OpenAttachment() {
  // Not to wait for the other end of a pipe.
  const int fd = ::open(attachment_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return NoAttachment(attachment_, std::strerror(errno));
  file_.emplace(fd);
  struct stat info {};
  if (::fstat(fd, &info) != 0) return NoAttachment(attachment_, std::strerror(errno));
  if (!S_ISREG(info.st_mode))
    return NoAttachment(attachment_, S_ISDIR(info.st_mode) ? "It is a folder" : "It is no file");
  left_ = info.st_size;
  return Status::Ok();
}

ssize_t MailText::Read(char* bytes, size_t size) {
  if (taken_ == ready_.size()) {
    ready_.clear();
    taken_ = 0;
    if (attaching_ && !ReadAttachment()) return -1;
  }
  const size_t count = std::min(size, ready_.size() - taken_);
  ready_.copy(bytes, count, taken_);
  taken_ += count;
  return static_cast<ssize_t>(count);
}

// Prepares its next lines, and after the last one the end of the mail.
bool MailText::ReadAttachment() {
  std::string bytes(std::min<int64_t>(left_, kBytesInLine * kLinesAtOnce), '\0');
  size_t filled = 0;
  if (!file_) {
    filled = held_.copy(bytes.data(), bytes.size(), held_.size() - static_cast<size_t>(left_));
    left_ -= static_cast<int64_t>(filled);
  }
  while (filled < bytes.size()) {
    const ssize_t count = ::read(file_->get(), bytes.data() + filled, bytes.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      problem_ = NoAttachment(attachment_, std::strerror(errno)).text;
      return false;
    }
    if (count == 0) left_ = 0;  // Somebody cut the file.
    if (count == 0) break;
    filled += static_cast<size_t>(count);
    left_ -= count;
  }
  bytes.resize(filled);
  for (size_t at = 0; at < bytes.size(); at += kBytesInLine) {
    ready_ += Base64(std::string_view(bytes).substr(at, kBytesInLine)) + "\r\n";
  }
  if (left_ > 0) return true;
  file_.reset();
  attaching_ = false;
  ready_ += "--" + std::string(kBoundary) + "--\r\n";
  return true;
}

}  // namespace vantry
