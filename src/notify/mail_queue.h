// Mail to people: notifications are gathered per site and for the whole, and go out together; whoever names an address
// has a mail sent at once.
#pragma once

#include <cstdint>
#include <string>

#include "config/settings.h"
#include "core/program_log.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "notify/sms_queue.h"
#include "ports/clock.h"
#include "ports/mail.h"

namespace vantry {

struct MailQueueContext {
  LiveTables& t;
  const Settings& settings;
  ProgramLog& log;
  Clock& clock;
  View& view;
  Mail& mail;
  SmsQueue& sms;
};

class MailQueue {
 public:
  static constexpr int64_t kSendTimerMs = 65'000;
  // At the end of the program all that is pending goes out within this time, or not at all: half a minute with the
  // rest.
  static constexpr int64_t kLastMs = 28'000;

  explicit MailQueue(MailQueueContext context) : c_(context) {}

  // Hands a text to the notifications. With an address in `send_to` it goes out at once; else it joins what is
  // collected for the site's own address and for the general one. `site` 0 is none.
  void SendEmail(const std::string& message, int16_t site, const std::string& send_to);
  // Sends one mail and returns when the server has answered; the loop turns meanwhile. Addresses in `send_to` are
  // separated by ";" or ",". A failure is reported and the mail is gone. Returns whether it was sent.
  bool SendMailNow(const std::string& send_to, const std::string& body, const std::string& attachment, bool is_html);
  // Sends all that is collected.
  void Email_SendPending();
  // Counts; each EmailEvery ticks sends what is collected and takes up the waiting short messages.
  void SendTimerTick();
  // Whether somebody waits in SendMailNow.
  bool Sending() const { return sending_ > 0; }
  // The end of the program is near: what is under way and what is to come has kLastMs in all from the first call on.
  void HurryUp();
  // The end of the program: what is pending goes out.
  void Close();

  const std::string& PendingText() const { return PendingText_; }
  int32_t PendingCount() const { return PendingCount_; }

 private:
  Status Send(const std::string& send_to, const std::string& body, const std::string& attachment, bool is_html);

  MailQueueContext c_;
  std::string PendingText_;
  int32_t PendingCount_ = 0;
  int16_t TickCount_ = 0;
  int sending_ = 0;
  bool hurried_ = false;
};

}  // namespace vantry
