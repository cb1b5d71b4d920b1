#include "forms/sms_test.h"

#include <utility>

namespace vantry {
namespace {

constexpr std::string_view kIsItRunning = "\r\n\r\nIs SMS Server running on the machine specified?";

}  // namespace

SmsTest::SmsTest(std::unique_ptr<LineClient> client, const Settings& draft, std::string version, SmsTestEvents events)
    : host_(draft.SMSServerName),
      port_(draft.SMSServerPort),
      version_(std::move(version)),
      events_(std::move(events)),
      client_(std::move(client)) {
  client_->OnEvents({[this](int code, std::string_view description) { Connected(code, description); },
                     [this](std::string_view text) { Answered(text); },
                     [this](std::string_view description) { Failed(description); }});
}

void SmsTest::Start() {
  events_.line("i Connecting to " + host_ + ", port " + std::to_string(port_));
  client_->Connect(host_, port_, "\x01");
}

void SmsTest::Connected(int code, std::string_view description) {
  if (over_) return;
  if (code != 0) {
    return End(false, "Connection to SMS Server failed: " + std::string(description) + std::string(kIsItRunning));
  }
  events_.line("i Connected");
  events_.line("> IDRCU." + version_);
  client_->Send("IDRCU." + version_ + "\x01");
}

void SmsTest::Answered(std::string_view reply) {
  if (over_) return;
  events_.line("< " + std::string(reply));
  if (reply != "OK") return End(false, "Test failed: " + std::string(reply) + std::string(kIsItRunning));
  End(true, "Test successfull!\r\n\r\nVantry can communicate with SMS Server using the Host & Port specified.");
}

void SmsTest::Failed(std::string_view why) {
  if (!over_) End(false, "Error testing the connection to SMS Server: " + std::string(why));
}

void SmsTest::End(bool passed, const std::string& text) {
  over_ = true;
  client_->Close();
  events_.done(passed, text);
}

}  // namespace vantry
