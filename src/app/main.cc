// The program: makes the real ports, hands them to the engine, turns the loop.
#include <QCoreApplication>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <unistd.h>

#include "app/command_line.h"
#include "app/desktop_notices.h"
#include "app/engine.h"
#include "app/window_loader.h"
#include "config/value_forms.h"
#include "core/text.h"
#include "platform/cares_resolver.h"
#include "platform/confinement.h"
#include "platform/console_notices.h"
#include "platform/crypt_passwords.h"
#include "platform/curl_ftp.h"
#include "platform/curl_http.h"
#include "platform/curl_mail.h"
#include "platform/huge_pages.h"
#include "platform/icmp_ping.h"
#include "platform/inotify_watch.h"
#include "platform/lmdb_index.h"
#include "platform/mhd_server.h"
#include "platform/net_who_is.h"
#include "platform/posix_data_files.h"
#include "platform/posix_files.h"
#include "platform/process_signals.h"
#include "platform/program_starter.h"
#include "platform/qt_line_client.h"
#include "platform/qt_loop.h"
#include "platform/re2_patterns.h"
#include "platform/regional_locale.h"
#include "platform/sd_bus_automation.h"
#include "platform/single_instance.h"
#include "platform/socket_listener.h"
#include "platform/system_clock.h"
#include "platform/system_random.h"
#include "platform/systemd_service.h"
#include "platform/systemd_units.h"
#include "platform/tds_logon.h"
#include "platform/udp_trace.h"

