// The message bus of the machine, over which other programs read counts, fetch pages and hear of visitors.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/status.h"

namespace vantry {

// Types are 's' for text, 'n' and 'i' for whole numbers of 16 and 32 bits, 'b' for true or false.
struct BusArgument {
  char type = 0;
  const char* name = nullptr;
};

struct BusOperation {
  const char* name;
  std::vector<BusArgument> takes, gives;
  bool property = false;  // Takes nothing, gives one value and is read only.
};

// Texts are bytes as logs and files hold them; everything else is a number.
using BusValue = std::variant<int32_t, std::string>;
using BusValues = std::vector<BusValue>;

// What other programs may ask. Calls come from the loop alone, one after the other.
class AutomationCalls {
 public:
  virtual ~AutomationCalls() = default;

  // The bus knows the program from now on: events go out.
  virtual void BusReady() = 0;
  // What happened to the bus and what to do about it, in one line. Once for each change.
  virtual void BusNote(std::string_view text) = 0;
  // All operations, in the order in which programs see them. The same at every call.
  virtual const std::vector<BusOperation>& Operations() const = 0;
  // Runs the operation at this place of the list. `in` has the values that it takes; on success `out` has those that it
  // gives. Bad arguments are a failure of the kind kBadData.
  virtual Status Call(size_t operation, const BusValues& in, BusValues& out) = 0;
};

struct VisitorArrival {
  std::string domain, address, start_time, start_page, browser, spider, referrer;
  bool alert = false;
};

// The bus. No call waits for it but an event that finds its queue full, and that for 1 s at most.
class AutomationBus {
 public:
  virtual ~AutomationBus() = default;
  // Connects and offers the calls until Close, again and again while there is no bus. Nothing of `calls` is called
  // before this returns, and nothing but BusNote from inside an event.
  virtual void Open(AutomationCalls& calls) = 0;
  // Events go out. Otherwise they are lost.
  virtual bool Ready() const = 0;
  // A program that called us is still there. It gets every event; with nobody of that kind an event that finds the
  // queue full is lost.
  virtual bool HasCallers() const = 0;
  // Times are "yyyy-mm-ddThh:mm:ss" in local time.
  virtual void VisitorArrived(const VisitorArrival& visitor) = 0;
  virtual void DNSResolved(std::string_view address, std::string_view name) = 0;
  virtual void VisitorPageMove(std::string_view domain, std::string_view address, std::string_view time,
                               std::string_view page) = 0;
  virtual void VisitorLeft(std::string_view domain, std::string_view address) = 0;
  // Leaves the bus for good.
  virtual void Close() = 0;
};

}  // namespace vantry
