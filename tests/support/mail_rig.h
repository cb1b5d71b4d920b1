// The mail queue on fakes: two sites, "One" and "Two", at noon of 5 March 2026; a mail server is set.
#pragma once

#include <string>

#include "core/text.h"
#include "notify/mail_queue.h"
#include "support/fake_mail.h"
#include "support/fakes.h"
#include "support/memory_files.h"

namespace vantry {

struct NobodyOnTheLine final : LineClient {
  void OnEvents(LineClientEvents) override {}
  void Connect(const std::string&, int32_t, const std::string&) override {}
  bool IsConnected() const override { return false; }
  void Send(std::string_view) override {}
  void Close() override {}
};

struct MailRig {
  LiveTables t;
  Settings settings;
  Regional regional;
  FakeClock clock;
  MemoryFiles files;
  RecordingNotices notices;
  RecordingView view;
  FakeMail mail;
  NobodyOnTheLine line;
  std::string program_log;
  ProgramLog log{
      t,
      regional,
      {[this] { return clock.Now(); }, [this](std::string_view b) { program_log += b; }, [] {}, [](std::string_view) {},
       [this](std::string_view text, EventLevel level) { notices.LogEvent(text, level); }}};
  SmsQueue sms{{settings, regional, clock, files, log, line, "2.0.000"}};
  MailQueue queue{{t, settings, log, clock, files, view, mail, sms}};

  MailRig() {
    for (const char* name : {"One", "Two"}) t.Sites.emplace_back().Name = name;
    settings.EmailServer = "mail.example";
    settings.EmailFrom = "vantry@example";
  }
};

}  // namespace vantry
