// One visit: who it was, and the pages that were seen.
#include <utility>

#include "core/text.h"
#include "views/history_lists.h"

namespace vantry {
namespace {

constexpr int kVisitNoDigits = 5;
constexpr int64_t kFirstError = 401;

class VisitDetailsList final : public HistoryList {
 public:
  VisitDetailsList(HistoryTables& tables, VisitName visit, std::function<std::string(std::string_view)> country_name)
      : HistoryList(ParseColumns("Name                |Value", {{"name"}, {"value"}}), "Visit Details"),
        tables_(tables),
        visit_(std::move(visit)),
        country_name_(std::move(country_name)) {
    const auto& [ip, site] = visit_.visitor;
    walk_ = tables_.InOrder(HistoryTable::kVisitor, 0, {ip, site});
  }

  Status Step(size_t rows) override {
    if (ended_) return Status::Ok();
    const Status status = walk_->Step(rows, [this](const RowView& row) { Take(row); });
    if (!status.ok()) ended_ = true;
    if (status.ok() && walk_->Ended()) GoOn();
    return status;
  }
  bool Ended() const override { return ended_; }

 private:
  enum class Part { kVisitor, kVisit, kPages };

  void Take(const RowView& row) {
    switch (part_) {
      case Part::kVisitor:
        return TakeVisitor(row);
      case Part::kVisit:
        return TakeVisit(row);
      default:
        return TakePage(row);
    }
  }

  void TakeVisitor(const RowView& row) {
    using namespace visitor;
    if (has_visitor_) return;
    has_visitor_ = true;
    dns_ = row.Text(kDNS);
    country_ = row.Text(kCountry);
  }

  void TakeVisit(const RowView& row) {
    using namespace visits;
    if (has_visit_ || WholeNumber(row.Text(kVisitNo)) != visit_.number) return;
    has_visit_ = true;
    time_ = row.Text(kVisitTime);
    browser_ = row.Text(kBrowser);
    referrer_ = row.Text(kReferrer);
    if (row.Text(kSpider) == "Y") spider_ = row.Text(kSpiderT);
  }

  void TakePage(const RowView& row) {
    using namespace pages;
    const std::string page = std::string(row.Text(kPage)) + (row.Number(kStatus) >= kFirstError ? " Error" : "");
    Add({row.Text(kPageTime), std::string_view(page)});
  }

  void GoOn() {
    const auto& [ip, site] = visit_.visitor;
    const std::string number = PadNumber(visit_.number, kVisitNoDigits);
    if (part_ == Part::kVisitor) {
      part_ = Part::kVisit;
      std::vector<std::string> begin{ip, site};
      if (visit_.day) {
        begin.push_back(FormatDayKey(*visit_.day));
        begin.push_back(number);
      }
      walk_ = tables_.InOrder(HistoryTable::kVisits, 0, std::move(begin));
    } else if (part_ == Part::kVisit) {
      part_ = Part::kPages;
      AddHead(number);
      walk_ = tables_.InOrder(HistoryTable::kPageViews, 0, {ip, site, number});
    } else {
      ended_ = true;
    }
  }

  void AddHead(const std::string& number) {
    AddRow("Site", visit_.visitor.site);
    AddRow("IP Address", visit_.visitor.ip);
    if (has_visitor_) {
      AddRow("DNS", dns_);
      AddRow("Country", country_);
      AddRow("Location", country_name_ ? country_name_(country_) : country_);
    } else {
      AddRow("", "Visitor Record Not Found!");
    }
    AddRow("Visit Number", number);
    if (!has_visit_) return AddRow("", "Visit Record Not Found!");
    AddRow("Browser", browser_);
    if (spider_) AddRow("Spider", *spider_);
    AddRow("Referrer", referrer_);
    AddRow(time_, "Session Started");
  }
  void AddRow(std::string_view name, std::string_view value) { Add({name, value}); }

  HistoryTables& tables_;
  VisitName visit_;
  std::function<std::string(std::string_view)> country_name_;
  Part part_ = Part::kVisitor;
  std::unique_ptr<RowWalk> walk_;
  bool has_visitor_ = false, has_visit_ = false, ended_ = false;
  std::string dns_, country_, time_, browser_, referrer_;
  std::optional<std::string> spider_;
};

}  // namespace

std::unique_ptr<HistoryList> VisitDetails(HistoryTables& tables, const VisitName& visit,
                                          std::function<std::string(std::string_view code)> country_name) {
  return std::make_unique<VisitDetailsList>(tables, visit, std::move(country_name));
}

}  // namespace vantry
