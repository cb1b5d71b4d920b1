// Raises visitor events as a scan does and prints what one costs:
//   event_cost none|listener|caller [COUNT]
// none: there is no bus. listener: a program that never called listens on the bus, so few events go out. caller: it
// called before, so each one does. The bus is the session's; dbus-run-session makes one.
#include <QCoreApplication>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "app/engine.h"
#include "bench/null_parts.h"
#include "config/registry_store.h"
#include "database/visit_database.h"
#include "platform/lmdb_index.h"
#include "platform/posix_data_files.h"
#include "platform/sd_bus_automation.h"
#include "web/automation.h"

namespace {

// Another program: reads all it is sent, and says in the end how many events that was.
[[noreturn]] void Listen(bool calls, int count, int ready) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0) ::_exit(1);
  static int heard = 0;
  const auto hear = [](sd_bus_message*, void*, sd_bus_error*) {
    ++heard;
    return 0;
  };
  sd_bus_add_match(bus, nullptr, "type='signal',interface='com.tressimond.Vantry.Interface'", hear, nullptr);
  if (::write(ready, "!", 1) != 1) ::_exit(1);
  while (calls && sd_bus_call_method(bus, vantry::kBusName, vantry::kInterfacePath, vantry::kInterfaceInterface,
                                     "HTMLFooter", nullptr, nullptr, "") < 0) {
    ::usleep(10'000);
  }
  const auto begin = std::chrono::steady_clock::now();
  while (heard < count) {
    if (sd_bus_process(bus, nullptr) == 0 && sd_bus_wait(bus, 2'000'000) <= 0) break;
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  std::printf("heard=%d in seconds=%.3f\n", heard, took.count());
  std::fflush(stdout);
  ::_exit(0);
}

void TurnUntil(const std::function<bool()>& done) {
  while (!done()) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string how = argc > 1 ? argv[1] : "";
  const int count = argc > 2 ? std::atoi(argv[2]) : 200'000;
  if ((how != "none" && how != "listener" && how != "caller") || count < 1) {
    std::fprintf(stderr, "usage: event_cost none|listener|caller [COUNT]\n");
    return 2;
  }
  int ready[2];
  if (::pipe(ready) != 0) return 1;
  const pid_t child = how == "none" ? 0 : ::fork();
  if (how != "none" && child == 0) Listen(how == "caller", count, ready[1]);
  char mark = 0;
  if (child > 0 && ::read(ready[0], &mark, 1) != 1) return 1;
  QCoreApplication application(argc, argv);
  vantry::bench::Rig rig;
  vantry::RegistryFile registry(rig.files, "");
  vantry::PosixDataFiles data_files;
  vantry::LmdbIndex index;
  vantry::VisitDatabase history({rig.t, "", rig.log, rig.clock, registry, rig.exceptions, data_files, index});
  vantry::WebClientTable clients;
  rig.t.InterfaceCount = 1;
  const vantry::PageContext pages{rig.t,     rig.settings, rig.regional, rig.log, rig.clock,
                                  rig.files, history,      clients,      "",      vantry::AppVersion()};
  vantry::SdBusAutomation bus({.environment = vantry::ReadBusEnvironment()});
  vantry::Automation automation(
      {rig.t, rig.settings, rig.log, rig.clock, bus, [&pages]() -> const vantry::PageContext& { return pages; }});
  if (how != "none") {
    automation.Start();
    TurnUntil([&] { return bus.Ready() && (how == "listener" || bus.HasCallers()); });
  }
  vantry::VisitorRec visitor;
  visitor.IP = "198.51.100.77";
  visitor.Page = "products/catalogue/page.html";
  visitor.LastPageTime = {rig.clock.Now().s};
  const std::string domain = "www.bench.example";
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < count; ++i) automation.VisitorPageMove(domain, visitor);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  std::printf("%s: events=%d seconds=%.3f ns_each=%.0f\n", how.c_str(), count, took.count(),
              took.count() * 1e9 / count);
  std::fflush(stdout);
  if (child > 0) {
    int status = 0;
    TurnUntil([&] { return ::waitpid(child, &status, WNOHANG) == child; });
  }
  return 0;
}
