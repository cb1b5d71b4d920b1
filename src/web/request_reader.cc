#include "web/request_reader.h"

#include <algorithm>

#include "core/text.h"

namespace vantry {
namespace {

constexpr int64_t kLoginMinutes = 5;

ReadStep TakeRequestLine(WebClient& c, std::string_view line, std::string_view remote_host, WallTime now) {
  const bool silent = c.LastRequest.s != 0 && MinutesBetween(c.LastRequest, now) > kLoginMinutes;
  // A slot is bound to the address that last used it.
  if (silent || c.RemoteHost != remote_host) c.LoggedIn = c.CredentialsGiven = false;
  c.RemoteHost = remote_host;
  c.Path.clear();
  c.Query.clear();
  const size_t blank = line.find(' ');
  if (blank == std::string_view::npos) return ReadStep::kMore;
  c.Method = Upper(line.substr(0, blank));
  std::string_view rest = line.substr(blank + 1);
  if (const size_t end = rest.find(' '); end != std::string_view::npos) {
    c.Path = rest.substr(0, end);
    rest = rest.substr(end + 1);
    if (const size_t mark = c.Path.find('?'); mark != std::string::npos) {
      c.Query = c.Path.substr(mark + 1);
      c.Path.resize(mark);
    }
  }
  c.Version = rest;
  c.State = WebState::kHeaders;
  return ReadStep::kMore;
}

ReadStep TakeHeader(WebClient& c, std::string_view line) {
  if (line.empty()) {
    // Every method but GET is taken for a form post.
    if (c.Method == "GET") return ReadStep::kRequestComplete;
    c.State = WebState::kBody;
    return ReadStep::kMore;
  }
  c.HeaderCount = static_cast<int16_t>(std::min(c.HeaderCount + 1, WebClient::kMaxHeaders));
  c.Headers[static_cast<size_t>(c.HeaderCount - 1)] = line;
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos) return ReadStep::kMore;
  const std::string name = Upper(line.substr(0, colon));
  if (name == "ACCEPT" || name == "HTTP_ACCEPT") c.IsWAP = Contains(line, "wap.wml");
  return ReadStep::kMore;
}

ReadStep TakeBody(WebClient& c, std::string_view text, bool end_of_line) {
  if (end_of_line) c.PostData += "\r\n";
  c.PostData += text;
  std::string value;
  if (FormValue(text, "UserName=", value)) {
    c.UserName = Trim(Upper(value));
    c.CredentialsGiven = true;
  }
  if (FormValue(text, "Password=", value)) c.Password = Upper(value);
  return ReadStep::kRequestComplete;
}

}  // namespace

void OpenClient(WebClient& c) {
  c.State = WebState::kRequestLine;
  c.HeaderCount = 0;
  c.InUse = true;
}

void CloseClient(WebClient& c) {
  c.State = WebState::kIdle;
  c.HeaderCount = 0;
  c.PostData.clear();
  c.Path.clear();
  c.Query.clear();
  c.LoggedIn = false;
}

ReadStep TakeLine(WebClient& client, std::string_view text, bool end_of_line, std::string_view remote_host,
                  WallTime now) {
  switch (client.State) {
    case WebState::kRequestLine:
      return TakeRequestLine(client, text, remote_host, now);
    case WebState::kHeaders:
      return TakeHeader(client, text);
    case WebState::kBody:
      return TakeBody(client, text, end_of_line);
    case WebState::kIdle:
      break;
  }
  return ReadStep::kMore;
}

bool FormValue(std::string_view text, std::string_view name_and_equals, std::string& value) {
  const size_t at = text.find(name_and_equals);
  if (at == std::string_view::npos) return false;
  const std::string_view behind = text.substr(at + name_and_equals.size());
  const size_t end = behind.find('&');
  // The login form sends a field after the password, so the lost character is never one of a browser's.
  value =
      end != std::string_view::npos ? behind.substr(0, end) : behind.substr(0, behind.empty() ? 0 : behind.size() - 1);
  return true;
}

Command SplitCommand(std::string_view query) {
  Command command;
  std::string_view rest = query;
  const size_t mark = query.find('&');
  if (mark != std::string_view::npos) rest = query.substr(mark + 1);
  command.word = Upper(Trim(query.substr(0, mark)));
  if (const size_t equals = rest.find('='); equals != std::string_view::npos) rest = rest.substr(equals + 1);
  command.argument = rest;
  std::replace(command.argument.begin(), command.argument.end(), '_', ' ');
  return command;
}

}  // namespace vantry
