#include "notify/unsent_mail.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "core/text.h"

namespace vantry {
namespace {

// "VMAIL1 W 0000012345 0123456789abcdef\n": form, state, bytes of the rest, their sum.
constexpr std::string_view kForm = "VMAIL1 ";
constexpr size_t kStatePlace = 7, kSizePlace = 9, kSumPlace = 20;
constexpr char kWaiting = 'W', kGone = 'G';

std::string Hex(uint64_t number) {
  std::string text(16, '0');
  for (size_t i = text.size(); number != 0; number >>= 4) text[--i] = "0123456789abcdef"[number & 15];
  return text;
}

uint64_t Sum(std::string_view bytes) {
  uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  return hash;
}

void PutField(std::string& out, std::string_view text) {
  out.append(std::to_string(text.size())).append(":").append(text).append("\n");
}

void PutList(std::string& out, const std::vector<std::string>& list) {
  PutField(out, std::to_string(list.size()));
  for (const std::string& text : list) PutField(out, text);
}

// Takes fields from the front of the text; after a mistake everything is empty.
class FieldReader {
 public:
  explicit FieldReader(std::string_view rest) : rest_(rest) {}
  std::string_view Field() {
    size_t size = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), size);
    const auto digits = static_cast<size_t>(end - rest_.data());
    if (error != std::errc() || digits >= rest_.size() || rest_[digits] != ':') return Fail();
    rest_.remove_prefix(digits + 1);
    if (size >= rest_.size() || rest_[size] != '\n') return Fail();
    const std::string_view field = rest_.substr(0, size);
    rest_.remove_prefix(size + 1);
    return field;
  }
  void List(std::vector<std::string>& list) {
    size_t count = 0;
    const std::string_view text = Field();
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (error != std::errc() || end != text.data() + text.size()) (void)Fail();
    list.clear();
    while (count-- > 0 && ok_) list.emplace_back(Field());
  }
  bool Whole() const { return ok_ && rest_.empty(); }

 private:
  std::string_view Fail() {
    ok_ = false;
    rest_ = {};
    return {};
  }
  std::string_view rest_;
  bool ok_ = true;
};

}  // namespace

std::string FormatUnsentMail(const MailMessage& message) {
  std::string rest;
  PutField(rest, message.sender);
  PutList(rest, message.recipients);
  PutList(rest, message.headers);
  PutField(rest, message.html ? "html" : "text");
  PutField(rest, message.attachment);
  PutField(rest, message.body);
  if (message.attached) PutField(rest, *message.attached);
  std::string size = std::to_string(rest.size());
  size.insert(0, 10 - std::min<size_t>(size.size(), 10), '0');
  std::string head = std::string(kForm) + kWaiting + " " + size + " " + Hex(Sum(rest));
  head.resize(kUnsentHeadBytes - 1, ' ');
  return head + "\n" + rest;
}

size_t ParseUnsentMail(std::string_view bytes, MailMessage& message, bool& waiting) {
  if (bytes.size() < kUnsentHeadBytes || !StartsWith(bytes, kForm) || bytes[kUnsentHeadBytes - 1] != '\n') return 0;
  const char state = bytes[kStatePlace];
  if (state != kWaiting && state != kGone) return 0;
  size_t size = 0;
  const char* const digits = bytes.data() + kSizePlace;
  const auto [end, error] = std::from_chars(digits, digits + 10, size);
  if (error != std::errc() || end != digits + 10 || size > bytes.size() - kUnsentHeadBytes) return 0;
  const std::string_view rest = bytes.substr(kUnsentHeadBytes, size);
  if (bytes.substr(kSumPlace, 16) != Hex(Sum(rest))) return 0;
  FieldReader reader(rest);
  message.sender = reader.Field();
  reader.List(message.recipients);
  reader.List(message.headers);
  message.html = reader.Field() == "html";
  message.attachment = reader.Field();
  message.body = reader.Field();
  message.attached.reset();
  if (!reader.Whole()) message.attached = reader.Field();
  waiting = state == kWaiting;
  return reader.Whole() ? kUnsentHeadBytes + size : 0;
}

Status UnsentMails::Open() {
  if (Status status = data_files_.Open(Path(), OpenFor::kCreating, file_); !status.ok()) return status;
  std::string bytes;
  FileIdentity identity;
  Status status = file_->Identify(identity);
  if (status.ok()) {
    // What is beyond was not written by this program.
    bytes.resize(static_cast<size_t>(std::clamp<int64_t>(identity.size_bytes, 0, 2 * int64_t{kMostBytes})));
    size_t count = 0;
    status = file_->ReadAt(0, bytes, count);
    bytes.resize(count);
  }
  if (status.ok()) status = Take(bytes);
  if (!status.ok()) file_.reset();
  return status;
}

