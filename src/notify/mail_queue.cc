#include "notify/mail_queue.h"

#include <algorithm>
#include <iterator>
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
  ReadAttachment(mail);
  if (KeepsMail() && Keep(mail)) return SendKept();
  const size_t attached = mail.attached ? mail.attached->size() : 0;
  const size_t bytes = sizeof mail + mail.send_to.size() + mail.body.size() + attached;
  waiting_.Push(std::move(mail), bytes);
  StartNext();
}

void MailQueue::SendMailAside(OutgoingMail mail, const std::function<void()>& done) {
  ReadAttachment(mail);
  if (KeepsMail() && Keep(mail)) {
    SendKept();
    return done();
  }
  if (!Start(std::move(mail), done)) done();
}

// By the time the mail goes out the file may be another site's report. One that can't be read is told of then.
void MailQueue::ReadAttachment(OutgoingMail& mail) {
  std::string bytes;
  if (mail.attachment.empty() || !c_.files.Read(mail.attachment, bytes).ok()) return;
  if (bytes.size() <= kMostAttached) mail.attached = std::move(bytes);
}

void MailQueue::StartNext() {
  while (!sending_ && !waiting_.Empty()) {
    sending_ = Start(waiting_.Pop(), [this] {
      sending_ = false;
      StartNext();
      if (KeepsMail()) SendKept();
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
      --under_way_;
      c_.log.Guard(label, [&] {
        for (const std::string& line : outcome.lines) c_.log.WriteProgramLog("SMTP: " + line, false);
        return outcome.status;
      });
      done();
    });
    ++under_way_;
    return Status::Ok();
  });
}

Status MakeTestMail(const Settings& settings, Clock& clock, MailMessage& message) {
  if (settings.EmailServer.empty()) return Status::Error(Fail::kBadData, "no mail server is set");
  message.server = settings.EmailServer;
  message.user = settings.EmailUserName;
  if (!message.user.empty()) message.password = settings.EmailPassword;
  message.body = "This is a test email from Vantry";
  std::string to = settings.EmailSendTo;
  std::replace(to.begin(), to.end(), ';', ',');
  return WriteMailHeaders({settings.EmailFrom, to, "Vantry Test Email", clock.Now(), clock.UtcOffset()}, message);
}

Status MailQueue::Prepare(OutgoingMail mail, MailMessage& message) {
  if (c_.settings.EmailServer.empty()) return Status::Error(Fail::kBadData, "no EmailServer is set");
  SetServer(message);
  std::string to = mail.send_to;
  std::replace(to.begin(), to.end(), ';', ',');
  MailDraft draft{c_.settings.EmailFrom, to, c_.settings.EmailSubject, c_.clock.Now(), c_.clock.UtcOffset()};
  if (Status status = WriteMailHeaders(draft, message); !status.ok()) return status;
  message.body = std::move(mail.body);
  message.html = mail.is_html;
  message.attachment = std::move(mail.attachment);
  message.attached = std::move(mail.attached);
  return Status::Ok();
}

void MailQueue::SetServer(MailMessage& message) const {
  message.server = c_.settings.EmailServer;
  message.user = c_.settings.EmailUserName;
  if (!message.user.empty()) message.password = c_.settings.EmailPassword;
}

bool MailQueue::OpenUnsent() {
  if (c_.unsent->IsOpen()) return true;
  const Status status = c_.unsent->Open();
  if (!status.ok() && !unsent_told_) {
    c_.log.WriteProgramLog("SMTP: " + status.text + ". Mails that can't be sent are lost until it can be used", false);
  }
  unsent_told_ = !status.ok();
  return status.ok();
}

// Puts the mail in the file. False when it has to go the other way; a mail that can't go at all is told and gone.
bool MailQueue::Keep(const OutgoingMail& mail) {
  MailMessage message;
  const bool whole =
      c_.log.Guard("*Email notification to: " + mail.send_to + " failed.", [&] { return Prepare(mail, message); });
  if (!whole) return true;
  return OpenUnsent() && c_.unsent->Add(message).ok();
}

