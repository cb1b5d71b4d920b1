// What the resources are given. They read the tables and change nothing there.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "config/settings.h"
#include "core/regional.h"
#include "core/tables.h"
#include "ports/clock.h"
#include "views/history_tables.h"

namespace vantry {

class EventLog;

// How many wait, at the moment of asking.
struct LiveQueues {
  int64_t mails = 0;  // Notifications and mails that no server has taken yet.
  int64_t names = 0;  // Host names that name servers were asked for.
};

struct LiveContext {
  const LiveTables& t;
  const Settings& settings;
  const Regional& regional;
  const Clock& clock;
  HistoryTables& history;
  std::string version;
  std::function<bool()> monitoring;  // False while paused.
  std::function<LiveQueues()> queues;
  // The tables of the history by name, with their rows; none while it is closed.
  std::function<std::vector<std::pair<std::string, double>>()> history_rows = {};
  EventLog* events = nullptr;  // Null: none is kept.
};

}  // namespace vantry
