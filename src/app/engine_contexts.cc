// What each module of the engine is given. The references may name members that are made later: nobody looks before.
#include "app/engine.h"

namespace vantry {

SmsContext Engine::ForSms() {
  return {.settings = settings_,
          .regional = options_.regional,
          .clock = ports_.clock,
          .files = files_,
          .log = log_,
          .client = ports_.sms,
          .version = AppVersion()};
}

MailQueueContext Engine::ForMail() {
  return {.t = t_,
          .settings = settings_,
          .log = log_,
          .clock = ports_.clock,
          .files = files_,
          .view = view_,
          .mail = ports_.mail,
          .sms = sms_,
          .unsent = &unsent_};
}

DailyReportContext Engine::ForReport() {
  return {.t = t_,
          .settings = settings_,
          .regional = options_.regional,
          .log = log_,
          .files = files_,
          .mail = mail_,
          .app_path = options_.app_path,
          .exception_number = [this](int16_t place) { return ExceptionNumberAt(place); }};
}

AutoArchiveContext Engine::ForArchive() {
  return {.settings = settings_,
          .clock = ports_.clock,
          .files = files_,
          .programs = ports_.programs,
          .app_path = options_.app_path,
          .archiver = options_.archiver};
}

VisitDatabaseContext Engine::ForHistory() {
  return {.t = t_,
          .ddfpath = settings_.DDFPath,
          .log = log_,
          .clock = ports_.clock,
          .registry = registry_,
          .exceptions = exceptions_,
          .files = ports_.data_files,
          .index = ports_.index};
}

AlertContext Engine::ForAlerts() {
  return {.t = t_,
          .settings = settings_,
          .regional = options_.regional,
          .log = log_,
          .clock = ports_.clock,
          .files = files_,
          .notices = ports_.notices,
          .view = view_,
          .programs = ports_.programs,
          .history = history_,
          .mail = mail_,
          .sms = sms_,
          .acted = acted_};
}

AutomationContext Engine::ForAutomation() {
  return {.t = t_,
          .settings = settings_,
          .log = log_,
          .clock = ports_.clock,
          .bus = ports_.bus,
          .pages = [this]() -> const PageContext& { return web_.Pages(); }};
}

ScanContext Engine::ForScan() {
  return {.t = t_,
          .settings = settings_,
          .regional = options_.regional,
          .log = log_,
          .clock = ports_.clock,
          .files = files_,
          .loop = ports_.loop,
          .notices = ports_.notices,
          .view = view_,
          .events = automation_,
          .exceptions = exceptions_,
          .alerts = alerts_,
          .history = history_,
          .names = names_,
          .ftp = ftp_,
          .daily = daily_};
}

WebContext Engine::ForWeb() {
  return {.t = t_,
          .settings = settings_,
          .regional = options_.regional,
          .log = log_,
          .clock = ports_.clock,
          .files = files_,
          .loop = ports_.loop,
          .listener = ports_.listener,
          .control = *this,
          .mailer = *this,
          .history = history_,
          .random = ports_.random,
          .app_path = options_.app_path,
          .version = AppVersion()};
}

ServiceContext Engine::ForService() {
  return {.t = t_,
          .log = log_,
          .view = view_,
          .loop = ports_.loop,
          .registry = registry_,
          .pause = pause_,
          .manager = ports_.service,
          .end_session = [this] { Closing(); }};
}

SqlCheckContext Engine::ForSqlCheck() {
  return {.t = t_,
          .settings = settings_,
          .regional = options_.regional,
          .log = log_,
          .clock = ports_.clock,
          .files = files_,
          .view = view_,
          .server = ports_.sql,
          .exceptions = exceptions_};
}

LiveServerContext Engine::ForLive() {
  return {.resources = {
              .t = t_,
              .settings = settings_,
              .regional = options_.regional,
              .clock = ports_.clock,
              .history = history_rows_,
              .version = AppVersion(),
              .monitoring = [this] { return Monitoring(); },
              .queues = [this] { return LiveQueues{.mails = mail_.Waiting(), .names = ports_.resolver.Pending()}; },
              .history_rows = [this] { return HistoryRowCounts(); },
              .events = live_events_.get()},
          .server = *ports_.live,
          .logins = {.registry = registry_,
                     .clock = ports_.clock,
                     .loop = ports_.loop,
                     .random = ports_.random,
                     .passwords = *ports_.passwords},
          .log = log_,
          .allowed_hosts = security_.allowed_hosts};
}

}  // namespace vantry
