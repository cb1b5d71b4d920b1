// Opening, closing and upkeep. The record operations are in record_operations.cc.
#include "database/visit_database.h"

#include <algorithm>
#include <iterator>

#include "config/registry_store.h"
#include "core/text.h"
#include "database/schema.h"

namespace vantry {

VisitDatabase::VisitDatabase(VisitDatabaseContext context)
    : c_(context),
      connection_(c_.files, c_.index,
                  {[this] { return DayOf(c_.clock.Now()); },
                   [this](std::string_view text) {
                     if (FirstThisMinute(std::string(text))) c_.log.WriteProgramLog(text, false);
                   },
                   [this](std::string_view text) { Complain("F.Table", text); }}),
      VAVISITS(connection_, visits::Schema().name),
      VAVIS(connection_, visitor::Schema().name),
      VAREF(connection_, referrers::Schema().name),
      VAEXP(connection_, exceptions::Schema().name),
      VAPG(connection_, pages::Schema().name),
      VADL(connection_, downloads::Schema().name),
      VADAY(connection_, day_sum::Schema().name),
      IPCC(connection_, ipcc::Schema().name) {}

bool VisitDatabase::DatabaseReady() {
  if (open_) return true;
  // Work that goes on while the program closes must not open the tables again.
  if (c_.t.Closing) return false;
  const SteadyTime now = c_.clock.Steady();
  if (failed_at_ && now.ms - failed_at_->ms < kRetryMs) return false;
  failed_at_ = now;
  if (!InitDatabase()) return false;
  failed_at_.reset();
  return true;
}

bool VisitDatabase::InitDatabase() {
  Status status = Attempt([this] { return CreateDatabase(); });
  OpenCountries();
  if (status.ok()) {
    open_ = true;
    if (!visits_before_run_) {
      visits_before_run_ = VAVISITS.RowCount();
      if (c_.t.Corrected.QuietReplay) ReadStoredRows();
    }
    return true;
  }
  Complain("CreateDatabase", status.text + " No history is written until this is put right; it is tried again.");
  return false;
}

// Tables that are open stay open: a second attempt opens only what the first could not.
Status VisitDatabase::CreateDatabase() {
  struct Row {
    Table& table;
    const TableSchema& schema;
  };
  const Row rows[] = {{VAVISITS, visits::Schema()},  {VAVIS, visitor::Schema()}, {VAREF, referrers::Schema()},
                      {VAEXP, exceptions::Schema()}, {VAPG, pages::Schema()},    {VADL, downloads::Schema()},
                      {VADAY, day_sum::Schema()}};
  // A table that is there is taken as it is, whichever widths were wanted when it was made.
  for (const Row& row : rows) {
    const std::vector<std::string> wide = WideFields(row.schema);
    const bool make_wide = c_.t.Corrected.WideKeys;
    row.table.CreateTable(c_.ddfpath, Table::kReadWrite, make_wide ? wide : row.schema.fields, row.schema.keys,
                          make_wide ? row.schema.fields : wide);
  }
  for (const Table* table : {&VAVIS, &VAREF, &VAVISITS, &VAEXP, &VAPG, &VADL, &VADAY}) {
    if (table->LastStatus() != Table::kOk) return Status::Error(Fail::kIo, table->Problem() + ".");
  }
  if (DatabaseVersion == 0) {
    DatabaseVersion = 1;
    WriteRegistryValue(c_.registry, "Settings", "DatabaseVersion", "1");
  }
  if (c_.t.Corrected.WideKeys && VAVIS.Width(visitor::kSite) == kSiteBytes) {
    Complain("CreateDatabase", "The tables in " + c_.ddfpath +
                                   " still keep 15 characters of an address and 20 of a site's name. Stop Vantry and "
                                   "convert them with `vantryctl widen-tables`.");
  }
  return Status::Ok();
}

// The country table is optional: a missing one is not reported, and what keeps all tables closed is told once.
void VisitDatabase::OpenCountries() {
  if (!c_.t.CountryLookup) {
    IPCC.CreateTable(c_.ddfpath, Table::kReadOnly, ipcc::Schema().fields, ipcc::Schema().keys);
  }
  if (IPCC.LastStatus() == Table::kOk) {
    c_.t.CountryLookup = true;
  } else if (IPCC.LastStatus() == Table::kFailed && connection_.IsOpen()) {
    Complain("CreateDatabase", IPCC.Problem() + ". Countries are not looked up.");
  }
}

bool VisitDatabase::FirstThisMinute(const std::string& text) {
  const WallTime now = c_.clock.Now();
  std::erase_if(told_,
                [&](const auto& told) { return now.s - told.second.s >= kTellEverySeconds || now.s < told.second.s; });
  return told_.emplace(text, now).second;
}

void VisitDatabase::Complain(std::string_view label, std::string_view text) {
  if (FirstThisMinute(std::string(label) + ": " + std::string(text))) c_.log.ReportError(text, label);
}

Status VisitDatabase::NeedsOpen() const {
  return open_ ? Status::Ok() : Status::Error(Fail::kIo, "the database is not open");
}

void VisitDatabase::FlushDatabase() {
  Table* const tables[] = {&VAREF, &VAVIS, &VAVISITS, &VAEXP, &VAPG};
  if (open_) AfterWriting(Attempt([&] { return connection_.Flush(tables); }));
}

bool VisitDatabase::FlushAll() {
  DropStoredRows();
  Table* const tables[] = {&VAREF, &VAVIS, &VAVISITS, &VAEXP, &VAPG, &VADL, &VADAY};
  const bool write_out = c_.t.ScanInProgress && !c_.t.Closing;
  if (open_) {
    AfterWriting(Attempt([&] {
      // Also when nothing waits: a reader must not read somebody else's tables.
      if (Status changed = connection_.CheckOurs(tables); !changed.ok()) return changed;
      return write_out ? connection_.WriteOut(tables) : connection_.Flush(tables);
    }));
  }
  const auto waits = [&](const Table* table) { return write_out ? table->RowsWait() : table->Changed(); };
  return missed_on_ != c_.t.Today && std::none_of(std::begin(tables), std::end(tables), waits);
}

bool VisitDatabase::ReadyToStore() {
  if (DatabaseReady()) return true;
  Miss();
  return false;
}

// A record that could not be stored may have met a table that others have changed.
void VisitDatabase::HasMissed(std::string_view label, const Status& status) {
  Miss();
  Complain(label, status.text);
  Table* const tables[] = {&VAREF, &VAVIS, &VAVISITS, &VAEXP, &VAPG, &VADL, &VADAY};
  if (open_) AfterWriting(Attempt([&] { return connection_.CheckOurs(tables); }));
}

Status VisitDatabase::Stored(int result, const Table& table) {
  if (result < 0 || result == Table::kNoRoom) Miss();
  return result < 0 ? Status::Error(Fail::kIo, table.Problem()) : Status::Ok();
}

void VisitDatabase::AfterWriting(const Status& status) {
  // A folder or table is gone, was replaced or changed: later rows must not go where nobody finds them, or into what
  // others have made of it.
  if (status.fail == Fail::kNotFound || status.fail == Fail::kRefused) {
    OpenAnew(status);
  } else if (!status.ok()) {
    Complain("F.FlushDatabase", status.text + ". What was not written waits in memory and is tried again.");
  }
}

// At once, unless a table is gone: it may come back until the next visit asks for it.
void VisitDatabase::OpenAnew(const Status& why) {
  const auto tell = [this](const Status& what) {
    Complain("F.FlushDatabase", what.text +
                                    ". The tables are opened anew as they are now. Stop Vantry before other "
                                    "programs change its files.");
  };
  if (why.fail == Fail::kNotFound) tell(why);
  bool gone = false;
  std::vector<std::pair<Table*, std::string>> waiting;
  for (Table* table : {&VAREF, &VAVIS, &VAVISITS, &VAEXP, &VAPG, &VADL, &VADAY}) {
    const Status ours = table->IsOpen() ? table->CheckOurs() : Status::Ok();
    if (ours.ok()) continue;
    if (ours.fail == Fail::kRefused) tell(ours);
    waiting.emplace_back(table, table->NewRows());
    // A file that is gone has taken its rows along, and a changed row has lost its place.
    gone = gone || ours.fail == Fail::kNotFound;
    if (gone || table->HasChangedRows()) Miss();
  }
  CloseTables(false);
  const bool open = !gone && !c_.t.Closing && DatabaseReady();
  for (const auto& [table, rows] : waiting) {
    if (!rows.empty() && (!open || !table->AddRows(rows))) Miss();
  }
}

void VisitDatabase::UpdateDaySummaries() {
  using namespace day_sum;
  Guard("f.UpdateDaySummary", [this] {
    if (Status status = NeedsOpen(); !status.ok()) return status;
    for (const SiteRec& site : c_.t.Sites) {
      const int found = VADAY.FindEqual(VADAY.Key({site.Name, FormatDayKey(c_.t.Today)}));
      if (found < 0) return Status::Error(Fail::kIo, VADAY.Problem());
      if (found > 0) VADAY.ClearRecord();
      VADAY.SetText(kSite, site.Name);
      VADAY.SetDate(kDated, c_.t.Today);
      // Counters start again with the program and count what is left of the log, which is less after a rotation.
      const bool keep = found == Table::kOk && c_.t.Corrected.KeepHigherDaySum;
      const auto set = [&](Column column, int64_t count) {
        const bool too_wide = Contains(VADAY.Text(column), "*");
        if (!keep || (!too_wide && count > VADAY.Number(column))) VADAY.SetNumber(column, count);
      };
      set(kVisitors, site.TodayVisitors);
      set(kAlerts, site.TodayAlerts);
      set(kSpiders, site.TodaySpiders);
      set(kExceptions, site.TodayExceptions);
      set(kDownloads, site.TodayDownloads);
      found > 0 ? VADAY.Insert() : VADAY.Update();
    }
    return Status::Ok();
  });
}

void VisitDatabase::CloseDatabase() {
  if (open_) UpdateDaySummaries();
  CloseTables(true);
}

void VisitDatabase::CloseTables(bool tell) {
  open_ = false;
  c_.t.CountryLookup = false;
  bool whole = missed_on_ != c_.t.Today;
  for (Table* table : {&VAREF, &VAVIS, &VAVISITS, &VAEXP, &VAPG, &IPCC, &VADL, &VADAY}) {
    if (!table->IsOpen()) continue;
    table->CloseTable();
    whole = whole && table->LastStatus() >= 0;
    if (tell && table->LastStatus() < 0)
      Complain("F.CloseDatabase", table->Problem() + ": what still waited in memory was not written.");
  }
  connection_.Close(whole || !c_.t.Closing);
}

}  // namespace vantry
