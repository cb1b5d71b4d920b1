// One login to an FTP server, without a loop: what a worker thread does, and the bounded queue of what it tells.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/ftp_transfer.h"

namespace vantry {

// Run and Close are called from one thread at a time; Take and Cancel may be called from another meanwhile.
class FtpSession final : public FtpNotes {
 public:
  static constexpr size_t kMostNotes = 64, kChunkBytes = 64 * 1024;

  // `wake` is called from inside Run when there is something to take.
  FtpSession(FtpServer server, FtpLogon logon, FtpLimits limits, FtpTrust trust, std::function<void()> wake);
  ~FtpSession() override;
  FtpSession(const FtpSession&) = delete;
  FtpSession& operator=(const FtpSession&) = delete;

  // Does the job; blocks until it is done. While nobody takes its notes it waits.
  void Run(const FtpJob& job);
  // Says good-bye and closes the connection.
  void Close();
  // Ends the job within about a second. For good.
  void Cancel();
  // The next note, if there is one.
  std::optional<FtpNote> Take();

  void Push(FtpNote note) override;
  void PushChunk(int64_t count, std::string_view bytes) override;
  bool Cancelled() const override { return cancelled_; }

 private:
  FtpPeer peer_;
  std::function<void()> wake_;
  std::atomic<bool> cancelled_ = false;
  std::mutex mutex_;
  std::condition_variable taken_;
  std::deque<FtpNote> notes_;
};

}  // namespace vantry
