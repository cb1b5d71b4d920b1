// The two objects that other programs see on the bus: their operations, and how arguments and results travel.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
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

// Nothing of the engine runs inside sd-bus but properties: a call is put aside, and answered when it is asked
// for.
class AutomationObjects {
 public:
  // Calls put aside; further ones are refused.
  static constexpr size_t kMaxWaiting = 1'000;

  // `max_text`: bytes that the results of one call may have in all. `call_waits` is called for each call put aside.
  AutomationObjects(AutomationCalls& calls, size_t max_text, std::function<void()> call_waits);

  // Offers the objects; below 0 is a failure, as an error number of the system.
  int AddTo(sd_bus* bus);
  bool Waiting() const { return !waiting_.empty(); }
  // Answers the call that has waited longest; returns the bytes of the answer.
  size_t ServeOne();

  // For the bus itself: puts a call aside, reads a property.
  int Take(sd_bus_message* message);
  int AppendProperty(std::string_view name, sd_bus_message* reply);

 private:
  size_t Place(std::string_view name) const;
  size_t Answer(sd_bus_message* call, size_t place, const BusValues& results);

  AutomationCalls& calls_;
  const size_t max_text_;
  const std::function<void()> call_waits_;
  // What the bus is told of the operations. It keeps pointers to all of it until its last message is gone.
  std::vector<sd_bus_vtable> table_;
  std::deque<std::string> texts_;
  std::deque<BusMessage> waiting_;
};

}  // namespace vantry
