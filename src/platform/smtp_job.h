// One mail on its way, without a loop: what a worker thread does.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "core/status.h"
#include "platform/curl_support.h"
#include "platform/mail_text.h"
#include "platform/smtp_text.h"
#include "ports/mail.h"

namespace vantry {

// All in milliseconds.
struct MailLimits {
  int connect = 30'000;  // Until the server has let us in: connection, encryption, greeting and login.
  int reply = 30'000;  // For each answer but the last: a server may take its time to look at a mail before it takes it.
  int total = 120'000;
};

// Belongs to one thread at a time, but for `cancelled`.
struct SmtpJob {
  MailMessage message;
  MailServer server;
  MailLimits limits;
  TrustedAuthorities authorities;
  MailText text;
  SmtpDialogue::Told told;              // Called by the thread that runs the job, for each line of the dialogue.
  std::atomic<bool> cancelled = false;  // Ends the job within about a second.

  Status result;
  bool temporary = false;  // The server said no for now, and took the mail for nobody.
  std::string taken;       // A line that says who got the mail; empty if nobody did.
};

// Hands the mail to its server; blocks until that is done. Fills in `result` and `taken`.
void RunSmtpJob(SmtpJob& job);

}  // namespace vantry
