#include "web/automation.h"

#include "core/text.h"
#include "core/text_encoding.h"
#include "web/log_extract.h"
#include "web/page_text.h"

namespace vantry {
namespace {

Status CheckClient(int32_t client_no) {
  if (client_no >= 1 && client_no <= kMaxConnections) return Status::Ok();
  return Status::Error(Fail::kBadData, "ClientNo " + std::to_string(client_no) +
                                           " is no place in the connection table: 1 to " +
                                           std::to_string(kMaxConnections) + " are.");
}

std::string TimeText(LogTime time) {
  const CivilDate date = ToCivil(DayOf(time));
  return PadNumber(date.year, 4) + "-" + PadNumber(date.month, 2) + "-" + PadNumber(date.day, 2) + "T" +
         FormatTime(SecondOfDay(time));
}

bool OfClient(const Page& page) {
  return page.takes[0].type == kClientNo.type;
}

}  // namespace

Automation::Automation(AutomationContext c) : c_(std::move(c)) {
  AddOfSite("LogFileName", "Name", &SiteRec::Name);
  AddOfSite("LogFileDomain", "Domain", &SiteRec::Domain);
  AddOfSite("LogFileCurrentVisitors", "Count", &SiteRec::CurrentVisitors);
  AddOfSite("LogFileTotalSpiders", "Count", &SiteRec::TotalSpiders);
  AddOfSite("LogFileTotalVisitors", "Count", &SiteRec::TotalVisitors);
  AddOfSite("LogFileTotalAlerts", "Count", &SiteRec::TotalAlerts);
  Add({"NumberOfSites", {}, {{'n', "Count"}}, true}, [this](const BusValues&, BusValues& out) {
    out = {c_.t.SiteCount()};
    return Status::Ok();
  });
  // The frame of pages comes before all that belongs to no client.
  for (const Page& page : kPages) {
    if (OfClient(page)) AddPage(page);
  }
  AddFrame();
  for (const Page& page : kPages) {
    if (!OfClient(page)) AddPage(page);
  }
  AddExtract();
}

void Automation::Add(BusOperation operation, Answer answer) {
  operations_.push_back(std::move(operation));
  answers_.push_back(std::move(answer));
}

// Adds an operation that returns this member of a site: 0 or an empty text for a number that is not a site's.
template <class T>
void Automation::AddOfSite(const char* name, const char* gives, T SiteRec::*field) {
  constexpr bool kText = std::is_same_v<T, std::string>;
  Add({name, {{'n', "SiteNumber"}}, {{kText ? 's' : 'i', gives}}}, [this, field](const BusValues& in, BusValues& out) {
    const auto site = std::get<int32_t>(in[0]);
    out = {site < 1 || site > c_.t.SiteCount() ? T{} : c_.t.Site(static_cast<int16_t>(site)).*field};
    return Status::Ok();
  });
}

void Automation::AddPage(const Page& page) {
  BusOperation operation{page.operation, {}, {{'s', page.gives}}};
  for (const BusArgument& argument : page.takes) {
    if (argument.type != 0) operation.takes.push_back(argument);
    if (argument.type == 'i') operation.gives.push_back(argument);
  }
  Add(std::move(operation), [this, &page](const BusValues& in, BusValues& out) {
    size_t at = 0;
    int client_no = 0;
    if (OfClient(page)) {
      client_no = std::get<int32_t>(in[at++]);
      if (Status status = CheckClient(client_no); !status.ok()) return status;
    }
    std::string argument;
    if (at < in.size()) {
      const auto* number = std::get_if<int32_t>(&in[at]);
      argument = number ? std::to_string(*number) : FromBus(std::get<std::string>(in[at]));
      ++at;
    }
    out = {page.build(c_.pages(), client_no, argument)};
    out.insert(out.end(), in.begin() + static_cast<ptrdiff_t>(at), in.end());
    return Status::Ok();
  });
}
// An empty title is the usual one, an empty colour the one of the settings.
void Automation::AddFrame() {
  Add({"HTMLHeader",
       {{'s', "Title"}, {'b', "NoRefreshStop"}, {'s', "BackColour"}},
       {{'s', "Page"}, {'s', "BackColour"}}},
      [this](const BusValues& in, BusValues& out) {
        const auto& title = std::get<std::string>(in[0]);
        auto back_colour = std::get<std::string>(in[2]);
        PageText page(c_.settings, false, false, c_.t.Corrected.ReadablePages);
        page.HTMLHeader(title.empty() ? kDefaultTitle : title, std::get<int32_t>(in[1]) != 0, back_colour);
        out = {page.Take(), back_colour};
        return Status::Ok();
      });
  Add({"HTMLFooter", {}, {{'s', "Page"}}}, [this](const BusValues&, BusValues& out) {
    PageText page(c_.settings);
    page.HTMLFooter();
    out = {page.Take()};
    return Status::Ok();
  });
}

void Automation::AddExtract() {
  Add({"ExtractLogEntriesToFile", {{'s', "VisitorKey"}, kClientNo}, {{'s', "FileName"}}},
      [this](const BusValues& in, BusValues& out) {
        // The number only tells files apart; 0 means none.
        const auto client_no = std::get<int32_t>(in[1]);
        if (Status status = CheckClient(client_no); client_no != 0 && !status.ok()) return status;
        out = {ExtractLogEntriesToFile(c_.pages(), std::get<std::string>(in[0]), client_no)};
        return Status::Ok();
      });
}

Status Automation::Call(size_t operation, const BusValues& in, BusValues& out) {
  return answers_[operation](in, out);
}

// A domain that is not UTF-8 reached the caller in another form than the one in the tables.
std::string Automation::FromBus(std::string_view text) const {
  for (const SiteRec& site : c_.t.Sites) {
    if (IsUtf8(site.Domain)) continue;
    const std::string shown = RepairUtf8(site.Domain);
    if (StartsWith(text, shown)) return site.Domain + std::string(text.substr(shown.size()));
  }
  return std::string(text);
}

bool Automation::Wanted() {
  if (!c_.bus.Ready()) return false;
  if (c_.bus.HasCallers()) return true;
  const int64_t second = c_.clock.Steady().ms / 1'000;
  if (second != second_) {
    second_ = second;
    events_ = 0;
  }
  if (events_ >= kEventsPerSecond) return false;
  ++events_;
  return true;
}

void Automation::VisitorArrived(const std::string& domain, const VisitorRec& v, std::string_view page) {
  if (!Wanted()) return;
  c_.bus.VisitorArrived({domain, std::string(v.IP), TimeText(v.StartTime), std::string(page), std::string(v.Browser),
                         std::string(v.SpiderName), std::string(v.Referrer), v.AlertPending});
}

void Automation::VisitorPageMove(const std::string& domain, const VisitorRec& v) {
  if (Wanted()) c_.bus.VisitorPageMove(domain, v.IP, TimeText(v.LastPageTime), v.Page);
}

void Automation::VisitorLeft(const std::string& domain, const VisitorRec& v) {
  if (Wanted()) c_.bus.VisitorLeft(domain, v.IP);
}

void Automation::DNSResolved(std::string_view address, std::string_view name) {
  if (Wanted()) c_.bus.DNSResolved(address, name);
}

}  // namespace vantry
