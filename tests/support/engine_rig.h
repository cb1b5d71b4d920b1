// The whole engine on fakes. It can be closed and started again on the same disk.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/engine.h"
#include "support/alert_rig.h"
#include "support/fake_bus.h"
#include "support/fake_ftp.h"
#include "support/fake_http.h"
#include "support/fake_http_server.h"
#include "support/fake_installer.h"
#include "support/fake_line_client.h"
#include "support/fake_network.h"
#include "support/fake_resolver.h"
#include "support/fake_sql_logon.h"
#include "support/fake_watch.h"
#include "support/fakes.h"
#include "support/memory_data_files.h"
#include "support/memory_files.h"
#include "support/memory_index.h"
#include "support/std_patterns.h"

namespace vantry {

struct QuietListener final : Listener {
  Status answer;
  ListenerEvents events;
  std::string sent;
  bool open = false;
  Status Listen(const std::string&, uint16_t, ListenerEvents e) override {
    events = std::move(e);
    return answer;
  }
  void Send(int, std::string_view bytes) override { sent += bytes; }
  void SendPieces(int, PieceSource next) override {
    while (next(sent)) {
    }
  }
  void Close(int n, bool) override {
    if (!open) return;
    open = false;
    events.disconnected(n);
  }
  bool IsOpen(int n) const override { return open && n == 1; }
  std::string RemoteHost(int) const override { return "127.0.0.1"; }
  int RemotePort(int) const override { return 1; }
  void Shutdown() override {}
};

struct EngineTest : ::testing::Test {
  FakeClock clock;
  FakeLoop loop;
  MemoryFiles files;
  MemoryDataFiles data_files;
  MemoryIndex index{data_files};
  QuietListener listener;
  RecordingNotices notices;
  FakeMail mail;
  NobodyOnTheLine gateway;
  RecordingPrograms programs;
  RecordingBus bus;
  FakeRandom random;
  StdPatterns patterns;
  FakeWatch watch;
  FakeFtp ftp;
  FakeHttp http;
  FakeSqlLogon sql;
  FakePing ping;
  FakeTraceRoute route;
  FakeWhoIs who_is;
  FakeInstaller installer;
  std::vector<FakeResolver*> more_resolvers;  // Likewise.
  std::vector<FakeLineClient*> lines;         // Those that somebody made for himself, as long as he keeps them.
  Desktop* window = nullptr;
  ServiceManager* service = nullptr;
  FakeHttpServer live;
  FakePasswords passwords;
  std::unique_ptr<FakeResolver> resolver;
  std::unique_ptr<Engine> engine;

  EngineTest() { files.Put("/home/SETTINGS.INI", "[Vantry Settings]\r\nWebAccessPort= 9000\r\n\r\n"); }
  bool Start(const std::string& command = "", std::function<bool()> acquire = {}) {
    loop.timers.clear();
    loop.quit = false;
    engine.reset();
    resolver = std::make_unique<FakeResolver>();
    engine = std::make_unique<Engine>(
        EnginePorts{clock,   loop,     files,  data_files, index,    listener, notices,   *resolver, mail,
                    gateway, programs, bus,    random,     patterns, watch,    ftp,       http,      sql,
                    ping,    route,    who_is, window,     service,  &live,    &passwords},
        EngineOptions{
            .app_path = "/home/",
            .command_text = command,
            .regional = Regional{},
            .acquire_instance = std::move(acquire),
            .list_folders = {"/share/"},
            .service_installer = [this](const std::string&) { return std::make_unique<LentInstaller>(installer); },
            .line_client =
                [this] {
                  auto client = std::make_unique<FakeLineClient>();
                  lines.push_back(client.get());
                  return client;
                },
            .resolver =
                [this] {
                  auto names = std::make_unique<FakeResolver>();
                  more_resolvers.push_back(names.get());
                  return names;
                },
            .importer = "/bin/vantry-import"});
    return engine->Main();
  }
  void Sites(int count, const std::string& more = "") {
    std::string text;
    for (int i = 1; i <= count; ++i) {
      text += "[Site " + std::to_string(i) + "]\r\nType=2\r\nUnix=True\r\nFolder=/logs/\r\nMask=access.log\r\n" +
              "Frequency=10\r\nDomain=www.d" + std::to_string(i) + ".example\r\n" + more + "\r\n";
    }
    files.Put("/home/VANTRY.INI", text);
  }
  void Log(const std::string& time, const std::string& ip) {
    auto& entry = files.entries["/logs/access.log"];
    if (!entry) entry = std::make_shared<MemoryFiles::Entry>();
    entry->bytes += ip + " - - [05/Mar/2026:" + time + " +0000] \"GET /a.htm HTTP/1.0\" 200 5 \"-\" \"B\"\n";
  }
  // Ticks every 2 seconds, as the timers do.
  void Run(int seconds) {
    for (int s = 2; s <= seconds; s += 2) {
      clock.Advance(2);
      loop.Tick(ScanCycle::kTimer1Ms);
      if (s % 10 == 0) loop.Tick(ScanCycle::kTimer2Ms);
    }
  }
};

}  // namespace vantry
