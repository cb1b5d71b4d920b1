// Alerts and exceptions whose mails are collected and never go out.
#pragma once

#include "alerts/alerts.h"
#include "alerts/exceptions.h"
#include "bench/null_parts.h"
#include "ports/automation.h"
#include "ports/ftp.h"
#include "ports/http.h"
#include "ports/sql_logon.h"

namespace vantry::bench {

class NullMail final : public Mail {
 public:
  using Mail::Send;
  uint64_t Send(MailMessage, MailDone, MailLine) override { return 1; }
  void Forget(uint64_t) override {}
  void Finish(int64_t) override {}
};

class NullFtp final : public Ftp {
 public:
  std::unique_ptr<FtpClient> NewClient(FtpEvents&) override { return nullptr; }  // Of sites by FTP alone.
};

class NullHttp final : public Http {
 public:
  int64_t Get(const std::string&, HttpDone) override { return 1; }
  void Reset(int64_t) override {}
};

class NullSql final : public SqlLogon {
 public:
  void LogOn(SqlServerLogin, SqlLogonDone) override {}
};

class NullLine final : public LineClient {
 public:
  void OnEvents(LineClientEvents) override {}
  void Connect(const std::string&, int32_t, const std::string&) override {}
  bool IsConnected() const override { return false; }
  void Send(std::string_view) override {}
  void Close() override {}
};

class NullPrograms final : public Programs {
 public:
  void SetEnvironment(const std::string&, const std::string&) override {}
  Status Start(const std::string&) override { return Status::Ok(); }
  Status Run(const std::string&, const std::vector<std::string>&, const Variables&) override { return Status::Ok(); }
  void Limit(int32_t, std::function<void(std::string_view)>) override {}
};

class NoDataFiles final : public DataFiles {
 public:
  Status Open(const std::string&, OpenFor, std::unique_ptr<DataFile>&) override { return No(); }
  Status Identify(const std::string&, FileIdentity&) override { return No(); }
  Status Remove(const std::string&) override { return No(); }
  Status Replace(const std::string&, const std::string&) override { return No(); }

 private:
  static Status No() { return Status::Error(Fail::kRefused, "there are no files"); }
};

class NullBus final : public AutomationBus {
 public:
  void Open(AutomationCalls&) override {}
  bool Ready() const override { return false; }
  bool HasCallers() const override { return false; }
  void VisitorArrived(const VisitorArrival&) override {}
  void DNSResolved(std::string_view, std::string_view) override {}
  void VisitorPageMove(std::string_view, std::string_view, std::string_view, std::string_view) override {}
  void VisitorLeft(std::string_view, std::string_view) override {}
  void Close() override {}
};

// Takes every exception and keeps none.
class DoNothingExceptionHistory final : public ExceptionHistory {
 public:
  bool DatabaseReady() override { return true; }
  void AddExceptionToDatabase(const ExceptionRecord&) override {}
};

struct AlertParts {
  explicit AlertParts(Rig& rig, ExceptionHistory& history)
      : sms({rig.settings, rig.regional, rig.clock, rig.files, rig.log, line, ""}),
        queue({rig.t, rig.settings, rig.log, rig.clock, rig.files, rig.view, mail, sms}),
        acted(rig.t, folder, data_files, rig.log),
        context{rig.t,    rig.settings, rig.regional, rig.log, rig.clock, rig.files, rig.notices,
                rig.view, programs,     history,      queue,   sms,       acted},
        exceptions(context, [](int16_t) { return 0; }),
        alerts(context) {
    AddDefaultExTypes(rig.settings.ExceptionTypes);
    rig.settings.EmailServer = "mail.example";
    rig.settings.EmailSendTo = "admin@example";
  }
  NullMail mail;
  NullLine line;
  NullPrograms programs;
  SmsQueue sms;
  MailQueue queue;
  std::string folder = "/nowhere/";
  NoDataFiles data_files;
  ActedMarks acted;
  AlertContext context;
  Exceptions exceptions;
  Alerts alerts;
};

}  // namespace vantry::bench
