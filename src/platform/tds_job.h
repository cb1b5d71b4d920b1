// One logon to a SQL server, without a loop: what a worker thread does.
#pragma once

#include <string>

#include "core/status.h"

namespace vantry {

// What db-lib needs once before the first logon.
void StartTds();

// Belongs to one thread at a time.
struct TdsJob {
  std::string server;  // As FreeTDS takes it.
  bool trusted = true;
  std::string user, password;
  int limit_s = 0;  // For the connection, and for each answer.

  Status result;
  std::string login;
};

// Logs on and off; blocks until that is done. One at a time in the process: db-lib's limits are shared. Throws nothing.
void RunTdsJob(TdsJob& job);

}  // namespace vantry
