// What the scan needs of the rest of the program: references to the tables, the ports and the neighbours, handed down
// once by `app/`.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "alerts/alert_rules.h"
#include "config/settings.h"
#include "core/program_log.h"
#include "core/regional.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "database/visit_history.h"
#include "ports/clock.h"
#include "ports/files.h"
#include "ports/loop.h"
#include "ports/notices.h"
#include "scan/agent_names.h"

namespace vantry {

// Names and countries of addresses.
class VisitorNames {
 public:
  virtual ~VisitorNames() = default;
  // What the visitor's DNS starts with: a known name, else its address; an unknown name is asked for on the side.
  virtual std::string ResolveVisitor(VisitorRec& visitor) = 0;
  // The country's name, empty for an unknown code.
  virtual std::string CountryName(std::string_view code) = 0;
};

// Fetching of logs from a remote server. A started download hands its lines to the hit processor and ends the scan.
class FtpFetch {
 public:
  virtual ~FtpFetch() = default;
  // Logs on if need be and, with `look_up`, asks for the current log file. `prepared` is called when the two calls
  // after this one have their answers; it may be called before this returns.
  virtual void PrepareFetch(int16_t site, bool look_up, std::function<void()> prepared) = 0;
  virtual bool FTPConnect(int16_t site) = 0;
  // The remote log file to read, empty when there is none. Moves the read position back into a file that shrank.
  virtual std::string FTPGetFileName(int16_t site) = 0;
  virtual void FTPClose(int16_t site) = 0;
  // Why the last preparation failed; empty if it did not.
  virtual std::string Trouble(int16_t site) = 0;
  // Starts the download of LastLogFile from this 0-based byte. `timeout_s` 0 is none.
  virtual void StartDownload(int16_t site, int64_t start_byte, int timeout_s) = 0;
};

// What a tick does beside the scan.
class DailyWork {
 public:
  virtual ~DailyWork() = default;
  virtual void SendDailyReport(int16_t site) = 0;
  // A failure ends the tick.
  virtual Status CheckAutoArchive() = 0;
};

struct ScanContext {
  LiveTables& t;
  Settings& settings;
  const Regional& regional;
  ProgramLog& log;
  Clock& clock;
  Files& files;
  Loop& loop;
  Notices& notices;
  View& view;
  VisitorEvents& events;
  ExceptionSink& exceptions;
  AlertRules& alerts;
  VisitHistory& history;
  VisitorNames& names;
  FtpFetch& ftp;
  DailyWork& daily;
  AgentNames* agents = nullptr;  // Today's lists; null where the classic rules tell browsers and spiders.
};

}  // namespace vantry
