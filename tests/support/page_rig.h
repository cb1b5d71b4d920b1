// Every page about visitors whose texts somebody else chose, as a log's are.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/visitor_rows.h"
#include "support/database_rig.h"
#include "support/html_shape.h"
#include "web/pages.h"

namespace vantry {

struct PageRig {
  DatabaseRig rig;
  Settings settings;
  WebClientTable clients;
  PageContext context{rig.t,     settings,      rig.regional, rig.log, rig.clock,
                      rig.files, *rig.database, clients,      "/app/", "2.0.000"};

  PageRig() {
    settings.DDFPath = "/data/";
    for (int i = 0; i < 2; ++i) {
      SiteRec& site = rig.t.Sites[static_cast<size_t>(i)];
      site.Domain = i == 0 ? "www.one.example" : "two.example:8080";
      site.WebAccess = site.WebReferrers = true;
    }
    clients[1].LoggedIn = clients[1].AllSites = clients[2].IsWAP = true;
    clients[1].Path = clients[2].Path = "/";
  }

  // The texts take turns in all the places that a log can fill.
  void Fill(const std::vector<std::string>& texts) {
    size_t at = 0;
    const auto next = [&] { return texts[at++ % texts.size()]; };
    const LogTime now{rig.clock.now.s - 60};
    VisitorRec stored = rig.Visitor("10.0.0.1", "11:00:00");
    const auto fill = [&](auto&... fields) { ((fields = next()), ...); };
    fill(stored.DNS, stored.Page, stored.Referrer, stored.Browser, stored.SpiderName, stored.CountryCode);
    stored.IsSpider = true;
    rig.database->UpdateVisitor(stored, false);
    rig.database->AddVisitToDatabase(stored, next());
    rig.database->AddPageToDatabase(stored);
    rig.database->UpdateVisitInDatabase(stored);
    for (int i = 0; i < 3; ++i) {
      const std::string address = next();
      VisitorRec& v = *rig.t.Visitors.At(rig.t.Visitors.Add(1, address + std::to_string(++visitors_)));
      ++rig.t.Site(1).CurrentVisitors;
      fill(v.DNS, v.Page, v.Referrer, v.Browser, v.CountryCode, v.SpiderName);
      if (i == 1) v.KnownName = next();
      if (i == 2) v.GroupMask = next();
      v.StartTime = v.LastHitTime = now;
      v.IsSpider = i == 2;
      AddSpider(rig.t, v);
      AddAlert(address, now, next);
      rig.t.exGrid.Add({{now, 1}, 404, 1, next()});
    }
  }

  struct Built {
    std::string name, text;
  };
  // Every page but the list of visitors, which is not HTML.
  std::vector<Built> Pages() const {
    std::vector<Built> all;
    for (const Page& page : kPages) {
      if (page.build == GetVisitorsList) continue;
      const bool one_visitor = std::string_view(page.takes[1].name ? page.takes[1].name : "") == "DomainVisitor";
      const std::string argument = one_visitor ? "www.one.example:10.0.0.1!1" : "www.one.example";
      all.push_back({page.operation, page.build(context, 1, page.takes[1].type == 'n' ? "1" : argument)});
    }
    all.push_back({"deck for phones", SitesTable(context, 2)});
    return all;
  }

 private:
  int visitors_ = 0;

  template <class Next>
  void AddAlert(const std::string& address, LogTime when, Next& next) {
    AlertRow row;
    row.when = when;
    row.site = 1;
    row.ip = address;
    for (std::string* field : {&row.dns, &row.page, &row.country, &row.referrer}) *field = next();
    row.alert_no = 10;
    rig.t.logGrid.Add(std::move(row));
  }
};

// A text of the same length and kind that has nothing in it: what of it decides about a page stays, such as whether it
// is an address or empty.
inline std::string Harmless(std::string_view text) {
  std::string out;
  size_t at = 0;
  while (at < text.size() && text[at] == ' ') ++at;
  const auto begins = [&](std::string_view start) { return EqualsNoCase(text.substr(at, start.size()), start); };
  const size_t kept = at + (begins("http://") ? 7 : begins("https://") ? 8 : 0);
  for (size_t i = 0; i < text.size(); ++i) {
    const bool keep = i < kept || static_cast<unsigned char>(text[i]) <= ' ' || text[i] == '-';
    out += keep ? text[i] : 'x';
  }
  return out;
}

// Builds every page with these texts and with harmless ones in their places, both escaped. Returns the name of the
// first page in which a text is more than text, and what is wrong with it; empty if there is none.
inline std::string MoreThanText(std::vector<std::string> texts) {
  PageRig wild, tame;
  wild.context.escape = tame.context.escape = true;
  wild.Fill(texts);
  for (std::string& text : texts) text = Harmless(text);
  tame.Fill(texts);
  const auto got = wild.Pages(), want = tame.Pages();
  for (size_t i = 0; i < got.size(); ++i) {
    if (const std::string script = FindScript(got[i].text); !script.empty()) return got[i].name + ": " + script;
    if (HtmlShape(got[i].text) != HtmlShape(want[i].text)) return got[i].name + ": another shape";
    if (Contains(got[i].text, "\x1b")) return got[i].name + ": an escape character";
  }
  return Contains(GetVisitorsList(wild.context, 1, ""), "<") ? "the list of visitors: a tag" : "";
}

}  // namespace vantry
