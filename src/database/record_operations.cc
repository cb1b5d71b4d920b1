// Which table gets which record at which moment, and how each value is formatted.
#include <algorithm>
#include <functional>
#include <initializer_list>

#include "core/agent_text.h"
#include "core/exception_numbers.h"
#include "core/quiet_lines.h"
#include "core/text.h"
#include "core/visitor_rows.h"
#include "database/schema.h"
#include "database/visit_database.h"

namespace vantry {
namespace {

constexpr int kVisitNoDigits = 5, kPageNoDigits = 4;

std::string VisitNo(const VisitorRec& v) {
  return PadNumber(v.VisitCount, kVisitNoDigits);
}

std::string TimeText(LogTime time) {
  return FormatTime(SecondOfDay(time));
}

// Names by today's lists are longer than the fields; they are shortened to what still holds. Classic ones are cut.
void SetBrowser(Table& table, size_t field, const VisitorRec& v, bool todays_names) {
  table.SetText(field, todays_names ? FitBrowser(v.Browser, table.Width(field)) : std::string_view(v.Browser));
}

void SetSpider(Table& table, size_t field, const VisitorRec& v, bool todays_names) {
  table.SetText(field, todays_names ? FitSpider(v.SpiderName, table.Width(field)) : std::string_view(v.SpiderName));
}

const char* YesNo(bool yes) {
  return yes ? "Y" : "N";
}

// Date and time fields joined; blank ones are the zero date-time.
LogTime Joined(std::optional<Day> day, std::string_view time) {
  return MakeLogTime(day.value_or(Day{}), ParseTime(time).value_or(0));
}

// Makes the first record of the address on any site the current one, if there is one. An address longer than the field
// finds the first record that begins like it.
bool FindAddress(Table& table, std::string_view ip) {
  return table.FindBeginning(table.Key({ip})) == Table::kOk;
}

Status Result(int result, const Table& table) {
  return result < 0 ? Status::Error(Fail::kIo, table.Problem()) : Status::Ok();
}

// The hash of these columns of the record buffer.
uint64_t BufferHash(const Table& table, std::initializer_list<size_t> columns) {
  std::string texts;
  for (const size_t column : columns) texts.append(table.Text(column)).push_back('\0');
  return std::hash<std::string>{}(texts);
}

// Addresses are left out: where there was one, a name may have arrived since.
uint64_t ExceptionHash(const Table& t) {
  using namespace exceptions;
  return BufferHash(t, {kSite, kExDate, kExTime, kNumber, kValue, kVisitNo});
}

uint64_t DownloadHash(const Table& t) {
  using namespace downloads;
  return BufferHash(t, {kIP, kSite, kVisitNo, kVisitDate, kVisitTime, kDownload, kStatus});
}

}  // namespace

std::string_view CutReferrer(std::string_view referrer) {
  referrer = Trim(referrer);
  if (!referrer.empty() && referrer.back() == '/') referrer.remove_suffix(1);
  // Behind "http://" and "https://" alike.
  return referrer.substr(0, referrer.find('/', 8));
}

std::string CountryKey(std::string_view ip) {
  const auto parts = Split(Trim(ip), '.');
  if (parts.size() != 4) return {};
  std::string key;
  for (const std::string_view part : parts) {
    if (part.empty() || part.size() > 3 || part.find_first_not_of("0123456789") != std::string_view::npos) return {};
    if (!key.empty()) key += '.';
    key.append(3 - part.size(), '0').append(part);
  }
  return key;
}

std::vector<std::string> SharedHistories(const LiveTables& t) {
  const size_t bytes = t.Corrected.WideKeys ? kWideSiteBytes : kSiteBytes;
  std::map<std::string, std::vector<std::string>> groups;
  for (const SiteRec& site : t.Sites) {
    std::string stored = site.Name.substr(0, bytes);
    stored.resize(bytes, ' ');
    groups[stored].push_back('"' + site.Name + '"');
  }
  std::vector<std::string> lines;
  for (const auto& [stored, names] : groups) {
    if (names.size() < 2) continue;
    std::string line = "The sites ";
    for (size_t i = 0; i < names.size(); ++i) line += (i == 0 ? "" : i + 1 < names.size() ? ", " : " and ") + names[i];
    lines.push_back(line + " share their history, as its tables keep only the first " + std::to_string(bytes) +
                    " characters of a site's name. Rename them in VANTRY.INI to tell them apart.");
  }
  return lines;
}

const std::string& VisitDatabase::SiteName(const VisitorRec& visitor) const {
  return c_.t.Site(visitor.Site).Name;
}

int VisitDatabase::FindVisit(const VisitorRec& v) {
  return VAVISITS.FindEqual(VAVISITS.Key({v.IP, SiteName(v), FormatDayKey(DayOf(v.StartTime)), VisitNo(v)}),
                            v.VisitRow);
}

int VisitDatabase::FindVisitor(std::string_view ip, std::string_view site) {
  return VAVIS.FindEqual(VAVIS.Key({ip, site}));
}

void VisitDatabase::AddVisitToDatabase(VisitorRec& v, std::string_view first_page) {
  using namespace visits;
  if (!ReadyToStore()) return;
  Store("F.AddVisitToDatabase", [&] {
    Table& t = VAVISITS;
    if (const int found = FindVisit(v); found <= 0) {
      if (found == Table::kOk) v.VisitRow = t.CurrentRow();
      return Result(found, t);
    }
    t.ClearRecord();
    t.SetText(kIP, v.IP);
    t.SetText(kSite, SiteName(v));
    t.SetText(kAlert, YesNo(v.AlertPending));
    t.SetNumber(kAlertNo, v.AlertNo);
    t.SetText(kVisitNo, VisitNo(v));
    t.SetDate(kVisitDate, DayOf(v.StartTime));
    t.SetText(kVisitTime, TimeText(v.StartTime));
    t.SetText(kFirstPage, first_page);
    t.SetText(kLastPage, first_page);
    SetBrowser(t, kBrowser, v, c_.t.Corrected.TodaysNames);
    t.SetText(kSpider, YesNo(v.IsSpider));
    SetSpider(t, kSpiderT, v, c_.t.Corrected.TodaysNames);
    t.SetText(kReferrer, CutReferrer(v.Referrer));
    t.SetNumber(kPagesSeen, 1);
    t.SetText(kActive, "Y");
    const int inserted = t.Insert();
    if (inserted == Table::kOk) v.VisitRow = t.CurrentRow();
    return Stored(inserted, t);
  });
}

void VisitDatabase::AddPageToDatabase(const VisitorRec& v) {
  using namespace pages;
  Store("F.AddPageToDatabase", [&] {
    if (Status status = NeedsOpen(); !status.ok()) return status;
    Table& t = VAPG;
    const std::string visit = VisitNo(v), page = PadNumber(v.Pages, kPageNoDigits);
    if (const int found = t.FindEqual(t.Key({v.IP, SiteName(v), visit, page})); found <= 0) return Result(found, t);
    t.ClearRecord();
    t.SetText(kIP, v.IP);
    t.SetText(kSite, SiteName(v));
    t.SetText(kVisitNo, visit);
    t.SetText(kPage, v.Page);
    t.SetText(kPageNo, page);
    t.SetDate(kPageDate, DayOf(v.LastPageTime));
    t.SetText(kPageTime, TimeText(v.LastPageTime));
    t.SetNumber(kStatus, v.Status);
    return Stored(t.Insert(), t);
  });
}

// Without a search first: the first key of this table holds the record's number, so no record would be found.
void VisitDatabase::AddDownload(const VisitorRec& v) {
  using namespace downloads;
  ++c_.t.Site(v.Site).TodayDownloads;
  Store("F.AddDownload", [&] {
    if (Status status = NeedsOpen(); !status.ok()) return status;
    Table& t = VADL;
    std::string_view file = v.Page;
    file.remove_prefix(file.rfind('/') + 1);
    file.remove_prefix(file.rfind('\\') + 1);
    t.ClearRecord();
    t.SetText(kIP, v.IP);
    t.SetText(kSite, SiteName(v));
    t.SetDate(kVisitDate, DayOf(v.LastPageTime));
    t.SetText(kVisitTime, TimeText(v.LastPageTime));
    t.SetText(kVisitNo, VisitNo(v));
    t.SetText(kDownload, file);
    t.SetNumber(kStatus, v.Status);
    if (!c_.t.Site(v.Site).ReadOnce && downloads_before_run_.Take(DownloadHash(t))) return Status::Ok();
    return Stored(t.Insert(), t);
  });
}

void VisitDatabase::UpdateVisitInDatabase(const VisitorRec& v) {
  using namespace visits;
  if (!ReadyToStore()) return;
  Store("F.UpdateVisitInDatabase", [&] {
    if (const int found = FindVisit(v); found != Table::kOk) return Result(found, VAVISITS);
    Table& t = VAVISITS;
    t.SetText(kLastPage, v.Page);
    t.SetNumber(kPagesSeen, v.Pages);
    t.SetText(kMinsOn, MinutesText(v.LastHitTime.s - v.StartTime.s));
    t.SetText(kActive, "N");
    if (c_.t.Corrected.TestEveryPage && v.AlertRaised) {
      t.SetText(kAlert, YesNo(true));
      t.SetNumber(kAlertNo, v.AlertNo);
    }
    t.SetText(kHackRaised, YesNo(v.HackRaised));
    t.SetText(kFlags, std::string(YesNo(!v.KnownName.empty())) + YesNo(!v.GroupMask.empty()));
    return Stored(t.Update(), t);
  });
}

void VisitDatabase::UpdateVisitor(VisitorRec& v, bool skip_referrer) {
  if (!ReadyToStore()) return;
  Store("F.UpdateVisitor", [&] {
    if (Status status = WriteVisitor(v, !skip_referrer); !status.ok()) return status;
    return skip_referrer ? Status::Ok() : WriteReferrer(v);
  });
}

std::optional<VisitDatabase::NumberedVisit> VisitDatabase::FindStoredVisit(const VisitorRec& v, LogTime start) {
  using namespace visits;
  Table& t = VAVISITS;
  const std::string wanted(t.Key({v.IP, SiteName(v), FormatDayKey(DayOf(start))}));
  for (int found = t.FindBeginning(wanted); found == Table::kOk; found = t.NextBeginning(wanted)) {
    if (t.Text(kVisitTime) == TimeText(start)) return NumberedVisit{LeadingNumber(t.Text(kVisitNo)), t.CurrentRow()};
  }
  return std::nullopt;
}

int32_t VisitDatabase::LastNumberBefore(const VisitorRec& v) {
  using namespace visits;
  Table& t = VAVISITS;
  int32_t number = 0;
  const std::string wanted(t.Key({v.IP, SiteName(v)}));
  for (int found = t.FindBeginning(wanted); found == Table::kOk; found = t.NextBeginning(wanted)) {
    const bool before = Joined(t.Date(kVisitDate), t.Text(kVisitTime)) < v.StartTime;
    if (before) number = std::max(number, LeadingNumber(t.Text(kVisitNo)));
  }
  return number;
}

void VisitDatabase::ReadStoredRows() {
  const auto read = [this](Table& t, size_t date, uint64_t (*hash)(const Table&), StoredRows& rows) {
    for (uint32_t row = t.RowCount(); row > 0; --row) {
      if (!t.LoadRow(row)) continue;
      const Day day = t.Date(date).value_or(Day{});
      if (day < c_.t.Today) break;
      if (day == c_.t.Today) rows.Add(hash(t));
    }
    rows.Sort();
  };
  read(VAEXP, exceptions::kExDate, ExceptionHash, exceptions_before_run_);
  read(VADL, downloads::kVisitDate, DownloadHash, downloads_before_run_);
  CountStoredExceptions();
}

// Those of lines are counted when the lines are read again.
void VisitDatabase::CountStoredExceptions() {
  using namespace exceptions;
  Table& t = VAEXP;
  const auto site_of = [&](std::string_view text) {
    for (int16_t n = 1; n <= c_.t.SiteCount(); ++n) {
      const std::string site_text = (c_.t.Site(n).Name + ": ").substr(0, t.Width(kSite));
      if (Trim(site_text) == Trim(text)) return n;
    }
    return int16_t{0};
  };
  struct Row {
    int16_t site;
    int number;
    LogTime when;
    std::string value, address;
  };
  std::vector<Row> rows;
  for (uint32_t row = t.RowCount(); row > 0; --row) {
    if (!t.LoadRow(row)) continue;
    const Day day = t.Date(kExDate).value_or(Day{});
    if (day < c_.t.Today) break;
    const auto number = static_cast<int>(t.Number(kNumber));
    if (day != c_.t.Today || !IsOfNoLine(number)) continue;
    rows.push_back({site_of(t.Text(kSite)), number, Joined(day, t.Text(kExTime)), std::string(t.Text(kValue)),
                    std::string(t.Text(kIP))});
  }
  for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
    c_.exceptions.CountStored(row->site, row->number, row->when, row->value, row->address);
  }
}

