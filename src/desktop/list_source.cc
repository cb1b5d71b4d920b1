#include "desktop/list_source.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "core/text.h"
#include "core/visitor_rows.h"

namespace vantry {
namespace {

// Everything about a list that its description says.
template <class Row>
class DescribedRows : public RowSource {
 public:
  DescribedRows(LiveTables& t, const Regional& regional, const ListDescription<Row>& list)
      : t_(t), with_{t, regional}, list_(list) {}

  size_t Columns() const override { return list_.columns.size(); }
  std::string_view Heading(size_t column) const override { return list_.columns[column].heading; }
  int Width(size_t column) const override { return list_.columns[column].width; }
  Align Side(size_t column) const override { return list_.columns[column].align; }
  bool SortsAsNumber(size_t column) const override { return list_.columns[column].number != nullptr; }
  size_t SiteColumn() const override { return list_.site_column; }

  std::string Text(uint64_t row, size_t column) const override {
    const Row* record = At(row);
    return record ? list_.Text(*record, column, with_) : std::string();
  }
  int64_t Number(uint64_t row, size_t column) const override {
    const Row* record = At(row);
    return record ? list_.columns[column].number(*record) : 0;
  }
  // The icon of a row as a whole stands in its first column.
  int16_t Icon(uint64_t row, size_t column) const override {
    const auto icon = list_.columns[column].icon ? list_.columns[column].icon : column == 0 ? list_.icon : nullptr;
    const Row* record = icon ? At(row) : nullptr;
    return record ? icon(*record) : int16_t{kIconNone};
  }
  uint32_t Colour(uint64_t row) const override {
    const Row* record = list_.colour ? At(row) : nullptr;
    return record ? list_.colour(*record) : kColourDefault;
  }
  std::string Tip(uint64_t) const override { return {}; }

 protected:
  // Null when it is gone.
  virtual const Row* At(uint64_t row) const = 0;

  LiveTables& t_;
  const ListTexts with_;
  const ListDescription<Row>& list_;
};

class VisitorSource final : public DescribedRows<VisitorRec> {
 public:
  VisitorSource(LiveTables& t, const Regional& regional) : DescribedRows(t, regional, vs_grid::kList) {}

  uint64_t Changes() const override { return t_.Visitors.Changes(); }
  void Collect(std::vector<uint64_t>& rows) const override {
    t_.Visitors.ForEach([&](int32_t number, const VisitorRec& v) {
      if (!v.Hidden) rows.push_back(t_.Visitors.ArrivalAt(number));
    });
  }
  std::string Tip(uint64_t row) const override {
    const VisitorRec* v = At(row);
    return v ? VisitorTip(*v, with_.regional) : std::string();
  }
  bool Describe(uint64_t row, SelectedRow& out) const override {
    const VisitorRec* v = At(row);
    if (!v) return false;
    out = {v->Site,
           v->Key(),
           std::string(v->IP),
           Text(row, vs_grid::kDns),
           v->Page + v->Query,
           std::string(v->Referrer),
           v->DNS != v->IP,
           std::string(v->DNS),
           v->VisitCount};
    return true;
  }
  void Taken(uint64_t row) const override {
    if (VisitorRec* v = Visitor(row)) v->GridDirty = false;
  }

 private:
  // All cells of a row are asked for one after the other, and then those of the next.
  VisitorRec* Visitor(uint64_t row) const {
    const VisitorTable& visitors = t_.Visitors;
    for (const int32_t number : {last_, last_ + 1}) {
      if (number < 1 || number > visitors.LastNumber() || visitors.ArrivalAt(number) != row) continue;
      last_ = number;
      return visitors.At(number);
    }
    last_ = visitors.FindArrival(row);
    return visitors.At(last_);
  }
  const VisitorRec* At(uint64_t row) const override { return Visitor(row); }

  mutable int32_t last_ = 0;  // Where the last visitor asked for was; looked at again each time.
};

template <class Row>
class DaySource final : public DescribedRows<Row> {
 public:
  DaySource(LiveTables& t, const Regional& regional, const ListDescription<Row>& list, const DayList<Row>& rows)
      : DescribedRows<Row>(t, regional, list), rows_(rows) {}

  uint64_t Changes() const override { return rows_.Changes(); }
  void Collect(std::vector<uint64_t>& rows) const override {
    uint64_t number = rows_.FirstNumber();
    for (const Row& row : rows_) {
      if (!row.hidden) rows.push_back(number);
      ++number;
    }
  }
  // What is known of the visitor while the visit lasts.
  std::string Tip(uint64_t row) const override {
    if constexpr (kOfVisitors) {
      const Row* record = At(row);
      const VisitorRec* v = record ? this->t_.Visitors.Lookup(record->site, record->ip) : nullptr;
      if (v && v->VisitNo == record->visit_no) return VisitorTip(*v, this->with_.regional);
    }
    return {};
  }
  bool Describe(uint64_t row, SelectedRow& out) const override {
    if constexpr (kOfVisitors) {
      const Row* record = At(row);
      if (!record) return false;
      out = {record->site,
             std::to_string(record->site) + ":" + record->ip,
             record->ip,
             record->dns,
             record->page,
             record->referrer,
             record->dns != record->ip,
             record->dns,
             record->visit_count};
      return true;
    }
    return false;
  }

