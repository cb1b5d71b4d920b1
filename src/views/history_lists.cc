#include "views/history_lists.h"

#include <algorithm>
#include <utility>

#include "core/text.h"

namespace vantry {
namespace {

using Cell = HistoryList::Cell;

constexpr std::string_view kAllSites = " [All Sites]";

int64_t DayNumber(std::optional<Day> day) {
  return day ? day->n : 0;
}

std::string OnSite(const VisitSubject& subject) {
  return subject.ip + (subject.site.empty() ? std::string(kAllSites) : " On Site " + subject.site);
}

bool IsAddress6(std::string_view text) {
  const bool fits = std::all_of(text.begin(), text.end(), [](char c) {
    const char lower = LowerAscii(c);
    return IsDigit(c) || (lower >= 'a' && lower <= 'f') || c == ':' || c == '.';
  });
  return fits && text.size() <= 45 && std::count(text.begin(), text.end(), ':') >= 2;
}

// A list whose rows are rows of a table.
class WalkedList final : public HistoryList {
 public:
  // Makes the cells of a row; none for a row that doesn't belong to the list.
  using Make = std::function<std::vector<Cell>(const RowView& row, size_t number)>;

  WalkedList(std::vector<HistoryColumn> columns, std::string title, std::unique_ptr<RowWalk> walk, Make make)
      : HistoryList(std::move(columns), std::move(title)), walk_(std::move(walk)), make_(std::move(make)) {}

  Status Step(size_t rows) override {
    return walk_->Step(rows, [this](const RowView& row) {
      const std::vector<Cell> cells = make_(row, Rows() + 1);
      if (!cells.empty()) Add(cells);
    });
  }
  bool Ended() const override { return walk_->Ended(); }

 private:
  std::unique_ptr<RowWalk> walk_;
  Make make_;
};

std::vector<HistoryColumn> VisitColumns(bool with_address) {
  std::vector<HistoryColumn> columns = ParseColumns(
      ">No  |Site                     |^ Date            |^Time         |First Page                 |"
      "Last Page                 |>Mins On Site|>Pages Seen|Browser|^Spider|^Hack Exception|Referrer",
      {{"visit", CellKind::kVisitNo},
       {"site"},
       {"date", CellKind::kDay},
       {"time"},
       {"first_page"},
       {"last_page"},
       {"minutes"},
       {"pages", CellKind::kNumber},
       {"browser"},
       {"spider", CellKind::kCheck},
       {"hack", CellKind::kYes},
       {"referrer"}});
  if (with_address) columns.push_back({"IP Address", 15, Align::kLeft, CellKind::kText, "address"});
  return columns;
}

std::vector<Cell> VisitCells(const RowView& row, bool with_address) {
  using namespace visits;
  std::vector<Cell> cells{WholeNumber(row.Text(kVisitNo)).value_or(0),
                          row.Text(kSite),
                          DayNumber(row.Date(kVisitDate)),
                          row.Text(kVisitTime),
                          row.Text(kFirstPage),
                          row.Text(kLastPage),
                          row.Text(kMinsOn),
                          row.Number(kPagesSeen),
                          row.Text(kBrowser),
                          int64_t{row.Text(kSpider) == "Y"},
                          int64_t{row.Text(kHackRaised) == "Y"},
                          row.Text(kReferrer)};
  if (with_address) cells.emplace_back(row.Text(kIP));
  return cells;
}

}  // namespace

VisitSubject ParseSubject(std::string_view text, const std::string& before) {
  text = Trim(text);
  if (StartsWith(text, "[")) {
    const size_t end = text.find(']');
    const std::string_view rest = end == std::string_view::npos ? "" : text.substr(end + 1);
    return {std::string(text.substr(1, end == std::string_view::npos ? end : end - 1)),
            StartsWith(rest, ":") ? std::string(Trim(rest.substr(1))) : before};
  }
  if (IsAddress6(text)) return {std::string(text), before};
  const size_t last = text.rfind(':');
  if (last == std::string_view::npos) return {std::string(text), before};
  // A site's name may have a colon, the address in front of it has none unless it is one of IPv6.
  const size_t colon = IsAddress6(text.substr(0, last)) ? last : text.find(':');
  return {std::string(Trim(text.substr(0, colon))), std::string(Trim(text.substr(colon + 1)))};
}

std::unique_ptr<HistoryList> PreviousVisits(HistoryTables& tables, const VisitSubject& subject, const DayRange& days) {
  const bool with_address = subject.ip.empty();
  std::unique_ptr<RowWalk> walk;
  if (with_address && subject.site.empty()) {
    walk = tables.All(HistoryTable::kVisits);
  } else {
    std::vector<std::string> begin;
    if (!with_address) begin.push_back(subject.ip);
    if (!subject.site.empty()) begin.push_back(subject.site);
    walk = tables.InOrder(HistoryTable::kVisits, with_address ? 1 : 0, std::move(begin));
  }
  return std::make_unique<WalkedList>(VisitColumns(with_address), "Previous Visits For " + OnSite(subject),
                                      std::move(walk), [with_address, days](const RowView& row, size_t) {
                                        if (!days.Has(row.Date(visits::kVisitDate))) return std::vector<Cell>();
                                        return VisitCells(row, with_address);
                                      });
}

std::unique_ptr<HistoryList> VisitsFrom(HistoryTables& tables, const std::string& site, const std::string& referrer) {
  return std::make_unique<WalkedList>(
      VisitColumns(true), "Visits From " + OnSite({referrer, site}), tables.All(HistoryTable::kVisits),
      [site, referrer](const RowView& row, size_t) -> std::vector<Cell> {
        using namespace visits;
        if (row.Text(kReferrer) != referrer) return {};
        const size_t width = row.layout.fields[kSite].width;
        if (!site.empty() && row.Text(kSite) != Trim(std::string_view(site).substr(0, width))) return {};
        return VisitCells(row, true);
      });
}

std::unique_ptr<HistoryList> PreviousDownloads(HistoryTables& tables, const VisitSubject& subject,
                                               const DayRange& days) {
  std::vector<std::string> begin{subject.ip};
  if (!subject.site.empty()) begin.push_back(subject.site);
  return std::make_unique<WalkedList>(
      ParseColumns(">Visit No|Site                      |^ Date             |^Time         | Download File",
                   {{"visit", CellKind::kVisitNo}, {"site"}, {"date", CellKind::kDay}, {"time"}, {"file"}}),
      "Downloaded Files For " + OnSite(subject), tables.InOrder(HistoryTable::kDownloads, 1, std::move(begin)),
      [days](const RowView& row, size_t) -> std::vector<Cell> {
        using namespace downloads;
        if (!days.Has(row.Date(kVisitDate))) return {};
        return {WholeNumber(row.Text(kVisitNo)).value_or(0), row.Text(kSite), DayNumber(row.Date(kVisitDate)),
                row.Text(kVisitTime), row.Text(kDownload)};
      });
}

}  // namespace vantry