void VisitDatabase::DropStoredRows() {
  if (exceptions_before_run_.Empty() && downloads_before_run_.Empty()) return;
  const auto read = [](const SiteRec& site) { return site.ReadOnce || site.Deleted; };
  if (!std::all_of(c_.t.Sites.begin(), c_.t.Sites.end(), read)) return;
  exceptions_before_run_.Clear();
  downloads_before_run_.Clear();
}

// In a replay, and in the first scan after a hard stop, which begins where the site file was last written: an earlier
// run has stored those visits.
bool VisitDatabase::IsReadAgain(const VisitorRec& v, uint32_t visit_row) const {
  const SiteRec& site = c_.t.Site(v.Site);
  return site.ReplayUntilPos != 0 || (IsFirstReading(c_.t, site) && visit_row <= visits_before_run_);
}

Status VisitDatabase::WriteVisitor(VisitorRec& v, bool new_visit) {
  using namespace visitor;
  Table& t = VAVIS;
  const int found = FindVisitor(v.IP, SiteName(v));
  if (found < 0) return Result(found, t);
  if (found > 0) {
    t.ClearRecord();
    t.SetDate(kFirstVDate, DayOf(v.StartTime));
    t.SetText(kFirstVTime, TimeText(v.StartTime));
    t.SetNumber(kVisits, 0);
    t.SetText(kSpider, YesNo(v.IsSpider));
    SetSpider(t, kSpiderT, v, c_.t.Corrected.TodaysNames);
    t.SetText(kSite, SiteName(v));
    t.SetText(kCountry, v.CountryCode);
    t.SetNumber(kHackCount, 0);
  }
  t.SetText(kIP, v.IP);
  SetBrowser(t, kBrowser, v, c_.t.Corrected.TodaysNames);
  t.SetText(kDNS, v.DNS);
  const LogTime last = Joined(t.Date(kLastVDate), t.Text(kLastVTime));
  if (v.StartTime > last) {
    t.SetNumber(kVisits, t.Number(kVisits) + 1);
    t.SetDate(kLastVDate, DayOf(v.StartTime));
    t.SetText(kLastVTime, TimeText(v.StartTime));
  }
  v.VisitCount = static_cast<int32_t>(t.Number(kVisits));
  // Lines that are read again bring visits from before the last one: each keeps its own rows. Elsewhere such a visit
  // comes from a log whose times run backwards, and has the count of all visits like any other.
  if (new_visit) v.ReadAgain = false;
  if (v.StartTime < last && (new_visit || v.ReadAgain)) {
    const auto stored = FindStoredVisit(v, v.StartTime);
    // A kill may have left the visit in this row and not in its own.
    const bool cut_off = !stored && c_.t.Corrected.QuietReplay && IsFirstReading(c_.t, c_.t.Site(v.Site));
    if (new_visit) v.ReadAgain = cut_off || (stored && IsReadAgain(v, stored->row));
    if (stored && v.ReadAgain) v.VisitCount = stored->visit_no;
    if (new_visit && cut_off) v.VisitCount = LastNumberBefore(v) + 1;
  }
  v.KnownName = Trim(t.Text(kName));
  v.FirstVisited = Joined(t.Date(kFirstVDate), t.Text(kFirstVTime));
  const Status status = Stored(found > 0 ? t.Insert() : t.Update(), t);
  if (new_visit && v.VisitCount >= c_.t.Site(v.Site).ExValue133 && !v.IsSpider) {
    // No page was counted yet, so this has the machine's time: read again, the visit would have another.
    const LogTime when = c_.t.Corrected.QuietReplay ? v.StartTime : v.LastPageTime;
    c_.exceptions.AddException(v.Site, kExManyVisits, when, std::to_string(v.VisitCount), v.DNS, v.VisitCount);
  }
  return status;
}

