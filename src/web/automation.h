// What other programs ask over the message bus, answered from the live tables and by the page builder that the web
// access uses, and the visitor events that go there.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "core/program_log.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "ports/automation.h"
#include "ports/clock.h"
#include "web/pages.h"

namespace vantry {

struct AutomationContext {
  LiveTables& t;
  const Settings& settings;
  ProgramLog& log;
  Clock& clock;
  AutomationBus& bus;
  std::function<const PageContext&()> pages;  // Those of the web access. Once asked for, visitor events are raised.
};

class Automation final : public AutomationCalls, public VisitorEvents {
 public:
  // Until somebody has called, only this many of each second go out: there is no telling whether anyone listens.
  static constexpr int kEventsPerSecond = 1'000;

  explicit Automation(AutomationContext c);
  ~Automation() override { Close(); }
  Automation(const Automation&) = delete;
  Automation& operator=(const Automation&) = delete;

  void Start() { c_.bus.Open(*this); }
  void Close() { c_.bus.Close(); }

  void BusReady() override { c_.pages(); }
  void BusNote(std::string_view text) override { c_.log.WriteProgramLog(text, false); }

  const std::vector<BusOperation>& Operations() const override { return operations_; }
  Status Call(size_t operation, const BusValues& in, BusValues& out) override;

  void VisitorArrived(const std::string& domain, const VisitorRec& visitor, std::string_view page) override;
  void VisitorPageMove(const std::string& domain, const VisitorRec& visitor) override;
  void VisitorLeft(const std::string& domain, const VisitorRec& visitor) override;
  void DNSResolved(std::string_view address, std::string_view name) override;

 private:
  using Answer = std::function<Status(const BusValues& in, BusValues& out)>;
  void Add(BusOperation operation, Answer answer);
  template <class T>
  void AddOfSite(const char* name, const char* gives, T SiteRec::*field);
  void AddPage(const Page& page);
  void AddFrame();
  void AddExtract();
  std::string FromBus(std::string_view text) const;
  bool Wanted();

  AutomationContext c_;
  std::vector<BusOperation> operations_;
  std::vector<Answer> answers_;  // Of the operations, in their order.
  int64_t second_ = -1;          // Of the steady clock; events in it so far.
  int events_ = 0;
};

}  // namespace vantry
