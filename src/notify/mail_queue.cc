#include "notify/mail_queue.h"

#include <algorithm>
#include <utility>

#include "core/text.h"
#include "notify/mail_headers.h"

namespace vantry {

void MailQueue::SendEmail(const std::string& message, int16_t site, const std::string& send_to) {
  if (c_.settings.EmailServer.empty()) return;
  c_.log.Guard("SendEmail", [&] {
    if (!send_to.empty()) {
      SendMailNow({send_to, message});
      return Status::Ok();
    }
    bool general_too = true;
    if (site > 0 && !c_.t.Site(site).EmailAddress.empty()) {
      c_.t.Site(site).PendingEmail.Push(message, message.size());
      general_too = c_.t.Site(site).EmailGlobalAlso;
    }
    if (c_.settings.EmailSendTo.empty()) return Status::Ok();
    if (general_too && !message.empty()) PendingText_.Push(message, message.size());
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
    for (SiteRec& site : c_.t.Sites) SendPending(site.EmailAddress, site.PendingEmail);
    SendPending(c_.settings.EmailSendTo, PendingText_);
    PendingCount_ = 0;
    c_.view.SetMailStatus("");
    return Status::Ok();
  });
}

void MailQueue::SendPending(const std::string& send_to, PendingTexts& pending) {
  if (pending.Empty()) return;
  OutgoingMail mail{send_to, {}};
  if (const int64_t dropped = pending.TakeDropped(); dropped > 0) {
    const std::string told = std::to_string(dropped) + " older messages were dropped";
    mail.body = told + ".\r\n\r\n";
    c_.log.WriteProgramLog("SMTP: " + told + " from the mail to " + send_to + ", as too many came", false);
  }
  mail.body.reserve(mail.body.size() + pending.Bytes() + 4 * pending.Rows());
  while (!pending.Empty()) mail.body.append(pending.Pop()).append("\r\n\r\n");
  SendMailNow(std::move(mail));
}

void MailQueue::SendMailNow(OutgoingMail mail) {
  const size_t bytes = sizeof mail + mail.send_to.size() + mail.body.size();
  waiting_.Push(std::move(mail), bytes);
  StartNext();
}

void MailQueue::SendMailAside(OutgoingMail mail, const std::function<void()>& done) {
  if (!Start(std::move(mail), done)) done();
}

void MailQueue::StartNext() {
  while (!sending_ && !waiting_.Empty()) {
    sending_ = Start(waiting_.Pop(), [this] {
      sending_ = false;
      StartNext();
    });
  }
  if (!waiting_.Empty()) return;
  if (const int64_t dropped = waiting_.TakeDropped(); dropped > 0) {
    c_.log.WriteProgramLog("SMTP: " + std::to_string(dropped) + " mails were dropped, as too many waited", false);
  }
}

// False when the mail failed before it was on its way, which is reported. Otherwise `done` is called after its lines
// are in the program log.
bool MailQueue::Start(OutgoingMail mail, std::function<void()> done) {
  const std::string label = "*Email notification to: " + mail.send_to + " failed.";
  return c_.log.Guard(label, [&] {
    MailMessage message;
    if (Status status = Prepare(std::move(mail), message); !status.ok()) return status;
    c_.mail.Send(std::move(message), [this, label, done = std::move(done)](const MailOutcome& outcome) {
      c_.log.Guard(label, [&] {
        for (const std::string& line : outcome.lines) c_.log.WriteProgramLog("SMTP: " + line, false);
        return outcome.status;
      });
      done();
    });
    return Status::Ok();
  });
}

Status MailQueue::Prepare(OutgoingMail mail, MailMessage& message) {
  if (c_.settings.EmailServer.empty()) return Status::Error(Fail::kBadData, "no EmailServer is set");
  message.server = c_.settings.EmailServer;
  message.user = c_.settings.EmailUserName;
  if (!message.user.empty()) message.password = c_.settings.EmailPassword;
  std::string to = mail.send_to;
  std::replace(to.begin(), to.end(), ';', ',');
  MailDraft draft{c_.settings.EmailFrom, to, c_.settings.EmailSubject, c_.clock.Now(), c_.clock.UtcOffset()};
  if (Status status = WriteMailHeaders(draft, message); !status.ok()) return status;
  message.body = std::move(mail.body);
  message.html = mail.is_html;
  message.attachment = std::move(mail.attachment);
  return Status::Ok();
}

void MailQueue::Close() {
  Email_SendPending();
  c_.mail.Finish(kLastMs);
}

}  // namespace vantry
