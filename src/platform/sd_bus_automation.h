#pragma once

#include <QTimer>
#include <deque>
#include <memory>
#include <set>
#include <string>

#include "platform/automation_objects.h"
#include "platform/bus_address.h"
#include "platform/notifier.h"
#include "ports/automation.h"

namespace vantry {

struct BusOptions {
  bool system = false;  // The system's bus in place of the session's.
  BusEnvironment environment = {};
  int retry_ms = 60'000;   // Between two tries to reach a bus.
  int answer_ms = 10'000;  // In which a bus must let us in and give us the name.
};

// The message bus by sd-bus, on its socket driven by the Qt loop. A QCoreApplication must exist.
//
// Whatever sd-bus can wait for is asked without waiting: connecting, logging in, the name. Calls are put aside and
// answered from the loop, one at each turn, and not while 1 MB of answers waits to be sent.
class SdBusAutomation final : public AutomationBus {
 public:
  // Messages that wait to be sent, and bytes of events. One that finds the queue full waits until half of them are
  // gone. A bus that needs longer counts as gone.
  static constexpr uint64_t kMaxQueued = 1'024;
  static constexpr size_t kMaxEventBytes = 16 << 20;
  static constexpr int kPatienceMs = 1'000;
  // Another owner of the name that leaves in this time is not worth a note: it may be a former connection of ours.
  static constexpr int kNameGraceMs = 2'000;
  static constexpr size_t kMaxAnswers = 1 << 20;

  explicit SdBusAutomation(BusOptions options);
  ~SdBusAutomation() override;
  SdBusAutomation(const SdBusAutomation&) = delete;
  SdBusAutomation& operator=(const SdBusAutomation&) = delete;

  void Open(AutomationCalls& calls) override;
  bool Ready() const override { return ready_; }
  bool HasCallers() const override { return !callers_.empty(); }
  void VisitorArrived(const VisitorArrival& visitor) override;
  void DNSResolved(std::string_view address, std::string_view name) override;
  void VisitorPageMove(std::string_view domain, std::string_view address, std::string_view time,
                       std::string_view page) override;
  void VisitorLeft(std::string_view domain, std::string_view address) override;
  void Close() override;

 private:
  struct BusRelease {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  };
  enum class Trouble { kNone, kNoBus, kNameTaken, kRefused };

  void Connect();
  int StartBus(const std::string& address);
  void Drop();
  void GiveUp(Trouble trouble, const std::string& what, const std::string& advice);
  void Tell(Trouble trouble, const std::string& what, const std::string& advice);
  std::string BusText() const;

  void Process();
  void Watch();
  void SetWatch(Notifier& notifier, int fd, QSocketNotifier::Type type, bool on);
  void SetTimeOut();
  void Serve();
  uint64_t Queued() const;
  void NoteUnsent(size_t bytes, bool event);
  void ForgetSent();
  bool MayAnswer();

  int Seen(sd_bus_message* message);
  int NameAnswered(sd_bus_message* message);
  void NameOurs();

  bool HasRoom(int part);
  bool MakeRoom();
  void Signal(const char* name, std::initializer_list<std::string_view> texts, const bool* flag = nullptr);

  const BusOptions options_;
  AutomationCalls* calls_ = nullptr;
  std::string address_;
  std::unique_ptr<AutomationObjects> objects_;  // Of the present connection.
  std::unique_ptr<sd_bus, BusRelease> bus_;
  bool ready_ = false, in_queue_ = false;  // The name is ours; or another's, and ours after that.
  std::string refusal_;                    // What the bus said when it refused the name.
  Trouble told_ = Trouble::kNone;          // What the log knows.
  std::set<std::string, std::less<>> callers_;
  struct Unsent {
    uint64_t number;  // Among the messages handed to sd-bus.
    size_t bytes;
    bool event;  // Otherwise an answer.
  };
  uint64_t handed_over_ = 0;   // Messages.
  std::deque<Unsent> unsent_;  // Those not known to be sent yet, and their bytes.
  size_t answer_bytes_ = 0, event_bytes_ = 0;
  int watched_fd_ = -1;
  Notifier readable_, writable_;
  QTimer time_out_;  // Of sd-bus.
  QTimer serve_;     // Runs out at once while calls wait.
  QTimer retry_;     // The next try to connect, or the end of the present one.
};

}  // namespace vantry
