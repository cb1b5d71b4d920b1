#pragma once

#include <QSocketNotifier>
#include <QTimer>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/posix_support.h"
#include "platform/smtp_job.h"
#include "ports/mail.h"

namespace vantry {

// Mail through libcurl, each message in a thread of its own. A QCoreApplication must exist, and the object must be made
// before other threads are; it reads the environment (SSL_CERT_FILE and SSL_CERT_DIR name the trusted certificates).
//
// The connection is encrypted when the server offers that. Its certificate is checked for "smtps:" and before a login;
// without a login nobody's identity is at stake, and any encryption beats none (RFC 7435).
//
// A worker sees nothing but its job; what became of it is told on the loop.
class CurlMail final : public Mail {
 public:
  static constexpr size_t kMostAtOnce = 128;

  explicit CurlMail(MailLimits limits = {});
  // Gives up what is under way; may take a second.
  ~CurlMail() override;
  CurlMail(const CurlMail&) = delete;
  CurlMail& operator=(const CurlMail&) = delete;

  void Send(MailMessage message, MailDone done) override;
  void Finish(int64_t ms) override;

 private:
  using Time = std::chrono::steady_clock::time_point;
  struct Worker {
    std::shared_ptr<SmtpJob> job;
    MailDone done;         // Empty once it was called.
    Time limit;            // Nobody waits for it longer.
    bool through = false;  // Guarded by `mutex_`.
    std::thread thread;    // None when the mail failed before it.
  };

  Status Prepare(MailMessage message, SmtpJob& job);
  Status Start(Worker& worker);
  void Work(Worker& worker);
  void MarkThrough(Worker& worker);
  void TellOutcomes();
  void Tell(Worker& worker);
  std::shared_ptr<Worker> NextToTell();
  void Reap();
  bool Through(const Worker& worker);
  bool AllTold() const;
  bool TimeIsUp() const { return end_ && std::chrono::steady_clock::now() >= *end_; }

  MailLimits limits_;
  MailAuthorities authorities_;
  std::optional<Time> end_;  // Set by Finish.
  std::mutex mutex_;
  std::condition_variable some_through_;
  // In the order of their Send, each up to the end of its thread, which may come later than its outcome.
  std::list<std::shared_ptr<Worker>> workers_;
  Descriptor through_fd_;  // A worker says here that it is through.
  QSocketNotifier through_notifier_;
  QTimer limit_timer_;
};

}  // namespace vantry
