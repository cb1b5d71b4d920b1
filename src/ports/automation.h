// The message bus of the machine, over which other programs read counts, fetch pages and hear of visitors.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/status.h"

namespace vantry {

// What other programs may ask. Calls come from the loop alone, one after the other. Texts are bytes as logs and files
// hold them. Client numbers are those of the connection table: any other number is a failure, and `page` stays as it
// is.
class AutomationCalls {
 public:
  virtual ~AutomationCalls() = default;

  // The bus knows the program from now on: events go out.
  virtual void BusReady() = 0;
  // What happened to the bus and what to do about it, in one line. Once for each change.
  virtual void BusNote(std::string_view text) = 0;

  // Nothing for a number that is no site's.
  virtual std::string LogFileName(int16_t site) = 0;
  virtual std::string LogFileDomain(int16_t site) = 0;
  virtual int32_t LogFileCurrentVisitors(int16_t site) = 0;
  virtual int32_t LogFileTotalSpiders(int16_t site) = 0;
  virtual int32_t LogFileTotalVisitors(int16_t site) = 0;
  virtual int32_t LogFileTotalAlerts(int16_t site) = 0;
  virtual int16_t NumberOfSites() = 0;

  virtual Status VisitorsTable(int16_t client_no, std::string_view domain, std::string& page) = 0;
  virtual Status SiteTable(int16_t client_no, int16_t site, std::string& page) = 0;
  virtual Status VisitorDetailsTable(int16_t client_no, std::string_view domain_visitor, std::string& page) = 0;
  virtual Status PreviousVisitsTable(int16_t client_no, std::string_view domain_visitor, std::string& page) = 0;
  virtual Status SitesTable(int16_t client_no, std::string& page) = 0;
  virtual Status AlertsTypeList(int16_t client_no, std::string_view domain, std::string& page) = 0;
  virtual Status AlertsTable(int16_t client_no, std::string_view domain, std::string& page) = 0;
  virtual Status SpidersTable(int16_t client_no, std::string_view domain, std::string& page) = 0;
  virtual Status ExceptionsTable(int16_t client_no, std::string_view domain, std::string& page) = 0;
  virtual Status LoginTable(int16_t client_no, std::string& page) = 0;
  virtual Status InvalidLogin(int16_t client_no, std::string& page) = 0;
  virtual Status ReferrersTable(int16_t client_no, std::string_view domain, std::string& page) = 0;
  // A page's head. An empty title is the usual one; an empty colour is chosen here.
  virtual std::string HTMLHeader(std::string_view title, bool no_refresh, std::string& back_colour) = 0;
  virtual std::string HTMLFooter() = 0;
  virtual std::string GetVisitorsList(std::string_view domain) = 0;
  virtual Status ExtractLogEntriesToFile(std::string_view visitor_key, int16_t client_no, std::string& name) = 0;
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
