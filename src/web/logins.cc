#include "web/logins.h"

#include <algorithm>

#include "core/text.h"
#include "web/request_reader.h"

namespace vantry {

bool Logins::Silent(const Login& login, WallTime now) {
  return MinutesBetween(login.last, now) > kLoginMinutes;
}

Status Logins::Begin(Credentials given, WallTime now, std::string& token) {
  std::string bytes;
  if (Status status = random_.Draw(kTokenBytes, bytes); !status.ok()) return status;
  MakeRoom(now);
  token = Hexadecimal(bytes);
  logins_[token] = {std::move(given), now, ++turns_};
  return Status::Ok();
}

void Logins::MakeRoom(WallTime now) {
  std::erase_if(logins_, [&](const auto& entry) { return Silent(entry.second, now); });
  if (logins_.size() < kMost) return;
  logins_.erase(std::min_element(logins_.begin(), logins_.end(),
                                 [](const auto& a, const auto& b) { return a.second.turn < b.second.turn; }));
}

const Credentials* Logins::Find(std::string_view token, WallTime now) {
  const auto found = logins_.find(token);
  if (found == logins_.end()) return nullptr;
  Login& login = found->second;
  if (Silent(login, now)) {
    logins_.erase(found);
    return nullptr;
  }
  login.last = now;
  login.turn = ++turns_;
  return &login.given;
}

void Logins::End(std::string_view token) {
  if (const auto found = logins_.find(token); found != logins_.end()) logins_.erase(found);
}

std::string_view CookieValue(std::string_view header, std::string_view name) {
  for (const std::string_view part : Split(header, ';')) {
    const std::string_view cookie = Trim(part);
    if (cookie.size() > name.size() && cookie[name.size()] == '=' && StartsWith(cookie, name)) {
      return cookie.substr(name.size() + 1);
    }
  }
  return {};
}

}  // namespace vantry
