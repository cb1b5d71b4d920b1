// The web access: a minimal HTTP/1.0 server and, on the same port, the control lines.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "core/program_log.h"
#include "core/regional.h"
#include "core/tables.h"
#include "ports/clock.h"
#include "ports/files.h"
#include "ports/listener.h"
#include "ports/loop.h"
#include "ports/random.h"
#include "web/connection_table.h"
#include "web/credentials.h"
#include "web/guess_brake.h"
#include "web/line_framer.h"
#include "web/logins.h"
#include "web/pages.h"

namespace vantry {

// What a control line can do to the program.
class RemoteControl {
 public:
  virtual ~RemoteControl() = default;
  virtual std::string Caption() const = 0;  // Product name, blank, version, and marks of the state.
  virtual bool Monitoring() const = 0;      // Timer1 runs.
  virtual void Pause() = 0;
  virtual void Continue() = 0;
  virtual void Stop() = 0;  // The closing routine; the program ends after it.
  // Takes over what was edited in the files and says what that was; empty when that is not wanted.
  virtual std::string Reload() = 0;
  // Makes today's report of the site with this name at once; `path` is its file. Nothing is mailed.
  virtual Status MakeReport(std::string_view site, std::string& path) = 0;
  // Carries out the change that the file of this token in the program's folder asks for. Returns "OK " and what was
  // done, "ERROR " and why nothing was, or "BUSY " if it can't be done at this moment; then the file is still there.
  virtual std::string TakeEdit(std::string_view token) = 0;
  virtual void ShowWindow() = 0;
  virtual void HideWindow() = 0;
};

// Sends a mail. `done` is called when it is out or has failed, maybe before the call returns.
class LoginMailer {
 public:
  virtual ~LoginMailer() = default;
  virtual void SendLoginMail(const std::string& to, const std::string& text, std::function<void()> done) = 0;
};

// Exposure beyond the defaults, from the section "Security" of the registry store.
struct WebSecurity {
  std::string bind_address;               // Empty: all addresses.
  std::vector<std::string> control_from;  // Wildcards; none: control lines are taken from everywhere.
  bool escape_html = false;
  std::vector<std::string> allowed_hosts = {};  // Names beside addresses and "localhost" that may stand in Host.
};

struct WebContext {
  LiveTables& t;
  Settings& settings;
  const Regional& regional;
  ProgramLog& log;
  Clock& clock;
  Files& files;
  Loop& loop;
  Listener& listener;
  RemoteControl& control;
  LoginMailer& mailer;
  VisitDatabase& history;
  Random& random;
  std::string app_path;  // The program's folder, with a separator at its end.
  std::string version;
};

class WebServer {
 public:
  // The last text of a body, without a line end, counts as whole after this silence; after the longer one if fewer
  // bytes have come than were announced, as a lost packet must not cut a login.
  static constexpr int64_t kQuietMs = 200, kQuietInsideBodyMs = 10'000;
  static constexpr int64_t kBrakeMs = 250;  // Answers that are held back go out this exactly.

  WebServer(WebContext c, WebSecurity security);
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  // Listens on WebAccessPort. A failure names the port.
  Status StartWebListener();
  // Closes every connection that is still open.
  void CloseConnections();

  // The address a browser on this machine asks; the port is WebAccessPort.
  std::string Address() const { return security_.bind_address.empty() ? "127.0.0.1" : security_.bind_address; }
  // What pages are made from, for the port and the message bus alike. From the first call on, while this lives, visitor
  // changes are raised as events.
  const PageContext& Pages();

 private:
  struct Pump {  // What reading a connection needs besides its record.
    LineFramer framer;
    size_t content_length = 0;  // As announced by the headers, 0 for unknown.
    int64_t last_byte_ms = 0;
    uint64_t serial = 0;        // Tells a connection from a later one with the same number.
    bool held = false;          // Its request waits for a mail or a time; what arrives meanwhile is kept for later.
    bool console = false;       // A control line of it was answered.
    bool controls_only = true;  // Nothing but control lines has come.
    bool host_given = false;
    std::string foreign_host;  // What Host said, where it may not.
    std::string token;         // The login that its cookie names.
    std::string set_cookie;    // A header for its answer.
    bool slowed = false;       // Its login is answered at the time below.
    int64_t answer_ms = 0;
    Reach opened = Reach::kNothing;  // What its login opens then.
  };
  Pump& PumpOf(int connection) { return pumps_[static_cast<size_t>(connection - 1)]; }
  Claim ClaimOf(int connection);
  bool StillOpen(int connection, uint64_t serial);

  void Connected(int connection);
  void Disconnected(int connection);
  void Data(int connection, std::string_view bytes);
  void PeerDone(int connection);
  void DeliverBody(int connection, bool whole);
  static int64_t QuietFor(const Pump& pump) { return pump.content_length > 0 ? kQuietInsideBodyMs : kQuietMs; }
  void QuietTick();
  void NoteHeader(int connection, std::string_view header);

  void DataIn(int connection, std::string_view text, bool end_of_line);
  void RunControlLine(int connection, std::string_view word);
  std::string StatusRecord() const;
  std::string ReportReply(std::string_view site);
  bool ControlAllowed(int connection) const;

  void HandleWebRequest(int connection);
  bool HostRefused(int connection);
  void RefuseHost(int connection);

  // login_check.cc: who asks.
  std::string CookieName() const;
  void ForgetSlot(int connection);
  void KnowClient(int connection);
  void TakeUpLogin(int connection);
  bool BeginLogin(int connection);
  void CheckCredentials(int connection);
  void BrakeTick();
  void EndCheck(int connection, Reach opened);
  void MailLogin(int connection);

  void AnswerRequest(int connection);
  void WriteAccessLog(int connection);
  std::string HeadFor(int connection);
  const PageContext& PortPages();
  void SendWebPage(int connection, std::string_view text);
  void SendPieces(int connection, PieceSource page);
  // Answers a control line.
  void SendWebLine(int connection, std::string_view text);

  WebContext c_;
  WebSecurity security_;
  WebClientTable clients_;
  std::array<Pump, kMaxConnections> pumps_;
  uint64_t next_serial_ = 1;
  PageContext pages_, port_pages_;
  bool events_raised_ = false;
  std::set<std::string> refused_hosts_;  // That the program log names.
  Logins logins_;
  GuessBrake brake_;
  std::unique_ptr<Timer> quiet_timer_, brake_timer_;
};

}  // namespace vantry
