// A dialogue with an SMS gateway. Each line begins with a letter for what happens: "m" and a text sends a message, "r"
// and a text is a reply, "a" an accepted connection, "x" and a text a failed one, "l" a lost one, "t" a tick of the
// timer.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/text.h"
#include "notify/sms_queue.h"
#include "support/fake_line_client.h"
#include "support/fakes.h"
#include "support/memory_files.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

bool IsControl(char c) {
  return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

struct Dialogue {
  vantry::Settings settings;
  vantry::Regional regional;
  vantry::FakeClock clock;
  vantry::MemoryFiles files;
  vantry::LiveTables tables;
  vantry::ProgramLog log{tables,
                         regional,
                         {[this] { return clock.now; }, [](std::string_view line) { CheckLogLine(line); }, [] {},
                          [](std::string_view) {}, [](std::string_view, vantry::EventLevel) {}}};
  vantry::FakeLineClient client;
  vantry::SmsQueue sms{{settings, regional, clock, files, log, client, "2.0.000"}};
  size_t messages = 0, replies = 0, commands = 0;

  static void CheckLogLine(std::string_view line) {
    Require(line.ends_with("\r\n"));
    Require(std::none_of(line.begin(), line.end() - 2, IsControl));
  }

  void Happen(char what, std::string_view text) {
    if (what == 'm') {
      ++messages;
      sms.SendSMS(text.substr(0, text.size() / 4), text);
    } else if (what == 'r') {
      ++replies;
      client.Reply(text);
    } else if (what == 'a' && client.connecting) {
      client.Accept();
    } else if (what == 'x' && client.connecting) {
      client.Refuse(111, text);
    } else if (what == 'l') {
      client.Lose();
    } else if (what == 't') {
      sms.StartSMSQueue();
    }
  }

  // What went out: whole commands, one for each reply at most, and none of them lost or made up.
  void Check() {
    for (const std::string& call : client.Take()) {
      if (!call.starts_with("send ")) continue;
      const std::string_view sent = std::string_view(call).substr(5);
      Require(sent.ends_with('\x01'));
      Require(std::none_of(sent.begin(), sent.end() - 1, [](char c) { return IsControl(c) && c != '\t'; }));
      if (sent == "IDRCU.2.0.000\x01") continue;
      Require(sent.starts_with("SEND ") && std::count(sent.begin(), sent.end(), '\t') >= 3);
      ++commands;
    }
    Require(commands <= replies);
    Require(commands + sms.SMSQueue().Rows() == messages);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Dialogue dialogue;
  for (const std::string_view line : vantry::Split(text, '\n')) {
    if (line.empty()) continue;
    dialogue.Happen(line.front(), line.substr(1));
    dialogue.Check();
  }
  return 0;
}
