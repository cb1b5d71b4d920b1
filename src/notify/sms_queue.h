#pragma once

#include <string>
#include <string_view>

#include "config/settings.h"
#include "core/bounded_queue.h"
#include "core/program_log.h"
#include "core/regional.h"
#include "ports/clock.h"
#include "ports/files.h"
#include "ports/line_client.h"

namespace vantry {

// What the queue works on. Everything must outlive it.
struct SmsContext {
  const Settings& settings;  // Read at each call: people edit it while the program runs.
  const Regional& regional;
  Clock& clock;
  Files& files;
  ProgramLog& log;
  LineClient& client;
  std::string version;  // Of this program, for the greeting.
};

// Short messages on their way out: as lines of a file that another program polls, or as commands to an SMS server.
//
// Towards the server one command is under way at a time, and each reply, whatever it says, releases the next. Waiting
// commands live in memory only; of too many the oldest are dropped, which the program log tells once the queue is empty
// again. Control characters in a number or a message become blanks, but for the tab, which shifts the fields after it.
// The connection stays open when everything is sent.
class SmsQueue {
 public:
  static constexpr size_t kMostWaiting = 10'000, kMostWaitingBytes = 4'000'000;

  // Takes the events of the client.
  explicit SmsQueue(SmsContext context);

  // Writes the message to the polled file, or puts it behind what waits and sees to it that the queue moves. What goes
  // wrong is written to the program log.
  void SendSMS(std::string_view number, std::string_view message);

  // Greets a connected server again, so that its reply restarts the flow, or starts to connect. Nothing when nothing
  // waits. To be called from time to time: after a failure nothing else tries again.
  void StartSMSQueue();

  // Ends the connection. What waits stays and is lost with the program.
  void Close();

  // The commands that wait.
  const BoundedQueue<std::string>& SMSQueue() const { return queue_; }

 private:
  Status AppendToPolledFile(std::string_view number, std::string_view message);
  void Connected(int code, std::string_view description);
  void DataIn(std::string_view message);
  void SendNextSMS();
  Status SendFirst();
  void Greet();
  void TellDropped();
  void Log(const std::string& text);

  SmsContext c_;
  BoundedQueue<std::string> queue_{kMostWaiting, kMostWaitingBytes};
};

}  // namespace vantry
