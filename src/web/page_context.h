// What web pages are made from.
#pragma once

#include <string>

#include "config/settings.h"
#include "core/program_log.h"
#include "core/regional.h"
#include "core/tables.h"
#include "database/visit_database.h"
#include "ports/clock.h"
#include "ports/files.h"
#include "web/connection_table.h"

namespace vantry {

class PageText;

struct PageContext {
  LiveTables& t;
  const Settings& settings;
  const Regional& regional;
  ProgramLog& log;
  Clock& clock;
  Files& files;
  VisitDatabase& history;
  WebClientTable& clients;
  std::string app_path;  // The program's folder, with a separator at its end.
  std::string version;
  bool escape = false;  // Texts from logs can't form tags, attributes or scripts.
  // For those who ask on the port, where logins hold; programs on the message bus see everything.
  bool for_port = false;
  bool paused = false;  // Pages say that monitoring is paused.
};

// An empty page in the manner of this context.
PageText NewPage(const PageContext& c);

}  // namespace vantry
