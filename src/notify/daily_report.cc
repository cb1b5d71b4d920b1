#include "notify/daily_report.h"

#include <string>

#include "core/text.h"
#include "core/text_encoding.h"
#include "core/view_summary.h"
#include "core/visitor_rows.h"
#include "notify/grid_to_html.h"
#include "notify/list_grid.h"

namespace vantry {
namespace {

constexpr struct {
  ViewType type;
  std::string_view title;
} kParts[] = {{kViewAlerts, "Alerts"}, {kViewSpiders, "Spiders"}, {kViewExceptions, "Exceptions"}};

// A value that is put back, whatever happens in between.
class Restored {
 public:
  explicit Restored(int16_t& value) : value_(value), before_(value) {}
  ~Restored() { value_ = before_; }
  Restored(const Restored&) = delete;
  Restored& operator=(const Restored&) = delete;

 private:
  int16_t& value_;
  int16_t before_;
};

}  // namespace

void DailyReport::SendDailyReport(int16_t site) {
  c_.log.Guard("frmLog.SendDailyReport", [&] {
    std::string path;
    if (Status status = Write(site, path); !status.ok()) return status;
    const SiteRec& s = c_.t.Site(site);
    if (!s.EmailAddress.empty()) MailTo(s.EmailAddress, site, path);
    if (s.EmailAddress.empty() || s.EmailGlobalAlso) MailTo(c_.settings.EmailSendTo, site, path);
    return Status::Ok();
  });
}

void DailyReport::MailTo(const std::string& address, int16_t site, const std::string& path) {
  if (address.empty()) return;
  c_.mail.SendMailNow({.send_to = address,
                       .body = "Daily Report For Site:" + c_.t.Site(site).Name,
                       .attachment = path,
                       .is_html = true});
}

Status DailyReport::MakeReport(std::string_view site_name, std::string& path) {
  const int16_t site = SiteNamed(site_name);
  if (site == 0) return Status::Error(Fail::kNotFound, "There is no site '" + std::string(site_name) + "'");
  const auto show = [&] { HideRowsOutsideView(c_.t, c_.exception_number); };
  Status status;
  {
    const Restored view(c_.t.CurrentView);
    c_.t.CurrentView = site;
    show();
    status = Attempt([&] { return Write(site, path); });
  }
  show();
  return status;
}

int16_t DailyReport::SiteNamed(std::string_view name) const {
  const auto first = [this](const auto& fits) -> int16_t {
    for (int16_t n = 1; n <= c_.t.SiteCount(); ++n) {
      if (!c_.t.Site(n).Deleted && fits(c_.t.Site(n).Name)) return n;
    }
    return 0;
  };
  const int16_t exact = first([name](const std::string& other) { return other == name; });
  if (exact != 0) return exact;
  const std::string wanted = ToUtf8(name);
  return first([&](const std::string& other) { return EqualsNoCase(Trim(ToUtf8(other)), Trim(wanted)); });
}

// What the window shows meanwhile is put back before anybody can see it.
Status DailyReport::Write(int16_t site, std::string& path) {
  const std::string& name = c_.t.Site(site).Name;
  path = c_.app_path + name + " Daily Report.htm";
  // In another folder it would overwrite what is not a report.
  if (name.find_first_of(std::string_view("/\0", 2)) != std::string::npos) {
    return Status::Error(Fail::kIo, path + ": the site's name can't be a file's");
  }
  if (Status status = c_.files.Remove(path); !status.ok()) return status;
  const Restored type(c_.t.CurrentViewType);
  for (const auto& part : kParts) {
    c_.t.CurrentViewType = part.type;
    const std::string caption = EscapeHTML(HeaderSummary(c_.t));
    const bool first = part.type == kViewAlerts, last = part.type == kViewExceptions;
    const ReportPart as{.title = part.title, .subtitle = caption, .append = !first, .finish = last};
    Status status = GridToHTML(*GridOfView(part.type, {c_.t, c_.regional}), c_.files, path, as);
    if (!status.ok()) return status;
  }
  return Status::Ok();
}

}  // namespace vantry