Status VisitDatabase::WriteReferrer(const VisitorRec& v) {
  using namespace referrers;
  if (Trim(v.Referrer).empty()) return Status::Ok();
  Table& t = VAREF;
  const std::string_view name = CutReferrer(v.Referrer);
  const int found = t.FindEqual(t.Key({name, SiteName(v)}));
  if (found < 0) return Result(found, t);
  if (found > 0) {
    t.ClearRecord();
    t.SetDate(kFirstVDate, DayOf(v.StartTime));
    t.SetText(kFirstVTime, TimeText(v.StartTime));
    t.SetNumber(kVisits, 0);
    t.SetText(kSite, SiteName(v));
    t.SetText(kName, name);
  }
  if (v.StartTime > Joined(t.Date(kLastVDate), t.Text(kLastVTime))) {
    // A count of -1 is a referrer that was excluded: counted on, the second visit would list it again.
    const bool excluded = c_.t.Corrected.KeepExcluded && t.Number(kVisits) < 0;
    if (!excluded) t.SetNumber(kVisits, t.Number(kVisits) + 1);
    t.SetDate(kLastVDate, DayOf(v.StartTime));
    t.SetText(kLastVTime, TimeText(v.StartTime));
  }
  return Stored(found > 0 ? t.Insert() : t.Update(), t);
}