 private:
  static constexpr bool kOfVisitors = std::is_base_of_v<VisitorDayRow, Row>;
  const Row* At(uint64_t row) const override { return rows_.Has(row) ? &rows_.At(row) : nullptr; }

  const DayList<Row>& rows_;
};

// The pages of one visitor: each row names the one before it.
class PageSource final : public DescribedRows<PageRow> {
 public:
  PageSource(LiveTables& t, const Regional& regional) : DescribedRows(t, regional, page_grid::kList) {}

  // The description's last column may be as wide as it likes; here the page takes what room there is.
  int Width(size_t column) const override { return column == page_grid::kTime ? 9 : DescribedRows::Width(column); }
  // The newest row names all others, but the oldest may be dropped.
  uint64_t Changes() const override {
    const VisitorRec* v = Chosen();
    const std::pair now(v ? v->LastPageRow : PageRows::kNoRow, t_.pageGrid.FirstNumber());
    if (now != seen_) ++changes_;
    seen_ = now;
    return changes_;
  }
  void Collect(std::vector<uint64_t>& rows) const override {
    const VisitorRec* v = Chosen();
    if (!v) return;
    const size_t begin = rows.size();
    uint64_t number = v->LastPageRow;
    for (const PageRow* row = At(number); row; row = At(number)) {
      rows.push_back(number);
      number = row->previous;
    }
    std::reverse(rows.begin() + static_cast<std::ptrdiff_t>(begin), rows.end());
  }
  void ShowPagesOf(const std::string& key) override {
    const size_t colon = key.find(':');
    site_ = colon == std::string::npos ? int16_t{0} : Clamp16(LeadingNumber(key));
    address_ = key.substr(colon == std::string::npos ? key.size() : colon + 1);
    ++changes_;
  }

 private:
  const VisitorRec* Chosen() const { return site_ > 0 ? t_.Visitors.Lookup(site_, address_) : nullptr; }
  const PageRow* At(uint64_t row) const override { return t_.pageGrid.At(row); }

  int16_t site_ = 0;
  std::string address_;
  mutable uint64_t changes_ = 0;
  mutable std::pair<uint64_t, uint64_t> seen_;  // The newest row and the oldest number when Changes was asked last.
};

class TraceSource final : public DescribedRows<TraceRow> {
 public:
  TraceSource(LiveTables& t, const Regional& regional) : DescribedRows(t, regional, trace_grid::kList) {}

  // Its description has none.
  std::string_view Heading(size_t column) const override {
    constexpr std::string_view kHeadings[trace_grid::kCount] = {"Site", "Position", "Line"};
    return kHeadings[column];
  }
  // Logs of gigabytes have places of ten digits.
  int Width(size_t column) const override {
    return column == trace_grid::kPosition ? 12 : DescribedRows::Width(column);
  }

  uint64_t Changes() const override { return t_.TraceGrid.Added(); }
  void Collect(std::vector<uint64_t>& rows) const override {
    for (uint64_t number = First(); number < t_.TraceGrid.Added(); ++number) rows.push_back(number);
  }

 private:
  uint64_t First() const { return t_.TraceGrid.Added() - t_.TraceGrid.RowCount(); }
  const TraceRow* At(uint64_t row) const override {
    return row >= First() && row < t_.TraceGrid.Added() ? &t_.TraceGrid.Row(row - First()) : nullptr;
  }
};

}  // namespace

std::unique_ptr<RowSource> MakeRowSource(LiveTables& t, const Regional& regional, ListKind kind) {
  switch (kind) {
    case ListKind::kVisitors:
      return std::make_unique<VisitorSource>(t, regional);
    case ListKind::kAlerts:
      return std::make_unique<DaySource<AlertRow>>(t, regional, log_grid::kList, t.logGrid);
    case ListKind::kSpiders:
      return std::make_unique<DaySource<SpiderRow>>(t, regional, spider_grid::kList, t.spiderGrid);
    case ListKind::kExceptions:
      return std::make_unique<DaySource<ExceptionRow>>(t, regional, ex_grid::kList, t.exGrid);
    case ListKind::kPages:
      return std::make_unique<PageSource>(t, regional);
    case ListKind::kTrace:
      break;
  }
  return std::make_unique<TraceSource>(t, regional);
}

}  // namespace vantry
