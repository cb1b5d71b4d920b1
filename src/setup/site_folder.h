// A program's folder, opened by a command to add sites to it.
#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "config/registry_store.h"
#include "core/corrections.h"
#include "core/status.h"
#include "platform/single_instance.h"
#include "ports/files.h"
#include "setup/add_site.h"

namespace vantry {

class SiteFolder {
 public:
  // `home` ends in "/". The folder need not be there; nothing is changed yet.
  SiteFolder(Files& files, std::string home);

  const std::string& Home() const { return home_; }
  // Those of the folder; for one without registry.ini those that it will get.
  const Corrections& Corrected() const { return corrected_; }

  // Makes the folder if it is not there, goes on as its owner, takes its lock, and gives a new folder its registry.ini,
  // of which it tells on `out`. Reads the sites. A program that runs there refuses, unless it takes edits over.
  Status Open(std::ostream& out);
  // The sites that are there. The folder need not be open.
  Status ReadSites(LiveTables& tables);
  // Of an open folder: see SitesToAdd. No site is in the file before Save, which tells of them on `out`.
  Status Add(const std::string& name, const std::string& domain, const LogPlace& place);
  Status Save(std::ostream& out);
  // Whether a program runs there and will read what is added.
  bool IsTakenOver() const { return taken_over_; }

 private:
  Status MakeRegistry(std::ostream& out);

  Files& files_;
  std::string home_;
  RegistryFile registry_;
  SingleInstance lock_;
  bool is_new_ = false;
  bool taken_over_ = false;
  Corrections corrected_;
  std::optional<SitesToAdd> sites_;  // Once the folder is open.
  std::string added_;                // What Save tells.
};

// kRefused, with what to do, if a program runs on the folder. `trouble` is what that program would do.
Status HoldFolder(SingleInstance& lock, const std::string& home, const std::string& trouble);

// For the commands that work on a folder.
std::string AbsolutePath(const std::string& path);

// The folder that a command names, or that of the environment, with "/" at its end; it need not be there.
Status NamedFolder(const std::string& named, std::string& home);
// The same for one that must be there.
Status FolderOf(const std::string& named, std::string& home);

}  // namespace vantry
