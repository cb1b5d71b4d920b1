#include "app/engine.h"

#include "build_stamp.h"
#include "config/correction_switches.h"
#include "config/followed_files.h"
#include "config/settings_file.h"
#include "config/site_file.h"
#include "core/text.h"
#include "core/visitor_rows.h"
#include "platform/free_memory.h"
#include "web/log_extract.h"

namespace vantry {
namespace {

constexpr char kSettings[] = "Settings";

}  // namespace

std::string AppVersion() {
  return std::to_string(VANTRY_VERSION_MAJOR) + "." + std::to_string(VANTRY_VERSION_MINOR) + "." +
         PadNumber(VANTRY_VERSION_REVISION, 3);
}

Engine::Engine(EnginePorts ports, EngineOptions options)
    : ports_(ports),
      options_(std::move(options)),
      files_(ports.files),
      registry_(files_, options_.app_path + "registry.ini"),
      security_(ReadSecurity(registry_, problems_)),
      security_damaged_(!problems_.empty()),
      log_(t_, options_.regional, LogOutlets()),
      view_(ports.window ? static_cast<View&>(*ports.window) : no_window_),
      sms_(ForSms()),
      unsent_(settings_.DDFPath, files_, ports_.data_files),
      mail_(ForMail()),
      history_(ForHistory()),
      acted_(t_, settings_.DDFPath, ports_.data_files, log_),
      alert_context_(ForAlerts()),
      exceptions_(alert_context_, [this](int16_t place) { return ExceptionNumberAt(place); }),
      alerts_(alert_context_),
      names_(scan_context_, ports_.resolver),
      automation_(ForAutomation()),
      report_(ForReport()),
      daily_(report_, ForArchive()),
      scan_context_(ForScan()),
      scan_(
          scan_context_, [this] { return timer1_->Enabled(); },
          [this](int16_t place) { return ExceptionNumberAt(place); }),
      ftp_(scan_context_, scan_, ports_.ftp),
      log_watch_(scan_context_, scan_, ports_.watch, [this] { return timer1_->Enabled(); }),
      web_(ForWeb(), security_),
      touch_({t_, ports_.clock, ports_.loop, ports_.http, exceptions_}),
      sql_check_(ForSqlCheck()),
      timer1_(ports_.loop.NewTimer(ScanCycle::kTimer1Ms, [this] { Timer1Tick(); })),
      timer2_(ports_.loop.NewTimer(ScanCycle::kTimer2Ms, [this] { Timer2Tick(); })),
      send_timer_(ports_.loop.NewTimer(MailQueue::kSendTimerMs, [this] { mail_.SendTimerTick(); })),
      flush_timer_(ports_.loop.NewTimer(VisitDatabase::kFlushAllMs, [this] { FlushHistory(); })),
      edit_timer_(ports_.loop.NewTimer(LiveEdits::kLookMs, [this] { TakeOverEdits(false); })),
      touch_timer_(ports_.loop.NewTimer(TouchMonitor::kTouchTimerMs, [this] { touch_.TouchTimerTick(); })),
      sql_timer_(ports_.loop.NewTimer(SqlServerCheck::kTimerMs, [this] { sql_check_.TimerTick(); })),
      pause_(t_, log_, view_, AppVersion()),
      service_(ForService()) {
  pause_.AddTimer(*timer1_);
  pause_.AddTimer(*timer2_);
  pause_.AddTimer(*send_timer_);
  pause_.AddTimer(
      *touch_timer_, [this] { return touch_.Wanted(); }, PauseControl::AtResume::kAlways);
  pause_.AddTimer(*sql_timer_, [this] { return settings_.SQLServer; });
}

Engine::~Engine() = default;

ProgramLogOutlets Engine::LogOutlets() {
  return {[this] { return ports_.clock.Now(); }, [this](std::string_view bytes) { AppendToProgramLog(bytes); },
          [this] { ports_.notices.Beep(); },
          [this](std::string_view text) { ports_.notices.MessageBox(BoxKind::kCritical, text); },
          [this](std::string_view text, EventLevel level) { ports_.notices.LogEvent(text, level); }};
}

// Also inside a scan that lets the loop turn: the minutes go on then too.
void Engine::Timer1Tick() {
  scan_.Timer1Tick();
  t_.Activity.Feed(t_, {ports_.clock.Now().s - ports_.clock.UtcOffset()});
}

void Engine::Timer2Tick() {
  scan_.Timer2Tick();
  constexpr uint64_t kMany = 20'000;  // Visitors that left: some megabytes.
  const uint64_t removed = t_.Visitors.Removed();
  if (t_.ScanInProgress || removed - removed_at_return_ < kMany) return;
  removed_at_return_ = removed;
  ReturnFreeMemory();
}

// What its folder or its disk does not take goes to the console: it may be about them.
void Engine::AppendToProgramLog(std::string_view bytes) {
  const Status status = files_.Append(settings_.DDFPath + "TRL.LOG", bytes);
  const std::string_view text = bytes.substr(0, bytes.rfind("\r\n"));
  if (!status.ok() && !text.empty()) ports_.notices.Tell(std::string(text) + " (" + status.text + ")");
}

int Engine::ExceptionNumberAt(int16_t place) const {
  const auto i = static_cast<size_t>(place) - 1;
  return i < settings_.ExceptionTypes.size() ? settings_.ExceptionTypes[i].Number : 0;
}

bool Engine::Main() {
  bool running = false;
  log_.Guard("Main", [&] {
    t_.Started = ports_.clock.Now();
    InitEngine();
    t_.Sites.clear();
    if (const Status status = ReadINI(files_, options_.app_path, options_.regional, t_); !status.ok()) {
      KeepUnreadSites(status);
    }
    (void)files_.Read(SiteFile(), site_file_);
    for (SiteRec& site : t_.Sites) {
      if (!t_.Corrected.FollowRotation) ForgetFollowed(site);
      site.Stored = static_cast<const ReadState&>(site);
    }
    t_.TimeBias = ports_.clock.UtcOffset();
    running = LoadWindow();
    return Status::Ok();
  });
  return running;
}

// The site file is written from what was read, so what follows a bad line would be gone with the first write.
void Engine::KeepUnreadSites(const Status& status) {
  const std::string path = SiteFile();
  if (status.fail != Fail::kBadData) {
    problems_.push_back("No site is watched: " + status.text + ". The file is left as it is.");
    return;
  }
  std::string bytes;
  const std::string copy = files_.Read(path, bytes).ok() ? KeepCopy(files_, path, bytes) : std::string();
  site_file_kept_ = !copy.empty();
  problems_.push_back(status.text + (site_file_kept_ ? " The file as it was is kept as " + copy + "."
                                                     : " It can't be copied, so no change of a site will be saved."));
}

void Engine::InitEngine() {
  ReadRegistry();
  WatchEdits();
  ChooseDataFolder();
  t_.Today = DayOf(ports_.clock.Now());
  if (const Status status = ReadRobotsCache(files_, settings_.DDFPath, t_); !status.ok()) {
    problems_.push_back(status.text + ". It is left as it is, and what is learnt about spiders will not be saved.");
  }
  proxy_ = ReadProxy(registry_, options_.http_proxy);
  if (edits_) edits_->BeginDataFolder();
  for (std::string& problem :
       ReadSettingsINI(files_, options_.app_path, settings_, t_.Countries, t_.Corrected.OneDataFolder)) {
    problems_.push_back(std::move(problem));
  }
  ReadTodaysLists();
  if (std::string warning = EmptyLoginWarning(settings_, t_.Corrected); !warning.empty()) {
    problems_.push_back(std::move(warning));
  }
}

void Engine::ReadRegistry() {
  t_.Corrected = ReadCorrections(registry_, problems_);
  history_.DatabaseVersion = Clamp16(LeadingNumber(ReadRegistryValue(registry_, kSettings, "DatabaseVersion", "0")));
  t_.CurrentViewType =
      static_cast<int16_t>(LeadingNumber(ReadRegistryValue(registry_, kSettings, "CurrentViewType", "1")));
  t_.ShowVisitedPages = ParseBool(ReadRegistryValue(registry_, kSettings, "ShowVisitedPages", "True")).value_or(true);
  t_.ShowTraceView = ParseBool(ReadRegistryValue(registry_, kSettings, "ShowTraceView", "True")).value_or(true);
}

void Engine::ChooseDataFolder() {
  settings_.DDFPath = ReadRegistryValue(registry_, kSettings, "DDFPath", "");
  if (settings_.DDFPath.empty()) {
    settings_.DDFPath = options_.app_path + "Data/";
    WriteRegistryValue(registry_, kSettings, "DDFPath", settings_.DDFPath);
  }
  settings_.DDFPath = WithSeparator(settings_.DDFPath);
  // Classic programs look for the robots cache and make the folder here, and go elsewhere when SETTINGS.INI says so.
  if (std::string bytes; t_.Corrected.OneDataFolder && files_.Read(options_.app_path + "SETTINGS.INI", bytes).ok()) {
    settings_.DDFPath = DataFolderOf(bytes, settings_.DDFPath);
  }
  for (const std::string& folder : {settings_.DDFPath, settings_.DDFPath + "Temp/"}) {
    if (const Status status = files_.MakeFolder(folder); !status.ok()) {
      problems_.push_back("The data folder can't be made: " + status.text +
                          ". Logs and history are lost until it is there.");
      break;
    }
  }
}

// What the window does at its load, shown or not.
bool Engine::LoadWindow() {
  if (EqualsNoCase(ReadRegistryValue(registry_, kSettings, "ServiceRunning", "False"), "True") &&
      !options_.command_text.empty()) {
    ports_.notices.MessageBox(BoxKind::kInformation,
                              "Vantry is currently running as a service.  Stop the service before running Vantry as an "
                              "application.");
    return false;
  }
  // A second start leaves the first running and shows nothing.
  if (options_.acquire_instance && !options_.acquire_instance()) return false;
  LoadDesktopWindow();  // First, as it shows what follows without waiting for an answer.
  for (const std::string& problem : problems_) ports_.notices.Tell(problem);
  for (const std::string& line : SharedHistories(t_)) ports_.notices.Tell(line);
  view_.SetStatus("Preparing...");
  ports_.programs.Limit(t_.Corrected.MaxPrograms,
                        [this](std::string_view text) { log_.ReportError(text, "f.runThis"); });
  StaggerSites();
  log_.Guard("Engine.RefreshexceptionConstants",
             [this] { return RefreshexceptionConstants(settings_.ExceptionTypes, t_); });
  if (t_.SiteCount() > 0) ShowFirstView();
  log_.WriteSessionStart(AppVersion());
  StartTimersAndListener();
  pause_.ShowRunning();
  service_.Start();
  return true;
}

void Engine::LoadDesktopWindow() {
  if (!ports_.window) return;
  ports_.window->Load({.t = t_,
                       .settings = settings_,
                       .regional = options_.regional,
                       .registry = registry_,
                       .log = log_,
                       .clock = ports_.clock,
                       .files = files_,
                       .programs = ports_.programs,
                       .mail = mail_,
                       .ftp = ports_.ftp,
                       .ping = ports_.ping,
                       .route = ports_.route,
                       .who_is = ports_.who_is,
                       .installer = [this] { return options_.service_installer(settings_.DDFPath); },
                       .line_client = options_.line_client,
                       .resolver = options_.resolver,
                       .engine = *this,
                       .history = history_rows_,
                       .app_path = options_.app_path,
                       .importer = options_.importer,
                       .version = AppVersion(),
                       .build = VANTRY_BUILD});
}

void Engine::RefreshView() {
  HideRowsOutsideView(t_, [this](int16_t place) { return ExceptionNumberAt(place); });
  view_.ShowCurrentView();
}

bool Engine::SaveSettings() {
  return log_.Guard("Engine.WriteSettingsINI",
                    [this] { return WriteSettingsINI(files_, options_.app_path, settings_); });
}

void Engine::SettingsChanged() {
  FollowMonitorSettings();
  log_.Guard("Engine.RefreshexceptionConstants",
             [this] { return RefreshexceptionConstants(settings_.ExceptionTypes, t_); });
  RefreshView();
}

void Engine::SendTestMail(const Settings& settings, MailLine line, std::function<void(const std::string&)> done) {
  LeaveTestMail();
  MailMessage message;
  if (const Status status = MakeTestMail(settings, ports_.clock, message); !status.ok()) return done(status.text);
  test_mail_ = ports_.mail.Send(
      std::move(message),
      [this, done = std::move(done)](const MailOutcome& outcome) {
        test_mail_ = 0;
        done(outcome.status.ok() ? "" : outcome.status.text);
      },
      std::move(line));
}

void Engine::LeaveTestMail() {
  if (const uint64_t number = std::exchange(test_mail_, 0)) ports_.mail.Forget(number);
}

std::string Engine::ExtractLogEntries(std::string_view key) {
  return ExtractLogEntriesToFile(web_.Pages(), key, 0);
}

std::string Engine::GetFriendlyName(std::string_view ip) {
  std::string name;
  history_.GetFriendlyName(ip, name);
  return name;
}

void Engine::ShowFirstView() {
  const int32_t view = LeadingNumber(ReadRegistryValue(registry_, kSettings, "CurrentLogFile", "1"));
  // A site that was deleted meanwhile shows as all sites.
  t_.CurrentView = static_cast<int16_t>(view >= 0 && view <= t_.SiteCount() ? view : 0);
  RefreshView();
}

// The first scans of many sites are spread 2 seconds apart; paused sites take no place. Corrected, all are due at once.
void Engine::StaggerSites() {
  const WallTime now = ports_.clock.Now();
  int32_t place = 0;
  for (int16_t n = 1; n <= t_.SiteCount(); ++n) {
    SiteRec& site = t_.Site(n);
    if (!site.Paused) ++place;
    site.LastScanTime.s = now.s - site.Frequency + (t_.Corrected.QuickStart ? -1 : 2 * place);
    site.LastLookupTime = now;
    site.ForceLookup = true;
    site.ExLastLowCheck = site.ExLastHighCheck = now;
    site.TouchCheckTime.s = now.s + 60 * n;
    if (Trim(site.Mask).empty()) site.Mask = "*.LOG";
  }
}

void Engine::StartTimersAndListener() {
  pause_.StartTimers();
  if (t_.Corrected.QuickStart) {
    first_tick_ = ports_.loop.NewTimer(0, [this] {
      first_tick_->Stop();
      if (Monitoring()) Timer1Tick();
    });
    first_tick_->Start();
  }
  flush_timer_->Start();
  if (edits_) edit_timer_->Start();
  if (t_.Corrected.QuietReplay) {
    save_timer_ = ports_.loop.NewTimer(int64_t{t_.Corrected.SaveEvery} * 1000, [this] { SavePositions(); });
    save_timer_->Start();
  }
  if (t_.Corrected.KeepUnsentMail) {
    retry_timer_ = ports_.loop.NewTimer(MailQueue::kRetryTimerMs, [this] { mail_.RetryTick(); });
    retry_timer_->Start();
    pause_.AddTimer(*retry_timer_);
    mail_.RetryTick();
  }
  if (t_.Corrected.Immediate) log_watch_.Start();
  automation_.Start();
  StartLive();
  const Status status = web_.StartWebListener();
  if (status.ok()) return;
  listen_problem_ = "The web access can't listen on " + status.text +
                    ". Monitoring goes on without it; set another WebAccessPort in " + options_.app_path +
                    "SETTINGS.INI and start again.";
  ports_.notices.Tell(listen_problem_);
}

void Engine::SaveRegistry() {
  const auto save = [this](const char* name, const std::string& value) {
    WriteRegistryValue(registry_, kSettings, name, value);
  };
  save("CurrentViewType", std::to_string(t_.CurrentViewType));
  save("CurrentLogFile", std::to_string(t_.CurrentView));
  save("ShowVisitedPages", std::string(BoolText(t_.ShowVisitedPages)));
  save("ShowTraceView", std::string(BoolText(t_.ShowTraceView)));
}

Status Engine::WriteSiteFile() {
  if (!site_file_kept_) {
    return Status::Error(Fail::kRefused, "VANTRY.INI was not read in full and is left as it is");
  }
  if (edits_) return edits_->WriteSites();
  Status status = WriteINI(files_, options_.app_path, options_.regional, t_);
  if (status.ok()) (void)files_.Read(SiteFile(), site_file_);
  return status;
}

void Engine::SaveSites() {
  bool saved = false;
  KeepAsleep([&] { saved = log_.Guard("Engine.WriteINI", [this] { return WriteSiteFile(); }); });
  if (saved) return;
  // The program log may lie on the same full disk.
  ports_.notices.Tell(
      "The sites and their read positions could not be saved in " + options_.app_path +
      "VANTRY.INI; the file before stands. Make room or access there; the next start reads on from it.");
}

void Engine::SendLoginMail(const std::string& to, const std::string& text, std::function<void()> done) {
  mail_.SendMailAside({to, text}, done);
}

// The site file never tells of lines whose rows are not on the disk: the next start would not read them again.
void Engine::FlushHistory() {
  if (!history_.FlushAll()) return;
  for (SiteRec& site : t_.Sites) {
    // A stop inside a replay saves what the replay began with, and the next start replays the same.
    if (site.ReplayUntilPos == 0) site.Stored = static_cast<const ReadState&>(site);
  }
}

// While the program runs, so that a kill costs little. What somebody has edited meanwhile is left alone.
void Engine::SavePositions() {
  FlushHistory();
  KeepAsleep([this] {
    log_.Guard("Engine.WriteINI", [this] {
      if (!edits_) return WriteUneditedSites();
      return site_file_kept_ ? edits_->WriteSites() : Status::Ok();
    });
  });
}

// Writing wakes sites that sleep.
void Engine::KeepAsleep(const std::function<void()>& write) {
  std::vector<bool> asleep;
  for (const SiteRec& site : t_.Sites) asleep.push_back(site.Sleeping && site.Paused);
  write();
  for (size_t i = 0; i < asleep.size() && i < t_.Sites.size(); ++i) {
    if (asleep[i] && t_.Sites[i].Sleeping) t_.Sites[i].Paused = true;
  }
}

Status Engine::WriteUneditedSites() {
  std::string bytes;
  if (!site_file_kept_ || !files_.Read(SiteFile(), bytes).ok()) return Status::Ok();
  if (bytes != site_file_) {
    if (!edit_told_) {
      ports_.notices.Tell(
          SiteFile() +
          " was edited while the program runs. Until the next start read positions are saved at the stop alone.");
    }
    edit_told_ = true;
    return Status::Ok();
  }
  const std::string text = FormatSites(options_.regional, t_);
  if (text == site_file_) return Status::Ok();
  Status status = files_.Replace(SiteFile(), text);
  if (status.ok()) site_file_ = text;
  return status;
}

void Engine::Closing() {
  if (t_.Closing) return;
  // A scan that yielded to us leaves at once when it sees this; the position it reached is saved below.
  t_.Closing = true;
  view_.SetStatus("Closing...");
  pause_.StopTimers();
  flush_timer_->Stop();
  edit_timer_->Stop();
  if (save_timer_) save_timer_->Stop();
  if (retry_timer_) retry_timer_->Stop();
  log_watch_.Stop();
  ftp_.Unload();
  ports_.resolver.Cancel();
  t_.Live = nullptr;
  if (live_) live_->Stop();
  web_.CloseConnections();
  automation_.Close();
  service_.Ending();
  // Also before what may take half a minute: a program that is killed meanwhile has lost nothing.
  FlushHistory();
  SaveSites();
  log_.Guard("WriteRobotsCache", [this] { return WriteRobotsCache(files_, settings_.DDFPath, t_); });
  LeaveTestMail();  // Its dialog may still be open.
  mail_.Close();
  sms_.Close();
  history_.CloseDatabase();
  if (ports_.window) ports_.window->Unload();
  SaveRegistry();
  log_.WriteSessionEnd();
  ports_.loop.Quit();
}

}  // namespace vantry
