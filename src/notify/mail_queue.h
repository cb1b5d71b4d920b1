// Mail to people: notifications are gathered per site and for the whole, and go out together; one with an address of
// its own is sent at once. Only the end of the program waits for a server.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "config/settings.h"
#include "core/bounded_queue.h"
#include "core/program_log.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "notify/sms_queue.h"
#include "notify/unsent_mail.h"
#include "ports/clock.h"
#include "ports/files.h"
#include "ports/mail.h"

namespace vantry {

struct MailQueueContext {
  LiveTables& t;
  const Settings& settings;
  ProgramLog& log;
  Clock& clock;
  Files& files;
  View& view;
  Mail& mail;
  SmsQueue& sms;
  UnsentMails* unsent = nullptr;  // Used with KeepUnsentMail.
};

// One mail that waits for its turn.
struct OutgoingMail {
  std::string send_to;  // Addresses separated by ";" or ",".
  std::string body;
  std::string attachment = {};  // Path of a file; empty for none.
  bool is_html = false;
  std::optional<std::string> attached = {};  // What is in that file. The queue reads it.
};

// A mail to oneself, for trying the settings out.
Status MakeTestMail(const Settings& settings, Clock& clock, MailMessage& message);

class MailQueue {
 public:
  static constexpr int64_t kSendTimerMs = 65'000;
  // At the end of the program all that is pending goes out within this time, or not at all: half a minute with the
  // rest.
  static constexpr int64_t kLastMs = 28'000;
  // Mails that wait for the server. A server that is down takes 30 s for each.
  static constexpr size_t kMostWaiting = 10'000, kMostWaitingBytes = 64'000'000;
  // A longer attachment is read when the mail goes out, as it is then.
  static constexpr size_t kMostAttached = 4'000'000;

  // How often mails that wait in the file are looked at, and after how many minutes a server that was away is tried
  // again: the last of these holds from there on.
  static constexpr int64_t kRetryTimerMs = 5'000;
  static constexpr int kRetryMinutes[] = {1, 2, 4, 8, 15};

  explicit MailQueue(MailQueueContext context) : c_(context) {}

  // Hands a text to the notifications. With an address in `send_to` it is a mail of its own; otherwise it joins what is
  // collected for the site's own address and for the general one. `site` 0 is none.
  void SendEmail(const std::string& message, int16_t site, const std::string& send_to);
  // Puts a mail in line, with its attachment as it is now, and returns. Mails go out one after the other, in this
  // order. A failure is reported and the mail is gone. Of too many the oldest are dropped. With KeepUnsentMail a mail
  // is in a file until a server has taken it or has refused it for good, and goes out in its turn: in this run or a
  // later one.
  void SendMailNow(OutgoingMail mail);
  // The same for a mail that somebody waits for: it goes out at once, past the others. `done` is called when the server
  // has answered and its lines are in the program log; before this returns when the mail can't be sent at all, and with
  // KeepUnsentMail as soon as it is in the file.
  void SendMailAside(OutgoingMail mail, const std::function<void()>& done);
  // Puts all that is collected in line.
  void Email_SendPending();
  // Counts; each EmailEvery ticks sends what is collected and takes up the waiting short messages.
  void SendTimerTick();
  // Tries mails whose time has come; to be called at the start and every kRetryTimerMs.
  void RetryTick();
  // The end of the program: what is pending goes out. The loop does not turn meanwhile.
  void Close();

  const PendingTexts& PendingText() const { return PendingText_; }
  int32_t PendingCount() const { return PendingCount_; }
  // What no server has taken yet: collected texts, each once for each address it goes to, and mails in line, under way
  // and in the file.
  int64_t Waiting() const;

 private:
  void SendPending(const std::string& send_to, PendingTexts& pending);
  void ReadAttachment(OutgoingMail& mail);
  Status Prepare(OutgoingMail mail, MailMessage& message);
  bool Start(OutgoingMail mail, std::function<void()> done);
  void StartNext();
  bool KeepsMail() const { return c_.unsent && c_.t.Corrected.KeepUnsentMail; }
  bool Keep(const OutgoingMail& mail);
  bool OpenUnsent();
  void SetServer(MailMessage& message) const;
  void SendKept();
  void SendKept(uint64_t number, MailMessage message);
  void AfterTry(uint64_t number, const MailOutcome& outcome);
  void TellKept(int64_t minutes);
  static int64_t RetryMinutes(int tries);

  MailQueueContext c_;
  PendingTexts PendingText_;
  int32_t PendingCount_ = 0;
  int16_t TickCount_ = 0;
  BoundedQueue<OutgoingMail> waiting_{kMostWaiting, kMostWaitingBytes};
  int away_tries_ = 0;         // Tries in a row that met no server.
  int64_t away_until_ms_ = 0;  // No mail of the file is tried before; of the steady clock.
  bool unsent_told_ = false;
  bool sending_ = false;   // One of those in line or in the file is on its way.
  int64_t under_way_ = 0;  // Mails, without those of the file.
};

}  // namespace vantry
