#pragma once

#include <functional>
#include <string>

#include "core/status.h"

namespace vantry {

// Whom to log on to, and as whom.
struct SqlServerLogin {
  std::string server;          // "host", "host:port", "host,port" or "host\instance"; "(local)" is this machine.
  bool trusted = true;         // With the account that the program runs as; otherwise with user and password.
  std::string user, password;  // Not looked at when it is trusted.
};

// `login` is the name that was logged on; empty after a failure. kBadData when the login can't be tried as it is,
// kRefused when the server said no, kIo when it could not be reached or talked to.
using SqlLogonDone = std::function<void(const Status& status, const std::string& login)>;

// Logs on to a SQL server and off again.
class SqlLogon {
 public:
  virtual ~SqlLogon() = default;
  // Starts a logon and returns. `done` is called once, from the loop and never from inside this call.
  virtual void LogOn(SqlServerLogin login, SqlLogonDone done) = 0;
};

}  // namespace vantry
