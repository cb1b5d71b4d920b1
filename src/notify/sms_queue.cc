#include "notify/sms_queue.h"

#include <utility>

#include "config/value_forms.h"

namespace vantry {
namespace {

constexpr char kEnd = '\x01', kEscape = '\x1b';

std::string Fields(std::string_view number, std::string_view message, const Regional& regional, WallTime now) {
  std::string text(number);
  text.append("\t").append(message);
  text += "\t" + regional.ShortDate(DayOf(now)) + "\t" + FormatTime(SecondOfDay(now));
  return text;
}

}  // namespace

SmsQueue::SmsQueue(SmsContext context) : c_(std::move(context)) {
  c_.client.OnEvents({[this](int code, std::string_view description) { Connected(code, description); },
                      [this](std::string_view text) { DataIn(text); }});
}

// What a server says may hold anything, and a line of the log is one line.
void SmsQueue::Log(const std::string& text) {
  std::string line = text;
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = ' ';
  }
  c_.log.WriteProgramLog(line, false);
}

void SmsQueue::SendSMS(std::string_view number, std::string_view message) {
  const Status status = Attempt([&] {
    if (c_.settings.SMSConnect != 0) return AppendToPolledFile(number, message);
    queue_ += "SEND " + Fields(number, message, c_.regional, c_.clock.Now()) + kEscape;
    return Status::Ok();
  });
  if (!status.ok()) {
    Log("Failed to send message to SMS Server: " + status.text);
  } else if (c_.settings.SMSConnect == 0) {
    StartSMSQueue();
  }
}

Status SmsQueue::AppendToPolledFile(std::string_view number, std::string_view message) {
  return c_.files.Append(WithSeparator(c_.settings.SMSFolder) + "POLLED.TXT",
                         Fields(number, message, c_.regional, c_.clock.Now()) + "\r\n");
}

void SmsQueue::StartSMSQueue() {
  const Status status = Attempt([this] {
    if (SMSQueue().empty()) return Status::Ok();
    if (c_.client.IsConnected()) {
      Greet();
    } else {
      c_.client.Connect(c_.settings.SMSServerName, c_.settings.SMSServerPort, std::string(1, kEnd));
    }
    return Status::Ok();
  });
  if (!status.ok()) Log("Failed to send message to SMS Server: " + status.text);
}

void SmsQueue::Connected(int code, std::string_view description) {
  if (code == 0) return Greet();
  Log("Error connecting to SMS Server on " + c_.settings.SMSServerName + ": " + std::string(description));
}

void SmsQueue::Greet() {
  c_.client.Send("IDRCU." + c_.version + kEnd);
}

void SmsQueue::DataIn(std::string_view message) {
  const Status status = Attempt([&] {
    if (message != "OK" && message != "SENT") Log("SMS Server: " + std::string(message));
    if (!SMSQueue().empty()) SendNextSMS();
    return Status::Ok();
  });
  if (!status.ok()) Log("Error sending to SMS Server: " + status.text);
}

void SmsQueue::SendNextSMS() {
  c_.log.Guard("frmEmail.SendNextSMS", [this] { return SendFirst(); });
}

Status SmsQueue::SendFirst() {
  const size_t end = queue_.find(kEscape, sent_);
  if (end == std::string::npos) return Status::Ok();
  // The server's last words may come after its end of the connection; the command then waits for the next one.
  if (!c_.client.IsConnected()) return Status::Error(Fail::kIo, "The connection to the SMS Server is gone");
  c_.client.Send(queue_.substr(sent_, end - sent_) + kEnd);
  sent_ = end + 1;
  // Cutting what is sent off each time would cost the whole queue for each message.
  if (sent_ > queue_.size() / 2) {
    queue_.erase(0, sent_);
    sent_ = 0;
  }
  return Status::Ok();
}

}  // namespace vantry
