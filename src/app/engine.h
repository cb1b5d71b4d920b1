// The one place where everything is put together: it owns the live tables, the settings and the modules, and hands
// references down. One is on `main`'s stack; a test makes as many as it likes.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "alerts/alerts.h"
#include "alerts/exceptions.h"
#include "app/absent_parts.h"
#include "app/daily_parts.h"
#include "app/doors.h"
#include "app/live_edits.h"
#include "config/registry_store.h"
#include "config/settings.h"
#include "config/unread_guard.h"
#include "core/program_log.h"
#include "core/regional.h"
#include "core/tables.h"
#include "database/visit_database.h"
#include "desktop/desktop_module.h"
#include "forms/edit_request.h"
#include "live/event_log.h"
#include "live/live_server.h"
#include "monitors/pause.h"
#include "monitors/service.h"
#include "monitors/sql_check.h"
#include "monitors/touch.h"
#include "notify/daily_report.h"
#include "notify/mail_queue.h"
#include "notify/sms_queue.h"
#include "ports/automation.h"
#include "ports/clock.h"
#include "ports/data_files.h"
#include "ports/file_watch.h"
#include "ports/files.h"
#include "ports/ftp.h"
#include "ports/http.h"
#include "ports/http_server.h"
#include "ports/index_store.h"
#include "ports/line_client.h"
#include "ports/listener.h"
#include "ports/loop.h"
#include "ports/mail.h"
#include "ports/notices.h"
#include "ports/passwords.h"
#include "ports/patterns.h"
#include "ports/ping.h"
#include "ports/programs.h"
#include "ports/random.h"
#include "ports/resolver.h"
#include "ports/service_installer.h"
#include "ports/service_manager.h"
#include "ports/sql_logon.h"
#include "ports/trace_route.h"
#include "ports/who_is.h"
#include "scan/agent_names.h"
#include "scan/log_watch.h"
#include "scan/remote_logs.h"
#include "scan/resolver_queue.h"
#include "scan/scan_cycle.h"
#include "views/program_tables.h"
#include "web/automation.h"
#include "web/web_server.h"

namespace vantry {

// The outside, as the engine is given it.
struct EnginePorts {
  Clock& clock;
  Loop& loop;
  Files& files;
  DataFiles& data_files;
  IndexStore& index;
  Listener& listener;
  Notices& notices;
  Resolver& resolver;
  Mail& mail;
  LineClient& sms;
  Programs& programs;
  AutomationBus& bus;
  Random& random;
  Patterns& patterns;
  FileWatch& watch;
  Ftp& ftp;
  Http& http;
  SqlLogon& sql;
  Ping& ping;
  TraceRoute& route;
  WhoIs& who_is;
  Desktop* window = nullptr;          // Null: nobody looks.
  ServiceManager* service = nullptr;  // Null: the program is no service.
  HttpServer* live = nullptr;         // Null, as the next: no live page.
  Passwords* passwords = nullptr;
};

struct EngineOptions {
  std::string app_path;      // The program's folder, with a separator at its end.
  std::string command_text;  // The command line, trimmed and upper-cased; only whether it is empty matters.
  Regional regional;
  std::string http_proxy = {};  // Of the environment.
  // Takes the lock that keeps a second program off the folder; false when another one holds it. Empty: no lock.
  std::function<bool()> acquire_instance = {};
  // Where the lists that come with the program lie, each with "/" at its end; one in the data folder goes before.
  std::vector<std::string> list_folders = {};
  std::string archiver = {};  // Packs old logs away; empty if there is none.
  bool on_terminal = false;   // A hang-up says that somebody closed it.
  // The machine's list of services, for a program with this data folder. Empty: there is none.
  std::function<std::unique_ptr<ServiceInstaller>(const std::string& data_folder)> service_installer = {};
  std::function<std::unique_ptr<LineClient>()> line_client = {};  // Another one beside that of the short messages.
  std::function<std::unique_ptr<Resolver>()> resolver = {};       // Another one beside that of the visitors.
  std::string importer = {};  // Finds the sites of web servers; empty if there is none.
};

// Major number, ".", minor number, ".", revision with three digits.
std::string AppVersion();

class Engine final : public RemoteControl, public LoginMailer, public WindowCommands {
 public:
  Engine(EnginePorts ports, EngineOptions options);
  ~Engine() override;

  // From process start to running timers: settings, sites, the window's load steps. False when the program is not to
  // run (a service runs already, another instance holds the folder, or starting failed); whoever calls then ends the
  // process.
  bool Main();

  // Saves everything, closes what is open, ends the loop. A second call does nothing.
  void Closing();

  std::string Caption() const override { return pause_.Caption(); }
  bool Monitoring() const override { return timer1_->Enabled(); }
  void Pause() override { service_.Pause(); }
  void Continue() override { service_.Continue(); }
  void Stop() override { Closing(); }
  // Takes over what was edited, and says what that was. Nothing without the correction.
  std::string Reload() override { return TakeOverEdits(true); }
  Status MakeReport(std::string_view site, std::string& path) override { return report_.MakeReport(site, path); }
  std::string TakeEdit(std::string_view token) override;
  // The signal that a closing terminal sends, and that asks a service to read its files again.
  void HangUp();
  // The signals that ask the program to end, and those for the window (Service::kShow, Service::kHide).
  void StopBySignal() { service_.Stop(); }
  void Control(int code) { service_.Control(code); }
  void ShowWindow() override { view_.Show(); }
  void HideWindow() override { view_.Hide(); }
  void SendLoginMail(const std::string& to, const std::string& text, std::function<void()> done) override;

