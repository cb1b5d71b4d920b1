// Edits of the files that an operator keeps, taken over while the program runs.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "config/edit_watch.h"
#include "config/settings.h"
#include "core/program_log.h"
#include "core/regional.h"
#include "core/tables.h"
#include "ports/clock.h"
#include "ports/files.h"

namespace vantry {

struct LiveEditsContext {
  LiveTables& t;
  Settings& settings;
  Files& files;
  const Regional& regional;
  ProgramLog& log;
  Clock& clock;
  std::string app_path;
  std::function<void(std::string)> tell;  // For the console.
  std::function<void()> taken_over;       // Something holds now that did not before.
};

class LiveEdits {
 public:
  // Two looks this far apart must see the same before a file counts as edited, so an edit is taken over within 10 s.
  static constexpr int64_t kLookMs = 4'000;

  explicit LiveEdits(LiveEditsContext c) : c_(std::move(c)), watch_(c_.files) {}

  // Before the program folder's files are read at the start, and before those of the data folder are.
  void BeginProgramFolder();
  void BeginDataFolder();

  // Takes over what was edited; `at_once` takes a file that has changed since the last look as well. A file with a
  // mistake is told with its line, once, and changes nothing. Does nothing inside a scan, whose references would be
  // void. Returns what was done, for people.
  std::string TakeOver(bool at_once);

  // What stands in VANTRY.INI has a mistake, and is left as it is.
  bool SitesRefused() const { return sites_refused_; }

  // Writes VANTRY.INI after taking over what was edited there. A file with a mistake is left as it is until it is put
  // right, and one that was edited is left inside a scan. Not so at the end of the program: then edits go into the file
  // by way of a copy of the tables if a scan is under way, and a file with a mistake is kept beside the new one.
  Status WriteSites();

 private:
  // Returns why nothing was taken over; empty if it was.
  using Take = std::string (LiveEdits::*)(const std::string& bytes);
  struct Row {
    std::string path;
    Take take;
  };

  std::vector<Row> Rows() const;
  std::string SitesPath() const { return c_.app_path + "VANTRY.INI"; }
  std::string TakeSettings(const std::string& bytes);
  std::string TakeExceptionTypes(const std::string& bytes);
  std::string TakeSites(const std::string& bytes);
  std::string TakeEngines(const std::string& bytes);
  std::string TakeCountries(const std::string& bytes);
  void RefreshConstants();
  Status MergeForWriting(LiveTables& tables);
  bool SitesEdited() { return sites_refused_ || watch_.Edited(SitesPath(), true); }

  LiveEditsContext c_;
  EditWatch watch_;
  std::string sites_;           // The bytes of VANTRY.INI as they were last taken over or written.
  bool sites_refused_ = false;  // What stands there now has a mistake.
};

}  // namespace vantry
