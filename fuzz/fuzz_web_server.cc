// Bytes on several connections of the web server, control lines among them, as they may come in any order: callers
// come, speak, stop speaking and leave, time passes, a login's mail goes out, long pages are read on.
//
// The input is cut at NUL bytes. A piece begins with what happens: "1" to "4" bytes of that connection, "d" and a
// number its peer has done, "c" and a number it leaves, "t" time passes, "m" the mails are out, "r" long pages are read
// on, "o" all corrections are on.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/corrections.h"
#include "core/text.h"
#include "support/database_rig.h"
#include "web/web_server.h"

namespace vantry {
namespace {

constexpr int kConnections = 4;  // The last one calls from where nobody may steer.

void Require(bool holds) {
  if (!holds) std::abort();
}

struct Peers final : Listener {
  struct Peer {
    bool open = false;
    std::string sent;
    PieceSource more;
  };
  std::array<Peer, kConnections + 1> peers;
  ListenerEvents events;

  Status Listen(const std::string&, uint16_t, ListenerEvents e) override {
    events = std::move(e);
    return Status::Ok();
  }
  void Send(int n, std::string_view bytes) override {
    if (IsOpen(n)) At(n).sent += bytes;
  }
  void SendPieces(int n, PieceSource next) override {
    if (IsOpen(n)) At(n).more = std::move(next);
  }
  void Close(int n, bool) override {
    if (!IsOpen(n)) return;
    At(n).open = false;
    events.disconnected(n);
    // However often the client asked, a connection has one answer.
    const std::string& sent = At(n).sent;
    const size_t first = sent.find("HTTP/1.0 200 OK\r\n");
    Require(first == std::string::npos || sent.find("HTTP/1.0 200 OK\r\n", first + 1) == std::string::npos);
  }
  bool IsOpen(int n) const override { return n >= 1 && n <= kConnections && peers[static_cast<size_t>(n)].open; }
  std::string RemoteHost(int n) const override { return n == kConnections ? "10.0.0.1" : "127.0.0.1"; }
  int RemotePort(int) const override { return 4711; }
  void Shutdown() override {}

  Peer& At(int n) { return peers[static_cast<size_t>(n)]; }
  void ReadOn(int n) {
    Peer& peer = At(n);
    if (peer.more && !peer.more(peer.sent)) peer.more = nullptr;
  }
};

struct Steered final : RemoteControl {
  bool monitoring = true;
  int speaking = 0;  // The connection whose bytes are being looked at.
  std::string Caption() const override { return "Vantry"; }
  bool Monitoring() const override { return monitoring; }
  void Pause() override { Steer(monitoring = false); }
  void Continue() override { Steer(monitoring = true); }
  void Stop() override { Steer(true); }
  std::string Reload() override {
    Steer(true);
    return "nothing";
  }
  Status MakeReport(std::string_view, std::string& path) override {
    Steer(true);
    path = "/home/Report.htm";
    return Status::Ok();
  }
  std::string TakeEdit(std::string_view) override {
    Steer(true);
    return "ERROR No.";
  }
  void ShowWindow() override { Steer(true); }
  void HideWindow() override { Steer(true); }
  void Steer(bool) const { Require(speaking != kConnections); }
};

struct Mailer final : LoginMailer {
  std::vector<std::function<void()>> waiting;
  void SendLoginMail(const std::string&, const std::string&, std::function<void()> done) override {
    waiting.push_back(std::move(done));
  }
  void Deliver() {
    for (const auto& done : std::exchange(waiting, {})) done();
  }
};

struct World {
  DatabaseRig rig;
  Settings settings;
  FakeLoop loop;
  FakeRandom random;

  World() {
    settings.DDFPath = "/data/";
    settings.WebAccessControl = settings.WebAccessEmail = settings.WebAccessLog = true;
    settings.WebUsername = "a";
    settings.WebPassword = "b";
    settings.EmailSendTo = "op@example";
    rig.t.Site(1).Domain = "www.one.example";
    rig.t.Site(1).WebAccess = true;
    for (int i = 0; i < 3000; ++i) rig.t.Visitors.Add(1, std::to_string(i));
  }
};

// One run of a server from its start to its end.
class Run {
 public:
  explicit Run(World& w) : w_(w) {
    w_.loop.timers.clear();
    w_.rig.files.entries.clear();
    w_.rig.t.Corrected = {};
    server_ = std::make_unique<WebServer>(
        WebContext{w_.rig.t, w_.settings, w_.rig.regional, w_.rig.log, w_.rig.clock, w_.rig.files, w_.loop, peers_,
                   control_, mailer_, *w_.rig.database, w_.random, "/app/", "2"},
        WebSecurity{"", {"127.*"}, true});
    (void)server_->StartWebListener();
  }
  void Happen(std::string_view what) {
    if (what.empty()) return;
    control_.speaking = 0;
    const int n = NumberOf(what.front() >= '1' && what.front() <= '4' ? what.front() : what.back());
    switch (what.front()) {
      case 't':
        w_.rig.clock.Advance(what.size() > 2 ? 400 : 1);
        w_.loop.Tick(WebServer::kQuietMs / 2);
        w_.loop.Tick(WebServer::kBrakeMs);
        break;
      case 'o':
        for (const CorrectionRow& row : CorrectionRows()) row.Set(w_.rig.t.Corrected, 1);
        break;
      case 'm':
        mailer_.Deliver();
        break;
      case 'r':
        for (int i = 1; i <= kConnections; ++i) peers_.ReadOn(i);
        break;
      case 'd':
        control_.speaking = n;
        if (peers_.IsOpen(n)) peers_.events.peer_done(n);
        peers_.Close(n, true);
        break;
      case 'c':
        peers_.Close(n, false);
        break;
      default:
        Speak(n, what.substr(1));
    }
    Check();
  }
  void End() {
    server_->CloseConnections();
    mailer_.Deliver();
  }

 private:
  static int NumberOf(char c) { return c >= '1' && c <= '4' ? c - '0' : 1; }
  void Speak(int n, std::string_view bytes) {
    if (!peers_.IsOpen(n)) {
      peers_.At(n) = {.open = true, .sent = {}, .more = {}};
      peers_.events.connected(n);
    }
    control_.speaking = n;
    peers_.events.data(n, bytes);
  }
  void Check() {
    for (int n = 1; n <= kConnections; ++n) {
      const WebClient& client = server_->Pages().clients[n];
      Require(client.HeaderCount <= WebClient::kMaxHeaders);
      Require(peers_.IsOpen(n) == (client.State != WebState::kIdle));
      Require(peers_.events.claim(n) != Claim::kConsole || n != kConnections);
    }
    std::string log = w_.rig.files.Get("/data/webaccess.log");
    if (log == "<none>") return;
    Require(log.ends_with("\r\n"));
    log.resize(log.size() - 2);
    for (const std::string_view line : Split(log, '\n')) {
      Require(Contains(line, "/2026 "));
      Require(Contains(line, "127.0.0.1 4711 ") || Contains(line, "10.0.0.1 4711 "));
    }
  }

  World& w_;
  Peers peers_;
  Steered control_;
  Mailer mailer_;
  std::unique_ptr<WebServer> server_;
};

}  // namespace
}  // namespace vantry

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  static World& world = *new World;
  world.rig.clock.now = FakeClock().now;
  Run run(world);
  const std::string input(reinterpret_cast<const char*>(data), size);
  for (const std::string_view what : Split(input, '\0')) run.Happen(what);
  run.End();
  world.rig.program_log.clear();
  return 0;
}
