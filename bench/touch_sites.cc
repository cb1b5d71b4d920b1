// Touches 500 sites in one tick, with the classic single request and with one for each site, and prints how long the
// tick took (the classic one turns the loop after each site) and how much of that was its own, the longest that
// anything else had to wait until all was told, and how many outcomes were booked:
//   touch_sites [SITES]
// The servers are a closed port and, every second one, a port that takes connections and says nothing for 100 ms.
#include <QCoreApplication>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <time.h>

#include "monitors/touch.h"
#include "platform/curl_http.h"
#include "platform/qt_loop.h"
#include "platform/system_clock.h"

namespace {

using Clock = std::chrono::steady_clock;

// What this thread itself has used. On a busy machine a tick takes longer than that, as others run in between.
double ProcessorMs() {
  timespec used{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

double MsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

struct CountingExceptions final : vantry::ExceptionSink {
  int raised = 0;
  bool AddException(int16_t, int, vantry::LogTime, std::optional<std::string_view>, std::string_view,
                    int32_t) override {
    ++raised;
    return true;
  }
  void CheckExceptions(int16_t) override {}
};

// What a loop that turns every millisecond sees.
struct Heartbeat {
  QTimer timer;
  Clock::time_point last = Clock::now();
  double longest_ms = 0;
  Heartbeat() {
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { Beat(); });
    timer.start(1);
  }
  void Beat() {
    longest_ms = std::max(longest_ms, MsSince(last));
    last = Clock::now();
  }
};

void Touch(int sites, bool each, int slow_port) {
  vantry::LiveTables t;
  t.Corrected.TouchEachSite = each;
  for (int i = 0; i < sites; ++i) {
    vantry::SiteRec& site = t.Sites.emplace_back();
    site.Touch = true;
    site.TouchEvery = 60;
    site.TouchPage = "index.htm";
    site.Domain = "127.0.0.1:" + std::to_string(i % 2 == 0 ? 1 : slow_port);
  }
  vantry::SystemClock clock;
  vantry::QtLoop loop;
  vantry::CurlHttp http;
  CountingExceptions exceptions;
  vantry::TouchMonitor touch({t, clock, loop, http, exceptions});
  Heartbeat heart;
  const double processor_begin = ProcessorMs();
  const auto begin = Clock::now();
  touch.TouchTimerTick();
  const double tick_ms = MsSince(begin), tick_processor_ms = ProcessorMs() - processor_begin;
  const int wanted = each ? sites : 1;
  while (exceptions.raised < wanted) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  heart.Beat();
  std::printf("%s: sites=%d tick_ms=%.1f tick_processor_ms=%.1f longest_wait_ms=%.1f booked=%d all_ms=%.0f\n",
              each ? "each site" : "classic", sites, tick_ms, tick_processor_ms, heart.longest_ms, exceptions.raised,
              MsSince(begin));
}

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  const int sites = argc > 1 ? std::atoi(argv[1]) : 500;
  QTcpServer slow;
  slow.listen(QHostAddress::LocalHost);
  QObject::connect(&slow, &QTcpServer::newConnection, &slow, [&slow] {
    while (QTcpSocket* socket = slow.nextPendingConnection()) {
      QTimer::singleShot(100, socket, [socket] { socket->close(); });
      QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }
  });
  Touch(sites, false, slow.serverPort());
  Touch(sites, true, slow.serverPort());
  return 0;
}
