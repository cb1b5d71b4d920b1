// Starts the engine with 1,000 sites whose logs do not grow and prints what start and tick cost:
//   idle_sites FOLDER
#include <QCoreApplication>
#include <chrono>
#include <cstdio>
#include <string>

#include "app/engine.h"
#include "bench/alert_parts.h"
#include "platform/cares_resolver.h"
#include "platform/icmp_ping.h"
#include "platform/inotify_watch.h"
#include "platform/lmdb_index.h"
#include "platform/net_who_is.h"
#include "platform/posix_data_files.h"
#include "platform/qt_loop.h"
#include "platform/re2_patterns.h"
#include "platform/socket_listener.h"
#include "platform/system_random.h"
#include "platform/udp_trace.h"

namespace {

constexpr int kSites = 1000;

double Seconds(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void WriteSites(vantry::Files& files, const std::string& folder) {
  std::string text;
  for (int i = 1; i <= kSites; ++i) {
    const std::string logs = folder + "logs" + std::to_string(i) + "/";
    (void)files.MakeFolder(logs);
    (void)files.Replace(logs + "access.log",
                        "10.0.0.1 - - [10/Oct/2020:13:55:36 +0000] \"GET /a.htm HTTP/1.0\" 200 1 \"-\" \"B\"\n");
    text += "[Site " + std::to_string(i) + "]\r\nType=2\r\nUnix=True\r\nFolder=" + logs +
            "\r\nMask=*.LOG\r\nFrequency=0\r\nDomain=www.d" + std::to_string(i) + ".example\r\n\r\n";
  }
  (void)files.Replace(folder + "VANTRY.INI", text);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: idle_sites FOLDER\n");
    return 2;
  }
  QCoreApplication application(argc, argv);
  const std::string folder = std::string(argv[1]) + "/";
  vantry::PosixFiles files;
  vantry::PosixDataFiles data_files;
  vantry::LmdbIndex index;
  vantry::CaresResolver resolver({.servers = "127.0.0.1:9"});
  WriteSites(files, folder);
  vantry::SystemClock clock;
  vantry::QtLoop loop;
  vantry::SocketListener listener(clock);
  vantry::bench::NullNotices notices;
  vantry::bench::NullMail mail;
  vantry::bench::NullLine sms;
  vantry::bench::NullFtp ftp;
  vantry::bench::NullHttp http;
  vantry::bench::NullSql sql;
  vantry::IcmpPing ping;
  vantry::UdpTrace route;
  vantry::NetWhoIs who_is;
  vantry::bench::NullPrograms programs;
  vantry::bench::NullBus bus;
  vantry::InotifyWatch watch;
  vantry::SystemRandom random;
  vantry::Re2Patterns patterns;
  const auto start = std::chrono::steady_clock::now();
  vantry::Engine engine(
      {clock, loop,   files,    data_files, index, listener, notices, resolver, mail,  sms,   programs,
       bus,   random, patterns, watch,      ftp,   http,     sql,     ping,     route, who_is},
      {folder, "", vantry::Regional{}, "", {}});
  if (!engine.Main()) return 1;
  const double started = Seconds(start);
  for (vantry::SiteRec& site : engine.Tables().Sites) site.LastScanTime = {};
  engine.Scan().Timer1Tick();  // The first scans, which look for the log files.
  for (vantry::SiteRec& site : engine.Tables().Sites) site.LastScanTime = {};
  const auto tick = std::chrono::steady_clock::now();
  engine.Scan().Timer1Tick();
  const double ticked = Seconds(tick);
  int scanned = 0;
  for (const vantry::SiteRec& site : engine.Tables().Sites) scanned += site.ScanCount == 2 ? 1 : 0;
  std::printf("sites=%d start_ms=%.1f tick_ms=%.1f\n", scanned, started * 1000, ticked * 1000);
  return scanned == kSites ? 0 : 1;
}
