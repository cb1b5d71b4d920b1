#include "app/doors.h"

#include <algorithm>
#include <array>

#include "config/value_forms.h"
#include "core/text.h"
#include "platform/dns_text.h"
#include "web/host_check.h"

namespace vantry {
namespace {

constexpr std::array<std::string_view, 4> kNames = {"BindAddress", "ControlFrom", "EscapeHTML", "AllowedHosts"};
constexpr std::string_view kNobody = "-";
constexpr std::string_view kLoopback = "127.0.0.1";

bool IsAddress(const std::string& text) {
  return !ReverseName(text).empty();
}

// Addresses with wildcards, or "-".
bool IsPattern(std::string_view text) {
  constexpr std::string_view kOther = ".:*?[]%-";
  return std::all_of(text.begin(), text.end(), [&](char c) {
    const char lower = LowerAscii(c);
    return IsDigit(c) || (lower >= 'a' && lower <= 'f') || kOther.find(c) != std::string_view::npos;
  });
}

bool IsLoopback(std::string_view address) {
  return StartsWith(address, "127.") || address == "::1";
}

}  // namespace

WebSecurity ReadSecurity(RegistryFile& registry, std::vector<std::string>& problems) {
  WebSecurity security;
  std::vector<std::string> wrong = registry.FindSecurityDamage(kNames);
  security.bind_address = registry.Get("Security", "BindAddress").value_or("");
  if (!security.bind_address.empty() && !IsAddress(security.bind_address)) {
    wrong.push_back("BindAddress is '" + security.bind_address + "', which is not an address");
  }
  const std::string from = registry.Get("Security", "ControlFrom").value_or("");
  if (!from.empty()) {
    for (const std::string_view pattern : Split(from, ';')) {
      security.control_from.emplace_back(Trim(pattern));
      if (!IsPattern(security.control_from.back())) {
        wrong.push_back("ControlFrom holds '" + security.control_from.back() + "', which is not an address");
      }
    }
  }
  const std::string escape = registry.Get("Security", "EscapeHTML").value_or("False");
  security.escape_html = ParseBool(escape).value_or(true);
  if (!ParseBool(escape)) wrong.push_back("EscapeHTML is '" + escape + "', which is neither True nor False");
  const std::string hosts = registry.Get("Security", "AllowedHosts").value_or("");
  for (const std::string_view part : Split(hosts, ';')) {
    const std::string name(Trim(part));
    if (name.empty()) continue;
    security.allowed_hosts.push_back(name);
    if (!IsServerName(name)) wrong.push_back("AllowedHosts holds '" + name + "', which is not the name of a host");
  }
  if (wrong.empty()) return security;
  problems.push_back("registry.ini: " + wrong.front() +
                     ". Until that is put right nobody may steer, and only this machine may look.");
  return {std::string(kLoopback), {std::string(kNobody)}, true, {}};
}

std::string DescribeDoors(const WebSecurity& security, const Settings& settings) {
  const std::string& bind = security.bind_address;
  const std::string reach = bind.empty() ? "everyone who reaches this machine"
                                         : (IsLoopback(bind) ? "this machine alone" : "everyone who reaches " + bind);
  std::string text = "May look: " + reach + ", " + (settings.WebAccessControl ? "with a login" : "without a login");
  std::string steer;
  for (const std::string& pattern : security.control_from) steer += (steer.empty() ? "" : "; ") + pattern;
  if (steer.empty()) steer = reach;
  if (steer == kNobody) steer = "nobody";
  return text + ". May steer: " + steer + ".";
}

std::string EmptyLoginWarning(const Settings& settings, const Corrections& corrected) {
  if (!settings.WebAccessControl || !Trim(settings.WebUsername).empty()) return {};
  if (corrected.RefuseEmptyLogin) {
    return "SETTINGS.INI: WebAccessControl is on and WebUsername is empty, so nobody can log in as the administrator. "
           "Set WebUsername and WebPassword.";
  }
  const std::string how =
      Trim(settings.WebPassword).empty() ? "an empty form logs in" : "an empty name with WebPassword logs in";
  return "SETTINGS.INI: WebAccessControl is on and WebUsername is empty, so " + how +
         " as the administrator. Set WebUsername and WebPassword.";
}

}  // namespace vantry
