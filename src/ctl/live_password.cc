#include "ctl/live_password.h"

#include <iostream>
#include <string>

#include "config/registry_store.h"
#include "core/text.h"
#include "platform/crypt_passwords.h"
#include "platform/folder_owner.h"
#include "setup/site_folder.h"
#include "setup/terminal.h"

namespace vantry {
namespace {

constexpr size_t kShortest = 8, kLongest = 256;

Status ReadPassword(std::string& password) {
  if (InputIsTerminal()) {
    std::string again;
    if (!ReadHidden("Password: ", password) || !ReadHidden("Once more: ", again)) {
      return Status::Error(Fail::kRefused, "Nothing was changed.");
    }
    if (password != again) return Status::Error(Fail::kBadData, "The two differ. Nothing was changed.");
  } else {
    std::getline(std::cin, password);
    if (!password.empty() && password.back() == '\r') password.pop_back();
  }
  if (password.size() >= kShortest && password.size() <= kLongest && !Contains(password, std::string_view("\0", 1))) {
    return Status::Ok();
  }
  return Status::Error(Fail::kBadData, "A password has 8 to 256 bytes. Nothing was changed.");
}

}  // namespace

Status LivePasswordCommand(Files& files, const CtlArguments& a) {
  std::string home, password, hash;
  Status status;
  if (!a.print) status = FolderOf(a.operands.empty() ? "" : a.operands[0], home);
  if (status.ok() && !a.print) status = BecomeOwnerOf(home);
  if (status.ok()) status = ReadPassword(password);
  if (status.ok()) status = HashPassword(password, hash);
  if (!status.ok()) return status;
  if (a.print) {
    std::cout << "User=" << a.user << "\nPasswordHash=" << hash << "\n";
    return status;
  }
  RegistryFile registry(files, home + "registry.ini");
  status = registry.Set("Live", "User", a.user);
  if (status.ok()) status = registry.Set("Live", "PasswordHash", hash);
  if (!status.ok()) return status;
  std::cout << "The live page asks for a login now.\n";
  if (registry.Get("Live", "Port").value_or("").empty()) {
    std::cout << "It is not served yet: set Port in the section Live of " << home << "registry.ini and start Vantry\n"
              << "again.\n";
  }
  return status;
}

}  // namespace vantry
