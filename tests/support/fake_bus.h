// A message bus that records what it is given.
#pragma once

#include <string>
#include <vector>

#include "ports/automation.h"

namespace vantry {

struct RecordingBus final : AutomationBus {
  AutomationCalls* calls = nullptr;  // While open.
  bool ready = false, callers = false;
  int closed = 0;
  std::vector<std::string> events;

  // The bus lets the program in.
  void LetIn() {
    ready = true;
    calls->BusReady();
  }
  void Open(AutomationCalls& c) override { calls = &c; }
  bool Ready() const override { return ready; }
  bool HasCallers() const override { return callers; }
  void VisitorArrived(const VisitorArrival& v) override {
    Add({"arrived", v.domain, v.address, v.start_time, v.start_page, v.browser, v.spider, v.referrer,
         v.alert ? "alert" : "no alert"});
  }
  void DNSResolved(std::string_view address, std::string_view name) override { Add({"resolved", address, name}); }
  void VisitorPageMove(std::string_view domain, std::string_view address, std::string_view time,
                       std::string_view page) override {
    Add({"move", domain, address, time, page});
  }
  void VisitorLeft(std::string_view domain, std::string_view address) override { Add({"left", domain, address}); }
  void Close() override {
    ++closed;
    calls = nullptr;
    ready = false;
  }

 private:
  void Add(std::initializer_list<std::string_view> parts) {
    std::string& line = events.emplace_back();
    for (const std::string_view part : parts) line.append(line.empty() ? "" : "|").append(part);
  }
};

}  // namespace vantry
