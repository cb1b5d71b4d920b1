// The control lines: a line that begins with "@" on the web access port.
#include "core/text.h"
#include "core/wildcard.h"
#include "web/text_forms.h"
#include "web/web_server.h"

namespace vantry {

bool WebServer::ControlAllowed(int n) const {
  if (security_.control_from.empty()) return true;
  for (const std::string& pattern : security_.control_from) {
    if (Like(c_.listener.RemoteHost(n), pattern)) return true;
  }
  return false;
}

void WebServer::RunControlLine(int n, std::string_view text) {
  const std::string word = Upper(text);
  RemoteControl& program = c_.control;
  if (word == "SHOW") {
    SendWebLine(n, "OK");
    program.ShowWindow();
  } else if (word == "HIDE") {
    SendWebLine(n, "OK");
    program.HideWindow();
  } else if (word == "HELLO") {
    SendWebLine(n, program.Caption() + (program.Monitoring() ? " [Running]" : " [Paused]"));
  } else if (word == "STATUS") {
    SendWebLine(n, StatusRecord());
  } else if (word == "PAUSE") {
    program.Pause();
    SendWebLine(n, program.Caption());
  } else if (word == "CONTINUE") {
    program.Continue();
    SendWebLine(n, program.Caption() + " [Running]");
  } else if (word == "RELOAD" && c_.t.Corrected.KeepEdits) {
    SendWebLine(n, program.Caption() + ": " + program.Reload());
  } else if (StartsWith(word, "REPORT ")) {
    SendWebLine(n, ReportReply(text.substr(7)));
  } else if (StartsWith(word, "EDIT ")) {
    SendWebLine(n, OnOneLine(program.TakeEdit(text.substr(5))));
  } else if (word == "@STOP") {
    SendWebLine(n, "XXX");
    program.Stop();
  }
}

std::string WebServer::ReportReply(std::string_view site) {
  std::string path;
  const Status status = c_.control.MakeReport(site, path);
  return OnOneLine(status.ok() ? "OK " + path : "ERROR " + status.text);
}

std::string WebServer::StatusRecord() const {
  constexpr char kEsc = '\x1B';
  std::string out = "rST";
  out += kEsc;
  for (const SiteRec& site : c_.t.Sites) {
    out += site.Name;
    if (site.Rests()) out += " (Paused) ";
    out += kEsc;
    for (const int32_t n : {site.CurrentVisitors, site.TodayAlerts, site.TodaySpiders, site.TodayExceptions}) {
      out += std::to_string(n);
      out += kEsc;
    }
    out += c_.regional.Stamp(site.LastReadDateTime);
    out += kEsc;
    out += '\n';
  }
  return out;
}

}  // namespace vantry
