// The list of current visitors as plain text, for programs.
#include "core/text.h"
#include "web/page_parts.h"
#include "web/pages.h"

namespace vantry {
namespace {

void AppendVisitors(const LiveTables& t, std::string& out, int16_t site) {
  const std::string& domain = t.Site(site).Domain;
  t.Visitors.ForEach([&](int32_t, const VisitorRec& v) {
    if (v.Site != site) return;
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
  });
}

}  // namespace

std::string GetVisitorsList(const PageContext& c, int, std::string_view domain) {
  std::string out;
  if (domain.empty()) {
    for (int16_t n = 1; n <= c.t.SiteCount(); ++n) AppendVisitors(c.t, out, n);
  } else if (const int16_t site = FindSiteByDomain(c.t, domain)) {
    AppendVisitors(c.t, out, site);
  } else {
    out = "The Domain: " + std::string(domain) + " is not being monitored by Vantry.";
  }
  // The list goes out as text/html, so without this an agent text could be a script in somebody's browser.
  return c.escape ? ReplaceAll(std::move(out), "<", "&lt;") : out;
}

}  // namespace vantry
