#pragma once

#include <QSocketNotifier>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/posix_support.h"
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

  using Mail::Send;
  uint64_t Send(MailMessage message, MailDone done, MailLine line) override;
  void Forget(uint64_t number) override;
  void Finish(int64_t ms) override;

 private:
  struct MailWork final : Work {
    SmtpJob job;
    void Run() override { RunSmtpJob(job); }
    void GiveUp() override { job.cancelled = true; }
  };

  // Who is told of one mail, and the lines of its dialogue on their way to the loop.
  struct Listener {
    static constexpr size_t kMost = 500;
    std::mutex mutex;
    std::vector<std::pair<bool, std::string>> waiting;
    size_t seen = 0;
    // Of the loop alone; empty once the end was told.
    MailLine line;
    MailDone done;

    void Tell();
  };
  // Whose lines wait. Also with each thread, as one that hangs outlives the rest.
  struct Shared {
    std::mutex mutex;
    std::vector<std::shared_ptr<Listener>> some_wait;
    const Descriptor event;  // A thread says here that there are some.
    Shared();
  };

  SmtpDialogue::Told TellLines(const std::shared_ptr<Listener>& listener) const;
  Status Prepare(MailMessage message, SmtpJob& job);
  MailOutcome OutcomeOf(const SmtpJob& job, WorkEnd end) const;

  MailLimits limits_;
  TrustedAuthorities authorities_;
  std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
  std::unordered_map<uint64_t, std::shared_ptr<Listener>> listeners_;  // Of mails under way, by their numbers.
  QSocketNotifier notifier_;
  Workers workers_{kMostAtOnce};
};

}  // namespace vantry
