#include "ctl/watch.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "core/date_time.h"
#include "core/screen_text.h"
#include "core/text.h"
#include "ctl/screen.h"
#include "setup/terminal.h"

namespace vantry {
namespace {

int stop_pipe[2] = {-1, -1};

extern "C" void OnStopSignal(int) {
  const int saved = errno;
  const char byte = 0;
  (void)!::write(stop_pipe[1], &byte, 1);
  errno = saved;
}

// Turns SIGINT and SIGTERM into a readable descriptor, so that no wait of any kind outlasts them.
bool CatchStopSignals() {
  if (::pipe2(stop_pipe, O_CLOEXEC | O_NONBLOCK) != 0) return false;
  struct sigaction action {};
  action.sa_handler = OnStopSignal;
  sigemptyset(&action.sa_mask);
  if (::sigaction(SIGINT, &action, nullptr) != 0 || ::sigaction(SIGTERM, &action, nullptr) != 0) return false;
  // Caught for its one effect: a wait ends, and the next picture has the window's new size.
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART;
  return ::sigaction(SIGWINCH, &action, nullptr) == 0;
}

// True when it was ended by a signal.
bool Sleep(int milliseconds) {
  pollfd fd{stop_pipe[0], POLLIN, 0};
  return ::poll(&fd, 1, milliseconds) > 0;
}

std::string ClockText() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  return FormatTime(local.tm_hour * 3600 + local.tm_min * 60 + std::min(local.tm_sec, 59));
}

// False when a signal ended the asking.
bool Ask(const Endpoint& endpoint, WatchView& view) {
  view = {};
  view.place = endpoint.Name();
  view.clock = ClockText();
  std::vector<std::string> replies;
  Status status = AskControl(endpoint, {"@HELLO", "@STATUS"}, replies);
  if (status.ok()) status = ParseStatusReply(replies[1], view.sites);
  if (!status.ok()) view.waiting = Printable(status.text);
  if (status.fail == Fail::kRefused) return false;
  if (!status.ok()) return true;
  view.caption = replies[0];
  // A paused program leaves web requests unanswered; there is no point in waiting for that.
  if (Contains(view.caption, "[Paused]")) {
    view.no_list = "Paused: `vantryctl continue` makes it go on.";
    return true;
  }
  std::string reply;
  status = AskList(endpoint, "", reply);
  if (status.fail == Fail::kRefused) return false;
  if (status.ok()) status = ParseListReply(reply, view.visitors);
  view.no_list = status.text;
  return true;
}

// Adds as many of the lines as there is room for, and says how many were left out. The first is a header.
void AddTable(std::vector<std::string>& frame, std::vector<std::string> lines, size_t room) {
  if (room < 2) return;
  if (lines.size() > room) {
    const size_t left_out = lines.size() - (room - 1);
    lines.resize(room - 1);
    lines.push_back("… " + std::to_string(left_out) + " more");
  }
  frame.insert(frame.end(), lines.begin(), lines.end());
}

void AddVisitors(std::vector<std::string>& frame, const WatchView& view, int width, size_t room) {
  if (!view.no_list.empty() || view.visitors.empty()) {
    frame.push_back(view.no_list.empty() ? "No visitors." : Printable(view.no_list));
    return;
  }
  auto visitors = view.visitors;
  std::stable_sort(visitors.begin(), visitors.end(),
                   [](const ListedVisitor& a, const ListedVisitor& b) { return a.last_time > b.last_time; });
  AddTable(frame, FormatTable(VisitorTableOf(visitors, view.sites.size() > 1), width), room);
}

void Draw(const WatchView& view, const Screen& screen, bool first) {
  std::string out;
  const auto lines = ComposeFrame(view, screen.width, screen.height);
  if (!screen.is_terminal) {
    if (!first) out = "\n";
    for (const std::string& line : lines) out += line + "\n";
  } else {
    out = first ? "\x1b[?25l\x1b[2J\x1b[H" : "\x1b[H";
    for (size_t i = 0; i < lines.size(); ++i) {
      // Cleared before it is written: after a line of full width, clearing would take its last character.
      out += (i > 0 ? "\r\n\x1b[2K" : "\x1b[2K") + lines[i];
    }
    if (lines.size() < static_cast<size_t>(screen.height)) out += "\r\n\x1b[J";
  }
  std::fwrite(out.data(), 1, out.size(), stdout);
  std::fflush(stdout);
}

}  // namespace

std::vector<std::string> ComposeFrame(const WatchView& view, int width, int height) {
  std::vector<std::string> frame;
  const std::string caption = view.caption.empty() ? "Vantry" : Printable(view.caption);
  frame.push_back(caption + "   " + Printable(view.place) + "   " + view.clock);
  frame.push_back("");
  if (!view.waiting.empty()) {
    frame.push_back("waiting for " + Printable(view.place));
    frame.push_back(Printable(view.waiting));
  } else {
    // Sites get what they need up to half of the picture; visitors get the rest.
    const size_t all = height > 0 ? static_cast<size_t>(height) : SIZE_MAX / 2;
    const auto sites = FormatTable(SiteTableOf(view.sites), width);
    AddTable(frame, view.sites.empty() ? std::vector<std::string>{"No sites are monitored."} : sites,
             std::max<size_t>(all / 2, 2));
    frame.push_back("");
    if (frame.size() < all) AddVisitors(frame, view, width, all - frame.size());
  }
  if (height > 0 && frame.size() > static_cast<size_t>(height)) frame.resize(static_cast<size_t>(height));
  if (width > 0) {
    for (std::string& line : frame) line = FitTo(line, width);
  }
  return frame;
}

int RunWatch(Endpoint endpoint, bool once, int period_ms) {
  if (!CatchStopSignals()) {
    std::fputs("vantryctl: signals can't be caught\n", stderr);
    return 1;
  }
  endpoint.stop_fd = stop_pipe[0];
  WatchView view;
  bool drawn = false;
  while (Ask(endpoint, view)) {
    Screen screen = ReadScreen();
    if (once) screen.is_terminal = false;
    Draw(view, screen, !drawn);
    drawn = true;
    if (once || std::ferror(stdout) || Sleep(period_ms)) break;
  }
  if (drawn && !once && ReadScreen().is_terminal) {
    std::fputs("\x1b[?25h\n", stdout);
    std::fflush(stdout);
  }
  if (std::ferror(stdout)) return 1;
  return once && (!drawn || !view.waiting.empty()) ? 1 : 0;
}

}  // namespace vantry
