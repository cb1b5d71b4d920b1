// What the engine reads beside its settings.
#include "app/engine.h"
#include "config/settings_file.h"
#include "live/live_settings.h"

namespace vantry {

void Engine::WatchEdits() {
  if (!t_.Corrected.KeepEdits) return;
  edits_.emplace(LiveEditsContext{.t = t_,
                                  .settings = settings_,
                                  .files = files_,
                                  .regional = options_.regional,
                                  .log = log_,
                                  .clock = ports_.clock,
                                  .app_path = options_.app_path,
                                  .tell = [this](const std::string& text) { ports_.notices.Tell(text); },
                                  .taken_over = [this] { RefreshView(); }});
  edits_->BeginProgramFolder();
}

std::string Engine::TakeOverEdits(bool at_once) {
  if (!edits_) return {};
  std::string taken = edits_->TakeOver(at_once);
  FollowMonitorSettings();
  return taken;
}

// An edit may switch on what was off at the start. A timer that runs already keeps its place in the minute.
void Engine::FollowMonitorSettings() {
  if (!Monitoring()) return;
  if (touch_.Wanted() && !touch_timer_->Enabled()) touch_timer_->Start();
  if (settings_.SQLServer == sql_timer_->Enabled()) return;
  if (settings_.SQLServer) {
    sql_timer_->Start();
  } else {
    sql_timer_->Stop();
  }
}

void Engine::HangUp() {
  if (edits_ && !options_.on_terminal) {
    TakeOverEdits(true);
  } else if (t_.ServiceMode) {
    // Nothing but its manager ends a service.
    ports_.notices.Tell("The program's files are read again at its next start: the correction KeepEdits is off.");
  } else {
    Closing();
  }
}

// Without the lists, or without what searches by them, everything is told as before, and people are told why.
void Engine::ReadTodaysLists() {
  bool& wanted = t_.Corrected.TodaysNames;
  if (!wanted) return;
  std::vector<std::string> folders{settings_.DDFPath};
  folders.insert(folders.end(), options_.list_folders.begin(), options_.list_folders.end());
  AgentRules rules;
  std::string problem = ports_.patterns.Problem();
  if (problem.empty()) problem = ReadAgentRules(files_, folders, rules).text;
  if (!problem.empty()) {
    wanted = false;
    problems_.push_back("TodaysNames is on, but " + problem +
                        ". Browsers and spiders are told by the classic rules instead.");
    return;
  }
  scan_context_.agents = &agents_.emplace(ports_.patterns, std::move(rules));
  ReadTodaysEngines();
}

// A list in the data folder is the operator's own and has been read already.
void Engine::ReadTodaysEngines() {
  if (files_.Exists(settings_.DDFPath + kSearchEnginesFile)) return;
  for (const std::string& folder : options_.list_folders) {
    std::string bytes;
    if (!files_.Read(folder + kSearchEnginesFile, bytes).ok()) continue;
    ParseSearchEngines(bytes, settings_);
    return;
  }
}

// What is wrong with it costs nothing but the live page.
void Engine::StartLive() {
  if (!ports_.live || !ports_.passwords) return;
  std::string problem;
  auto settings = ReadLiveSettings(registry_, files_, problem);
  if (settings && security_damaged_ && !IsLoopbackAddress(settings->place.address)) {
    problem =
        "its section Security is damaged, so only this machine may look, and BindAddress is " + settings->place.address;
    settings.reset();
  }
  if (settings) {
    live_events_ = std::make_unique<EventLog>(t_, settings_, ports_.clock, ports_.loop);
    live_ = std::make_unique<LiveServer>(ForLive(), std::move(*settings));
    if (const Status status = live_->Start(); !status.ok()) {
      problem = status.text;
      live_.reset();
      live_events_.reset();
    }
    t_.Live = live_events_.get();
  }
  if (problem.empty()) return;
  problem = "The live page is not served: " + options_.app_path + "registry.ini, section Live: " + problem +
            ". Put that right and start again; everything else goes on.";
  ports_.notices.Tell(problem);
  log_.WriteProgramLog(problem, false);
}

std::vector<std::pair<std::string, double>> Engine::HistoryRowCounts() const {
  std::vector<std::pair<std::string, double>> counts;
  if (!history_.IsOpen()) return counts;
  for (const auto& [name, table] : {std::pair("visits", &history_.VAVISITS), std::pair("visitors", &history_.VAVIS),
                                    std::pair("pages", &history_.VAPG), std::pair("referrers", &history_.VAREF),
                                    std::pair("downloads", &history_.VADL), std::pair("exceptions", &history_.VAEXP),
                                    std::pair("days", &history_.VADAY)}) {
    counts.emplace_back(name, table->RowCount());
  }
  return counts;
}

}  // namespace vantry
