// The day of one site as a file, mailed to whoever asked for it: today's alerts, spiders and exceptions, one below the
// other.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "config/settings.h"
#include "core/program_log.h"
#include "core/regional.h"
#include "core/tables.h"
#include "notify/mail_queue.h"
#include "ports/files.h"

namespace vantry {

struct DailyReportContext {
  LiveTables& t;
  const Settings& settings;
  const Regional& regional;
  ProgramLog& log;
  Files& files;
  MailQueue& mail;
  const std::string& app_path;  // The program's folder, with a separator at its end: reports are made there.
  // The number of the exception type at a 1-based place of the type table, 0 for none.
  std::function<int(int16_t place)> exception_number;
};

class DailyReport {
 public:
  explicit DailyReport(DailyReportContext context) : c_(std::move(context)) {}

  // Makes the report of the site, which must be the one that CurrentView shows, and puts it in line as the attachment
  // of a mail to the site's own address and, if there is none or the site wants both, to the general one. The file
  // stays. A failure is reported as that of "frmLog.SendDailyReport", and nothing is mailed.
  void SendDailyReport(int16_t site);

  // Makes the report of the site with this name and mails nothing. `path` is where it is. Names are compared as they
  // are, and then without regard to case, blanks at their ends and encoding. kNotFound if no site has the name.
  Status MakeReport(std::string_view site_name, std::string& path);

 private:
  int16_t SiteNamed(std::string_view name) const;
  Status Write(int16_t site, std::string& path);
  void MailTo(const std::string& address, int16_t site, const std::string& path);

  DailyReportContext c_;
};

}  // namespace vantry
