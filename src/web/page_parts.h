// What several pages share: frames, the bar on top, and what happens when a page fails.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "ports/listener.h"
#include "web/page_context.h"
#include "web/page_pieces.h"
#include "web/page_text.h"

namespace vantry {

// Whether the login in this place opens the site: it sees all of them, or has the site's own name and password.
bool MaySee(const PageContext& c, int client_no, const SiteRec& site);

// Whether the site may stand on a page for this place: with OwnSiteOnly a login shows nothing but what it opens.
bool MayShow(const PageContext& c, int client_no, const SiteRec& site);

// The first site with this domain that may be shown, compared without blanks and case; 0 for none.
int16_t FindSiteByDomain(const PageContext& c, int client_no, std::string_view domain);

// Returns what `body` has written. Its failure is reported in the program log under `name`.
std::string BuildPage(const PageContext& c, const char* name, const std::function<Status(PageText&)>& body);

// Opens the history where it is not open yet.
Status NeedsHistory(const PageContext& c);

void HeaderBar(const PageContext& c, PageText& page, int client_no);

// A whole page that says that this domain is unknown.
std::string NotMonitoredPage(const PageContext& c, std::string_view domain);

// A page of one table about one site: `add_rows` adds the parts that fill the table, `after` writes what follows it.
struct LivePage {
  const char* name;  // In the program log.
  std::string_view domain;
  std::function<void(PagePieces&, int16_t site)> add_rows;
  // Called last, when the slot may have another client and the query is gone.
  std::function<void(PageText&)> after;
};
PieceSource LiveTable(const PageContext& c, int client_no, const LivePage& live);

// A row of column headings.
void AddHeadings(PageText& page, std::initializer_list<std::string_view> titles);

}  // namespace vantry
