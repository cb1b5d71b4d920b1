#pragma once

#include <QTcpSocket>
#include <QTimer>
#include <deque>
#include <memory>
#include <string>

#include "platform/host_lookup.h"
#include "ports/line_client.h"

namespace vantry {

// The line client on a socket of Qt. A QCoreApplication must exist.
//
// The socket's signals only put aside what happened; events are handed out by the loop, one at each turn and never one
// inside another: what happens while a handler turns the loop waits until the handler has returned. A handler may close
// and connect again. When the peer ends the connection, the messages that were whole by then still come.
//
// A message of more than kMaxMessage bytes ends the connection, and so does a peer that leaves more than kMaxWaiting
// bytes unread.
class QtLineClient final : public LineClient {
 public:
  static constexpr size_t kMaxMessage = 64 * 1024;
  static constexpr int64_t kMaxWaiting = 1 << 20;

  // Within `time_limit_ms` the host's name is found and a connection made, or the attempt has failed. After a Close the
  // bytes still queued have the same time to leave.
  explicit QtLineClient(int time_limit_ms = 30'000, HostLookUp look_up = LookUpHost);
  ~QtLineClient() override;
  QtLineClient(const QtLineClient&) = delete;
  QtLineClient& operator=(const QtLineClient&) = delete;

  void OnEvents(LineClientEvents events) override { events_ = std::move(events); }
  // A host or port that can't be one is an attempt that fails.
  void Connect(const std::string& host, int32_t port, const std::string& end_of_line) override;
  bool IsConnected() const override;
  void Send(std::string_view bytes) override;
  void Close() override;

 private:
  enum class State { kIdle, kConnecting, kOpen };
  struct Event {
    enum class Kind { kOutcome, kMessage, kEnd };  // kOutcome: of an attempt to connect.
    Kind kind = Kind::kMessage;
    int code = 0;
    std::string text;
  };

  void TryNextAddress();
  void OpenSocket();
  void TellEnd(const std::string& why);
  void EndAttempt(int code, const std::string& problem);
  void SocketConnected();
  void SocketFailed();
  void Absorb();
  void TakeBytes();
  void CutMessages();
  void Drop();
  void DeliverOne();

  const int time_limit_ms_;
  const HostLookUp look_up_;
  LineClientEvents events_;
  State state_ = State::kIdle;
  std::string place_, end_of_line_;
  quint16 port_ = 0;
  std::unique_ptr<PendingLookUp> lookup_;
  std::deque<std::string> addresses_;  // Of the host, not tried yet.
  std::unique_ptr<QTcpSocket> socket_;
  std::string in_;           // Received, without an end so far.
  size_t searched_ = 0;      // No end starts before this place of `in_`.
  std::deque<Event> ready_;  // To be handed out, in the order in which they happened.
  bool in_handler_ = false;
  QTimer next_try_;    // Runs out at once when another address is to be tried.
  QTimer limit_;       // Of an attempt.
  QTimer delivery_;    // Runs out at once while events wait.
  QObject lingering_;  // Owns the sockets that have bytes to send after a Close.
};

}  // namespace vantry
