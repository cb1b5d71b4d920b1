// The one shared object that builds what web clients see. Each page is one text, built as a whole of the live tables,
// the day's lists and the history as they are at that moment.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "config/settings.h"
#include "core/program_log.h"
#include "core/regional.h"
#include "core/tables.h"
#include "database/visit_database.h"
#include "ports/clock.h"
#include "ports/files.h"
#include "web/connection_table.h"
#include "web/page_text.h"

namespace vantry {

struct InterfaceContext {
  LiveTables& t;
  Settings& settings;
  const Regional& regional;
  ProgramLog& log;
  Clock& clock;
  Files& files;
  VisitDatabase& history;
  std::string app_path;  // The program's folder, with a separator at its end.
  std::string version;
  bool escape = false;  // Texts from logs can't form tags, attributes or scripts.
};

// A page routine reports its failure in the program log under its own name and gives what it has built so far.
class Interface {
 public:
  // Of the sites that visitors came from this many are shown.
  static constexpr int kMaxReferrers = 200;

  // While an Interface lives, visitor changes are raised as events.
  Interface(InterfaceContext context, WebClientTable& clients);
  ~Interface();
  Interface(const Interface&) = delete;
  Interface& operator=(const Interface&) = delete;

  // Client numbers are those of the connection table. Domains are compared without blanks and case.
  std::string SitesTable(int client_no);
  // "ALL" shows all sites in one table, an empty text one table for each.
  std::string VisitorsTable(int client_no, std::string_view domain);
  // "domain:address!visit number".
  std::string VisitorDetailsTable(int client_no, std::string_view domain_visitor);
  // "domain:address".
  std::string PreviousVisitsTable(int client_no, std::string_view domain_visitor);
  // The table of one site's current visitors, or for site 0 of all sites, without a page around it.
  std::string SiteTable(int client_no, int16_t site);
  std::string AlertsTypeList(int client_no, std::string_view domain);
  // Behind "&alertno=" the domain may name one alert.
  std::string AlertsTable(int client_no, std::string_view domain);
  std::string SpidersTable(int client_no, std::string_view domain);
  std::string ExceptionsTable(int client_no, std::string_view domain);
  std::string ReferrersTable(int client_no, std::string_view domain);
  std::string LoginTable(int client_no);
  // Forgets the slot's login and says so.
  std::string InvalidLogin(int client_no);

  // Copies the lines of a visitor, named by its key, out of its site's log into a text file in the data folder and
  // gives that file's name; an empty name for no such visitor.
  std::string ExtractLogEntriesToFile(std::string_view visitor_key, int client_no);

  // The visitors of a domain's first site, or of all sites for an empty domain, as plain text: a line for each with
  // tab-separated fields (domain, visit number, DNS, page, start, last hit, browser, referrer), a tab and LF.
  std::string GetVisitorsList(std::string_view domain) const;

  // The first site with this domain; 0 for none.
  int16_t FindSiteByDomain(std::string_view domain) const;

 private:
  // A text that may have been changed, without a copy where it was not.
  class Shown {
   public:
    Shown(std::string_view text, bool escape);
    Shown(const Shown&) = delete;
    Shown& operator=(const Shown&) = delete;
    operator std::string_view() const { return text_; }

   private:
    std::string changed_;
    std::string_view text_;
  };
  Shown Show(std::string_view text) const { return {text, c_.escape}; }
  std::string PageLink(const SiteRec& site, std::string_view page) const;
  // A link to an address that came from a log.
  std::string LinkTo(std::string_view url, std::string_view text) const;
  std::string PopupLink(std::string_view what, const SiteRec& site, std::string_view argument, std::string_view text,
                        std::string_view title) const;

  std::string Build(const char* name, const std::function<Status(PageText&)>& body);
  Status NeedsHistory();
  void HeaderBar(PageText& page, int client_no);
  std::string UserText(int client_no) const;
  std::string WebFooterFile();
  std::string NotMonitoredPage(std::string_view domain);
  // A page of one table about one site: `rows` fills the table, `after` writes what stands behind it.
  using SitePart = std::function<Status(PageText&, int16_t site)>;
  std::string LiveTable(const char* name, int client_no, std::string_view domain, const SitePart& rows,
                        const std::function<void(PageText&)>& after);
  bool MaySee(int client_no, const SiteRec& site) const;
  struct Sums {  // Of the sites that are shown.
    int64_t current = 0, today = 0, alerts = 0, exceptions = 0, spiders = 0;
  };
  void SitesHead(PageText& page) const;
  void SiteRow(PageText& page, int16_t site, std::string_view path, Sums& sums) const;
  void SitesTotal(PageText& page, const Sums& sums) const;
  void AddSiteTable(PageText& page, int client_no, int16_t site);
  void SiteHead(PageText& page, const SiteRec& site) const;
  void VisitorRows(PageText& page, int16_t site) const;
  void VisitorRow(PageText& page, const VisitorRec& visitor, const SiteRec& site) const;
  struct SiteVisitor {
    int16_t site = 0;  // 0 for an unknown domain.
    std::string_view domain = {}, ip = {};
    int32_t visit = 0;
  };
  SiteVisitor FindVisitor(std::string_view text) const;
  Status DetailRows(PageText& page, int16_t site, std::string_view ip, int32_t visit);
  Status PageRowsOf(PageText& page, int16_t site, std::string_view ip, int32_t visit, int& count);
  Status PreviousRows(PageText& page, const SiteRec& site, std::string_view ip, int& count);
  Status ReferrerRows(PageText& page, const SiteRec& site, int& count);
  bool IsToday(LogTime when) const { return DayOf(when).n == DayOf(c_.clock.Now()).n; }
  void AlertRow(PageText& page, const GridRow& row, const SiteRec& site) const;
  void WapDeck(PageText& page) const;
  void WapCard(PageText& page, int16_t site) const;
  Status ExtractLogEntries(const SiteRec& site, const VisitorRec& v, const std::string& folder, int client_no,
                           std::string& name);
  void AppendVisitors(std::string& out, int16_t site) const;

  InterfaceContext c_;
  LiveTables& t_;
  WebClientTable& clients_;
};

}  // namespace vantry
