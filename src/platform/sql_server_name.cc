#include "platform/sql_server_name.h"

#include <algorithm>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

struct ServerParts {
  std::string_view host, port, instance;
  bool has_port = false, has_instance = false;
};

void TakeServerPort(std::string_view rest, ServerParts& parts) {
  parts.port = Trim(rest.substr(1));
  parts.has_port = true;
}

// "host" and what follows its "\", "," or ":"; a comma ends an instance too.
ServerParts CutServer(std::string_view text) {
  ServerParts parts;
  const size_t bracket = text.starts_with('[') ? text.find(']') : text.npos;
  const size_t begin = bracket == text.npos ? 0 : bracket;
  const size_t end = std::min(text.find_first_of("\\,:", begin), text.size());
  parts.host = Trim(text.substr(0, end));
  std::string_view rest = text.substr(end);
  if (rest.starts_with('\\')) {
    const size_t comma = std::min(rest.find_first_of(",:"), rest.size());
    parts.instance = Trim(rest.substr(1, comma - 1));
    parts.has_instance = true;
    rest = rest.substr(comma);
  }
  if (!rest.empty()) TakeServerPort(rest, parts);
  return parts;
}

bool IsServerName(std::string_view name) {
  return !name.empty() && name.size() <= 128 && std::none_of(name.begin(), name.end(), [](char c) {
    return (c >= 0 && c <= ' ') || c == 0x7F || Contains("\\,:;()/'\"", std::string_view(&c, 1));
  });
}

bool IsBracketedAddress(std::string_view host) {
  return host.size() > 4 && host.size() < 60 && host.front() == '[' && host.back() == ']' && Contains(host, ":") &&
         host.substr(1, host.size() - 2).find_first_not_of("0123456789abcdefABCDEF:.") == host.npos;
}

std::string ServerProblem(const ServerParts& parts, const std::string& host) {
  if (parts.host.starts_with('[')) {
    if (!IsBracketedAddress(host)) return "that is not an IPv6 address in brackets";
    if (parts.has_instance && !parts.has_port)
      return "with an IPv6 address an instance is named by its port: [::1]:1433";
  } else if (!IsServerName(host)) {
    return "that is not the name of a server";
  }
  uint16_t port = 0;
  if (parts.has_port && Contains(parts.port, ":")) return "an IPv6 address needs brackets: [::1]:1433";
  if (parts.has_port && !ReadPort(parts.port, port)) return "a port is a number from 1 to 65535";
  if (parts.has_instance && !IsServerName(parts.instance)) return "that is not the name of an instance";
  return {};
}

}  // namespace

Status ReadSqlServerName(std::string_view text, std::string& name) {
  const ServerParts parts = CutServer(Trim(text));
  const bool local = parts.host.empty() || parts.host == "." || EqualsNoCase(parts.host, "(local)");
  const std::string host = local ? "localhost" : std::string(parts.host);
  if (const std::string problem = ServerProblem(parts, host); !problem.empty()) {
    return Status::Error(Fail::kBadData, "'" + ToOneLine(text.substr(0, 100)) + "': " + problem);
  }
  name = host;
  // A port says where the instance listens, so nobody has to ask for it.
  if (parts.has_port) {
    name.append(":").append(parts.port);
  } else if (parts.has_instance) {
    name.append("\\").append(parts.instance);
  } else if (host.front() == '[') {
    name.append(":1433");  // Without a port the address would be cut at its last colon.
  }
  return Status::Ok();
}

}  // namespace vantry
