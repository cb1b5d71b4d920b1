// What pages and windows ask of the history: rows by address, site and visit, as records.
#include <initializer_list>

#include "core/text.h"
#include "database/schema.h"
#include "database/visit_database.h"

namespace vantry {
namespace {

std::string VisitNoKey(int32_t visit) {
  return PadNumber(visit, 5);
}

// What it means that a search or a step found no row: the end, or a table that can't be read.
Status EndOfRows(int found, const Table& table) {
  return found < 0 ? Status::Error(Fail::kIo, table.Problem()) : Status::Ok();
}

StoredVisit VisitOf(const Table& t) {
  using namespace visits;
  const auto text = [&](Column field) { return std::string(t.Text(field)); };
  return {.number = text(kVisitNo),
          .date = t.Date(kVisitDate),
          .time = text(kVisitTime),
          .first_page = text(kFirstPage),
          .last_page = text(kLastPage),
          .minutes = text(kMinsOn),
          .pages_seen = t.Number(kPagesSeen),
          .browser = text(kBrowser),
          .is_spider = t.Text(kSpider) == "Y",
          .spider = text(kSpiderT),
          .referrer = text(kReferrer)};
}

// Gives the rows whose key begins with these parts to `take`, from where the last call ended.
template <class Take>
Status ReadBeginning(Table& t, std::initializer_list<std::string_view> parts, RowsPlace& at, size_t most,
                     const Take& take) {
  const std::string wanted(t.Key(parts));
  for (; most > 0 && !at.ended; --most) {
    const int found = at.position.empty() ? t.FindBeginning(wanted) : t.NextBeginning(wanted, at.position);
    at.ended = found != Table::kOk;
    if (at.ended) return EndOfRows(found, t);
    at.position = t.Position();
    take(t);
  }
  return Status::Ok();
}

}  // namespace

Status VisitDatabase::ReadVisitor(std::string_view ip, std::string_view site, std::optional<StoredVisitor>& row) {
  using namespace visitor;
  row.reset();
  const Table& t = VAVIS;
  const int found = FindVisitor(ip, site);
  if (found == Table::kOk) {
    row = {.visits = t.Number(kVisits),
           .first_date = t.Date(kFirstVDate),
           .first_time = std::string(t.Text(kFirstVTime)),
           .dns = std::string(t.Text(kDNS)),
           .country = std::string(t.Text(kCountry))};
  }
  return EndOfRows(found, t);
}

Status VisitDatabase::ReadVisit(const VisitPlace& place, Day day, std::optional<StoredVisit>& row) {
  row.reset();
  Table& t = VAVISITS;
  const int found = t.FindEqual(t.Key({place.ip, place.site, FormatDayKey(day), VisitNoKey(place.visit)}));
  if (found == Table::kOk) row = VisitOf(t);
  return EndOfRows(found, t);
}

Status VisitDatabase::ReadVisits(std::string_view ip, std::string_view site, RowsPlace& at, size_t most,
                                 std::vector<StoredVisit>& rows) {
  return ReadBeginning(VAVISITS, {ip, site}, at, most, [&rows](const Table& t) { rows.push_back(VisitOf(t)); });
}

Status VisitDatabase::ReadPages(const VisitPlace& place, RowsPlace& at, size_t most, std::vector<StoredPage>& rows) {
  using namespace pages;
  return ReadBeginning(VAPG, {place.ip, place.site, VisitNoKey(place.visit)}, at, most, [&rows](const Table& t) {
    rows.push_back({std::string(t.Text(kPageTime)), std::string(t.Text(kPage)), t.Number(kStatus)});
  });
}

// The order of this key is descending, so the site's rows begin at its highest count.
Status VisitDatabase::ReadReferrers(std::string_view site, size_t most, std::vector<StoredReferrer>& rows) {
  using namespace referrers;
  Table& t = VAREF;
  t.SelectKey(1);
  const std::string_view stored_name = Trim(site.substr(0, t.Width(kSite)));
  int found = t.FindNearest(t.Key({site, "99999"}));
  for (; found == Table::kOk; found = t.Step(1)) {
    if (t.Text(kSite) != stored_name || rows.size() == most) break;
    if (t.Number(kVisits) != 0) rows.push_back({t.Number(kVisits), std::string(t.Text(kName))});
  }
  t.SelectKey(0);
  return EndOfRows(found, t);
}

Status VisitDatabase::FindReferrer(std::string_view name, std::string_view site) {
  if (!DatabaseReady()) return Status::Error(Fail::kIo, "The history is not open.");
  const int found = VAREF.FindEqual(VAREF.Key({name, site}));
  if (found == Table::kNotFound) return Status::Error(Fail::kNotFound, "There is no such referrer any more.");
  return EndOfRows(found, VAREF);
}

Status VisitDatabase::ExcludeReferrer(std::string_view name, std::string_view site) {
  if (Status status = FindReferrer(name, site); !status.ok()) return status;
  VAREF.SetNumber(referrers::kVisits, -1);
  return Stored(VAREF.Update(), VAREF);
}

Status VisitDatabase::DeleteReferrer(std::string_view name, std::string_view site) {
  if (Status status = FindReferrer(name, site); !status.ok()) return status;
  return Stored(VAREF.Delete(), VAREF);
}

}  // namespace vantry
