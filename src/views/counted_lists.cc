// Lists that count: referrers, downloads, days.
#include <algorithm>
#include <map>
#include <numeric>
#include <optional>
#include <utility>

#include "core/text.h"
#include "views/history_lists.h"
#include "views/name_counts.h"
#include "views/sort_in_steps.h"

namespace vantry {
namespace {

using Cell = HistoryList::Cell;

int64_t NumberOfDay(std::optional<Day> day) {
  return day ? day->n : 0;
}

std::string SiteOrAll(const std::string& site) {
  return site.empty() ? "All Sites" : site;
}

// Whether a row is of a site: tables know sites by the beginning of their names.
bool IsOfSite(const RowView& row, size_t field, const std::string& site) {
  if (site.empty()) return true;
  return row.Text(field) == Trim(std::string_view(site).substr(0, row.layout.fields[field].width));
}

std::vector<HistoryColumn> ReferrerColumns() {
  return ParseColumns(">No    |>Visits|^First Visit        |^Last Visit         |Name",
                      {{"no", CellKind::kNumber},
                       {"visits", CellKind::kNumber, true},
                       {"first", CellKind::kDay},
                       {"last", CellKind::kDay},
                       {"name"}});
}

std::vector<HistoryColumn> DownloadColumns() {
  return ParseColumns(">No   |>Downloads|^First Visit        |^Last Visit         |Filename",
                      {{"no", CellKind::kNumber},
                       {"downloads", CellKind::kNumber, true},
                       {"first", CellKind::kDay},
                       {"last", CellKind::kDay},
                       {"file"}});
}

// A referrer that was excluded has a count below 0, which stands in the middle of the key's order.
bool Lists(const RowView& row, const DayRange& days) {
  using namespace referrers;
  if (row.Number(kVisits) <= 0) return false;
  const auto first = row.Date(kFirstVDate), last = row.Date(kLastVDate);
  return (!days.from || (last && *last >= *days.from)) && (!days.to || (first && *first <= *days.to));
}

// The referrers of one site: the key has them in order, so that the first rows are there at once.
class SiteReferrers final : public HistoryList {
 public:
  SiteReferrers(HistoryTables& tables, const std::string& site, const DayRange& days)
      : HistoryList(ReferrerColumns(), "Top Referrers: " + site),
        days_(days),
        walk_(tables.InOrder(HistoryTable::kReferrers, 1, {site})) {}

  Status Step(size_t rows) override {
    return walk_->Step(rows, [this](const RowView& row) {
      using namespace referrers;
      if (!Lists(row, days_)) return;
      Add({static_cast<int64_t>(Rows() + 1), row.Number(kVisits), NumberOfDay(row.Date(kFirstVDate)),
           NumberOfDay(row.Date(kLastVDate)), row.Text(kName)});
    });
  }
  bool Ended() const override { return walk_->Ended(); }

 private:
  DayRange days_;
  std::unique_ptr<RowWalk> walk_;
};

// Counts rows by a name, and lists the names when all rows were seen: the highest count first, equal ones by name. The
// sort and the listing are done in steps as well.
class CountedList final : public HistoryList {
 public:
  using Visit = std::function<void(const RowView& row, NameCounts& counts)>;

  CountedList(std::vector<HistoryColumn> columns, std::string title, std::unique_ptr<RowWalk> walk, Visit visit)
      : HistoryList(std::move(columns), std::move(title)), walk_(std::move(walk)), visit_(std::move(visit)) {}

  Status Step(size_t rows) override {
    if (ended_) return Status::Ok();
    if (order_) {
      GoOn(rows);
      return Status::Ok();
    }
    const Status status = walk_->Step(rows, [this](const RowView& row) { visit_(row, counts_); });
    if (!walk_->Ended()) return status;
    std::vector<uint32_t> names(counts_.Size());
    std::iota(names.begin(), names.end(), 0u);
    order_.emplace(std::move(names), BusiestFirst{counts_});
    while (!status.ok() && !ended_) GoOn(rows);
    return status;
  }
  bool Ended() const override { return ended_; }

 private:
  struct BusiestFirst {
    const NameCounts& counts;
    bool operator()(uint32_t a, uint32_t b) const {
      const int64_t count_a = counts.At(a).count, count_b = counts.At(b).count;
      return count_a != count_b ? count_a > count_b : counts.Name(a) < counts.Name(b);
    }
  };