Status UnsentMails::Take(const std::string& bytes) {
  mails_.clear();
  end_ = 0;
  MailMessage message;
  bool waiting = false;
  // A kill may have cut the last record; nothing was written after it.
  for (size_t at = 0; at < bytes.size();) {
    const size_t size = ParseUnsentMail(std::string_view(bytes).substr(at), message, waiting);
    if (size == 0) break;
    if (waiting) mails_.push_back({.number = ++last_number_, .position = static_cast<int64_t>(at), .bytes = size});
    at += size;
    end_ = static_cast<int64_t>(at);
  }
  if (mails_.empty()) end_ = 0;
  return static_cast<size_t>(end_) < bytes.size() ? file_->Truncate(end_) : Status::Ok();
}

Status UnsentMails::Add(const MailMessage& message) {
  if (!file_) return Status::Error(Fail::kIo, Path() + " is not open");
  const std::string record = FormatUnsentMail(message);
  if (record.size() > kMostBytes) return Status::Error(Fail::kRefused, "a mail is too long for " + Path());
  if (Status status = MakeRoom(record.size()); !status.ok()) return status;
  if (Status status = file_->WriteAt(end_, record); !status.ok()) {
    (void)file_->Truncate(end_);
    return status;
  }
  mails_.push_back({.number = ++last_number_, .position = end_, .bytes = record.size()});
  end_ += static_cast<int64_t>(record.size());
  return Status::Ok();
}

// Drops the oldest where there are too many, and writes the file anew once it has grown too long.
Status UnsentMails::MakeRoom(size_t bytes) {
  size_t waiting = bytes;
  for (const Mail& mail : mails_) waiting += mail.bytes;
  while (!mails_.empty() && (mails_.size() >= kMost || waiting > kMostBytes)) {
    waiting -= mails_.front().bytes;
    ++dropped_;
    if (Status status = Remove(mails_.front().number); !status.ok()) return status;
  }
  if (static_cast<size_t>(end_) + bytes <= kMostBytes) return Status::Ok();
  std::string kept;
  std::deque<Mail> mails = mails_;
  for (Mail& mail : mails) {
    std::string record(mail.bytes, '\0');
    size_t count = 0;
    if (Status status = file_->ReadAt(mail.position, record, count); !status.ok()) return status;
    mail.position = static_cast<int64_t>(kept.size());
    kept += record;
  }
  if (Status status = files_.Replace(Path(), kept); !status.ok()) return status;
  file_.reset();
  if (Status status = data_files_.Open(Path(), OpenFor::kCreating, file_); !status.ok()) return status;
  mails_ = std::move(mails);
  end_ = static_cast<int64_t>(kept.size());
  return Status::Ok();
}

Status UnsentMails::Read(const Mail& mail, MailMessage& message) {
  if (!file_) return Status::Error(Fail::kIo, Path() + " is not open");
  std::string bytes(mail.bytes, '\0');
  size_t count = 0;
  if (Status status = file_->ReadAt(mail.position, bytes, count); !status.ok()) return status;
  bool waiting = false;
  if (ParseUnsentMail(std::string_view(bytes).substr(0, count), message, waiting) != 0) return Status::Ok();
  return Status::Error(Fail::kBadData, Path() + ": a mail in it was damaged");
}

Status UnsentMails::Remove(uint64_t number) {
  const auto mail = std::find_if(mails_.begin(), mails_.end(), [&](const Mail& m) { return m.number == number; });
  if (mail == mails_.end()) return Status::Ok();
  const int64_t position = mail->position;
  mails_.erase(mail);
  if (!file_) return Status::Error(Fail::kIo, Path() + " is not open");
  Status status = file_->WriteAt(position + int64_t{kStatePlace}, std::string(1, kGone));
  if (!status.ok() || !mails_.empty()) return status;
  end_ = 0;
  return file_->Truncate(0);
}

UnsentMails::Mail* UnsentMails::Find(uint64_t number) {
  const auto mail = std::find_if(mails_.begin(), mails_.end(), [&](const Mail& m) { return m.number == number; });
  return mail == mails_.end() ? nullptr : &*mail;
}

int64_t UnsentMails::TakeDropped() {
  return std::exchange(dropped_, 0);
}

}  // namespace vantry
