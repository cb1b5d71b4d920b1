#include "setup/site_folder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <utility>
#include <vector>

#include "config/correction_switches.h"
#include "config/site_file.h"
#include "config/value_forms.h"
#include "core/screen_text.h"
#include "core/text.h"
#include "platform/folder_owner.h"
#include "platform/regional_locale.h"
#include "setup/remote_place.h"

namespace vantry {
namespace {

// Without the login.
std::string ShownAddress(const LogPlace& place) {
  const size_t begin = place.remote.find("://") + 3;
  const size_t slash = std::min(place.remote.find('/', begin), place.remote.size());
  const size_t at = place.remote.rfind('@', slash);
  const bool login = at != std::string::npos && at > begin;
  return Printable(place.remote.substr(0, begin) + place.remote.substr(login ? at + 1 : begin));
}

}  // namespace

SiteFolder::SiteFolder(Files& files, std::string home)
    : files_(files), home_(std::move(home)), registry_(files, home_ + "registry.ini"), lock_(home_ + "vantry.lock") {
  std::string bytes;
  is_new_ = files.Read(home_ + "registry.ini", bytes).fail == Fail::kNotFound;
  if (is_new_) {
    for (const CorrectionRow& row : CorrectionRows()) row.Set(corrected_, row.number ? row.standard : 1);
  } else {
    std::vector<std::string> problems;  // The program tells them at its start.
    corrected_ = ReadCorrections(registry_, problems);
  }
}

Status SiteFolder::Open(std::ostream& out) {
  Status status = files_.MakeFolder(home_);
  if (status.ok()) status = BecomeOwnerOf(home_);
  if (!status.ok()) return status;
  status = HoldFolder(lock_, home_, "would undo the change");
  taken_over_ = status.fail == Fail::kRefused && !is_new_ && corrected_.KeepEdits;
  if (!status.ok() && !taken_over_) return status;
  status = is_new_ ? MakeRegistry(out) : Status::Ok();
  if (!status.ok()) return status;
  sites_.emplace(files_, ProgramFolder{home_, ReadRegional(registry_), corrected_});
  return sites_->Read();
}

// A folder that has no registry.ini is new: it gets what suits a server of today. Any other is left as it is.
Status SiteFolder::MakeRegistry(std::ostream& out) {
  constexpr std::pair<const char*, const char*> kSecurity[] = {
      {"BindAddress", "127.0.0.1"}, {"ControlFrom", "127.0.0.1"}, {"EscapeHTML", "True"}};
  Status status;
  for (const auto& [name, value] : kSecurity) {
    if (status.ok()) status = registry_.Set("Security", name, value);
  }
  if (status.ok()) status = SetCorrection(registry_, "All", "True");
  if (status.ok()) {
    out << "Wrote registry.ini: only this machine may look and steer, texts of logs are escaped, and all\n"
           "corrections are on (see `vantryctl corrections`).\n";
  }
  return status;
}

Status SiteFolder::ReadSites(LiveTables& tables) {
  tables.Corrected = corrected_;
  return ReadINI(files_, home_, ReadRegional(registry_), tables);
}

Status SiteFolder::Add(const std::string& name, const std::string& domain, const LogPlace& place) {
  const Status status = sites_->Add(name, domain, place);
  if (status.ok()) {
    const std::string log =
        place.remote.empty() ? Printable(place.folder) + Printable(place.mask) : ShownAddress(place);
    added_ += "Added " + Printable(Trim(name)) + " (" + Printable(Trim(domain)) + "): " + log + "\n";
  }
  return status;
}

Status SiteFolder::Save(std::ostream& out) {
  if (added_.empty()) return Status::Ok();
  const Status status = sites_->Write();
  if (status.ok()) out << added_;
  added_.clear();
  return status;
}

Status HoldFolder(SingleInstance& lock, const std::string& home, const std::string& trouble) {
  Status status = lock.Acquire();
  if (status.fail == Fail::kRefused) {
    status.text = "Vantry runs on " + Printable(home) + " and " + trouble + ". Stop it first: `vantryctl stop`.";
  }
  return status;
}

std::string AbsolutePath(const std::string& path) {
  std::error_code error;
  const auto absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute.lexically_normal().string();
}

Status NamedFolder(const std::string& named, std::string& home) {
  const char* variable = std::getenv("VANTRY_HOME");
  const std::string folder = named.empty() && variable ? variable : named;
  if (folder.empty()) return Status::Error(Fail::kBadData, "Which folder? Name it, or set VANTRY_HOME.");
  home = WithSeparator(AbsolutePath(folder));
  return Status::Ok();
}

Status FolderOf(const std::string& named, std::string& home) {
  const Status status = NamedFolder(named, home);
  if (!status.ok()) return status;
  std::error_code error;
  if (std::filesystem::is_directory(home, error)) return Status::Ok();
  return Status::Error(Fail::kNotFound, Printable(home) + " is not a folder.");
}

}  // namespace vantry
