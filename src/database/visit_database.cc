// Opening, closing and upkeep. The record operations stand in record_operations.cc.
#include "database/visit_database.h"

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
  // Whoever is still at work while the program closes must not open the tables again.
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
    return true;
  }
  Complain("CreateDatabase", status.text + " No history is written until this is put right; it is tried again.");
  return false;
}

// Tables that are open already stay so: a second attempt costs what was missing in the first.
Status VisitDatabase::CreateDatabase() {
  struct Row {
    Table& table;
    const TableSchema& schema;
  };
  const Row rows[] = {{VAVISITS, visits::Schema()},  {VAVIS, visitor::Schema()}, {VAREF, referrers::Schema()},
                      {VAEXP, exceptions::Schema()}, {VAPG, pages::Schema()},    {VADL, downloads::Schema()},
                      {VADAY, day_sum::Schema()}};
  for (const Row& row : rows) {
    row.table.CreateTable(c_.ddfpath, Table::kReadWrite, row.schema.fields, row.schema.keys);
  }
  for (const Table* table : {&VAVIS, &VAREF, &VAVISITS, &VAEXP, &VAPG, &VADL, &VADAY}) {
    if (table->LastStatus() != Table::kOk) return Status::Error(Fail::kIo, table->Problem() + ".");
  }
  if (DatabaseVersion == 0) {
    DatabaseVersion = 1;
    WriteRegistryValue(c_.registry, "Settings", "DatabaseVersion", "1");
  }
  return Status::Ok();
}

// The country table is optional: that it is missing is no complaint, and what keeps all tables closed is told once.
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

void VisitDatabase::FlushAll() {
  Table* const tables[] = {&VAREF, &VAVIS, &VAVISITS, &VAEXP, &VAPG, &VADL, &VADAY};
  if (!open_) return;
  AfterWriting(Attempt([&] { return c_.t.ScanInProgress ? connection_.WriteOut(tables) : connection_.Flush(tables); }));
}

void VisitDatabase::AfterWriting(const Status& status) {
  if (status.ok()) return;
  Complain("F.FlushDatabase", status.text + ". What was not written waits in memory and is tried again.");
  // A folder that is gone or was exchanged: what follows must not go into files that nobody can find.
  if (status.fail == Fail::kNotFound) CloseTables();
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
      VADAY.SetNumber(kVisitors, site.TodayVisitors);
      VADAY.SetNumber(kAlerts, site.TodayAlerts);
      VADAY.SetNumber(kSpiders, site.TodaySpiders);
      VADAY.SetNumber(kExceptions, site.TodayExceptions);
      VADAY.SetNumber(kDownloads, site.TodayDownloads);
      found > 0 ? VADAY.Insert() : VADAY.Update();
    }
    return Status::Ok();
  });
}

void VisitDatabase::CloseDatabase() {
  if (open_) UpdateDaySummaries();
  CloseTables();
}

void VisitDatabase::CloseTables() {
  open_ = false;
  c_.t.CountryLookup = false;
  for (Table* table : {&VAREF, &VAVIS, &VAVISITS, &VAEXP, &VAPG, &IPCC, &VADL, &VADAY}) {
    if (!table->IsOpen()) continue;
    table->CloseTable();
    if (table->LastStatus() < 0)
      Complain("F.CloseDatabase", table->Problem() + ": what still waited in memory is lost.");
  }
  connection_.Close();
}

}  // namespace vantry
