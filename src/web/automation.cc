#include "web/automation.h"

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

Status CheckClient(int16_t client_no) {
  if (client_no >= 1 && client_no <= kMaxConnections) return Status::Ok();
  return Status::Error(Fail::kBadData, "ClientNo " + std::to_string(client_no) +
                                           " is no place in the connection table: 1 to " +
                                           std::to_string(kMaxConnections) + " are.");
}

std::string TimeText(LogTime time) {
  const CivilDate date = ToCivil(DayOf(time));
  return PadNumber(date.year, 4) + "-" + PadNumber(date.month, 2) + "-" + PadNumber(date.day, 2) + "T" +
         FormatTime(SecondOfDay(time));
}

}  // namespace

// A domain that is no UTF-8 reached the caller in another form than the tables have it in.
std::string Automation::FromBus(std::string_view text) const {
  for (const SiteRec& site : c_.t.Sites) {
    if (IsUtf8(site.Domain)) continue;
    const std::string shown = RepairUtf8(site.Domain);
    if (StartsWith(text, shown)) return site.Domain + std::string(text.substr(shown.size()));
  }
  return std::string(text);
}

Status Automation::Page(int16_t client_no, DomainPage build, std::string_view domain, std::string& page) {
  Status status = CheckClient(client_no);
  if (status.ok()) page = (c_.interface().*build)(client_no, FromBus(domain));
  return status;
}

Status Automation::Page(int16_t client_no, PlainPage build, std::string& page) {
  Status status = CheckClient(client_no);
  if (status.ok()) page = (c_.interface().*build)(client_no);
  return status;
}

Status Automation::VisitorsTable(int16_t client_no, std::string_view domain, std::string& page) {
  return Page(client_no, &Interface::VisitorsTable, domain, page);
}

Status Automation::SiteTable(int16_t client_no, int16_t site, std::string& page) {
  Status status = CheckClient(client_no);
  if (status.ok()) page = c_.interface().SiteTable(client_no, site);
  return status;
}

Status Automation::VisitorDetailsTable(int16_t client_no, std::string_view domain_visitor, std::string& page) {
  return Page(client_no, &Interface::VisitorDetailsTable, domain_visitor, page);
}

Status Automation::PreviousVisitsTable(int16_t client_no, std::string_view domain_visitor, std::string& page) {
  return Page(client_no, &Interface::PreviousVisitsTable, domain_visitor, page);
}

Status Automation::SitesTable(int16_t client_no, std::string& page) {
  return Page(client_no, &Interface::SitesTable, page);
}

Status Automation::AlertsTypeList(int16_t client_no, std::string_view domain, std::string& page) {
  return Page(client_no, &Interface::AlertsTypeList, domain, page);
}

Status Automation::AlertsTable(int16_t client_no, std::string_view domain, std::string& page) {
  return Page(client_no, &Interface::AlertsTable, domain, page);
}

Status Automation::SpidersTable(int16_t client_no, std::string_view domain, std::string& page) {
  return Page(client_no, &Interface::SpidersTable, domain, page);
}

Status Automation::ExceptionsTable(int16_t client_no, std::string_view domain, std::string& page) {
  return Page(client_no, &Interface::ExceptionsTable, domain, page);
}

Status Automation::LoginTable(int16_t client_no, std::string& page) {
  return Page(client_no, &Interface::LoginTable, page);
}

Status Automation::InvalidLogin(int16_t client_no, std::string& page) {
  return Page(client_no, &Interface::InvalidLogin, page);
}

Status Automation::ReferrersTable(int16_t client_no, std::string_view domain, std::string& page) {
  return Page(client_no, &Interface::ReferrersTable, domain, page);
}

std::string Automation::HTMLHeader(std::string_view title, bool no_refresh, std::string& back_colour) {
  PageText page(c_.settings);
  page.HTMLHeader(title.empty() ? kDefaultTitle : title, no_refresh, back_colour);
  return page.Take();
}

std::string Automation::HTMLFooter() {
  PageText page(c_.settings);
  page.HTMLFooter();
  return page.Take();
}

std::string Automation::GetVisitorsList(std::string_view domain) {
  return c_.interface().GetVisitorsList(FromBus(domain));
}

Status Automation::ExtractLogEntriesToFile(std::string_view visitor_key, int16_t client_no, std::string& name) {
  Status status = CheckClient(client_no);
  if (status.ok()) name = c_.interface().ExtractLogEntriesToFile(visitor_key, client_no);
  return status;
}

bool Automation::Wanted() {
  if (!c_.bus.Ready()) return false;
  if (c_.bus.HasCallers()) return true;
  const int64_t second = c_.clock.Steady().ms / 1'000;
  if (second != second_) {
    second_ = second;
    events_ = 0;
  }
  if (events_ >= kEventsPerSecond) return false;
  ++events_;
  return true;
}

void Automation::VisitorArrived(const std::string& domain, const VisitorRec& v, std::string_view page) {
  if (!Wanted()) return;
  c_.bus.VisitorArrived(
      {domain, v.IP, TimeText(v.StartTime), std::string(page), v.Browser, v.SpiderName, v.Referrer, v.AlertPending});
}

void Automation::VisitorPageMove(const std::string& domain, const VisitorRec& v) {
  if (Wanted()) c_.bus.VisitorPageMove(domain, v.IP, TimeText(v.LastPageTime), v.Page);
}

void Automation::VisitorLeft(const std::string& domain, const VisitorRec& v) {
  if (Wanted()) c_.bus.VisitorLeft(domain, v.IP);
}

void Automation::DNSResolved(std::string_view address, std::string_view name) {
  if (Wanted()) c_.bus.DNSResolved(address, name);
}

}  // namespace vantry
