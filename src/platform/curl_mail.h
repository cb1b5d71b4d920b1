#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/smtp_job.h"
#include "platform/workers.h"
#include "ports/mail.h"

namespace vantry {

// Mail through libcurl, each message in a thread of its own. A QCoreApplication must exist, and the object must be made
// before other threads are; it reads the environment (SSL_CERT_FILE and SSL_CERT_DIR name the trusted certificates).
//
// The connection is encrypted when the server offers that. Its certificate is checked for "smtps:" and before a login;
// without a login nobody's identity is at stake, and any encryption beats none (RFC 7435).
//
// A worker sees nothing but its job; what became of it is told on the loop. The end of the object gives up what is
// under way and may take a second.
class CurlMail final : public Mail {
 public:
  static constexpr size_t kMostAtOnce = 128;

  explicit CurlMail(MailLimits limits = {});

  void Send(MailMessage message, MailDone done) override;
  void Finish(int64_t ms) override;

 private:
  struct MailWork final : Work {
    SmtpJob job;
    void Run() override { RunSmtpJob(job); }
    void GiveUp() override { job.cancelled = true; }
  };

  Status Prepare(MailMessage message, SmtpJob& job);
  MailOutcome OutcomeOf(const SmtpJob& job, WorkEnd end) const;

  MailLimits limits_;
  TrustedAuthorities authorities_;
  Workers workers_{kMostAtOnce};
};

}  // namespace vantry
