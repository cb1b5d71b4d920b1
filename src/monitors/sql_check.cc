#include "monitors/sql_check.h"

#include <utility>

#include "core/exception_numbers.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

constexpr char kLabel[] = "frmSQLServerCheck.Timer";

}  // namespace

std::string SqlCheckLine(const Regional& regional, WallTime now, bool ok, std::string_view server,
                         std::string_view text) {
  const std::string parties = ToOneLine(server) + " login=" + ToOneLine(text);
  return regional.General(now) +
         (ok ? " Successfully logged in and out of SQL Server " + parties
             : " Failed to login to SQL Server " + parties + " SERVER MAY BE DOWN!") +
         "\r\n";
}

void SqlServerCheck::TimerTick() {
  if (++minutes_ < c_.settings.SQLServerMins) return;
  SQLLogin();
  minutes_ = 0;
}

void SqlServerCheck::SQLLogin(Told told) {
  if (told) waiting_.push_back(std::move(told));
  if (std::exchange(under_way_, true)) return;
  const Settings& s = c_.settings;
  c_.server.LogOn({s.SQLServerName, s.SQLServerAuth, s.SQLServerUser, s.SQLServerPass},
                  [this, server = s.SQLServerName](const Status& status, const std::string& login) {
                    under_way_ = false;
                    Finished(server, status, login);
                  });
}

// A success that can't be noted counts as a failure: whoever reads the file must not take silence for health.
void SqlServerCheck::Finished(const std::string& server, Status status, const std::string& login) {
  if (c_.t.Closing) return;
  if (status.ok()) status = Attempt([&] { return LoggedIn(server, login); });
  if (!status.ok()) c_.log.Guard(kLabel, [&] { return Failed(server, status.text); });
  for (const Told& told : std::exchange(waiting_, {})) told(status.ok(), status.ok() ? login : status.text);
}

Status SqlServerCheck::LoggedIn(const std::string& server, const std::string& login) {
  if (std::exchange(c_.t.SQLFailed, false)) {
    c_.exceptions.AddException(0, kExSqlServerBack, LogTime{c_.clock.Now().s}, server, "", 0);
    c_.view.ShowSqlError(false);
  }
  return WriteLine(true, server, login);
}

Status SqlServerCheck::Failed(const std::string& server, const std::string& text) {
  if (!std::exchange(c_.t.SQLFailed, true)) {
    c_.exceptions.AddException(0, kExSqlServerDown, LogTime{c_.clock.Now().s}, server, "", 0);
    c_.view.ShowSqlError(true);
  }
  return WriteLine(false, server, text);
}

Status SqlServerCheck::WriteLine(bool ok, const std::string& server, const std::string& text) {
  return c_.files.Append(c_.settings.DDFPath + "SQLCHECK.LOG",
                         SqlCheckLine(c_.regional, c_.clock.Now(), ok, server, text));
}

}  // namespace vantry
