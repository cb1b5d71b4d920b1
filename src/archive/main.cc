// Packs old logs away: see archiver.h.
#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "archive/archiver.h"
#include "config/value_forms.h"
#include "core/text.h"
#include "platform/confinement.h"
#include "platform/posix_files.h"
#include "platform/system_clock.h"

namespace {

// VANTRY_HOME, else the executable's folder.
std::string AppPath() {
  const char* variable = std::getenv("VANTRY_HOME");
  std::error_code error;
  std::filesystem::path home = variable ? variable : "";
  if (home.empty()) home = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  const std::filesystem::path whole = std::filesystem::absolute(home, error);
  return vantry::WithSeparator((error ? home : whole).string());
}

// The web server comes first, at the processor and at the disk.
void StepBack() {
  constexpr int kOfProcess = 1, kIdleClass = 3 << 13;
  (void)!::nice(10);
  (void)::syscall(SYS_ioprio_set, kOfProcess, 0, kIdleClass);
}

// Root may try it by hand. What that leaves in the program folder must not shut out the folder's owner, who runs it
// every day.
void GiveToOwner(const std::string& folder) {
  struct stat info {};
  if (::geteuid() != 0 || ::stat(folder.c_str(), &info) != 0) return;
  for (const char* name : {"archive.lock", "ARCHIVE.LOG"}) {
    (void)!::lchown((folder + name).c_str(), info.st_uid, info.st_gid);
  }
}

}  // namespace

int main(int argc, char** argv) {
  // A service has the C locale, in which names outside ASCII can't be read back from a zip.
  std::setlocale(LC_CTYPE, "C.UTF-8");
  // A file at its limit is a failure to be told of, not the end.
  std::signal(SIGXFSZ, SIG_IGN);
  const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  if (std::any_of(words.begin(), words.end(), [](const auto& w) { return vantry::EqualsNoCase(w, "AUTO"); }))
    StepBack();
  vantry::PosixFiles files;
  const vantry::SystemClock clock;
  const vantry::Disk disk;
  const std::string version = std::to_string(VANTRY_VERSION_MAJOR) + "." + std::to_string(VANTRY_VERSION_MINOR) + "." +
                              vantry::PadNumber(VANTRY_VERSION_REVISION, 3);
  const std::string app_path = AppPath();
  const int code =
      vantry::RunArchiver({files, clock, disk, app_path, version, vantry::OwnProfile()}, words, std::cout, std::cerr);
  GiveToOwner(app_path);
  return code;
}
