// The one shared object that builds what web clients see.
#pragma once

#include <string>
#include <string_view>

#include "config/settings.h"
#include "core/tables.h"
#include "web/connection_table.h"

namespace vantry {

class Interface {
 public:
  // While an Interface lives, visitor changes are raised as events. `escape`: texts from logs can't form tags.
  Interface(LiveTables& tables, WebClientTable& clients, bool escape);
  ~Interface();
  Interface(const Interface&) = delete;
  Interface& operator=(const Interface&) = delete;

  // The visitors of a domain's first site, or of all sites for an empty domain, as plain text: a line for each with
  // tab-separated fields (domain, visit number, DNS, page, start, last hit, browser, referrer), a tab and LF.
  std::string GetVisitorsList(std::string_view domain) const;

  // A plain form that posts to its own URL.
  std::string LoginTable() const;
  // Forgets the slot's login and says so.
  std::string InvalidLogin(int client_no);
  // Stands where a page is not built yet.
  std::string PageNotBuilt(std::string_view name) const;

  // The first site with this domain, blanks and case apart; 0 for none.
  int16_t FindSiteByDomain(std::string_view domain) const;

 private:
  void AppendVisitors(std::string& out, int16_t site) const;
  LiveTables& t_;
  WebClientTable& clients_;
  bool escape_;
};

}  // namespace vantry