  void RefreshView() override;
  bool SaveSettings() override;
  void SaveSites() override;
  void TrySqlLogon(std::function<void(bool ok, const std::string& text)> told) override {
    sql_check_.SQLLogin(std::move(told));
  }
  void SettingsChanged() override;
  void SendTestMail(const Settings& settings, MailLine line, std::function<void(const std::string&)> done) override;
  void LeaveTestMail() override;
  std::string ExtractLogEntries(std::string_view key) override;
  std::string LookupDNS(std::string_view ip) override { return history_.LookupDNS(ip, nullptr); }
  std::string GetFriendlyName(std::string_view ip) override;
  void ChangeFriendlyName(std::string_view ip, std::string_view site, std::string_view name) override {
    history_.ChangeFriendlyName(ip, site, name);
  }
  void CloseProgram() override { Closing(); }

  LiveTables& Tables() { return t_; }
  Settings& GetSettings() { return settings_; }
  ScanCycle& Scan() { return scan_; }
  WebServer& Web() { return web_; }
  SqlServerCheck& SqlCheck() { return sql_check_; }
  const std::optional<Proxy>& SystemProxy() const { return proxy_; }
  // Why the listener does not listen; empty when it does.
  const std::string& ListenProblem() const { return listen_problem_; }
  // Where the live page is; empty where it is not served.
  std::string LiveAddress() const { return live_ ? live_->Address() : std::string(); }
  // One line: who may look and who may steer.
  std::string Doors() const { return DescribeDoors(security_, settings_); }

 private:
  // What each module is given, by name.
  SmsContext ForSms();
  MailQueueContext ForMail();
  DailyReportContext ForReport();
  AutoArchiveContext ForArchive();
  VisitDatabaseContext ForHistory();
  AlertContext ForAlerts();
  AutomationContext ForAutomation();
  ScanContext ForScan();
  WebContext ForWeb();
  ServiceContext ForService();
  SqlCheckContext ForSqlCheck();
  LiveServerContext ForLive();
  std::vector<std::pair<std::string, double>> HistoryRowCounts() const;

  void InitEngine();
  void ReadRegistry();
  void ChooseDataFolder();
  void WatchEdits();
  void ReadTodaysLists();
  void ReadTodaysEngines();
  void KeepUnreadSites(const Status& status);
  bool LoadWindow();
  void LoadDesktopWindow();
  void ShowFirstView();
  void StaggerSites();
  void StartTimersAndListener();
  std::string SiteFile() const { return options_.app_path + "VANTRY.INI"; }
  void StartLive();
  void SaveRegistry();
  std::string TakeOverEdits(bool at_once);
  void FollowMonitorSettings();
  void Timer1Tick();
  void Timer2Tick();
  void FlushHistory();
  void SavePositions();
  Status WriteSiteFile();
  Status WriteUneditedSites();
  Status CarryOut(const EditRequest& request, std::string& told);
  Status CheckSettingsFile(EditVerb verb);
  void KeepAsleep(const std::function<void()>& write);
  ProgramLogOutlets LogOutlets();
  void AppendToProgramLog(std::string_view bytes);
  int ExceptionNumberAt(int16_t place) const;

  EnginePorts ports_;
  EngineOptions options_;
  std::vector<std::string> problems_;  // Found before it is known that this instance runs; told then.
  LiveTables t_;
  Settings settings_;
  UnreadGuard files_;
  RegistryFile registry_;
  WebSecurity security_;
  bool security_damaged_;
  std::optional<LiveEdits> edits_;  // Only with KeepEdits.
  ProgramLog log_;
  std::optional<Proxy> proxy_;
  std::string site_file_;  // What VANTRY.INI held when it was last read or written here.
  bool edit_told_ = false;
  bool site_file_kept_ = true;  // False when VANTRY.INI holds lines that are nowhere else.
  std::string listen_problem_;
  NoWindow no_window_;
  View& view_;
  SmsQueue sms_;
  UnsentMails unsent_;
  MailQueue mail_;
  uint64_t test_mail_ = 0;  // Under way; 0 for none.
  VisitDatabase history_;
  ProgramTables history_rows_{history_};  // As the window reads them.
  ActedMarks acted_;
  AlertContext alert_context_;
  Exceptions exceptions_;
  Alerts alerts_;
  ResolverQueue names_;
  Automation automation_;
  DailyReport report_;
  DailyParts daily_;

  std::optional<AgentNames> agents_;
  ScanContext scan_context_;
  ScanCycle scan_;
  RemoteLogs ftp_;
  LogWatch log_watch_;
  WebServer web_;
  std::unique_ptr<EventLog> live_events_;  // As the next.
  std::unique_ptr<LiveServer> live_;       // Only with a Port in the section Live.
  TouchMonitor touch_;
  SqlServerCheck sql_check_;
  std::unique_ptr<Timer> timer1_, timer2_, send_timer_, flush_timer_, edit_timer_;
  std::unique_ptr<Timer> touch_timer_, sql_timer_;
  std::unique_ptr<Timer> first_tick_;   // Of a quick start: ticks once, as soon as the loop turns.
  std::unique_ptr<Timer> save_timer_;   // Null without QuietReplay.
  std::unique_ptr<Timer> retry_timer_;  // Null without KeepUnsentMail.
  PauseControl pause_;
  Service service_;
  uint64_t removed_at_return_ = 0;  // Visitors that had left when free memory last went back to the system.
};

}  // namespace vantry
