#include "platform/folder_owner.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix_support.h"

namespace vantry {

std::string OwnerOf(const std::string& folder) {
  struct stat info {};
  if (::stat(folder.c_str(), &info) != 0) return {};
  const passwd* owner = ::getpwuid(info.st_uid);
  return owner ? owner->pw_name : std::to_string(info.st_uid);
}

Status BecomeOwnerOf(const std::string& folder) {
  struct stat info {};
  if (::stat(folder.c_str(), &info) != 0) return Failure(folder, errno);
  if (::geteuid() != 0 || info.st_uid == 0) return Status::Ok();
  const passwd* owner = ::getpwuid(info.st_uid);
  const gid_t group = owner ? owner->pw_gid : info.st_gid;
  const int groups = owner ? ::initgroups(owner->pw_name, group) : ::setgroups(0, nullptr);
  if (groups == 0 && ::setgid(group) == 0 && ::setuid(info.st_uid) == 0) return Status::Ok();
  const int error = errno;
  return Status::Error(
      Fail::kIo, folder + " belongs to " + OwnerOf(folder) + ", whom root can't become here: " + std::strerror(error));
}

}  // namespace vantry
