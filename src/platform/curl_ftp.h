#pragma once

#include <QSocketNotifier>
#include <QTimer>
#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/ftp_session.h"
#include "platform/posix_support.h"
#include "ports/clock.h"
#include "ports/ftp.h"

namespace vantry {

// FTP, FTPS and SFTP through libcurl. Each client has one libcurl handle, and a thread while something is under way. A
// QCoreApplication must exist. Reads the environment: SSL_CERT_FILE and SSL_CERT_DIR name the trusted certificates,
// HOME the folder of .ssh/known_hosts.
//
// A connection is encrypted when the server offers that, whoever the server is: any encryption beats none (RFC 7435).
// Its certificate is checked for those who insist on encryption by writing "ftps:" or "ftpes:".
class CurlFtp final : public Ftp {
 public:
  static constexpr int kAskAgainMs = 20;

  explicit CurlFtp(const Clock& clock, FtpLimits limits = {});
  // Ends what is under way; may take some seconds. Clients must be gone.
  ~CurlFtp() override;
  CurlFtp(const CurlFtp&) = delete;
  CurlFtp& operator=(const CurlFtp&) = delete;

  std::unique_ptr<FtpClient> NewClient(FtpEvents& events) override;

 private:
  class Client;
  // A session that nobody listens to, on its way out.
  struct Leaving {
    std::shared_ptr<FtpSession> session;
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> over;
  };

  void Wake();
  void Deliver();
  bool Has(const Client* client) const;
  void Leave(const std::shared_ptr<FtpSession>& session, std::thread thread);
  void Reap();

  const Clock& clock_;
  FtpLimits limits_;
  FtpTrust trust_;
  std::list<Client*> clients_;
  std::list<Leaving> leaving_;
  bool delivering_ = false;
  Descriptor wake_fd_;
  QSocketNotifier wake_notifier_;
  QTimer again_timer_;
};

}  // namespace vantry
