// The history of all visits: seven dBase tables and the country ranges, opened at the first use and written by the live
// engine through the short sequences below. A table that fails costs only history; visitors are still watched.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/program_log.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "database/stored_rows.h"
#include "database/stored_visits.h"
#include "database/table.h"
#include "database/table_connection.h"
#include "database/visit_history.h"
#include "ports/clock.h"
#include "ports/key_store.h"

namespace vantry {

struct VisitDatabaseContext {
  LiveTables& t;
  const std::string& ddfpath;  // The data folder, "/" at its end.
  ProgramLog& log;
  Clock& clock;
  KeyStore& registry;
  ExceptionSink& exceptions;
  DataFiles& files;
  IndexStore& index;
};

class VisitDatabase final : public VisitHistory, public ExceptionHistory {
 public:
  // While the tables can't be opened they are tried again this often at most.
  static constexpr int64_t kRetryMs = 1000;
  // The same text is told this often at most: a full disk is one line a minute, not one for each row.
  static constexpr int64_t kTellEverySeconds = 60;
  // How often FlushAll should be called: no row waits in memory for longer.
  static constexpr int64_t kFlushAllMs = 10'000;

  explicit VisitDatabase(VisitDatabaseContext context);

  // 0 until the tables were first made; kept in the registry store.
  int16_t DatabaseVersion = 0;

  bool DatabaseReady() override;
  void AddExceptionToDatabase(const ExceptionRecord& record) override;
  bool IsOpen() const { return open_; }

  void UpdateVisitor(VisitorRec& visitor, bool skip_referrer) override;
  void AddVisitToDatabase(VisitorRec& visitor, std::string_view first_page) override;
  void AddPageToDatabase(const VisitorRec& visitor) override;
  void AddDownload(const VisitorRec& visitor) override;
  void UpdateVisitInDatabase(const VisitorRec& visitor) override;
  void UpdateHackCount(VisitorRec& visitor) override;
  std::string LookupDNS(std::string_view ip, VisitorRec* visitor) override;
  std::string LookupCountryCode(std::string_view ip) override;
  void UpdateDNS(std::string_view ip, std::string_view name) override;
  void FlushDatabase() override;
  void UpdateDaySummaries() override;
  void CloseDatabase() override;

  // Stores a name for the address on this site; dropped when the address is not in the table.
  void ChangeFriendlyName(std::string_view ip, std::string_view site, std::string_view name);
  // The name of the first record of this address on any site; `name` stays when there is none.
  void GetFriendlyName(std::string_view ip, std::string& name);

  // What is stored, for pages. Ask DatabaseReady first; sites are given by name. A missing row is empty and not
  // a failure; lists keep the rows read before a failure.
  Status ReadVisitor(std::string_view ip, std::string_view site, std::optional<StoredVisitor>& row);
  // A visit that began on this day.
  Status ReadVisit(const VisitPlace& place, Day day, std::optional<StoredVisit>& row);
  // The next visits of an address to a site, oldest first, up to `most`.
  Status ReadVisits(std::string_view ip, std::string_view site, RowsPlace& at, size_t most,
                    std::vector<StoredVisit>& rows);
  // The next pages of a visit, in the order they were asked for, up to `most`.
  Status ReadPages(const VisitPlace& place, RowsPlace& at, size_t most, std::vector<StoredPage>& rows);
  // The sites that sent at least one visitor to this one, busiest first, no more than `most`.
  Status ReadReferrers(std::string_view site, size_t most, std::vector<StoredReferrer>& rows);

  // For whoever does not want to see a referrer of this site any more: it stays known and is never listed, or is
  // forgotten until it sends somebody again. kNotFound when there is no such referrer.
  Status ExcludeReferrer(std::string_view name, std::string_view site);
  Status DeleteReferrer(std::string_view name, std::string_view site);

  // Makes all rows durable, including those that FlushDatabase leaves out. Inside a scan they are only handed to the
  // system: waiting for the disk would hold up the port. Returns whether the tables have every row of today that they
  // were given: none waits, and none was missed.
  bool FlushAll();

 private:
  VisitDatabaseContext c_;
  TableConnection connection_;

 public:
  // Public for tests and benches; pages ask for records.
  Table VAVISITS, VAVIS, VAREF, VAEXP, VAPG, VADL, VADAY, IPCC;

 private:
  bool InitDatabase();
  Status CreateDatabase();
  void OpenCountries();
  void CloseTables(bool tell);
  void AfterWriting(const Status& status);
  void OpenAnew(const Status& why);
  // Runs `body` (returning Status) and reports its failure under the label.
  template <class Body>
  void Guard(std::string_view label, Body&& body) {
    const Status status = Attempt(body);
    if (!status.ok()) Complain(label, status.text);
  }
  // The same for a body that stores what a line of a log told.
  template <class Body>
  void Store(std::string_view label, Body&& body) {
    const Status status = Attempt(body);
    if (!status.ok()) HasMissed(label, status);
  }
  void HasMissed(std::string_view label, const Status& status);
  bool ReadyToStore();
  // To be called with the result of each Insert and Update.
  Status Stored(int result, const Table& table);
  void Miss() { missed_on_ = c_.t.Today; }
  void Complain(std::string_view label, std::string_view text);
  bool FirstThisMinute(const std::string& text);
  Status NeedsOpen() const;
  // A stored visit: its VisitNo and its row.
  struct NumberedVisit {
    int32_t visit_no;
    uint32_t row;
  };
  bool IsReadAgain(const VisitorRec& visitor, uint32_t visit_row) const;
  Status WriteVisitor(VisitorRec& visitor, bool new_visit);
  // The stored visit of this visitor's address and site that began at this time.
  std::optional<NumberedVisit> FindStoredVisit(const VisitorRec& visitor, LogTime start);
  // The highest number of a stored visit of this address and site that began before this one, 0 for none.
  int32_t LastNumberBefore(const VisitorRec& visitor);
  void ReadStoredRows();
  void CountStoredExceptions();
  void DropStoredRows();
  Status WriteReferrer(const VisitorRec& visitor);
  Status FindReferrer(std::string_view name, std::string_view site);
  int FindVisit(const VisitorRec& visitor);
  int FindVisitor(std::string_view ip, std::string_view site);
  const std::string& SiteName(const VisitorRec& visitor) const;

  bool open_ = false;
  std::optional<uint32_t> visits_before_run_;  // Rows of `Visits` when the tables were first opened.
  // With QuietReplay, until every log was read once: today's rows when the tables were first opened.
  StoredRows exceptions_before_run_, downloads_before_run_;
  // Something of this day could not be stored. Lines of days before are not read again, so their rows don't count.
  std::optional<Day> missed_on_;
  std::optional<SteadyTime> failed_at_;                // The last attempt to open the tables.
  std::map<std::string, WallTime, std::less<>> told_;  // Texts and when they were told last.
  std::string last_dns_ip_, last_dns_;                 // Last question to LookupDNS and its answer.
};

// The tables know a site by this many bytes of its name.
inline constexpr size_t kSiteBytes = 20, kWideSiteBytes = 60;

// One line for each group of sites that the tables can't tell apart, for the operator.
std::vector<std::string> SharedHistories(const LiveTables& t);

// A referrer as it is stored: without blanks at both ends, only scheme and host.
std::string_view CutReferrer(std::string_view referrer);

// The form of an IPv4 address in the country table, "010.002.003.004"; empty for any other text.
std::string CountryKey(std::string_view ip);

}  // namespace vantry
