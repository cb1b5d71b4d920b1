#include "notify/list_grid.h"

#include "core/view_summary.h"

namespace vantry {
namespace {

template <class Row>
std::unique_ptr<ReportGrid> GridOf(const ListDescription<Row>& list, const DayList<Row>& day, const ListTexts& with) {
  std::vector<const Row*> rows;
  rows.reserve(day.RowCount());
  for (const Row& row : day) rows.push_back(&row);
  return std::make_unique<ListGrid<Row>>(list, with, std::move(rows));
}

std::unique_ptr<ReportGrid> GridOfVisitors(const ListTexts& with) {
  std::vector<const VisitorRec*> rows;
  rows.reserve(static_cast<size_t>(with.t.Visitors.Count()));
  with.t.Visitors.ForEach([&rows](int32_t, const VisitorRec& v) { rows.push_back(&v); });
  return std::make_unique<ListGrid<VisitorRec>>(vs_grid::kList, with, std::move(rows));
}

}  // namespace

std::unique_ptr<ReportGrid> GridOfView(int view_type, const ListTexts& with) {
  switch (view_type) {
    case kViewAlerts:
      return GridOf(log_grid::kList, with.t.logGrid, with);
    case kViewSpiders:
      return GridOf(spider_grid::kList, with.t.spiderGrid, with);
    case kViewExceptions:
      return GridOf(ex_grid::kList, with.t.exGrid, with);
    default:
      return GridOfVisitors(with);
  }
}

}  // namespace vantry