void VisitDatabase::AddExceptionToDatabase(const ExceptionRecord& record) {
  using namespace exceptions;
  if (!open_) return Miss();
  Table& t = VAEXP;
  t.ClearRecord();
  t.SetText(kSite, record.site_text);
  t.SetDate(kExDate, DayOf(record.when));
  t.SetText(kExTime, TimeText(record.when));
  t.SetNumber(kNumber, record.number);
  t.SetText(kIP, record.address);
  t.SetText(kVisitNo, PadNumber(record.visit_number, kVisitNoDigits));
  t.SetText(kValue, record.value);
  if (record.may_be_stored && exceptions_before_run_.Take(ExceptionHash(t))) return;
  (void)Stored(t.Insert(), t);
}

void VisitDatabase::UpdateHackCount(VisitorRec& v) {
  Store("F.UpdateHackCount", [&] {
    if (Status status = NeedsOpen(); !status.ok()) return status;
    if (const int found = FindVisitor(v.IP, SiteName(v)); found != Table::kOk) return Result(found, VAVIS);
    int64_t count = VAVIS.Number(visitor::kHackCount);
    // The row says itself which visit was counted last, so that whoever reads the lines again, counts it once.
    const bool remembers = c_.t.Corrected.QuietReplay;
    const bool counted =
        remembers && !c_.t.Site(v.Site).ReadOnce && LeadingNumber(VAVIS.Text(visitor::kFlags)) >= v.VisitCount;
    if (!counted) VAVIS.SetNumber(visitor::kHackCount, ++count);
    if (!counted && remembers) VAVIS.SetText(visitor::kFlags, VisitNo(v));
    v.StoredHackCount = Clamp16(static_cast<int32_t>(count));
    return Stored(VAVIS.Update(), VAVIS);
  });
}