namespace {

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::filesystem::path ExecutableFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

// VANTRY_HOME, else the executable's folder.
std::string AppPath() {
  std::string home = Environment("VANTRY_HOME");
  std::error_code error;
  if (home.empty()) home = ExecutableFolder().string();
  const std::string whole = std::filesystem::absolute(home, error).string();
  return vantry::WithSeparator(error ? home : whole);
}

std::unique_ptr<vantry::Desktop> LoadWindow(int& argc, char** argv, std::string& problem) {
  const std::string folder = vantry::WithSeparator(ExecutableFolder().string());
  return vantry::LoadDesktop({folder + VANTRY_MODULE_FOLDER "/"}, argc, argv, problem);
}

// Where exit() finds them: it takes no argument along.
struct {
  vantry::Engine* engine = nullptr;
  vantry::Desktop* desktop = nullptr;
} running;

void CloseAtExit() {
  if (!running.engine) return;
  running.desktop->DisplayIsGone();
  running.engine->Closing();
}

// The window system ends the process with exit() when its display dies. Nothing may be lost then.
int TurnLoop(vantry::Engine& engine, vantry::Desktop* desktop) {
  if (desktop) {
    running = {&engine, desktop};
    std::atexit(CloseAtExit);
  }
  const int result = QCoreApplication::exec();
  running = {};
  return result;
}

// One line says which address to open, and one who may look and who may steer.
void Announce(vantry::Engine& engine) {
  if (const std::string live = engine.LiveAddress(); !live.empty()) {
    std::printf("The live page is at %s\n", live.c_str());
    std::fflush(stdout);
  }
  if (!engine.ListenProblem().empty()) return;
  const std::string address = engine.Web().Address();
  const bool v6 = address.find(':') != std::string::npos;
  std::printf("Vantry %s is watching %d site(s). Open http://%s%s%s:%d/ in a browser.\n", vantry::AppVersion().c_str(),
              engine.Tables().SiteCount(), v6 ? "[" : "", address.c_str(), v6 ? "]" : "",
              engine.GetSettings().WebAccessPort);
  std::printf("%s\n", engine.Doors().c_str());
  // The package's own profile; one that somebody wrote has other places.
  if (vantry::OwnProfile() == "vantry") {
    std::printf(
        "AppArmor confines it: logs outside /home, /opt, /srv, /var/log and /var/www need a line like \"/data/** r,\" "
        "in "
        "/etc/apparmor.d/local/vantry.\n");
  }
  std::fflush(stdout);
}

int Seconds(vantry::RegistryFile& registry, const char* section, const char* name, int standard, int longest) {
  const std::string text = ReadRegistryValue(registry, section, name, std::to_string(standard));
  return std::clamp(vantry::LeadingNumber(text), 1, longest);
}

int BusRetryMs(vantry::RegistryFile& registry) {
  return Seconds(registry, "Automation", "RetrySeconds", 60, 86'400) * 1'000;
}

int HttpTimeoutMs(vantry::RegistryFile& registry) {
  using vantry::CurlHttp;
  return 1'000 *
         Seconds(registry, "Touch", "TimeoutSeconds", CurlHttp::kTimeoutSeconds, CurlHttp::kLongestTimeoutSeconds);
}

int LogonTimeout(vantry::RegistryFile& registry) {
  using vantry::TdsLogon;
  return Seconds(registry, "SQLServer", "TimeoutSeconds", TdsLogon::kTimeoutSeconds, TdsLogon::kLongestTimeoutSeconds);
}

std::unique_ptr<vantry::Resolver> NewResolver(vantry::RegistryFile& registry) {
  return std::make_unique<vantry::CaresResolver>(
      vantry::ResolverOptions{.servers = ReadRegistryValue(registry, "Resolver", "Servers", "")});
}

vantry::EngineOptions OptionsFor(const std::string& app_path, const vantry::CommandLine& command,
                                 vantry::RegistryFile& registry, std::function<bool()> acquire) {
  const std::filesystem::path folder = ExecutableFolder();
  return {.app_path = app_path,
          .command_text = command.text,
          .regional = vantry::ReadRegional(registry),
          .http_proxy = Environment("http_proxy"),
          .acquire_instance = std::move(acquire),
          .list_folders = {folder.parent_path().string() + "/share/vantry/"},
          .archiver = (folder / "vantry-archive").string(),
          .on_terminal = ::isatty(STDIN_FILENO) == 1,
          .service_installer =
              [folder, app_path](const std::string& data_folder) {
                return std::make_unique<vantry::SystemdUnits>(
                    vantry::UnitPlace{"/", (folder / "vantry").string(), app_path, data_folder});
              },
          .line_client = [] { return std::make_unique<vantry::QtLineClient>(15'000); },
          .resolver = [&registry] { return NewResolver(registry); },
          .importer = (folder / "vantry-import").string()};
}

}  // namespace

// Long, as it is where every real port is made, in the order in which they need each other.
int main(int argc, char** argv) {
  vantry::TakeSignals();
  vantry::HugePages::UseForTables();
  const vantry::CommandLine command =
      vantry::ReadCommandLine({argv + std::min(argc, 1), argv + argc}, vantry::AppVersion());
  if (command.exit_code) {
    std::fputs(command.answer.c_str(), *command.exit_code == 0 ? stdout : stderr);
    return *command.exit_code;
  }
  std::string window_problem;
  std::optional<vantry::DesktopNotices> people;
  vantry::SystemdService service([&people](std::string_view text) { people->Tell(text); });
  const auto desktop = service.Running() || !command.window ? nullptr : LoadWindow(argc, argv, window_problem);
  std::optional<QCoreApplication> application;
  if (!desktop) application.emplace(argc, argv);
  vantry::ConsoleNotices console(service.Running() || !Environment("JOURNAL_STREAM").empty());
  vantry::DesktopNotices& notices = people.emplace(console, desktop.get());
  // Not in the window: there is none, or none that can be read.
  if (!window_problem.empty()) console.Tell(window_problem);
  vantry::PosixFiles files;
  const std::string app_path = AppPath();
  if (const vantry::Status status = files.MakeFolder(app_path); !status.ok()) {
    notices.Tell("The program folder can't be used: " + status.text);
    return 1;
  }
  vantry::PosixDataFiles data_files;
  vantry::LmdbIndex index;
  vantry::SystemClock clock;
  vantry::QtLoop loop;
  vantry::InotifyWatch watch;
  vantry::SocketListener listener(clock);
  vantry::RegistryFile registry(files, app_path + "registry.ini");
  vantry::CaresResolver resolver({.servers = ReadRegistryValue(registry, "Resolver", "Servers", "")});
  vantry::CurlMail mail;
  vantry::CurlFtp ftp(clock);
  vantry::CurlHttp http(HttpTimeoutMs(registry));
  vantry::TdsLogon sql(LogonTimeout(registry));
  vantry::IcmpPing ping;
  vantry::UdpTrace route;
  vantry::NetWhoIs who_is;
  vantry::QtLineClient sms;
  vantry::Re2Patterns patterns;
  vantry::ProgramStarter programs;
  vantry::SystemRandom random;
  vantry::MhdServer live;
  vantry::CryptPasswords passwords(random);
  vantry::SdBusAutomation bus(
      {.system = service.Running(), .environment = vantry::ReadBusEnvironment(), .retry_ms = BusRetryMs(registry)});
  vantry::SingleInstance instance(app_path + "vantry.lock");
  int result = 0;
  const auto acquire = [&] {
    const vantry::Status status = instance.Acquire();
    if (!status.ok() && status.fail != vantry::Fail::kRefused) {
      notices.Tell("The program folder can't be used: " + status.text);
      result = 1;
    }
    return status.ok();
  };
  vantry::Engine engine({clock, loop,     files,  data_files,    index,    listener, notices,   resolver, mail,
                         sms,   programs, bus,    random,        patterns, watch,    ftp,       http,     sql,
                         ping,  route,    who_is, desktop.get(), &service, &live,    &passwords},
                        OptionsFor(app_path, command, registry, acquire));
  vantry::ProcessSignals signals({.stop = [&engine] { engine.StopBySignal(); },
                                  .hang_up = [&engine] { engine.HangUp(); },
                                  .pause = [&engine] { engine.Pause(); },
                                  .go_on = [&engine] { engine.Continue(); },
                                  .control = [&engine](int code) { engine.Control(code); }});
  if (!engine.Main()) return result;
  if (!resolver.Problem().empty()) {
    notices.Tell("No host names are looked up: " + app_path + "registry.ini, section Resolver: " + resolver.Problem());
  }
  Announce(engine);
  return TurnLoop(engine, desktop.get());
}