void MailQueue::RetryTick() {
  c_.log.Guard("Email_RetryTimer", [this] {
    if (KeepsMail() && OpenUnsent()) SendKept();
    return Status::Ok();
  });
}

// One at a time, oldest first; but a mail at which the server breaks off each time must not keep the others from
// theirs, so what was cut off most often comes last. While the server is known to be away all wait.
void MailQueue::SendKept() {
  const int64_t now = c_.clock.Steady().ms;
  if (c_.settings.EmailServer.empty() || now < away_until_ms_) return;
  auto& mails = c_.unsent->Mails();
  while (!sending_) {
    const UnsentMails::Mail* next = nullptr;
    for (const auto& mail : mails) {
      if (mail.due_ms <= now && (!next || mail.cut_off < next->cut_off)) next = &mail;
    }
    if (!next) return;
    MailMessage message;
    const uint64_t number = next->number;
    if (const Status status = c_.unsent->Read(*next, message); status.ok()) {
      SendKept(number, std::move(message));
    } else {
      c_.log.ReportError(status.text, "Email_SendPending");
      (void)c_.unsent->Remove(number);
    }
  }
}

void MailQueue::SendKept(uint64_t number, MailMessage message) {
  SetServer(message);
  std::string to;
  for (const std::string& recipient : message.recipients) to += (to.empty() ? "" : ",") + recipient;
  sending_ = true;
  c_.mail.Send(std::move(message), [this, number, to](const MailOutcome& outcome) {
    sending_ = false;
    c_.log.Guard("*Email notification to: " + to + " failed.", [&] {
      // First of all: whoever kills the program now, has the mail sent a second time.
      AfterTry(number, outcome);
      for (const std::string& line : outcome.lines) c_.log.WriteProgramLog("SMTP: " + line, false);
      return outcome.status;
    });
    if (c_.unsent->Mails().size() > 0 && away_tries_ > 0) TellKept(RetryMinutes(away_tries_));
    StartNext();
    SendKept();
  });
}

void MailQueue::AfterTry(uint64_t number, const MailOutcome& outcome) {
  const int64_t now = c_.clock.Steady().ms;
  const bool away = outcome.status.fail == Fail::kIo;
  away_tries_ = away ? away_tries_ + 1 : 0;
  away_until_ms_ = away ? now + RetryMinutes(away_tries_) * 60'000 : 0;
  if (!away && !outcome.temporary) return (void)c_.unsent->Remove(number);
  UnsentMails::Mail* mail = c_.unsent->Find(number);
  if (!mail) return;
  if (away) {
    ++mail->cut_off;
  } else {
    mail->due_ms = now + RetryMinutes(++mail->tries) * 60'000;
  }
}

int64_t MailQueue::RetryMinutes(int tries) {
  return kRetryMinutes[std::clamp<size_t>(static_cast<size_t>(tries), 1, std::size(kRetryMinutes)) - 1];
}

void MailQueue::TellKept(int64_t minutes) {
  c_.log.WriteProgramLog("SMTP: " + std::to_string(c_.unsent->Mails().size()) + " mails wait in " + kUnsentName +
                             ", to be tried again in " + std::to_string(minutes) + " min",
                         false);
  if (const int64_t dropped = c_.unsent->TakeDropped(); dropped > 0) {
    c_.log.WriteProgramLog("SMTP: " + std::to_string(dropped) + " mails were dropped, as too many waited", false);
  }
}

int64_t MailQueue::Waiting() const {
  size_t count = PendingText_.Rows() + waiting_.Rows();
  for (const SiteRec& site : c_.t.Sites) count += site.PendingEmail.Rows();
  if (KeepsMail()) count += c_.unsent->Mails().size();
  return static_cast<int64_t>(count) + under_way_;
}

void MailQueue::Close() {
  Email_SendPending();
  c_.mail.Finish(kLastMs);
}

}  // namespace vantry
