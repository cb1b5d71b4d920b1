#include "platform/sd_bus_automation.h"

#include <QCoreApplication>
#include <QEvent>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include <poll.h>
#include <time.h>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

// Bytes of text in one message. A bus carries 128 MB, the system's 32 MB; the rest is for the head.
constexpr size_t kHead = 64 * 1024;
constexpr size_t kMaxText = 128 * 1024 * 1024 - kHead, kMaxSystemText = 32 * 1024 * 1024 - kHead;
constexpr size_t kMaxBusWords = 200;  // Of what a bus says, as the log shows it.
constexpr int kMessagesAtOnce = 10;
// Programs that leave the bus.
constexpr char kLeavers[] =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg2=''";

int64_t SteadyMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

std::string Words(std::string_view text) {
  return ToOneLine(text.substr(0, kMaxBusWords));
}

}  // namespace

SdBusAutomation::SdBusAutomation(BusOptions options) : options_(std::move(options)) {
  const auto connect = [](QTimer& timer, auto handler) {
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, &timer, handler);
  };
  connect(time_out_, [this] { Process(); });
  connect(serve_, [this] { Serve(); });
  connect(retry_, [this] { Connect(); });
}

SdBusAutomation::~SdBusAutomation() {
  Close();
  // No loop turns any more to delete the notifiers that were left to it.
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void SdBusAutomation::Open(AutomationCalls& calls) {
  calls_ = &calls;
  retry_.start(0);
}

void SdBusAutomation::Close() {
  calls_ = nullptr;
  Drop();
  retry_.stop();
}

void SdBusAutomation::Drop() {
  ready_ = in_queue_ = false;
  refusal_.clear();
  callers_.clear();
  handed_over_ = answer_bytes_ = event_bytes_ = 0;
  unsent_.clear();
  time_out_.stop();
  serve_.stop();
  readable_.reset();
  writable_.reset();
  watched_fd_ = -1;
  bus_.reset();
  objects_.reset();  // After the bus, which looks at the operations once more when it goes.
}

std::string SdBusAutomation::BusText() const {
  return std::string(options_.system ? "system" : "session") + " bus" +
         (address_.empty() ? std::string() : " (" + Words(address_) + ")");
}

// Lasting trouble is reported once.
void SdBusAutomation::Tell(Trouble trouble, const std::string& what, const std::string& advice) {
  if (trouble == told_) return;
  told_ = trouble;
  calls_->BusNote("Automation: the " + BusText() + " " + what + ". Other programs can't ask Vantry meanwhile. " +
                  advice + ".");
}

void SdBusAutomation::GiveUp(Trouble trouble, const std::string& what, const std::string& advice) {
  Drop();
  retry_.start(options_.retry_ms);
  Tell(trouble, what, advice);
}

void SdBusAutomation::Connect() {
  const std::string again = "; Vantry tries again every " + std::to_string(options_.retry_ms / 1'000) + " seconds";
  if (in_queue_) {
    return Tell(Trouble::kNameTaken, "has given the name " + std::string(kBusName) + " to another program",
                "End that one; Vantry then gets the name by itself");
  }
  if (bus_) {
    return GiveUp(Trouble::kNoBus, "does not answer", "End what is there and start a bus" + again);
  }
  const BusPlace place = FindBus(options_.system, options_.environment);
  address_ = place.address;
  if (address_.empty()) return GiveUp(Trouble::kNoBus, "is not there", place.problem);
  const int result = StartBus(address_);
  if (result < 0) {
    return GiveUp(Trouble::kNoBus, "can't be reached: " + std::string(std::strerror(-result)), "Start it" + again);
  }
  retry_.start(options_.answer_ms);
  Watch();
}

int SdBusAutomation::StartBus(const std::string& address) {
  sd_bus* created = nullptr;
  int result = sd_bus_new(&created);
  if (result < 0) return result;
  bus_.reset(created);
  objects_ = std::make_unique<AutomationObjects>(*calls_, options_.system ? kMaxSystemText : kMaxText,
                                                 [this] { serve_.start(0); });
  const auto seen = [](sd_bus_message* message, void* self, sd_bus_error*) {
    return static_cast<SdBusAutomation*>(self)->Seen(message);
  };
  const auto answered = [](sd_bus_message* message, void* self, sd_bus_error*) {
    return static_cast<SdBusAutomation*>(self)->NameAnswered(message);
  };
  const auto nothing = [](sd_bus_message*, void*, sd_bus_error*) { return 0; };
  if (result >= 0) result = sd_bus_set_address(created, address.c_str());
  if (result >= 0) result = sd_bus_set_bus_client(created, 1);
  if (result >= 0) result = sd_bus_start(created);
  if (result >= 0) result = objects_->AddTo(created);
  if (result >= 0) result = sd_bus_add_filter(created, nullptr, seen, this);
  // These wait in the queue until the bus has let us in.
  if (result >= 0) result = sd_bus_add_match_async(created, nullptr, kLeavers, nothing, nullptr, nullptr);
  if (result >= 0) {
    result = sd_bus_request_name_async(created, nullptr, kBusName, SD_BUS_NAME_QUEUE, answered, this);
  }
  return result;
}

// Sees each message before anything else does.
int SdBusAutomation::Seen(sd_bus_message* m) {
  (void)Attempt([&] {
    const char* text = nullptr;
    if (sd_bus_message_is_signal(m, "org.freedesktop.DBus", "NameAcquired") > 0) {
      if (sd_bus_message_read_basic(m, SD_BUS_TYPE_STRING, &text) > 0 && text == std::string_view(kBusName)) NameOurs();
    } else if (sd_bus_message_is_signal(m, "org.freedesktop.DBus", "NameOwnerChanged") > 0) {
      if (sd_bus_message_read_basic(m, SD_BUS_TYPE_STRING, &text) > 0) {
        if (const auto found = callers_.find(std::string_view(text)); found != callers_.end()) callers_.erase(found);
      }
    } else if (sd_bus_message_is_method_call(m, nullptr, nullptr) > 0) {
      const char* path = sd_bus_message_get_path(m);
      const char* sender = sd_bus_message_get_sender(m);
      const bool ours = path && (std::string_view(path) == kInterfacePath || std::string_view(path) == kConnectorPath);
      if (ours && sender) callers_.insert(sender);
    }
    return Status::Ok();
  });
  sd_bus_message_rewind(m, 1);
  return 0;
}

int SdBusAutomation::NameAnswered(sd_bus_message* m) {
  constexpr uint32_t kInQueue = 2;
  if (const sd_bus_error* error = sd_bus_message_get_error(m)) {
    refusal_ = Words(error->message ? error->message : error->name);
    return 0;
  }
  uint32_t answer = 0;
  sd_bus_message_read_basic(m, SD_BUS_TYPE_UINT32, &answer);
  in_queue_ = answer == kInQueue && !ready_;
  if (in_queue_) retry_.start(kNameGraceMs);
  return 0;
}

void SdBusAutomation::NameOurs() {
  retry_.stop();
  in_queue_ = false;
  ready_ = true;
  if (told_ != Trouble::kNone) {
    told_ = Trouble::kNone;
    calls_->BusNote("Automation: the " + BusText() + " is back; other programs can ask Vantry again.");
  }
  calls_->BusReady();
}

void SdBusAutomation::Process() {
  if (!bus_) return;
  int result = 1;
  for (int i = 0; i < kMessagesAtOnce && result > 0 && sd_bus_is_open(bus_.get()) > 0; ++i) {
    result = sd_bus_process(bus_.get(), nullptr);
  }
  if (result < 0 || sd_bus_is_open(bus_.get()) <= 0) {
    const std::string why = result < 0 ? ": " + std::string(std::strerror(-result)) : std::string();
    return GiveUp(Trouble::kNoBus, "went away" + why,
                  "Start it; Vantry tries again every " + std::to_string(options_.retry_ms / 1'000) + " seconds");
  }
  if (!refusal_.empty()) {
    return GiveUp(Trouble::kRefused, "refuses the name " + std::string(kBusName) + ": " + refusal_,
                  "Allow it in the policy of the bus, as docs/automation.md shows");
  }
  if (MayAnswer()) serve_.start(0);
  Watch();
}

uint64_t SdBusAutomation::Queued() const {
  uint64_t count = 0;
  sd_bus_get_n_queued_write(bus_.get(), &count);
  return count;
}

void SdBusAutomation::NoteUnsent(size_t bytes, bool event) {
  unsent_.push_back({++handed_over_, bytes, event});
  (event ? event_bytes_ : answer_bytes_) += bytes;
  ForgetSent();
}

// Messages that sd-bus sends by itself make the count of sent ones too low, never too high.
void SdBusAutomation::ForgetSent() {
  const uint64_t left = handed_over_ - std::min(handed_over_, Queued());
  while (!unsent_.empty() && unsent_.front().number <= left) {
    (unsent_.front().event ? event_bytes_ : answer_bytes_) -= unsent_.front().bytes;
    unsent_.pop_front();
  }
}

bool SdBusAutomation::MayAnswer() {
  ForgetSent();
  return objects_->Waiting() && answer_bytes_ < kMaxAnswers;
}

void SdBusAutomation::Serve() {
  if (!bus_ || !MayAnswer()) return;
  NoteUnsent(objects_->ServeOne(), false);
  if (MayAnswer()) serve_.start(0);
  Watch();
}

// sd-bus says what it waits for.
void SdBusAutomation::Watch() {
  const int fd = sd_bus_get_fd(bus_.get()), events = sd_bus_get_events(bus_.get());
  if (fd != watched_fd_) {
    readable_.reset();
    writable_.reset();
    watched_fd_ = fd;
  }
  SetWatch(readable_, fd, QSocketNotifier::Read, fd >= 0 && events >= 0 && (events & POLLIN) != 0);
  SetWatch(writable_, fd, QSocketNotifier::Write, fd >= 0 && events >= 0 && (events & POLLOUT) != 0);
  SetTimeOut();
}

void SdBusAutomation::SetWatch(Notifier& notifier, int fd, QSocketNotifier::Type type, bool on) {
  if (!on) return notifier.reset();
  if (notifier) return;
  notifier.reset(new QSocketNotifier(fd, type));
  QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(), [this] { Process(); });
}

void SdBusAutomation::SetTimeOut() {
  uint64_t at_us = 0;
  if (sd_bus_get_timeout(bus_.get(), &at_us) < 0 || at_us == UINT64_MAX) return time_out_.stop();
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  const int64_t left_us = static_cast<int64_t>(at_us) - (now.tv_sec * 1'000'000 + now.tv_nsec / 1'000);
  // Rounded up: a timer that runs out early finds nothing to do, and the loop would spin.
  time_out_.start(left_us <= 0 ? 0 : static_cast<int>(std::min<int64_t>(left_us / 1'000 + 1, 3'600'000)));
}

// Whether less than this part of the queue waits: the whole of it, or half for 2.
bool SdBusAutomation::HasRoom(int part) {
  ForgetSent();
  return Queued() < kMaxQueued / static_cast<uint64_t>(part) &&
         event_bytes_ < kMaxEventBytes / static_cast<size_t>(part);
}

bool SdBusAutomation::MakeRoom() {
  if (HasRoom(1)) return true;
  if (callers_.empty()) return false;
  const int64_t end = SteadyMs() + kPatienceMs;
  while (!HasRoom(2)) {
    const int64_t left = end - SteadyMs();
    pollfd socket{sd_bus_get_fd(bus_.get()), POLLOUT, 0};
    if (left > 0) ::poll(&socket, 1, static_cast<int>(left));
    // Calls that arrive here are only put aside.
    const int result = left > 0 ? sd_bus_process(bus_.get(), nullptr) : -ETIMEDOUT;
    if (result < 0 || sd_bus_is_open(bus_.get()) <= 0) {
      GiveUp(Trouble::kNoBus, left > 0 ? "went away" : "takes no events",
             "Start it anew; Vantry tries again every " + std::to_string(options_.retry_ms / 1'000) + " seconds");
      return false;
    }
  }
  return true;
}

void SdBusAutomation::Signal(const char* name, std::initializer_list<std::string_view> texts, const bool* flag) {
  if (!ready_ || !MakeRoom()) return;
  sd_bus_message* created = nullptr;
  int result = sd_bus_message_new_signal(bus_.get(), &created, kInterfacePath, kInterfaceInterface, name);
  const BusMessage message(created);
  size_t bytes = 0;
  for (const std::string_view text : texts) {
    const std::string repaired = RepairUtf8(std::string(text));
    bytes += repaired.size();
    if (result >= 0) result = sd_bus_message_append_basic(created, SD_BUS_TYPE_STRING, repaired.c_str());
  }
  if (flag && result >= 0) {
    const int value = *flag ? 1 : 0;
    result = sd_bus_message_append_basic(created, SD_BUS_TYPE_BOOLEAN, &value);
  }
  if (result >= 0) result = sd_bus_send(bus_.get(), created, nullptr);
  if (result >= 0) NoteUnsent(bytes, true);
  // A socket that is full, or broke, is the loop's matter.
  if (!writable_ && (Queued() > 0 || sd_bus_is_open(bus_.get()) <= 0)) time_out_.start(0);
}

void SdBusAutomation::VisitorArrived(const VisitorArrival& v) {
  Signal("VisitorArrived", {v.domain, v.address, v.start_time, v.start_page, v.browser, v.spider, v.referrer},
         &v.alert);
}

void SdBusAutomation::DNSResolved(std::string_view address, std::string_view name) {
  Signal("DNSResolved", {address, name});
}

void SdBusAutomation::VisitorPageMove(std::string_view domain, std::string_view address, std::string_view time,
                                      std::string_view page) {
  Signal("VisitorPageMove", {domain, address, time, page});
}

void SdBusAutomation::VisitorLeft(std::string_view domain, std::string_view address) {
  Signal("VisitorLeft", {domain, address});
}

}  // namespace vantry
