// Starts the archiver of old logs once a day.
#pragma once

#include <string>
#include <utility>

#include "config/settings.h"
#include "core/status.h"
#include "ports/clock.h"
#include "ports/files.h"
#include "ports/programs.h"

namespace vantry {

struct AutoArchiveContext {
  const Settings& settings;
  const Clock& clock;
  Files& files;
  Programs& programs;
  std::string app_path;  // With "/" at its end.
  std::string archiver;  // The archiver that comes with the program; empty if there is none.
};

class AutoArchive {
 public:
  explicit AutoArchive(AutoArchiveContext context) : c_(std::move(context)) {}

  // To be called at every tick. In the minute of AutoArchiveTime starts `VTArchive.EXE` of the program folder, else the
  // archiver that comes with the program, with the argument AUTO and VANTRY_HOME, and does not wait for it. It is
  // tried once in that minute; a minute without a tick is that day's run missed. An archiver that is not there is
  // passed over in silence; one that can't be started is a failure.
  Status CheckAutoArchive();

 private:
  std::string Archiver() const;

  AutoArchiveContext c_;
  bool ArchiveStarted_ = false;
};

}  // namespace vantry