void VisitDatabase::ChangeFriendlyName(std::string_view ip, std::string_view site, std::string_view name) {
  if (!DatabaseReady()) return;
  Guard("F.ChangeFriendlyName", [&] {
    if (const int found = FindVisitor(ip, site); found != Table::kOk) return Result(found, VAVIS);
    VAVIS.SetText(visitor::kName, name);
    return Stored(VAVIS.Update(), VAVIS);
  });
}

void VisitDatabase::GetFriendlyName(std::string_view ip, std::string& name) {
  if (!DatabaseReady()) return;
  Guard("F.GetFriendlyName", [&] {
    if (FindAddress(VAVIS, ip) && VAVIS.Text(visitor::kIP) == Trim(ip)) name = Trim(VAVIS.Text(visitor::kName));
    return Result(VAVIS.LastStatus(), VAVIS);
  });
}

std::string VisitDatabase::LookupDNS(std::string_view ip, VisitorRec* v) {
  if (!DatabaseReady()) return {};
  if (ip == last_dns_ip_) return last_dns_;
  last_dns_ip_ = ip;
  last_dns_.clear();
  Guard("F.LookupDNS", [&] {
    // An address too long for its field was cut: the row found may be of another address.
    if (!FindAddress(VAVIS, ip) || VAVIS.Text(visitor::kIP) != Trim(ip)) return Result(VAVIS.LastStatus(), VAVIS);
    const std::string_view name = Trim(VAVIS.Text(visitor::kDNS));
    // A visitor's address serves as its name until one is found, so it is not a name.
    if (name != Trim(ip)) last_dns_ = name;
    if (v) v->KnownName = Trim(VAVIS.Text(visitor::kName));
    return Status::Ok();
  });
  return last_dns_;
}

