// The list of current visitors as plain text, for programs.
#include <algorithm>

#include "core/text.h"
#include "web/page_parts.h"
#include "web/page_pieces.h"
#include "web/pages.h"

namespace vantry {
namespace {

void AddVisitorLine(std::string& out, std::string_view domain, const VisitorRec& v) {
  const auto add = [&out](std::string_view field) { out.append(field).append("\t"); };
  add(domain);
  add(std::to_string(v.VisitNo));
  add(v.DNS);
  add(v.Page);
  add(FormatTime(SecondOfDay(v.StartTime)));
  add(FormatTime(SecondOfDay(v.LastHitTime)));
  add(v.Browser);
  add(v.Referrer);
  out += '\n';
}

// The list goes out as text/html, so without this an agent text could be a script in somebody's browser.
std::string Tagless(const PageContext& c, std::string text) {
  return c.escape ? ReplaceAll(std::move(text), "<", "&lt;") : text;
}

}  // namespace

PieceSource VisitorsListPieces(const PageContext& c, int client_no, std::string_view domain) {
  auto list = std::make_shared<PagePieces>(c, "Interface.GetVisitorsList");
  const int16_t found = domain.empty() ? int16_t{0} : FindSiteByDomain(c, client_no, domain);
  if (!domain.empty() && found == 0) {
    list->Text() << Tagless(c, "The Domain: " + std::string(domain) + " is not being monitored by Vantry.");
    return SourceOf(list);
  }
  const int16_t last = found > 0 ? found : c.t.SiteCount();
  for (int16_t n = std::max<int16_t>(found, 1); n <= last; ++n) {
    if (!MayShow(c, client_no, c.t.Site(n))) continue;
    const auto visitors = std::make_shared<SiteVisitors>(c.t, n);
    list->Add([&c, n, visitors](PageText& text) {
      return visitors->Some(text, [&](const VisitorRec& v) {
        std::string line;
        AddVisitorLine(line, c.t.Site(n).Domain, v);
        text << Tagless(c, std::move(line));
      });
    });
  }
  return SourceOf(list);
}

std::string GetVisitorsList(const PageContext& c, int client_no, std::string_view domain) {
  return WholeText(VisitorsListPieces(c, client_no, domain));
}

}  // namespace vantry
