#include "notify/mail_queue.h"

#include <algorithm>

#include "core/text.h"
#include "notify/mail_headers.h"

namespace vantry {

void MailQueue::SendEmail(const std::string& message, int16_t site, const std::string& send_to) {
  if (c_.settings.EmailServer.empty()) return;
  c_.log.Guard("SendEmail", [&] {
    if (!send_to.empty()) {
      SendMailNow(send_to, message, "", false);
      return Status::Ok();
    }
    bool general_too = true;
    if (site > 0 && !c_.t.Site(site).EmailAddress.empty()) {
      c_.t.Site(site).PendingEmail.append(message).append("\r\n\r\n");
      general_too = c_.t.Site(site).EmailGlobalAlso;
    }
    if (c_.settings.EmailSendTo.empty()) return Status::Ok();
    if (general_too && !message.empty()) PendingText_.append(message).append("\r\n\r\n");
    // Counted even where the site alone gets the text.
    ++PendingCount_;
    c_.view.SetMailStatus(std::to_string(PendingCount_) + " Pending Messages");
    return Status::Ok();
  });
}

void MailQueue::SendTimerTick() {
  c_.log.Guard("Email_SendTimer", [this] {
    CountUp(TickCount_);
    if (TickCount_ < c_.settings.EmailEvery) return Status::Ok();
    TickCount_ = 0;
    Email_SendPending();
    c_.sms.StartSMSQueue();
    return Status::Ok();
  });
}

void MailQueue::Email_SendPending() {
  c_.log.Guard("Email_SendPending", [this] {
    // Taken before it is sent: the loop turns meanwhile, and what comes then belongs to the next mail.
    for (int16_t n = 1; n <= c_.t.SiteCount(); ++n) {
      std::string text;
      text.swap(c_.t.Site(n).PendingEmail);
      if (!text.empty()) SendMailNow(c_.t.Site(n).EmailAddress, text, "", false);
    }
    std::string text;
    text.swap(PendingText_);
    PendingCount_ = 0;
    c_.view.SetMailStatus("");
    if (!text.empty()) SendMailNow(c_.settings.EmailSendTo, text, "", false);
    return Status::Ok();
  });
}

bool MailQueue::SendMailNow(const std::string& send_to, const std::string& body, const std::string& attachment,
                            bool is_html) {
  const std::string to = send_to;  // It may stand in a record that changes while the loop turns.
  return c_.log.Guard("*Email notification to: " + to + " failed.",
                      [&] { return Send(to, body, attachment, is_html); });
}

Status MailQueue::Send(const std::string& send_to, const std::string& body, const std::string& attachment,
                       bool is_html) {
  if (c_.settings.EmailServer.empty()) return Status::Error(Fail::kBadData, "no EmailServer is set");
  MailMessage message;
  message.server = c_.settings.EmailServer;
  message.user = c_.settings.EmailUserName;
  if (!message.user.empty()) message.password = c_.settings.EmailPassword;
  std::string to = send_to;
  std::replace(to.begin(), to.end(), ';', ',');
  MailDraft draft{c_.settings.EmailFrom, to, c_.settings.EmailSubject, c_.clock.Now(), c_.clock.UtcOffset()};
  if (Status status = WriteMailHeaders(draft, message); !status.ok()) return status;
  message.body = body;
  message.html = is_html;
  message.attachment = attachment;
  ++sending_;
  const Status status = c_.mail.Send(
      message, [this](std::string_view line) { c_.log.WriteProgramLog("SMTP: " + std::string(line), false); });
  --sending_;
  return status;
}

void MailQueue::HurryUp() {
  if (!hurried_) c_.mail.SetTimeLeft(kLastMs);
  hurried_ = true;
}

void MailQueue::Close() {
  HurryUp();
  Email_SendPending();
  c_.mail.WaitForAll();
}

}  // namespace vantry
