// What other programs ask over the message bus, answered from the live tables and by the page builder that the web
// access uses, and the visitor events that go there.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "config/settings.h"
#include "core/program_log.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "ports/automation.h"
#include "ports/clock.h"
#include "web/interface.h"

namespace vantry {

struct AutomationContext {
  LiveTables& t;
  const Settings& settings;
  ProgramLog& log;
  Clock& clock;
  AutomationBus& bus;
  std::function<Interface&()> interface;  // The shared one, made when there is none.
};

class Automation final : public AutomationCalls, public VisitorEvents {
 public:
  // With nobody there who ever called, only these of each second go out: nobody can say whether anyone listens.
  static constexpr int kEventsPerSecond = 1'000;

  explicit Automation(AutomationContext c) : c_(std::move(c)) {}
  ~Automation() override { Close(); }
  Automation(const Automation&) = delete;
  Automation& operator=(const Automation&) = delete;

  void Start() { c_.bus.Open(*this); }
  void Close() { c_.bus.Close(); }

  void BusReady() override { c_.interface(); }
  void BusNote(std::string_view text) override { c_.log.WriteProgramLog(text, false); }

  std::string LogFileName(int16_t site) override { return OfSite(site, &SiteRec::Name); }
  std::string LogFileDomain(int16_t site) override { return OfSite(site, &SiteRec::Domain); }
  int32_t LogFileCurrentVisitors(int16_t site) override { return OfSite(site, &SiteRec::CurrentVisitors); }
  int32_t LogFileTotalSpiders(int16_t site) override { return OfSite(site, &SiteRec::TotalSpiders); }
  int32_t LogFileTotalVisitors(int16_t site) override { return OfSite(site, &SiteRec::TotalVisitors); }
  int32_t LogFileTotalAlerts(int16_t site) override { return OfSite(site, &SiteRec::TotalAlerts); }
  int16_t NumberOfSites() override { return c_.t.SiteCount(); }

  Status VisitorsTable(int16_t client_no, std::string_view domain, std::string& page) override;
  Status SiteTable(int16_t client_no, int16_t site, std::string& page) override;
  Status VisitorDetailsTable(int16_t client_no, std::string_view domain_visitor, std::string& page) override;
  Status PreviousVisitsTable(int16_t client_no, std::string_view domain_visitor, std::string& page) override;
  Status SitesTable(int16_t client_no, std::string& page) override;
  Status AlertsTypeList(int16_t client_no, std::string_view domain, std::string& page) override;
  Status AlertsTable(int16_t client_no, std::string_view domain, std::string& page) override;
  Status SpidersTable(int16_t client_no, std::string_view domain, std::string& page) override;
  Status ExceptionsTable(int16_t client_no, std::string_view domain, std::string& page) override;
  Status LoginTable(int16_t client_no, std::string& page) override;
  Status InvalidLogin(int16_t client_no, std::string& page) override;
  Status ReferrersTable(int16_t client_no, std::string_view domain, std::string& page) override;
  std::string HTMLHeader(std::string_view title, bool no_refresh, std::string& back_colour) override;
  std::string HTMLFooter() override;
  std::string GetVisitorsList(std::string_view domain) override;
  Status ExtractLogEntriesToFile(std::string_view visitor_key, int16_t client_no, std::string& name) override;

  void VisitorArrived(const std::string& domain, const VisitorRec& visitor, std::string_view page) override;
  void VisitorPageMove(const std::string& domain, const VisitorRec& visitor) override;
  void VisitorLeft(const std::string& domain, const VisitorRec& visitor) override;
  void DNSResolved(std::string_view address, std::string_view name) override;

 private:
  template <class T>
  T OfSite(int16_t site, T SiteRec::*field) const {
    return site < 1 || site > c_.t.SiteCount() ? T{} : c_.t.Site(site).*field;
  }
  using DomainPage = std::string (Interface::*)(int client_no, std::string_view domain);
  using PlainPage = std::string (Interface::*)(int client_no);
  Status Page(int16_t client_no, DomainPage build, std::string_view domain, std::string& page);
  Status Page(int16_t client_no, PlainPage build, std::string& page);
  std::string FromBus(std::string_view text) const;
  bool Wanted();

  AutomationContext c_;
  int64_t second_ = -1;  // Of the steady clock; events in it so far.
  int events_ = 0;
};

}  // namespace vantry