  void GoOn(size_t rows) {
    if (!order_->Done()) return order_->Step(rows);
    const std::vector<uint32_t>& names = order_->Items();
    for (; rows > 0 && Rows() < names.size(); --rows) {
      const uint32_t place = names[Rows()];
      const NameCounts::Count& count = counts_.At(place);
      Add({static_cast<int64_t>(Rows() + 1), count.count, count.first, count.last, counts_.Name(place)});
    }
    if (Rows() < names.size()) return;
    ended_ = true;
    order_.reset();
    counts_ = {};
  }

  std::unique_ptr<RowWalk> walk_;
  Visit visit_;
  NameCounts counts_;
  std::optional<SortInSteps<uint32_t, BusiestFirst>> order_;  // Once all rows were seen.
  bool ended_ = false;
};

// Adds up days, and lists them when all rows were seen.
class DaysList final : public HistoryList {
 public:
  DaysList(HistoryTables& tables, std::string site, const DayRange& range, const std::optional<DaySoFar>& today)
      : HistoryList(ParseColumns("^Date          |>Visitors  |>Alerts   |>Spiders   |>Exceptions |>Downloads",
                                 {{"date", CellKind::kDay},
                                  {"visitors", CellKind::kNumber},
                                  {"alerts", CellKind::kNumber},
                                  {"spiders", CellKind::kNumber},
                                  {"exceptions", CellKind::kNumber},
                                  {"downloads", CellKind::kNumber}}),
                    "Days: " + SiteOrAll(site)),
        site_(std::move(site)),
        range_(range),
        today_(today),
        walk_(tables.All(HistoryTable::kDaySum)) {}

  Status Step(size_t rows) override {
    if (ended_) return Status::Ok();
    const Status status = walk_->Step(rows, [this](const RowView& row) { Take(row); });
    if (walk_->Ended()) Finish();
    return status;
  }
  bool Ended() const override { return ended_; }

 private:
  void Take(const RowView& row) {
    using namespace day_sum;
    const std::optional<Day> day = row.Date(kDated);
    // A row of today is of a run before: the counters have started again since.
    if (!day || !range_.Has(day) || !IsOfSite(row, kSite, site_) || (today_ && *day == today_->day)) return;
    DayCounts& counts = days_[day->n];
    for (size_t i = 0; i < counts.size(); ++i) counts[i] += row.Number(kVisitors + i);
  }
  void Finish() {
    ended_ = true;
    if (today_ && range_.Has(today_->day)) days_[today_->day.n] = today_->counts;
    for (const auto& [day, c] : days_) Add({day, c[0], c[1], c[2], c[3], c[4]});
    days_.clear();
  }

  std::string site_;
  DayRange range_;
  std::optional<DaySoFar> today_;
  std::unique_ptr<RowWalk> walk_;
  std::map<int64_t, DayCounts> days_;
  bool ended_ = false;
};

}  // namespace

std::unique_ptr<HistoryList> TopReferrers(HistoryTables& tables, const std::string& site, const DayRange& days) {
  if (!site.empty()) return std::make_unique<SiteReferrers>(tables, site, days);
  return std::make_unique<CountedList>(
      ReferrerColumns(), "Top Referrers: " + SiteOrAll(site), tables.All(HistoryTable::kReferrers),
      [days](const RowView& row, NameCounts& counts) {
        using namespace referrers;
        if (!Lists(row, days)) return;
        counts.Of(row.Text(kName))
            .Take(row.Number(kVisits), NumberOfDay(row.Date(kFirstVDate)), NumberOfDay(row.Date(kLastVDate)));
      });
}

std::unique_ptr<HistoryList> TopDownloads(HistoryTables& tables, const std::string& site, const DayRange& days,
                                          const std::string& shown) {
  // Dates as texts are compared much quicker than they are read.
  const std::string from = days.from ? FormatDayKey(*days.from) : std::string();
  const std::string to = days.to ? FormatDayKey(*days.to) : std::string();
  return std::make_unique<CountedList>(
      DownloadColumns(), "Top Downloads: " + SiteOrAll(site) + (shown.empty() ? " [All Dates]" : " On: " + shown),
      tables.All(HistoryTable::kDownloads), [site, days, from, to](const RowView& row, NameCounts& counts) {
        using namespace downloads;
        const std::string_view date = row.Raw(kVisitDate);
        if (date < from || (!to.empty() && date > to) || !IsOfSite(row, kSite, site)) return;
        const std::optional<Day> day = row.Date(kVisitDate);
        if (days.Has(day)) counts.Of(row.Text(kDownload)).Take(1, NumberOfDay(day), NumberOfDay(day));
      });
}

std::unique_ptr<HistoryList> Days(HistoryTables& tables, const std::string& site, const DayRange& range,
                                  const std::optional<DaySoFar>& today) {
  return std::make_unique<DaysList>(tables, site, range, today);
}

}  // namespace vantry
