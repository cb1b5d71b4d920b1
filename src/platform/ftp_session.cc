#include "platform/ftp_session.h"

#include <algorithm>
#include <utility>

#include "platform/ftp_transfer.h"

namespace vantry {

FtpSession::FtpSession(FtpServer server, FtpLogon logon, FtpLimits limits, FtpTrust trust, std::function<void()> wake)
    : peer_{std::move(server), std::move(logon), limits, std::move(trust)}, wake_(std::move(wake)) {}

FtpSession::~FtpSession() = default;

void FtpSession::Run(const FtpJob& job) {
  FtpNote last;
  last.kind = FtpNote::Kind::kDone;
  const Status status = Attempt([&] {
    RunFtpJob(peer_, job, *this, last);
    return Status::Ok();
  });
  if (!status.ok()) last.status = Status::Error(status.fail, peer_.server.Place() + ": " + status.text);
  Push(std::move(last));
}

void FtpSession::Close() {
  peer_.Close();
}

void FtpSession::Cancel() {
  cancelled_ = true;
  const std::lock_guard lock(mutex_);
  taken_.notify_all();
}

std::optional<FtpNote> FtpSession::Take() {
  const std::lock_guard lock(mutex_);
  if (notes_.empty()) return std::nullopt;
  std::optional<FtpNote> note = std::move(notes_.front());
  notes_.pop_front();
  taken_.notify_all();
  return note;
}

void FtpSession::Push(FtpNote note) {
  {
    std::unique_lock lock(mutex_);
    taken_.wait(lock, [this] { return notes_.size() < kMostNotes || cancelled_; });
    if (cancelled_) return;
    notes_.push_back(std::move(note));
  }
  wake_();
}

// Chunks that nobody has taken yet grow, so that a fast transfer is told in large ones and a slow one at once.
void FtpSession::PushChunk(int64_t count, std::string_view bytes) {
  constexpr size_t kMostChunks = 8;
  {
    std::unique_lock lock(mutex_);
    taken_.wait(lock, [this] { return notes_.size() < kMostChunks || cancelled_; });
    if (cancelled_) return;
    const bool grows = !notes_.empty() && notes_.back().kind == FtpNote::Kind::kChunk &&
                       notes_.back().text.size() + bytes.size() <= kChunkBytes;
    if (grows) {
      notes_.back().text += bytes;
      notes_.back().count = count;
      return;
    }
    FtpNote& note = notes_.emplace_back();
    note.kind = FtpNote::Kind::kChunk;
    note.text.reserve(kChunkBytes);
    note.text = bytes;
    note.count = count;
  }
  wake_();
}

}  // namespace vantry
