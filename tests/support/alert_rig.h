// Alerts and exceptions on fakes, beside the mail queue; short messages go to the file /sms/POLLED.TXT.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "alerts/alerts.h"
#include "alerts/exceptions.h"
#include "core/lists.h"
#include "support/mail_rig.h"
#include "support/memory_data_files.h"

namespace vantry {

struct RecordingPrograms final : Programs {
  std::map<std::string, std::string> environment;
  std::vector<std::string> started;
  Status answer;
  int32_t most = 0;
  std::function<void(std::string_view)> tell;
  void Limit(int32_t limit, std::function<void(std::string_view)> t) override {
    most = limit;
    tell = std::move(t);
  }
  void SetEnvironment(const std::string& name, const std::string& value) override { environment[name] = value; }
  Status Start(const std::string& path) override {
    started.push_back(path);
    return answer;
  }
  Status Run(const std::string& program, const std::vector<std::string>& arguments,
             const Variables& variables) override {
    std::string call = program;
    for (const std::string& argument : arguments) call += " " + argument;
    for (const auto& [name, value] : variables) call += " " + name + "=" + value;
    started.push_back(call);
    return answer;
  }
};

struct RecordingHistory final : ExceptionHistory {
  bool ready = true;
  std::vector<std::string> rows;  // "site text|when|number|address|visit|value"
  bool DatabaseReady() override { return ready; }
  void AddExceptionToDatabase(const ExceptionRecord& r) override {
    rows.push_back(std::string(r.site_text) + "|" + std::to_string(r.when.s) + "|" + std::to_string(r.number) + "|" +
                   std::string(r.address) + "|" + std::to_string(r.visit_number) + "|" + std::string(r.value));
  }
};

struct AlertRig : MailRig {
  RecordingPrograms programs;
  RecordingHistory history;
  std::string data_folder = "/data/";
  MemoryDataFiles data_files;
  ActedMarks acted{t, data_folder, data_files, log};
  AlertContext context{t, settings, regional, log, clock, files, notices, view, programs, history, queue, sms, acted};
  Exceptions exceptions{
      context, [this](int16_t place) { return settings.ExceptionTypes[static_cast<size_t>(place - 1)].Number; }};
  Alerts alerts{context};

  AlertRig() {
    for (SiteRec& site : t.Sites) {
      site.ScanCount = 2;
      site.ReadOnce = true;
      site.ExLastLowCheck = site.ExLastHighCheck = clock.now;
    }
    AddDefaultExTypes(settings.ExceptionTypes);
    settings.SMSConnect = 1;
    settings.SMSFolder = "/sms/";
  }
  LogTime Noon() const { return {clock.now.s}; }
  ExceptionType& Type(int number) {
    for (ExceptionType& type : settings.ExceptionTypes) {
      if (type.Number == number) return type;
    }
    return settings.ExceptionTypes.emplace_back();
  }
  // Texts of the newest row of the exception list, joined.
  std::string LastRow() const {
    std::string last;
    for (size_t c = 0; c < ex_grid::kCount && t.exGrid.RowCount() > 0; ++c) {
      last.append(c > 0 ? "|" : "").append(ex_grid::kList.Text(*(t.exGrid.end() - 1), c, {t, regional}));
    }
    return last;
  }
};

}  // namespace vantry
