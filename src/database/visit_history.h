// What the live engine asks of the stored visits. Calls never fail for the caller: an implementation reports its own
// failures and the engine goes on with the next hit.
#pragma once

#include <string>
#include <string_view>

#include "core/tables.h"

namespace vantry {

class VisitHistory {
 public:
  virtual ~VisitHistory() = default;

  // A new visit: writes the address's row and the referrer's, and raises 133 for a visitor who returns often. With
  // `skip_referrer` only the name of a visit has arrived: the address's row alone. Both set VisitCount, KnownName and
  // FirstVisited of the visitor.
  virtual void UpdateVisitor(VisitorRec& visitor, bool skip_referrer) = 0;
  // Sets VisitRow of the visitor.
  virtual void AddVisitToDatabase(VisitorRec& visitor, std::string_view first_page) = 0;
  virtual void AddPageToDatabase(const VisitorRec& visitor) = 0;
  virtual void AddDownload(const VisitorRec& visitor) = 0;
  // The visit ended: its closing values.
  virtual void UpdateVisitInDatabase(const VisitorRec& visitor) = 0;
  virtual void UpdateHackCount(VisitorRec& visitor) = 0;

  // The stored host name of an address, empty when none is known. `visitor` may be null; otherwise its KnownName is
  // set.
  virtual std::string LookupDNS(std::string_view ip, VisitorRec* visitor) = 0;
  virtual std::string LookupCountryCode(std::string_view ip) = 0;
  virtual void UpdateDNS(std::string_view ip, std::string_view name) = 0;

  virtual void FlushDatabase() = 0;
  virtual void UpdateDaySummaries() = 0;
  virtual void CloseDatabase() = 0;
};

// An exception as it is stored.
struct ExceptionRecord {
  std::string_view site_text;  // The site's name and ": ", or empty.
  LogTime when;
  int number = 0;
  std::string_view address;
  int32_t visit_number = 0;
  std::string_view value;
  bool may_be_stored = false;  // An earlier run may have stored it: its line is read in the first scan of this run.
};

// What the exception engine asks of the history.
class ExceptionHistory {
 public:
  virtual ~ExceptionHistory() = default;
  // Opens the tables when they are not; false when they can't be opened.
  virtual bool DatabaseReady() = 0;
  // A failure to store the row has no report of its own.
  virtual void AddExceptionToDatabase(const ExceptionRecord& record) = 0;
};

}  // namespace vantry
