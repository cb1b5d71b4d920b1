// What a tick does beside the scan, put together.
#pragma once

#include "monitors/auto_archive.h"
#include "notify/daily_report.h"
#include "scan/scan_context.h"

namespace vantry {

class DailyParts final : public DailyWork {
 public:
  DailyParts(DailyReport& report, AutoArchiveContext archive) : report_(report), archive_(std::move(archive)) {}
  void SendDailyReport(int16_t site) override { report_.SendDailyReport(site); }
  Status CheckAutoArchive() override { return archive_.CheckAutoArchive(); }

 private:
  DailyReport& report_;
  AutoArchive archive_;
};

}  // namespace vantry
