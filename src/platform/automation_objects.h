// The two objects that other programs see on the bus: their operations, and how arguments and results travel.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include <systemd/sd-bus.h>

#include "ports/automation.h"

namespace vantry {

inline constexpr char kBusName[] = "com.tressimond.Vantry";
inline constexpr char kConnectorPath[] = "/VantryConnector";
inline constexpr char kConnectorInterface[] = "com.tressimond.Vantry.VantryConnector";
inline constexpr char kInterfacePath[] = "/Interface";
inline constexpr char kInterfaceInterface[] = "com.tressimond.Vantry.Interface";

struct MessageRelease {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using BusMessage = std::unique_ptr<sd_bus_message, MessageRelease>;

// Nothing of the engine runs inside sd-bus but the count of sites: a call is put aside, and answered when it is asked
// for.
class AutomationObjects {
 public:
  // Calls put aside; further ones are refused.
  static constexpr size_t kMaxWaiting = 1'000;

  // `max_text`: bytes that the results of one call may have in all. `call_waits` is called for each call put aside.
  AutomationObjects(AutomationCalls& calls, size_t max_text, std::function<void()> call_waits)
      : calls_(calls), max_text_(max_text), call_waits_(std::move(call_waits)) {}

  // Offers the objects; below 0 is a failure, as an error number of the system.
  int AddTo(sd_bus* bus);
  bool Waiting() const { return !waiting_.empty(); }
  // Answers the call that has waited longest; returns the bytes of the answer.
  size_t ServeOne();

  // The arguments of a call, read one after the other. Their types were compared before the call came here.
  class Arguments {
   public:
    explicit Arguments(sd_bus_message* message) : message_(message) {}
    int16_t Short() { return Read<int16_t>(SD_BUS_TYPE_INT16); }
    int32_t Long() { return Read<int32_t>(SD_BUS_TYPE_INT32); }
    bool Flag() { return Read<int>(SD_BUS_TYPE_BOOLEAN) != 0; }
    std::string_view Text() {
      const char* text = Read<const char*>(SD_BUS_TYPE_STRING);
      return text ? text : "";
    }
    // An argument was not what it claims to be: a text that is not UTF-8.
    bool Unreadable() const { return unreadable_; }

   private:
    template <class T>
    T Read(char type) {
      T value{};
      if (sd_bus_message_read_basic(message_, type, &value) <= 0) unreadable_ = true;
      return value;
    }
    sd_bus_message* message_;
    bool unreadable_ = false;
  };
  using Results = std::vector<std::variant<std::string, int32_t>>;
  using Body = Status (*)(AutomationCalls& calls, Arguments& in, Results& out);
  int Take(sd_bus_message* message, Body body);
  AutomationCalls& Calls() { return calls_; }

 private:
  struct Call {
    BusMessage message;
    Body body;
  };
  size_t Answer(sd_bus_message* call, const Results& results);

  AutomationCalls& calls_;
  const size_t max_text_;
  const std::function<void()> call_waits_;
  std::deque<Call> waiting_;
};

}  // namespace vantry
