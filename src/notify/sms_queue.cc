#include "notify/sms_queue.h"

#include <utility>

#include "config/value_forms.h"

namespace vantry {
namespace {

constexpr char kEnd = '\x01';

std::string WithBlanks(std::string_view text, char kept) {
  std::string clean(text);
  for (char& c : clean) {
    const bool control = static_cast<unsigned char>(c) < ' ' || c == '\x7f';
    if (control && c != kept) c = ' ';
  }
  return clean;
}

// Texts come from logs. A control character would end a command or a line for the gateway and begin another; a tab only
// shifts the fields after it, which those who read them know.
std::string Fields(std::string_view number, std::string_view message, const Regional& regional, WallTime now) {
  return WithBlanks(number, '\t') + "\t" + WithBlanks(message, '\t') + "\t" + regional.ShortDate(DayOf(now)) + "\t" +
         FormatTime(SecondOfDay(now));
}

}  // namespace

SmsQueue::SmsQueue(SmsContext context) : c_(std::move(context)) {
  c_.client.OnEvents({[this](int code, std::string_view description) { Connected(code, description); },
                      [this](std::string_view text) { DataIn(text); }});
}

// What a server says may hold anything, and a line of the log is one line.
void SmsQueue::Log(const std::string& text) {
  c_.log.WriteProgramLog(WithBlanks(text, ' '), false);
}

void SmsQueue::SendSMS(std::string_view number, std::string_view message) {
  const Status status = Attempt([&] {
    if (c_.settings.SMSConnect != 0) return AppendToPolledFile(number, message);
    std::string command = "SEND " + Fields(number, message, c_.regional, c_.clock.Now());
    const size_t bytes = command.size();
    queue_.Push(std::move(command), bytes);
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
    if (queue_.Empty()) return Status::Ok();
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
    if (!queue_.Empty()) SendNextSMS();
    return Status::Ok();
  });
  if (!status.ok()) Log("Error sending to SMS Server: " + status.text);
}

void SmsQueue::SendNextSMS() {
  c_.log.Guard("frmEmail.SendNextSMS", [this] { return SendFirst(); });
}

Status SmsQueue::SendFirst() {
  // The server's last words may come after its end of the connection; the command then waits for the next one.
  if (!c_.client.IsConnected()) return Status::Error(Fail::kIo, "The connection to the SMS Server is gone");
  c_.client.Send(queue_.Front() + kEnd);
  (void)queue_.Pop();
  if (queue_.Empty()) TellDropped();
  return Status::Ok();
}

void SmsQueue::TellDropped() {
  const int64_t dropped = queue_.TakeDropped();
  if (dropped > 0) Log(std::to_string(dropped) + " short messages were dropped, as too many waited for the SMS Server");
}

void SmsQueue::Close() {
  TellDropped();
  c_.client.Close();
}

}  // namespace vantry
