// Who is logged in, where a login is a cookie: each browser has its own, whatever its address and connection.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "core/date_time.h"
#include "ports/random.h"
#include "web/credentials.h"

namespace vantry {

class Logins {
 public:
  static constexpr size_t kMost = 1000;      // Beyond them the one that has been silent for longest ends.
  static constexpr size_t kTokenBytes = 16;  // Shown as twice as many hexadecimal digits.

  explicit Logins(Random& random) : random_(random) {}

  // `token` is what the browser shows from now on.
  Status Begin(Credentials given, WallTime now, std::string& token);
  // The name and password of the login; null when there is none or it has been silent for too long. Ends its silence.
  const Credentials* Find(std::string_view token, WallTime now);
  void End(std::string_view token);
  size_t Count() const { return logins_.size(); }

 private:
  struct Login {
    Credentials given;
    WallTime last;
    uint64_t turn = 0;  // Tells which of two was used last within a second.
  };
  static bool Silent(const Login& login, WallTime now);
  void MakeRoom(WallTime now);

  Random& random_;
  std::map<std::string, Login, std::less<>> logins_;
  uint64_t turns_ = 0;
};

// A cookie's value in a header of that kind ("a=1; b=2"); empty when it is not there.
std::string_view CookieValue(std::string_view header, std::string_view name);

}  // namespace vantry
