#pragma once

#include <QEventLoop>
#include <QSocketNotifier>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

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
// A worker sees nothing but its job. Whoever waits for one turns the loop; when the application's loop has been ended
// and can't be turned any more, it just waits. Both are bounded by the limits of the job and the time left.
class CurlMail final : public Mail {
 public:
  static constexpr size_t kMostAtOnce = 128;

  explicit CurlMail(MailLimits limits = {});
  // Gives up what is under way; may take a second.
  ~CurlMail() override;
  CurlMail(const CurlMail&) = delete;
  CurlMail& operator=(const CurlMail&) = delete;

  Status Send(const MailMessage& message, const std::function<void(std::string_view)>& status) override;
  void SetTimeLeft(int64_t ms) override;
  void WaitForAll() override;

 private:
  using Time = std::chrono::steady_clock::time_point;
  struct Worker {
    std::shared_ptr<SmtpJob> job;
    bool done = false;  // Guarded by `mutex_`.
    std::thread thread;
  };

  Status Prepare(const MailMessage& message, SmtpJob& job);
  Status Start(const std::shared_ptr<SmtpJob>& job, std::shared_ptr<Worker>& worker);
  void Work(Worker& worker);
  bool Done(const Worker& worker);
  uint64_t Ended();
  bool AllDone();
  void Reap();
  void Wake();
  bool TimeIsUp() const { return end_ && std::chrono::steady_clock::now() >= *end_; }
  void WaitUntil(const std::function<bool()>& holds, std::optional<Time> limit);

  MailLimits limits_;
  MailAuthorities authorities_;
  std::optional<Time> end_;  // Of the time left.
  std::mutex mutex_;
  std::condition_variable finished_;
  uint64_t ended_ = 0;                          // Jobs so far. Guarded by `mutex_`.
  std::list<std::shared_ptr<Worker>> workers_;  // Up to their end, which may come later than that of their Send.
  std::vector<QEventLoop*> waiting_;            // Turning now, innermost last.
  Descriptor ended_fd_;                         // A worker says here that it is through.
  QSocketNotifier ended_notifier_;
};

}  // namespace vantry
