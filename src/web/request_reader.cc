#include "web/request_reader.h"

#include <algorithm>

#include "core/text.h"

namespace vantry {
namespace {

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

int HexDigit(char c) {
  const char lower = LowerAscii(c);
  if (IsDigit(c)) return c - '0';
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// A percent sign without two digits behind it is one.
std::string DecodeFormText(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const int high = text[i] == '%' && i + 2 < text.size() ? HexDigit(text[i + 1]) : -1;
    const int low = high >= 0 ? HexDigit(text[i + 2]) : -1;
    if (low >= 0) {
      out += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      out += text[i] == '+' ? ' ' : text[i];
    }
  }
  return out;
}

// A password that an earlier connection left in the slot never counts for another name.
void TakeForm(WebClient& c, std::string_view form) {
  const auto user = FormField(form, "UserName"), password = FormField(form, "Password");
  if (!user && !password) return;
  c.FormGiven = true;
  c.CredentialsGiven = c.CredentialsGiven || user.has_value();
  c.UserName = user.value_or("");
  c.Password = password.value_or("");
}

ReadStep TakeBody(WebClient& c, std::string_view text, bool end_of_line) {
  if (end_of_line) c.PostData += "\r\n";
  c.PostData += text;
  if (c.DecodeForms) {
    TakeForm(c, text);
    return ReadStep::kRequestComplete;
  }
  std::string value;
  if (FormValue(text, "UserName=", value)) {
    c.UserName = Trim(Upper(value));
    c.CredentialsGiven = c.FormGiven = true;
  }
  if (FormValue(text, "Password=", value)) {
    c.Password = Upper(value);
    c.FormGiven = true;
  }
  return ReadStep::kRequestComplete;
}

}  // namespace

void OpenClient(WebClient& c) {
  c.State = WebState::kRequestLine;
  c.HeaderCount = 0;
  c.InUse = true;
  c.FormGiven = false;
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

std::optional<std::string> FormField(std::string_view form, std::string_view name) {
  for (const std::string_view field : Split(form, '&')) {
    const size_t equals = field.find('=');
    if (equals == std::string_view::npos || DecodeFormText(field.substr(0, equals)) != name) continue;
    return DecodeFormText(field.substr(equals + 1));
  }
  return std::nullopt;
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
