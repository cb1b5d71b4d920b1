#include "monitors/auto_archive.h"

namespace vantry {

std::string AutoArchive::Archiver() const {
  const std::string own = c_.app_path + "VTArchive.EXE";
  if (c_.files.Exists(own)) return own;
  return !c_.archiver.empty() && c_.files.Exists(c_.archiver) ? c_.archiver : std::string();
}

Status AutoArchive::CheckAutoArchive() {
  // The flag stays as it is while archiving is off: switched on again in the same minute, it does not run twice.
  if (!c_.settings.AutoArchive) return Status::Ok();
  if (SecondOfDay(c_.clock.Now()) / 60 != c_.settings.AutoArchiveTime / 60) {
    ArchiveStarted_ = false;
    return Status::Ok();
  }
  if (ArchiveStarted_) return Status::Ok();
  ArchiveStarted_ = true;
  const std::string archiver = Archiver();
  if (archiver.empty()) return Status::Ok();
  return c_.programs.Run(archiver, {"AUTO"}, {{"VANTRY_HOME", c_.app_path}});
}

}  // namespace vantry