std::string VisitDatabase::LookupCountryCode(std::string_view ip) {
  std::string code;
  Guard("F.LookupCountryCode", [&] {
    if (!IPCC.IsOpen()) return Status::Error(Fail::kIo, "the country table is not open");
    const std::string key = CountryKey(ip);
    if (key.empty()) return Status::Ok();
    const int found = IPCC.FindNearest(key);
    if (found < 0) return Result(found, IPCC);
    // The range begins after the address: the one before it may hold the address.
    if (found == Table::kOk && IPCC.FieldValue("IP") > key) IPCC.Step(-1);
    code = Trim(IPCC.FieldValue("Country"));
    return Status::Ok();
  });
  return code;
}

void VisitDatabase::UpdateDNS(std::string_view ip, std::string_view name) {
  if (!DatabaseReady()) return;
  Guard("F.UpdateDNS", [&] {
    const std::string address(VAVIS.Key({ip}));
    for (int found = VAVIS.FindBeginning(address); found == Table::kOk; found = VAVIS.NextBeginning(address)) {
      VAVIS.SetText(visitor::kDNS, name);
      if (Status status = Result(VAVIS.Update(), VAVIS); !status.ok()) return status;
    }
    return Result(VAVIS.LastStatus(), VAVIS);
  });
}

}  // namespace vantry
