// The web server on a listener without sockets: clients say lines, and what they got is text.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/database_rig.h"
#include "support/fakes.h"
#include "support/memory_files.h"
#include "web/web_server.h"

namespace vantry {

struct FakeListener final : Listener {
  struct Peer {
    std::string host = "10.0.0.1", sent;
    bool open = true;
  };
  ListenerEvents events;
  std::map<int, Peer> peers;
  std::string address;
  uint16_t port = 0;
  Status answer;
  Status Listen(const std::string& a, uint16_t p, ListenerEvents e) override {
    address = a;
    port = p;
    events = std::move(e);
    return answer;
  }
  void Send(int n, std::string_view bytes) override { peers[n].sent += bytes; }
  bool keep_pieces = false;
  PieceSource kept;
  void SendPieces(int n, PieceSource next) override {
    if (keep_pieces) {
      kept = std::move(next);
      return;
    }
    while (next(peers[n].sent)) {
    }
  }
  void Close(int n, bool) override {
    if (!peers[n].open) return;
    peers[n].open = false;
    events.disconnected(n);
  }
  bool IsOpen(int n) const override { return peers.contains(n) && peers.at(n).open; }
  std::string RemoteHost(int n) const override { return peers.at(n).host; }
  int RemotePort(int) const override { return 4711; }
  void Shutdown() override {}
};

struct FakeControl final : RemoteControl {
  std::vector<std::string> calls;
  bool monitoring = true;
  std::string Caption() const override { return monitoring ? "Vantry 2.0.000" : "Vantry 2.0.000 [Paused]"; }
  bool Monitoring() const override { return monitoring; }
  void Pause() override { monitoring = false; }
  void Continue() override { monitoring = true; }
  void Stop() override { calls.emplace_back("stop"); }
  std::string Reload() override {
    calls.emplace_back("reload");
    return "nothing was edited";
  }
  Status MakeReport(std::string_view site, std::string& path) override {
    calls.push_back("report " + std::string(site));
    if (site != "My Shop") return Status::Error(Fail::kNotFound, "There is no site '" + std::string(site) + "'");
    path = "/home/My Shop Daily Report.htm";
    return Status::Ok();
  }
  std::string TakeEdit(std::string_view token) override {
    calls.push_back("edit " + std::string(token));
    return "OK Changed the\r\nsite.";
  }
  void ShowWindow() override { calls.emplace_back("show"); }
  void HideWindow() override { calls.emplace_back("hide"); }
};

struct FakeMailer final : LoginMailer {
  std::vector<std::string> mails;
  bool slow = false;  // A mail is out when the test says so.
  std::function<void()> done;
  void SendLoginMail(const std::string& to, const std::string& text, std::function<void()> when_done) override {
    mails.push_back(to + "|" + text);
    if (!slow) return when_done();
    done = std::move(when_done);
  }
};

struct WebTest : ::testing::Test {
  LiveTables t;
  Settings settings;
  Regional regional;
  FakeClock clock;
  MemoryFiles files;
  FakeLoop loop;
  FakeListener listener;
  FakeControl control;
  FakeMailer mailer;
  FakeRandom random;
  std::string program_log;
  ProgramLog log{t,
                 regional,
                 {[this] { return clock.Now(); }, [this](std::string_view b) { program_log += b; }, [] {},
                  [](std::string_view) {}, [](std::string_view, EventLevel) {}}};
  RegistryFile registry{files, "/registry.ini"};
  MemoryDataFiles disk;
  MemoryIndex index{disk};
  RaisedExceptions exceptions;
  VisitDatabase history{{t, settings.DDFPath, log, clock, registry, exceptions, disk, index}};
  std::unique_ptr<WebServer> web;

  WebTest() {
    settings.DDFPath = "/data/";
    Restart({});
  }
  void Restart(WebSecurity security) {
    web = std::make_unique<WebServer>(WebContext{t, settings, regional, log, clock, files, loop, listener, control,
                                                 mailer, history, random, "/app/", "2.0.000"},
                                      std::move(security));
    EXPECT_TRUE(web->StartWebListener().ok());
  }
  void Connect(int n, const std::string& host = "10.0.0.1") {
    listener.peers[n] = {host, "", true};
    listener.events.connected(n);
  }
  void Send(int n, std::string_view bytes) { listener.events.data(n, bytes); }
  // One request on a new connection in this slot; the answer without its head.
  std::string Get(const std::string& url, int n = 1, const std::string& host = "10.0.0.1") {
    return Request("GET " + url + " HTTP/1.0\r\n\r\n", n, host);
  }
  std::string Request(const std::string& bytes, int n = 1, const std::string& host = "10.0.0.1") {
    Connect(n, host);
    Send(n, bytes);
    const std::string head = "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n";
    const std::string& sent = listener.peers[n].sent;
    return StartsWith(sent, head) ? sent.substr(head.size()) : sent;
  }
  std::string Login(const std::string& user, const std::string& password, int n = 1) {
    const std::string body = "UserName=" + user + "&Password=" + password + "&B1=Submit";
    return Request("POST / HTTP/1.0\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body, n);
  }
  SiteRec& AddSite(const std::string& domain) {
    SiteRec& site = t.Sites.emplace_back();
    site.Name = "Name of " + domain;
    site.Domain = domain;
    return site;
  }
  VisitorRec& AddVisitor(int16_t site, const std::string& ip) {
    VisitorRec& v = *t.Visitors.At(t.Visitors.Add(site, ip));
    v.VisitNo = 7;
    v.DNS = "host.example";
    v.Page = "a.htm";
    v.StartTime = v.LastHitTime = MakeLogTime(Day{}, 3661);
    v.Browser = "IE6";
    v.Referrer = "http://out.example/";
    return v;
  }
  const std::string kLine = "www.one.example\t7\thost.example\ta.htm\t01:01:01\t01:01:01\tIE6\thttp://out.example/\t\n";
};

}  // namespace vantry
