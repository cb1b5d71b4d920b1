// Whether a SQL server lets the program log on: tried every few minutes, noted in SQLCHECK.LOG, and told by an
// exception and in the window when that changes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "core/program_log.h"
#include "core/regional.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "ports/clock.h"
#include "ports/files.h"
#include "ports/sql_logon.h"

namespace vantry {

// One line of SQLCHECK.LOG with its end. Names and texts come from servers and people: whatever they hold, it is one
// line.
std::string SqlCheckLine(const Regional& regional, WallTime now, bool ok, std::string_view server,
                         std::string_view text);

struct SqlCheckContext {
  LiveTables& t;
  const Settings& settings;
  const Regional& regional;
  ProgramLog& log;
  Clock& clock;
  Files& files;
  View& view;
  SqlLogon& server;
  ExceptionSink& exceptions;
};

class SqlServerCheck {
 public:
  static constexpr int64_t kTimerMs = 60'000;
  // Whether the logon worked. `text` is the login's name then, and otherwise what went wrong.
  using Told = std::function<void(bool ok, const std::string& text)>;

  explicit SqlServerCheck(SqlCheckContext c) : c_(c) {}

  void TimerTick();
  // Makes one check; `told` is called from the loop. Who asks while one is under way is told of that one. Nobody is
  // told once the program closes.
  void SQLLogin(Told told = {});

 private:
  void Finished(const std::string& server, Status status, const std::string& login);
  Status LoggedIn(const std::string& server, const std::string& login);
  Status Failed(const std::string& server, const std::string& text);
  Status WriteLine(bool ok, const std::string& server, const std::string& text);

  SqlCheckContext c_;
  int64_t minutes_ = 0;  // Since the last check.
  bool under_way_ = false;
  std::vector<Told> waiting_;
};

}  // namespace vantry
