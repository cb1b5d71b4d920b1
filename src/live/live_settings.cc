#include "live/live_settings.h"

#include <algorithm>
#include <array>

#include "core/text.h"

namespace vantry {
namespace {

constexpr std::array<std::string_view, 7> kNames = {"Port",        "BindAddress", "User",    "PasswordHash",
                                                    "Certificate", "Key",         "BasePath"};
constexpr std::string_view kLoopback = "127.0.0.1";

std::string Value(RegistryFile& registry, const char* name) {
  return registry.Get(kLiveSection, name).value_or("");
}

// "/stats" of "stats", "/stats/" and the like; empty for "/".
std::string CleanBasePath(std::string_view text) {
  while (!text.empty() && text.back() == '/') text.remove_suffix(1);
  while (!text.empty() && text.front() == '/') text.remove_prefix(1);
  return text.empty() ? std::string() : "/" + std::string(text);
}

bool IsBasePath(std::string_view text) {
  constexpr std::string_view kOther = "-._~/";
  return text.size() <= 200 && !Contains(text, "//") && std::all_of(text.begin(), text.end(), [&](char c) {
           const char lower = LowerAscii(c);
           return IsDigit(c) || (lower >= 'a' && lower <= 'z') || kOther.find(c) != std::string_view::npos;
         });
}

// What is wrong with the login, empty when all is well.
std::string LoginProblem(const LiveLogin& login, const std::string& address) {
  if (login.user.empty() != login.password_hash.empty()) {
    return std::string(login.user.empty() ? "User" : "PasswordHash") +
           " is missing; 'vantryctl live-password' sets both";
  }
  if (login.Wanted() && (login.password_hash.front() != '$' || login.password_hash.size() < 20)) {
    return "PasswordHash is not a hash of a password; 'vantryctl live-password' makes one";
  }
  if (!login.Wanted() && !IsLoopbackAddress(address)) {
    return "BindAddress " + address +
           " is not of this machine alone, so a password is needed: set one with 'vantryctl live-password'";
  }
  return {};
}

std::string ReadFileOf(RegistryFile& registry, Files& files, const char* name, std::string& text) {
  const std::string path = Value(registry, name);
  if (path.empty()) return {};
  const Status status = files.Read(path, text);
  return status.ok() ? std::string() : std::string(name) + " can't be read: " + status.text;
}

std::string CertificateProblem(RegistryFile& registry, Files& files, HttpPlace& place) {
  if (Value(registry, "Certificate").empty() != Value(registry, "Key").empty()) {
    return "Certificate and Key belong together; give both or none";
  }
  std::string problem = ReadFileOf(registry, files, "Certificate", place.certificate);
  if (problem.empty()) problem = ReadFileOf(registry, files, "Key", place.key);
  if (!problem.empty()) return problem;
  if (!Value(registry, "Certificate").empty() && (place.certificate.empty() || place.key.empty())) {
    return "Certificate or Key is an empty file";
  }
  return {};
}

}  // namespace

bool IsLoopbackAddress(std::string_view address) {
  return StartsWith(address, "127.") || address == "::1";
}

LiveLogin ReadLiveLogin(RegistryFile& registry) {
  return {Value(registry, "User"), Value(registry, "PasswordHash")};
}

std::optional<LiveSettings> ReadLiveSettings(RegistryFile& registry, Files& files, std::string& problem) {
  const std::string port = Value(registry, "Port");
  if (const auto wrong = registry.FindSectionDamage(kLiveSection, kNames); !wrong.empty()) {
    problem = wrong.front();
    return std::nullopt;
  }
  if (port.empty()) return std::nullopt;
  LiveSettings settings;
  HttpPlace& place = settings.place;
  place.address = Value(registry, "BindAddress");
  if (place.address.empty()) place.address = kLoopback;
  settings.base_path = CleanBasePath(Value(registry, "BasePath"));
  settings.login = ReadLiveLogin(registry);
  if (!ReadPort(port, place.port)) {
    problem = "Port is '" + port + "', which is not a port";
  } else if (!IsBasePath(settings.base_path)) {
    problem = "BasePath is '" + settings.base_path + "'; it may hold letters, digits, '-', '.', '_', '~' and '/'";
  } else {
    problem = LoginProblem(settings.login, place.address);
  }
  if (problem.empty()) problem = CertificateProblem(registry, files, place);
  if (!problem.empty()) return std::nullopt;
  return settings;
}

}  // namespace vantry
