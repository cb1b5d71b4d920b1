// Tables with visitors and day rows for the tests of lists.
#pragma once

#include <string>
#include <vector>

#include "core/regional.h"
#include "core/tables.h"
#include "core/visitor_rows.h"
#include "desktop/list_model.h"
#include "support/sample_visitor.h"

namespace vantry {

struct ListsRig {
  LiveTables t;
  Regional regional;
  int32_t visits = 0;

  ListsRig() {
    t.HasWindow = true;
    t.Sites.resize(3);
    for (int16_t site = 1; site <= 3; ++site) t.Site(site).Name = "Site " + std::to_string(site);
  }

  VisitorRec& AddVisitor(int16_t site, const std::string& ip, const std::string& name = "") {
    VisitorRec& v = *t.Visitors.At(t.Visitors.Add(site, ip));
    FillSample(v);
    v.VisitNo = ++visits;
    v.DNS = name.empty() ? ip : name;
    AddToGrid(t, v);
    return v;
  }
  void Leave(int16_t site, const std::string& ip) {
    const int32_t number = t.Visitors.Find(site, ip);
    t.Visitors.Remove({&number, 1}, [](VisitorRec&) {});
  }
  void AddAlert(int16_t site, const std::string& dns, int16_t alert_no = 1) {
    AlertRow row;
    row.site = site;
    row.hidden = !ShowsAlert(t, site, alert_no);
    row.ip = row.dns = dns;
    row.alert_no = alert_no;
    row.visit_no = ++visits;
    t.logGrid.Add(std::move(row));
  }
  void View(int16_t site) {
    t.CurrentView = site;
    HideRowsOutsideView(t, [](int16_t) { return 0; });
  }
};

// What a column shows, from the first row to the last.
inline std::vector<std::string> ColumnOf(const ListModel& model, size_t column) {
  std::vector<std::string> texts;
  for (size_t place = 0; place < model.ShownRows(); ++place) texts.push_back(model.CellText(place, column));
  return texts;
}

}  // namespace vantry
